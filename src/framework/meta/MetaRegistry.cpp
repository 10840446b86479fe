#include "kr/zero/meta/MetaRegistry.h"

#include <atomic>
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
  // Readers that come while additions wait to move in wait too: without that, readers that follow each
  // other closely would keep `guard` forever.
  std::atomic<bool> moving{false};
  RegistryContents contents;

  std::shared_lock<std::shared_mutex> lockForReading() const {
    moving.wait(true, std::memory_order_relaxed);
    return std::shared_lock(guard);
  }
  void moveIn(RegistryContents&& made);
};

void MetaRegistry::State::moveIn(RegistryContents&& made) {
  struct Announcement {
    std::atomic<bool>& moving;
    explicit Announcement(std::atomic<bool>& flag) : moving(flag) { moving = true; }
    ~Announcement() {
      moving = false;
      moving.notify_all();
    }
  };
  const Announcement announcement(moving);
  const std::unique_lock lock(guard);
  contents.absorb(std::move(made));
}

MetaRegistry::MetaRegistry() : state_(std::make_unique<State>()) {
  for (const auto& type : getStandardTypes()) {
    state_->contents.typesByUtf8.emplace(type->qualifiedName(), Type(type.get()));
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
  state_->moveIn(RegistryLoader(state_->contents).load(packages));
}

void MetaRegistry::add(const PackageDefinition& package) { add(std::vector{package}); }

Type MetaRegistry::findType(std::string_view qualifiedName) const {
  const auto lock = state_->lockForReading();
  return state_->contents.find(qualifiedName);
}

Type MetaRegistry::findType(std::u16string_view qualifiedName) const {
  const auto lock = state_->lockForReading();
  const auto it = state_->contents.typesByName.find(qualifiedName);
  return it == state_->contents.typesByName.end() ? Type() : it->second;
}

Type MetaRegistry::findType(std::u16string_view qualifiedName,
                            const std::vector<ustring>& packageUris) const {
  const Type first = findType(qualifiedName);
  if (!first) return first;
  const auto lock = state_->lockForReading();
  if (state_->contents.typesOfSharedNames.empty()) return first;
  for (const ustring& uri : packageUris) {
    if (first->getPackageUri() == uri) return first;
    if (const Type other = state_->contents.findShared(toUtf8(uri), first->qualifiedName())) return other;
  }
  return first;
}

bool MetaRegistry::hasPackage(std::string_view uri) const { return findPackageName(uri).has_value(); }

std::optional<std::string> MetaRegistry::findPackageName(std::string_view uri) const {
  const auto lock = state_->lockForReading();
  const auto it = state_->contents.packageNamesByUri.find(uri);
  if (it == state_->contents.packageNamesByUri.end()) return std::nullopt;
  return it->second;
}

std::vector<PackageInfo> MetaRegistry::getPackages() const {
  const auto lock = state_->lockForReading();
  return state_->contents.packages;
}

}  // namespace kr::zero::meta
