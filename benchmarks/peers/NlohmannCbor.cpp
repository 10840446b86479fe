// CBOR through nlohmann-json: a document in memory, and a SAX handler that only counts.
#include <stdexcept>

#include "JsonContent.h"
#include "Peer.h"

namespace kr::zero::bench {

namespace {

using nlohmann::json;

class Document : public Peer {
 public:
  Document() : Document({.name = "CBOR, nlohmann DOM", .mostElements = kNotTheLargest}) {}
  void load(const Source& source) override { written_ = makeJson(source.content); }
  void write() override {
    bytes_.clear();
    json::to_cbor(written_, bytes_);
  }
  std::size_t size() const override { return bytes_.size(); }
  void read() override { read_ = json::from_cbor(bytes_); }
  void drop() override { read_ = nullptr; }
  bool holds(const Content& content) override { return contentOf(read_) == content; }

 protected:
  explicit Document(Traits traits) : Peer(std::move(traits)) {}
  json written_;
  std::vector<std::uint8_t> bytes_;

 private:
  json read_;
};

struct Counting {
  std::size_t values = 0;
  std::size_t textBytes = 0;
  bool null() { return ++values, true; }
  bool boolean(bool) { return ++values, true; }
  bool number_integer(json::number_integer_t) { return ++values, true; }
  bool number_unsigned(json::number_unsigned_t) { return ++values, true; }
  bool number_float(json::number_float_t, const std::string&) { return ++values, true; }
  bool string(std::string& text) { return ++values, textBytes += text.size(), true; }
  bool binary(json::binary_t&) { return ++values, true; }
  bool start_object(std::size_t) { return true; }
  bool key(std::string&) { return true; }
  bool end_object() { return true; }
  bool start_array(std::size_t) { return true; }
  bool end_array() { return true; }
  bool parse_error(std::size_t, const std::string&, const json::exception&) { return false; }
};

class Sax final : public Document {
 public:
  Sax()
      : Document(
            {.name = "CBOR, nlohmann SAX", .writes = false, .keeps = false, .mostElements = kNotTheLargest}) {
  }
  void load(const Source& source) override {
    Document::load(source);
    write();
    written_ = nullptr;
    ready_ = true;
  }
  void write() override {
    if (!ready_) Document::write();
  }
  void read() override {
    found_ = {};
    if (!json::sax_parse(bytes_, &found_, json::input_format_t::cbor)) throw std::runtime_error("not CBOR");
  }
  void drop() override {}
  bool holds(const Content& content) override {
    std::size_t titles = 0;
    for (const Item& item : content) titles += item.title.size();
    return contentOf(json::from_cbor(bytes_)) == content && found_.values >= 3 * content.size() &&
           found_.textBytes >= titles;
  }

 private:
  Counting found_;
  bool ready_ = false;
};

}  // namespace

void addNlohmannCbor(Peers& peers) {
  peers.push_back(std::make_unique<Document>());
  peers.push_back(std::make_unique<Sax>());
}

}  // namespace kr::zero::bench
