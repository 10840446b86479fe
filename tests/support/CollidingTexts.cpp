#include "support/CollidingTexts.h"

#include <cstdint>
#include <cstring>
#include <functional>
#include <string_view>

namespace kr::zero::test {

namespace {

// The hash takes a text in blocks of eight bytes: state = (state ^ mix(block)) * kFactor. All of it can be
// undone, so a second block can be computed for any first one that leads to the state wanted after both.
constexpr std::uint64_t kFactor = 0xC6A4A7935BD1E995;
constexpr std::uint64_t kSeed = 0xC70F6907;

constexpr std::uint64_t inverseOf(std::uint64_t odd) {
  std::uint64_t inverse = odd;
  for (int i = 0; i < 6; ++i) inverse *= 2 - odd * inverse;
  return inverse;
}

constexpr std::uint64_t kInverse = inverseOf(kFactor);

std::uint64_t fold(std::uint64_t x) { return x ^ (x >> 47); }  // its own inverse
std::uint64_t mix(std::uint64_t block) { return fold(block * kFactor) * kFactor; }
std::uint64_t unmix(std::uint64_t mixed) { return fold(mixed * kInverse) * kInverse; }

constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

std::string bytesOf(std::uint64_t block) {
  std::string bytes(sizeof block, '\0');
  std::memcpy(bytes.data(), &block, sizeof block);
  return bytes;
}

std::uint64_t blockOf(std::string_view bytes) {
  std::uint64_t block = 0;
  std::memcpy(&block, bytes.data(), sizeof block);
  return block;
}

/// Eight letters that differ from number to number.
std::uint64_t lettersOf(std::uint64_t number) {
  char letters[8];
  for (char& letter : letters) {
    letter = kLetters[number % kLetters.size()];
    number /= kLetters.size();
  }
  return blockOf({letters, sizeof letters});
}

bool isLetters(std::uint64_t block) {
  for (std::size_t i = 0; i < sizeof block; ++i, block >>= 8)
    if (kLetters.find(static_cast<char>(block)) == std::string_view::npos) return false;
  return true;
}

/// Texts of two blocks that lead from one state to another.
std::vector<std::string> textsBetween(std::uint64_t from, std::uint64_t to, std::size_t count) {
  std::vector<std::string> texts;
  for (std::uint64_t number = 0; texts.size() < count; ++number) {
    const std::uint64_t first = lettersOf(number);
    const std::uint64_t between = (from ^ mix(first)) * kFactor;
    const std::uint64_t second = unmix((to * kInverse) ^ between);
    if (isLetters(second)) texts.push_back(bytesOf(first) + bytesOf(second));
  }
  return texts;
}

}  // namespace

std::vector<std::string> makeCollidingTexts(std::size_t count, std::string_view prefix) {
  // Each text of one stage goes with each of the next: a few that are searched for make many.
  constexpr std::size_t kPerStage = 32;
  std::size_t stages = 1;
  for (std::size_t reached = kPerStage; reached < count; reached *= kPerStage) ++stages;
  std::vector<std::string> texts{""};
  std::uint64_t state = kSeed ^ ((prefix.size() + stages * 16) * kFactor);
  for (std::size_t at = 0; at < prefix.size(); at += 8)
    state = (state ^ mix(blockOf(prefix.substr(at, 8)))) * kFactor;
  for (std::size_t stage = 0; stage < stages; ++stage) {
    const std::uint64_t next = state + 1;
    std::vector<std::string> longer;
    for (const std::string& tail : textsBetween(state, next, kPerStage))
      for (const std::string& text : texts) longer.push_back(text + tail);
    texts = std::move(longer);
    state = next;
  }
  texts.resize(count);
  const std::hash<std::string> hash;
  const auto hashed = [prefix](const std::string& text) { return std::string(prefix) + text; };
  for (const std::string& text : texts)
    if (hash(hashed(text)) != hash(hashed(texts.front()))) return {};
  return texts;
}

}  // namespace kr::zero::test
