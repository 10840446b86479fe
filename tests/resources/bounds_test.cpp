// Memory and time that a document may cost, by reader: what docs/security.md promises, for documents that ask
// for as much as their bytes allow. KR0_FLOOD_BYTES sets how many they have.
#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <iostream>

#include "archive/MallocMeter.h"
#include "kr/zero/Error.h"
#include "resources/Floods.h"
#include "resources/SecurityPage.h"
#include "support/Environment.h"
#include "support/SmallStack.h"

namespace kr::zero::test::bounds {

namespace {

double cpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// @return whether it was refused, with a sentence.
bool isRefused(const Flood& flood, const std::string& document) {
  try {
    flood.read(document);
    return false;
  } catch (const Error& error) {
    EXPECT_FALSE(std::string(error.what()).empty());
    return true;
  } catch (const std::exception& error) {
    // The reader of events has exceptions of its own.
    EXPECT_EQ(flood.reader, "tagged format, events") << error.what();
    return true;
  }
}

/// What reading cost, for each byte.
struct Cost {
  double memory = 0;
  double request = 0;
  double nanoseconds = 0;
  bool wasRefused = false;

  void raise(const Cost& other) {
    memory = std::max(memory, other.memory);
    request = std::max(request, other.request);
    nanoseconds = std::max(nanoseconds, other.nanoseconds);
  }
};

Cost measure(const Flood& flood, std::size_t bytes) {
  SCOPED_TRACE(flood.reader + ", " + flood.name);
  const PromisedBounds& bounds = promisedBounds(flood.reader);
  const Flooded made = flood.make(bytes);
  isRefused(flood, flood.make(100).document);  // makes what is made once
  const MallocMeter meter;
  const double start = cpuSeconds();
  const bool wasRefused = isRefused(flood, made.document);
  const double nanoseconds = (cpuSeconds() - start) * 1e9;
  EXPECT_LE(meter.getPeakBytes(), bounds.memoryBeside + bounds.memoryPerByte * made.bytes);
  EXPECT_LE(meter.getLargestRequest(), std::max(bounds.requestFloor, bounds.requestPerByte * made.bytes));
  EXPECT_LE(nanoseconds, bounds.nanosecondsPerByte * static_cast<double>(made.bytes) + 2e6);
  const auto perByte = [&](double amount) { return amount / static_cast<double>(made.bytes); };
  const Cost cost{perByte(static_cast<double>(meter.getPeakBytes())),
                  perByte(static_cast<double>(meter.getLargestRequest())), perByte(nanoseconds), wasRefused};
  std::cout << flood.reader << ", " << flood.name << ": " << cost.memory << " bytes live, " << cost.request
            << " in one request, " << cost.nanoseconds << " ns\n";
  return cost;
}

class PromisedFor : public testing::TestWithParam<std::string> {};

}  // namespace

TEST_P(PromisedFor, EveryFlood) {
  if (!MallocMeter::isWatching()) GTEST_SKIP() << "the meter sees no requests in this build";
  const std::size_t bytes = numberFromEnvironment("KR0_FLOOD_BYTES", 200000);
  Cost most;
  std::size_t count = 0;
  for (const Flood& flood : floods()) {
    if (flood.reader != GetParam()) continue;
    const Cost cost = measure(flood, bytes);
    EXPECT_EQ(cost.wasRefused, flood.isRefused) << flood.name;
    measure(flood, 100);  // of which the fixed amount is most
    if (flood.make(bytes).bytes >= bytes / 2) most.raise(cost);
    ++count;
  }
  EXPECT_GE(count, 2u);
  std::cout << GetParam() << ", at most: " << most.memory << " bytes live for each byte, " << most.request
            << " in one request, " << most.nanoseconds << " ns" << std::endl;
}

std::vector<std::string> promisedReaders() {
  std::vector<std::string> names;
  for (const auto& [name, bounds] : promisedBounds()) names.push_back(name);
  return names;
}

INSTANTIATE_TEST_SUITE_P(SecurityPage, PromisedFor, testing::ValuesIn(promisedReaders()),
                         [](const auto& reader) {
                           std::string name = reader.param;
                           std::replace_if(
                               name.begin(), name.end(),
                               [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
                           return name;
                         });

TEST(Promised, ForEveryReaderThatIsFlooded) {
  for (const Flood& flood : floods()) EXPECT_EQ(promisedBounds().count(flood.reader), 1u) << flood.reader;
}

TEST(Promised, StackSufficesForAnyNesting) {
  for (const Flood& flood : floods()) {
    if (flood.name.find("inside each other") == flood.name.npos &&
        flood.name.find("open") == flood.name.npos && flood.name.find("nested") == flood.name.npos)
      continue;
    SCOPED_TRACE(flood.reader + ", " + flood.name);
    const Flooded made = flood.make(1000000);
    onSmallStack([&] { EXPECT_EQ(isRefused(flood, made.document), flood.isRefused); });
  }
}

}  // namespace kr::zero::test::bounds
