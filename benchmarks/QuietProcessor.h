/// @file
/// A parse processor that answers the reader's questions and builds nothing.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <vector>

#include "fl/i18n/utf8.h"
#include "kr/zero/io/BulkParseProcessor.h"
#include "kr/zero/io/ParseProcessor.h"

namespace kr::zero::bench {

/// What is left of a read when nothing is done with what was read: the cost of walking the bytes. It offers
/// the larger units, as the processor does that builds models, and knows no named operations.
class QuietProcessor final : public io::ParseProcessor, public io::BulkParseProcessor {
 public:
  QuietProcessor(io::ParseCustomizer& customizer, io::ParsingModelBuilder& builder)
      : ParseProcessor(customizer, builder) {}

  void reset() override { calls_ = 0; }
  void setVersion(const ustring&) override {}
  void processDeferred() override {}
  void parseCompleted() override {}

  /// @throws std::runtime_error for a type that the registry does not know.
  meta::StructuredType findType(std::string_view typeName) override {
    const meta::StructuredType type(getCustomizer().getRegistry().findType(typeName));
    if (!type) throw std::runtime_error("a type that the benchmark does not know");
    return type;
  }
  bool pushRoot(meta::StructuredType, const io::ElementIdentity&) override { return ++calls_, true; }
  bool pushChild(io::PropertyPlace, meta::StructuredType, const io::ElementIdentity&) override {
    return ++calls_, true;
  }
  void pop() override {}
  void announceCollection(io::PropertyPlace) override {}
  void setNumber(io::PropertyPlace, std::uint64_t) override { ++calls_; }
  void addNumbers(io::PropertyPlace, std::span<const std::uint64_t> numbers) override {
    calls_ += numbers.size();
  }
  bool setText(io::PropertyPlace, std::string_view bytes) override {
    ++calls_;
    return fl::i18n::isWellFormedUtf8(bytes);
  }
  void setEmpty(io::PropertyPlace) override { ++calls_; }
  std::uint32_t numberTypeName(std::string_view) override { return 0; }
  void addReference(io::PropertyPlace, std::uint32_t, const io::ElementIdentity&,
                    const std::string_view*) override {
    ++calls_;
  }
  cells::Cell keepReference(std::uint32_t, const io::ElementIdentity&, const std::string_view*) override {
    return cells::kWaiting;
  }
  /// The same memory again and again: nothing is kept.
  cells::FreeMemory& getMemory(std::size_t) override {
    free_ = {memory_.data(), memory_.data() + memory_.size() - kReadable};
    return free_;
  }
  void addCells(std::span<const cells::Entry> entries, const cells::Cell*, bool) override {
    calls_ += entries.size();
  }

  /// Number of calls that brought an element, a value or a reference in the last parse. It shows that
  /// the walk took place.
  std::size_t getCalls() const noexcept { return calls_; }

 private:
  // The named ones, of which the reader makes none.
  using ParseProcessor::pop;

  static constexpr std::size_t kReadable = 16;  // behind texts

  std::size_t calls_ = 0;
  std::vector<std::byte> memory_ = std::vector<std::byte>(1 << 14);  // more than anyone asks for
  cells::FreeMemory free_;
};

}  // namespace kr::zero::bench
