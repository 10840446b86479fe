// Measures this library and its peers, and writes all figures as JSON.
//
//   kr0_bench_peers --json=FILE [--workload=TEXT] [--quick]
//
// --workload: only what has TEXT in its name. --quick: one repetition of each, to see that all works.

#include <pthread.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>

#include "Measure.h"

namespace kr::zero::bench {

namespace {

struct Options {
  std::string json;
  std::string workload;
  bool quick = false;
};

Options optionsFrom(int count, char** arguments) {
  Options options;
  for (int i = 1; i < count; ++i) {
    const std::string_view argument = arguments[i];
    if (argument == "--quick")
      options.quick = true;
    else if (argument.starts_with("--json="))
      options.json = argument.substr(7);
    else if (argument.starts_with("--workload="))
      options.workload = argument.substr(11);
    else
      throw std::runtime_error("unknown option " + std::string(argument));
  }
  return options;
}

nlohmann::json toJson(const Result& result) {
  return {{"workload", result.workload},
          {"system", result.system},
          {"operation", result.operation},
          {"value", result.value},
          {"least", result.least},
          {"most", result.most},
          {"unit", result.unit},
          {"references_resolved", result.referencesResolved},
          {"keeps_what_it_reads", result.keeps}};
}

bool isWanted(const Options& options, const std::string& name) {
  return name.find(options.workload) != std::string::npos;
}

void run(const Options& options) {
  nlohmann::json file = {
      {"compiler", __VERSION__}, {"skipped", nlohmann::json::array()}, {"results", nlohmann::json::array()}};
  const auto take = [&file](const Results& results) {
    for (const Result& result : results) file["results"].push_back(toJson(result));
  };
  std::vector<std::string> skipped;
  makePeers(skipped);
  makeTreePeers(skipped);
  for (Workload workload : workloads()) {
    if (!isWanted(options, workload.name)) continue;
    std::cerr << "  " << workload.name << std::endl;
    if (options.quick) workload.repetitions = 1;
    // New peers each time: what the last workload left in memory would be in the way.
    std::vector<std::string> missing;
    take(measure(workload, workload.trees ? makeTreePeers(missing) : makePeers(missing), skipped));
  }
  if (isWanted(options, "start-up"))
    take(measureStartup(std::filesystem::read_symlink("/proc/self/exe").parent_path()));
  file["skipped"] = skipped;
  std::ofstream out(options.json);
  out << file.dump(1) << '\n';
  if (!out.flush()) throw std::runtime_error("cannot write \"" + options.json + '"');
}

struct Job {
  Options options;
  int exitCode = 1;
};

void* runJob(void* argument) {
  Job& job = *static_cast<Job*>(argument);
  try {
    run(job.options);
    job.exitCode = 0;
  } catch (const std::exception& error) {
    std::cerr << "kr0_bench_peers: " << error.what() << '\n';
  }
  return nullptr;
}

}  // namespace

}  // namespace kr::zero::bench

int main(int count, char** arguments) {
  using namespace kr::zero::bench;
  Job job;
  try {
    job.options = optionsFrom(count, arguments);
  } catch (const std::exception& error) {
    std::cerr << "kr0_bench_peers: " << error.what() << '\n';
    return 2;
  }
  // Most peers recurse once per level of a document; this stack is for them.
  constexpr std::size_t kStackBytes = std::size_t{1} << 30;
  pthread_attr_t attributes;
  pthread_t thread;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, kStackBytes);
  if (pthread_create(&thread, &attributes, runJob, &job) != 0) {
    std::cerr << "kr0_bench_peers: cannot start a thread with a stack of 1 GiB\n";
    return 1;
  }
  pthread_join(thread, nullptr);
  return job.exitCode;
}
