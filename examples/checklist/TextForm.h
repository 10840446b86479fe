// Checklists as text, and as models.
#pragma once

#include <iosfwd>
#include <stdexcept>
#include <string>

#include "kr/zero/Model.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace checklist {

/// A line that is none of a checklist.
class BadLine : public std::runtime_error {
 public:
  BadLine(std::size_t line, const std::string& problem)
      : std::runtime_error("line " + std::to_string(line) + ": " + problem) {}
};

/// The classes of checklists: List, with a title, and Task, with a text, whether it is done, and tasks below
/// it.
void defineTypes(kr::zero::meta::MetaRegistry& registry);

/// Reads a title and tasks, two blanks for each level:
///
///     # Moving house
///     - [x] Find boxes
///       - [ ] Ask the bookshop
///
/// @throws BadLine
kr::zero::Model readText(std::istream& in, const kr::zero::meta::MetaRegistry& registry);

/// Writes the same. Of a model that is no checklist, nothing.
void writeText(const kr::zero::Model& model, std::ostream& out);

}  // namespace checklist
