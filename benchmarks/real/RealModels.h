/// @file
/// The models to measure, and files as texts.
#pragma once

#include <string>
#include <vector>

namespace kr::zero::bench {

/// One line of the list that run.sh makes: three fields between tabs.
struct RealModel {
  std::string name;       ///< file name, as the table shows it
  std::string document;   ///< path of the XMI document, unpacked
  std::string metaModel;  ///< path of its .ecore file
};

/// @throws std::runtime_error for a file that cannot be opened or a line of another shape.
std::vector<RealModel> readList(const std::string& path);

/// The fields of each line of a text file, split at tabs.
/// @throws std::runtime_error where the file cannot be opened or a line has another number of fields.
std::vector<std::vector<std::string>> readFields(const std::string& path, std::size_t fields);

/// @throws std::runtime_error where the file cannot be opened.
std::string readFile(const std::string& path);
/// @throws std::runtime_error where the file cannot be written.
void writeFile(const std::string& path, const std::string& bytes);

/// Where the XMI document lies that was written from a model read back from the direct format.
std::string pathOfReturned(const std::string& workFolder, const RealModel& model);

}  // namespace kr::zero::bench
