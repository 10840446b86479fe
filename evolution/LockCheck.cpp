// Holds what numbers mean now against what they meant.

#include <algorithm>
#include <tuple>
#include <unordered_map>
#include <unordered_set>

#include "LockContents.h"

namespace kr::zero::evolution {

namespace {

using meta::Property;
using meta::StructuredType;

/// What a number means in a type.
struct Meaning {
  std::uint32_t number;
  const LockedProperty* property;
  const std::string* owner;  ///< qualified name of the type that says so
};
/// All of a type, inherited ones included, by number.
using Meanings = std::vector<Meaning>;

/// A type of the lock.
struct KnownType {
  const LockedType* locked;
  std::string name;  ///< qualified
  meta::Type now;    ///< empty: gone
  std::shared_ptr<const Meanings> meanings = {};
  bool isOpen = false;  ///< its supertypes are being looked at
};

class Check {
 public:
  Check(const Lock::Contents& contents, const meta::MetaRegistry& registry)
      : contents_(contents), registry_(registry) {}

  std::vector<LockFinding> run() {
    collect();
    for (const auto& [uri, package] : contents_.packages)
      if (!registry_.hasPackage(uri))
        notice(uri, "the package " + package.name + " is locked and not among the meta models");
    for (KnownType& type : types_) checkType(type);
    for (const meta::PackageInfo& package : registry_.getPackages()) noticeNew(package);
    return std::move(findings_);
  }

 private:
  static constexpr std::size_t kMostMeanings = std::size_t{4} * 1024 * 1024;
  using Seen = std::tuple<const LockedProperty*, const void*, const void*>;

  void error(const std::string& subject, std::string sentence) {
    findings_.push_back({true, subject, subject + ' ' + std::move(sentence)});
  }
  void notice(const std::string& subject, std::string sentence) {
    findings_.push_back({false, subject, std::move(sentence)});
  }

  // --- What there is ---------------------------------------------------------------------------

  void collect() {
    std::map<std::pair<std::string, std::string>, meta::Type> now;
    for (const meta::PackageInfo& package : registry_.getPackages())
      for (const meta::Type type : package.types) now.emplace(std::pair(package.uri, type->name()), type);
    for (const auto& [uri, package] : contents_.packages)
      for (const auto& [name, type] : package.types) {
        const auto found = now.find({uri, name});
        types_.push_back(
            {&type, package.name + '.' + name, found == now.end() ? meta::Type() : found->second});
        isGiven_.push_back(registry_.hasPackage(uri));
      }
    for (std::size_t i = 0; i < types_.size(); ++i) byName_.emplace(types_[i].name, i);
  }

  /// Supertypes first. Where they come in a circle, which no meta model has, the circle is cut.
  const Meanings& meaningsOf(std::size_t index) {
    std::vector<std::size_t> open{index};
    while (!open.empty()) {
      KnownType& type = types_[open.back()];
      if (type.meanings == nullptr && !type.isOpen) {
        type.isOpen = true;
        for (const std::string& above : type.locked->supertypes)
          if (const auto found = byName_.find(above); found != byName_.end() &&
                                                      types_[found->second].meanings == nullptr &&
                                                      !types_[found->second].isOpen)
            open.push_back(found->second);
        continue;
      }
      if (type.meanings == nullptr) type.meanings = merge(type);
      open.pop_back();
    }
    return *types_[index].meanings;
  }

  std::shared_ptr<const Meanings> merge(const KnownType& type) {
    std::vector<std::shared_ptr<const Meanings>> inherited;
    for (const std::string& above : type.locked->supertypes)
      if (const auto found = byName_.find(above);
          found != byName_.end() && types_[found->second].meanings != nullptr)
        inherited.push_back(types_[found->second].meanings);
    if (type.locked->numbers.empty() && inherited.size() == 1) return inherited.front();
    auto meanings = std::make_shared<Meanings>();
    for (const auto& [number, property] : type.locked->numbers)
      meanings->push_back({number, &property, &type.name});
    for (const auto& above : inherited) meanings->insert(meanings->end(), above->begin(), above->end());
    if ((total_ += meanings->size()) > kMostMeanings)
      throw Error(ErrorCode::overLimit, "the classes of the lock inherit too many numbers together");
    keepFirst(type, *meanings);
    return meanings;
  }

