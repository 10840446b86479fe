// FlatBuffers through its object API: tables packed from and unpacked into generated classes.
#include <stdexcept>

#include "Peer.h"
#include "items_generated.h"

namespace kr::zero::bench {

namespace {

template <class T>
flatbuffers::Optional<T> toTheirs(const std::optional<T>& value) {
  return value ? flatbuffers::Optional<T>(*value) : flatbuffers::nullopt;
}

template <class T>
std::optional<T> toOurs(const flatbuffers::Optional<T>& value) {
  return value ? std::optional<T>(*value) : std::nullopt;
}

// The classes keep a text that is not set as an empty one; the contents have no text that is set and empty.
std::optional<std::string> toOurs(const std::string& text) {
  return text.empty() ? std::nullopt : std::optional<std::string>(text);
}

std::unique_ptr<flat::ItemT> toTheirs(const Item& from, std::uint32_t id) {
  auto item = std::make_unique<flat::ItemT>();
  item->id = id;
  item->title = from.title;
  item->isbn = from.isbn.value_or("");
  item->shelf = from.shelf.value_or("");
  item->pages = from.pages;
  item->sold = toTheirs(from.sold);
  item->price = toTheirs(from.price);
  item->available = from.available;
  if (from.genre) item->genre = static_cast<flat::Genre>(*from.genre);
  item->acquired = from.acquired.value_or("");
  item->ratings = from.ratings;
  item->keywords = from.keywords;
  if (from.original) item->original = *from.original + 1;
  for (const std::uint32_t target : from.related) item->related.push_back(target + 1);
  return item;
}

Item toOurs(const flat::ItemT& from, std::uint32_t depth) {
  Item item;
  item.depth = depth;
  item.title = from.title;
  item.isbn = toOurs(from.isbn);
  item.shelf = toOurs(from.shelf);
  item.pages = from.pages;
  item.sold = toOurs(from.sold);
  item.price = toOurs(from.price);
  item.available = from.available;
  if (from.genre) item.genre = static_cast<std::uint32_t>(*from.genre);
  item.acquired = toOurs(from.acquired);
  item.ratings = from.ratings;
  item.keywords = from.keywords;
  if (from.original) item.original = *from.original - 1;
  for (const std::uint32_t id : from.related) item.related.push_back(id - 1);
  return item;
}

flat::CatalogT catalogOf(const Content& content) {
  flat::CatalogT catalog;
  std::vector<flat::ItemT*> open;
  std::uint32_t id = 0;
  for (const Item& item : content) {
    open.resize(item.depth);
    auto& into = open.empty() ? catalog.items : open.back()->parts;
    into.push_back(toTheirs(item, ++id));
    open.push_back(into.back().get());
  }
  return catalog;
}

Content contentOf(const flat::CatalogT& catalog) {
  Content content;
  std::vector<std::pair<const flat::ItemT*, std::uint32_t>> open;
  const auto push = [&open](const auto& items, std::uint32_t depth) {
    for (auto item = items.rbegin(); item != items.rend(); ++item) open.emplace_back(item->get(), depth);
  };
  push(catalog.items, 0);
  while (!open.empty()) {
    const auto [item, depth] = open.back();
    open.pop_back();
    content.push_back(toOurs(*item, depth));
    push(item->parts, depth + 1);
  }
  return content;
}

class FlatBuffers final : public Peer {
 public:
  FlatBuffers() : Peer({.name = "FlatBuffers, object API"}) {}
  void load(const Source& source) override { catalog_ = catalogOf(source.content); }
  void write() override {
    builder_.Clear();
    builder_.Finish(flat::Catalog::Pack(builder_, &catalog_));
  }
  std::size_t size() const override { return builder_.GetSize(); }
  void read() override {
    // A document from elsewhere is to be verified; the limits are raised, because ours are large and deep.
    constexpr auto most = std::numeric_limits<flatbuffers::uoffset_t>::max();
    flatbuffers::Verifier verifier(builder_.GetBufferPointer(), builder_.GetSize(), most, most);
    if (!flat::VerifyCatalogBuffer(verifier)) throw std::runtime_error("FlatBuffers refuses its document");
    read_.reset(flat::GetCatalog(builder_.GetBufferPointer())->UnPack());
  }
  void drop() override { read_.reset(); }
  bool holds(const Content& content) override { return contentOf(*read_) == content; }

 private:
  flat::CatalogT catalog_;
  flatbuffers::FlatBufferBuilder builder_;
  std::unique_ptr<flat::CatalogT> read_;
};

}  // namespace

void addFlatBuffers(Peers& peers) { peers.push_back(std::make_unique<FlatBuffers>()); }

}  // namespace kr::zero::bench
