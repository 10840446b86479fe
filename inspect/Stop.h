/// @file
/// Internal: how a scan says what it cannot read, and what scans of all formats ask of what is open.
#pragma once

#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "Reading.h"
#include "TypeTable.h"

namespace kr::zero::inspect {

/// A text for a sentence, cut where it is long.
std::string inQuotes(std::string_view text);

/// What was found where a text is no value: the text, or that it is none.
std::string foundText(std::string_view text);

namespace internal {

/// A text, or what makes one.
template <class Words>
std::string worded(const Words& words) {
  if constexpr (std::is_invocable_v<Words>)
    return words();
  else
    return words;
}

}  // namespace internal

/// Ends a reading. Trying things out ends here most of the time, so words are only made where somebody
/// listens.
/// @return false.
template <class Expected, class Found = const char*>
bool stop(Reading& reading, std::size_t at, const Expected& expected, const Found& found = "") {
  reading.fault.offset = reading.at;
  reading.fault.at = at;
  reading.fault.isHead = false;
  if (reading.listener != nullptr) {
    reading.fault.expected = internal::worded(expected);
    reading.fault.found = internal::worded(found);
  }
  return false;
}

/// Takes the URI of a package that is not known for damage, and goes on behind it.
void passUnknownPackage(Reading& reading, std::size_t end, std::string_view uri);

/// Whether an identity that a document made for an element is that of an element at its place: writers count.
bool isInPlace(Reading& reading, const ScannedIdentity& identity);

/// The number of an identity that a document made, or nothing.
std::optional<std::uint64_t> localNumberOf(const ScannedIdentity& identity);

/// Whether a property that holds one thing holds it already.
bool isSecond(const Frame& frame, const PropertyRecord& property, std::size_t slot);

/// Notes that a property of the innermost comes.
void noteSlot(OpenFrames& open, const PropertyRecord& property, std::size_t slot);

/// Adds frames for an element of a class that stands inside something and lost its beginning.
/// @param inside null: it stands at the top.
void proposeIn(const meta::Class::Impl& type, const Frame* inside, std::vector<LostFrames>& proposals);

}  // namespace kr::zero::inspect
