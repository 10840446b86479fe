/// @file
/// What a peer has to offer, so that all are measured by the same code.
#pragma once

#include <cstddef>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "Content.h"
#include "Node.h"

namespace kr::zero::bench {

/// For peers that are left out of the largest workload, to keep time and memory of a run in bounds.
inline constexpr std::size_t kNotTheLargest = 200000;

/// One content as plain data, made once and shared by the peers.
struct Source {
  explicit Source(Content made) : content(std::move(made)), nodes(makeNodes(content)) {}
  Content content;
  Nodes nodes;
};

/// What the table and its foot say of a peer.
struct Traits {
  std::string name;
  bool resolvesReferences = false;  ///< a reference that was read leads to its target without a lookup
  bool writes = true;
  bool reads = true;
  bool keeps = true;  ///< a read leaves data behind; false: it visits everything and keeps nothing
  std::size_t mostElements = std::numeric_limits<std::size_t>::max();
};

/// A way to store a content. load() comes first, then write(), then any of the others.
class Peer {
 public:
  explicit Peer(Traits traits) : traits_(std::move(traits)) {}
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  virtual ~Peer() = default;

  const Traits& traits() const noexcept { return traits_; }

  /// Makes what a program that uses this peer would have in memory. Not timed.
  virtual void load(const Source& source) = 0;
  /// From memory into a buffer that is kept from one call to the next.
  virtual void write() = 0;
  /// Size of what write() wrote.
  virtual std::size_t size() const = 0;
  /// From the buffer to the form in memory.
  virtual void read() = 0;
  /// Releases what read() made.
  virtual void drop() = 0;
  /// Whether what read() made, or visited, is `content`.
  virtual bool holds(const Content& content) = 0;

 private:
  Traits traits_;
};

using Peers = std::vector<std::unique_ptr<Peer>>;

// One per file of this folder.
void addKr0(Peers& peers);
void addFloor(Peers& peers);
void addProtobuf(Peers& peers);
void addFlatBuffers(Peers& peers);
void addCapnProto(Peers& peers);
void addMessagePack(Peers& peers);
void addNlohmannCbor(Peers& peers);
void addJson(Peers& peers);
void addBoostSerialization(Peers& peers);
void addCereal(Peers& peers);
void addLibCbor(Peers& peers);
void addTrees(Peers& peers);

/// All that store the content.
/// @param skipped gets a line for each whose library is not installed.
Peers makePeers(std::vector<std::string>& skipped);
/// Those that store the tree of a model's events.
Peers makeTreePeers(std::vector<std::string>& skipped);

}  // namespace kr::zero::bench
