/// @file
/// Internal: checks what a reader found against the meta model and puts it into a model.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "io/parse/DeferredReferences.h"
#include "io/parse/DocumentIdentities.h"
#include "io/parse/Problems.h"
#include "kr/zero/TextHash.h"
#include "kr/zero/io/BulkParseProcessor.h"
#include "kr/zero/io/ParseCustomizer.h"
#include "kr/zero/io/ParseOptions.h"
#include "kr/zero/io/ParsingModelBuilder.h"
#include "model/Store.h"

namespace kr::zero::internal {

inline constexpr std::size_t kNoSlot = meta::StructuredType::Impl::npos;

class ModelFiller final : public io::BulkParseProcessor {
 public:
  /// An element or datatype value that is open.
  struct Open {
    ElementRecord* record = nullptr;
    std::size_t lastSlot = 0;         // found last by its name
    std::size_t announced = kNoSlot;  // a datatype or composition whose next element may come
  };

  ModelFiller(io::ParseCustomizer& customizer, io::ParsingModelBuilder& builder, Problems& problems)
      : customizer_(customizer), builder_(builder), problems_(problems), references_(problems) {}

  /// Starts over: empty model, nothing open, no limits.
  void reset();
  /// Holds a document that was started to these; they must live until it ends.
  void obey(const io::ParseOptions& options);
  bool isReady() const noexcept { return store_ != nullptr; }
  /// Forgets what the document was read by. What is still open, of a document that is not whole, stays.
  void giveBackMemory() noexcept;

  meta::StructuredType findType(std::string_view typeName) override;
  meta::StructuredType findType(const ustring& typeName);
  bool pushRoot(meta::StructuredType type, const io::ElementIdentity& identity) override;
  bool pushChild(io::PropertyPlace property, meta::StructuredType type,
                 const io::ElementIdentity& identity) override;
  void pop() override;
  void announceCollection(io::PropertyPlace property) override { store_->touch(top_->record, property.slot); }
  void setNumber(io::PropertyPlace property, std::uint64_t number) override;
  void addNumbers(io::PropertyPlace property, std::span<const std::uint64_t> numbers) override {
    store_->append(top_->record, property.slot, numbers);
  }
  bool setText(io::PropertyPlace property, std::string_view bytes) override;
  void setEmpty(io::PropertyPlace property) override;
  std::uint32_t numberTypeName(std::string_view name) override;
  void addReference(io::PropertyPlace property, std::uint32_t typeName, const io::ElementIdentity& identity,
                    const std::string_view* qualifier) override;
  cells::Cell keepReference(std::uint32_t typeName, const io::ElementIdentity& identity,
                            const std::string_view* qualifier) override;
  cells::FreeMemory& getMemory(std::size_t bytes) override { return store_->getFreeMemory(bytes); }
  void addCells(std::span<const cells::Entry> entries, const cells::Cell* cells, bool anyWaiting) override;
  void processDeferred();

  /// The innermost open element; null where there is none.
  Open* getTop() noexcept { return top_; }
  std::size_t getDepth() const noexcept { return open_.size(); }
  /// The type of the innermost element; empty where none is open.
  meta::StructuredType getType() const noexcept;
  /// A property of the innermost element.
  io::PropertyPlace getProperty(std::size_t slot) const noexcept {
    return {slot, &top_->record->use->property(slot)};
  }
  std::string getPath() const;
  /// Path of a property of the innermost element.
  std::string getPath(io::PropertyPlace property) const { return getPath() + "." + property.record->name(); }

  // A value that a property cannot hold; what is rare stands apart from what is called for every value.
  [[noreturn]] void fail(io::PropertyPlace property, const std::string& what) const;
  /// @throws ValueError where the property is no association.
  void requireAssociation(io::PropertyPlace property) const;

 private:
  static constexpr std::size_t kUnwatched = static_cast<std::size_t>(-1);

  bool open(ElementRecord* record, const io::ElementIdentity& identity);
  void watch();
  bool isToGoOn(std::uint64_t elements) const;
  bool requireConcrete(const TypeUse& use);
  ElementRecord* makeChild(io::PropertyPlace property, TypeUse& use);
  bool setIdentity(ElementRecord* record, const io::ElementIdentity& identity);
  void put(io::PropertyPlace property, std::uint64_t cell, cells::Entry state = 0) {
    if (property.record->isMany())
      store_->append(top_->record, property.slot, cell, state);
    else if (!store_->add(top_->record, property.slot, cell, state))
      failSecond(property);
  }
  bool setOtherText(io::PropertyPlace property, std::string_view bytes);
  std::uint64_t parse(io::PropertyPlace property, std::string_view text);
  [[noreturn]] void failSecond(io::PropertyPlace property) const;
  [[noreturn]] void failUnparsed(io::PropertyPlace property, std::string_view text) const;
  [[noreturn]] void failNoLiteral(io::PropertyPlace property, std::int64_t number) const;
  [[noreturn]] void failNoReference(io::PropertyPlace property) const;

  io::ParseCustomizer& customizer_;
  io::ParsingModelBuilder& builder_;
  Problems& problems_;
  ModelStore* store_ = nullptr;
  std::vector<Open> open_;
  Open* top_ = nullptr;                                                // the innermost of open_
  std::unordered_map<ustring, meta::StructuredType, TextHash> types_;  // that were asked for, by name
  DocumentIdentities identities_;
  DeferredReferences references_;
  const io::ParseOptions* options_ = nullptr;  // null: none to obey
  std::size_t deepest_ = kUnwatched;
  std::size_t nextWatch_ = kUnwatched;  // number of elements up to which nothing is due
};

}  // namespace kr::zero::internal
