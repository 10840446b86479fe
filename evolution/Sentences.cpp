#include "Sentences.h"

#include <vector>

namespace kr::zero::evolution {

namespace {

/// "old documents" for all, else "old .krb and .krt documents"; empty where no format has that effect.
template <class Counts>
std::string documentsWith(const Effects& effects, Effect effect, const Counts& counts) {
  std::vector<std::string> names;
  for (const DocumentFormat format : kDocumentFormats)
    if (effects.of(format) == effect && counts(format)) names.push_back('.' + std::string(nameOf(format)));
  if (names.empty()) return {};
  if (names.size() == kDocumentFormats.size()) return "old documents";
  std::string text = "old ";
  for (std::size_t i = 0; i < names.size(); ++i)
    text += (i == 0 ? "" : i + 1 == names.size() ? " and " : ", ") + names[i];
  return text + " documents";
}

}  // namespace

std::string qualifiedNameOf(meta::Property property) {
  return property->getOwner()->qualifiedName() + '.' + property->name();
}

std::string describe(meta::Property property) {
  const meta::PropertyKind kind = property->getKind();
  const bool isLink = kind == meta::PropertyKind::association;
  std::string text = property->isComposite() ? "contains " : isLink ? "refers to " : "";
  text += property->getType()->qualifiedName() + ' ' + std::to_string(property->getLower()) + "..";
  text += property->getUpper() < 0 ? "*" : std::to_string(property->getUpper());
  if (!property->isWritten()) return text + ", not stored";
  return text + ", number " + std::to_string(property->getIdentifier());
}

std::string describe(meta::Type type) {
  if (const meta::Class cls(type); cls) return cls->isAbstract() ? "abstract class" : "class";
  if (meta::StructuredType(type)) return "datatype";
  return meta::Enum(type) ? "enumeration" : "primitive type";
}

std::string tell(const std::string& happened, const Effects& effects, const Consequences& consequences) {
  if (effects.worst() == Effect::nothing) return happened + ": old documents read as before";
  std::string text = happened;
  const char* before = ": ";
  const auto addOf = [&](Effect effect, const std::string& what, const auto& counts) {
    const std::string documents = documentsWith(effects, effect, counts);
    if (documents.empty()) return;
    text += before + documents + ' ' + what;
    before = "; ";
  };
  const auto all = [](DocumentFormat) { return true; };
  const auto direct = [](DocumentFormat format) { return format == DocumentFormat::krb; };
  addOf(Effect::wrong, "show " + consequences.shown, all);
  if (consequences.refused == consequences.refusedDirect) {
    addOf(Effect::refused, consequences.refused, all);
  } else {
    addOf(Effect::refused, consequences.refusedDirect, direct);
    addOf(Effect::refused, consequences.refused, [&](DocumentFormat format) { return !direct(format); });
  }
  addOf(Effect::incomplete, consequences.lacking, all);
  return text;
}

}  // namespace kr::zero::evolution
