// Cap'n Proto: built from the plain structs, read in place.
#include <capnp/message.h>
#include <capnp/serialize.h>

#include "Peer.h"
#include "items.capnp.h"

namespace kr::zero::bench {

namespace {

using Parts = capnp::List<capn::Item>;

capnp::Text::Reader textOf(const std::string& text) { return {text.c_str(), text.size()}; }

void fill(capn::Item::Builder out, const Node& node) {
  const Item& item = node.item;
  out.setId(node.id);
  out.setTitle(textOf(item.title));
  if (item.isbn) out.setIsbn(textOf(*item.isbn));
  if (item.shelf) out.setShelf(textOf(*item.shelf));
  out.setPages(item.pages);
  if (item.sold) out.setSoldIsSet(true), out.setSold(*item.sold);
  if (item.price) out.setPriceIsSet(true), out.setPrice(*item.price);
  out.setAvailable(item.available);
  if (item.genre) out.setGenreIsSet(true), out.setGenre(static_cast<capn::Item::Genre>(*item.genre));
  if (item.acquired) out.setAcquired(textOf(*item.acquired));
  if (!item.ratings.empty()) out.setRatings({item.ratings.data(), item.ratings.size()});
  if (!item.keywords.empty()) {
    auto keywords = out.initKeywords(static_cast<unsigned>(item.keywords.size()));
    for (unsigned i = 0; i < keywords.size(); ++i) keywords.set(i, textOf(item.keywords[i]));
  }
  if (item.original) out.setOriginalIsSet(true), out.setOriginal(*item.original + 1);
  if (!item.related.empty()) {
    auto related = out.initRelated(static_cast<unsigned>(item.related.size()));
    for (unsigned i = 0; i < related.size(); ++i) related.set(i, item.related[i] + 1);
  }
}

void build(capn::Catalog::Builder catalog, const Nodes& nodes) {
  struct Open {
    const Nodes* nodes;
    Parts::Builder out;
    unsigned next;
  };
  std::vector<Open> open;
  open.push_back({&nodes, catalog.initItems(static_cast<unsigned>(nodes.size())), 0});
  while (!open.empty()) {
    Open& innermost = open.back();
    if (innermost.next == innermost.out.size()) {
      open.pop_back();
      continue;
    }
    const Node& node = (*innermost.nodes)[innermost.next];
    capn::Item::Builder out = innermost.out[innermost.next++];
    fill(out, node);
    if (!node.parts.empty())
      open.push_back({&node.parts, out.initParts(static_cast<unsigned>(node.parts.size())), 0});
  }
}

// Calls visit(item, depth) for every item in document order.
template <class Visit>
void forEachItem(capn::Catalog::Reader catalog, Visit visit) {
  struct Open {
    Parts::Reader items;
    unsigned next;
  };
  std::vector<Open> open{{catalog.getItems(), 0}};
  while (!open.empty()) {
    Open& innermost = open.back();
    if (innermost.next == innermost.items.size()) {
      open.pop_back();
      continue;
    }
    const capn::Item::Reader item = innermost.items[innermost.next++];
    visit(item, static_cast<std::uint32_t>(open.size() - 1));
    if (item.hasParts()) open.push_back({item.getParts(), 0});
  }
}

Item toOurs(capn::Item::Reader from, std::uint32_t depth) {
  const auto text = [](capnp::Text::Reader reader) { return std::string(reader.cStr(), reader.size()); };
  Item item;
  item.depth = depth;
  item.title = text(from.getTitle());
  if (from.hasIsbn()) item.isbn = text(from.getIsbn());
  if (from.hasShelf()) item.shelf = text(from.getShelf());
  item.pages = from.getPages();
  if (from.getSoldIsSet()) item.sold = from.getSold();
  if (from.getPriceIsSet()) item.price = from.getPrice();
  item.available = from.getAvailable();
  if (from.getGenreIsSet()) item.genre = static_cast<std::uint32_t>(from.getGenre());
  if (from.hasAcquired()) item.acquired = text(from.getAcquired());
  for (const std::int32_t rating : from.getRatings()) item.ratings.push_back(rating);
  for (const capnp::Text::Reader keyword : from.getKeywords()) item.keywords.push_back(text(keyword));
  if (from.getOriginalIsSet()) item.original = from.getOriginal() - 1;
  for (const std::uint32_t id : from.getRelated()) item.related.push_back(id - 1);
  return item;
}

// Looks at every member once: what is read in place costs when it is looked at, and not before.
std::size_t lookAt(capn::Item::Reader item) {
  std::size_t sum = item.getId() + item.getTitle().size() + item.getIsbn().size() + item.getShelf().size() +
                    static_cast<std::size_t>(item.getPages()) + item.getSoldIsSet() +
                    static_cast<std::size_t>(item.getSold()) + item.getPriceIsSet() + (item.getPrice() > 0) +
                    item.getAvailable() + item.getGenreIsSet() + static_cast<std::size_t>(item.getGenre()) +
                    item.getAcquired().size() + item.getOriginalIsSet() + item.getOriginal();
  for (const std::int32_t rating : item.getRatings()) sum += static_cast<std::size_t>(rating);
  for (const capnp::Text::Reader keyword : item.getKeywords()) sum += keyword.size();
  for (const std::uint32_t id : item.getRelated()) sum += id;
  return sum;
}

// The limits guard against hostile documents; ours are large and deep.
constexpr capnp::ReaderOptions kWithoutLimits{.traversalLimitInWords = std::numeric_limits<uint64_t>::max(),
                                              .nestingLimit = std::numeric_limits<int>::max()};

class CapnProto final : public Peer {
 public:
  CapnProto() : Peer({.name = "Cap'n Proto, in place", .keeps = false}) {}
  void load(const Source& source) override { nodes_ = &source.nodes; }
  void write() override {
    capnp::MallocMessageBuilder message;
    build(message.initRoot<capn::Catalog>(), *nodes_);
    bytes_ = capnp::messageToFlatArray(message);
  }
  std::size_t size() const override { return bytes_.asBytes().size(); }
  void read() override {
    capnp::FlatArrayMessageReader message(bytes_, kWithoutLimits);
    sum_ = 0;
    forEachItem(message.getRoot<capn::Catalog>(),
                [this](capn::Item::Reader item, std::uint32_t) { sum_ += lookAt(item); });
  }
  void drop() override {}
  bool holds(const Content& content) override {
    capnp::FlatArrayMessageReader message(bytes_, kWithoutLimits);
    Content found;
    std::size_t sum = 0;
    forEachItem(message.getRoot<capn::Catalog>(), [&](capn::Item::Reader item, std::uint32_t depth) {
      found.push_back(toOurs(item, depth));
      sum += lookAt(item);
    });
    return found == content && sum == sum_;
  }

 private:
  const Nodes* nodes_ = nullptr;
  kj::Array<capnp::word> bytes_;
  std::size_t sum_ = 0;
};

}  // namespace

void addCapnProto(Peers& peers) { peers.push_back(std::make_unique<CapnProto>()); }

}  // namespace kr::zero::bench
