#include "Report.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace kr::zero::bench {

bool Collector::ReportContext(const Context& context) {
  const benchmark::CPUInfo& cpu = context.cpu_info;
  GetOutputStream() << cpu.num_cpus << " CPUs of " << std::lround(cpu.cycles_per_second / 1e6) << " MHz";
  if (!cpu.load_avg.empty()) GetOutputStream() << ", load " << cpu.load_avg.front();
  GetOutputStream() << '\n';
  return true;
}

void Collector::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    if (run.error_occurred) {
      GetErrorStream() << run.benchmark_name() << ": " << run.error_message << '\n';
      failed_ = true;
    } else if (run.run_type == Run::RT_Iteration) {
      std::vector<double>& times = times_[run.run_name.function_name];
      const double nanoseconds =
          run.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e9;
      times.push_back(nanoseconds / elements_);
      std::sort(times.begin(), times.end());
    }
  }
}

double medianOf(const std::vector<double>& ascending) {
  const std::size_t middle = ascending.size() / 2;
  return ascending.size() % 2 == 1 ? ascending[middle] : (ascending[middle - 1] + ascending[middle]) / 2;
}

namespace {

struct Limit {
  const char* what;
  const char* ours;
  const char* theirs;
  std::optional<double> limit;
};

// Times are compared with messages on the heap without resolved references, which is the least that
// the other side can do.
constexpr Limit timeLimits[] = {
    {"write", "write direct", "write protobuf", 3.0},
    {"read", "read direct", "read protobuf heap", 1.5},
    {"read, references resolved", "read direct", "read protobuf heap, references resolved", std::nullopt},
    {"read, against an arena", "read direct", "read protobuf arena", std::nullopt},
    {"format tagged events, against CBOR", "format tagged events", "write CBOR, nlohmann", 1.0},
    {"format tagged events, against MessagePack", "format tagged events", "pack MessagePack", 2.0},
    {"assemble tagged events, against CBOR", "assemble tagged events", "sax_parse CBOR, nlohmann", 1.0},
    {"assemble tagged events, against MessagePack", "assemble tagged events", "visit MessagePack", 2.0},
    {"read, driver alone", "read direct, driver alone", "read protobuf heap", std::nullopt},
};
constexpr double memoryLimit = 1.5;
constexpr std::size_t kMebibyte = std::size_t{1} << 20;

double ratioOf(std::size_t ours, std::size_t theirs) {
  return static_cast<double>(ours) / static_cast<double>(theirs);
}

double perElement(std::size_t bytes, const Documents& documents) { return ratioOf(bytes, documents.size); }

nlohmann::json toJson(const Comparison& comparison) {
  nlohmann::json json = {{"what", comparison.what},
                         {"ours", comparison.ours},
                         {"theirs", comparison.theirs},
                         {"ratio", comparison.ratio},
                         {"holds", comparison.holds()}};
  if (comparison.limit) json["limit"] = *comparison.limit;
  return json;
}

}  // namespace

std::vector<Comparison> compare(const Collector& collector, const Documents& documents,
                                const Memory& memory) {
  std::vector<Comparison> comparisons;
  for (const Limit& row : timeLimits) {
    if (!collector.has(row.ours) || !collector.has(row.theirs)) continue;  // left out by a filter
    const double ratio = medianOf(collector.timesOf(row.ours)) / medianOf(collector.timesOf(row.theirs));
    comparisons.push_back({row.what, row.ours, row.theirs, ratio, row.limit});
  }
  comparisons.push_back({"memory", "model", "messages on the heap",
                         ratioOf(memory.held.model, memory.held.messages), memoryLimit});
  if (memory.peak) {
    const std::size_t document = documents.direct.size();
    comparisons.push_back({"peak while writing, beyond the output", "resident", "the output and 1 MiB",
                           ratioOf(memory.peak->writing, document + kMebibyte), std::nullopt});
    comparisons.push_back({"peak while reading a file", "resident", "file, model and 1 MiB",
                           ratioOf(memory.peak->reading, document + memory.peak->model + kMebibyte),
                           std::nullopt});
  }
  comparisons.push_back({"document", "direct", "protobuf",
                         ratioOf(documents.direct.size(), documents.protobuf.size()), std::nullopt});
  return comparisons;
}

void printTable(std::ostream& out, const Collector& collector, const Documents& documents,
                const Memory& memory, const std::vector<Comparison>& comparisons) {
  const auto name = [&out](const std::string& text) -> std::ostream& {
    return out << "  " << std::left << std::setw(46) << text << std::right << std::fixed;
  };
  out << documents.size << " elements of 14 properties; content " << std::hex << documents.contentHash
      << std::dec << " in every form\n\n";
  name("CPU time, ns/element") << std::setw(10) << "median" << std::setw(10) << "least" << std::setw(10)
                               << "most" << '\n'
                               << std::setprecision(0);
  for (const auto& [benchmark, times] : collector.times())
    name(benchmark) << std::setw(10) << medianOf(times) << std::setw(10) << times.front() << std::setw(10)
                    << times.back() << '\n';
  out << '\n';
  name("bytes/element") << '\n';
  const auto bytes = [&](const char* what, std::size_t count) {
    name(what) << std::setw(10) << perElement(count, documents) << '\n';
  };
  bytes("document direct", documents.direct.size());
  bytes("document protobuf", documents.protobuf.size());
  bytes("memory of the model", memory.held.model);
  bytes("memory of messages on the heap", memory.held.messages);
  bytes("the same with resolved references", memory.held.messagesAndTargets);
  if (memory.peak) {
    bytes("peak while writing, beyond the output", memory.peak->writing);
    bytes("peak while reading a file", memory.peak->reading);
  }
  out << '\n';
  name("ratio, ours/theirs") << std::setw(10) << "ratio" << std::setw(10) << "limit" << '\n'
                             << std::setprecision(2);
  for (const Comparison& comparison : comparisons) {
    name(comparison.what) << std::setw(10) << comparison.ratio;
    if (comparison.limit)
      out << std::setw(10) << *comparison.limit << (comparison.holds() ? "" : "  EXCEEDED");
    out << '\n';
  }
}

void writeJson(const std::string& path, const Collector& collector, const Documents& documents,
               const Memory& memory, const std::vector<Comparison>& comparisons) {
  nlohmann::json json;
  json["elements"] = documents.size;
  json["contentHash"] = documents.contentHash;
  json["compiler"] = __VERSION__;
  for (const auto& [benchmark, times] : collector.times())
    json["nanosecondsPerElement"][benchmark] = {{"median", medianOf(times)}, {"repetitions", times}};
  json["documentBytes"] = {{"direct", documents.direct.size()}, {"protobuf", documents.protobuf.size()}};
  json["heldBytes"] = {{"model", memory.held.model},
                       {"messages", memory.held.messages},
                       {"messagesAndTargets", memory.held.messagesAndTargets}};
  if (memory.peak)
    json["peakBytes"] = {
        {"writing", memory.peak->writing}, {"reading", memory.peak->reading}, {"model", memory.peak->model}};
  for (const Comparison& comparison : comparisons) json["comparisons"].push_back(toJson(comparison));
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  if (!folder.empty()) std::filesystem::create_directories(folder);
  std::ofstream out(path);
  out << json.dump(2) << '\n';
  if (!out.flush()) throw std::runtime_error("cannot write " + path);
}

}  // namespace kr::zero::bench
