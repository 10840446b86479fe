// Protocol Buffers: generated code on the heap and on an arena, and messages made from a descriptor.
#include <google/protobuf/arena.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/io/coded_stream.h>

#include <algorithm>
#include <stdexcept>

#include "MessageContent.h"
#include "Peer.h"

namespace kr::zero::bench {

namespace {

constexpr std::uint32_t kLevelsTakenByDefault = 90;

std::uint32_t depthOf(const Content& content) {
  std::uint32_t depth = 0;
  for (const Item& item : content) depth = std::max(depth, item.depth);
  return depth;
}

class Protobuf : public Peer {
 public:
  using Peer::Peer;

  void load(const Source& source) override {
    catalog_ = makeMessages(source.content);
    deep_ = depthOf(source.content) > kLevelsTakenByDefault;
  }
  void write() override { catalog_.SerializeToString(&bytes_); }
  std::size_t size() const override { return bytes_.size(); }

 protected:
  // The limit of levels can only be raised on a stream.
  void parseInto(google::protobuf::Message& message) const {
    bool parsed = false;
    if (deep_) {
      google::protobuf::io::CodedInputStream stream(reinterpret_cast<const std::uint8_t*>(bytes_.data()),
                                                    static_cast<int>(bytes_.size()));
      stream.SetRecursionLimit(std::numeric_limits<int>::max());
      parsed = message.ParseFromCodedStream(&stream);
    } else {
      parsed = message.ParseFromString(bytes_);
    }
    if (!parsed) throw std::runtime_error("Protocol Buffers refuses its own document");
  }

  messages::Catalog catalog_;
  std::string bytes_;

 private:
  bool deep_ = false;
};

class Heap final : public Protobuf {
 public:
  Heap() : Protobuf({.name = "Protocol Buffers, heap"}) {}
  void read() override {
    read_ = std::make_unique<messages::Catalog>();
    parseInto(*read_);
  }
  void drop() override { read_.reset(); }
  bool holds(const Content& content) override { return contentOf(*read_) == content; }

 private:
  std::unique_ptr<messages::Catalog> read_;
};

class OnArena final : public Protobuf {
 public:
  OnArena() : Protobuf({.name = "Protocol Buffers, arena"}) {}
  void read() override {
    arena_ = std::make_unique<google::protobuf::Arena>();
    read_ = google::protobuf::Arena::CreateMessage<messages::Catalog>(arena_.get());
    parseInto(*read_);
  }
  void drop() override { arena_.reset(); }
  bool holds(const Content& content) override { return contentOf(*read_) == content; }

 private:
  std::unique_ptr<google::protobuf::Arena> arena_;
  messages::Catalog* read_ = nullptr;
};

/// Knows its schema at run time only, as a model does.
class Dynamic final : public Protobuf {
 public:
  Dynamic() : Protobuf({.name = "Protocol Buffers, DynamicMessage", .mostElements = kNotTheLargest}) {
    google::protobuf::FileDescriptorProto file;
    messages::Catalog::descriptor()->file()->CopyTo(&file);
    prototype_ = factory_.GetPrototype(
        pool_.BuildFile(file)->FindMessageTypeByName(messages::Catalog::descriptor()->name()));
  }
  void load(const Source& source) override {
    Protobuf::load(source);
    catalog_.SerializeToString(&bytes_);
    catalog_.Clear();
    written_.reset(prototype_->New());
    parseInto(*written_);
  }
  void write() override { written_->SerializeToString(&bytes_); }
  void read() override {
    read_.reset(prototype_->New());
    parseInto(*read_);
  }
  void drop() override { read_.reset(); }
  bool holds(const Content& content) override {
    const std::string written = std::exchange(bytes_, read_->SerializeAsString());
    messages::Catalog catalog;
    parseInto(catalog);
    bytes_ = written;
    return contentOf(catalog) == content;
  }

 private:
  google::protobuf::DescriptorPool pool_;
  google::protobuf::DynamicMessageFactory factory_;
  const google::protobuf::Message* prototype_ = nullptr;
  std::unique_ptr<google::protobuf::Message> written_;
  std::unique_ptr<google::protobuf::Message> read_;
};

}  // namespace

void addProtobuf(Peers& peers) {
  peers.push_back(std::make_unique<Heap>());
  peers.push_back(std::make_unique<OnArena>());
  peers.push_back(std::make_unique<Dynamic>());
}

}  // namespace kr::zero::bench
