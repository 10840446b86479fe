/// @file
/// What is in a document, in figures, without a model of it.
///
///     const kr::zero::inspect::Overview overview = kr::zero::inspect::overviewOf(bytes, {.registry =
///     &registry}); std::cout << overview.elements.at("library.Book") << " books\n";
///
/// Threads: each call is on its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "kr/zero/inspect/Inspect.h"
#include "kr/zero/inspect/export.h"

namespace kr::zero::inspect {

/// What is in a document.
struct Overview {
  std::uint64_t version = 0;                         ///< of the format
  std::vector<std::string> packages = {};            ///< URIs, in the order of the document
  std::map<std::string, std::size_t> elements = {};  ///< number of elements of each class, by qualified name
  bool isCounted = false;  ///< whether elements were: the direct format tells them with a meta model only
  bool isSound = false;  ///< whether all bytes that were looked at make sense; if not, the rest says nothing
};

/// Hears how far a document was read: bytes before this offset are not looked at again.
using OffsetListener = std::function<void(std::uint64_t offset)>;

/// Goes through a document once, from its beginning to the first byte that makes no sense. Takes memory for
/// what is open and for the names of classes, and nothing in proportion to the document; one that lies in a
/// mapped file can be let go of piece by piece behind the offset that the listener is told. What only the
/// document as a whole shows is not looked at, as in inspect().
/// @throws Error (outOfMemory), and what the listener throws.
KR0_INSPECT_API Overview overviewOf(std::string_view document, const InspectOptions& options,
                                    const OffsetListener& listener = {});

}  // namespace kr::zero::inspect
