/// @file
/// Times of the benchmarks as one table with ratios, and as JSON.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "Documents.h"
#include "Peak.h"

namespace kr::zero::bench {

/// Collects the CPU time of every repetition, by benchmark.
class Collector : public benchmark::BenchmarkReporter {
 public:
  explicit Collector(std::size_t elements) : elements_(static_cast<double>(elements)) {}
  bool ReportContext(const Context& context) override;
  void ReportRuns(const std::vector<Run>& runs) override;
  bool has(const std::string& name) const { return times_.contains(name); }
  /// Nanoseconds per element of each repetition, ascending.
  const std::vector<double>& timesOf(const std::string& name) const { return times_.at(name); }
  const std::map<std::string, std::vector<double>>& times() const { return times_; }
  bool failed() const { return failed_; }

 private:
  double elements_;
  std::map<std::string, std::vector<double>> times_;
  bool failed_ = false;
};

struct Memory {
  HeldBytes held;
  std::optional<PeakBytes> peak;  ///< none: could not be measured here
};

/// One figure of ours over one of theirs.
struct Comparison {
  std::string what;
  std::string ours;
  std::string theirs;
  double ratio = 0;
  std::optional<double> limit;  ///< what the ratio must not exceed; none: for information
  bool holds() const { return !limit || ratio <= *limit; }
};

double medianOf(const std::vector<double>& ascending);

std::vector<Comparison> compare(const Collector& collector, const Documents& documents, const Memory& memory);
void printTable(std::ostream& out, const Collector& collector, const Documents& documents,
                const Memory& memory, const std::vector<Comparison>& comparisons);
/// @throws std::runtime_error where the file cannot be written.
void writeJson(const std::string& path, const Collector& collector, const Documents& documents,
               const Memory& memory, const std::vector<Comparison>& comparisons);

}  // namespace kr::zero::bench
