// Models through JSON: the binary bytes are the same before and after.
#include <gtest/gtest.h>
#include <kr0/kr0.h>

#include <sstream>

#include "kr/zero/ecore/Ecore.h"
#include "kr/zero/json/Json.h"
#include "support/Environment.h"
#include "support/Paths.h"
#include "support/RandomModel.h"

namespace kr::zero::json {
namespace {

std::string bytesOf(const Model& model) {
  std::string bytes;
  io::writeModel(model, bytes);
  return bytes;
}

TEST(JsonRoundTrip, RandomModelsKeepTheirBytes) {
  test::Random random(test::seedFor("JSON"));
  for (int i = 0; i < 2000 && !testing::Test::HasFailure(); ++i) {
    const auto registry = test::makeRandomRegistry(random);
    const Model model = test::makeRandomModel(*registry, random);
    const std::string json = writeJson(model);
    EXPECT_TRUE(bytesOf(readJson(json, {.registry = registry.get()})) == bytesOf(model)) << json;
    std::istringstream stream(json);
    EXPECT_TRUE(writeJson(readJson(stream, {.registry = registry.get()})) == json);
  }
}

struct RealModel {
  const char* path;
  const char* metaModel;
};

TEST(JsonRoundTrip, RealModelsKeepTheirBytes) {
  if (!test::haveModels()) GTEST_SKIP() << "no folder " << test::modelsDir();
  for (const RealModel& real : {RealModel{"railway/railway-repair-1.xmi", "railway/railway.ecore"},
                                {"archimate/Archisurance.archimate", "archimate/archimate.ecore"},
                                {"social/initial-1.xmi", "social/social_network.ecore"},
                                {"modisco/test001_java.xmi", "modisco/java.ecore"},
                                {"neoemf/sampleWithId.xmi", "neoemf/Java.ecore"},
                                {"ecore/XSD.ecore", "ecore/Ecore.ecore"}}) {
    meta::MetaRegistry registry;
    const auto mapping = ecore::loadMetaModels({test::modelsDir() + "/" + real.metaModel}, registry);
    const Model model = ecore::readXmiFile(test::modelsDir() + "/" + real.path, *mapping);
    const Model again = readJson(writeJson(model), {.registry = &registry});
    EXPECT_TRUE(bytesOf(again) == bytesOf(model)) << real.path;
  }
}

}  // namespace
}  // namespace kr::zero::json
