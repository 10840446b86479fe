#include "EcoreImport.h"
#include "kr/zero/ecore/Ecore.h"

namespace kr::zero::ecore {

std::shared_ptr<const Mapping> loadMetaModels(const std::vector<std::string>& paths,
                                              meta::MetaRegistry& registry) {
  return std::make_shared<const Mapping>(EcoreImport(paths, registry).run());
}

}  // namespace kr::zero::ecore
