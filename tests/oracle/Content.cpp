#include <bit>
#include <map>
#include <string_view>

#include "kr/zero/io/BinaryAssembler.h"
#include "modeling/sylvan/SylvanEventProcessor.h"
#include "oracle/Batch.h"

namespace kr::zero::test {

namespace {

constexpr char kDigits[] = "0123456789abcdef";

// In quotes, with everything but the plain characters of ASCII as \xx.
std::string inQuotes(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > ' ' && byte < 0x7F && c != '"' && c != '\\') {
      out += c;
      continue;
    }
    out += '\\';
    out += kDigits[byte >> 4];
    out += kDigits[byte & 15];
  }
  return out + '"';
}

std::string bitsOf(double value) {
  std::string out;
  const auto bits = std::bit_cast<std::uint64_t>(value);
  for (int shift = 60; shift >= 0; shift -= 4) out += kDigits[(bits >> shift) & 15];
  return out;
}

class Printer {
 public:
  explicit Printer(const Model& model) {
    for (const ConstElement root : model.roots()) number(root);
    for (const ConstElement root : model.roots()) print(root);
  }
  std::string take() { return std::move(out_); }

 private:
  using Sorted = std::map<std::string, meta::Property>;

  // Properties that are set, by name: but for elements, of which none and nothing said are the same.
  const Sorted& sorted(ConstElement element) {
    Sorted& all = sorted_[element.getType()->getIndex()];
    if (all.empty())
      for (const meta::Property p : element.getType()->getAllProperties())
        if (p->getKind() != meta::PropertyKind::none) all.emplace(p->name(), p);
    return all;
  }
  static bool isNested(meta::Property p) {
    return p->getKind() == meta::PropertyKind::composition || p->getKind() == meta::PropertyKind::datatype;
  }

  // Documents here are shallow: recursion is the plainest way.
  void number(ConstElement element) {
    if (element.getClass()) numbers_.emplace(element.getIndex(), numbers_.size() + 1);
    for (const auto& [name, p] : sorted(element))
      if (isNested(p))
        for (std::size_t i = 0; i < element.size(p); ++i) number(element.getElement(p, i));
  }

  void print(ConstElement element) {
    out_ += '(' + inQuotes(element.getType()->packageUri()) + inQuotes(element.getType()->qualifiedName());
    if (element.getClass())
      if (const auto identity = element.getIdentity(); identity && identity->first != "#")
        out_ += '#' + inQuotes(identity->first) + inQuotes(identity->second);
    for (const auto& [name, p] : sorted(element)) {
      if (!element.isSet(p) || (isNested(p) && element.size(p) == 0)) continue;
      out_ += ';' + inQuotes(name) + '=';
      for (std::size_t i = 0; i < element.size(p); ++i) value(element, p, i);
    }
    out_ += ')';
  }

  void value(ConstElement element, meta::Property p, std::size_t i) {
    if (isNested(p)) return print(element.getElement(p, i));
    if (p->getKind() == meta::PropertyKind::association) return reference(element, p, i);
    if (p->getKind() == meta::PropertyKind::enumeration)
      out_ += '!' + std::to_string(element.getInteger(p, i));
    else if (p->getKind() == meta::PropertyKind::number)
      number(element, p, i);
    else
      out_ += inQuotes(element.getTextForm(p, i));
  }

  void number(ConstElement element, meta::Property p, std::size_t i) {
    switch (meta::infoOf(p->getStandardType()).kind) {
      case meta::StandardKind::boolean:
        out_ += element.getBoolean(p, i) ? "+true" : "+false";
        break;
      case meta::StandardKind::real:
        out_ += "+r" + bitsOf(element.getReal(p, i));
        break;
      case meta::StandardKind::unsignedInteger:
        out_ += '+' + std::to_string(element.getUnsigned(p, i));
        break;
      default:
        out_ += '+' + std::to_string(element.getInteger(p, i));
    }
  }

  void reference(ConstElement element, meta::Property p, std::size_t i) {
    if (const ConstElement target = element.getReference(p, i)) {
      out_ += '@' + std::to_string(numbers_.at(target.getIndex()));
      return;
    }
    const UnresolvedReference texts = *element.getUnresolved(p, i);
    out_ += '?' + inQuotes(texts.targetType) + inQuotes(texts.id1) + inQuotes(texts.id2);
    if (texts.qualifier) out_ += inQuotes(*texts.qualifier);
  }

  std::map<std::uint32_t, Sorted> sorted_;        // by type
  std::map<std::uint32_t, std::size_t> numbers_;  // by element
  std::string out_;
};

class EventWriter : public modeling::sylvan::SylvanEventProcessor<void> {
 public:
  using Primitive = modeling::sylvan::SylvanPrimitive;

  void startDocument(const Primitive& value) override { add('<', value); }
  void endDocument() override { out_ += '>'; }
  void startStruct() override { out_ += '{'; }
  void endStruct() override { out_ += '}'; }
  void startNamedEntry(const Primitive& name) override { add('=', name); }
  void endNamedEntry() override { out_ += '.'; }
  void startSequence() override { out_ += '['; }
  void endSequence() override { out_ += ']'; }
  void startMetadata() override { out_ += '('; }
  void endMetadata() override { out_ += ')'; }
  void writePrimitive(const Primitive& value) override { add('+', value); }

