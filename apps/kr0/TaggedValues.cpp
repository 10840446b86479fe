#include "TaggedValues.h"

#include <array>
#include <charconv>
#include <cmath>

namespace kr::zero::tool {

namespace {

struct TextForm {
  std::string operator()(bool truth) const { return truth ? "true" : "false"; }
  std::string operator()(std::nullptr_t) const { return "null"; }
  std::string operator()(std::uint64_t number) const { return std::to_string(number); }
  std::string operator()(std::int64_t number) const { return std::to_string(number); }
  std::string operator()(const std::string& text) const { return text; }
  std::string operator()(double number) const {
    if (std::isnan(number)) return "NaN";
    if (std::isinf(number)) return number > 0 ? "INF" : "-INF";
    std::array<char, 32> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    const std::string text(digits.data(), end);
    return text.find_first_of(".e") == text.npos ? text + ".0" : text;
  }
};

}  // namespace

std::string textFormOf(const modeling::sylvan::SylvanPrimitive& value) {
  return std::visit(TextForm(), value);
}

}  // namespace kr::zero::tool
