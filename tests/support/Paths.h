/// @file
/// Where tests find files.
#pragma once

#include <string>

namespace kr::zero::test {

/// The folder of real models beside the checkout; may not exist.
inline std::string modelsDir() { return KR0_MODELS_DIR; }
inline std::string sourceDir() { return KR0_SOURCE_DIR; }
bool haveModels();

/// A file path in a fresh temporary folder of this process.
std::string temporaryPath(const std::string& name);
std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& bytes);

}  // namespace kr::zero::test
