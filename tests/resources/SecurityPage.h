/// @file
/// The bounds that docs/security.md promises, read from the page: they stand nowhere else.
#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace kr::zero::test {

/// A row of the page's table of bounds.
struct PromisedBounds {
  std::size_t memoryBeside = 0;    ///< bytes that are live at one time, whatever the input
  std::size_t memoryPerByte = 0;   ///< and for each byte of the input
  std::size_t requestFloor = 0;    ///< bytes of the largest single request, or
  std::size_t requestPerByte = 0;  ///< so many for each byte of the input, where that is more
  double nanosecondsPerByte = 0;   ///< of processor time
};

/// All rows, by the reader's name in the first column.
/// @throws std::runtime_error for a page without such a table.
const std::map<std::string, PromisedBounds>& promisedBounds();

/// @throws std::out_of_range for a reader that the page does not know.
const PromisedBounds& promisedBounds(const std::string& reader);

}  // namespace kr::zero::test
