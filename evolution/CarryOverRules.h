/// @file
/// Internal: a change map looked up in the two meta models that it stands between.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kr/zero/TextHash.h"
#include "kr/zero/evolution/ChangeMap.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::evolution {

/// Number of a rule, to note that it was used.
using RuleId = std::size_t;
inline constexpr RuleId kNoRule = static_cast<RuleId>(-1);

/// Whether both are classes, datatypes, enumerations or primitive types.
inline bool isSameSort(meta::Type a, meta::Type b) { return &a->getMetaClass() == &b->getMetaClass(); }

/// A type of the new meta model in the place of an old one.
struct Counterpart {
  meta::Type type = {};    ///< empty: there is none
  std::string name = {};   ///< what it is called, there or not
  RuleId rule = kNoRule;   ///< the rule that says so
  bool isDropped = false;  ///< a rule says that there is none
};

/// What a rule says of a property or literal.
struct MemberRule {
  std::string to = {};     ///< the new name; of a default the text
  bool isDropped = false;  ///< there is none
  RuleId rule = kNoRule;
};

class Rules {
 public:
  /// @throws Error for a rule that names what is not there.
  Rules(const ChangeMap& map, const meta::MetaRegistry& from, const meta::MetaRegistry& to);

  Counterpart counterpartOf(meta::Type old) const;
  /// Old properties that have rules, and new ones that have defaults, for some types or other.
  const std::vector<meta::Property>& ruledProperties() const noexcept { return ruled_; }
  const std::vector<meta::Property>& defaultedProperties() const noexcept { return defaulted_; }
  /// The rule for a property of instances of a type, or null.
  const MemberRule* ruleFor(meta::StructuredType old, meta::Property property) const;
  /// The rule for a literal, or null.
  const MemberRule* ruleFor(meta::Enum old, const std::string& literal) const;
  /// The default for a property of instances of a new type, or null.
  const MemberRule* defaultFor(meta::StructuredType type, meta::Property property) const;

  /// Notes that something of the model fell under a rule.
  void use(RuleId rule) {
    if (rule != kNoRule) used_[rule] = true;
  }
  /// Rules that nothing fell under: "rename \"shelf.Book.pages\"".
  std::vector<std::string> unused() const;

 private:
  // Rules for a property, by the types that they name.
  struct Owned {
    meta::StructuredType owner;
    MemberRule rule;
  };
  using ByProperty = std::unordered_map<const meta::Property::Impl*, std::vector<Owned>>;
  using ByLiteral = std::unordered_map<std::string_view, MemberRule, TextHash>;

  void readPackages(const ChangeMap& map);
  void readRename(const std::string& key, const std::string& to);
  void readLiteral(const std::string& key, const std::string& to);
  void readDrop(const std::string& key);
  void readDefault(const std::string& key, const std::string& text);
  void checkPropertyRules() const;
  void requireNewProperty(const Owned& owned) const;
  RuleId add(const char* section, const std::string& key);
  static void addOwned(ByProperty& rules, std::vector<meta::Property>& properties, meta::Property property,
                       Owned owned);
  static const MemberRule* nearest(const ByProperty& rules, meta::StructuredType type,
                                   meta::Property property);

  const meta::MetaRegistry& from_;
  const meta::MetaRegistry& to_;
  std::vector<std::string> texts_;  // by RuleId
  std::vector<bool> used_;
  std::unordered_map<std::string, MemberRule, TextHash, std::equal_to<>> packages_;
  std::unordered_map<const meta::Type::Impl*, Counterpart> types_;
  ByProperty properties_;
  std::unordered_map<const meta::Type::Impl*, ByLiteral> literals_;  // keys live in the old registry
  ByProperty defaults_;
  std::vector<meta::Property> ruled_;
  std::vector<meta::Property> defaulted_;
};

}  // namespace kr::zero::evolution
