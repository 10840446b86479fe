/// @file
/// Documents for the questions that a reader of the formats' pages may ask, one each.
#pragma once

#include <string>
#include <vector>

#include "kr/zero/meta/MetaRegistry.h"
#include "support/DirectBytes.h"

namespace kr::zero::test {

/// A document of some format, and what it asks.
struct Question {
  std::string name;
  std::string format;
  Bytes bytes;
};

/// Of the meta model of the golden documents.
std::vector<Question> goldenQuestions();

/// Of any meta model: properties that no document should hold.
std::vector<Question> questionsOfUnwritten(const meta::MetaRegistry& registry);

}  // namespace kr::zero::test
