// MessagePack for C++: objects converted to the plain structs, and a visitor that only counts.
#include <msgpack.hpp>
#include <stdexcept>

#include "Peer.h"

namespace msgpack {
MSGPACK_API_VERSION_NAMESPACE(MSGPACK_DEFAULT_API_NS) {
  namespace adaptor {

  // A node is an array of its members, as MSGPACK_DEFINE makes it.
  template <class Node>
  auto membersOf(Node& node) {
    auto& item = node.item;
    return type::make_define_array(node.id, item.title, item.isbn, item.shelf, item.pages, item.sold,
                                   item.price, item.available, item.genre, item.acquired, item.ratings,
                                   item.keywords, item.original, item.related, node.parts);
  }

  template <>
  struct pack<kr::zero::bench::Node> {
    template <class Stream>
    packer<Stream>& operator()(packer<Stream>& out, const kr::zero::bench::Node& node) const {
      membersOf(const_cast<kr::zero::bench::Node&>(node)).msgpack_pack(out);
      return out;
    }
  };

  template <>
  struct convert<kr::zero::bench::Node> {
    const msgpack::object& operator()(const msgpack::object& object, kr::zero::bench::Node& node) const {
      membersOf(node).msgpack_unpack(object);
      return object;
    }
  };

  }  // namespace adaptor
}
}  // namespace msgpack

namespace kr::zero::bench {

namespace {

Nodes unpack(const msgpack::sbuffer& bytes) {
  // Texts are copied into the structs anyway; until then the objects may point into the document.
  const auto byReference = [](msgpack::type::object_type, std::size_t, void*) { return true; };
  return msgpack::unpack(bytes.data(), bytes.size(), byReference).get().as<Nodes>();
}

class Objects : public Peer {
 public:
  Objects() : Objects({.name = "MessagePack, objects", .mostElements = kNotTheLargest}) {}
  void load(const Source& source) override { nodes_ = &source.nodes; }
  void write() override {
    bytes_.clear();
    msgpack::pack(bytes_, *nodes_);
  }
  std::size_t size() const override { return bytes_.size(); }
  void read() override { read_ = unpack(bytes_); }
  void drop() override { Nodes().swap(read_); }
  bool holds(const Content& content) override { return contentOf(read_) == content; }

 protected:
  explicit Objects(Traits traits) : Peer(std::move(traits)) {}
  msgpack::sbuffer bytes_;

 private:
  const Nodes* nodes_ = nullptr;
  Nodes read_;
};

struct Counting : msgpack::null_visitor {
  std::size_t values = 0;
  std::size_t textBytes = 0;
  bool visit_nil() { return ++values, true; }
  bool visit_boolean(bool) { return ++values, true; }
  bool visit_positive_integer(std::uint64_t) { return ++values, true; }
  bool visit_negative_integer(std::int64_t) { return ++values, true; }
  bool visit_float64(double) { return ++values, true; }
  bool visit_str(const char*, std::uint32_t count) { return ++values, textBytes += count, true; }
  void parse_error(std::size_t, std::size_t) { throw std::runtime_error("not MessagePack"); }
  void insufficient_bytes(std::size_t, std::size_t) { throw std::runtime_error("MessagePack cut short"); }
};

class Visitor final : public Objects {
 public:
  Visitor()
      : Objects({.name = "MessagePack, visitor",
                 .writes = false,
                 .keeps = false,
                 .mostElements = kNotTheLargest}) {}
  void read() override {
    found_ = {};
    std::size_t offset = 0;
    msgpack::parse(bytes_.data(), bytes_.size(), offset, found_);
    if (offset != bytes_.size()) throw std::runtime_error("MessagePack went on");
  }
  void drop() override {}
  bool holds(const Content& content) override {
    std::size_t titles = 0;
    for (const Item& item : content) titles += item.title.size();
    return contentOf(unpack(bytes_)) == content && found_.values >= 11 * content.size() &&
           found_.textBytes >= titles;
  }

 private:
  Counting found_;
};

}  // namespace

void addMessagePack(Peers& peers) {
  peers.push_back(std::make_unique<Objects>());
  peers.push_back(std::make_unique<Visitor>());
}

}  // namespace kr::zero::bench
