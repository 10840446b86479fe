/// @file
/// Internal: which numbers are written into .ecore files.
#pragma once

#include <cstdint>
#include <functional>
#include <pugixml.hpp>
#include <string_view>
#include <vector>

#include "MappingImpl.h"
#include "XmlDocument.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::ecore {

/// Keys of the annotation with the source kBinarySource.
inline constexpr const char* kNumberKey = "id";  ///< of a feature: its number
inline constexpr const char* kLastNumberKey =
    "lastId";  ///< of a class: the highest number that its elements ever had

struct PinPlan {
  std::vector<std::uint32_t> numbers;  ///< by the property's index; 0: it has none
  std::vector<std::uint32_t> last;     ///< by the type's index; 0: none is written
};

/// The numbers that the registry gave, and no last ones.
PinPlan planAsNumbered(const Mapping::Impl& mapping);

/// The numbers that the registry gave, but for new properties none that may have been another's before.
/// @throws EcoreError where no number is left, or a last one is none.
PinPlan planForGood(const Mapping::Impl& mapping);

/// Calls visit(element, class) for each EClass element of a file that is a class of the registry.
void forEachClass(const XmlDocument& document, const Mapping::Impl& mapping,
                  const std::function<void(pugi::xml_node, meta::Class)>& visit);

/// The elements inside of an Ecore element that are values of the feature of that name, with a prefix or
/// without. No other prefix than Ecore's comes so far: reading the file has looked at them.
std::vector<pugi::xml_node> childrenOf(pugi::xml_node node, std::string_view name);

/// A text attribute of an Ecore element, given as XML attribute or as element.
std::string valueOf(pugi::xml_node node, std::string_view name);

/// The `details` elements of that key in annotations of kBinarySource.
std::vector<pugi::xml_node> binaryDetails(pugi::xml_node node, std::string_view key);

}  // namespace kr::zero::ecore
