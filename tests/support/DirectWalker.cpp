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
  Walker(const Bytes& bytes, const meta::MetaRegistry& registry) : bytes_(bytes), registry_(registry) {}

  DirectLayout walk() {
    require(number() == 1 && text() == "kr", "header");
    for (std::uint64_t n = number(); n > 0; --n) text();
    layout_.ends.push_back(position_);
    while (position_ < bytes_.size()) item();
    require(open_.empty(), "open element");
    return layout_;
  }

 private:
  void item() {
    const std::uint64_t token = number();
    if (token == DirectBytes::startToken) return header();
    if (token == DirectBytes::endToken) return close();
    require(!open_.empty(), "property outside");
    property(findProperty(open_.back(), token));
  }

  void close() {
    require(!open_.empty(), "end outside");
    open_.pop_back();
    if (open_.empty()) layout_.ends.push_back(position_);
  }

  void header() {
    number();
    const StructuredType type(registry_.findType(text()));
    if (byte() == 1) {
      text();
      text();
    }
    ++layout_.elements;
    push(type);
  }

  void push(StructuredType type) {
    require(static_cast<bool>(type), "unknown type");
    open_.push_back(type);
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
    } else if (!property->isOptional() || byte() != 0xEE) {
      value(property);
    }
  }

  void reference() {
    number();
    text();
    if (byte() == 2) text();
    text();
    text();
    ++layout_.references;
  }

  void value(Property property) {
    if (Enum(property->getType())) return skip(4);
    switch (PrimitiveType(property->getType())->getStandardType()) {
      case StandardType::boolean:
      case StandardType::integer8:
      case StandardType::uinteger8:
        return skip(1);
      case StandardType::integer16:
      case StandardType::uinteger16:
        return skip(2);
      case StandardType::integer:
      case StandardType::unlimitedNatural:
        return skip(4);
      case StandardType::integer64:
      case StandardType::uinteger64:
      case StandardType::real:
        return skip(8);
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
    std::uint64_t value = 0;
    for (unsigned shift = 0;; shift += 7) {
      const unsigned b = byte();
      value |= std::uint64_t{b & 0x7Fu} << shift;
      if (b < 0x80) return value;
    }
  }

  std::string text() {
    const std::uint64_t size = number();
    const std::size_t begin = position_;
    skip(size);
    return {bytes_.begin() + static_cast<std::ptrdiff_t>(begin),
            bytes_.begin() + static_cast<std::ptrdiff_t>(position_)};
  }

  unsigned byte() {
    skip(1);
    return bytes_[position_ - 1];
  }

  void skip(std::uint64_t size) {
    require(size <= bytes_.size() - position_, "cut short");
    position_ += size;
  }

  void require(bool condition, const char* what) const {
    if (!condition)
      throw std::logic_error("not well-formed: " + std::string(what) + " at " + std::to_string(position_));
  }

  const Bytes& bytes_;
  const meta::MetaRegistry& registry_;
  std::size_t position_ = 0;
  std::vector<StructuredType> open_;
  DirectLayout layout_;
};

}  // namespace

DirectLayout walkDirect(const Bytes& bytes, const meta::MetaRegistry& registry) {
  return Walker(bytes, registry).walk();
}

}  // namespace kr::zero::test
