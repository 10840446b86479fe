#include "kr/zero/evolution/Lock.h"

#include <algorithm>
#include <map>
#include <set>

#include "LockContents.h"
#include "LockMeanings.h"

namespace kr::zero::evolution {

namespace {

constexpr std::size_t kLargestText = std::size_t{16} * 1024 * 1024;

/// The first literal of a number stands for it, so the others of that number are not in documents.
void updateLiterals(meta::Enum type, LockedType& locked) {
  for (auto& [number, literal] : locked.literals) literal.isRetired = true;
  for (const meta::EnumLiteral& literal : type->getLiterals())
    if (type->findByNumber(literal.number) == &literal)
      locked.literals[literal.number] = {literal.name, false};
}

/// What a number means now decides, also where it was another one's before it came from a supertype.
void updateNumbers(meta::StructuredType type, LockedType& locked) {
  for (auto& [number, property] : locked.numbers) property.isRetired = true;
  for (const meta::Property property : type->getAllProperties()) {
    if (property->getOwner() == type && property->isStored())
      locked.numbers[property->getIdentifier()] = lockedFormOf(property);
    else
      locked.numbers.erase(property->getIdentifier());
  }
}

/// A class that lost a supertype, with all that its elements had from it.
struct Orphan {
  std::string uri;
  std::string name;
  std::map<std::uint32_t, LockedProperty> numbers;
};

bool losesSupertype(const LockedType& locked, meta::Class now) {
  std::set<std::string> names;
  for (const meta::Class above : now->getSupertypes()) names.insert(above->qualifiedName());
  return !std::includes(names.begin(), names.end(), locked.supertypes.begin(), locked.supertypes.end());
}

std::vector<Orphan> findOrphans(const Lock::Contents& contents, const meta::MetaRegistry& registry) {
  std::map<std::pair<std::string, std::string>, meta::Class> classes;
  for (const meta::PackageInfo& package : registry.getPackages())
    for (const meta::Type type : package.types)
      if (meta::Class(type)) classes.emplace(std::pair(package.uri, type->name()), meta::Class(type));
  std::vector<Orphan> orphans;
  LockMeanings meanings(contents);
  for (std::size_t i = 0; i < meanings.types().size(); ++i) {
    const LockMeanings::Type& type = meanings.types()[i];
    const auto now = classes.find({*type.uri, *type.name});
    if (now == classes.end() || !losesSupertype(*type.locked, now->second)) continue;
    Orphan& orphan = orphans.emplace_back(Orphan{*type.uri, *type.name, {}});
    for (const Meaning& meaning : meanings.of(i)) orphan.numbers.emplace(meaning.number, *meaning.property);
  }
  return orphans;
}

void updateType(meta::Type type, LockedType& locked) {
  const LockedKind kind = lockedKindOf(type);
  if (kind != locked.kind) locked = {};
  locked.kind = kind;
  locked.isRetired = false;
  locked.supertypes.clear();
  if (const meta::Class cls(type); cls)
    for (const meta::Class above : cls->getSupertypes()) locked.supertypes.insert(above->qualifiedName());
  if (const meta::Enum enumeration(type); enumeration) updateLiterals(enumeration, locked);
  if (const meta::StructuredType structured(type); structured) updateNumbers(structured, locked);
}

}  // namespace

LockedKind lockedKindOf(meta::Type type) {
  if (meta::Class(type)) return LockedKind::classType;
  if (meta::StructuredType(type)) return LockedKind::datatype;
  return meta::Enum(type) ? LockedKind::enumeration : LockedKind::primitive;
}

LockedProperty lockedFormOf(meta::Property property) {
  return {property->name(),     property->getType()->qualifiedName(),
          property->getKind(),  property->getLower(),
          property->getUpper(), false};
}

ValueForm formOf(const LockedProperty& property) {
  ValueForm form{property.kind, meta::StandardType::none, property.upper != 1,
                 property.lower == 0 && property.upper == 1, property.type};
  const auto standard =
      std::find_if(meta::kStandardTypes.begin(), meta::kStandardTypes.end(),
                   [&](const meta::StandardTypeInfo& info) { return info.name == property.type; });
  if (standard != meta::kStandardTypes.end()) form.standard = standard->type;
  return form;
}

std::string describe(const LockedProperty& property) {
  const std::string upper = property.upper < 0 ? "*" : std::to_string(property.upper);
  return property.type + ' ' + std::to_string(property.lower) + ".." + upper;
}

Lock::Lock() : contents_(std::make_unique<Contents>()) {}
Lock::~Lock() = default;
Lock::Lock(Lock&&) noexcept = default;
Lock& Lock::operator=(Lock&&) noexcept = default;

Lock Lock::parse(std::string_view text, std::string_view name) {
  const std::string file(name);
  if (text.size() > kLargestText)
    throw Error(ErrorCode::overLimit, {.file = file, .problem = "a lock file of more than 16 MiB"});
  Lock lock;
  try {
    *lock.contents_ = fromText(text);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    throw Error(ErrorCode::damaged,
                {.file = file, .problem = "is no lock file, " + std::string(error.what())});
  }
  return lock;
}

std::string Lock::write() const { return toText(*contents_); }

void Lock::update(const meta::MetaRegistry& registry) {
  for (Orphan& orphan : findOrphans(*contents_, registry))
    contents_->packages[orphan.uri].types[orphan.name].numbers.merge(orphan.numbers);
  for (const meta::PackageInfo& package : registry.getPackages()) {
    LockedPackage& locked = contents_->packages[package.uri];
    locked.name = package.qualifiedName;
    for (auto& [name, type] : locked.types) type.isRetired = true;
    for (const meta::Type type : package.types) updateType(type, locked.types[type->name()]);
  }
}

std::vector<LockFinding> Lock::check(const meta::MetaRegistry& registry) const {
  return evolution::check(*contents_, registry);
}

}  // namespace kr::zero::evolution
