/// @file
/// The rows of the gate: ratios beside what they must not exceed.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace kr::zero::bench {

/// Samples of ours and of theirs, each pair measured in turn.
class Pairs {
 public:
  void add(double ours, double theirs) { pairs_.emplace_back(ours, theirs); }
  /// The median of the pairs' ratios: a slow spell of the machine meets both sides of a pair.
  double ratio() const;
  const std::vector<std::pair<double, double>>& all() const { return pairs_; }

 private:
  std::vector<std::pair<double, double>> pairs_;
};

struct Row {
  std::string what;
  Pairs pairs;
  std::optional<double> limit;  ///< none: for information
  std::string skipped;          ///< why there is no figure; empty where there is one
  bool holds() const { return !skipped.empty() || !limit || pairs.ratio() <= *limit; }
};

/// Prints each row as it comes: figure, limit, and whether it is "ok", "EXCEEDED" or "skipped".
class Rows {
 public:
  explicit Rows(std::ostream& out);
  void add(const std::string& what, Pairs pairs, std::optional<double> limit);
  void skip(const std::string& what, const std::string& why);
  bool hold() const;
  /// @throws std::runtime_error where the file cannot be written.
  void writeJson(const std::string& path) const;

 private:
  void add(Row row);

  std::ostream& out_;
  std::vector<Row> rows_;
};

}  // namespace kr::zero::bench
