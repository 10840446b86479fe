// cereal: its binary archive over the plain structs.
#include <cereal/archives/binary.hpp>
#include <cereal/types/optional.hpp>
#include <cereal/types/string.hpp>
#include <cereal/types/vector.hpp>

#include "MemoryStream.h"
#include "Peer.h"

namespace kr::zero::bench {

template <class Archive>
void serialize(Archive& archive, Node& node) {
  Item& item = node.item;
  archive(node.id, item.title, item.isbn, item.shelf, item.pages, item.sold, item.price, item.available,
          item.genre, item.acquired, item.ratings, item.keywords, item.original, item.related, node.parts);
}

namespace {

class Cereal final : public Peer {
 public:
  Cereal() : Peer({.name = "cereal", .mostElements = kNotTheLargest}) {}
  void load(const Source& source) override { nodes_ = &source.nodes; }
  void write() override {
    OutputBuffer buffer(bytes_);
    std::ostream stream(&buffer);
    cereal::BinaryOutputArchive archive(stream);
    archive(*nodes_);
  }
  std::size_t size() const override { return bytes_.size(); }
  void read() override {
    InputBuffer buffer(bytes_);
    std::istream stream(&buffer);
    cereal::BinaryInputArchive archive(stream);
    archive(read_);
  }
  void drop() override { Nodes().swap(read_); }
  bool holds(const Content& content) override { return contentOf(read_) == content; }

 private:
  const Nodes* nodes_ = nullptr;
  std::string bytes_;
  Nodes read_;
};

}  // namespace

void addCereal(Peers& peers) { peers.push_back(std::make_unique<Cereal>()); }

}  // namespace kr::zero::bench
