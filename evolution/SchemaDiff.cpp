#include "kr/zero/evolution/SchemaDiff.h"

#include <algorithm>
#include <set>
#include <tuple>
#include <unordered_map>
#include <unordered_set>

#include "LiteralDiff.h"
#include "PropertyDiff.h"
#include "Sentences.h"
#include "TypeMatch.h"
#include "kr/zero/TextHash.h"

namespace kr::zero::evolution {

namespace {

using meta::Class;
using meta::PackageInfo;
using meta::Property;
using meta::StructuredType;
using meta::Type;

bool isConcrete(Type type) {
  const Class cls(type);
  return cls && !cls->isAbstract();
}

/// Whether documents hold instances.
bool hasInstances(Type type) {
  const Class cls(type);
  return cls ? !cls->isAbstract() : static_cast<bool>(StructuredType(type));
}

std::vector<Type> typesOf(const meta::MetaRegistry& registry) {
  std::vector<Type> types;
  for (const PackageInfo& package : registry.getPackages())
    types.insert(types.end(), package.types.begin(), package.types.end());
  return types;
}

/// Where a change stands in the report: packages first, then the types in their order.
struct Place {
  std::size_t type;
  std::size_t found;
};

class Comparison {
 public:
  Comparison(const meta::MetaRegistry& before, const meta::MetaRegistry& after, const CompareOptions& options)
      : before_(before),
        after_(after),
        renames_(options.renames),
        types_(before, after, options.renames),
        properties_(types_),
        oldTypes_(typesOf(before)),
        newTypes_(typesOf(after)) {
    for (std::size_t i = 0; i < oldTypes_.size(); ++i) orderOfOld_[oldTypes_[i].get()] = i;
    for (std::size_t i = 0; i < newTypes_.size(); ++i) orderOfNew_[newTypes_[i].get()] = oldTypes_.size() + i;
  }

  std::vector<SchemaChange> run() {
    comparePackages();
    noteTargets();
    for (const Type type : oldTypes_) compareType(type);
    for (const Type type : oldTypes_) compareInstances(type);
    for (const Type type : oldTypes_) reportUnused(type);
    for (const Type type : newTypes_)
      if (!types_.isKnown(type) && !newPackages_.contains(type->packageUri()))
        add(orderOfNew_[type.get()], {ChangeKind::typeAdded,
                                      type->qualifiedName(),
                                      {},
                                      describe(type),
                                      {},
                                      tell("the " + describe(type) + " is new", {})});
    return sorted();
  }

 private:
  using Pair = std::pair<const void*, const void*>;
  using Triple = std::tuple<const void*, const void*, const void*>;

  void add(std::size_t order, SchemaChange change) {
    places_.push_back({order + 1, places_.size()});
    changes_.push_back(std::move(change));
  }

  Report reportAt(std::size_t order) {
    return [this, order](SchemaChange change) { add(order, std::move(change)); };
  }

  std::vector<SchemaChange> sorted() {
    std::stable_sort(places_.begin(), places_.end(),
                     [](const Place& a, const Place& b) { return a.type < b.type; });
    std::vector<SchemaChange> changes;
    changes.reserve(changes_.size());
    for (const Place& place : places_) changes.push_back(std::move(changes_[place.found]));
    return changes;
  }

  // --- Packages --------------------------------------------------------------------------------

  void addPackageChange(SchemaChange change) {
    places_.push_back({0, places_.size()});
    changes_.push_back(std::move(change));
  }

  void comparePackages() {
    std::unordered_map<std::string, std::string, TextHash> newUriByName;
    for (const PackageInfo& package : after_.getPackages())
      if (!before_.hasPackage(package.uri)) newUriByName.emplace(package.qualifiedName, package.uri);
    std::unordered_set<std::string, TextHash> continued;
    for (const PackageInfo& package : before_.getPackages()) {
      const auto moved = newUriByName.find(package.qualifiedName);
      const bool isMoved = !after_.hasPackage(package.uri) && moved != newUriByName.end();
      if (isMoved) continued.insert(moved->second);
      comparePackage(package, isMoved ? moved->second : std::string());
    }
    for (const PackageInfo& package : after_.getPackages()) {
      if (before_.hasPackage(package.uri) || continued.contains(package.uri)) continue;
      newPackages_.insert(package.uri);
      addPackageChange({ChangeKind::packageAdded,
                        package.uri,
                        {},
                        package.qualifiedName,
                        {},
                        tell("the package is new", {})});
    }
  }

