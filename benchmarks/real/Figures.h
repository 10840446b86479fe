/// @file
/// What was measured: lines of "workload, system, operation, value" between tabs, which programs of any
/// language can add to one file.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "RealModels.h"

namespace kr::zero::bench {

/// The system that all others are compared with.
inline const std::string referenceSystem = "kr0 direct";

class Figures {
 public:
  /// @param operation "elements", "bytes", "read" or "write"; times in milliseconds.
  void add(const std::string& workload, const std::string& system, const std::string& operation,
           double value);
  std::optional<double> find(const std::string& workload, const std::string& system,
                             const std::string& operation) const;
  /// In the order in which they first came.
  const std::vector<std::string>& systems() const { return systems_; }

  /// Adds the figures of a file.
  /// @throws std::runtime_error for a file that cannot be read.
  void load(const std::string& path);
  /// @throws std::runtime_error where the file cannot be written.
  void save(const std::string& path) const;

 private:
  using Key = std::tuple<std::string, std::string, std::string>;
  std::map<Key, double> values_;
  std::vector<std::string> systems_;
};

/// What of another system is measured in one run, as a multiple of ours.
std::optional<double> ratioToReference(const Figures& figures, const std::string& workload,
                                       const std::string& system, const std::string& operation);

}  // namespace kr::zero::bench
