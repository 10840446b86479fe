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

  /// Whether it was filled.
  explicit operator bool() const noexcept { return impl_.load(std::memory_order_acquire) != nullptr; }
  /// What it denotes; null before it was filled.
  const Type::Impl* get() const noexcept { return impl_.load(std::memory_order_acquire); }
  /// Makes it denote a type.
  void fill(PrimitiveType type) noexcept { impl_.store(type.get(), std::memory_order_release); }
  /// Whether both denote the same type.
  friend bool operator==(Type a, const LazyPrimitiveType& b) noexcept { return a.get() == b.get(); }

 private:
  std::atomic<const Type::Impl*> impl_{nullptr};
};

/// The standard types by name. Each is empty until somebody fills it through
/// internal::getPrimitiveTypeFromMetaRegistry.
struct KR0_FRAMEWORK_API StandardTypes {
/// What a row of the list becomes here.
#define KR0_ROW(enumerator, handle, Name, kind, Number) static LazyPrimitiveType handle;
  KR0_STANDARD_TYPES(KR0_ROW)
#undef KR0_ROW
};

}  // namespace kr::zero::meta
