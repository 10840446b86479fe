#include "kr/zero/io/SerializeCustomizer.h"

#include <algorithm>
#include <unordered_set>

#include "kr/zero/TextHash.h"
#include "model/DocumentOrder.h"

namespace kr::zero::io {

using zero::internal::ElementRecord;
using zero::internal::ModelStore;
using zero::internal::TypeUse;

namespace {

/// Classes with instances, in document order of the first one.
std::vector<const TypeUse*> typesInDocumentOrder(const ModelStore& store) {
  std::vector<const TypeUse*> used;
  for (const TypeUse* use : store.typesInUse())
    if (use->live != 0 && use->cls) used.push_back(use);
  const auto samePackage = [&](const TypeUse* use) {
    return use->type->getPackageUri() == used.front()->type->getPackageUri();
  };
  if (isIndexOrderWritten(store) || std::all_of(used.begin(), used.end(), samePackage)) return used;

  used.clear();
  std::unordered_set<const TypeUse*> seen;
  forEachWritten(store, [&](const ElementRecord* record) {
    if (!used.empty() && used.back() == record->use) return;
    if (seen.insert(record->use).second) used.push_back(record->use);
  });
  return used;
}

}  // namespace

SerializeCustomizer::SerializeCustomizer(ustring identityPrefix)
    : identityPrefix_(std::move(identityPrefix)) {}
SerializeCustomizer::SerializeCustomizer(std::string_view identityPrefix)
    : identityPrefix_(toUstring(identityPrefix)) {}
SerializeCustomizer::~SerializeCustomizer() = default;

bool SerializeCustomizer::getIdentity(const ConstElement& element, ustring& id1, ustring& id2) const {
  const auto identity = element.getIdentity();
  if (!identity || identity->first == "#") return false;  // documents make these anew
  id1 = identityPrefix_ + toUstring(identity->first);
  id2 = toUstring(identity->second);
  return true;
}

std::vector<ustring> SerializeCustomizer::getPackageUris(const Model& model) const {
  std::vector<ustring> uris;
  std::unordered_set<std::u16string_view, TextHash> seen;  // texts of the types
  for (const TypeUse* use : typesInDocumentOrder(ModelStore::of(model))) {
    const ustring& uri = use->type->getPackageUri();
    if (seen.insert(uri).second) uris.push_back(uri);
  }
  return uris;
}

}  // namespace kr::zero::io
