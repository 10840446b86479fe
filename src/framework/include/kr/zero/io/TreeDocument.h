/// @file
/// The shape of a model as tree events: the names of entries, and the events of the parts that every document
/// has alike. What the event grammar leaves open stands here, for the writer, the reader, and whoever looks
/// at such a document in another way.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "modeling/sylvan/SylvanEventCode.h"

namespace kr::zero::io::tree {

/// The version of the shape.
inline constexpr std::uint64_t kVersion = 1;
/// What the start of the document carries.
inline constexpr std::string_view kName = "KR0";

///@{
/// Name of an entry of the document's metadata; they come in this order.
inline constexpr std::string_view kVersionEntry = "version";
inline constexpr std::string_view kPackagesEntry = "packages";
///@}

///@{
/// Name of an entry of an object's metadata, and of a reference; they come in this order, and an object may
/// have no id.
inline constexpr std::string_view kTypeEntry = "type";
inline constexpr std::string_view kIdEntry = "id";
///@}

/// Name of the entry of a reference into another document.
inline constexpr std::string_view kQualifierEntry = "qualifier";

/// An event; of an entry's start with the entry's name.
struct Step {
  modeling::sylvan::SylvanEventCode event;  ///< which
  std::string_view entry = {};              ///< the name, where an entry starts
};

/// From the start of a document without packages to its roots.
inline constexpr std::array kHead{
    Step{modeling::sylvan::SylvanEventCode::startDocument},
    Step{modeling::sylvan::SylvanEventCode::startMetadata},
    Step{modeling::sylvan::SylvanEventCode::startNamedEntry, kVersionEntry},
    Step{modeling::sylvan::SylvanEventCode::writePrimitive},
    Step{modeling::sylvan::SylvanEventCode::endNamedEntry},
    Step{modeling::sylvan::SylvanEventCode::startNamedEntry, kPackagesEntry},
    Step{modeling::sylvan::SylvanEventCode::startSequence},
    Step{modeling::sylvan::SylvanEventCode::endSequence},
    Step{modeling::sylvan::SylvanEventCode::endNamedEntry},
    Step{modeling::sylvan::SylvanEventCode::endMetadata},
};

/// The metadata of an object without id.
inline constexpr std::array kObjectMetadata{
    Step{modeling::sylvan::SylvanEventCode::startMetadata},
    Step{modeling::sylvan::SylvanEventCode::startNamedEntry, kTypeEntry},
    Step{modeling::sylvan::SylvanEventCode::writePrimitive},
    Step{modeling::sylvan::SylvanEventCode::endNamedEntry},
    Step{modeling::sylvan::SylvanEventCode::endMetadata},
};

/// A reference behind the start of its struct, in the order that writers keep; the entry with the qualifier
/// may be missing.
inline constexpr std::array kReference{
    Step{modeling::sylvan::SylvanEventCode::startNamedEntry, kTypeEntry},
    Step{modeling::sylvan::SylvanEventCode::writePrimitive},
    Step{modeling::sylvan::SylvanEventCode::endNamedEntry},
    Step{modeling::sylvan::SylvanEventCode::startNamedEntry, kIdEntry},
    Step{modeling::sylvan::SylvanEventCode::startSequence},
    Step{modeling::sylvan::SylvanEventCode::writePrimitive},
    Step{modeling::sylvan::SylvanEventCode::writePrimitive},
    Step{modeling::sylvan::SylvanEventCode::endSequence},
    Step{modeling::sylvan::SylvanEventCode::endNamedEntry},
    Step{modeling::sylvan::SylvanEventCode::startNamedEntry, kQualifierEntry},
    Step{modeling::sylvan::SylvanEventCode::writePrimitive},
    Step{modeling::sylvan::SylvanEventCode::endNamedEntry},
    Step{modeling::sylvan::SylvanEventCode::endStruct},
};
/// Where the qualifier begins, or the struct ends.
inline constexpr std::size_t kQualifierStep = 9;

}  // namespace kr::zero::io::tree
