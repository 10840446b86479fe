/// @file
/// The reader of the tagged binary format.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "kr/zero/io/ParsingInput.h"
#include "kr/zero/io/export.h"
#include "kr/zero/ustring.h"
#include "modeling/sylvan/SylvanEventProcessor.h"

namespace kr::zero::io {

namespace tagged {
class SentPrimitives;
class StreamBytes;
class UnitRoad;
}  // namespace tagged

/// Reads the tagged binary format (docs/formats/tagged.md) and sends what it finds as tree events.
///
///     modeling::sylvan::EventPrinter printer(std::cout);
///     kr::zero::io::BinaryAssembler assembler(&printer);
///     kr::zero::io::ParsingInput::fromFile(u"books.krt").visitInput(assembler);
///
/// Checks bytes, not structure: events come in the order of the bytes, whether they balance or not. The
/// first byte, the version and the byte-order marker are not held against anything. A document may end
/// after any item; then there is no endDocument. Nothing behind the tag that ends a document is read.
///
/// Malformed bytes, a file that cannot be opened and a stream that has failed raise "CorruptInput"; a
/// string longer than any can be raises std::length_error, and one that there is no memory for
/// std::bad_alloc. A path that is no text raises std::invalid_argument. A UTF-16 string raises
/// "UstringNotSupported", an intermediate form or a byte sequence "IntermediateFormatNotSupported", before
/// anything is read. What the target throws passes unchanged. In each case the events sent so far stay sent,
/// and the assembler can read another document.
///
/// Each visit closes its file and forgets its input when it ends, also by an exception; of strings that it
/// read, memory for no more than 64 KiB is kept for the next document.
///
/// A stream of the caller's is left as if every byte had been fetched by peek() and get(): positioned
/// behind the last byte used, with the state and the exceptions that these lead to. A stream tied to it
/// is flushed when more bytes have to be fetched, not for every byte.
///
/// May be used for one document after another; not from two threads at once, and not by its own target.
class KR0_IO_API BinaryAssembler : public ParsingInput::Visitor {
 public:
  /// Where bytes come from.
  class KR0_IO_API Source {
   public:
    Source() = default;
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;
    virtual ~Source();
    /// Whether peeking at stream() finds no byte.
    virtual bool isEmpty();
    /// Where bytes are read; the source's own, or the caller's.
    virtual std::istream& stream() = 0;
  };

  /// A file of its own. Raises "CorruptInput" where it cannot be opened.
  class KR0_IO_API FileSource final : public Source {
   public:
    /// Opens the file.
    explicit FileSource(const ustring& path);
    ~FileSource() override;
    std::istream& stream() override;

   private:
    std::unique_ptr<char[]> buffer_;
    std::unique_ptr<std::ifstream> stream_;
  };

  /// A stream of the caller's, kept by reference. Raises "CorruptInput" where it has failed already.
  class KR0_IO_API StreamSource final : public Source {
   public:
    /// The stream must outlive the source.
    explicit StreamSource(std::istream& stream);
    ~StreamSource() override;
    std::istream& stream() override;

   private:
    std::istream& stream_;
  };

  /// A copy of a string of bytes.
  class KR0_IO_API StringSource final : public Source {
   public:
    /// Copies the bytes.
    explicit StringSource(const std::string& bytes);
    ~StringSource() override;
    std::istream& stream() override;

   private:
    std::unique_ptr<std::istream> stream_;
  };

  /// @param processor receives the events; must outlive the assembler.
  explicit BinaryAssembler(modeling::sylvan::SylvanEventProcessor<void>* processor);
  BinaryAssembler(const BinaryAssembler&) = delete;
  BinaryAssembler& operator=(const BinaryAssembler&) = delete;
  ~BinaryAssembler() override;

  ///@{
  /// Reads one document from an input of that kind, or refuses it.
  void visitFile(const ustring& path) override;
  void visitStream(std::istream& stream) override;
  void visitString(const std::string& string) override;
  void visitUString(const ustring& string) override;
  ///@}

  /// Bytes of the current or last document that were taken from its source.
  std::uint64_t getByteOffset() const noexcept;
  /// Whether the last document came to its end mark. One that was cut behind an item ends without it, and
  /// without an error.
  bool hasEnded() const noexcept { return ended_; }
  /// What exactly was wrong where the last document ended in "CorruptInput", else an empty text.
  const char* getErrorDetail() const noexcept;

 private:
  void visitIntermediateFormat(const void* intermediate) override;
  void visitLittleEndianByteSequence(const std::vector<unsigned char>& bytes) override;

  template <class SourceType, class Input>
  void readFrom(Input& input, const char* failure);
  void forget() noexcept;
  void close() noexcept;

  bool isStreamEmpty() const;
  unsigned char getNextByte() const;
  /// Gives it units to send in place of events. Needs the target that they go to, and reads no stream that
  /// others see: units are sent without giving it back to them in between.
  friend class BinaryKRSylvanParser;

  void assembleDocument();
  void assembleVersion();
  void assembleEndianess();
  void assemble();
  void assembleUnits();
  template <bool isShared>
  void assembleReadyItems();
  inline const modeling::sylvan::SylvanPrimitive* decodeReady(const char*& next);
  void assembleItem(unsigned char tag);
  template <class Event>
  void send(const Event& event);
  // What these return is valid until the next of them is called.
  const modeling::sylvan::SylvanPrimitive& assembleNextPrimitive();
  const modeling::sylvan::SylvanPrimitive& assemblePrimitive(const unsigned char& tag);
  const modeling::sylvan::SylvanPrimitive& assembleInteger(unsigned char tag);
  const modeling::sylvan::SylvanPrimitive& assembleString(std::uint64_t size);
  std::uint64_t assembleNumber(unsigned width);

  modeling::sylvan::SylvanEventProcessor<void>* processor_;
  tagged::UnitRoad* units_ = nullptr;  // null where events are all that may be sent; not owned
  std::size_t itemsBeforeUnits_ = 0;   // that are sent one by one, before units are tried again
  bool littleEndian_ = true;
  bool ended_ = false;
  std::unique_ptr<Source> source_;

  std::unique_ptr<tagged::StreamBytes> bytes_;  // reads from the source
  std::unique_ptr<tagged::SentPrimitives> primitives_;
};

}  // namespace kr::zero::io
