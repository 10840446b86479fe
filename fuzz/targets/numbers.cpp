// Numbers: those of the direct format against a reader that goes bit by bit, and the texts of numbers against
// a reader that goes digit by digit.
#include "direct/Numbers.h"

#include <array>
#include <bitset>
#include <optional>
#include <string>

#include "common/Refusals.h"
#include "kr/zero/Model.h"
#include "kr/zero/meta/MetaModelBuilder.h"

namespace kr::zero::fuzz {

namespace {

struct Decoded {
  std::uint64_t number;
  std::size_t size;
  friend bool operator==(const Decoded&, const Decoded&) = default;
};

// The i-th bit of group g stands for bit (7 g) mod 64 + i, where there is one.
std::optional<Decoded> decodeSlowly(Input bytes) {
  std::bitset<64> bits;
  for (std::size_t g = 0; g < bytes.size(); ++g) {
    for (std::size_t i = 0; i < 7; ++i) {
      const std::size_t at = 7 * g % 64 + i;
      if ((bytes[g] >> i & 1) != 0 && at < 64) bits.set(at);
    }
    if (bytes[g] < 128) return Decoded{bits.to_ullong(), g + 1};
  }
  return std::nullopt;
}

std::optional<Decoded> decode(Input bytes) {
  std::uint64_t number = 0;
  const auto* const end = io::direct::decodeNumber(bytes.data(), bytes.data() + bytes.size(), number);
  if (end == nullptr) return std::nullopt;
  return Decoded{number, static_cast<std::size_t>(end - bytes.data())};
}

void examineBytes(Input bytes) {
  const auto decoded = decode(bytes);
  require(decoded == decodeSlowly(bytes), "a number is what its bits say");
  if (!decoded) return;
  std::array<std::uint8_t, io::direct::kMostNumberBytes> shortest;
  const auto* const end = io::direct::encodeNumber(decoded->number, shortest.data());
  const auto size = static_cast<std::size_t>(end - shortest.data());
  require(decode(Input(shortest).first(size)) == Decoded{decoded->number, size},
          "a written number is read back");
}

/// A class with an attribute of every standard type, named after it.
const meta::MetaRegistry& registry() {
  static const meta::MetaRegistry& made = []() -> const meta::MetaRegistry& {
    auto& fresh = *new meta::MetaRegistry;
    meta::MetaModelBuilder package("urn:n", "n");
    auto& type = package.classType("N");
    for (const char* name : {"Boolean", "Integer8", "UInteger8", "Integer16", "UInteger16", "Integer",
                             "UnlimitedNatural", "Integer64", "UInteger64", "Real", "UUID", "DateTime"})
      type.property(name, name);
    package.registerIn(fresh);
    return fresh;
  }();
  return made;
}

// A decimal number with or without a sign; nothing for anything else, and for what no type holds.
std::optional<__int128> integerOf(std::string_view text) {
  const bool isNegative = !text.empty() && text[0] == '-';
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) text.remove_prefix(1);
  if (text.empty() || text.find_first_not_of("0123456789") != text.npos) return std::nullopt;
  text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
  if (text.size() > 20) return std::nullopt;
  __int128 number = 0;
  for (const char digit : text) number = number * 10 + (digit - '0');
  return isNegative ? -number : number;
}

// What a type takes is a number in its range, and what it says of it means the same.
void examineText(const std::string& text) {
  Model model(registry());
  Element element = model.createRoot("n.N");
  for (const meta::Property property : element.getType()->getAllProperties()) {
    if (!succeeds([&] { element.setTextForm(property, text); })) {
      require(!element.isSet(property), "a text that is refused sets nothing", property->name().c_str());
      continue;
    }
    const std::string said = element.getTextForm(property);
    element.setTextForm(property, said);
    require(element.getTextForm(property) == said, "a text form is read as what it is of", said.c_str());
    if (property->name().find("Integer") == std::string::npos && property->name() != "UnlimitedNatural")
      continue;
    const auto expected = integerOf(text);
    require(expected.has_value() && integerOf(said) == expected, "an integer is what its digits say",
            said.c_str());
  }
}

}  // namespace

void examine(Input input) {
  examineBytes(input);
  examineText({input.begin(), input.end()});
}

}  // namespace kr::zero::fuzz
