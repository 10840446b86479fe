#include "kr/zero/io/SerializeCustomizer.h"

#include <algorithm>

#include "model/DocumentOrder.h"

namespace kr::zero::io {

using internal::ElementRecord;
using internal::ModelStore;
using internal::TypePlan;

namespace {

/// Classes with instances, in document order of the first one.
std::vector<const TypePlan*> plansInDocumentOrder(const ModelStore& store) {
  std::vector<const TypePlan*> used;
  for (const TypePlan* plan : store.plansInUse())
    if (plan->live != 0 && plan->cls) used.push_back(plan);
  const auto samePackage = [&](const TypePlan* plan) {
    return plan->type->getPackageUri() == used.front()->type->getPackageUri();
  };
  if (isIndexOrderWritten(store) || std::all_of(used.begin(), used.end(), samePackage)) return used;

  used.clear();
  forEachWritten(store, [&](const ElementRecord* record) {
    if (std::find(used.rbegin(), used.rend(), record->plan) == used.rend()) used.push_back(record->plan);
  });
  return used;
}

}  // namespace

SerializeCustomizer::SerializeCustomizer(ustring identityPrefix)
    : identityPrefix_(std::move(identityPrefix)) {}
SerializeCustomizer::~SerializeCustomizer() = default;

bool SerializeCustomizer::getIdentity(const Element& element, ustring& id1, ustring& id2) const {
  const auto identity = element.getIdentity();
  if (!identity || identity->first == "#") return false;  // documents make these anew
  id1 = identityPrefix_ + toUstring(identity->first);
  id2 = toUstring(identity->second);
  return true;
}

std::vector<ustring> SerializeCustomizer::getPackageUris(const Model& model) const {
  std::vector<ustring> uris;
  for (const TypePlan* plan : plansInDocumentOrder(ModelStore::of(model))) {
    const ustring& uri = plan->type->getPackageUri();
    if (std::find(uris.begin(), uris.end(), uri) == uris.end()) uris.push_back(uri);
  }
  return uris;
}

}  // namespace kr::zero::io
