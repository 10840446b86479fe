/// @file
/// Internal: the loop that reads the elements of a document of the direct format.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "direct/Cursor.h"
#include "direct/KnownTypes.h"
#include "kr/zero/io/ParseProcessor.h"
#include "values/ValueBytes.h"

namespace kr::zero::io {

/// Why a number is no property's, for a message.
/// @param type of the innermost element; null: none is open.
std::string describeUnknownProperty(const meta::StructuredType::Impl* type, std::uint64_t identifier);

/// Knows bytes and nothing of models: what it finds goes to a target, NamedTarget or BulkTarget, which also
/// says what a property is.
template <class Target>
class DocumentReader {
 public:
  DocumentReader(ByteReader& reader, Target target, ParseCustomizer& customizer)
      : reader_(reader), target_(std::move(target)), customizer_(customizer) {}

  /// Reads to the end of the input.
  /// @return false where the framework refused an element.
  bool readElements() {
    Cursor cursor(reader_);
    bool accepted = true;
    try {
      while (accepted && !cursor.isAtEnd()) accepted = readItem(cursor);
    } catch (...) {
      target_.handOver();  // what came before the failure, and may fail first
      noteProperty();
      throw;
    }
    cursor.sync();
    target_.handOver();
    return accepted;
  }

 private:
  /// An element or datatype value that is open.
  struct Open {
    KnownType* type;
    const ustring* closingName;
  };

  [[gnu::always_inline]] bool readItem(Cursor& cursor) {
    property_ = nullptr;
    const std::uint64_t token = cursor.readNumber();
    if (token == direct::kStartToken) return apart(cursor, [this] { return pushRoot(); });
    if (token != direct::kEndToken) return readProperty(cursor, findProperty(cursor, token));
    cursor.sync();
    pop();
    return true;
  }

  /// Calls something that reads by a cursor of its own.
  template <class Read>
  [[gnu::always_inline]] static bool apart(Cursor& cursor, Read read) {
    cursor.sync();
    const bool accepted = read();
    cursor.reload();
    return accepted;
  }

  [[gnu::always_inline]] KnownProperty& findProperty(Cursor& cursor, std::uint64_t identifier) {
    cursor.sync();
    if (innerType_ == nullptr) failUnknownProperty(identifier);
    const std::size_t slot = innerType_->findIdentifier(identifier);
    if (slot == meta::StructuredType::Impl::npos) failUnknownProperty(identifier);
    return innerProperties_[slot];
  }

  [[noreturn]] [[gnu::noinline]] void failUnknownProperty(std::uint64_t identifier) const {
    reader_.noteDetail(describeUnknownProperty(innerType_, identifier));
    throw std::out_of_range("invalid unordered_map<K, T> key");
  }

  /// A document that another meta model wrote fails where a value has other bytes than its property's type
  /// asks for.
  void noteProperty() const {
    if (property_ == nullptr) return;
    reader_.noteProperty(property_->record->name(), property_->record->getType()->qualifiedName());
  }

  [[gnu::always_inline]] bool readProperty(Cursor& cursor, KnownProperty& property) {
    property_ = &property;
    const Content content = target_.announce(property);
    switch (content) {
      case Content::nothing:
        return true;  // it has no bytes here
      case Content::items:
        return apart(cursor, [&] { return target_.readItems(reader_, property), true; });
      case Content::datatype:
        return apart(cursor, [&] { return pushDatatype(property); });
      case Content::composition:
        return apart(cursor, [&] { return pushComposition(property); });
      case Content::reference:
        return apart(cursor, [&] { return readReferences(property, 1), true; });
      case Content::references:
        return apart(cursor, [&] { return readReferenceItems(property), true; });
#define KR0_SINGLE(kind) \
  case Content::kind:    \
    return readSingle<Content::kind>(cursor, property);
        KR0_SINGLE(boolean)
        KR0_SINGLE(literal)
        KR0_SINGLE(number8)
        KR0_SINGLE(number16)
        KR0_SINGLE(number32)
        KR0_SINGLE(number64)
        KR0_SINGLE(text)
        KR0_SINGLE(dateTime)
        KR0_SINGLE(otherText)
#undef KR0_SINGLE
    }
    __builtin_unreachable();
  }

