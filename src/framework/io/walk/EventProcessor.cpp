#include "kr/zero/io/EventProcessor.h"

#include <stdexcept>
#include <utility>

#include "kr/zero/KeptMemory.h"

namespace kr::zero::io {

EventProcessor::~EventProcessor() = default;
void EventProcessor::endDocument() {}
void EventProcessor::startRegisteredPackages() {}

void EventProcessor::setMetaRegistry(const meta::MetaRegistry& registry,
                                     std::vector<ustring> packageUris) noexcept {
  registry_ = &registry;
  packageUris_ = std::move(packageUris);
  containers_.clear();
}

void EventProcessor::endWalk() noexcept { clearAndGiveBack(containers_); }

meta::StructuredType EventProcessor::findType(const ustring& typeName) const {
  const meta::Type type = registry_->findType(typeName, packageUris_);
  return type ? meta::StructuredType(type) : meta::StructuredType();
}

void EventProcessor::pushContainerElementInfo(const ustring&, const ustring& typeName) {
  const meta::StructuredType type = findType(typeName);
  if (!type) throw std::invalid_argument("no structured type is named \"" + toUtf8(typeName) + "\"");
  containers_.push_back({type, 0});
}

void EventProcessor::popContainerElementInfo() {
  if (containers_.empty()) throw std::logic_error("no container is open");
  containers_.pop_back();
}

meta::StructuredType EventProcessor::getContainerType() const {
  if (containers_.empty()) throw std::invalid_argument("no type is being written");
  return containers_.back().type;
}

meta::Property EventProcessor::findProperty(const ustring& name) {
  if (containers_.empty()) throw std::invalid_argument("no type is being written");
  ContainerInfo& container = containers_.back();
  const std::size_t slot = container.type->findSlot(name, container.lastSlot);
  if (slot == meta::StructuredType::Impl::npos)
    throw std::invalid_argument("type " + container.type->qualifiedName() + " has no property \"" +
                                toUtf8(name) + "\"");
  container.lastSlot = slot;
  return container.type->getAllProperties()[slot];
}

}  // namespace kr::zero::io
