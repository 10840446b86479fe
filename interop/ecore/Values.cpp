#include "Values.h"

#include <charconv>
#include <cmath>
#include <limits>

#include "Errors.h"
#include "XmlText.h"

namespace kr::zero::ecore {

namespace {

using meta::StandardKind;

/// `std::from_chars` takes no plus sign; documents do.
std::string_view withoutPlus(std::string_view text) {
  if (text.size() > 1 && text[0] == '+' && text[1] != '-' && text[1] != '+') text.remove_prefix(1);
  return text;
}

bool equalsIgnoringCase(std::string_view text, std::string_view lower) {
  if (text.size() != lower.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i)
    if ((text[i] | 0x20) != lower[i]) return false;
  return true;
}

template <class Number>
std::optional<Number> parseNumber(std::string_view text) {
  text = withoutPlus(trimmed(text));
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
  return number;
}

/// The significant digits of a number and the power of ten of the first one.
struct Decimal {
  std::string digits;
  int exponent = 0;
};

template <class Real>
Decimal shortestDecimal(Real magnitude) {
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, magnitude, std::chars_format::scientific);
  const std::string_view text(buffer, static_cast<std::size_t>(result.ptr - buffer));
  const std::size_t e = text.find('e');
  Decimal decimal;
  for (const char c : text.substr(0, e))
    if (c != '.') decimal.digits.push_back(c);
  const std::string_view exponent = withoutPlus(text.substr(e + 1));
  std::from_chars(exponent.data(), exponent.data() + exponent.size(), decimal.exponent);
  return decimal;
}

std::string layOut(const Decimal& decimal) {
  std::string digits = decimal.digits;
  const int exponent = decimal.exponent;
  if (exponent < -3 || exponent > 6) {
    if (digits.size() == 1) digits.push_back('0');
    return digits.substr(0, 1) + "." + digits.substr(1) + "E" + std::to_string(exponent);
  }
  if (exponent < 0) return "0." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + digits;
  const auto whole = static_cast<std::size_t>(exponent) + 1;
  if (digits.size() <= whole) digits.append(whole + 1 - digits.size(), '0');
  return digits.substr(0, whole) + "." + digits.substr(whole);
}

std::string describeType(const Feature& feature) { return feature.property->getType()->qualifiedName(); }

template <class Value>
using Put = void (Element::*)(PropertyKey, Value);

template <class Value>
std::string put(Element element, const Feature& feature, Value value, Put<Value> set, Put<Value> add) {
  (element.*(feature.isMany() ? add : set))(feature.property, value);
  return {};
}

template <class Value>
std::string putParsed(Element element, const Feature& feature, std::string_view text,
                      const std::optional<Value>& value, Put<Value> set, Put<Value> add) {
  if (!value) return join(inQuotes(text), " is not a value of type ", describeType(feature));
  return put(element, feature, *value, set, add);
}

std::string putLiteral(Element element, const Feature& feature, std::string_view text) {
  const meta::Enum type(feature.property->getType());
  const meta::EnumLiteral* literal = type->findByText(text);
  if (literal == nullptr)
    return join("enumeration ", describeType(feature), " has no literal ", inQuotes(text));
  const meta::EnumLiteral* first = type->findByNumber(literal->number);
  if (first != literal)
    return join("literal ", inQuotes(text), " of enumeration ", describeType(feature), " shares the number ",
                std::to_string(literal->number), " with ", inQuotes(first->text),
                " and could not be told from it");
  return put<std::int64_t>(element, feature, literal->number, &Element::setInteger, &Element::addInteger);
}

/// Whether a feature of 32 bits can hold a number as it is.
bool isSingle(double value) {
  if (std::isnan(value) || std::isinf(value)) return true;
  return std::fabs(value) <= std::numeric_limits<float>::max() &&
         static_cast<double>(static_cast<float>(value)) == value;
}

std::string realText(ConstElement element, const Feature& feature, std::size_t position) {
  const double value = element.getReal(feature.property, position);
  if (feature.mapping->isSinglePrecision && !isSingle(value))
    failToExpress(
        join(element.getPath(), ".", feature.name()),
        join("the number ", formatReal(value, false), " does not fit into the 32 bits of an EFloat"));
  return formatReal(value, feature.mapping->isSinglePrecision);
}

std::string_view literalText(ConstElement element, const Feature& feature, std::size_t position) {
  const meta::Enum type(feature.property->getType());
  const std::int64_t number = element.getInteger(feature.property, position);
  const meta::EnumLiteral* literal = type->findByNumber(number);
  if (literal == nullptr || type->findByText(literal->text) != literal)
    failToExpress(join(element.getPath(), ".", feature.name()),
                  join("the number ", std::to_string(number), " of enumeration ", describeType(feature),
                       " has no text of its own"));
  return literal->text;
}

}  // namespace

std::optional<bool> parseBoolean(std::string_view text) {
  text = trimmed(text);
  if (text == "1" || equalsIgnoringCase(text, "true")) return true;
  if (text == "0" || equalsIgnoringCase(text, "false")) return false;
  return std::nullopt;
}

std::optional<std::int64_t> parseInteger(std::string_view text) { return parseNumber<std::int64_t>(text); }

std::optional<double> parseReal(std::string_view text, bool isSinglePrecision) {
  if (isSinglePrecision) {
    const auto number = parseNumber<float>(text);
    return number ? std::optional<double>(*number) : std::nullopt;
  }
  return parseNumber<double>(text);
}

std::string formatReal(double value, bool isSinglePrecision) {
  if (std::isnan(value)) return "NaN";
  const std::string sign = std::signbit(value) ? "-" : "";
  const double magnitude = std::fabs(value);
  if (std::isinf(magnitude)) return sign + "Infinity";
  if (magnitude == 0) return sign + "0.0";
  return sign + layOut(isSinglePrecision ? shortestDecimal(static_cast<float>(magnitude))
                                         : shortestDecimal(magnitude));
}

std::string putValue(Element element, const Feature& feature, std::string_view text) {
  if (feature.kind() == meta::PropertyKind::enumeration) return putLiteral(element, feature, text);
  const meta::StandardTypeInfo& type = meta::infoOf(feature.property->getStandardType());
  switch (type.kind) {
    case StandardKind::boolean:
      return putParsed(element, feature, text, parseBoolean(text), &Element::setBoolean,
                       &Element::addBoolean);
    case StandardKind::real:
      return putParsed(element, feature, text, parseReal(text, feature.mapping->isSinglePrecision),
                       &Element::setReal, &Element::addReal);
    case StandardKind::unsignedInteger:
    case StandardKind::signedInteger:
      if (type.type == meta::StandardType::uinteger64) break;
      return putParsed(element, feature, text, parseInteger(text), &Element::setInteger,
                       &Element::addInteger);
    case StandardKind::uuid:
      break;
    default:
      return put(element, feature, text, &Element::setText, &Element::addText);
  }
  return put(element, feature, text, &Element::setTextForm, &Element::addTextForm);
}

std::string_view valueText(ConstElement element, const Feature& feature, std::size_t position,
                           std::string& scratch) {
  const meta::Property property = feature.property;
  if (feature.kind() == meta::PropertyKind::enumeration) return literalText(element, feature, position);
  if (feature.isText()) return element.getText(property, position);
  if (property->getStandardType() == meta::StandardType::real)
    return scratch = realText(element, feature, position);
  return scratch = element.getTextForm(property, position);
}

}  // namespace kr::zero::ecore
