// Long documents, up to 4 MiB: a run of the input's bytes stands in them as often as it says. Depth, counts
// and tables grow where an input of usual length lets nothing grow.
#include "common/Documents.h"
#include "common/Mutations.h"

namespace kr::zero::fuzz {

const Layout kLayout{.choices = kLongChoices, .documents = Documents::chosen};

namespace {

constexpr std::size_t kLongest = std::size_t{4} << 20;

/// @param begin,size of the run, cut to what is there.
Bytes repeatRun(const Bytes& document, std::size_t begin, std::size_t size, std::size_t times) {
  begin = std::min(begin, document.size());
  size = std::min(size, document.size() - begin);
  if (size != 0) times = std::min(times, kLongest / size);
  const auto at = [&](std::size_t offset) { return document.begin() + static_cast<std::ptrdiff_t>(offset); };
  Bytes all(document.begin(), at(begin));
  for (std::size_t i = 0; i < times; ++i) all.insert(all.end(), at(begin), at(begin + size));
  all.insert(all.end(), at(begin + size), document.end());
  return all;
}

}  // namespace

void examine(Input input) {
  const ChosenInput chosen(input, kLongChoices);
  // Few are many times as long: that costs time.
  const std::size_t times = std::size_t{1} << (chosen.choice(3) % 19);
  const Bytes document = repeatRun(chosen.document(), chosen.number(1), chosen.choice(4), times);
  static ModelReader direct(kDirect, test::goldenRegistry(), intactDocument(kDirect));
  static ModelReader tagged(kTagged, test::goldenRegistry(), intactDocument(kTagged));
  (&chosen.format() == &kDirect ? direct : tagged).examine(document);
}

}  // namespace kr::zero::fuzz