  std::string take() { return std::move(out_); }

 private:
  void add(char event, const Primitive& value) {
    struct {
      std::string operator()(bool is) const { return is ? "true" : "false"; }
      std::string operator()(std::nullptr_t) const { return "null"; }
      std::string operator()(double real) const { return "r" + bitsOf(real); }
      std::string operator()(std::uint64_t number) const { return "u" + std::to_string(number); }
      std::string operator()(std::int64_t number) const { return "s" + std::to_string(number); }
      std::string operator()(const std::string& bytes) const { return inQuotes(bytes); }
    } text;
    out_ += event + std::visit(text, static_cast<const Primitive::Alternatives&>(value));
  }

  std::string out_;
};

// A JSON text; what is read as a name there is always well-formed.
std::string json(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + '"';
}

template <class Items, class Print>
std::string jsonList(const Items& items, Print print) {
  std::string out = "[";
  for (const auto& item : items) out += (out.size() > 1 ? "," : "") + print(item);
  return out + "]";
}

using Definitions = std::map<std::string, const meta::TypeDefinition*>;  // by qualified name

void collect(const std::vector<meta::PackageDefinition>& packages, const std::string& around,
             Definitions& all) {
  for (const meta::PackageDefinition& package : packages) {
    const std::string prefix = around + package.name + ".";
    for (const meta::TypeDefinition& type : package.types) all.emplace(prefix + type.name, &type);
    collect(package.packages, prefix, all);
  }
}

std::string pinnedNumber(meta::Property property, const Definitions& definitions) {
  const auto found = definitions.find(property->getOwner()->qualifiedName());
  if (found == definitions.end()) return std::to_string(property->getIdentifier());
  for (const meta::PropertyDefinition& p : found->second->properties)
    if (p.name == property->name() && p.identifier) return std::to_string(*p.identifier);
  return "null";
}

std::string propertyJson(meta::Property p, const Definitions& definitions) {
  const auto flag = [](bool is) { return is ? "true" : "false"; };
  std::string out = "{\"name\":" + json(p->name()) + ",\"type\":" + json(p->getType()->qualifiedName()) +
                    ",\"uri\":" + json(p->getType()->packageUri());
  out += ",\"lower\":" + std::to_string(p->getLower()) + ",\"upper\":" + std::to_string(p->getUpper());
  out += ",\"number\":" + std::to_string(p->getIdentifier()) + ",\"pinned\":" + pinnedNumber(p, definitions);
  out += std::string(",\"composite\":") + flag(p->isComposite()) + ",\"ordered\":" + flag(p->isOrdered());
  out += std::string(",\"unique\":") + flag(p->isUnique()) + ",\"derived\":" + flag(p->isDerived());
  out += std::string(",\"static\":") + flag(p->isStatic()) + ",\"transient\":" + flag(p->isTransient());
  out += ",\"opposite\":" + json(p->getOpposite() ? p->getOpposite()->name() : "");
  return out + "}";
}

std::string literalJson(const meta::EnumLiteral& literal) {
  return "{\"name\":" + json(literal.name) + ",\"text\":" + json(literal.text) +
         ",\"number\":" + std::to_string(literal.number) + "}";
}

std::string typeJson(meta::Type type, const Definitions& definitions) {
  std::string out = "{\"name\":" + json(type->name()) + ",\"qualified\":" + json(type->qualifiedName());
  if (const meta::Enum enumeration{type})
    return out + ",\"kind\":\"enum\",\"literals\":" + jsonList(enumeration->getLiterals(), literalJson) + "}";
  const meta::StructuredType structured{type};
  if (!structured) return out + ",\"kind\":\"primitive\"}";
  if (const meta::Class aClass{type}) {
    out += std::string(",\"kind\":\"class\",\"abstract\":") + (aClass->isAbstract() ? "true" : "false");
    out += std::string(",\"universal\":") + (aClass->isUniversal() ? "true" : "false");
    out += ",\"supertypes\":" + jsonList(aClass->getSupertypes(), [](meta::Class supertype) {
             return "[" + json(supertype->packageUri()) + "," + json(supertype->qualifiedName()) + "]";
           });
  } else {
    out += ",\"kind\":\"datatype\"";
  }
  return out + ",\"properties\":" +
         jsonList(structured->getOwnedAttributes(),
                  [&](meta::Property p) { return propertyJson(p, definitions); }) +
         "}";
}

}  // namespace

std::string contentOf(const Model& model) { return Printer(model).take(); }

std::string eventsOf(const std::vector<std::uint8_t>& document) {
  EventWriter events;
  io::BinaryAssembler(&events).visitString({document.begin(), document.end()});
  return events.take();
}

std::string metaModelJson(const meta::MetaRegistry& registry,
                          const std::vector<meta::PackageDefinition>& definitions) {
  Definitions types;
  collect(definitions, "", types);
  return jsonList(registry.getPackages(), [&](const meta::PackageInfo& package) {
    return "{\"uri\":" + json(package.uri) + ",\"name\":" + json(package.qualifiedName) +
           ",\"types\":" + jsonList(package.types, [&](meta::Type type) { return typeJson(type, types); }) +
           "}";
  });
}

}  // namespace kr::zero::test
