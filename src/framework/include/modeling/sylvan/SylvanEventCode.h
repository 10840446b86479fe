/// @file
/// The eleven events of a tree as data, for whoever records, traces or checks them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace modeling::sylvan {

/// In the order of the operations of SylvanEventProcessor.
enum class SylvanEventCode : std::uint8_t {
  startDocument,
  endDocument,
  startStruct,
  endStruct,
  startNamedEntry,
  endNamedEntry,
  startSequence,
  endSequence,
  startMetadata,
  endMetadata,
  writePrimitive,
};

/// The names that traces and messages use, by code.
inline constexpr std::array<std::string_view, 11> sylvanEventNames{
    "StartDocument", "EndDocument", "StartStruct",   "EndStruct",   "StartNamedEntry", "EndNamedEntry",
    "StartSequence", "EndSequence", "StartMetadata", "EndMetadata", "WritePrimitive"};

/// The name of an event, as traces and messages show it.
constexpr std::string_view getName(SylvanEventCode code) noexcept {
  return sylvanEventNames[static_cast<std::size_t>(code)];
}

}  // namespace modeling::sylvan
