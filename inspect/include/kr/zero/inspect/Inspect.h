/// @file
/// The bytes of documents, each with what it means.
///
///     kr::zero::inspect::inspect(bytes, {.registry = &registry}, [](const kr::zero::inspect::Note& note) {
///       std::cout << note.offset << ' ' << note.path << ": " << note.text << '\n';
///     });
///
/// Threads: each call is on its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "kr/zero/inspect/export.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::inspect {

/// What a note is about.
enum class NoteKind {
  head,       ///< version, byte order, packages
  begin,      ///< an element, a datatype value, or something around them begins
  end,        ///< what began last ends
  value,      ///< a value, or that there is none
  list,       ///< the head of a collection whose values follow
  reference,  ///< a reference
  damage,     ///< bytes that make no sense
  unread      ///< bytes that nobody looks at, or whose meaning only the meta model tells
};

/// The kind as a word ("begin").
KR0_INSPECT_API std::string_view nameOf(NoteKind kind) noexcept;

/// What some bytes mean. Views live as long as the call of the listener.
struct Note {
  NoteKind kind = NoteKind::head;  ///< what it is about
  std::uint64_t offset = 0;        ///< of the first byte
  std::uint64_t bytes = 0;         ///< 0 where something should stand and does not
  std::size_t depth = 0;           ///< what is open around it
  std::string_view path = {};      ///< of the element or datatype value: "/library/books[3]"; empty: of none
  std::string_view type = {};  ///< qualified name: of what begins or ends, or of the target of a reference
  std::string_view property = {};  ///< name
  std::string_view value = {};     ///< in text form, as a whole
  std::string_view text = {};      ///< all that in words, without the path: "title = \"Moby Dick\""
  bool isGuess = false;            ///< whether it could also mean something else
};

/// Hears notes in the order of the bytes; together they cover each byte once. What it throws ends the call.
using NoteListener = std::function<void(const Note& note)>;

/// How a document is to be looked at.
struct InspectOptions {
  /// The meta model that it was written with; it must outlive the call. Null: the bytes of the tagged format
  /// say all but the types of values by themselves, those of the direct format little.
  const meta::MetaRegistry* registry = nullptr;
  /// Whether the document is in the tagged format; else it is in the direct one.
  bool tagged = false;
};

/// Tells what each byte of a document means. Where bytes make no sense it says what was expected, and looks
/// for the next place from which the bytes make sense. Takes memory for what is open, and time that is
/// bounded by the length.
///
/// A first root is called "/library" in paths, another one "/library[1]": how many there are is known at the
/// end.
/// @return whether all bytes make sense. What only the document as a whole shows is not looked at: two
/// elements of one
///   identity, references to elements of another class.
/// @throws Error (outOfMemory), and what the listener throws.
KR0_INSPECT_API bool inspect(std::string_view document, const InspectOptions& options,
                             const NoteListener& listener);

}  // namespace kr::zero::inspect
