/// @file
/// Internal: what a lock file holds.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "ValueForm.h"
#include "kr/zero/evolution/Lock.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::evolution {

struct LockedProperty {
  std::string name;
  std::string type;  ///< qualified name
  meta::PropertyKind kind = meta::PropertyKind::none;
  std::uint32_t lower = 0;
  std::int32_t upper = 1;
  bool isRetired = false;

  friend bool operator==(const LockedProperty&, const LockedProperty&) = default;
};

struct LockedLiteral {
  std::string name;
  bool isRetired = false;

  friend bool operator==(const LockedLiteral&, const LockedLiteral&) = default;
};

enum class LockedKind : std::uint8_t { primitive, enumeration, datatype, classType };

struct LockedType {
  LockedKind kind = LockedKind::classType;
  bool isRetired = false;
  std::set<std::string> supertypes;  ///< qualified names
  std::map<std::uint32_t, LockedProperty> numbers;
  std::map<std::int32_t, LockedLiteral> literals;
};

struct LockedPackage {
  std::string name;  ///< qualified
  std::map<std::string, LockedType> types;
};

struct Lock::Contents {
  std::map<std::string, LockedPackage> packages;  ///< by URI
};

/// How kinds of types and of properties are called in the file.
inline constexpr std::array kLockedKindNames{"primitive", "enumeration", "datatype", "class"};
inline constexpr std::array kPropertyKindNames{"none",     "number",   "enumeration", "text",       "uuid",
                                               "dateTime", "datatype", "composition", "association"};

LockedKind lockedKindOf(meta::Type type);
LockedProperty lockedFormOf(meta::Property property);
/// How its values stand in documents.
ValueForm formOf(const LockedProperty& property);
/// "String 0..1".
std::string describe(const LockedProperty& property);

/// The file's text.
std::string toText(const Lock::Contents& contents);
/// @throws std::exception where it is none; what() says why.
Lock::Contents fromText(std::string_view text);

std::vector<LockFinding> check(const Lock::Contents& contents, const meta::MetaRegistry& registry);

}  // namespace kr::zero::evolution
