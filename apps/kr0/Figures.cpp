#include "Figures.h"

namespace kr::zero::tool {

std::string counted(std::uint64_t count, const std::string& one, const std::string& many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::uint64_t bytesOf(meta::Property property, const io::TypeBytes& type) {
  for (const io::PropertyBytes& each : type.properties)
    if (each.property == property) return each.bytes;
  return 0;
}

}  // namespace kr::zero::tool