  /// Of each number the type's own meaning, else one that is not retired, else the first.
  static void keepFirst(const KnownType& type, Meanings& meanings) {
    const auto rank = [&](const Meaning& meaning) {
      return meaning.owner == &type.name ? 0 : meaning.property->isRetired ? 2 : 1;
    };
    std::stable_sort(meanings.begin(), meanings.end(), [&](const Meaning& a, const Meaning& b) {
      return std::tuple(a.number, rank(a)) < std::tuple(b.number, rank(b));
    });
    const auto isSame = [](const Meaning& a, const Meaning& b) { return a.number == b.number; };
    meanings.erase(std::unique(meanings.begin(), meanings.end(), isSame), meanings.end());
    meanings.shrink_to_fit();
  }

  // --- Types -----------------------------------------------------------------------------------

  void checkType(KnownType& type) {
    const auto index = static_cast<std::size_t>(&type - types_.data());
    if (!isGiven_[index]) return;
    if (!type.now) {
      if (!type.locked->isRetired)
        notice(type.name, type.name + " is gone: old documents with it are refused");
      return;
    }
    if (lockedKindOf(type.now) != type.locked->kind)
      return notice(type.name, type.name + " is another kind of type now: old documents with it are refused");
    if (type.locked->kind == LockedKind::enumeration) return checkLiterals(type, meta::Enum(type.now));
    const StructuredType structured(type.now);
    if (!structured) return;
    for (const Meaning& meaning : meaningsOf(index)) checkNumber(type, structured, meaning);
  }

  static Property propertyOf(StructuredType type, std::uint32_t number) {
    const std::size_t slot = type->findIdentifier(number);
    return slot == StructuredType::Impl::npos ? Property() : type->getAllProperties()[slot];
  }

  /// The same finding for a class and for those that inherit from it is one finding.
  void checkNumber(const KnownType& type, StructuredType now, const Meaning& was) {
    const std::uint32_t number = was.number;
    const Property numbered = propertyOf(now, number);
    const Property named = now->findProperty(std::string_view(was.property->name));
    if (!seen_.insert({was.property, numbered.get(), named.get()}).second) return;
    const auto owner = byName_.find(*was.owner);
    const StructuredType ownerNow(owner == byName_.end() ? meta::Type() : types_[owner->second].now);
    const bool isOfOwner = ownerNow && propertyOf(ownerNow, number) == numbered &&
                           ownerNow->findProperty(std::string_view(was.property->name)) == named;
    const std::string subject = (isOfOwner ? *was.owner : type.name) + ' ' + std::to_string(number);
    if (numbered && numbered == named && numbered->isStored())
      checkForm(subject, *was.property, numbered);
    else if (numbered)
      reportReused(subject, *was.property, numbered);
    else if (!was.property->isRetired)
      reportGone(subject, *was.property, named);
  }

  /// Bytes that are taken for others are refused, unless they happen to be what is expected.
  static std::string refused(const LockedProperty& was, Property now) {
    const ValueForm before = formOf(was);
    const ValueForm after = formOf(now);
    const bool isMisread = !haveSameFrame(before, after) || before.width() != after.width();
    return "with " + was.name + " are refused" + (isMisread ? ", or show nonsense" : "");
  }

  void reportReused(const std::string& subject, const LockedProperty& was, Property now) {
    const bool isRead = now->isStored() && readDirect(formOf(was), formOf(now)) != Effect::refused;
    error(subject, "was " + was.name + " and is " + now->name() + " now: old .krb documents " +
                       (isRead ? "show " + was.name + " as " + now->name() : refused(was, now)));
  }

  void reportGone(const std::string& subject, const LockedProperty& was, Property named) {
    if (named && named->isWritten())
      return error(subject, "was " + was.name + ", which has the number " +
                                std::to_string(named->getIdentifier()) + " now: old .krb documents with " +
                                was.name + " are refused");
    notice(subject, subject + " (" + was.name + ") is gone: old documents with " + was.name + " are refused");
  }

