#include "ClassText.h"

#include <unordered_set>
#include <vector>

#include "PropertyText.h"
#include "SourceText.h"

namespace kr::zero::cpp {

namespace {

/// A class with all that it inherits from, each once, supertypes first.
std::vector<meta::StructuredType> closureOf(meta::StructuredType type) {
  std::vector<meta::StructuredType> waiting{type}, all;
  std::unordered_set<const void*> opened, done;
  while (!waiting.empty()) {
    const meta::StructuredType next = waiting.back();
    if (opened.insert(next.get()).second) {
      if (const meta::Class cls{meta::Type(next)}; cls)
        for (auto it = cls->getSupertypes().rbegin(); it != cls->getSupertypes().rend(); ++it)
          if (!opened.contains(it->get())) waiting.push_back(*it);
    } else {
      waiting.pop_back();
      if (done.insert(next.get()).second) all.push_back(next);
    }
  }
  return all;
}

/// What the first supertype does not bring: further supertypes with all above them, and the class itself.
std::vector<meta::StructuredType> missingFrom(meta::Class base, meta::StructuredType type) {
  std::unordered_set<const void*> there;
  if (base)
    for (const meta::StructuredType inherited : closureOf(base)) there.insert(inherited.get());
  std::vector<meta::StructuredType> missing;
  for (const meta::StructuredType one : closureOf(type))
    if (!there.contains(one.get())) missing.push_back(one);
  return missing;
}

/// Where the features that a supertype declares begin among all of a class; they stand together.
std::size_t firstSlotOf(meta::StructuredType declaring, meta::StructuredType type) {
  const auto& own = declaring->getOwnedAttributes();
  return own.empty() ? 0 : type->slotOf(own.front());
}

meta::Class baseOf(meta::StructuredType type) {
  const meta::Class cls{meta::Type(type)};
  return cls && !cls->getSupertypes().empty() ? cls->getSupertypes().front() : meta::Class();
}

bool isAbstract(meta::StructuredType type) {
  const meta::Class cls{meta::Type(type)};
  return cls && cls->isAbstract();
}

std::string templateNameOf(const NameTable& names, meta::Type type) {
  return names.spaceOf(type) + names.basicNameOf(type);
}

void appendFeatures(std::string& out, const NameTable& names, const ecore::Documentation& documentation,
                    meta::StructuredType type) {
  out += join(
      "template <class Self, class Handle, ::std::size_t kFirst>\nclass ", names.featuresNameOf(type),
      " {\n  const Self& self() const noexcept { return static_cast<const Self&>(*this); }\n\n public:\n");
  out += join(
      "  template <class To>\n    requires ::std::convertible_to<Handle, To>\n  operator ",
      templateNameOf(names, type),
      "<To>() const noexcept {\n    return {::kr::zero::typed::kUnchecked, To(self().element())};\n  }\n");
  const std::vector<meta::Property>& own = type->getOwnedAttributes();
  for (std::size_t i = 0; i < own.size(); ++i) {
    if (own[i]->getKind() == meta::PropertyKind::none) continue;
    out += '\n';
    appendProperty(out, names, own[i], i, documentation.of(own[i]));
  }
  out += "};\n\n";
}

void appendBases(std::string& out, const NameTable& names, meta::StructuredType type) {
  const meta::Class base = baseOf(type);
  out += join("    : public ", base ? templateNameOf(names, base) : std::string("::kr::zero::Typed"),
              "<Handle>");
  for (const meta::StructuredType declaring : missingFrom(base, type))
    out += join(",\n      public ", names.spaceOf(declaring), names.featuresNameOf(declaring), "<",
                names.basicNameOf(type), "<Handle>, Handle, ", std::to_string(firstSlotOf(declaring, type)),
                ">");
  out += " {\n public:\n";
  if (base)
    out += join("  using ", templateNameOf(names, base), "<Handle>::", names.basicNameOf(base), ";\n");
  else
    out += "  using ::kr::zero::Typed<Handle>::Typed;\n";
}

}  // namespace

void appendClass(std::string& out, const NameTable& names, const ecore::Documentation& documentation,
                 meta::StructuredType type) {
  appendFeatures(out, names, documentation, type);
  appendComment(out, 0, type->qualifiedName() + ".");
  appendComment(out, 0, documentation.of(type));
  out += join("template <class Handle>\nclass ", names.basicNameOf(type), "\n");
  appendBases(out, names, type);
  out += join("  static constexpr ::kr::zero::typed::TypeName kType{", asView(type->packageUri()), ", ",
              asView(type->qualifiedName()),
              "};\n  static constexpr bool kIsAbstract = ", isAbstract(type) ? "true" : "false", ";\n};\n");
  out += join("using ", names.nameOf(type), " = ", names.basicNameOf(type), "<::kr::zero::Element>;\n");
  out += join("using ", names.constNameOf(type), " = ", names.basicNameOf(type),
              "<::kr::zero::ConstElement>;\n\n");
}

}  // namespace kr::zero::cpp
