/// @file
/// The writer of the tagged binary format.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kr/zero/io/SerializationOutput.h"
#include "kr/zero/io/Sink.h"
#include "kr/zero/io/export.h"
#include "kr/zero/io/grammar/KRGrammar.h"
#include "kr/zero/ustring.h"
#include "modeling/sylvan/SylvanEventCode.h"
#include "modeling/sylvan/SylvanEventProcessor.h"

namespace kr::zero::io {

namespace tagged {
class FormatterUnits;
class GrammarChecker;
struct FormatterInternals;
}  // namespace tagged

/// Writes tree events in the tagged binary format (docs/formats/tagged.md).
///
///     std::string bytes;
///     kr::zero::io::BinaryFormatter formatter(kr::zero::io::SerializationOutput::toString(bytes));
///     formatter.startDocument(nullptr);
///     formatter.writePrimitive(std::string("hello"));
///     formatter.endDocument();
///
/// Each event is written when it comes; endDocument() flushes. A primitive directly inside a struct is
/// dropped: only named entries have a place there. The order of events is not checked, and an end with
/// nothing open is written like any other.
///
/// Outputs: file, stream and narrow string, which is emptied first. A UTF-16 string raises
/// "UstringNotSupported", an intermediate form or a byte sequence "IntermediateFormatNotSupported". What a
/// sink raises (std::ios_base::failure; std::invalid_argument for a path that is no text) passes unchanged,
/// and so does std::bad_variant_access for a primitive without alternative, of which nothing is written.
///
/// A file is closed by the destructor: until then another document may be appended to it.
///
/// Not to be used from two threads at once.
class KR0_IO_API BinaryFormatter : public modeling::sylvan::SylvanEventProcessor<void>,
                                   private SerializationOutput::Visitor {
 public:
  /// A leaf, or an entry's name.
  using SylvanPrimitive = modeling::sylvan::SylvanPrimitive;

  /// What `output` refers to must outlive the formatter.
  explicit BinaryFormatter(const SerializationOutput& output);
  BinaryFormatter(const BinaryFormatter&) = delete;
  BinaryFormatter& operator=(const BinaryFormatter&) = delete;
  ~BinaryFormatter() override;

  /// Forgets what is open, so that another document can be appended to the same output.
  void reset();

  /// Writes the version and the byte order; the argument is ignored.
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
  friend struct tagged::FormatterInternals;
  friend class tagged::FormatterUnits;
  using EventCode = modeling::sylvan::SylvanEventCode;

  void visitFile(const ustring& path) override;
  void visitStream(std::ostream& stream) override;
  void visitString(std::string& string) override;
  void visitUString(ustring& string) override;
  void visitIntermediateFormat(void* intermediate) override;
  void visitLittleEndianByteSequence(std::vector<unsigned char>& bytes) override;

  inline void start(EventCode code, std::int32_t state, std::uint8_t tag);
  inline void end(EventCode code, std::uint8_t tag);
  inline void leave(EventCode code);
  inline bool isDirectlyInStruct() const;

  // Encoding of primitives, each with its tag.
  inline void write(const SylvanPrimitive& value);
  inline void writeStartOfEntry(std::string_view name);
  inline void writeString(std::string_view string);
  inline void writeNumber(std::uint8_t tag, std::uint64_t number, std::size_t width);

  inline void writeByte(std::uint8_t byte);
  inline bool hasRoom() const;
  void writeBytes(const char* bytes, std::size_t count);
  void writeThroughSink(const char* bytes, std::size_t count);

  std::unique_ptr<Sink> sink_;
  bool hasBegun_ = false;
  bool takesPieces_ = false;  // the sink, or whoever it writes to: else each byte goes through writeByte()
  std::deque<std::int32_t> formatterStates_;  // what is open, innermost last; not used with a checker
  grammar::KRGrammar::Blackboard blackboard_;
  std::unique_ptr<tagged::GrammarChecker> grammarChecker_;  // none, unless attached from within the library

  // What the sink writes to, where it is in memory or may be and the sink need not see the bytes.
  std::string* string_ = nullptr;
  std::ostream* stream_ = nullptr;
  std::string scratch_;
};

}  // namespace kr::zero::io
