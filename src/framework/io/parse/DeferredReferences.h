/// @file
/// Internal: references of a document, from where they are read to where they lead.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "io/parse/DocumentIdentities.h"
#include "io/parse/Problems.h"
#include "io/parse/WaitingReference.h"
#include "kr/zero/TextHash.h"
#include "model/Store.h"

namespace kr::zero::internal {

/// Hands things on, in their order, some calls after it got them.
template <class T>
class Later {
 public:
  /// Takes a thing, and calls `use` with the one that came kDistance calls before.
  template <class Use>
  void exchange(const T& item, Use&& use) {
    T& place = items_[next_++ % kDistance];
    const T before = std::exchange(place, item);
    if (next_ > kDistance) use(before);
  }
  /// Calls `use` with all that are left.
  template <class Use>
  void finish(Use&& use) {
    for (std::size_t i = next_ < kDistance ? 0 : next_ - kDistance; i != next_; ++i)
      use(items_[i % kDistance]);
  }

 private:
  static constexpr std::size_t kDistance = 16;
  std::array<T, kDistance> items_{};
  std::size_t next_ = 0;
};

/// References wait in their own place in the model, 8 bytes each (WaitingReference), until all elements are
/// there; the texts of those that need some stand here.
class DeferredReferences {
 public:
  explicit DeferredReferences(Problems& problems) : problems_(problems) {}

  void reset(ModelStore& store) noexcept;

  /// A number for the name of a target's type.
  /// @throws ValueError where there are too many names to be told apart; `where` begins its text.
  template <class Where>
  std::uint32_t numberTypeName(std::string_view name, const Where& where);

  /// @param qualifier null for none.
  /// @throws ValueError where the texts take too much room; `where` begins its text.
  template <class Where>
  WaitingReference make(std::uint32_t typeName, const io::ElementIdentity& identity,
                        const std::string_view* qualifier, const Where& where);

  /// To be called before a reference is put into the record of that index: what is there can be resolved.
  void noteWaiting(std::uint32_t index) {
    if (index / 64 >= waiting_.size()) waiting_.resize(index / 64 + 1);
    waiting_[index / 64] |= std::uint64_t{1} << (index % 64);
  }

  /// Resolves all that wait, and starts over.
  void resolveAll(const DocumentIdentities& identities);

 private:
  using Target = DocumentIdentities::Target;
  using Form = WaitingReference::Form;

  /// Where references wait: a record's entry.
  struct Place {
    ElementRecord* record;
    std::size_t at;
  };
  static constexpr std::uint32_t kNoTypeName = ~std::uint32_t{0};

  [[noreturn]] static void failTooMany(const std::string& where);
  [[noreturn]] static void failTooLong(const std::string& where);
  std::uint32_t keepTypeName(std::string_view name);
  WaitingReference keepTexts(std::uint32_t typeName, std::string_view id1, std::string_view id2,
                             const std::string_view* qualifier);
  void keepText(std::string_view text);
  std::string_view keptText(std::size_t& at) const;

  void resolve(const Place& place, std::uint64_t& item, const DocumentIdentities& identities);
  Target findTarget(WaitingReference reference, const DocumentIdentities& identities) const;
  bool checkTarget(WaitingReference reference, const ElementRecord* from, const PropertyRecord& property,
                   const Target& target);
  const cells::ReferenceTexts* makeUnresolved(WaitingReference reference);

  Problems& problems_;
  ModelStore* store_ = nullptr;
  std::vector<std::uint64_t> waiting_;  // a bit per record: it has references that wait
  std::string texts_;  // of references that wait: id1, id2, qualifier, each behind its length
  std::unordered_map<std::string, std::uint32_t, TextHash, std::equal_to<>> numbers_;
  std::vector<std::string_view> typeNames_;  // by number
  std::uint32_t last_ = kNoTypeName;
  // Property, type name and type of references that were found right: most others are alike.
  using Fitting = std::tuple<const PropertyRecord*, std::uint32_t, std::uint32_t>;
  std::array<Fitting, 16> fitting_{};  // by slot
};

template <class Where>
std::uint32_t DeferredReferences::numberTypeName(std::string_view name, const Where& where) {
  if (last_ != kNoTypeName && typeNames_[last_] == name) return last_;
  if (typeNames_.size() > WaitingReference::kMostType) failTooMany(where());
  return last_ = keepTypeName(name);
}

template <class Where>
WaitingReference DeferredReferences::make(std::uint32_t typeName, const io::ElementIdentity& identity,
                                          const std::string_view* qualifier, const Where& where) {
  const std::uint32_t number = qualifier == nullptr ? localNumberOf(identity) : 0;
  if (number != 0) return WaitingReference(cells::asWaiting(number, typeName));
  if (texts_.size() > WaitingReference::kMostId) failTooLong(where());
  return keepTexts(typeName, identity.id1, identity.id2, qualifier);
}

}  // namespace kr::zero::internal
