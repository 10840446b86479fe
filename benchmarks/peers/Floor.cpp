// What no reader or writer can beat: a copy of the bytes; a walk over the direct document that builds
// nothing; the events of the tagged format written into a stream that drops them.
#include <cstring>
#include <ostream>

#include "MemoryStream.h"
#include "ModelContent.h"
#include "Peer.h"
#include "QuietProcessor.h"
#include "TreeEvents.h"
#include "kr/zero/io/BinaryFormatter.h"
#include "kr/zero/io/BinaryParser.h"
#include "kr/zero/io/BinarySerializer.h"

namespace kr::zero::bench {

namespace {

std::vector<std::uint8_t> directDocument(const Source& source, const meta::MetaRegistry& registry) {
  std::vector<std::uint8_t> bytes;
  io::BinarySerializer().serialize(makeModel(source.content, registry),
                                   io::SerializationOutput::toByteSequence(bytes));
  return bytes;
}

class Copy final : public Peer {
 public:
  Copy() : Peer({.name = "floor: copy of the direct bytes", .keeps = false}) { registerLibrary(registry_); }
  void load(const Source& source) override {
    bytes_ = directDocument(source, registry_);
    to_.resize(bytes_.size());
  }
  void write() override { copy(); }
  std::size_t size() const override { return bytes_.size(); }
  void read() override { copy(); }
  void drop() override {}
  bool holds(const Content&) override { return to_ == bytes_; }

 private:
  void copy() {
    std::memcpy(to_.data(), bytes_.data(), bytes_.size());
    asm volatile("" : : "r"(to_.data()) : "memory");  // somebody may look: the copy has to be made
  }
  meta::MetaRegistry registry_;
  std::vector<std::uint8_t> bytes_;
  std::vector<std::uint8_t> to_;
};

class Driver final : public Peer {
 public:
  Driver()
      : Peer({.name = "floor: direct, builds nothing",
              .writes = false,
              .keeps = false,
              .mostElements = kNotTheLargest}),
        customizer_(registry_),
        parser_(std::make_unique<io::ParseCustomizer>(registry_),
                std::make_unique<io::ParsingModelBuilder>(false)) {
    registerLibrary(registry_);
    auto quiet = std::make_unique<QuietProcessor>(customizer_, parser_.getModelBuilder());
    quiet_ = quiet.get();
    parser_.setParseProcessor(std::move(quiet));
  }
  void load(const Source& source) override { bytes_ = directDocument(source, registry_); }
  void write() override {}
  std::size_t size() const override { return bytes_.size(); }
  void read() override { static_cast<void>(parser_.parseByteSequence(bytes_)); }
  void drop() override {}
  bool holds(const Content& content) override { return quiet_->getCalls() >= 4 * content.size(); }

 private:
  meta::MetaRegistry registry_;
  io::ParseCustomizer customizer_;
  io::BinaryParser parser_;
  const QuietProcessor* quiet_ = nullptr;
  std::vector<std::uint8_t> bytes_;
};

class Events final : public Peer {
 public:
  Events()
      : Peer({.name = "floor: tagged events, sink drops",
              .reads = false,
              .keeps = false,
              .mostElements = kNotTheLargest}),
        stream_(&null_) {}
  void load(const Source& source) override {
    meta::MetaRegistry registry;
    registerLibrary(registry);
    events_ = eventsOf(makeModel(source.content, registry));
    std::string bytes;
    io::BinaryFormatter formatter(io::SerializationOutput::toString(bytes));
    send(events_, formatter);
    size_ = bytes.size();
  }
  void write() override {
    io::BinaryFormatter formatter(io::SerializationOutput::toStream(stream_));
    send(events_, formatter);
  }
  std::size_t size() const override { return size_; }
  void read() override {}
  void drop() override {}
  bool holds(const Content& content) override { return events_.size() > 4 * content.size(); }

 private:
  TreeEvents events_;
  std::size_t size_ = 0;
  NullBuffer null_;
  std::ostream stream_;
};

}  // namespace

void addFloor(Peers& peers) {
  peers.push_back(std::make_unique<Copy>());
  peers.push_back(std::make_unique<Driver>());
  peers.push_back(std::make_unique<Events>());
}

}  // namespace kr::zero::bench
