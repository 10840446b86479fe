/// @file
/// Internal. Failures of the operating system as exceptions.
#pragma once

#include <cerrno>
#include <ios>
#include <string>
#include <system_error>

namespace kr::zero::io::internal {

/// @param what what was tried and on which path.
/// @param error the errno of it; 0 counts as EIO, for functions that fail without setting it.
[[noreturn]] inline void throwIoFailure(const std::string& what, int error) {
  throw std::ios_base::failure(what, std::error_code(error == 0 ? EIO : error, std::generic_category()));
}

}  // namespace kr::zero::io::internal
