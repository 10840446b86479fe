#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <string>
#include <thread>
#include <vector>

#include "MetaDefinitions.h"
#include "kr/zero/meta/StandardTypes.h"

namespace kr::zero::meta {
namespace {

using test::classDefinition;

constexpr std::size_t threadCount = 8;

template <class Work>
void onThreads(Work work) {
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < threadCount; ++i) threads.emplace_back(work, i);
  for (std::thread& thread : threads) thread.join();
}

PackageDefinition numbered(std::size_t number) {
  PackageDefinition p;
  p.name = "p" + std::to_string(number);
  const std::vector<std::string> supertypes =
      number == 0 ? std::vector<std::string>{}
                  : std::vector<std::string>{"p" + std::to_string(number - 1) + ".A"};
  p.types = {classDefinition("A", supertypes)};
  p.types[0].properties = {test::propertyDefinition("x" + std::to_string(number))};
  return p;
}

// What a reader sees of the n-th package is whole: both look-ups, its list, its inheritance.
bool isWhole(const MetaRegistry& registry, std::size_t number) {
  const Class type(registry.findType("p" + std::to_string(number) + ".A"));
  return type == registry.findType(toUstring(type->qualifiedName())) &&
         registry.hasPackage(type->packageUri()) && type->getAllProperties().size() == number + 1 &&
         type->conformsTo(test::classOf(registry, "p0.A")) && registry.getPackages().size() > number;
}

TEST(MetaThreads, ReadersSeeWholePackagesWhileAnotherAdds) {
  constexpr std::size_t packages = 200;
  MetaRegistry registry;
  registry.add(numbered(0));
  std::atomic<std::size_t> added{1};
  std::atomic<std::size_t> broken{0};
  std::thread adder([&] {
    for (std::size_t i = 1; i < packages; ++i) {
      registry.add(numbered(i));
      added = i + 1;
    }
  });
  onThreads([&](std::size_t) {
    for (std::size_t seen = 0; seen < packages;) {
      seen = added;
      for (const std::size_t i : {std::size_t{0}, seen / 2, seen - 1})
        if (!isWhole(registry, i)) ++broken;
    }
  });
  adder.join();
  EXPECT_EQ(broken, 0u);
  EXPECT_EQ(registry.getPackages().size(), packages);
}

TEST(MetaThreads, OfTwoThatAddTheSamePackageOneIsRefused) {
  MetaRegistry registry;
  std::atomic<std::size_t> refused{0};
  std::barrier start(threadCount);
  onThreads([&](std::size_t) {
    start.arrive_and_wait();
    for (std::size_t i = 0; i < 20; ++i) {
      PackageDefinition p;
      p.name = "p" + std::to_string(i);
      p.types = {classDefinition("A", {}, {"x"})};
      if (!test::refusal(registry, {p}).empty()) ++refused;
    }
  });
  EXPECT_EQ(refused, 20 * (threadCount - 1));
  EXPECT_EQ(registry.getPackages().size(), 20u);
}

TEST(MetaThreads, AllThatFillAHandleAtOnceStoreTheSameType) {
  for (int round = 0; round < 50; ++round) {
    LazyPrimitiveType handle;
    std::atomic<std::size_t> wrong{0};
    std::barrier start(threadCount);
    onThreads([&](std::size_t) {
      start.arrive_and_wait();
      if (!handle) handle.fill(internal::getPrimitiveTypeFromMetaRegistry(u"UUID"));
      if (!(MetaRegistry::instance().findType("UUID") == handle)) ++wrong;
    });
    ASSERT_EQ(wrong, 0u);
  }
}

}  // namespace
}  // namespace kr::zero::meta
