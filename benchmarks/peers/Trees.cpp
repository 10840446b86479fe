// One tree, that of a model's events: in the tagged format, CBOR and MessagePack. All keep nothing of what
// they read.
#include <stdexcept>

#include "ModelContent.h"
#include "Peer.h"
#include "TreeEvents.h"
#include "kr/zero/io/BinaryAssembler.h"
#include "kr/zero/io/BinaryFormatter.h"
#include "modeling/sylvan/EventCounter.h"
#include "modeling/sylvan/NullEventProcessor.h"

#if KR0_BENCH_HAS_MESSAGEPACK
#include "MessagePackTree.h"
#endif

namespace kr::zero::bench {

namespace {

TreeEvents eventsFor(const Source& source) {
  meta::MetaRegistry registry;
  registerLibrary(registry);
  return eventsOf(makeModel(source.content, registry));
}

class Tagged final : public Peer {
 public:
  Tagged() : Peer({.name = "kr0 tagged events", .keeps = false}) {}
  void load(const Source& source) override { events_ = eventsFor(source); }
  void write() override {
    io::BinaryFormatter formatter(io::SerializationOutput::toString(bytes_));
    send(events_, formatter);
  }
  std::size_t size() const override { return bytes_.size(); }
  void read() override {
    assembler_.visitString(bytes_);
    if (assembler_.getByteOffset() != bytes_.size()) throw std::runtime_error("read less than the document");
  }
  void drop() override {}
  bool holds(const Content&) override {
    std::string again;
    modeling::sylvan::EventCounter counter;
    io::BinaryAssembler(&counter).visitString(bytes_);
    io::BinaryFormatter formatter(io::SerializationOutput::toString(again));
    io::BinaryAssembler(&formatter).visitString(bytes_);
    return again == bytes_ && counter.getTotal() == events_.size();
  }

 private:
  TreeEvents events_;
  std::string bytes_;
  modeling::sylvan::NullEventProcessor nothing_;
  io::BinaryAssembler assembler_{&nothing_};
};

/// Takes what a CBOR reader finds and does nothing with it, except that it counts.
struct CountingSax {
  using number_integer_t = nlohmann::json::number_integer_t;
  using number_unsigned_t = nlohmann::json::number_unsigned_t;
  using number_float_t = nlohmann::json::number_float_t;
  using string_t = nlohmann::json::string_t;
  using binary_t = nlohmann::json::binary_t;

  std::size_t calls = 0;
  bool null() { return ++calls, true; }
  bool boolean(bool) { return ++calls, true; }
  bool number_integer(number_integer_t) { return ++calls, true; }
  bool number_unsigned(number_unsigned_t) { return ++calls, true; }
  bool number_float(number_float_t, const string_t&) { return ++calls, true; }
  bool string(string_t&) { return ++calls, true; }
  bool binary(binary_t&) { return ++calls, true; }
  bool start_object(std::size_t) { return ++calls, true; }
  bool key(string_t&) { return ++calls, true; }
  bool end_object() { return true; }
  bool start_array(std::size_t) { return ++calls, true; }
  bool end_array() { return true; }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) { return false; }
};

class Cbor final : public Peer {
 public:
  Cbor() : Peer({.name = "CBOR, nlohmann", .keeps = false}) {}
  void load(const Source& source) override {
    const TreeEvents events = eventsFor(source);
    count_ = events.size();
    json_ = toJson(events);
  }
  void write() override {
    bytes_.clear();
    nlohmann::json::to_cbor(json_, bytes_);
  }
  std::size_t size() const override { return bytes_.size(); }
  void read() override {
    sax_.calls = 0;
    if (!nlohmann::json::sax_parse(bytes_, &sax_, nlohmann::json::input_format_t::cbor))
      throw std::runtime_error("not CBOR");
  }
  void drop() override {}
  bool holds(const Content&) override {
    return nlohmann::json::from_cbor(bytes_) == json_ && sax_.calls >= count_ / 3;
  }

 private:
  std::size_t count_ = 0;
  nlohmann::json json_;
  std::vector<std::uint8_t> bytes_;
  CountingSax sax_;
};

#if KR0_BENCH_HAS_MESSAGEPACK
class MessagePack final : public Peer {
 public:
  MessagePack() : Peer({.name = "MessagePack, packer and visitor", .keeps = false}) {}
  void load(const Source& source) override { events_ = eventsFor(source); }
  void write() override {
    bytes_.clear();
    msgpack::packer<msgpack::sbuffer> packer(bytes_);
    packTree(events_, packer);
  }
  std::size_t size() const override { return bytes_.size(); }
  void read() override {
    visitor_.calls = 0;
    std::size_t offset = 0;
    msgpack::parse(bytes_.data(), bytes_.size(), offset, visitor_);
    if (offset != bytes_.size()) throw std::runtime_error("read less than the document");
  }
  void drop() override {}
  bool holds(const Content&) override {
    const std::string_view bytes(bytes_.data(), bytes_.size());
    return nlohmann::json::from_msgpack(bytes) == toJson(events_) && visitor_.calls >= events_.size() / 3;
  }

 private:
  TreeEvents events_;
  msgpack::sbuffer bytes_;
  CountingVisitor visitor_;
};
#endif

}  // namespace

// The trees hold each name of an entry once per struct, so that a JSON object can hold them.
void addTrees(Peers& peers) {
  peers.push_back(std::make_unique<Tagged>());
  peers.push_back(std::make_unique<Cbor>());
#if KR0_BENCH_HAS_MESSAGEPACK
  peers.push_back(std::make_unique<MessagePack>());
#endif
}

}  // namespace kr::zero::bench
