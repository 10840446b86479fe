#include "PropertyText.h"

#include <cstdint>

#include "SourceText.h"

namespace kr::zero::cpp {

namespace {

using meta::PropertyKind;
using meta::StandardType;

constexpr std::string_view kTyped = "::kr::zero::typed::";
constexpr std::string_view kMutable = " const\n      requires ::kr::zero::typed::isMutable<Handle>\n  {";
constexpr std::size_t kIndent = 2;

std::string_view numberOf(StandardType type) {
  switch (type) {
    case StandardType::boolean:
      return "bool";
    case StandardType::integer8:
      return "::std::int8_t";
    case StandardType::uinteger8:
      return "::std::uint8_t";
    case StandardType::integer16:
      return "::std::int16_t";
    case StandardType::uinteger16:
      return "::std::uint16_t";
    case StandardType::integer:
      return "::std::int32_t";
    case StandardType::unlimitedNatural:
      return "::std::uint32_t";
    case StandardType::integer64:
      return "::std::int64_t";
    case StandardType::uinteger64:
      return "::std::uint64_t";
    default:
      return "double";
  }
}

/// The members of one property.
class Members {
 public:
  Members(std::string& out, const NameTable& names, meta::Property property, std::size_t position)
      : out_(out),
        names_(names),
        property_(property),
        name_(names.nameOf(property)),
        place_(join("{kFirst + ", std::to_string(position), ", ", std::to_string(property->getIdentifier()),
                    "}")) {}

  void append(std::string_view documentation) {
    appendComment(out_, kIndent, describe());
    appendComment(out_, kIndent, documentation);
    property_->isMany() ? appendMany() : appendSingle();
    out_ += join("  bool has", name_, "() const { return ", kTyped, "isSet(self(), ", place_, "); }\n");
    changing("void unset", "()", join(kTyped, "unset(self(), ", place_, ");"));
  }

 private:
  /// "title: String, 1..1"
  std::string describe() const {
    const std::string upper = property_->getUpper() < 0 ? "*" : std::to_string(property_->getUpper());
    std::string text = join(property_->name(), ": ", property_->getType()->qualifiedName(), ", ",
                            std::to_string(property_->getLower()), "..", upper);
    if (const auto& value = property_->getDefaultText(); value && value->size() < 100)
      text += join(", ", *value, " where it is unset");
    return text + ".";
  }

  bool isPrimitive() const { return meta::isPrimitive(property_->getKind()); }
  std::string target() const { return classTypeOf(names_, property_->getType()); }
  bool isUntyped() const { return target() == "Handle"; }
  std::string_view demand() const {
    return property_->getKind() == PropertyKind::datatype ? ", ::kr::zero::typed::kDatatype" : "";
  }

  /// What stands for the values of a primitive in kr::zero::typed.
  std::string form() const {
    switch (property_->getKind()) {
      case PropertyKind::number:
        return std::string(numberOf(property_->getStandardType()));
      case PropertyKind::enumeration:
        return names_.spaceOf(property_->getType()) + names_.nameOf(property_->getType());
      case PropertyKind::uuid:
        return "::kr::zero::Uuid";
      case PropertyKind::dateTime:
        return "::kr::zero::typed::DateTimeText";
      default:
        return "::kr::zero::typed::Text";
    }
  }
  bool isText() const {
    return property_->getKind() == PropertyKind::text || property_->getKind() == PropertyKind::dateTime;
  }
  std::string argument() const { return isText() ? "::std::string_view" : form(); }

  void getter(const std::string& type, const std::string& value) {
    out_ += join("  ", type, " get", name_, "() const { return ", value, "; }\n");
  }
  /// A member that only handles have through which elements can be changed.
  void changing(std::string_view before, std::string_view parameters, const std::string& body) {
    out_ += join("  ", before, name_, parameters, kMutable, " ", body, " }\n");
  }

  void appendSingle() {
    if (isPrimitive()) return appendValue();
    if (property_->getKind() == PropertyKind::association) return appendReference();
    appendChild();
  }
  void appendValue() {
    getter(argument(), join(kTyped, "get<", form(), ">(self(), ", place_, ")"));
    changing("void set", join("(", argument(), " value)"),
             join(kTyped, "set<", form(), ">(self(), ", place_, ", value);"));
  }
  void appendReference() {
    getter(target(), join(kTyped, "getReference<", target(), ">(self(), ", place_, ")"));
    changing("void set", join("(const ", target(), "& value)"),
             join(kTyped, "setReference(self(), ", place_, ", value);"));
  }
  void appendChild() {
    getter(target(), join(kTyped, "getChild<", target(), ">(self(), ", place_, demand(), ")"));
    const std::string usual = isUntyped() ? "" : join(" = ", target());
    out_ += join("  template <::kr::zero::typed::Class Made", usual, ">\n");
    changing("Made create", "()",
             join("return ", kTyped, "createChild<Made, ", target(), ">(self(), ", place_, demand(), ");"));
    if (property_->getKind() == PropertyKind::composition)
      changing("void adopt", join("(const ", target(), "& value)"),
               join(kTyped, "adopt(self(), ", place_, ", value);"));
  }

  void appendMany() {
    if (isPrimitive()) return range("Values", form(), "");
    if (property_->getKind() == PropertyKind::association) return range("References", target(), "");
    range("Children", target(), demand());
  }
  void range(std::string_view kind, const std::string& of, std::string_view more) {
    getter(join(kTyped, kind, "<", of, ", Handle>"), join("{self(), ", place_, more, "}"));
  }

  std::string& out_;
  const NameTable& names_;
  meta::Property property_;
  const std::string& name_;
  std::string place_;
};

}  // namespace

std::string classTypeOf(const NameTable& names, meta::Type type) {
  if (const meta::Class cls(type); cls && cls->isUniversal()) return "Handle";
  return join(names.spaceOf(type), names.basicNameOf(type), "<Handle>");
}

void appendProperty(std::string& out, const NameTable& names, meta::Property property, std::size_t position,
                    std::string_view documentation) {
  Members(out, names, property, position).append(documentation);
}

}  // namespace kr::zero::cpp
