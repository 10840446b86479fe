#include "SchemaReading.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <functional>
#include <set>
#include <stdexcept>

#include "kr/zero/Validate.h"
#include "kr/zero/ecore/Ecore.h"
#include "support/Reading.h"
#include "support/TaggedReading.h"

namespace kr::zero::test {

using evolution::Effect;
using evolution::Effects;

namespace {

using Lines = std::multiset<std::string>;
const std::map<std::string, std::string> kNone;

/// All that a model shows, by names, in lines that two meta models can share.
class Shown {
 public:
  Shown(const Model& model, const std::map<std::string, std::string>& renames) : renames_(renames) {
    for (const ConstElement element : model.elements()) show(element, placeOf(element) + ": ");
  }
  const Lines& lines() const { return lines_; }

 private:
  void show(ConstElement element, const std::string& where) {
    lines_.insert(where + lastName(newName(element.getType()->qualifiedName())));
    for (const meta::Property property : element.getType()->getAllProperties()) {
      if (!property->isStored() || !element.isSet(property)) continue;
      const std::string name = newName(property->getOwner()->qualifiedName() + '.' + property->name());
      show(element, property, where + lastName(name) + " = ");
    }
  }

  void show(ConstElement element, meta::Property property, const std::string& head) {
    lines_.insert(head + "values");
    for (std::size_t i = 0; i < element.size(property); ++i)
      if (property->getKind() == meta::PropertyKind::datatype)
        show(element.getElement(property, i), head);
      else
        lines_.insert(head + std::to_string(i) + ' ' + textOf(element, property, i));
  }

  std::string textOf(ConstElement element, meta::Property property, std::size_t i) const {
    if (property->getKind() == meta::PropertyKind::composition)
      return placeOf(element.getElement(property, i));
    if (property->getKind() == meta::PropertyKind::association) {
      const auto unresolved = element.getUnresolved(property, i);
      return unresolved ? "elsewhere " + unresolved->id2 : placeOf(element.getReference(property, i));
    }
    const std::string text = element.getTextForm(property, i);
    if (property->getKind() == meta::PropertyKind::enumeration)
      return lastName(newName(property->getType()->qualifiedName() + '.' + text));
    return canonical(text);
  }

  /// A number is the same in every type that has it, and as a text; the truth values are 1 and 0.
  static std::string canonical(const std::string& text) {
    if (text == "true" || text == "false") return text == "true" ? "1" : "0";
    if (text == "-0.0" || text == "-0") return "0";  // the one number that the tagged format does not keep
    const bool isWhole = text.find_first_not_of("-0123456789") == std::string::npos;
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (isWhole || error != std::errc() || end != text.data() + text.size()) return text;
    char digits[400];
    return {digits, static_cast<std::size_t>(std::snprintf(digits, sizeof digits, "%.20g", number))};
  }

  /// The first one of a collection stands where a single one does.
  static std::string placeOf(ConstElement element) {
    constexpr std::string_view kFirst = "[0]";
    std::string path = element.getPath();
    for (std::size_t at; (at = path.find(kFirst)) != std::string::npos;) path.erase(at, kFirst.size());
    return path;
  }

  std::string newName(const std::string& name) const {
    const auto renamed = renames_.find(name);
    return renamed == renames_.end() ? name : renamed->second;
  }
  static std::string lastName(const std::string& name) { return name.substr(name.rfind('.') + 1); }

  const std::map<std::string, std::string>& renames_;
  Lines lines_;
};

Model taken(io::Parser& parser, bool isRead) {
  if (!isRead) throw std::runtime_error(parser.getProblems().front());
  return parser.takeModel();
}

}  // namespace

Effect effectOn(const Model& old, const Model& now, const std::map<std::string, std::string>& renames) {
  const Shown before(old, renames);
  const Shown after(now, {});
  if (before.lines() == after.lines())
    return validate(now).size() > validate(old).size() ? Effect::incomplete : Effect::nothing;
  const bool isPart =
      std::includes(before.lines().begin(), before.lines().end(), after.lines().begin(), after.lines().end());
  return isPart ? Effect::incomplete : Effect::wrong;
}

Effects worseOf(const Effects& a, const Effects& b) {
  return {std::max(a.krb, b.krb), std::max(a.krt, b.krt), std::max(a.xmi, b.xmi), std::max(a.krz, b.krz)};
}

Effects worstOf(const std::vector<evolution::SchemaChange>& changes) {
  Effects worst;
  for (const evolution::SchemaChange& change : changes) worst = worseOf(worst, change.effects);
  return worst;
}

WrittenModel::WrittenModel(const Model& model, std::map<std::string, std::string> renames)
    : model_(model), renames_(std::move(renames)), direct_(writeDirect(model)), tagged_(writeTagged(model)) {
  const auto mapping = ecore::describeRegistry(model.getRegistry());
  try {
    xmi_ = ecore::writeXmi(model, *mapping);
  } catch (const Error&) {
  }
  withoutChange_ = effectsWith(model.getRegistry());
}

Effects WrittenModel::effectsWith(const meta::MetaRegistry& registry) const {
  const auto effectOf = [&](const std::function<Model()>& read) {
    try {
      return effectOn(model_, read(), &registry == &model_.getRegistry() ? kNone : renames_);
    } catch (const std::exception&) {
      return Effect::refused;
    }
  };
  Effects effects;
  effects.krb = effectOf([&] {
    const auto parser = makeParser(registry);
    return taken(*parser, parser->parseByteSequence(direct_));
  });
  effects.krt = effectOf([&] {
    const auto parser = makeTaggedParser(registry);
    return taken(*parser, parser->parse(io::ParsingInput::fromString(tagged_)));
  });
  if (!xmi_.empty())
    effects.xmi =
        effectOf([&] { return ecore::readXmi(xmi_, "old.xmi", *ecore::describeRegistry(registry)); });
  // What a format does not keep in the first place is no effect of a change.
  for (auto member : {&Effects::krb, &Effects::krt, &Effects::xmi})
    if (withoutChange_.*member != Effect::nothing) effects.*member = Effect::nothing;
  return effects;
}

}  // namespace kr::zero::test
