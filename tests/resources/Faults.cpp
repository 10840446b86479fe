#include "resources/Faults.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <iostream>
#include <new>
#include <optional>
#include <set>
#include <system_error>

#include "archive/MallocMeter.h"
#include "kr/zero/Error.h"
#include "kr/zero/io/Errors.h"

namespace kr::zero::test {

namespace {

constexpr std::uint64_t kMostRequests = 100000;
constexpr int kMostCallsThatKeep = 20;

/// How a call ended in which requests were made to fail.
struct Attempt {
  std::optional<std::string> result;  ///< of a call that ended well
  std::exception_ptr failure;
  std::uint64_t failures = 0;  ///< of requests
};

Attempt attempt(const Call& call, std::uint64_t first, std::uint64_t count) {
  Attempt attempt;
  std::string result;
  const FailingMalloc faults(first, count);
  try {
    result = call();
  } catch (...) {
    attempt.failure = std::current_exception();
  }
  attempt.failures = faults.getFailures();
  if (attempt.failure == nullptr) attempt.result = std::move(result);
  return attempt;
}

std::string describe(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const Error& error) {
    return std::string(nameOf(error.getCode())) + ": " + error.what();
  } catch (const std::exception& error) {
    return error.what();
  } catch (...) {
    return "something else than an exception";
  }
}

template <class Tag>
bool isA(const std::exception& error) {
  return dynamic_cast<const io::Error<Tag>*>(&error) != nullptr;
}

bool isWhatFilesMakeOfIt(const std::exception& error) {
  if (const auto* const known = dynamic_cast<const Error*>(&error))
    return known->getCode() == ErrorCode::unwritable || known->getCode() == ErrorCode::unreadable;
  return dynamic_cast<const std::system_error*>(&error) != nullptr || isA<kr0::io::FileNotFound>(error) ||
         isA<kr0::io::CannotSerialize>(error) || isA<kr0::io::CorruptInput>(error);
}

bool isAllowed(const std::exception_ptr& failure, AlsoThrows alsoThrows) {
  try {
    std::rethrow_exception(failure);
  } catch (const std::bad_alloc&) {
    return true;
  } catch (const std::exception& error) {
    const auto* const known = dynamic_cast<const Error*>(&error);
    if (known != nullptr && known->getCode() == ErrorCode::outOfMemory) return true;
    return alsoThrows == AlsoThrows::whatFilesMakeOfIt && isWhatFilesMakeOfIt(error);
  } catch (...) {
    return false;
  }
}

int failuresSoFar() {
  return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
}

/// The requests of one scenario.
class Faults {
 public:
  explicit Faults(const Scenario& scenario) : scenario_(scenario), call_(scenario.prepare()) {}

  // First with all memory gone and no call in between that succeeds: what is made once per process is then
  // made with failing requests, too.
  std::uint64_t run() {
    const std::uint64_t whenGone = failEach(FailingMalloc::kAllOfThem);
    expected_ = call_();
    for (const std::string& result : results_)
      EXPECT_EQ(result, *expected_) << "in spite of a failed request";
    return whenGone + failEach(1);
  }

 private:
  bool hasFailed() const { return failuresSoFar() != failuresBefore_; }

  std::uint64_t failEach(std::uint64_t count) {
    std::uint64_t total = 0;
    for (std::uint64_t first = 0; first < kMostRequests && !hasFailed(); first += scenario_.step) {
      const std::uint64_t failures = failAt(first, count);
      if (failures == 0) return total;
      total += failures;
    }
    EXPECT_TRUE(hasFailed()) << "still failing after " << kMostRequests << " requests";
    return total;
  }

  std::uint64_t failAt(std::uint64_t first, std::uint64_t count) {
    const std::string where = "request " + std::to_string(first) + (count == 1 ? "" : " and all later ones");
    std::ptrdiff_t left = 0;
    const std::uint64_t failures = failAndSee(first, count, left, where);
    // What is made once per process, or kept for the next calls, comes to an end; a leak does not.
    for (int again = 0; left > 0 && again < kMostCallsThatKeep; ++again)
      failAndSee(first, count, left, where);
    EXPECT_LE(left, 0) << where << " leaves memory behind";
    if (count == 1 && failures != 0) expectSuccess(where);
    return failures;
  }

  std::uint64_t failAndSee(std::uint64_t first, std::uint64_t count, std::ptrdiff_t& left,
                           const std::string& where) {
    const MallocMeter meter;
    std::uint64_t failures = 0;
    {
      const Attempt ended = attempt(call_, first, count);
      failures = ended.failures;
      if (ended.failure == nullptr)
        keep(*ended.result, failures);
      else if (!isAllowed(ended.failure, scenario_.alsoThrows))
        ADD_FAILURE() << where << ": " << describe(ended.failure);
    }
    left = meter.getLiveBlocks();
    return failures;
  }

  void keep(const std::string& result, std::uint64_t failures) {
    if (expected_) {
      EXPECT_EQ(result, *expected_) << "in spite of a failed request";
    } else if (failures != 0) {
      results_.insert(result);
    }
  }

  void expectSuccess(const std::string& where) {
    try {
      EXPECT_EQ(call_(), *expected_) << "after " << where;
    } catch (const std::exception& error) {
      ADD_FAILURE() << "after " << where << ": " << error.what();
    }
  }

  const Scenario& scenario_;
  Call call_;
  const int failuresBefore_ = failuresSoFar();
  std::optional<std::string> expected_;
  std::set<std::string> results_;  // of calls that ended well although requests failed
};

}  // namespace

std::string contentOfFile(const std::string& path) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return "none";
  struct Close {
    int file;
    ~Close() { ::close(file); }
  } const close{file};
  std::string content(static_cast<std::size_t>(::lseek(file, 0, SEEK_END)), '\0');
  EXPECT_EQ(::pread(file, content.data(), content.size(), 0), static_cast<ssize_t>(content.size()));
  return content;
}

std::uint64_t failEachRequest(const Scenario& scenario) {
  SCOPED_TRACE(scenario.name);
  const std::uint64_t failures = Faults(scenario).run();
  if (std::getenv("KR0_VERBOSE") != nullptr) std::cout << scenario.name << ": " << failures << std::endl;
  return failures;
}

void failEachRequest(const std::vector<Scenario>& scenarios) {
  if (!FailingMalloc::isWorking()) GTEST_SKIP() << "something else serves the requests";
  std::uint64_t total = 0;
  for (const Scenario& scenario : scenarios) {
    const std::uint64_t failures = failEachRequest(scenario);
    EXPECT_GT(failures, 0u) << scenario.name << " asks for no memory";
    total += failures;
  }
  std::cout << scenarios.size() << " scenarios, " << total << " requests failed" << std::endl;
}

}  // namespace kr::zero::test
