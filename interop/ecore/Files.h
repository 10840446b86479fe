/// @file
/// Internal: whole files.
#pragma once

#include <string>

namespace kr::zero::ecore {

/// @param path UTF-8.
/// @throws EcoreError with the path and the system's reason.
std::string readFile(const std::string& path);

}  // namespace kr::zero::ecore
