#include "CarryOverRules.h"

#include <algorithm>

#include "CarryOverNames.h"
#include "kr/zero/Error.h"

namespace kr::zero::evolution {

namespace {

/// A type, or something in it.
struct Named {
  meta::Type type;
  std::string_view member;  // empty: the type itself
};

/// Names of members may hold dots; more than so many are no name that anybody gives.
constexpr int kMostDots = 16;

std::optional<Named> find(const meta::MetaRegistry& registry, std::string_view key) {
  if (const meta::Type type = registry.findType(key); type) return Named{type, {}};
  std::size_t dot = key.size();
  for (int i = 0; i < kMostDots && dot != 0; ++i) {
    dot = key.rfind('.', dot - 1);
    if (dot == std::string_view::npos) break;
    if (const meta::Type type = registry.findType(key.substr(0, dot)); type)
      return Named{type, key.substr(dot + 1)};
  }
  return std::nullopt;
}

[[noreturn]] void refuseRule(const std::string& rule, const std::string& problem) {
  throw Error(ErrorCode::doesNotFit, "the rule " + rule + ": " + problem);
}

Named require(const meta::MetaRegistry& registry, const std::string& key, const std::string& rule,
              const char* which) {
  const std::optional<Named> found = find(registry, key);
  if (!found) refuseRule(rule, std::string("there is no such name in the ") + which + " meta model");
  return *found;
}

std::string_view packageOf(const meta::Type::Impl& type) {
  const std::string_view name = type.qualifiedName();
  return name.size() > type.name().size() ? name.substr(0, name.size() - type.name().size() - 1)
                                          : std::string_view();
}

bool conforms(meta::StructuredType type, meta::StructuredType to) {
  if (type == to) return true;
  const meta::Class cls{meta::Type(type)}, above{meta::Type(to)};
  return cls && above && cls->conformsTo(above);
}

bool hasPackage(const std::vector<meta::PackageInfo>& packages, const std::string& name) {
  return std::any_of(packages.begin(), packages.end(),
                     [&](const meta::PackageInfo& package) { return package.qualifiedName == name; });
}

/// Whether a type can stand in the place of another.
const meta::EnumLiteral* literalNamed(meta::Enum type, std::string_view name) {
  const meta::EnumLiteral* const literal = type->findByName(name);
  return literal != nullptr && literal->name == name ? literal : nullptr;
}

}  // namespace

Rules::Rules(const ChangeMap& map, const meta::MetaRegistry& from, const meta::MetaRegistry& to)
    : from_(from), to_(to) {
  readPackages(map);
  for (const auto& [key, name] : map.rename) readRename(key, name);
  for (const std::string& key : map.drop) readDrop(key);
  for (const auto& [key, name] : map.literals) readLiteral(key, name);
  for (const auto& [key, text] : map.defaults) readDefault(key, text);
  checkPropertyRules();
}

RuleId Rules::add(const char* section, const std::string& key) {
  texts_.push_back(std::string(section) + ' ' + inQuotes(key));
  used_.push_back(false);
  return texts_.size() - 1;
}

void Rules::readPackages(const ChangeMap& map) {
  if (map.packages.empty()) return;
  const auto before = from_.getPackages(), now = to_.getPackages();
  for (const auto& [key, name] : map.packages) {
    const RuleId rule = add("packages", key);
    if (!hasPackage(before, key)) refuseRule(texts_[rule], "there is no such package in the old meta model");
    if (!hasPackage(now, name))
      refuseRule(texts_[rule], "there is no package " + inQuotes(name) + " in the new meta model");
    packages_[key] = {.to = name, .rule = rule};
  }
}

void Rules::readRename(const std::string& key, const std::string& to) {
  const RuleId rule = add("rename", key);
  const Named old = require(from_, key, texts_[rule], "old");
  if (!old.member.empty()) {
    const meta::StructuredType owner(old.type);
    const meta::Property property = owner ? owner->findProperty(old.member) : meta::Property();
    if (!property)
      refuseRule(texts_[rule], old.type->qualifiedName() + " has no property " + inQuotes(old.member));
    addOwned(properties_, ruled_, property, {owner, {.to = to, .rule = rule}});
    return;
  }
  const meta::Type type = to_.findType(to);
  if (!type) refuseRule(texts_[rule], "there is no type " + inQuotes(to) + " in the new meta model");
  if (!isSameSort(old.type, type)) refuseRule(texts_[rule], inQuotes(to) + " is a type of another sort");
  types_[old.type.get()] = {.type = type, .name = to, .rule = rule};
}

void Rules::readDrop(const std::string& key) {
  const RuleId rule = add("drop", key);
  const Named old = require(from_, key, texts_[rule], "old");
  const auto refuseDouble = [&](bool isDouble) {
    if (isDouble) refuseRule(texts_[rule], "another rule says what becomes of it");
  };
  if (old.member.empty()) {
    if (!meta::Class(old.type))
      refuseRule(texts_[rule], "only classes, properties and literals can be dropped");
    refuseDouble(types_.count(old.type.get()) != 0);
    types_[old.type.get()] = {.name = key, .rule = rule, .isDropped = true};
  } else if (const meta::StructuredType owner(old.type); owner) {
    const meta::Property property = owner->findProperty(old.member);
    if (!property)
      refuseRule(texts_[rule], owner->qualifiedName() + " has no property " + inQuotes(old.member));
    if (const auto rules = properties_.find(property.get()); rules != properties_.end())
      refuseDouble(std::any_of(rules->second.begin(), rules->second.end(),
                               [&](const Owned& owned) { return owned.owner == owner; }));
    addOwned(properties_, ruled_, property, {owner, {.isDropped = true, .rule = rule}});
  } else {
    const meta::Enum type(old.type);
    const meta::EnumLiteral* const literal = type ? literalNamed(type, old.member) : nullptr;
    if (literal == nullptr)
      refuseRule(texts_[rule], old.type->qualifiedName() + " has no literal " + inQuotes(old.member));
    literals_[type.get()][literal->name] = {.isDropped = true, .rule = rule};
  }
}

void Rules::readLiteral(const std::string& key, const std::string& to) {
  const RuleId rule = add("literals", key);
  const Named old = require(from_, key, texts_[rule], "old");
  const meta::Enum type(old.type);
  const meta::EnumLiteral* const literal = type ? literalNamed(type, old.member) : nullptr;
  if (literal == nullptr)
    refuseRule(texts_[rule], old.type->qualifiedName() + " has no literal " + inQuotes(old.member));
  const Counterpart now = counterpartOf(old.type);
  const meta::Enum newType(now.type);
  if (!newType)
    refuseRule(texts_[rule], "there is no enumeration " + inQuotes(now.name) + " in the new meta model");
  if (literalNamed(newType, to) == nullptr)
    refuseRule(texts_[rule], newType->qualifiedName() + " has no literal " + inQuotes(to));
  const auto [place, isNew] =
      literals_[type.get()].try_emplace(literal->name, MemberRule{.to = to, .rule = rule});
  if (!isNew) refuseRule(texts_[rule], "another rule says what becomes of it");
}

void Rules::readDefault(const std::string& key, const std::string& text) {
  const RuleId rule = add("default", key);
  const Named now = require(to_, key, texts_[rule], "new");
  const meta::StructuredType owner(now.type);
  const meta::Property property = owner ? owner->findProperty(now.member) : meta::Property();
  if (!property)
    refuseRule(texts_[rule], now.type->qualifiedName() + " has no property " + inQuotes(now.member));
  if (!meta::isPrimitive(property->getKind()))
    refuseRule(texts_[rule], "only a property that holds numbers, texts or literals can get a default");
  addOwned(defaults_, defaulted_, property, {owner, {.to = text, .rule = rule}});
}

/// A new name must be a property's, at least in one class that the rule holds for.
void Rules::checkPropertyRules() const {
  for (const auto& [property, rules] : properties_)
    for (const Owned& owned : rules)
      if (!owned.rule.isDropped) requireNewProperty(owned);
}

void Rules::requireNewProperty(const Owned& owned) const {
  const auto has = [&](meta::StructuredType old) {
    const meta::StructuredType now(counterpartOf(old).type);
    return now && now->findProperty(owned.rule.to);
  };
  if (has(owned.owner)) return;
  for (const meta::PackageInfo& package : from_.getPackages())
    for (const meta::Type type : package.types)
      if (const meta::StructuredType old(type); old && conforms(old, owned.owner) && has(old)) return;
  const Counterpart now = counterpartOf(owned.owner);
  if (now.isDropped)
    refuseRule(texts_[owned.rule.rule], "another rule drops " + owned.owner->qualifiedName());
  if (!now.type)
    refuseRule(texts_[owned.rule.rule], "there is no type " + inQuotes(now.name) + " in the new meta model");
  refuseRule(texts_[owned.rule.rule],
             now.type->qualifiedName() + " has no property " + inQuotes(owned.rule.to));
}

Counterpart Rules::counterpartOf(meta::Type old) const {
  if (const auto found = types_.find(old.get()); found != types_.end()) return found->second;
  const std::string_view package = packageOf(*old.get());
  for (std::string_view outer = package; !outer.empty() && !packages_.empty();) {
    if (const auto found = packages_.find(outer); found != packages_.end()) {
      const std::string name =
          found->second.to + std::string(package.substr(outer.size())) + '.' + old->name();
      return {.type = to_.findType(name), .name = name, .rule = found->second.rule};
    }
    const std::size_t dot = outer.rfind('.');
    outer = dot == std::string_view::npos ? std::string_view() : outer.substr(0, dot);
  }
  return {.type = to_.findType(old->getQualifiedName(), {old->getPackageUri()}),
          .name = old->qualifiedName()};
}

void Rules::addOwned(ByProperty& rules, std::vector<meta::Property>& properties, meta::Property property,
                     Owned owned) {
  std::vector<Owned>& all = rules[property.get()];
  if (all.empty()) properties.push_back(property);
  all.push_back(std::move(owned));
}

const MemberRule* Rules::nearest(const ByProperty& rules, meta::StructuredType type,
                                 meta::Property property) {
  const auto found = rules.find(property.get());
  if (found == rules.end()) return nullptr;
  const Owned* best = nullptr;
  for (const Owned& owned : found->second)
    if (conforms(type, owned.owner) && (best == nullptr || conforms(owned.owner, best->owner))) best = &owned;
  return best == nullptr ? nullptr : &best->rule;
}

const MemberRule* Rules::ruleFor(meta::StructuredType old, meta::Property property) const {
  return nearest(properties_, old, property);
}

const MemberRule* Rules::defaultFor(meta::StructuredType type, meta::Property property) const {
  return nearest(defaults_, type, property);
}

const MemberRule* Rules::ruleFor(meta::Enum old, const std::string& literal) const {
  const auto found = literals_.find(old.get());
  if (found == literals_.end()) return nullptr;
  const auto rule = found->second.find(literal);
  return rule == found->second.end() ? nullptr : &rule->second;
}

std::vector<std::string> Rules::unused() const {
  std::vector<std::string> texts;
  for (RuleId rule = 0; rule < texts_.size(); ++rule)
    if (!used_[rule]) texts.push_back(texts_[rule]);
  return texts;
}

}  // namespace kr::zero::evolution
