#include "Figures.h"

#include <algorithm>
#include <sstream>

namespace kr::zero::bench {

void Figures::add(const std::string& workload, const std::string& system, const std::string& operation,
                  double value) {
  values_[{workload, system, operation}] = value;
  if (std::find(systems_.begin(), systems_.end(), system) == systems_.end()) systems_.push_back(system);
}

std::optional<double> Figures::find(const std::string& workload, const std::string& system,
                                    const std::string& operation) const {
  const auto it = values_.find({workload, system, operation});
  if (it == values_.end()) return std::nullopt;
  return it->second;
}

void Figures::load(const std::string& path) {
  for (const std::vector<std::string>& line : readFields(path, 4))
    add(line[0], line[1], line[2], std::stod(line[3]));
}

void Figures::save(const std::string& path) const {
  std::ostringstream out;
  out.precision(9);
  for (const auto& [key, value] : values_) {
    const auto& [workload, system, operation] = key;
    out << workload << '\t' << system << '\t' << operation << '\t' << value << '\n';
  }
  writeFile(path, out.str());
}

std::optional<double> ratioToReference(const Figures& figures, const std::string& workload,
                                       const std::string& system, const std::string& operation) {
  const std::optional<double> value = figures.find(workload, system, operation);
  const std::optional<double> ours = figures.find(workload, referenceSystem, operation);
  if (!value || !ours || *ours == 0) return std::nullopt;
  return *value / *ours;
}

}  // namespace kr::zero::bench
