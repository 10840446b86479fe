// Memory and time that a document may cost: at most 64 KiB and a constant times its bytes, and in
// proportion to its bytes. What the classes in use need (a table per class) comes on top; with the small
// meta model of these tests it stays within the 64 KiB.
#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <functional>
#include <iostream>

#include "hostile/DamageCheck.h"
#include "hostile/Generators.h"
#include "kr/zero/KeptMemory.h"
#include "support/AllocationMeter.h"
#include "support/Environment.h"
#include "support/GoldenDocuments.h"

namespace kr::zero::test {

namespace {

double cpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// The fastest of three, so that a busy machine does no harm.
double secondsToRead(const Bytes& bytes, Ending ending) {
  double best = 1e9;
  const auto parser = makeParser(goldenRegistry());
  for (int i = 0; i < 3; ++i) {
    const double start = cpuSeconds();
    EXPECT_EQ(parseBytes(*parser, bytes).ending, ending);
    best = std::min(best, cpuSeconds() - start);
  }
  return best;
}

double secondsToWrite(const Model& model) {
  double best = 1e9;
  for (int i = 0; i < 3; ++i) {
    const double start = cpuSeconds();
    EXPECT_FALSE(writeDirect(model).empty());
    best = std::min(best, cpuSeconds() - start);
  }
  return best;
}

constexpr std::size_t many = underAddressSanitizer() ? 625 : 5000;
constexpr std::size_t times = 32;

// 32 where the time is in proportion, 1024 where it grows with the square. Tables that no longer fit the
// caches make it 160, and a busy machine more; two milliseconds are noise.
void expectProportion(double once, double manyTimes) { EXPECT_LE(manyTimes, 512 * once + 2e-3); }

}  // namespace

TEST(Bounds, MemoryStaysWithinAConstantTimesTheBytes) {
  ASSERT_TRUE(AllocationMeter::isWatching());
  double most = 0;
  for (const Generator& generator : generators()) {
    SCOPED_TRACE(generator.name);
    for (const std::size_t count : {10u, 1000u, 66000u, 100000u}) {
      const Bytes bytes = generator.make(count);
      const auto parser = makeParser(goldenRegistry());
      const AllocationMeter meter;
      EXPECT_EQ(parseBytes(*parser, bytes).ending, generator.ending);
      EXPECT_LE(meter.getPeakBytes(), memoryFloor + memoryPerByte * bytes.size());
      EXPECT_LE(meter.getLargestRequest(), std::max(requestFloor, requestPerByte * bytes.size()));
      const double perByte = static_cast<double>(meter.getPeakBytes()) / static_cast<double>(bytes.size());
      if (count == 100000) {
        std::cout << generator.name << ": " << perByte << " bytes live per byte read, largest request "
                  << static_cast<double>(meter.getLargestRequest()) / static_cast<double>(bytes.size())
                  << std::endl;
        most = std::max(most, perByte);
      }
    }
  }
  std::cout << "at most " << most << std::endl;
}

TEST(Bounds, ReadingTakesTimeInProportionToTheBytes) {
  for (const Generator& generator : generators()) {
    SCOPED_TRACE(generator.name);
    const double once = secondsToRead(generator.make(many), generator.ending);
    const double manyTimes = secondsToRead(generator.make(times * many), generator.ending);
    std::cout << generator.name << ": " << manyTimes / once << " times as long for " << times
              << " times as many (" << manyTimes * 1e3 << " ms)" << std::endl;
    expectProportion(once, manyTimes);
  }
}

TEST(Bounds, WritingTakesTimeInProportionToTheModel) {
  for (const Generator& generator : generators()) {
    if (generator.ending != Ending::success) continue;
    SCOPED_TRACE(generator.name);
    const auto modelOf = [&](std::size_t count) {
      const auto parser = makeParser(goldenRegistry());
      EXPECT_EQ(parseBytes(*parser, generator.make(count)).ending, Ending::success);
      return parser->takeModel();
    };
    const double once = secondsToWrite(modelOf(many));
    expectProportion(once, secondsToWrite(modelOf(times * many)));
  }
}

TEST(Bounds, NothingOfADocumentStaysInTheParserOnceItsModelIsTaken) {
  const auto parser = makeParser(goldenRegistry());
  parseBytes(*parser, goldenDocument("references"));
  for (const Generator& generator : generators()) {
    SCOPED_TRACE(generator.name);
    const Bytes bytes = generator.make(10000);
    parser->getModelBuilder().takeModel();
    const AllocationMeter meter;
    EXPECT_EQ(parseBytes(*parser, bytes).ending, generator.ending);
    parser->getModelBuilder().takeModel();
    EXPECT_EQ(parseBytes(*parser, goldenDocument("nothing")), (Outcome{Ending::success, {}}));
    EXPECT_LE(meter.getLiveBytes(), static_cast<std::ptrdiff_t>(4 * kMostKeptBytes));
  }
}

TEST(Bounds, TheCollidingTextsCollide) {
  const std::vector<std::string> texts = collidingTexts(100);
  const std::hash<std::string> hash;
  const auto collide = [&](const std::string& text) { return hash(text) == hash(texts[0]); };
  if (!collide(texts[1])) GTEST_SKIP() << "this standard library hashes texts in another way";
  EXPECT_TRUE(std::all_of(texts.begin(), texts.end(), collide));
}

}  // namespace kr::zero::test
