/// @file
/// Documents of the golden meta model in either format, and inputs that name one of the formats.
#pragma once

#include <algorithm>

#include "common/ModelReader.h"
#include "support/GoldenDocuments.h"

namespace kr::zero::fuzz {

/// The model of a golden document of the direct format.
Model readGolden(const Bytes& bytes);

/// What always reads well, in that format.
const Bytes& intactDocument(const Format& format);

/// Reads the intact document: the byte order of a tagged document holds for what is in front of the marker of
/// the next.
void settle(io::Parser& parser, const Format& format);

/// An input that begins with some bytes by which a target chooses what it does. The first of them chooses the
/// format, with its lowest bit. What an input does not have counts as 0.
class ChosenInput {
 public:
  ChosenInput(Input input, std::size_t choices)
      : choices_(input.first(std::min(choices, input.size()))), rest_(input.subspan(choices_.size())) {}

  unsigned choice(std::size_t at) const { return at < choices_.size() ? choices_[at] : 0; }
  /// Two choices as one number.
  std::size_t number(std::size_t at) const { return choice(at) + choice(at + 1) * std::size_t{256}; }
  /// The first choice without the bit that chooses the format.
  unsigned mode() const { return choice(0) / 2; }
  const Format& format() const { return formatOf(choice(0)); }
  Bytes document() const { return {rest_.begin(), rest_.end()}; }

 private:
  Input choices_;
  Input rest_;
};

///@{
/// How many bytes these targets choose by.
inline constexpr std::size_t kPiecesChoices = 4;
inline constexpr std::size_t kAllocationChoices = 3;
inline constexpr std::size_t kSinkChoices = 3;
inline constexpr std::size_t kThrowingChoices = 3;
inline constexpr std::size_t kLongChoices = 5;
///@}

}  // namespace kr::zero::fuzz
