// Boost.Serialization: its binary archive over the plain structs.
#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/split_free.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/tracking.hpp>
#include <boost/serialization/vector.hpp>

#include "MemoryStream.h"
#include "Peer.h"

// No object is reached twice, so none has to be looked up; and no version is kept per object.
BOOST_CLASS_IMPLEMENTATION(kr::zero::bench::Node, boost::serialization::object_serializable)
BOOST_CLASS_TRACKING(kr::zero::bench::Node, boost::serialization::track_never)

namespace boost::serialization {

// The library of this version has none for std::optional.
template <class Archive, class T>
void save(Archive& archive, const std::optional<T>& value, unsigned) {
  const bool isSet = value.has_value();
  archive << isSet;
  if (isSet) archive << *value;
}

template <class Archive, class T>
void load(Archive& archive, std::optional<T>& value, unsigned) {
  bool isSet = false;
  archive >> isSet;
  if (isSet)
    archive >> value.emplace();
  else
    value.reset();
}

template <class Archive, class T>
void serialize(Archive& archive, std::optional<T>& value, unsigned version) {
  split_free(archive, value, version);
}

template <class T>
struct implementation_level<std::optional<T>> : mpl::int_<object_serializable> {};
template <class T>
struct tracking_level<std::optional<T>> : mpl::int_<track_never> {};

template <class Archive>
void serialize(Archive& archive, kr::zero::bench::Node& node, unsigned) {
  kr::zero::bench::Item& item = node.item;
  archive& node.id& item.title& item.isbn& item.shelf& item.pages& item.sold& item.price& item.available& item
      .genre& item.acquired& item.ratings& item.keywords& item.original& item.related& node.parts;
}

}  // namespace boost::serialization

namespace kr::zero::bench {

namespace {

class BoostSerialization final : public Peer {
 public:
  BoostSerialization() : Peer({.name = "Boost.Serialization", .mostElements = kNotTheLargest}) {}
  void load(const Source& source) override { nodes_ = &source.nodes; }
  void write() override {
    OutputBuffer buffer(bytes_);
    boost::archive::binary_oarchive archive(buffer, flags);
    archive << *nodes_;
  }
  std::size_t size() const override { return bytes_.size(); }
  void read() override {
    InputBuffer buffer(bytes_);
    boost::archive::binary_iarchive archive(buffer, flags);
    archive >> read_;
  }
  void drop() override { Nodes().swap(read_); }
  bool holds(const Content& content) override { return contentOf(read_) == content; }

 private:
  static constexpr unsigned flags = boost::archive::no_header | boost::archive::no_codecvt;
  const Nodes* nodes_ = nullptr;
  std::string bytes_;
  Nodes read_;
};

}  // namespace

void addBoostSerialization(Peers& peers) { peers.push_back(std::make_unique<BoostSerialization>()); }

}  // namespace kr::zero::bench
