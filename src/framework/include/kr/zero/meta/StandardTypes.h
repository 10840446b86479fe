/// @file
/// Handles of the standard types, filled on first use.
#pragma once

#include <atomic>

#include "kr/zero/export.h"
#include "kr/zero/meta/MetaRegistry.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::meta {

/// A handle that starts empty and is filled once. Threads may test, fill and read it at the same
/// time: all of them store the same object.
class LazyPrimitiveType {
 public:
  constexpr LazyPrimitiveType() noexcept = default;
  LazyPrimitiveType(const LazyPrimitiveType&) = delete;
  LazyPrimitiveType& operator=(const LazyPrimitiveType&) = delete;

  explicit operator bool() const noexcept { return impl_.load(std::memory_order_acquire) != nullptr; }
  const Type::Impl* get() const noexcept { return impl_.load(std::memory_order_acquire); }
  void fill(PrimitiveType type) noexcept { impl_.store(type.get(), std::memory_order_release); }
  friend bool operator==(Type a, const LazyPrimitiveType& b) noexcept { return a.get() == b.get(); }

 private:
  std::atomic<const Type::Impl*> impl_{nullptr};
};

/// The standard types by name. Each is empty until somebody fills it through
/// internal::getPrimitiveTypeFromMetaRegistry.
struct KR0_FRAMEWORK_API StandardTypes {
  static LazyPrimitiveType booleanMeta;
  static LazyPrimitiveType integer8Meta;
  static LazyPrimitiveType uinteger8Meta;
  static LazyPrimitiveType integer16Meta;
  static LazyPrimitiveType uinteger16Meta;
  static LazyPrimitiveType integerMeta;
  static LazyPrimitiveType unlimitedNaturalMeta;
  static LazyPrimitiveType integer64Meta;
  static LazyPrimitiveType uinteger64Meta;
  static LazyPrimitiveType realMeta;
  static LazyPrimitiveType stringMeta;
  static LazyPrimitiveType stdstringMeta;
  static LazyPrimitiveType uuidMeta;
  static LazyPrimitiveType dateTimeMeta;
  static LazyPrimitiveType jsonValueMeta;
  static LazyPrimitiveType stringToStringMapMeta;
  static LazyPrimitiveType zoArrayMeta;
};

}  // namespace kr::zero::meta
