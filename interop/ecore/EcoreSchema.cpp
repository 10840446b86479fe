#include "EcoreFiles.h"
#include "WholeEcore.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::ecore {

namespace {

/// The registry and what stands upon it.
struct Schema {
  meta::MetaRegistry registry;
  Mapping::Impl mapping{registry};

  Schema() {
    registry.add(wholeEcore());
    mapping.addKnownPackages();
    for (const char* name : {"contents", "references"}) {
      const meta::Class annotation(registry.findType(std::string_view("ecore.EAnnotation")));
      mapping.make(annotation->findProperty(std::string_view(name))).isIgnored = true;
    }
  }
};

}  // namespace

const Mapping::Impl& ecoreSchema() {
  static const Schema schema;
  return schema.mapping;
}

}  // namespace kr::zero::ecore
