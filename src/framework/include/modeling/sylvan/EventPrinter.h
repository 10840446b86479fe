/// @file
/// An event processor that prints, for people and for tests.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>

#include "kr/zero/export.h"
#include "modeling/sylvan/SylvanEventCode.h"
#include "modeling/sylvan/SylvanEventProcessor.h"

namespace modeling::sylvan {

/// A primitive as text that shows its kind: `true`, `null`, `r 0.5`, `u 5`, `s -1`, `"text"`.
///
/// Reals are the shortest decimal that means the same, or `r inf`, `r -inf`, `r nan`. Strings are quoted and
/// escaped like JSON's; in one that is not well-formed UTF-8 each byte above 7F is written as `\xNN`.
/// @throws std::bad_variant_access for a primitive without alternative.
KR0_FRAMEWORK_API std::string toText(const SylvanPrimitive& value);

/// Prints each event as a line, two spaces further in for each construct that is open:
///
///     StartDocument
///       StartStruct
///         StartNamedEntry "title"
///           "Emma"
///         EndNamedEntry
///       EndStruct
///     EndDocument
///
/// A value attached to the start of the document follows it unless it is null. Any order of events will
/// do; an end with nothing open stands at the margin. Lines deeper than 40 constructs begin with their
/// depth in parentheses and move no further in, so that the text grows with the number of events only.
/// Failures to write are left in the stream's state.
class KR0_FRAMEWORK_API EventPrinter : public SylvanEventProcessor<void> {
 public:
  /// @param out must outlive the printer.
  explicit EventPrinter(std::ostream& out);
  ~EventPrinter() override;

  void startDocument(const SylvanPrimitive& value) override;
  void endDocument() override;
  void startStruct() override;
  void endStruct() override;
  void startNamedEntry(const SylvanPrimitive& name) override;
  void endNamedEntry() override;
  void startSequence() override;
  void endSequence() override;
  void startMetadata() override;
  void endMetadata() override;
  void writePrimitive(const SylvanPrimitive& value) override;

 private:
  void start(SylvanEventCode code, std::string_view detail = {});
  void end(SylvanEventCode code);
  void print(std::string_view text, std::string_view detail = {});

  std::ostream& out_;
  std::string line_;
  std::size_t depth_ = 0;
};

}  // namespace modeling::sylvan
