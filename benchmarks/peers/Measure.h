/// @file
/// Times and sizes of peers for one workload.
#pragma once

#include <string>
#include <vector>

#include "Peer.h"
#include "Workloads.h"

namespace kr::zero::bench {

/// One figure; the results file has a list of them.
struct Result {
  std::string workload;
  std::string system;
  std::string operation;  ///< "write", "read", "memory" or "bytes"
  double value;           ///< the median where there were repetitions
  double least;
  double most;
  std::string unit;
  bool referencesResolved;
  bool keeps;
};
using Results = std::vector<Result>;

/// Measures all peers that take the workload, their repetitions mixed. Peers are checked first.
/// @param skipped gets a line for every peer that is left out.
/// @throws std::runtime_error where a peer holds another content than the one that was made: figures for
///   different contents compare nothing.
Results measure(const Workload& workload, const Peers& peers, std::vector<std::string>& skipped);

/// Time from start to end of a process that loads its library and parses a document of about 1 KB.
/// @param folder where the small programs are.
Results measureStartup(const std::string& folder);

/// Lets a peer write and read the content; it then holds its document. Gives memory and bytes.
/// @throws std::runtime_error where it holds another content than the one that was made.
Results checkAndWeigh(const Workload& workload, Peer& peer, const Source& source);

/// The median and the spread of some values.
Result resultOf(std::vector<double> values, Result labels);

}  // namespace kr::zero::bench
