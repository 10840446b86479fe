#include "kr/zero/meta/MetaRegistry.h"

#include <mutex>
#include <shared_mutex>
#include <utility>

#include "meta/RegistryContents.h"
#include "meta/RegistryLoader.h"
#include "meta/StandardTypeTable.h"

namespace kr::zero::meta {

MetaError::~MetaError() = default;

// Who adds holds `adding` all the time, and `guard` only while the finished additions move in: readers
// never wait for the checks. Under `adding` the contents may be read without `guard`.
struct MetaRegistry::State {
  std::mutex adding;
  mutable std::shared_mutex guard;
  RegistryContents contents;
};

MetaRegistry::MetaRegistry() : state_(std::make_unique<State>()) {
  for (const auto& type : getStandardTypes()) {
    state_->contents.typesByUtf8.emplace(type->getQualifiedNameUtf8(), Type(type.get()));
    state_->contents.typesByName.emplace(type->getQualifiedName(), Type(type.get()));
  }
}

MetaRegistry::~MetaRegistry() = default;

MetaRegistry& MetaRegistry::instance() {
  // Never destroyed: models in static objects may outlive any static registry.
  static MetaRegistry& registry = *new MetaRegistry;
  return registry;
}

void MetaRegistry::add(const std::vector<PackageDefinition>& packages) {
  const std::lock_guard adding(state_->adding);
  RegistryContents made = RegistryLoader(state_->contents).load(packages);
  const std::unique_lock guard(state_->guard);
  state_->contents.absorb(std::move(made));
}

void MetaRegistry::add(const PackageDefinition& package) { add(std::vector{package}); }

Type MetaRegistry::findType(std::string_view qualifiedName) const {
  const std::shared_lock guard(state_->guard);
  const auto it = state_->contents.typesByUtf8.find(qualifiedName);
  return it == state_->contents.typesByUtf8.end() ? Type() : it->second;
}

Type MetaRegistry::findType(std::u16string_view qualifiedName) const {
  const std::shared_lock guard(state_->guard);
  const auto it = state_->contents.typesByName.find(qualifiedName);
  return it == state_->contents.typesByName.end() ? Type() : it->second;
}

bool MetaRegistry::hasPackage(std::string_view uri) const {
  const std::shared_lock guard(state_->guard);
  return state_->contents.packageUris.contains(uri);
}

std::vector<PackageInfo> MetaRegistry::getPackages() const {
  const std::shared_lock guard(state_->guard);
  return state_->contents.packages;
}

}  // namespace kr::zero::meta
