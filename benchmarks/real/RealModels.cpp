#include "RealModels.h"

#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace kr::zero::bench {

namespace {

std::vector<std::string> split(const std::string& line) {
  std::vector<std::string> fields;
  std::istringstream in(line);
  for (std::string field; std::getline(in, field, '\t');) fields.push_back(field);
  return fields;
}

}  // namespace

std::vector<std::vector<std::string>> readFields(const std::string& path, std::size_t fields) {
  std::istringstream in(readFile(path));
  std::vector<std::vector<std::string>> lines;
  for (std::string line; std::getline(in, line);) {
    lines.push_back(split(line));
    if (lines.back().size() != fields) throw std::runtime_error(path + ": a line of another shape: " + line);
  }
  return lines;
}

std::vector<RealModel> readList(const std::string& path) {
  std::vector<RealModel> models;
  for (const std::vector<std::string>& line : readFields(path, 3))
    models.push_back({line[0], line[1], line[2]});
  return models;
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot open " + path);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary);
  out << bytes;
  if (!out.flush()) throw std::runtime_error("cannot write " + path);
}

std::string pathOfReturned(const std::string& workFolder, const RealModel& model) {
  return workFolder + "/" + model.name + ".returned.xmi";
}

}  // namespace kr::zero::bench
