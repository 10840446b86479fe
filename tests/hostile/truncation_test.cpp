// Every proper prefix of every golden document, through every way in: it is refused, or it is a document by
// the format's own rules, which is so after the list of packages and after each root.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "support/DirectWalker.h"
#include "support/GoldenDocuments.h"
#include "support/Outcome.h"
#include "support/Paths.h"
#include "support/Reading.h"
#include "support/SampleModel.h"

namespace kr::zero::test::truncation {

namespace {

struct Case {
  std::string name;
  const meta::MetaRegistry* registry;
  Bytes bytes;
};

std::vector<Case> allDocuments() {
  std::vector<Case> all;
  for (const GoldenDocument& golden : goldenDocuments())
    all.push_back({golden.name, &goldenRegistry(), golden.bytes});
  all.push_back({"the sample model", &sampleRegistry(), writeDirect(makeSample())});
  return all;
}

Bytes prefixOf(const Bytes& bytes, std::size_t size) {
  return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)};
}

bool isRefusalOfSomethingCut(Ending ending) {
  return ending == Ending::refused || ending == Ending::corruptInput || ending == Ending::numberCutShort;
}

// Calls `check(parser, prefix)` for every proper prefix of every document.
template <class Check>
std::size_t forEachPrefix(const Check& check) {
  std::size_t count = 0;
  for (const Case& document : allDocuments()) {
    const auto parser = makeParser(*document.registry);
    for (std::size_t size = 0; size < document.bytes.size(); ++size, ++count) {
      SCOPED_TRACE(document.name + ", first " + std::to_string(size) + " bytes");
      check(*parser, prefixOf(document.bytes, size));
      if (testing::Test::HasFailure()) return count;
    }
  }
  return count;
}

}  // namespace

TEST(Truncation, APrefixIsADocumentExactlyAfterThePackagesAndAfterEachRoot) {
  for (const Case& document : allDocuments()) {
    const DirectLayout layout = walkDirect(document.bytes, *document.registry);
    const auto parser = makeParser(*document.registry);
    ASSERT_EQ(parseBytes(*parser, document.bytes), (Outcome{Ending::success, {}})) << document.name;
    for (std::size_t size = 0; size < document.bytes.size(); ++size) {
      SCOPED_TRACE(document.name + ", first " + std::to_string(size) + " bytes");
      const Outcome outcome = parseBytes(*parser, prefixOf(document.bytes, size));
      const auto end = std::find(layout.ends.begin(), layout.ends.end(), size);
      if (end == layout.ends.end()) {
        ASSERT_TRUE(isRefusalOfSomethingCut(outcome.ending)) << outcome;
      } else {
        ASSERT_EQ(outcome.ending, Ending::success) << outcome;
        const auto roots = static_cast<std::size_t>(end - layout.ends.begin());
        ASSERT_EQ(parser->takeModel().getRoots().size(), roots);
      }
    }
  }
}

TEST(Truncation, AFileEndsLikeTheSameBytes) {
  const std::string path = temporaryPath("prefix.krb");
  const std::size_t count = forEachPrefix([&](io::Parser& parser, const Bytes& prefix) {
    writeFile(path, {prefix.begin(), prefix.end()});
    const Outcome fromBytes = parseBytes(parser, prefix);
    const Outcome fromFile = outcomeOf(parser, [&] { return parser.parseFile(toUstring(path)); });
    EXPECT_EQ(fromFile, fromBytes);
  });
  EXPECT_GT(count, 1000u);
}

TEST(Truncation, AStreamEndsLikeTheSameBytes) {
  const std::size_t count = forEachPrefix([](io::Parser& parser, const Bytes& prefix) {
    std::istringstream stream(std::string(prefix.begin(), prefix.end()));
    const Outcome fromBytes = parseBytes(parser, prefix);
    const Outcome fromStream =
        outcomeOf(parser, [&] { return parser.parse(io::ParsingInput::fromStream(stream)); });
    EXPECT_EQ(fromStream, fromBytes);
  });
  EXPECT_GT(count, 1000u);
}

TEST(Truncation, AStringIsRefusedWhateverItHolds) {
  const std::size_t count = forEachPrefix([](io::Parser& parser, const Bytes& prefix) {
    const std::string narrow(prefix.begin(), prefix.end());
    const ustring wide(prefix.begin(), prefix.end());
    EXPECT_EQ(outcomeOf(parser, [&] { return parser.parse(io::ParsingInput::fromString(narrow)); }).ending,
              Ending::stringNotSupported);
    EXPECT_EQ(outcomeOf(parser, [&] { return parser.parse(io::ParsingInput::fromUString(wide)); }).ending,
              Ending::ustringNotSupported);
  });
  EXPECT_GT(count, 1000u);
}

TEST(Truncation, TheGoldenDocumentsAreWhatTheLibraryWrites) {
  for (const GoldenDocument& golden : goldenDocuments()) {
    SCOPED_TRACE(golden.name);
    const auto parser = makeParser(goldenRegistry());
    EXPECT_EQ(parseBytes(*parser, golden.bytes), (Outcome{Ending::success, {}}));
    EXPECT_EQ(toHex(writeDirect(parser->takeModel())), toHex(golden.bytes));
  }
}

}  // namespace kr::zero::test::truncation
