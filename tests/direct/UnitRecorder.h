/// @file
/// A host's processor that offers larger units, writes down what a reader hands over, and builds nothing.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "fl/i18n/utf8.h"
#include "kr/zero/Cells.h"
#include "kr/zero/io/BulkParseProcessor.h"
#include "kr/zero/io/ParseProcessor.h"

namespace kr::zero::test {

/// One line a call, in order: "cells name 'a', size 5" for values in a run, "number size 5" for a single
/// operation.
class UnitRecorder final : public io::ParseProcessor, public io::BulkParseProcessor {
 public:
  UnitRecorder(io::ParseCustomizer& customizer, io::ParsingModelBuilder& builder)
      : ParseProcessor(customizer, builder) {}

  std::vector<std::string> calls;
  std::string failsAt;           ///< the call that throws a std::runtime_error
  std::size_t freeBytes = 4096;  ///< that there are without asking for more

  // ParseProcessor, as far as a reader with larger units calls it.

  void setVersion(const ustring&) override {}
  void processDeferred() override { say("deferred"); }

  // BulkParseProcessor

  meta::StructuredType findType(std::string_view name) override {
    say("find " + std::string(name));
    return meta::StructuredType(ParseProcessor::getCustomizer().getRegistry().findType(name));
  }
  bool pushRoot(meta::StructuredType type, const io::ElementIdentity& identity) override {
    return open("root ", type, identity);
  }
  bool pushChild(io::PropertyPlace property, meta::StructuredType type,
                 const io::ElementIdentity& identity) override {
    return open(nameOf(property) + " ", type, identity);
  }
  using ParseProcessor::pop;
  void pop() override {
    say("pop");
    open_.pop_back();
  }
  void announceCollection(io::PropertyPlace property) override { say("announce " + nameOf(property)); }
  void setNumber(io::PropertyPlace property, std::uint64_t number) override {
    say("number " + nameOf(property) + " " + std::to_string(static_cast<std::int64_t>(number)));
  }
  void addNumbers(io::PropertyPlace property, std::span<const std::uint64_t> numbers) override {
    std::string call = "numbers " + nameOf(property);
    for (const std::uint64_t number : numbers)
      call += " " + std::to_string(static_cast<std::int64_t>(number));
    say(call);
  }
  bool setText(io::PropertyPlace property, std::string_view bytes) override {
    if (!fl::i18n::isWellFormedUtf8(bytes)) return false;
    say("text " + nameOf(property) + " '" + std::string(bytes) + "'");
    return true;
  }
  void setEmpty(io::PropertyPlace property) override { say("empty " + nameOf(property)); }
  std::uint32_t numberTypeName(std::string_view name) override {
    say("type " + std::string(name));
    return ++typeNames_;
  }
  void addReference(io::PropertyPlace property, std::uint32_t typeName, const io::ElementIdentity& identity,
                    const std::string_view* qualifier) override {
    say("reference " + nameOf(property) + describe(typeName, identity, qualifier));
  }
  cells::Cell keepReference(std::uint32_t typeName, const io::ElementIdentity& identity,
                            const std::string_view* qualifier) override {
    say("keep" + describe(typeName, identity, qualifier));
    return cells::kWaiting;
  }
  cells::FreeMemory& getMemory(std::size_t bytes) override {
    expectWithinMemory();
    if (free_.next != nullptr && free_.has(bytes)) return free_;
    const std::size_t size = cells::FreeMemory::roundUp(std::max(bytes, freeBytes));
    if (bytes != 0) say("memory " + std::to_string(bytes));
    std::vector<std::uint64_t>& made = memory_.emplace_back(size / 8 + kMargin / 8);
    free_.next = reinterpret_cast<std::byte*>(made.data());
    free_.end = free_.next + size;
    return free_;
  }
  void addCells(std::span<const cells::Entry> entries, const cells::Cell* cells, bool anyWaiting) override {
    expectWithinMemory();
    std::string call = anyWaiting ? "waiting cells" : "cells";
    for (std::size_t i = 0; i < entries.size(); ++i)
      call += (i == 0 ? " " : ", ") + describe(entries[i], cells[i]);
    say(call);
  }

 private:
  static constexpr std::size_t kMargin = 64;  // what a reader may spoil without harm to others

  void say(std::string call) {
    calls.push_back(std::move(call));
    if (calls.back() == failsAt) throw std::runtime_error("no more");
  }
  void expectWithinMemory() const { EXPECT_LE(free_.next, free_.end) << "more was taken than there is"; }
  static std::string nameOf(io::PropertyPlace property) { return property.record->name(); }
  static std::string describe(const io::ElementIdentity& identity) {
    if (identity.isNone()) return {};
    if (identity.number != 0) return " #" + std::to_string(identity.number);
    return " [" + std::string(identity.id1) + "|" + std::string(identity.id2) + "]";
  }
  static std::string describe(std::uint32_t typeName, const io::ElementIdentity& identity,
                              const std::string_view* qualifier) {
    return " " + std::to_string(typeName) + describe(identity) +
           (qualifier == nullptr ? std::string() : " in " + std::string(*qualifier));
  }
  bool open(const std::string& where, meta::StructuredType type, const io::ElementIdentity& identity) {
    say(where + type->qualifiedName() + describe(identity));
    open_.push_back(type);
    return true;
  }
  std::string describe(cells::Entry entry, cells::Cell cell) const {
    const meta::Property property = open_.back()->getAllProperties()[cells::slotOf(entry)];
    if (cells::isEmpty(entry)) return property->name() + " empty";
    if (!property->isMany()) return property->name() + " " + describe(*property.get(), cell);
    const auto* const list = reinterpret_cast<const cells::List*>(cell);
    std::string items = property->name() + " (";
    for (std::uint32_t i = 0; i < list->size; ++i)
      items += (i == 0 ? "" : " ") + describe(*property.get(), list->items()[i]);
    return items + ") of " + std::to_string(list->capacity);
  }
  static std::string describe(const meta::Property::Impl& property, cells::Cell cell) {
    if (property.getKind() == meta::PropertyKind::association)
      return cell == cells::kWaiting ? "kept"
                                     : std::to_string(cell >> 40) + "#" + std::to_string(cell << 24 >> 28);
    if (property.getNumberInfo().isNumber()) return std::to_string(static_cast<std::int64_t>(cell));
    return "'" + std::string(cells::asText(cell)->view()) + "'";
  }

  std::vector<meta::StructuredType> open_;
  std::deque<std::vector<std::uint64_t>> memory_;
  cells::FreeMemory free_;
  std::uint32_t typeNames_ = 0;
};

}  // namespace kr::zero::test
