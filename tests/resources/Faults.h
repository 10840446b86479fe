/// @file
/// Requests for memory that fail: each one of a call in turn, alone and with all that follow.
///
///     Scenario{"reading books", [] {
///       auto reader = std::make_shared<Reader>();   // lives as long as the scenario
///       return [=] { return describe(reader->read()); };
///     }}
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace kr::zero::test {

/// What is called again and again, and says what came of it: always the same.
using Call = std::function<std::string()>;

/// What a call without memory may throw, beside std::bad_alloc and an Error of ErrorCode::outOfMemory.
enum class AlsoThrows {
  nothing,
  whatFilesMakeOfIt,  ///< streams and files tell no want of memory from other failures
};

struct Scenario {
  std::string name;
  std::function<Call()> prepare;
  AlsoThrows alsoThrows = AlsoThrows::nothing;
  std::uint64_t step = 1;  ///< from one request that fails to the next, of calls that take long
};

/// Makes a scenario without anything that lives between its calls.
inline Scenario calling(std::string name, Call call, AlsoThrows alsoThrows = AlsoThrows::nothing) {
  return {std::move(name), [call = std::move(call)] { return call; }, alsoThrows};
}

/// What is in a file. Nothing that it uses makes of missing memory anything else than std::bad_alloc.
std::string contentOfFile(const std::string& path);

/// Lets each request of a scenario fail. Adds a Google Test failure where the call
/// - ends in anything else than the scenario says, or well with another result,
/// - leaves memory behind,
/// - does not succeed, with the same result, when it is made again.
/// @return how many requests failed.
std::uint64_t failEachRequest(const Scenario& scenario);

/// failEachRequest for some scenarios, each of which must have requests; says how many failed.
void failEachRequest(const std::vector<Scenario>& scenarios);

///@{
/// All scenarios, by what is called.
std::vector<Scenario> directScenarios();
std::vector<Scenario> taggedScenarios();
std::vector<Scenario> fileScenarios();
std::vector<Scenario> modelScenarios();
std::vector<Scenario> metaModelScenarios();
std::vector<Scenario> ecoreScenarios();
std::vector<Scenario> xmiScenarios();
std::vector<Scenario> jsonScenarios();
std::vector<Scenario> archiveScenarios();
std::vector<Scenario> tableScenarios();
std::vector<Scenario> evolutionScenarios();
std::vector<Scenario> compareScenarios();
std::vector<Scenario> inspectScenarios();
std::vector<Scenario> studyScenarios();
///@}

}  // namespace kr::zero::test