  void checkForm(const std::string& subject, const LockedProperty& was, Property now) {
    const LockedProperty is = lockedFormOf(now);
    Effect effect = readDirect(formOf(was), formOf(now));
    if (effect == Effect::nothing && was.kind == is.kind && was.type != is.type)
      effect = readOtherType(was, now);
    if (effect == Effect::nothing) return;
    error(subject, "(" + was.name + ") was " + describe(was) + kindIn(was, is) + " and is " + describe(is) +
                       kindIn(is, was) + " now: old .krb documents " +
                       (effect == Effect::wrong ? "show other values" : refused(was, now)));
  }

  /// Told only where it is what changed.
  static std::string kindIn(const LockedProperty& property, const LockedProperty& other) {
    if (property.kind == other.kind || property.type != other.type) return {};
    return std::string(" (") + kPropertyKindNames[static_cast<std::size_t>(property.kind)] + ')';
  }

  /// Another type of the same kind: another enumeration has other literals, and another class may be above.
  Effect readOtherType(const LockedProperty& was, Property now) const {
    if (was.kind == meta::PropertyKind::enumeration || was.kind == meta::PropertyKind::datatype)
      return Effect::wrong;
    if (!now->getTarget()) return Effect::nothing;
    const meta::Class before(registry_.findType(std::string_view(was.type)));
    return before && before->conformsTo(now->getTarget()) ? Effect::nothing : Effect::refused;
  }

  void checkLiterals(const KnownType& type, meta::Enum now) {
    for (const auto& [number, literal] : type.locked->literals) {
      const std::string subject = type.name + ' ' + std::to_string(number);
      const meta::EnumLiteral* const numbered = now->findByNumber(number);
      const meta::EnumLiteral* const found = now->findByName(literal.name);
      const bool isNamed = found != nullptr && found->name == literal.name;
      if (numbered != nullptr && numbered->name != literal.name)
        error(subject, "was " + literal.name + " and is " + numbered->name +
                           " now: old .krb documents show " + literal.name + " as " + numbered->name);
      else if (numbered == nullptr && !literal.isRetired && isNamed)
        error(subject, "was " + literal.name + ", which has the number " + std::to_string(found->number) +
                           " now: old .krb documents with " + literal.name + " are refused");
      else if (numbered == nullptr && !literal.isRetired)
        notice(subject, subject + " (" + literal.name + ") is gone: old documents with " + literal.name +
                            " are refused");
    }
  }

  // --- What is new -----------------------------------------------------------------------------

  void noticeNew(const meta::PackageInfo& package) {
    const auto known = contents_.packages.find(package.uri);
    if (known == contents_.packages.end())
      return notice(package.uri, "the package " + package.qualifiedName + " is new");
    for (const meta::Type type : package.types) {
      const auto locked = known->second.types.find(type->name());
      if (locked == known->second.types.end())
        notice(type->qualifiedName(), type->qualifiedName() + " is new");
      else
        noticeNew(type, locked->second);
    }
  }

  void noticeNew(meta::Type type, const LockedType& locked) {
    const auto add = [&](std::int64_t number, const std::string& name) {
      const std::string subject = type->qualifiedName() + ' ' + std::to_string(number);
      notice(subject, subject + " (" + name + ") is new");
    };
    if (const StructuredType structured(type); structured)
      for (const Property property : structured->getOwnedAttributes())
        if (property->isWritten() && !locked.numbers.contains(property->getIdentifier()))
          add(property->getIdentifier(), property->name());
    if (const meta::Enum enumeration(type); enumeration)
      for (const meta::EnumLiteral& literal : enumeration->getLiterals())
        if (!locked.literals.contains(literal.number)) add(literal.number, literal.name);
  }

  const Lock::Contents& contents_;
  const meta::MetaRegistry& registry_;
  std::vector<KnownType> types_;
  std::vector<bool> isGiven_;  // whether the package is among the meta models
  std::unordered_map<std::string, std::size_t> byName_;
  std::set<Seen> seen_;
  std::size_t total_ = 0;
  std::vector<LockFinding> findings_;
};

}  // namespace

std::vector<LockFinding> check(const Lock::Contents& contents, const meta::MetaRegistry& registry) {
  return Check(contents, registry).run();
}

}  // namespace kr::zero::evolution
