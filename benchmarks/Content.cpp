#include "Content.h"

#include <algorithm>
#include <string_view>

namespace kr::zero::bench {

namespace {

// The standard library's generators are the same everywhere, its distributions are not; so this one is
// our own (SplitMix64's step).
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t next() {
    state_ += 0x9e3779b97f4a7c15u;
    std::uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9u;
    mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111ebu;
    return mixed ^ (mixed >> 31);
  }

  std::uint32_t below(std::uint32_t bound) { return static_cast<std::uint32_t>(next() % bound); }
  bool chance(std::uint32_t percent) { return below(100) < percent; }

 private:
  std::uint64_t state_;
};

constexpr std::string_view words[] = {"river", "night",  "garden", "letters", "stone",  "winter",
                                      "glass", "harbor", "north",  "quiet",   "silver", "orchard",
                                      "salt",  "café",   "Müller", "tide"};

std::string_view anyWord(Random& random) { return words[random.below(std::size(words))]; }

std::string makeTitle(Random& random) {
  std::string title = "The";
  for (std::uint32_t left = 2 + random.below(3); left > 0; --left) title.append(" ").append(anyWord(random));
  return title;
}

std::string digits(Random& random, std::size_t count) {
  std::string text;
  while (text.size() < count) text += static_cast<char>('0' + random.below(10));
  return text;
}

std::string twoDigits(std::uint32_t number) {
  return {static_cast<char>('0' + number / 10), static_cast<char>('0' + number % 10)};
}

std::string makeDateTime(Random& random) {
  return "20" + twoDigits(random.below(25)) + "-" + twoDigits(1 + random.below(12)) + "-" +
         twoDigits(1 + random.below(28)) + "T" + twoDigits(random.below(24)) + ":" +
         twoDigits(random.below(60)) + ":" + twoDigits(random.below(60)) + "Z";
}

void fillTexts(Item& item, Random& random) {
  item.title = makeTitle(random);
  if (random.chance(90)) item.isbn = "978" + digits(random, 10);
  if (random.chance(80)) item.shelf = std::string(anyWord(random)) + "/" + digits(random, 2);
  if (random.chance(70)) item.acquired = makeDateTime(random);
  for (std::uint32_t left = random.below(4); left > 0; --left) item.keywords.emplace_back(anyWord(random));
}

void fillNumbers(Item& item, Random& random) {
  item.pages = static_cast<std::int32_t>(random.below(1200));
  if (random.chance(80)) item.sold = static_cast<std::int64_t>(random.next() >> (20 + random.below(40)));
  if (random.chance(80)) item.price = random.below(10000) / 100.0;
  item.available = random.chance(50);
  if (random.chance(80)) item.genre = random.below(kGenreCount);
  for (std::uint32_t left = random.below(5); left > 0; --left)
    item.ratings.push_back(static_cast<std::int32_t>(random.below(100)) - 20);
}

// Half of the references stay near, the others go anywhere. In real models between 11 and 100 of 100
// stay within a thousand elements.
std::uint32_t anyTarget(Random& random, std::uint32_t position, std::uint32_t size) {
  constexpr std::uint32_t kReach = 100;
  const std::uint32_t low = position < kReach ? 0 : position - kReach;
  const std::uint32_t high = std::min(position + kReach + 1, size);
  return random.chance(50) ? low + random.below(high - low) : random.below(size);
}

void fillReferences(Item& item, Random& random, std::uint32_t position, std::uint32_t size) {
  if (random.chance(30)) item.original = anyTarget(random, position, size);
  for (std::uint32_t left = random.below(4); left > 0; --left) {
    const std::uint32_t target = anyTarget(random, position, size);
    if (std::find(item.related.begin(), item.related.end(), target) == item.related.end())
      item.related.push_back(target);
  }
}

}  // namespace

Content makeContent(std::size_t size, std::uint64_t seed) {
  constexpr std::uint32_t kDeepest = 4;
  Random random(seed);
  Content content(size);
  std::uint32_t depth = 0;
  for (std::uint32_t position = 0; position < size; ++position) {
    Item& item = content[position];
    item.depth = depth;
    fillTexts(item, random);
    fillNumbers(item, random);
    fillReferences(item, random, position, static_cast<std::uint32_t>(size));
    depth = random.below(std::min(depth + 1, kDeepest) + 1);
  }
  return content;
}

}  // namespace kr::zero::bench
