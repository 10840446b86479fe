// What is in a document, told without a model of it.
#include "kr/zero/inspect/Overview.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "kr/zero/io/BinaryFormats.h"
#include "kr/zero/io/ModelFile.h"
#include "kr/zero/io/SerializeCustomizer.h"
#include "support/Environment.h"
#include "support/RandomModel.h"
#include "support/Reading.h"
#include "support/SampleModel.h"
#include "support/TaggedReading.h"

namespace kr::zero::test {

namespace {

using inspect::Overview;

std::map<std::string, std::size_t> countsOf(const Model& model) {
  std::map<std::string, std::size_t> counts;
  for (const ConstElement element : model.elements()) ++counts[element.getType()->qualifiedName()];
  return counts;
}

std::string direct(const Model& model) {
  const Bytes bytes = writeDirect(model);
  return {bytes.begin(), bytes.end()};
}

std::string write(const Model& model, bool tagged) { return tagged ? writeTagged(model) : direct(model); }

bool isRead(const std::string& bytes, bool tagged) {
  try {
    static_cast<void>(io::readModel(Bytes(bytes.begin(), bytes.end()),
                                    {.registry = &sampleRegistry(),
                                     .format = tagged ? io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN
                                                      : io::IOFormatProvider::FORMAT_BINARY}));
    return true;
  } catch (const Error&) {
    return false;
  }
}

class OverviewOfBoth : public testing::TestWithParam<bool> {
 protected:
  const bool tagged = GetParam();
};
INSTANTIATE_TEST_SUITE_P(Formats, OverviewOfBoth, testing::Bool());

TEST_P(OverviewOfBoth, CountsWhatTheModelHas) {
  Random random(seedFor("overview"));
  for (int i = 0; i < 100; ++i) {
    const auto registry = makeRandomRegistry(random);
    const Model model = makeRandomModel(*registry, random);
    const Overview overview =
        inspect::overviewOf(write(model, tagged), {.registry = registry.get(), .tagged = tagged});
    EXPECT_TRUE(overview.isSound);
    EXPECT_TRUE(overview.isCounted);
    EXPECT_EQ(overview.version, 1u);
    EXPECT_EQ(overview.elements, countsOf(model));
  }
}

TEST_P(OverviewOfBoth, TellsPackagesInTheirOrder) {
  const std::string bytes = write(makeSample(), tagged);
  const Overview overview = inspect::overviewOf(bytes, {.registry = &sampleRegistry(), .tagged = tagged});
  std::vector<std::string> uris;
  for (const ustring& uri : io::SerializeCustomizer().getPackageUris(makeSample()))
    uris.push_back(toUtf8(uri));
  EXPECT_EQ(overview.packages, uris);
  EXPECT_GE(uris.size(), 2u);
}

TEST_P(OverviewOfBoth, TakesOfCutDocumentsWhatTheParserTakes) {
  io::registerBinaryFormats();
  const std::string bytes = write(makeSample(), tagged);
  ASSERT_TRUE(isRead(bytes, tagged));
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    const std::string cut = bytes.substr(0, size);
    EXPECT_EQ(inspect::overviewOf(cut, {.registry = &sampleRegistry(), .tagged = tagged}).isSound,
              isRead(cut, tagged))
        << size;
  }
}

TEST(Overview, WithoutAMetaModelTheDirectFormatTellsItsHeadOnly) {
  const std::string bytes = direct(makeSample());
  const Overview overview = inspect::overviewOf(bytes, {});
  EXPECT_TRUE(overview.isSound);
  EXPECT_FALSE(overview.isCounted);
  EXPECT_GE(overview.packages.size(), 2u);
  EXPECT_TRUE(overview.elements.empty());
}

TEST(Overview, TellsHowFarItCame) {
  const std::string bytes = direct(makeSample());
  const std::string roots =
      bytes.substr(bytes.find("sample.") - 3);  // each begins with 00, 00 and its length
  std::string many = bytes;
  while (many.size() < (std::size_t{5} << 20)) many += roots;
  std::vector<std::uint64_t> offsets;
  inspect::overviewOf(many, {.registry = &sampleRegistry()},
                      [&](std::uint64_t offset) { offsets.push_back(offset); });
  ASSERT_GE(offsets.size(), 4u);
  EXPECT_TRUE(std::is_sorted(offsets.begin(), offsets.end()));
  EXPECT_LE(offsets.back(), many.size());
}

}  // namespace

}  // namespace kr::zero::test
