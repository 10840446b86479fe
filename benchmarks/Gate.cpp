#include "Gate.h"

#include <algorithm>
#include <map>
#include <span>

#include "Limits.h"
#include "Measure.h"
#include "Peak.h"
#include "Timing.h"

namespace kr::zero::bench {

namespace {

/// Peers that hold the content, and what they weigh.
class Systems {
 public:
  /// Keeps those that some limit names.
  Systems(Peers peers, std::span<const Limit> limits, const Source& source) {
    const Workload workload{"the gate", source.content.size(), 1};
    for (std::unique_ptr<Peer>& peer : peers) {
      const std::string& name = peer->traits().name;
      const auto names = [&](const Limit& limit) {
        return name == limit.ours.system || name == limit.theirs.system;
      };
      if (std::none_of(limits.begin(), limits.end(), names)) continue;
      for (const Result& result : checkAndWeigh(workload, *peer, source))
        weights_[name + result.operation] = result.value;
      peers_.emplace(name, std::move(peer));
    }
  }

  bool has(const Side& side) const { return peers_.contains(side.system); }

  static bool isTime(const Side& side) {
    return side.operation == std::string("read") || side.operation == std::string("write");
  }

  /// One sample of an operation's time, or its weight.
  double measure(const Side& side) const {
    if (!isTime(side)) return weights_.at(std::string(side.system) + side.operation);
    Peer& peer = *peers_.at(side.system);
    if (side.operation == std::string("write")) return nanosecondsOf([&] { peer.write(); });
    return nanosecondsOf([&] { peer.read(), peer.drop(); });
  }

 private:
  std::map<std::string, std::unique_ptr<Peer>> peers_;
  std::map<std::string, double> weights_;  // by name and operation
};

// A pair's two sides follow each other, so that they meet the same machine, each side first in every other
// round. Rounds go over all rows, so that a slow spell meets only some of a row's pairs.
void measureRows(const Systems& systems, std::span<const Limit> limits, std::size_t rounds, Rows& rows) {
  std::vector<Pairs> pairs(limits.size());
  for (std::size_t round = 0; round < rounds; ++round) {
    for (std::size_t i = 0; i < limits.size(); ++i) {
      const Limit& limit = limits[i];
      if (!systems.has(limit.ours) || !systems.has(limit.theirs)) continue;
      const double before = round % 2 == 0 ? systems.measure(limit.ours) : 0;
      const double theirs = systems.measure(limit.theirs);
      pairs[i].add(round % 2 == 0 ? before : systems.measure(limit.ours), theirs);
    }
  }
  for (std::size_t i = 0; i < limits.size(); ++i) {
    if (pairs[i].all().empty())
      rows.skip(describe(limits[i]), std::string(limits[i].theirs.system) + " is not installed");
    else
      rows.add(describe(limits[i]), pairs[i], limits[i].limit);
  }
}

std::unique_ptr<Peer> makeDirect(std::size_t elements) {
  Peers peers;
  addKr0(peers);
  const Workload workload{"growth", elements, 1};
  const Source source(contentFor(workload));
  checkAndWeigh(workload, *peers.front(), source);
  return std::move(peers.front());
}

// Both sides per element; the small side is run until it has made as many elements.
void measureGrowth(std::size_t rounds, Rows& rows) {
  const std::unique_ptr<Peer> large = makeDirect(kLargeElements);
  const std::unique_ptr<Peer> small = makeDirect(kSmallElements);
  constexpr std::size_t kTimes = 20;
  const auto measure = [&](auto operation) {
    const double ofLarge = nanosecondsOf([&] { operation(*large); });
    const double ofSmall = nanosecondsOf([&] { operation(*small); }, kTimes);
    return std::pair(ofLarge / kLargeElements, ofSmall / kSmallElements);
  };
  Pairs writing, reading;
  for (std::size_t round = 0; round < rounds; ++round) {
    const auto [largeWrite, smallWrite] = measure([](Peer& peer) { peer.write(); });
    writing.add(largeWrite, smallWrite);
    const auto [largeRead, smallRead] = measure([](Peer& peer) { peer.read(), peer.drop(); });
    reading.add(largeRead, smallRead);
  }
  rows.add(kWriteGrowth, writing, kWriteGrowthLimit);
  rows.add(kReadGrowth, reading, kReadGrowthLimit);
}

void addPeaks(std::size_t elements, Rows& rows) {
  const std::optional<Peak> peak = measurePeak(elements);
  constexpr const char* kWriting = "peak while writing, beyond the output / output and 1 MiB";
  constexpr const char* kReading = "peak while reading a file / file, model and 1 MiB";
  constexpr double kMebibyte = 1 << 20;
  if (!peak) {
    rows.skip(kWriting, "the system does not tell");
    rows.skip(kReading, "the system does not tell");
    return;
  }
  const auto add = [&](const char* what, std::size_t ours, std::size_t theirs) {
    Pairs pairs;
    pairs.add(static_cast<double>(ours), static_cast<double>(theirs) + kMebibyte);
    rows.add(what, pairs, std::nullopt);
  };
  add(kWriting, peak->writing, peak->document);
  add(kReading, peak->reading, peak->document + peak->model);
}

}  // namespace

void measureLibraryRows(std::size_t elements, std::size_t rounds, Rows& rows) {
  addPeaks(elements, rows);
  std::vector<std::string> notInstalled;  // a row says so itself
  {
    const Source source(contentFor({"the gate", elements, 1}));
    measureRows(Systems(makePeers(notInstalled), kLibraryLimits, source), kLibraryLimits, rounds, rows);
    measureRows(Systems(makeTreePeers(notInstalled), kEventLimits, source), kEventLimits, rounds, rows);
  }
  measureGrowth(std::max<std::size_t>(rounds / 3, 1), rows);
}

}  // namespace kr::zero::bench