  void comparePackage(const PackageInfo& package, const std::string& newUri) {
    const bool isUsed = std::any_of(package.types.begin(), package.types.end(), isConcrete);
    const std::optional<std::string> newName = after_.findPackageName(package.uri);
    if (!newName && newUri.empty()) {
      gonePackages_.insert(package.uri);
      const Effects effects = isUsed ? kRefused : Effects{};
      return addPackageChange({ChangeKind::packageRemoved,
                               package.uri,
                               package.qualifiedName,
                               {},
                               effects,
                               tell("the package is gone", effects)});
    }
    if (!newName) {  // an archive's elements are carried over by name
      const Effects effects =
          isUsed ? Effects{Effect::refused, Effect::refused, Effect::refused, Effect::nothing} : Effects{};
      return addPackageChange({ChangeKind::packageUriChanged, package.uri, package.uri, newUri, effects,
                               tell("the package's URI is " + newUri + " now", effects)});
    }
    if (*newName == package.qualifiedName) return;
    // XMI goes by the URI, the others by qualified names.
    const Effects effects =
        isUsed ? Effects{Effect::refused, Effect::refused, Effect::nothing, Effect::refused} : Effects{};
    addPackageChange({ChangeKind::packageRenamed, package.uri, package.qualifiedName, *newName, effects,
                      tell("the package is called " + *newName + " now", effects)});
  }

  // --- Types -----------------------------------------------------------------------------------

  void compareType(Type type) {
    const std::size_t order = orderOfOld_[type.get()];
    const std::string& name = type->qualifiedName();
    const Type now = types_.find(type);
    if (!now) {
      if (gonePackages_.contains(type->packageUri())) return;
      const Effects effects = isConcrete(type) ? kRefused : Effects{};
      return add(order, {ChangeKind::typeRemoved,
                         name,
                         describe(type),
                         {},
                         effects,
                         tell("the " + describe(type) + " is gone", effects)});
    }
    if (&now->getMetaClass() != &type->getMetaClass()) {
      const Effects effects = isConcrete(type) ? kRefused : Effects{};
      return add(order, {ChangeKind::typeKindChanged, name, describe(type), describe(now), effects,
                         tell("the " + describe(type) + " is a " + describe(now) + " now", effects)});
    }
    if (const meta::Enum enumeration(type); enumeration)
      compareLiterals(enumeration, meta::Enum(now), renames_, reportAt(order));
    if (const Class cls(type); cls) compareClass(cls, Class(now));
  }

  void compareClass(Class before, Class after) {
    const std::size_t order = orderOfOld_[before.get()];
    const std::string& name = before->qualifiedName();
    compareClassName(before, after);
    if (before->isAbstract() != after->isAbstract()) {
      const ChangeKind kind =
          after->isAbstract() ? ChangeKind::classMadeAbstract : ChangeKind::classMadeConcrete;
      const Effects effects = after->isAbstract() ? kRefused : Effects{};
      add(order,
          {kind, name, describe(Type(before)), describe(Type(after)), effects,
           tell("it is " + std::string(after->isAbstract() ? "an abstract" : "a") + " class now", effects)});
    }
    compareSupertypes(before, after);
  }

  /// A name that only CompareOptions could tell.
  void compareClassName(Class before, Class after) {
    const auto renamed = renames_.find(before->qualifiedName());
    if (renamed == renames_.end()) return;
    const Effects effects = isConcrete(before) ? kRefused : Effects{};
    add(orderOfOld_[before.get()],
        {ChangeKind::typeRenamed, before->qualifiedName(), before->qualifiedName(), after->qualifiedName(),
         effects, tell("it is called " + after->qualifiedName() + " now", effects)});
  }

