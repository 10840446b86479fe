#include "support/RandomDamage.h"

#include <algorithm>

namespace kr::zero::test {

void turnBit(Bytes& bytes, std::size_t bit) {
  bytes[bit / 8] = static_cast<std::uint8_t>(bytes[bit / 8] ^ (1u << bit % 8));
}

Bytes RandomDamage::next() {
  Bytes bytes = random_.pick(documents_);
  for (std::size_t n = random_.between(1, 3); n > 0; --n) damage(bytes);
  return bytes;
}

void RandomDamage::damage(Bytes& bytes) {
  if (bytes.empty()) return;
  switch (random_.below(8)) {
    case 0:
      *somewhere(bytes) = static_cast<std::uint8_t>(random_.below(256));
      break;
    case 1:
      turnBit(bytes, random_.below(bytes.size() * 8));
      break;
    case 2:
      insertRun(bytes, Bytes(random_.between(1, 4), static_cast<std::uint8_t>(random_.below(256))));
      break;
    case 3:
      bytes.resize(random_.below(bytes.size()));
      break;
    case 4:
      duplicateRun(bytes);
      break;
    case 5:
      eraseRun(bytes);
      break;
    case 6:
      splice(bytes);
      break;
    default:
      insertRun(bytes, someNumber());
  }
}

RandomDamage::Position RandomDamage::somewhere(Bytes& bytes) {
  return bytes.begin() + static_cast<std::ptrdiff_t>(random_.below(bytes.size()));
}

void RandomDamage::insertRun(Bytes& bytes, const Bytes& run) {
  bytes.insert(somewhere(bytes), run.begin(), run.end());
}

// Up to 4 bytes, cut at the end of the document.
std::pair<RandomDamage::Position, RandomDamage::Position> RandomDamage::someRun(Bytes& bytes) {
  const Position begin = somewhere(bytes);
  const auto left = bytes.end() - begin;
  return {begin, begin + std::min<std::ptrdiff_t>(left, static_cast<std::ptrdiff_t>(random_.between(1, 4)))};
}

void RandomDamage::duplicateRun(Bytes& bytes) {
  const auto [begin, end] = someRun(bytes);
  const Bytes run(begin, end);
  bytes.insert(begin, run.begin(), run.end());
}

void RandomDamage::eraseRun(Bytes& bytes) {
  const auto [begin, end] = someRun(bytes);
  bytes.erase(begin, end);
}

// The rest of another document in place of this one's.
void RandomDamage::splice(Bytes& bytes) {
  const Bytes& other = random_.pick(documents_);
  bytes.erase(somewhere(bytes), bytes.end());
  bytes.insert(bytes.end(), other.begin() + static_cast<std::ptrdiff_t>(random_.below(other.size())),
               other.end());
}

// A base-128 number of the sort that lengths and counts should not be.
Bytes RandomDamage::someNumber() {
  const std::uint64_t around = std::uint64_t{1} << random_.below(64);
  return DirectBytes().number(around + random_.below(5) - 2);
}

}  // namespace kr::zero::test
