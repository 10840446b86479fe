// Lists that mostly agree, side by side: along equal entries, and where they part by the shortest way that
// leads to the next stretch in which they agree (the greedy algorithm of E. Myers, An O(ND) Difference
// Algorithm and Its Variations, 1986, over a bounded distance).
#include <algorithm>

#include "Matching.h"

namespace kr::zero::compare {

namespace {

/// So many entries are added or left out at most before a way is taken as it is.
constexpr std::int64_t kFurthest = 64;
/// A stretch so long shows that the lists agree again.
constexpr std::int64_t kStretch = 16;

class Aligner {
 public:
  Aligner(const std::vector<Mark>& a, const std::vector<Mark>& b) : a_(a), b_(b) {}

  std::vector<std::pair<std::size_t, std::size_t>> run() {
    while (fromA_ < sizeA() && fromB_ < sizeB()) {
      if (areEqual(0, 0))
        take(0, 0);
      else
        takeShortestWay();
    }
    return std::move(pairs_);
  }

 private:
  /// How far each diagonal came with so many entries left out; diagonal k is at [k + distance].
  using Reach = std::vector<std::int64_t>;
  static constexpr std::int64_t kNowhere = -1;

  std::int64_t sizeA() const { return static_cast<std::int64_t>(a_.size()); }
  std::int64_t sizeB() const { return static_cast<std::int64_t>(b_.size()); }

  /// Positions count from where the lists parted.
  bool areEqual(std::int64_t x, std::int64_t y) const {
    if (x >= sizeA() - fromA_ || y >= sizeB() - fromB_) return false;
    const Mark mark = a_[static_cast<std::size_t>(fromA_ + x)];
    return mark != 0 && mark == b_[static_cast<std::size_t>(fromB_ + y)];
  }

  void take(std::int64_t x, std::int64_t y) {
    pairs_.emplace_back(static_cast<std::size_t>(fromA_ + x), static_cast<std::size_t>(fromB_ + y));
    fromA_ += x + 1;
    fromB_ += y + 1;
  }

  static std::int64_t reached(const Reach& reach, std::int64_t diagonal) {
    const auto distance = static_cast<std::int64_t>(reach.size() / 2);
    if (diagonal < -distance || diagonal > distance) return kNowhere;
    return reach[static_cast<std::size_t>(diagonal + distance)];
  }

  /// Where a diagonal begins with one more entry left out: kNowhere outside the lists.
  std::int64_t begin(const Reach& before, std::int64_t diagonal) const {
    const std::int64_t left = reached(before, diagonal - 1);
    const std::int64_t x = std::max(left == kNowhere ? kNowhere : left + 1, reached(before, diagonal + 1));
    const bool isInside =
        x != kNowhere && x <= sizeA() - fromA_ && x >= diagonal && x - diagonal <= sizeB() - fromB_;
    return isInside ? x : kNowhere;
  }

  void takeShortestWay() {
    std::vector<Reach> reaches{{0}};
    for (std::int64_t distance = 1; distance <= kFurthest; ++distance) {
      Reach reach(static_cast<std::size_t>(2 * distance + 1), kNowhere);
      for (std::int64_t k = -distance; k <= distance; k += 2) {
        const std::int64_t first = begin(reaches.back(), k);
        if (first == kNowhere) continue;
        std::int64_t x = first;
        while (areEqual(x, x - k)) ++x;
        reach[static_cast<std::size_t>(k + distance)] = x;
        const bool isEnd = x == sizeA() - fromA_ && x - k == sizeB() - fromB_;
        if (!isEnd && x - first < kStretch) continue;
        reaches.push_back(std::move(reach));
        return takeWay(reaches, k);
      }
      reaches.push_back(std::move(reach));
    }
    takeWay(reaches, furthestDiagonal(reaches.back()));
  }

  static std::int64_t furthestDiagonal(const Reach& reach) {
    const auto distance = static_cast<std::int64_t>(reach.size() / 2);
    std::int64_t best = 0;
    std::int64_t most = -1;
    for (std::int64_t k = -distance; k <= distance; ++k) {
      const std::int64_t x = reached(reach, k);
      if (x == kNowhere || 2 * x - k <= most) continue;
      most = 2 * x - k;
      best = k;
    }
    return best;
  }

  /// Takes all equal entries on the way to where a diagonal came.
  void takeWay(const std::vector<Reach>& reaches, std::int64_t diagonal) {
    const std::int64_t endX = reached(reaches.back(), diagonal);
    const std::int64_t endY = endX - diagonal;
    std::vector<std::pair<std::int64_t, std::int64_t>> way;
    for (std::size_t distance = reaches.size() - 1; distance > 0; --distance) {
      const Reach& before = reaches[distance - 1];
      const std::int64_t first = begin(before, diagonal);
      for (std::int64_t x = reached(reaches[distance], diagonal); x-- > first;)
        way.emplace_back(x, x - diagonal);
      const std::int64_t left = reached(before, diagonal - 1);
      diagonal += left != kNowhere && left + 1 == first ? -1 : 1;
    }
    const std::int64_t fromA = fromA_;
    const std::int64_t fromB = fromB_;
    std::for_each(way.rbegin(), way.rend(), [&](const auto& step) {
      pairs_.emplace_back(static_cast<std::size_t>(fromA + step.first),
                          static_cast<std::size_t>(fromB + step.second));
    });
    fromA_ += endX;
    fromB_ += endY;
  }

  const std::vector<Mark>& a_;
  const std::vector<Mark>& b_;
  std::int64_t fromA_ = 0;
  std::int64_t fromB_ = 0;
  std::vector<std::pair<std::size_t, std::size_t>> pairs_;
};

}  // namespace

std::vector<std::pair<std::size_t, std::size_t>> alignMarks(const std::vector<Mark>& a,
                                                            const std::vector<Mark>& b) {
  return Aligner(a, b).run();
}

}  // namespace kr::zero::compare
