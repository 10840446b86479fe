#include "Spelling.h"

#include <algorithm>

namespace kr::zero::tool {

namespace {

// Row by row over the letters of one word; three rows are enough.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> before, last(b.size() + 1), row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) last[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      row[j] = std::min({replaced, last[j] + 1, row[j - 1] + 1});
      const bool isSwap = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (isSwap) row[j] = std::min(row[j], before[j - 2] + 1);
    }
    before = last;
    last = row;
  }
  return last[b.size()];
}

}  // namespace

std::string nearestName(std::string_view word, const std::vector<std::string>& names) {
  constexpr std::size_t kLettersPerMistake = 3, kLongest = 64;
  if (word.size() > kLongest) return {};
  std::string best;
  std::size_t least = word.size() / kLettersPerMistake + 1;
  for (const std::string& name : names) {
    const std::size_t mistakes = distance(word, name);
    if (mistakes >= least) continue;
    least = mistakes;
    best = name;
  }
  return best;
}

}  // namespace kr::zero::tool
