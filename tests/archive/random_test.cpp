// Any meta model and any model of it come back from an archive that brings the meta model.
#include <gtest/gtest.h>
#include <kr0/kr0.h>

#include <filesystem>

#include "kr/zero/archive/Archive.h"
#include "support/Environment.h"
#include "support/RandomModel.h"

namespace kr::zero::archive {
namespace {

std::string bytesOf(const Model& model, const ustring& format) {
  std::string bytes;
  io::writeModel(model, bytes, {.format = format});
  return bytes;
}

TEST(RandomArchives, ModelAndMetaModelComeBackAsTheyWere) {
  const std::filesystem::path path = std::filesystem::path(testing::TempDir()) / "random.krz";
  test::Random random(test::seedFor("archives"));
  for (int i = 0; i < 200 && !testing::Test::HasFailure(); ++i) {
    const auto registry = test::makeRandomRegistry(random);
    const Model model = test::makeRandomModel(*registry, random);
    const bool isTagged = random.percent(50);
    const ustring& format =
        isTagged ? io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN : io::IOFormatProvider::FORMAT_BINARY;
    const std::string before = bytesOf(model, format);
    saveArchive(model, path, {.tagged = isTagged, .level = 1});

    const LoadedArchive loaded = loadArchive(path);
    EXPECT_TRUE(bytesOf(loaded.model, format) == before) << "model " << i;
    for (const meta::PackageInfo& package : loaded.registry->getPackages())
      EXPECT_EQ(fingerprintOf(*loaded.registry, package.uri), fingerprintOf(*registry, package.uri));
    EXPECT_TRUE(bytesOf(loadArchive(path, *registry), format) == before) << "model " << i;
  }
  std::filesystem::remove(path);
}

}  // namespace
}  // namespace kr::zero::archive
