// Requests for memory that fail: each one in turn, once and from then on, for reading, writing and copying
// documents of every form. The outcome is bad_alloc or a documented exception, nothing leaks, and the same
// call succeeds afterwards.
#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <sstream>

#include "support/AllocationMeter.h"
#include "support/Environment.h"
#include "support/GoldenDocuments.h"
#include "support/Outcome.h"
#include "support/Reading.h"

namespace kr::zero::test {

namespace {

constexpr std::uint64_t mostFaults = 5000;

// Whether a failed request may end like this.
bool isDocumented(const std::exception_ptr& failure) {
  if (failure == nullptr) return true;
  try {
    std::rethrow_exception(failure);
  } catch (const std::bad_alloc&) {
    return true;
  } catch (const std::ios_base::failure&) {
    return true;  // what a stream makes of the bad_alloc of its buffer
  } catch (const std::exception& e) {
    ADD_FAILURE() << e.what();
    return false;
  }
}

// Calls `attempt` with the n-th request failing, for n = 0, 1, ... until none fails any more.
// @return the number of requests that failed
std::uint64_t failEachRequest(std::uint64_t failuresInARow, const std::function<void()>& attempt) {
  std::uint64_t total = 0;
  for (std::uint64_t n = 0; n < mostFaults && !testing::Test::HasFailure(); ++n) {
    SCOPED_TRACE("request " + std::to_string(n));
    std::exception_ptr failure;
    std::uint64_t failed = 0;
    {
      const FailingAllocations faults(n, failuresInARow);
      try {
        attempt();
      } catch (...) {
        failure = std::current_exception();
      }
      failed = faults.getFailures();
    }
    EXPECT_TRUE(isDocumented(failure));
    if (failed == 0) return total;
    total += failed;
  }
  ADD_FAILURE() << "still failing after " << mostFaults << " requests";
  return total;
}

// Once, and from then on.
std::uint64_t failEachRequestBothWays(const std::function<void()>& attempt) {
  return failEachRequest(1, attempt) + failEachRequest(FailingAllocations::allOfThem, attempt);
}

Model readDocument(const Bytes& bytes) {
  const auto parser = makeParser(goldenRegistry());
  EXPECT_EQ(parseBytes(*parser, bytes).ending, Ending::success);
  return parser->takeModel();
}

// Runs a scenario for every golden document; asserts that faults were tried at all.
void forEachDocument(const std::function<std::uint64_t(const Bytes&)>& scenario) {
  ASSERT_TRUE(AllocationMeter::isWatching());
  std::uint64_t total = 0;
  for (const GoldenDocument& golden : goldenDocuments()) {
    SCOPED_TRACE(golden.name);
    const std::uint64_t faults = scenario(golden.bytes);
    EXPECT_GT(faults, 0u);
    total += faults;
  }
  std::cout << total << " requests failed" << std::endl;
}

}  // namespace

TEST(Faults, ReadingBytesSurvivesEveryFailedRequest) {
  forEachDocument([](const Bytes& bytes) {
    const auto parser = makeParser(goldenRegistry());
    const std::uint64_t faults =
        failEachRequestBothWays([&] { EXPECT_TRUE(parser->parseByteSequence(bytes)); });
    EXPECT_EQ(parseBytes(*parser, bytes), (Outcome{Ending::success, {}}));
    EXPECT_EQ(toHex(writeDirect(parser->takeModel())), toHex(bytes));
    return faults;
  });
}

TEST(Faults, ReadingWithAFreshParserSurvivesEveryFailedRequest) {
  forEachDocument([](const Bytes& bytes) {
    return failEachRequestBothWays(
        [&] { EXPECT_TRUE(makeParser(goldenRegistry())->parseByteSequence(bytes)); });
  });
}

TEST(Faults, ReadingAStreamSurvivesEveryFailedRequest) {
  forEachDocument([](const Bytes& bytes) {
    const auto parser = makeParser(goldenRegistry());
    std::istringstream stream(std::string(bytes.begin(), bytes.end()));
    return failEachRequestBothWays([&] {
      stream.clear();
      stream.seekg(0);
      EXPECT_TRUE(parser->parse(io::ParsingInput::fromStream(stream)));
    });
  });
}

TEST(Faults, WritingSurvivesEveryFailedRequest) {
  forEachDocument([](const Bytes& bytes) {
    const Model model = readDocument(bytes);
    io::BinarySerializer serializer;
    const std::uint64_t faults = failEachRequestBothWays([&] {
      Bytes written;
      serializer.serialize(model, io::SerializationOutput::toByteSequence(written));
    });
    Bytes written;
    serializer.serialize(model, io::SerializationOutput::toByteSequence(written));
    EXPECT_EQ(toHex(written), toHex(bytes));
    return faults;
  });
}

TEST(Faults, WritingWithAFreshSerializerSurvivesEveryFailedRequest) {
  forEachDocument([](const Bytes& bytes) {
    const Model model = readDocument(bytes);
    return failEachRequestBothWays([&] { writeDirect(model); });
  });
}

TEST(Faults, CopyingAndComparingSurviveEveryFailedRequest) {
  forEachDocument([](const Bytes& bytes) {
    const Model model = readDocument(bytes);
    return failEachRequestBothWays([&] {
      const Model copy = model.clone();
      EXPECT_EQ(findDifference(model, copy), std::nullopt);
    });
  });
}

TEST(Faults, NothingLeaksFromAFailedRead) {
  // AddressSanitizer looks for leaks at the end of the program; elsewhere what is live tells.
  const Bytes& bytes = goldenDocument("references");
  const auto failEach = [&] {
    failEachRequestBothWays(
        [&] { static_cast<void>(makeParser(goldenRegistry())->parseByteSequence(bytes)); });
  };
  failEach();  // makes what is made once per process, by the library and by the tests' own traces
  const AllocationMeter meter;
  failEach();
  EXPECT_LE(meter.getLiveBytes(), 0);
}

}  // namespace kr::zero::test
