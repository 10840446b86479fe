// Holds what numbers mean now against what they meant.

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

#include "LockContents.h"
#include "LockMeanings.h"

namespace kr::zero::evolution {

namespace {

using meta::Property;
using meta::StructuredType;

class Check {
 public:
  Check(const Lock::Contents& contents, const meta::MetaRegistry& registry)
      : contents_(contents), registry_(registry), meanings_(contents) {}

  std::vector<LockFinding> run() {
    collect();
    for (const auto& [uri, package] : contents_.packages)
      if (!registry_.hasPackage(uri))
        notice(uri, "the package " + package.name + " is locked and not among the meta models");
    for (std::size_t type = 0; type < now_.size(); ++type) checkType(type);
    for (const meta::PackageInfo& package : registry_.getPackages()) noticeNew(package);
    return std::move(findings_);
  }

 private:
  using Seen = std::tuple<const LockedProperty*, const void*, const void*>;

  void error(const std::string& subject, std::string sentence) {
    findings_.push_back({true, subject, subject + ' ' + std::move(sentence)});
  }
  void notice(const std::string& subject, std::string sentence) {
    findings_.push_back({false, subject, std::move(sentence)});
  }

  /// The types of the registry, in the order of the lock's; empty: gone.
  void collect() {
    std::map<std::pair<std::string, std::string>, meta::Type> now;
    for (const meta::PackageInfo& package : registry_.getPackages())
      for (const meta::Type type : package.types) now.emplace(std::pair(package.uri, type->name()), type);
    for (const LockMeanings::Type& type : meanings_.types()) {
      const auto found = now.find({*type.uri, *type.name});
      now_.push_back(found == now.end() ? meta::Type() : found->second);
    }
  }

  // --- Types -----------------------------------------------------------------------------------

  void checkType(std::size_t index) {
    const LockMeanings::Type& type = meanings_.types()[index];
    const meta::Type now = now_[index];
    if (!registry_.hasPackage(*type.uri)) return;
    const std::string& name = type.qualifiedName;
    if (!now) {
      if (!type.locked->isRetired) notice(name, name + " is gone: old documents with it are refused");
      return;
    }
    if (lockedKindOf(now) != type.locked->kind)
      return notice(name, name + " is another kind of type now: old documents with it are refused");
    if (type.locked->kind == LockedKind::enumeration) return checkLiterals(type, meta::Enum(now));
    const StructuredType structured(now);
    if (!structured) return;
    for (const Meaning& meaning : meanings_.of(index)) checkNumber(name, structured, meaning);
  }

  static Property propertyOf(StructuredType type, std::uint32_t number) {
    const std::size_t slot = type->findIdentifier(number);
    return slot == StructuredType::Impl::npos ? Property() : type->getAllProperties()[slot];
  }

  /// The same finding for a class and for those that inherit from it is one finding.
  void checkNumber(const std::string& type, StructuredType now, const Meaning& was) {
    const Property numbered = propertyOf(now, was.number);
    const Property named = now->findProperty(std::string_view(was.property->name));
    if (!seen_.insert({was.property, numbered.get(), named.get()}).second) return;
    const StructuredType owner(now_[was.owner]);
    const bool isOfOwner = owner && propertyOf(owner, was.number) == numbered &&
                           owner->findProperty(std::string_view(was.property->name)) == named;
    const std::string subject =
        (isOfOwner ? meanings_.types()[was.owner].qualifiedName : type) + ' ' + std::to_string(was.number);
    if (numbered && numbered == named && numbered->isStored())
      checkForm(subject, *was.property, numbered);
    else if (numbered && (numbered->isStored() || !was.property->isRetired))
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

  void checkLiterals(const LockMeanings::Type& type, meta::Enum now) {
    for (const auto& [number, literal] : type.locked->literals) {
      const std::string subject = type.qualifiedName + ' ' + std::to_string(number);
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
        if (property->isStored() && !locked.numbers.contains(property->getIdentifier()))
          add(property->getIdentifier(), property->name());
    if (const meta::Enum enumeration(type); enumeration)
      for (const meta::EnumLiteral& literal : enumeration->getLiterals())
        if (!locked.literals.contains(literal.number)) add(literal.number, literal.name);
  }

  const Lock::Contents& contents_;
  const meta::MetaRegistry& registry_;
  LockMeanings meanings_;
  std::vector<meta::Type> now_;
  std::set<Seen> seen_;
  std::vector<LockFinding> findings_;
};

}  // namespace

std::vector<LockFinding> check(const Lock::Contents& contents, const meta::MetaRegistry& registry) {
  return Check(contents, registry).run();
}

}  // namespace kr::zero::evolution
