/// @file
/// Internal: reads a document of the direct format into a ParseProcessor.
#pragma once

#include <cstdint>
#include <vector>

#include "direct/ByteReader.h"
#include "kr/zero/io/ParseProcessor.h"
#include "kr/zero/log/Span.h"

namespace kr::zero::io {

/// One parse of one document. It knows bytes and nothing of models: what a name means is asked of the
/// processor.
class BinaryParseContext {
 public:
  /// @param bytes and span must outlive the context.
  /// @param span where errors are recorded.
  BinaryParseContext(ParseProcessor& processor, const std::vector<std::uint8_t>& bytes, const log::Span& span)
      : reader_(processor, bytes, span), processor_(processor) {}

  /// Reads the whole input.
  /// @return false where the framework refused the document.
  /// @throws Error<kr0::io::CorruptInput>; std::out_of_range for a property number that the innermost
  ///   type does not have; std::runtime_error for a fixed-width number cut short; what the processor
  ///   throws.
  bool parseBinary();

  /// Bytes read so far.
  std::size_t getOffset() const noexcept { return reader_.getOffset(); }

 private:
  bool readHeader();
  bool readElements();

  ByteReader reader_;
  ParseProcessor& processor_;
};

}  // namespace kr::zero::io
