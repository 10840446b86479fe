/// @file
/// Internal: refuses a collaborator that is not there where it is handed over, not where it is first used.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace kr::zero::io::internal {

/// @param what "a parser needs a customizer".
/// @throws std::invalid_argument for null.
template <class T>
std::unique_ptr<T> notNull(std::unique_ptr<T> collaborator, const char* what) {
  if (collaborator == nullptr) throw std::invalid_argument(what);
  return collaborator;
}

}  // namespace kr::zero::io::internal
