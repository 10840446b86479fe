// The gate: ratios of our figures to those of others, each beside its limit.
//
//   kr0_bench [--gate] [--json=FILE] [--elements=N] [--rounds=N]
//   kr0_bench --large[=N]
//   kr0_bench --limits
//
// --gate: exit code 1 where a limit is exceeded. --elements: another library than the one that the limits are
// for. --rounds: how often each pair is measured. --large: writes and reads one library of N elements
// (10,000,000) and tells seconds and memory.

#include <charconv>
#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Access.h"
#include "Gate.h"
#include "Limits.h"
#include "Peak.h"

namespace kr::zero::bench {

namespace {

struct Options {
  std::string json;
  bool gate = false;
  std::size_t elements = kGateElements;
  std::size_t rounds = 15;
  std::size_t large = 0;  ///< 0: not asked for
  bool limits = false;
};

std::size_t toCount(std::string_view digits) {
  std::size_t count = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), count);
  if (error != std::errc() || end != digits.data() + digits.size() || count == 0)
    throw std::runtime_error("not a number of at least 1: " + std::string(digits));
  return count;
}

Options optionsFrom(int count, char** arguments) {
  Options options;
  for (int i = 1; i < count; ++i) {
    const std::string_view argument = arguments[i];
    const std::string_view value = argument.substr(std::min(argument.find('=') + 1, argument.size()));
    if (argument == "--gate")
      options.gate = true;
    else if (argument == "--limits")
      options.limits = true;
    else if (argument.starts_with("--json="))
      options.json = value;
    else if (argument.starts_with("--elements="))
      options.elements = toCount(value);
    else if (argument.starts_with("--rounds="))
      options.rounds = toCount(value);
    else if (argument == "--large")
      options.large = 10000000;
    else if (argument.starts_with("--large="))
      options.large = toCount(value);
    else
      throw std::runtime_error("unknown option " + std::string(argument));
  }
  return options;
}

void printLarge(std::size_t elements) {
  const std::optional<Peak> peak = measurePeak(elements);
  if (!peak) throw std::runtime_error("the system does not tell a process its peak of memory");
  constexpr double kMebibyte = 1 << 20;
  const auto mebibytes = [](std::size_t bytes) { return static_cast<double>(bytes) / kMebibyte; };
  std::cout << std::fixed << std::setprecision(2) << elements << " elements\n"
            << "  write: " << peak->writingSeconds << " s of CPU time; document " << mebibytes(peak->document)
            << " MiB, peak beyond it " << mebibytes(peak->writing) << " MiB\n"
            << "  read:  " << peak->readingSeconds << " s of CPU time; model " << mebibytes(peak->model)
            << " MiB, peak with the file " << mebibytes(peak->reading) << " MiB\n";
}

void printLimits() {
  const auto row = [](const std::string& what, double limit) {
    std::cout << "| " << what << " | " << std::fixed << std::setprecision(2) << limit << " |\n";
  };
  std::cout << "| ratio, ours / theirs | limit |\n|---|---|\n";
  for (const Limit& limit : kLibraryLimits) row(describe(limit), limit.limit);
  for (const Limit& limit : kEventLimits) row(describe(limit), limit.limit);
  for (const Limit& limit : kAccessLimits) row(describe(limit), limit.limit);
  row(kWriteGrowth, kWriteGrowthLimit);
  row(kReadGrowth, kReadGrowthLimit);
  const std::string real = std::string("real models: direct read / ") + kEmfForms[0] + " and " + kEmfForms[1];
  row(real + ", each model of 1 MB and more", kLargeEmfLimit);
  row(real + ", each smaller one", kSmallEmfLimit);
  const std::string gzip = " / gzip -6 of the XMI, each model of 1 MB and more";
  row("real models: bytes of an archive" + gzip, kArchiveBytesLimit);
  row("real models: saving an archive" + gzip, kArchiveSaveLimit);
  row("real models: saving an archive, level 3" + gzip, kFastArchiveSaveLimit);
  row("real models: loading an archive / loading the .krb, each model of 1 MB and more", kArchiveLoadLimit);
  row("real models: bytes of an archive's document / gzip -6 of the XMI, each model", kArchiveBytesLimit);
  row("real models: the same, geometric mean", kArchiveDocumentMeanLimit);
  row(std::string(kXmiModel) + ": XMI into a model / pugixml's parse", kXmiLimit);
}

void addAccessRows(const Options& options, Rows& rows) {
#ifdef KR0_BENCH_HAS_ACCESS
  measureAccessRows(options.elements, options.rounds, rows);
#else
  (void)options;
  for (const Limit& limit : kAccessLimits) rows.skip(describe(limit), "built without the tool");
#endif
}

// The real models are measured by a program of their own, beside a JVM.
bool realRowsHold(const std::string& json) {
#ifdef KR0_BENCH_REAL_GATE
  std::cout << std::flush;
  const std::string command = KR0_BENCH_REAL_GATE + (json.empty() ? "" : " '" + json + ".real'");
  return std::system(command.c_str()) == 0;
#else
  (void)json;
  std::cout << "  skipped: real models (built without the tool)\n";
  return true;
#endif
}

int run(const Options& options) {
  if (options.limits) {
    printLimits();
    return 0;
  }
  if (options.large != 0) {
    printLarge(options.large);
    return 0;
  }
  Rows rows(std::cout);
  measureLibraryRows(options.elements, options.rounds, rows);
  addAccessRows(options, rows);
  if (!options.json.empty()) rows.writeJson(options.json);
  const bool hold = realRowsHold(options.json) && rows.hold();
  return options.gate && !hold ? 1 : 0;
}

}  // namespace

}  // namespace kr::zero::bench

int main(int count, char** arguments) {
  try {
    return kr::zero::bench::run(kr::zero::bench::optionsFrom(count, arguments));
  } catch (const std::exception& error) {
    std::cerr << "kr0_bench: " << error.what() << '\n';
    return 1;
  }
}
