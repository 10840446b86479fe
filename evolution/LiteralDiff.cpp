#include "LiteralDiff.h"

#include <algorithm>

#include "Sentences.h"

namespace kr::zero::evolution {

namespace {

using meta::EnumLiteral;

const EnumLiteral* literalNamed(meta::Enum type, const std::string& name) {
  const EnumLiteral* const found = type->findByName(name);  // by its text too
  return found != nullptr && found->name == name ? found : nullptr;
}

/// What values show that were read as a literal: the first one of its number.
Effect shownAs(meta::Enum type, const EnumLiteral* read, const std::string& name) {
  if (read == nullptr) return Effect::refused;
  return type->findByNumber(read->number)->name == name ? Effect::nothing : Effect::wrong;
}

std::string describeLiteral(const EnumLiteral& literal) {
  const std::string number = "number " + std::to_string(literal.number);
  return literal.text == literal.name ? number : number + ", text \"" + literal.text + '"';
}

class LiteralDiff {
 public:
  LiteralDiff(meta::Enum before, meta::Enum after, const std::map<std::string, std::string>& renames,
              const Report& report)
      : before_(before), after_(after), renames_(renames), report_(report) {}

  void run() {
    std::vector<std::string> kept;
    for (const EnumLiteral& literal : before_->getLiterals()) {
      const std::string name = newName(literal);
      if (literalNamed(after_, name) != nullptr) kept.push_back(name);
      compare(literal, name);
    }
    std::sort(kept.begin(), kept.end());
    for (const EnumLiteral& literal : after_->getLiterals())
      if (!std::binary_search(kept.begin(), kept.end(), literal.name))
        report_({ChangeKind::literalAdded,
                 nameOf(literal),
                 {},
                 describeLiteral(literal),
                 {},
                 tell("the literal is new", {})});
  }

 private:
  std::string nameOf(const EnumLiteral& literal) const {
    return before_->qualifiedName() + '.' + literal.name;
  }

  std::string newName(const EnumLiteral& literal) const {
    const auto renamed = renames_.find(nameOf(literal));
    return renamed == renames_.end() ? literal.name : renamed->second;
  }

  void compare(const EnumLiteral& literal, const std::string& name) {
    const EnumLiteral* const now = literalNamed(after_, name);
    const Effects effects = fateOf(before_, literal, after_, name);
    if (now == nullptr) return add(ChangeKind::literalRemoved, literal, nullptr, effects);
    if (now->number != literal.number) return add(ChangeKind::literalRenumbered, literal, now, effects);
    if (now->name != literal.name) return add(ChangeKind::literalRenamed, literal, now, effects);
    if (now->text != literal.text) return add(ChangeKind::literalTextChanged, literal, now, effects);
    if (effects.worst() != Effect::nothing) add(ChangeKind::literalRenumbered, literal, now, effects);
  }

  void add(ChangeKind kind, const EnumLiteral& literal, const EnumLiteral* now, const Effects& effects) {
    const std::string after = now == nullptr ? std::string() : describeLiteral(*now);
    const EnumLiteral* const other = after_->findByNumber(literal.number);
    Consequences consequences;
    if (effects.krb == Effect::wrong)
      consequences.shown = literal.name + " as " + other->name;
    else if (effects.worst() == Effect::wrong)
      consequences.shown = literal.name + " as another literal";
    report_({kind, nameOf(literal), describeLiteral(literal), after, effects,
             tell(happened(kind, literal, now, other), effects, consequences)});
  }

  std::string happened(ChangeKind kind, const EnumLiteral& literal, const EnumLiteral* now,
                       const EnumLiteral* other) const {
    const std::string number = std::to_string(literal.number);
    if (kind == ChangeKind::literalRenamed) return "it is called " + now->name + " now";
    if (kind == ChangeKind::literalTextChanged)
      return "its text was \"" + literal.text + "\" and is \"" + now->text + "\" now";
    const bool isShown = before_->findByNumber(literal.number) == &literal;
    if (!isShown || other == nullptr || other == now)
      return now == nullptr ? "the literal is gone"
                            : "its number was " + number + " and is " + std::to_string(now->number) + " now";
    return "number " + number + " was " + literal.name + " and is " + other->name + " now";
  }

  const meta::Enum before_;
  const meta::Enum after_;
  const std::map<std::string, std::string>& renames_;
  const Report& report_;
};

}  // namespace

Effects fateOf(meta::Enum before, const EnumLiteral& literal, meta::Enum after, const std::string& newName) {
  if (before->findByNumber(literal.number) != &literal) return {};  // models show the first one of its number
  const EnumLiteral* const byText = after->findByText(literal.text);
  // Carrying over refuses a literal that would show as another.
  const Effect carried = shownAs(after, literalNamed(after, literal.name), newName);
  const bool isTold = byText != nullptr && after->findByNumber(byText->number) == byText;
  return {shownAs(after, after->findByNumber(literal.number), newName),
          shownAs(after, after->findByName(literal.name), newName),
          isTold ? shownAs(after, byText, newName) : Effect::refused, std::min(carried, Effect::refused)};
}

Effects worstFate(meta::Enum before, meta::Enum after) {
  Effects worst;
  for (const EnumLiteral& literal : before->getLiterals()) {
    const Effects fate = fateOf(before, literal, after, literal.name);
    worst = {std::max(worst.krb, fate.krb), std::max(worst.krt, fate.krt), std::max(worst.xmi, fate.xmi),
             std::max(worst.krz, fate.krz)};
  }
  return worst;
}

void compareLiterals(meta::Enum before, meta::Enum after, const std::map<std::string, std::string>& renames,
                     const Report& report) {
  LiteralDiff(before, after, renames, report).run();
}

}  // namespace kr::zero::evolution
