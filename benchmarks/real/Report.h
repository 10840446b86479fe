/// @file
/// All figures as one table in Markdown, and as JSON.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "Figures.h"

namespace kr::zero::bench {

/// A row for each model and system; the ratios are ours over theirs, so that less is better for us.
void printTable(std::ostream& out, const std::vector<RealModel>& models, const Figures& figures);

/// A list of {"workload", "system", "operation", "value", "unit", "ratio_to_kr0"}; the ratio is that system's
/// value over ours, null where there is nothing of ours to compare with.
/// @throws std::runtime_error where the file cannot be written.
void writeJson(const std::string& path, const std::vector<RealModel>& models, const Figures& figures);

}  // namespace kr::zero::bench
