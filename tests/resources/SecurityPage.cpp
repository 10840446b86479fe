#include "resources/SecurityPage.h"

#include <sstream>
#include <stdexcept>
#include <vector>

#include "support/Paths.h"

namespace kr::zero::test {

namespace {

constexpr std::string_view kHeading = "| reader |";

std::string trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(' ');
  return first == text.npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::vector<std::string> cellsOf(const std::string& line) {
  std::vector<std::string> cells;
  std::istringstream parts(line.substr(1));
  for (std::string cell; std::getline(parts, cell, '|');) cells.push_back(trimmed(cell));
  return cells;
}

/// "64 KiB", "4 MiB", "37".
std::size_t bytesOf(const std::string& cell) {
  std::istringstream words(cell);
  std::size_t number = 0;
  std::string unit;
  if (!(words >> number)) throw std::runtime_error("no number: \"" + cell + '"');
  words >> unit;
  if (unit == "KiB") return number << 10;
  if (unit == "MiB") return number << 20;
  if (!unit.empty()) throw std::runtime_error("no unit of bytes: \"" + cell + '"');
  return number;
}

std::map<std::string, PromisedBounds> readPage() {
  std::map<std::string, PromisedBounds> rows;
  std::istringstream page(readFile(sourceDir() + "/docs/security.md"));
  std::string line;
  while (std::getline(page, line) && !line.starts_with(kHeading)) {
  }
  std::getline(page, line);  // the line of dashes
  while (std::getline(page, line) && line.starts_with('|')) {
    const std::vector<std::string> cells = cellsOf(line);
    rows[cells.at(0)] = {bytesOf(cells.at(1)), bytesOf(cells.at(2)), bytesOf(cells.at(3)),
                         bytesOf(cells.at(4)), std::stod(cells.at(5))};
  }
  if (rows.empty()) throw std::runtime_error("docs/security.md has no table of bounds");
  return rows;
}

}  // namespace

const std::map<std::string, PromisedBounds>& promisedBounds() {
  static const std::map<std::string, PromisedBounds> rows = readPage();
  return rows;
}

const PromisedBounds& promisedBounds(const std::string& reader) { return promisedBounds().at(reader); }

}  // namespace kr::zero::test
