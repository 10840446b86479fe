#include "common/Items.h"

#include <optional>
#include <stdexcept>

#include "support/GoldenDocuments.h"

namespace kr::zero::fuzz {

namespace {

constexpr unsigned kReal = 0x14;
constexpr unsigned kShortString = 0x30;
constexpr unsigned kLongString = 0x31;

bool begins(unsigned tag) { return tag == 3 || tag == 5 || tag == 7 || tag == 9; }
bool ends(unsigned tag) { return tag == 4 || tag == 6 || tag == 8 || tag == 0x10; }
bool isInteger(unsigned tag) { return tag >= 0x20 && tag <= 0x2F; }

Kind kindOf(unsigned tag) {
  if (isInteger(tag)) return Kind::number;
  if (tag == kShortString || tag == kLongString) return Kind::text;
  return tag == kReal ? Kind::fixed : Kind::byte;
}

// How many bytes a tag at `at` has behind it; nothing where they are not all there.
std::optional<std::size_t> sizeBehind(const Bytes& bytes, std::size_t at) {
  const unsigned tag = bytes[at];
  const std::size_t left = bytes.size() - at - 1;
  std::size_t size = isInteger(tag) ? tag % 8 + 1 : 0;
  if (tag == kReal) size = 8;
  if (tag == kShortString) size = left < 1 ? 1 : std::size_t{1} + bytes[at + 1];
  // The lowest two bytes tell the length of any string that fits into an input.
  if (tag == kLongString) size = left < 8 ? 8 : 8 + bytes[at + 1] + bytes[at + 2] * std::size_t{256};
  if (size > left) return std::nullopt;
  return size;
}

}  // namespace

std::vector<Item> itemsOfDirect(const Bytes& bytes) {
  std::vector<Item> items;
  try {
    test::walkDirect(bytes, test::goldenRegistry(), [&](Kind kind, std::size_t begin, std::size_t end) {
      items.push_back({kind, begin, end});
    });
  } catch (const std::logic_error&) {
    // What is behind makes no sense.
  }
  return items;
}

std::vector<Item> itemsOfTagged(const Bytes& bytes) {
  std::vector<Item> items;
  std::vector<std::size_t> open;
  for (std::size_t at = 1; at < bytes.size();) {
    const auto size = sizeBehind(bytes, at);
    if (!size) break;
    const std::size_t end = at + 1 + *size;
    items.push_back({kindOf(bytes[at]), at, end});
    if (begins(bytes[at])) open.push_back(at);
    if (ends(bytes[at]) && !open.empty()) {
      items.push_back({Kind::whole, open.back(), end});
      open.pop_back();
    }
    at = end;
  }
  return items;
}

}  // namespace kr::zero::fuzz
