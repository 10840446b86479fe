#include "support/RandomModel.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#include <limits>
#include <optional>
#include <string>

namespace kr::zero::test {

namespace {

using meta::Class;
using meta::Enum;
using meta::PrimitiveType;
using meta::Property;
using meta::StandardType;
using meta::StructuredType;

void appendUtf8(std::string& text, std::uint32_t c) {
  const auto put = [&](std::uint32_t byte) { text += static_cast<char>(byte); };
  if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xC0 | c >> 6);
    put(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    put(0xE0 | c >> 12);
    put(0x80 | (c >> 6 & 0x3F));
    put(0x80 | (c & 0x3F));
  } else {
    put(0xF0 | c >> 18);
    put(0x80 | (c >> 12 & 0x3F));
    put(0x80 | (c >> 6 & 0x3F));
    put(0x80 | (c & 0x3F));
  }
}

// Any character that Unicode can have, U+0000 too; plain letters most of the time.
std::uint32_t anyCharacter(Random& random) {
  static constexpr std::array<std::uint32_t, 10> borders = {0,      0x7F,   0x80,   0x7FF,   0x800,
                                                            0xD7FF, 0xE000, 0xFEFF, 0x10000, 0x10FFFF};
  if (random.percent(80)) return static_cast<std::uint32_t>('a' + random.below(26));
  if (random.percent(50)) return borders[random.below(borders.size())];
  const auto c = static_cast<std::uint32_t>(random.below(0x110000 - 0x800));
  return c < 0xD800 ? c : c + 0x800;  // surrogates are no characters
}

std::string anyText(Random& random) {
  std::string text;
  for (std::size_t n = random.percent(5) ? random.below(300) : random.below(12); n > 0; --n)
    appendUtf8(text, anyCharacter(random));
  return text;
}

std::string anyTextNotEmpty(Random& random) { return anyText(random) + "x"; }

template <class T>
T anyNumber(Random& random) {
  static constexpr std::array<T, 5> borders = {std::numeric_limits<T>::min(), std::numeric_limits<T>::max(),
                                               T{0}, T{1}, static_cast<T>(-1)};
  return random.percent(50) ? borders[random.below(borders.size())] : static_cast<T>(random.next());
}

double anyReal(Random& random) {
  using Limits = std::numeric_limits<double>;
  static constexpr std::array<double, 9> borders = {0.0,
                                                    -0.0,
                                                    0.1,
                                                    Limits::infinity(),
                                                    -Limits::infinity(),
                                                    Limits::max(),
                                                    Limits::min(),
                                                    Limits::denorm_min(),
                                                    Limits::quiet_NaN()};
  if (random.percent(50)) return borders[random.below(borders.size())];
  const double number = std::bit_cast<double>(random.next());
  return number != number ? 1.0 : number;  // one NaN is enough
}

std::string anyUuid(Random& random) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string text = "00000000-0000-0000-0000-000000000000";
  for (char& c : text)
    if (c != '-') c = digits[random.below(16)];
  return text;
}

std::string anyDateTime(Random& random) {
  char text[64];
  const auto part = [&](std::size_t low, std::size_t high) {
    return static_cast<int>(random.between(low, high));
  };
  std::snprintf(text, sizeof text, "%04d-%02d-%02d", part(0, 9999), part(1, 12), part(1, 28));
  std::string result = text;
  if (random.percent(30)) return result;
  std::snprintf(text, sizeof text, "T%02d:%02d", part(0, 23), part(0, 59));
  result += text;
  if (random.percent(70)) {
    std::snprintf(text, sizeof text, ":%02d", part(0, 59));
    result += text;
    if (random.percent(50)) result += "." + std::string("123456789").substr(0, random.between(1, 9));
  }
  static constexpr std::array<const char*, 5> offsets = {"", "Z", "+01:00", "-1130", "+02"};
  return result + offsets[random.below(offsets.size())];
}

class ModelMaker {
 public:
  ModelMaker(const meta::MetaRegistry& registry, Random& random) : random_(random), model_(registry) {
    for (const meta::PackageInfo& package : registry.getPackages())
      for (const meta::Type type : package.types)
        if (const Class cls(type); cls && !cls->isAbstract()) classes_.push_back(cls);
  }

  Model make() {
    for (std::size_t n = random_.below(40); n > 0; --n) addElement();
    for (Element element : elements_) fill(element);
    for (Element element : elements_) refer(element);
    return std::move(model_);
  }

 private:
  void addElement() {
    Element made;
    if (!elements_.empty() && random_.percent(75)) made = addChild(random_.pick(elements_));
    if (!made) made = model_.createRoot(random_.pick(classes_));
    if (random_.percent(30))
      made.setIdentity(random_.percent(70) ? "id" : anyTextNotEmpty(random_),
                       std::to_string(elements_.size()) + "." + anyText(random_));
    elements_.push_back(made);
  }

  // An element in some composition of `parent` that has room, or nothing.
  Element addChild(Element parent) {
    std::vector<Property> free;
    for (const Property p : parent.getType()->getAllProperties())
      if (p->isStored() && !p->isTransient() && p->isComposite() && (p->isMany() || !parent.isSet(p)))
        free.push_back(p);
    if (free.empty()) return {};
    const Property property = random_.pick(free);
    const std::optional<Class> cls = someClassFor(property);
    return cls ? parent.create(property, *cls) : Element();
  }