  void compareSupertypes(Class before, Class after) {
    const auto& now = after->getSupertypes();
    const auto& was = before->getSupertypes();
    const bool areSame = std::equal(was.begin(), was.end(), now.begin(), now.end(),
                                    [&](Class a, Class b) { return types_.find(a) == Type(b); });
    if (areSame) return;
    const bool isLost = std::any_of(was.begin(), was.end(), [&](Class c) { return losesTarget(after, c); });
    const Effects effects = isLost ? kRefused : Effects{};
    add(orderOfOld_[before.get()],
        {ChangeKind::supertypesChanged, before->qualifiedName(), namesOf(was), namesOf(now), effects,
         tell("it inherits from " + namesOf(now) + " now, before from " + namesOf(was), effects)});
  }

  static std::string namesOf(const std::vector<Class>& classes) {
    std::string names;
    for (const Class cls : classes) names += (names.empty() ? "" : ", ") + cls->qualifiedName();
    return names.empty() ? "nothing" : names;
  }

  /// Classes whose elements, those of subclasses among them, some property holds or refers to.
  void noteTargets() {
    for (const Type type : oldTypes_) {
      const StructuredType structured(type);
      if (!structured) continue;
      for (const Property property : structured->getOwnedAttributes())
        if (property->isWritten() && property->getTarget()) targets_.insert(property->getTarget().get());
    }
  }

  /// Whether elements no longer fit where those of an old supertype do.
  bool losesTarget(Class after, Class supertype) const {
    constexpr std::size_t kMostSteps = 1000;  // above so many classes the answer is yes
    std::vector<Class> waiting{supertype};
    std::unordered_set<const Type::Impl*> seen{supertype.get()};
    for (std::size_t i = 0; i < waiting.size(); ++i) {
      const Class above = waiting[i];
      const Class now(types_.find(above));
      if (now && after->conformsTo(now)) continue;
      if (targets_.contains(above.get()) || i == kMostSteps) return true;
      for (const Class next : above->getSupertypes())
        if (seen.insert(next.get()).second) waiting.push_back(next);
    }
    return false;
  }

  // --- Properties ------------------------------------------------------------------------------

  std::string newName(Property property) const {
    if (renames_.empty()) return property->name();
    const auto renamed = renames_.find(qualifiedNameOf(property));
    return renamed == renames_.end() ? property->name() : renamed->second;
  }

  PropertyMatch fateOf(Property property, StructuredType now) const {
    PropertyMatch fate{property, now->findProperty(std::string_view(newName(property))), {}};
    const std::size_t slot = now->findIdentifier(property->getIdentifier());
    if (slot != StructuredType::Impl::npos) fate.numbered = now->getAllProperties()[slot];
    return fate;
  }

  /// Whatever elements of a type may hold, inherited or not: documents do not tell where it was declared.
  void compareInstances(Type type) {
    const StructuredType before(type);
    const StructuredType after(before ? types_.find(type) : Type());
    if (!after || !hasInstances(type)) return;
    const Pair lists(&before->getAllProperties(), &after->getAllProperties());
    if (!comparedLists_.insert(lists).second) return;
    std::vector<bool> isMet(after->getAllProperties().size());
    for (const Property property : before->getAllProperties()) {
      const PropertyMatch fate = fateOf(property, after);
      if (fate.named) isMet[after->slotOf(fate.named)] = true;
      met_.insert({property.get(), fate.named.get()});
      metNew_.insert(fate.named.get());
      compareProperty(before, fate);
    }
    for (std::size_t slot = 0; slot < isMet.size(); ++slot)
      if (!isMet[slot]) reportAdded(after->getAllProperties()[slot], true);
  }

  void compareProperty(StructuredType type, const PropertyMatch& fate) {
    const Triple key(fate.before.get(), fate.named.get(), fate.numbered.get());
    if (!compared_.insert(key).second) return;
    const StructuredType owner = fate.before->getOwner();
    const StructuredType ownerNow(types_.find(owner));
    const bool isOfOwner = owner == type || (ownerNow && fateOf(fate.before, ownerNow) == fate);
    const StructuredType holder = isOfOwner ? owner : type;
    const std::string subject = holder->qualifiedName() + '.' + fate.before->name();
    const Report report = reportAt(orderOfOld_[holder.get()]);
    if (fate.before->isWritten()) return properties_.compare(fate, subject, report);
    if (!fate.named || !fate.named->isWritten()) return;
    const Effects effects = PropertyDiff::lackOf(fate.named);
    report({ChangeKind::storageChanged, subject, describe(fate.before), describe(fate.named), effects,
            tell("its values are stored now", effects, {{}, "do not have it"})});
  }

