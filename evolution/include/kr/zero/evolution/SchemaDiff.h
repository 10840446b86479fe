/// @file
/// What changed between two versions of a meta model, and what that does to documents that are there already.
///
///     for (const auto& change : kr::zero::evolution::compareSchemas(before, after))
///       if (change.effects.worst() >= kr::zero::evolution::Effect::refused)
///         std::cerr << change.subject << ": " << change.sentence << '\n';
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "kr/zero/evolution/export.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::evolution {

/// What becomes of a document that was written with the old meta model and is read with the new one; the
/// worse the later. A change has the worst effect that it has on any document that uses what changed.
enum class Effect : std::uint8_t {
  nothing,     ///< it reads as before
  incomplete,  ///< it reads, and then lacks a value or breaks a bound of the new meta model, as validate()
               ///< finds
  /// It cannot be read. A direct document whose bytes are taken for others, as after a change of width or
  /// bounds, counts as such: it is refused unless these happen to be what is expected, and then shows
  /// nonsense.
  refused,
  wrong  ///< it reads, and shows something that nobody wrote
};

/// How a document is written.
enum class DocumentFormat : std::uint8_t {
  krb,  ///< the direct binary format
  krt,  ///< the tagged binary format
  xmi,  ///< XMI
  krz   ///< an archive, which brings its meta model: what carrying over by name does without loss
};

/// All formats, in the order of reports.
inline constexpr std::array kDocumentFormats{DocumentFormat::krb, DocumentFormat::krt, DocumentFormat::xmi,
                                             DocumentFormat::krz};

/// An effect for each format.
struct KR0_EVOLUTION_API Effects {
  Effect krb = Effect::nothing;  ///< on direct binary documents
  Effect krt = Effect::nothing;  ///< on tagged binary documents
  Effect xmi = Effect::nothing;  ///< on XMI documents
  Effect krz = Effect::nothing;  ///< on archives

  /// The effect on documents of a format.
  Effect of(DocumentFormat format) const noexcept;
  /// The worst of the four.
  Effect worst() const noexcept;
  /// Whether all four are the same.
  friend bool operator==(const Effects&, const Effects&) = default;
};

/// What kind of change it is. A subject is the qualified name of what changed, in the old meta model where it
/// was there: a package's URI, "books.Book", "books.Book.title", "books.Color.red".
enum class ChangeKind : std::uint8_t {
  packageAdded,
  packageRemoved,
  packageRenamed,     ///< another name, the same URI
  packageUriChanged,  ///< another URI, the same name
  typeAdded,
  typeRemoved,      ///< or renamed without a word
  typeRenamed,      ///< as CompareOptions::renames says
  typeKindChanged,  ///< a class that became an enumeration, say
  classMadeAbstract,
  classMadeConcrete,
  supertypesChanged,
  propertyAdded,
  propertyRemoved,     ///< or renamed without a word, with its number free now
  propertyRenamed,     ///< as CompareOptions::renames says
  propertyRenumbered,  ///< the same name, another number
  numberReused,        ///< the property is gone, and its number is another's
  propertyTypeChanged,
  propertyBoundsChanged,
  containmentChanged,  ///< what was held is only referred to, or the other way round
  storageChanged,      ///< derived, static or transient, or no more so
  propertyMoved,       ///< declared by another class of the hierarchy
  orderedChanged,
  uniqueChanged,
  defaultChanged,
  oppositeChanged,
  literalAdded,
  literalRemoved,     ///< or renamed without a word
  literalRenamed,     ///< as CompareOptions::renames says
  literalRenumbered,  ///< the same name, another number
  literalTextChanged  ///< the same name and number, another text in XMI
};

/// One change.
struct SchemaChange {
  ChangeKind kind = ChangeKind::typeAdded;  ///< what happened
  std::string subject;                      ///< to what, see ChangeKind
  std::string before;                       ///< what it was, in words; empty where it was not there
  std::string after;                        ///< what it is; empty where it is gone
  Effects effects;                          ///< on old documents
  std::string sentence;                     ///< what happened and what old documents show, in one sentence
};

/// What the caller knows beyond the two meta models.
struct CompareOptions {
  /// What is called otherwise now: qualified names of old properties and literals, with their new names alone
  /// ("books.Book.lastName" -> "surname"), and of old types with their new qualified names. Without such a
  /// word a property that took the place of another one counts as another one.
  std::map<std::string, std::string> renames;
};

/// Compares two versions of meta models. Numbers are compared as the registries gave them, pinned or not. The
/// order of declarations counts only where it decides about numbers or defaults.
/// @return the changes: packages, then types with what is in them in the order of the old meta model, then
///   what is new. Empty where documents cannot tell the two apart.
///
/// Not told: what lies in names that only XML has, and texts of more digits than a real number has that are
/// read as one. Takes time in proportion to the properties that all classes list. Threads: as MetaRegistry
/// for reading.
/// @throws std::bad_alloc and nothing else.
KR0_EVOLUTION_API std::vector<SchemaChange> compareSchemas(const meta::MetaRegistry& before,
                                                           const meta::MetaRegistry& after,
                                                           const CompareOptions& options = {});

///@{
/// In words, for reports and programs: "refused", "krb", "literalRenumbered".
KR0_EVOLUTION_API std::string_view nameOf(Effect effect) noexcept;
KR0_EVOLUTION_API std::string_view nameOf(DocumentFormat format) noexcept;
KR0_EVOLUTION_API std::string_view nameOf(ChangeKind kind) noexcept;
///@}

}  // namespace kr::zero::evolution
