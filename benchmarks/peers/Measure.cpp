#include "Measure.h"

#include <malloc.h>

#include <algorithm>
#include <functional>
#include <random>
#include <stdexcept>

#include "Timing.h"

namespace kr::zero::bench {

namespace {

// What malloc has handed out, its own overhead included; also large blocks, which it maps one by one.
double heldBytes() {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<double>(info.uordblks + info.hblkhd);
}

struct Task {
  const Peer* peer;
  const char* operation;
  std::function<void()> run;
  std::size_t runs = 1;  // per sample, so that a sample is long enough for the clock
  std::vector<double> samples;
};

// With so many elements a single run is long enough for the clock, and trying it takes its time.
constexpr std::size_t kLargeEnough = 1000000;

std::vector<Task> tasksOf(const std::vector<Peer*>& peers) {
  std::vector<Task> tasks;
  for (Peer* peer : peers) {
    if (peer->traits().writes) tasks.push_back({peer, "write", [peer] { peer->write(); }, 1, {}});
    // What is made has to be released: the two belong together.
    if (peer->traits().reads) tasks.push_back({peer, "read", [peer] { peer->read(), peer->drop(); }, 1, {}});
  }
  return tasks;
}

}  // namespace

Results checkAndWeigh(const Workload& workload, Peer& peer, const Source& source) {
  Results results;
  const Traits& traits = peer.traits();
  const double count = static_cast<double>(workload.elements);
  const auto add = [&](const char* operation, double bytes) {
    const double value = bytes / count;
    results.push_back({workload.name, traits.name, operation, value, value, value, "bytes/element",
                       traits.resolvesReferences, traits.keeps});
  };
  peer.load(source);
  peer.write();
  const double before = heldBytes();
  peer.read();
  const double after = heldBytes();
  if (!peer.holds(source.content))
    throw std::runtime_error(traits.name + " does not hold the content of \"" + workload.name + '"');
  peer.drop();
  if (traits.keeps) add("memory", after - before);
  if (traits.writes) add("bytes", static_cast<double>(peer.size()));
  return results;
}

Result resultOf(std::vector<double> values, Result labels) {
  std::sort(values.begin(), values.end());
  labels.value = medianOf(values);
  labels.least = values.front();
  labels.most = values.back();
  return labels;
}

Results measure(const Workload& workload, const Peers& peers, std::vector<std::string>& skipped) {
  Results results;
  const Source source(contentFor(workload));
  std::vector<Peer*> taking;
  for (const auto& peer : peers) {
    if (workload.elements > peer->traits().mostElements) {
      skipped.push_back(workload.name + ": " + peer->traits().name + " (to keep the run short)");
      continue;
    }
    for (Result& result : checkAndWeigh(workload, *peer, source)) results.push_back(std::move(result));
    taking.push_back(peer.get());
  }
  std::vector<Task> tasks = tasksOf(taking);
  if (workload.elements < kLargeEnough)
    for (Task& task : tasks) task.runs = chooseRuns(task.run);
  // A slow spell of the machine is to meet all of them.
  std::mt19937_64 random(workload.elements);
  for (std::size_t i = 0; i < workload.repetitions; ++i) {
    std::shuffle(tasks.begin(), tasks.end(), random);
    for (Task& task : tasks)
      task.samples.push_back(nanosecondsOf(task.run, task.runs) / static_cast<double>(workload.elements));
  }
  for (const Task& task : tasks)
    results.push_back(resultOf(
        task.samples, {workload.name, task.peer->traits().name, task.operation, 0, 0, 0, "ns/element",
                       task.peer->traits().resolvesReferences, task.peer->traits().keeps}));
  return results;
}

}  // namespace kr::zero::bench
