// Real models of others, carried over between real versions of their meta models.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "evolution/CarryTesting.h"
#include "kr/zero/ecore/Ecore.h"
#include "kr/zero/evolution/DraftMap.h"
#include "support/Paths.h"

namespace kr::zero::test {

namespace {

using testing::Contains;
using testing::IsEmpty;

struct Loaded {
  meta::MetaRegistry registry;
  std::shared_ptr<const ecore::Mapping> mapping;
  explicit Loaded(const std::string& name)
      : mapping(ecore::loadMetaModels({modelsDir() + "/" + name}, registry)) {}
  Model read(const std::string& name) const { return ecore::readXmiFile(modelsDir() + "/" + name, *mapping); }
};

std::size_t countOf(const Model& model, const char* type) {
  return static_cast<std::size_t>(std::ranges::distance(model.elements(type)));
}

class CarryRealModels : public testing::Test {
 protected:
  void SetUp() override {
    if (!haveModels()) GTEST_SKIP() << "no folder " << modelsDir();
  }
};

/// Regions are gone: routes hold their sensors, and sensors their elements.
ChangeMap railwayMap() {
  return {.rename = {{"railway.Route.requires", "definedBy"},
                     {"railway.Sensor.monitors", "elements"},
                     {"railway.SwitchPosition.target", "switch"}},
          .literals = {{"railway.Position.DIVERGING", "LEFT"}},
          .drop = {"railway.Region", "railway.Route.active"}};
}

}  // namespace

TEST_F(CarryRealModels, ARailwayLosesItsRegionsWithAllInThemWhereNothingElseIsSaid) {
  const Loaded before("railway/railway.ecore"), now("railway/railway-ttc.ecore");
  const Model model = before.read("railway/railway-repair-1.xmi");
  const CarryOverResult result = evolution::carryOver(model, now.registry, allowing());
  EXPECT_EQ(result.report.elements, 742u);
  EXPECT_EQ(result.model.size(), 31u);
  EXPECT_EQ(countOf(result.model, "railway.Route"), 5u);
  EXPECT_EQ(countOf(result.model, "railway.SwitchPosition"), 25u);
  const auto losses = sentencesOf(result.report.losses);
  EXPECT_THAT(losses, Contains("railway.Region: 5 elements left out, there is no railway.Region "
                               "(/railwayContainer/regions[0], /railwayContainer/regions[1], "
                               "/railwayContainer/regions[2], ...)"));
  EXPECT_THAT(losses, Contains("railway.Route.active: 5 values left out, railway.Route has no property "
                               "\"active\" (/railwayContainer/routes[0], /railwayContainer/routes[1], "
                               "/railwayContainer/routes[2], ...)"));
  EXPECT_THAT(losses,
              Contains(testing::StartsWith(
                  "railway.SwitchPosition.position: 11 values \"DIVERGING\" left out, railway.Position "
                  "has no such literal (")));
  EXPECT_THROW(static_cast<void>(evolution::carryOver(model, now.registry)), evolution::CarryOverRefused);
}

TEST_F(CarryRealModels, ARailwayKeepsWhatItsRoutesAndSensorsHoldNow) {
  const Loaded before("railway/railway.ecore"), now("railway/railway-ttc.ecore");
  const Model model = before.read("railway/railway-repair-1.xmi");
  const CarryOverResult result = evolution::carryOver(model, now.registry, allowing(railwayMap()));
  EXPECT_EQ(result.model.size(), 575u);
  EXPECT_EQ(countOf(result.model, "railway.Sensor"), 86u);
  EXPECT_EQ(countOf(result.model, "railway.Segment"), 433u);
  EXPECT_EQ(countOf(result.model, "railway.Switch"), 25u);
  const ConstElement route = std::as_const(result.model).roots()[0].getElement("routes", 0);
  EXPECT_EQ(route.getInteger("id"), 3);
  ASSERT_EQ(route.size("definedBy"), 5u);
  // What refers to elements that have their places refers to them there.
  const ConstElement position = route.getElement("follows", 0);
  EXPECT_EQ(position.getTextForm("position"), "LEFT");
  EXPECT_EQ(position.getReference("switch").getClass()->name(), "Switch");
  EXPECT_EQ(position.getReference("switch").getReference("positions", 0), position);
  // The literals of a signal have other numbers now.
  EXPECT_EQ(countOf(result.model, "railway.Semaphore"), 0u);
}

TEST_F(CarryRealModels, ADraftFindsWhatARailwayCallsAnotherNameNow) {
  const Loaded before("railway/railway.ecore"), now("railway/railway-ttc.ecore");
  const evolution::DraftMap draft = evolution::draftMap(before.registry, now.registry);
  EXPECT_EQ(draft.map, (ChangeMap{.rename = {{"railway.Route.requires", "definedBy"},
                                             {"railway.Sensor.monitors", "elements"},
                                             {"railway.SwitchPosition.target", "switch"}},
                                  .literals = {{"railway.Position.DIVERGING", "RIGHT"}}}));
  EXPECT_THAT(draft.unmatched, Contains("railway.Region"));
}

TEST_F(CarryRealModels, LiteralsOfARailwayKeepTheirNamesUnderOtherNumbers) {
  const Loaded before("railway/railway.ecore"), now("railway/railway-ttc.ecore");
  Model model(before.registry);
  for (const char* name : {"FAILURE", "STOP", "GO"})
    model.createRoot("railway.Semaphore").setTextForm("signal", name);
  const CarryOverResult result = evolution::carryOver(model, now.registry);
  const auto roots = rootsOf(result);
  EXPECT_EQ(roots[0].getTextForm("signal"), "FAILURE");
  EXPECT_EQ(roots[0].getInteger("signal"), 1);
  EXPECT_EQ(roots[1].getInteger("signal"), 0);
}

TEST_F(CarryRealModels, AJavaModelIsTheSameByTheOtherCopyOfItsMetaModel) {
  const Loaded before("neoemf/Java.ecore"), now("modisco/java.ecore");
  const Model model = before.read("neoemf/sampleStandard.xmi");
  const CarryOverResult result = evolution::carryOver(model, now.registry);
  EXPECT_EQ(result.report.carried, 659u);
  EXPECT_EQ(findDifference(model, result.model), std::nullopt);
  EXPECT_THAT(result.report.losses, IsEmpty());
  EXPECT_THAT(result.report.notices, IsEmpty());
  EXPECT_EQ(ecore::writeXmi(result.model, *now.mapping), ecore::writeXmi(model, *before.mapping));
}

}  // namespace kr::zero::test
