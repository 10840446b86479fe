#include "kr/zero/evolution/Lock.h"

#include <algorithm>

#include "LockContents.h"

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
    const std::uint32_t number = property->getIdentifier();
    const bool isOwn = property->getOwner() == type;
    if (isOwn && property->isWritten()) {
      locked.numbers[number] = lockedFormOf(property);
    } else if (const auto old = locked.numbers.find(number); old != locked.numbers.end()) {
      if (old->second.name != property->name()) locked.numbers.erase(old);
    }
  }
}

void updateType(meta::Type type, LockedType& locked) {
  const LockedKind kind = lockedKindOf(type);
  if (kind != locked.kind) locked = {};
  locked.kind = kind;
  locked.isRetired = false;
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
