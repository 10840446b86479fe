/// @file
/// What is left of damaged documents, as models.
///
///     kr::zero::inspect::Salvaged saved = kr::zero::inspect::salvage(bytes, {.registry = &registry});
///     for (const kr::zero::inspect::Loss& loss : saved.losses) std::cerr << loss.text << '\n';
///     kr::zero::io::saveModel(saved.model, "saved.krb");
///
/// Threads: each call is on its own.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/inspect/export.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::inspect {

/// How a damaged document is read.
struct SalvageOptions {
  /// The meta model that the document was written with; it must outlive the model. Null:
  /// MetaRegistry::instance().
  const meta::MetaRegistry* registry = nullptr;
  /// Whether the document is in the tagged format; else it is in the direct one.
  bool tagged = false;
};

/// Something that could not be saved, or not for certain.
struct Loss {
  std::uint64_t offset = 0;  ///< of the byte where it stands
  std::uint64_t bytes = 0;   ///< that could not be read; 0 where something else is lost
  std::string path = {};     ///< end of that of the element that lacks it; empty: of none, or one of many
  std::string text = {};     ///< the whole as a sentence, with place and offset
};

/// A model, and what it lacks.
struct Salvaged {
  Model model;               ///< all that could be read
  std::vector<Loss> losses;  ///< in the order of the bytes, references last; none: the document is whole
};

/// Reads what can be read before and behind damage.
///
/// Elements behind it stand where they stood as far as the bytes tell, else below the nearest element that
/// may hold them, else at the top. Of an element in which damage lies, the values behind it are read as far
/// as they make sense. An element of which only the beginning is lost gets the class that fits what it holds.
/// Values whose bytes were changed to others that make sense cannot be told from right ones: those beside
/// damage deserve a look.
///
/// References lead to the elements to which they led, or nowhere: one to an element that is lost stays
/// unresolved, with all its texts, and is left out where the document itself had made up the identity of its
/// target.
///
/// A document that is whole gives what io::readModel gives. Takes memory in proportion to the document, and
/// time that is bounded by its length.
/// @throws Error (outOfMemory) and nothing else. Bytes that hold nothing at all give a model without
/// elements.
KR0_INSPECT_API Salvaged salvage(std::string_view document, const SalvageOptions& options = {});

}  // namespace kr::zero::inspect
