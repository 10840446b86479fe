// Models through JSON: the binary bytes are the same before and after.
#include <gtest/gtest.h>
#include <kr0/kr0.h>

#include <sstream>

#include "kr/zero/json/Json.h"
#include "support/Environment.h"
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

}  // namespace
}  // namespace kr::zero::json
