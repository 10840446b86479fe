#include "Rows.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "Timing.h"

namespace kr::zero::bench {

namespace {

constexpr int kNameWidth = 72;

void print(std::ostream& out, const Row& row) {
  out << "  " << std::left << std::setw(kNameWidth) << row.what << std::right << std::fixed
      << std::setprecision(2);
  if (!row.skipped.empty()) {
    out << "  skipped: " << row.skipped << std::endl;
    return;
  }
  out << std::setw(8) << std::setprecision(3) << row.pairs.ratio() << std::setprecision(2);
  if (row.limit) out << std::setw(8) << *row.limit << (row.holds() ? "  ok" : "  EXCEEDED");
  out << std::endl;
}

nlohmann::json toJson(const Row& row) {
  nlohmann::json json = {{"what", row.what}, {"holds", row.holds()}};
  if (row.limit) json["limit"] = *row.limit;
  if (!row.skipped.empty()) {
    json["skipped"] = row.skipped;
    return json;
  }
  json["ratio"] = row.pairs.ratio();
  json["pairs"] = row.pairs.all();
  return json;
}

}  // namespace

double Pairs::ratio() const {
  std::vector<double> ratios;
  for (const auto& [ours, theirs] : pairs_) ratios.push_back(ours / theirs);
  return medianOf(std::move(ratios));
}

Rows::Rows(std::ostream& out) : out_(out) {
  out_ << "  " << std::left << std::setw(kNameWidth) << "ratio, ours / theirs" << std::right << std::setw(8)
       << "figure" << std::setw(8) << "limit" << std::endl;
}

void Rows::add(const std::string& what, Pairs pairs, std::optional<double> limit) {
  add({what, std::move(pairs), limit, {}});
}

void Rows::skip(const std::string& what, const std::string& why) { add({what, {}, std::nullopt, why}); }

void Rows::add(Row row) {
  print(out_, row);
  rows_.push_back(std::move(row));
}

bool Rows::hold() const {
  return std::all_of(rows_.begin(), rows_.end(), [](const Row& row) { return row.holds(); });
}

void Rows::writeJson(const std::string& path) const {
  nlohmann::json json = nlohmann::json::array();
  for (const Row& row : rows_) json.push_back(toJson(row));
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  if (!folder.empty()) std::filesystem::create_directories(folder);
  std::ofstream out(path);
  out << json.dump(1) << '\n';
  if (!out.flush()) throw std::runtime_error("cannot write " + path);
}

}  // namespace kr::zero::bench
