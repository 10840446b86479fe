/// @file
/// Internal: a reference that waits for the end of the document.
#pragma once

#include <cstdint>

#include "model/Store.h"

namespace kr::zero::internal {

/// What the reference leads to, in 8 bytes: it waits in its own place in the model, and so takes no memory
/// beside it.
class WaitingReference {
 public:
  /// A local one is what cells::asWaiting() makes.
  enum class Form : std::uint8_t { local, texts, textsAndQualifier };

  static constexpr std::uint64_t kMostId = (std::uint64_t{1} << 36) - 1;
  static constexpr std::uint32_t kMostType = (std::uint32_t{1} << 24) - 1;

  /// @param id the number of ("#", number), or where the texts begin that the reader keeps; at most kMostId.
  /// @param type a number for the name of the target's type; at most kMostType.
  WaitingReference(Form form, std::uint64_t id, std::uint32_t type) noexcept
      : item_(cells::kWaiting | static_cast<std::uint64_t>(form) << 2 | id << 4 | std::uint64_t{type} << 40) {
  }
  explicit WaitingReference(std::uint64_t item) noexcept : item_(item) {}

  std::uint64_t asItem() const noexcept { return item_; }
  Form form() const noexcept { return static_cast<Form>(item_ >> 2 & 3); }
  std::uint64_t id() const noexcept { return item_ >> 4 & kMostId; }
  std::uint32_t number() const noexcept { return static_cast<std::uint32_t>(id()); }
  std::uint32_t type() const noexcept { return static_cast<std::uint32_t>(item_ >> 40); }

 private:
  std::uint64_t item_;
};

}  // namespace kr::zero::internal
