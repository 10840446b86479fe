/// @file
/// Internal: one way through the bytes of a document.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "Item.h"

namespace kr::zero::inspect {

/// Something that is open.
struct Frame {
  FrameKind kind = FrameKind::element;
  const TypeRecord* type = nullptr;          ///< of an element or datatype value; null: not known
  const PropertyRecord* property = nullptr;  ///< that it is in, or of; null: none, or not known
  std::string_view name = {};                ///< of that property
  std::uint64_t seen = 0;                    ///< bits of the slots below 64 that hold their one value
  std::size_t nextSlot = 0;                  ///< writers go through the slots in their order
  std::size_t items = 0;                     ///< so far, in an entry, sequence or metadata
};

/// Frames that were not seen to begin, since their beginnings are lost: one, or one inside another.
struct LostFrames {
  Frame outer;
  std::optional<Frame> inner = {};
};

/// What is open, innermost last. One that begins as a part of another shares its frames: trying something out
/// costs nothing for what is open already, however deep that is.
class OpenFrames {
 public:
  bool empty() const noexcept { return shared_ + own_.size() == 0; }
  std::size_t size() const noexcept { return shared_ + own_.size(); }
  const Frame& at(std::size_t position) const noexcept {
    return position < shared_ ? base_->at(position) : own_[position - shared_];
  }
  /// The innermost; there must be one.
  const Frame& top() const noexcept { return at(size() - 1); }
  /// The same to be changed.
  Frame& change() {
    if (own_.empty()) own_.push_back(base_->at(--shared_));
    return own_.back();
  }
  void push(const Frame& frame) { own_.push_back(frame); }
  void pop() noexcept {
    if (own_.empty())
      --shared_;
    else
      own_.pop_back();
  }
  /// Becomes the outermost ones of another, which must not change as long as this is used.
  void share(const OpenFrames& base, std::size_t count) noexcept {
    own_.clear();
    base_ = &base;
    shared_ = count;
  }
  void clear() noexcept {
    own_.clear();
    shared_ = 0;
  }

 private:
  const OpenFrames* base_ = nullptr;
  std::size_t shared_ = 0;
  std::vector<Frame> own_;
};

/// No bound for a shift.
inline constexpr std::int64_t kAnyShift = std::numeric_limits<std::int64_t>::max();
/// Elements that get lost make numbers larger than places are; a few that were made of damaged bytes,
/// smaller.
inline constexpr std::int64_t kLeastShift = -4;

struct Reading {
  std::size_t at = 0;  ///< behind the last thing that was read as a whole
  OpenFrames open;
  std::uint64_t elements = 0;  ///< that began
  bool isWhole = true;         ///< nothing had to be passed over
  bool hasEnded = false;       ///< the document's end mark was met
  /// Takes nothing but what writers write; for trying out whether bytes make sense.
  bool isStrict = false;
  /// By how much the numbers that a document gave its elements differ from their places, where that is known;
  /// held only where it is strict.
  std::optional<std::int64_t> shift = {};
  std::int64_t mostShift = kAnyShift;  ///< what it may be
  Listener* listener = nullptr;        ///< null: nobody
  Damage fault = {};                   ///< what stopped the reading; in words where somebody listens
};

}  // namespace kr::zero::inspect
