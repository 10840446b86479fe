#include "support/DirectWalker.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace kr::zero::test {

namespace {

using meta::Class;
using meta::Enum;
using meta::PrimitiveType;
using meta::Property;
using meta::StandardType;
using meta::StructuredType;

// document  := number(1) text("kr") number(n) text*n item*
// item      := number(0) header                      a root opens
//            | number(16383)                         the innermost element closes
//            | number(identifier) what the property's kind asks for
class Walker {
 public:
  Walker(const Bytes& bytes, const meta::MetaRegistry& registry, const DirectListener& listener)
      : bytes_(bytes), registry_(registry), listener_(listener) {}

  DirectLayout walk() {
    require(number() == 1, "version");
    require(text() == "kr", "byte order");
    for (std::uint64_t n = number(); n > 0; --n) text();
    layout_.ends.push_back(position_);
    while (position_ < bytes_.size()) item();
    require(open_.empty(), "open element");
    return layout_;
  }

 private:
  void item() {
    begin_ = position_;
    const std::uint64_t token = number();
    if (token == DirectBytes::startToken) return header();
    if (token == DirectBytes::endToken) return close();
    require(!open_.empty(), "property outside");
    const std::size_t depth = open_.size();
    property(findProperty(open_.back().type, token));
    if (open_.size() == depth) hear(DirectItem::whole, begin_);
  }

  void close() {
    require(!open_.empty(), "end outside");
    hear(DirectItem::whole, open_.back().begin);
    open_.pop_back();
    if (open_.empty()) layout_.ends.push_back(position_);
  }

  void header() {
    number();
    const StructuredType type(registry_.findType(text()));
    if (mark() == 1) {
      text();
      text();
    }
    ++layout_.elements;
    push(type);
  }

  void push(StructuredType type) {
    require(static_cast<bool>(type), "unknown type");
    open_.push_back({type, begin_});
    layout_.maxDepth = std::max(layout_.maxDepth, open_.size());
  }

  void property(Property property) {
    const bool many = property->isMany();
    if (Class(property->getType())) {
      if (property->isComposite()) return header();
      for (std::uint64_t n = many ? number() : 1; n > 0; --n) reference();
    } else if (const StructuredType datatype(property->getType()); datatype) {
      ++layout_.datatypes;
      push(datatype);
    } else if (many) {
      for (std::uint64_t n = number(); n > 0; --n) value(property);
    } else if (!property->isOptional() || mark() != 0xEE) {
      value(property);
    }
  }

  void reference() {
    number();
    text();
    if (mark() == 2) text();
    text();
    text();
    ++layout_.references;
  }

  void value(Property property) {
    if (Enum(property->getType())) return fixed(4);
    switch (PrimitiveType(property->getType())->getStandardType()) {
      case StandardType::boolean:
      case StandardType::integer8:
      case StandardType::uinteger8:
        return fixed(1);
      case StandardType::integer16:
      case StandardType::uinteger16:
        return fixed(2);
      case StandardType::integer:
      case StandardType::unlimitedNatural:
        return fixed(4);
      case StandardType::integer64:
      case StandardType::uinteger64:
      case StandardType::real:
        return fixed(8);
      default:
        text();
    }
  }

  Property findProperty(StructuredType type, std::uint64_t identifier) const {
    for (Property p : type->getAllProperties())
      if (p->getIdentifier() == identifier) return p;
    throw std::logic_error("not well-formed: unknown property " + std::to_string(identifier));
  }

  std::uint64_t number() {
    const std::size_t begin = position_;
    const std::uint64_t value = groups();
    hear(DirectItem::number, begin);
    return value;
  }

  std::uint64_t groups() {
    std::uint64_t value = 0;
    for (unsigned shift = 0;; shift += 7) {
      const unsigned b = byte();
      value |= std::uint64_t{b & 0x7Fu} << shift % 64;
      if (b < 0x80) return value;
    }
  }

  std::string text() {
    const std::size_t whole = position_;
    const std::uint64_t size = groups();
    const std::size_t begin = position_;
    skip(size);
    hear(DirectItem::text, whole);
    return {bytes_.begin() + static_cast<std::ptrdiff_t>(begin),
            bytes_.begin() + static_cast<std::ptrdiff_t>(position_)};
  }

  unsigned mark() {
    const unsigned value = byte();
    hear(DirectItem::byte, position_ - 1);
    return value;
  }

  void fixed(std::uint64_t size) {
    skip(size);
    hear(DirectItem::fixed, position_ - static_cast<std::size_t>(size));
  }

  unsigned byte() {
    skip(1);
    return bytes_[position_ - 1];
  }

  void skip(std::uint64_t size) {
    require(size <= bytes_.size() - position_, "cut short");
    position_ += size;
  }

  // The bytes from `begin` to here are that.
  void hear(DirectItem item, std::size_t begin) const {
    if (listener_) listener_(item, begin, position_);
  }

  void require(bool condition, const char* what) const {
    if (!condition)
      throw std::logic_error("not well-formed: " + std::string(what) + " at " + std::to_string(position_));
  }

  const Bytes& bytes_;
  const meta::MetaRegistry& registry_;
  const DirectListener& listener_;
  struct Open {
    StructuredType type;
    std::size_t begin;
  };
  std::size_t position_ = 0;
  std::size_t begin_ = 0;  // of the item at hand
  std::vector<Open> open_;
  DirectLayout layout_;
};

}  // namespace

DirectLayout walkDirect(const Bytes& bytes, const meta::MetaRegistry& registry,
                        const DirectListener& listener) {
  return Walker(bytes, registry, listener).walk();
}

}  // namespace kr::zero::test
