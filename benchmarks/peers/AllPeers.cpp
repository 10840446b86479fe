#include "Peer.h"

namespace kr::zero::bench {

Peers makePeers(std::vector<std::string>& skipped) {
  Peers peers;
  addKr0(peers);
  addFloor(peers);
  addProtobuf(peers);
  [[maybe_unused]] const auto missing = [&skipped](const char* name) {
    skipped.push_back(std::string(name) + ": not installed");
  };
#if KR0_BENCH_HAS_FLATBUFFERS
  addFlatBuffers(peers);
#else
  missing("FlatBuffers");
#endif
#if KR0_BENCH_HAS_CAPNPROTO
  addCapnProto(peers);
#else
  missing("Cap'n Proto");
#endif
#if KR0_BENCH_HAS_MESSAGEPACK
  addMessagePack(peers);
#else
  missing("MessagePack");
#endif
  addNlohmannCbor(peers);
#if KR0_BENCH_HAS_JSON
  addJson(peers);
#else
  missing("kr0::json");
#endif
#if KR0_BENCH_HAS_BOOST_SERIALIZATION
  addBoostSerialization(peers);
#else
  missing("Boost.Serialization");
#endif
#if KR0_BENCH_HAS_CEREAL
  addCereal(peers);
#else
  missing("cereal");
#endif
#if KR0_BENCH_HAS_LIBCBOR
  addLibCbor(peers);
#else
  missing("libcbor");
#endif
  return peers;
}

Peers makeTreePeers(std::vector<std::string>& skipped) {
  Peers peers;
  addTrees(peers);
  if (peers.back()->traits().name == "CBOR, nlohmann")
    skipped.push_back("MessagePack, packer and visitor: not installed");
  return peers;
}

}  // namespace kr::zero::bench