  template <Content kContent>
  [[gnu::always_inline]] bool readSingle(Cursor& cursor, const KnownProperty& property) {
    if (target_.isOptional(property) && cursor.readByte() == values::kAbsentMark) {
      cursor.sync();
      target_.setEmpty(property);
    } else {
      target_.template readValue<kContent>(cursor, property);
    }
    return true;
  }

  void readReferenceItems(KnownProperty& property) {
    target_.startItems(property);
    readReferences(property, target_.readItemCount(reader_, property));
  }

  void readReferences(KnownProperty& property, std::uint64_t count) {
    Cursor cursor(reader_);
    for (std::uint64_t left = count; left != 0; --left) {
      cursor.skipNumber();  // says nothing
      const std::string_view type = cursor.readText();
      target_.startReference(cursor, type, types_.find(type, property.last));
      if (cursor.readByte() == direct::kWithQualifier) target_.readQualifier(cursor);
      target_.readIdentity(cursor);
      cursor.sync();
      target_.addReference(property);
    }
  }

  bool pushRoot() {
    const std::string_view type = readHeader(lastRoot_);
    return push(nullptr, type, lastRoot_);
  }

  bool pushComposition(KnownProperty& property) {
    const std::string_view type = readHeader(property.last);
    return push(&property, type, property.last);
  }

  bool pushDatatype(KnownProperty& property) {
    const meta::Type type = target_.getType(property);
    newName_ = &type->getQualifiedName();
    target_.clearIdentity();
    known_ = types_.find(type->qualifiedName(), property.last);
    return push(&property, type->qualifiedName(), property.last);
  }

  /// Reads type and identity of an element.
  /// @param[in,out] last see KnownTypes::find.
  std::string_view readHeader(KnownType*& last) {
    Cursor cursor(reader_);
    cursor.skipNumber();  // says nothing
    const std::string_view type = cursor.readText();
    known_ = types_.find(type, last);
    cursor.sync();
    if (known_ == nullptr) reader_.toUtf16(type, typeName_);
    newName_ = &typeName_;
    if (cursor.readByte() == direct::kWithIdentity)
      target_.readIdentity(cursor);
    else
      target_.clearIdentity();
    cursor.sync();
    return type;
  }

  /// Opens an element of the type that `known_`, or where that is null `newName_`, names.
  bool push(const KnownProperty* property, std::string_view utf8, KnownType*& last) {
    meta::StructuredType type = known_ == nullptr ? meta::StructuredType() : known_->type;
    const ustring& name = known_ == nullptr ? *newName_ : known_->getName();
    if (!target_.push(property, name, utf8, type)) return false;
    KnownType* const known = known_ != nullptr ? known_ : (last = &learn(utf8, type));
    setInner(known);
    open_.push_back({known, property != nullptr ? &property->record->getName() : &known->getName()});
    return true;
  }

  /// The type of the first element of its name.
  /// @param type what the target took it for; empty where it did not say.
  KnownType& learn(std::string_view utf8, meta::StructuredType type) {
    const meta::Type described = customizer_.getMetaClass(*newName_);
    if (!type && described) type = meta::StructuredType(described);
    return types_.add(utf8, *newName_, type);
  }

  void setInner(KnownType* known) noexcept {
    innerType_ = known == nullptr ? nullptr : known->type.operator->();
    innerProperties_ = known == nullptr ? nullptr : known->properties.data();
  }

  void pop() {
    if (open_.empty()) reader_.failCorrupt("End mark without an open element");
    target_.pop(*open_.back().closingName);
    open_.pop_back();
    setInner(open_.empty() ? nullptr : open_.back().type);
  }

  ByteReader& reader_;
  Target target_;
  ParseCustomizer& customizer_;
  KnownTypes types_;
  KnownType* lastRoot_ = nullptr;
  std::vector<Open> open_;  // innermost last
  // Of the innermost; null where that has no properties.
  const meta::StructuredType::Impl* innerType_ = nullptr;
  KnownProperty* innerProperties_ = nullptr;
  const KnownProperty* property_ = nullptr;  // whose value is being read; null between values
  KnownType* known_ = nullptr;
  const ustring* newName_ = nullptr;
  ustring typeName_;
};

}  // namespace kr::zero::io
