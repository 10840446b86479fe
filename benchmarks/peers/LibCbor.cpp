// CBOR through libcbor's streaming interface: encoded from the plain structs, decoded into callbacks that
// only count. The document is the one that nlohmann-json writes, except for the order of members.
#include <cbor.h>

#include <cstring>
#include <stdexcept>
#include <string_view>

#include "JsonContent.h"
#include "Peer.h"

namespace kr::zero::bench {

namespace {

class Encoder {
 public:
  explicit Encoder(std::string& bytes) : bytes_(bytes) { bytes_.clear(); }

  void map(std::size_t members) {
    append([=](std::uint8_t* to, std::size_t room) { return cbor_encode_map_start(members, to, room); });
  }
  void array(std::size_t items) {
    append([=](std::uint8_t* to, std::size_t room) { return cbor_encode_array_start(items, to, room); });
  }
  void value(std::string_view text) {
    append(
        [&](std::uint8_t* to, std::size_t room) { return cbor_encode_string_start(text.size(), to, room); });
    bytes_.append(text);
  }
  void value(const std::string& text) { value(std::string_view(text)); }
  void value(bool truth) {
    append([=](std::uint8_t* to, std::size_t room) { return cbor_encode_bool(truth, to, room); });
  }
  void value(double number) {
    append([=](std::uint8_t* to, std::size_t room) { return cbor_encode_double(number, to, room); });
  }
  void value(std::uint32_t number) { value(std::int64_t{number}); }
  void value(std::int32_t number) { value(std::int64_t{number}); }
  void value(std::int64_t number) {
    append([=](std::uint8_t* to, std::size_t room) {
      return number < 0 ? cbor_encode_negint(static_cast<std::uint64_t>(-1 - number), to, room)
                        : cbor_encode_uint(static_cast<std::uint64_t>(number), to, room);
    });
  }
  template <class T>
  void value(const std::vector<T>& values) {
    array(values.size());
    for (const T& each : values) value(each);
  }
  template <class T>
  void member(std::string_view name, const T& content) {
    value(name);
    value(content);
  }
  template <class T>
  void member(std::string_view name, const std::optional<T>& content) {
    if (content) member(name, *content);
  }
  template <class T>
  void member(std::string_view name, const std::vector<T>& content) {
    if (content.empty()) return;
    value(name);
    value(content);
  }

 private:
  template <class Encode>
  void append(Encode encode) {
    std::uint8_t head[16];
    const std::size_t count = encode(head, sizeof head);
    bytes_.append(reinterpret_cast<const char*>(head), count);
  }

  std::string& bytes_;
};

std::size_t membersOf(const Node& node) {
  const Item& item = node.item;
  return 3 + std::size_t{item.isbn.has_value()} + item.shelf.has_value() + item.sold.has_value() +
         item.price.has_value() + item.genre.has_value() + item.acquired.has_value() + !item.ratings.empty() +
         !item.keywords.empty() + item.original.has_value() + !item.related.empty() + !node.parts.empty();
}

// Parts come last and everything tells its size in front, so nothing is left to do after a node's parts.
void encode(const Nodes& nodes, std::string& bytes) {
  Encoder out(bytes);
  out.array(nodes.size());
  forEachNode(nodes, [&out](const Node& node, std::uint32_t) {
    const Item& item = node.item;
    out.map(membersOf(node));
    out.member("title", item.title);
    out.member("isbn", item.isbn);
    out.member("shelf", item.shelf);
    out.member("pages", item.pages);
    out.member("sold", item.sold);
    out.member("price", item.price);
    out.member("available", item.available);
    out.member("genre", item.genre);
    out.member("acquired", item.acquired);
    out.member("ratings", item.ratings);
    out.member("keywords", item.keywords);
    out.member("original", item.original);
    out.member("related", item.related);
    if (node.parts.empty()) return;
    out.value(std::string_view("parts"));
    out.array(node.parts.size());
  });
}

struct Counts {
  std::size_t values = 0;
  std::size_t textBytes = 0;
};

void add(void* context) { ++static_cast<Counts*>(context)->values; }

cbor_callbacks countingCallbacks() {
  cbor_callbacks callbacks = cbor_empty_callbacks;
  callbacks.uint8 = [](void* context, std::uint8_t) { add(context); };
  callbacks.uint16 = [](void* context, std::uint16_t) { add(context); };
  callbacks.uint32 = [](void* context, std::uint32_t) { add(context); };
  callbacks.uint64 = [](void* context, std::uint64_t) { add(context); };
  callbacks.negint8 = [](void* context, std::uint8_t) { add(context); };
  callbacks.negint16 = [](void* context, std::uint16_t) { add(context); };
  callbacks.negint32 = [](void* context, std::uint32_t) { add(context); };
  callbacks.negint64 = [](void* context, std::uint64_t) { add(context); };
  callbacks.float8 = [](void* context, double) { add(context); };
  callbacks.boolean = [](void* context, bool) { add(context); };
  callbacks.string = [](void* context, cbor_data, std::size_t size) {
    add(context);
    static_cast<Counts*>(context)->textBytes += size;
  };
  return callbacks;
}

class LibCbor final : public Peer {
 public:
  LibCbor()
      : Peer({.name = "CBOR, libcbor streaming", .keeps = false, .mostElements = kNotTheLargest}),
        callbacks_(countingCallbacks()) {}
  void load(const Source& source) override { nodes_ = &source.nodes; }
  void write() override { encode(*nodes_, bytes_); }
  std::size_t size() const override { return bytes_.size(); }
  void read() override {
    found_ = {};
    const auto* data = reinterpret_cast<const std::uint8_t*>(bytes_.data());
    for (std::size_t at = 0; at < bytes_.size();) {
      const cbor_decoder_result step =
          cbor_stream_decode(data + at, bytes_.size() - at, &callbacks_, &found_);
      if (step.status != CBOR_DECODER_FINISHED) throw std::runtime_error("libcbor refuses its document");
      at += step.read;
    }
  }
  void drop() override {}
  bool holds(const Content& content) override {
    std::size_t titles = 0;
    for (const Item& item : content) titles += item.title.size();
    return contentOf(nlohmann::json::from_cbor(bytes_)) == content && found_.values >= 3 * content.size() &&
           found_.textBytes >= titles;
  }

 private:
  const Nodes* nodes_ = nullptr;
  cbor_callbacks callbacks_;
  std::string bytes_;
  Counts found_;
};

}  // namespace

void addLibCbor(Peers& peers) { peers.push_back(std::make_unique<LibCbor>()); }

}  // namespace kr::zero::bench