  /// @param isLacking whether there may be old elements that should have it.
  void reportAdded(Property property, bool isLacking) {
    if (!added_.insert(property.get()).second) return;
    const Effects effects = isLacking ? PropertyDiff::lackOf(property) : Effects{};
    add(orderOfNewType(property->getOwner()),
        {ChangeKind::propertyAdded,
         qualifiedNameOf(property),
         {},
         describe(property),
         effects,
         tell("the property is new", effects, {{}, "do not have it, and it is required"})});
  }

  std::size_t orderOfNewType(Type type) {
    if (oldByNew_.empty())
      for (const Type old : oldTypes_)
        if (const Type now = types_.find(old); now) oldByNew_.emplace(now.get(), orderOfOld_[old.get()]);
    const auto found = oldByNew_.find(type.get());
    return found != oldByNew_.end() ? found->second : orderOfNew_[type.get()];
  }

  /// What no document can tell: properties that are declared elsewhere now, and those of classes without
  /// elements.
  void reportUnused(Type type) {
    const StructuredType before(type);
    const StructuredType after(before ? types_.find(type) : Type());
    if (!after) return;
    const std::size_t order = orderOfOld_[type.get()];
    for (const Property property : before->getOwnedAttributes()) {
      const Property now = after->findProperty(std::string_view(newName(property)));
      if (now && types_.find(property->getOwner()) == Type(now->getOwner())) continue;
      if (now || isMetElsewhere(property))
        add(order, {ChangeKind::propertyMoved,
                    qualifiedNameOf(property),
                    describe(property),
                    now ? describe(now) : std::string(),
                    {},
                    tell("it is declared elsewhere now", {})});
      else if (!hasInstances(type) && !isMet(property))
        add(order, {ChangeKind::propertyRemoved,
                    qualifiedNameOf(property),
                    describe(property),
                    {},
                    {},
                    tell("the property is gone, and no element had it", {})});
    }
    for (const Property property : after->getOwnedAttributes())
      if (!before->findProperty(std::string_view(property->name())) && !metNew_.contains(property.get()))
        reportAdded(property, false);
  }

  /// Whether elements of some class had it.
  bool isMet(Property property) const {
    const auto found = met_.lower_bound({property.get(), nullptr});
    return found != met_.end() && found->first == property.get();
  }

  /// Whether elements of some class had it, and all of them have it still.
  bool isMetElsewhere(Property property) const {
    return isMet(property) && !met_.contains({property.get(), nullptr});
  }

  const meta::MetaRegistry& before_;
  const meta::MetaRegistry& after_;
  const std::map<std::string, std::string>& renames_;
  const TypeMatch types_;
  PropertyDiff properties_;
  const std::vector<Type> oldTypes_;
  const std::vector<Type> newTypes_;
  std::unordered_map<const Type::Impl*, std::size_t> orderOfOld_;
  std::unordered_map<const Type::Impl*, std::size_t> orderOfNew_;
  std::unordered_map<const Type::Impl*, std::size_t> oldByNew_;
  std::unordered_set<std::string, TextHash> gonePackages_;
  std::unordered_set<std::string, TextHash> newPackages_;
  std::unordered_set<const Type::Impl*> targets_;
  std::set<Pair> comparedLists_;
  std::set<Triple> compared_;
  std::set<Pair> met_;                      // old properties, and what elements of some class have for them
  std::unordered_set<const void*> metNew_;  // new ones that some element had before
  std::unordered_set<const void*> added_;
  std::vector<SchemaChange> changes_;
  std::vector<Place> places_;
};

}  // namespace

Effect Effects::of(DocumentFormat format) const noexcept {
  switch (format) {
    case DocumentFormat::krb:
      return krb;
    case DocumentFormat::krt:
      return krt;
    case DocumentFormat::xmi:
      return xmi;
    default:
      return krz;
  }
}

Effect Effects::worst() const noexcept { return std::max({krb, krt, xmi, krz}); }

std::vector<SchemaChange> compareSchemas(const meta::MetaRegistry& before, const meta::MetaRegistry& after,
                                         const CompareOptions& options) {
  return Comparison(before, after, options).run();
}

}  // namespace kr::zero::evolution