  std::optional<Class> someClassFor(Property property) {
    std::vector<Class> fitting;
    for (const Class cls : classes_)
      if (cls->conformsTo(Class(property->getType()))) fitting.push_back(cls);
    if (fitting.empty()) return std::nullopt;
    return random_.pick(fitting);
  }

  // Primitives, enumerations and datatypes. Datatypes nest only as deep as the meta model does.
  void fill(Element element) {
    for (const Property p : element.getType()->getAllProperties()) {
      if (!p->isStored() || p->isTransient() || Class(p->getType())) continue;
      if (random_.percent(35)) continue;  // unset
      const bool isDatatype = static_cast<bool>(StructuredType(p->getType()));
      if (isDatatype)
        fillDatatypes(element, p);
      else if (random_.percent(15) && (p->isMany() || p->isOptional()))
        element.setEmpty(p);
      else
        fillPrimitives(element, p);
    }
  }

  void fillDatatypes(Element element, Property property) {
    for (std::size_t n = property->isMany() ? random_.between(1, 3) : 1; n > 0; --n)
      fill(element.create(property));
  }

  void fillPrimitives(Element element, Property property) {
    if (!property->isMany()) return putPrimitive(element, property);
    for (std::size_t n = random_.between(1, random_.percent(3) ? 200 : 4); n > 0; --n)
      putPrimitive(element, property);
  }

  void putPrimitive(Element element, Property property) {
    if (const Enum type(property->getType()); type)
      return put(element, property, random_.pick(type->getLiterals()).name);
    switch (PrimitiveType(property->getType())->getStandardType()) {
      case StandardType::boolean:
        return put(element, property, random_.percent(50) ? "true" : "false");
      case StandardType::integer8:
        return put(element, property, std::to_string(anyNumber<std::int8_t>(random_)));
      case StandardType::uinteger8:
        return put(element, property, std::to_string(anyNumber<std::uint8_t>(random_)));
      case StandardType::integer16:
        return put(element, property, std::to_string(anyNumber<std::int16_t>(random_)));
      case StandardType::uinteger16:
        return put(element, property, std::to_string(anyNumber<std::uint16_t>(random_)));
      case StandardType::integer:
        return put(element, property, std::to_string(anyNumber<std::int32_t>(random_)));
      case StandardType::unlimitedNatural:
        return put(element, property, std::to_string(anyNumber<std::uint32_t>(random_)));
      case StandardType::integer64:
        return put(element, property, std::to_string(anyNumber<std::int64_t>(random_)));
      case StandardType::uinteger64:
        return put(element, property, std::to_string(anyNumber<std::uint64_t>(random_)));
      case StandardType::real:
        if (property->isMany()) return element.addReal(property, anyReal(random_));
        return element.setReal(property, anyReal(random_));
      case StandardType::uuid:
        return put(element, property, anyUuid(random_));
      case StandardType::dateTime:
        return put(element, property, anyDateTime(random_));
      default:
        return put(element, property, anyText(random_));
    }
  }

  static void put(Element element, Property property, const std::string& text) {
    if (property->isMany())
      element.addTextForm(property, text);
    else
      element.setTextForm(property, text);
  }

  void refer(Element element) {
    for (const Property p : element.getType()->getAllProperties()) {
      if (!p->isStored() || p->isTransient() || p->isComposite() || !Class(p->getType())) continue;
      if (random_.percent(40)) continue;
      if (!p->isMany()) {
        putReference(element, p);
      } else if (random_.percent(15)) {
        element.setEmpty(p);
      } else {
        for (std::size_t n = random_.between(1, 4); n > 0; --n) putReference(element, p);
      }
    }
  }

  void putReference(Element element, Property property) {
    const std::optional<Element> target = someTargetFor(property);
    if (!target || random_.percent(15)) return element.putUnresolved(property, someUnresolved(property));
    if (random_.percent(50)) return element.putReference(property, *target);
    if (property->isMany())
      element.addReference(property, *target);
    else
      element.setReference(property, *target);
  }

  std::optional<Element> someTargetFor(Property property) {
    std::vector<Element> fitting;
    for (const Element e : elements_)
      if (e.getClass()->conformsTo(Class(property->getType()))) fitting.push_back(e);
    if (fitting.empty()) return std::nullopt;
    return random_.pick(fitting);
  }

  // What another document holds may even have an identity that an element here has; what is missing
  // here may not.
  UnresolvedReference someUnresolved(Property property) {
    UnresolvedReference reference{property->getType()->qualifiedName(), "missing", anyTextNotEmpty(random_),
                                  std::nullopt};
    if (random_.percent(50)) return reference;
    reference.qualifier = anyText(random_);
    const Element any = random_.pick(elements_);
    if (const auto identity = any.getIdentity(); identity && random_.percent(50)) {
      reference.id1 = identity->first;
      reference.id2 = identity->second;
    }
    if (random_.percent(30)) reference.targetType = "elsewhere.Thing";
    return reference;
  }

  Random& random_;
  Model model_;
  std::vector<Class> classes_;
  std::vector<Element> elements_;
};

}  // namespace

Model makeRandomModel(const meta::MetaRegistry& registry, Random& random) {
  return ModelMaker(registry, random).make();
}

}  // namespace kr::zero::test
