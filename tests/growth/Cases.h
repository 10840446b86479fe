/// @file
/// What grows: documents and models of any size whose reading and writing should cost as much more as they
/// are larger, and where a mistake makes it cost the square.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace kr::zero::growth {

/// One piece of work, all that it needs at hand.
struct Work {
  std::function<void()> run;
  std::size_t bytes;  ///< of the document that is read or written
};

/// Who does the work, for the bounds of memory.
enum class Door { direct, tagged, xmi, ecore, json, archive };

struct Case {
  std::string name;  ///< "xmi/deep/read"
  Door door;
  bool isReading;
  std::size_t size;  ///< of what the case is about (elements, classes, ...), where the square would show
  std::function<Work(std::size_t size)> prepare;
};

/// All of them, always in one order.
const std::vector<Case>& cases();

/// "xmi"
const char* nameOf(Door door);

}  // namespace kr::zero::growth
