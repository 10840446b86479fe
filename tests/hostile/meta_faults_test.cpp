// Requests for memory that fail while a registry takes in a meta model: each one in turn, once and from then
// on. The registry is then as it was, and takes the same meta model in afterwards.
#include <gtest/gtest.h>

#include <cstdint>
#include <new>

#include "kr/zero/meta/MetaModelBuilder.h"
#include "kr/zero/meta/MetaRegistry.h"
#include "support/AllocationMeter.h"

namespace kr::zero::test {

namespace {

// Something for every step of the loader; texts too long to lie in their string.
meta::MetaModelBuilder everyStep() {
  meta::MetaModelBuilder p("http://example.org/a/long/uri/of/its/own", "packageWithALongName");
  p.primitive("PrimitiveWithALongName");
  p.enumeration("EnumerationWithALongName").literal("literalWithALongName", 1, "text of some length, too");
  p.datatype("DatatypeWithALongName").property("propertyWithALongName", "PrimitiveWithALongName");
  p.classType("Base").property("children", "Left").many().composite().opposite("parent");
  p.classType("Left").supertype("Base").property("parent", "Base").opposite("children");
  p.classType("Right").supertype("Base").property("at", "DatatypeWithALongName");
  p.classType("Both").supertype("Left").supertype("Right").property("x", "Integer").defaultText("1");
  p.package("", "nestedPackageWithALongName").classType("Inner").supertype("known.KnownBefore");
  return p;
}

void addKnown(meta::MetaRegistry& registry) {
  meta::MetaModelBuilder known("", "known");
  known.classType("KnownBefore").property("name", "String");
  known.registerIn(registry);
}

void expectUntouched(const meta::MetaRegistry& registry) {
  EXPECT_FALSE(registry.findType("packageWithALongName.Both"));
  EXPECT_FALSE(registry.findType(u"packageWithALongName.Both"));
  EXPECT_FALSE(registry.hasPackage("http://example.org/a/long/uri/of/its/own"));
  EXPECT_EQ(registry.getPackages().size(), 1u);
}

// @return whether a request failed; the registry must then have been left alone.
bool failsAt(std::uint64_t first, std::uint64_t count, const meta::PackageDefinition& package) {
  meta::MetaRegistry registry;
  addKnown(registry);
  bool refused = false;
  bool failed = false;
  {
    const FailingAllocations faults(first, count);
    try {
      registry.add(package);
    } catch (const std::bad_alloc&) {
      refused = true;
    }
    failed = faults.getFailures() != 0;
  }
  EXPECT_EQ(refused, failed);
  if (refused) {
    expectUntouched(registry);
    registry.add(package);
  }
  EXPECT_EQ(registry.findType("packageWithALongName.nestedPackageWithALongName.Inner")->getIndex(), 25u);
  return failed;
}

void failEachRequest(std::uint64_t count) {
  ASSERT_TRUE(AllocationMeter::isWatching());
  const meta::PackageDefinition package = everyStep().definition();
  std::uint64_t n = 0;
  while (failsAt(n, count, package) && !testing::Test::HasFailure()) ++n;
  EXPECT_GT(n, 100u);
}

TEST(MetaFaults, LeaveTheRegistryAsItWasWhenOneRequestFails) { failEachRequest(1); }

TEST(MetaFaults, LeaveTheRegistryAsItWasWhenMemoryIsGone) { failEachRequest(FailingAllocations::allOfThem); }

}  // namespace
}  // namespace kr::zero::test
