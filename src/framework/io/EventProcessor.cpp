#include "kr/zero/io/EventProcessor.h"

#include <stdexcept>

namespace kr::zero::io {

EventProcessor::~EventProcessor() = default;
void EventProcessor::endDocument() {}
void EventProcessor::startRegisteredPackages() {}

void EventProcessor::setMetaRegistry(const meta::MetaRegistry& registry) noexcept {
  registry_ = &registry;
  containers_.clear();
  known_.fill({});
}

// A walk passes each type's own name string. An entry made from such a string answers by its address
// alone; any other string is looked up.
meta::StructuredType EventProcessor::findType(const ustring& typeName) {
  KnownType& known = known_[reinterpret_cast<std::uintptr_t>(&typeName) / sizeof(ustring) % known_.size()];
  if (known.name == &typeName) return known.type;
  const meta::Type type = registry_->findType(typeName);
  const meta::StructuredType structured = type ? meta::StructuredType(type) : meta::StructuredType();
  if (structured && &structured->getQualifiedName() == &typeName) known = {&typeName, structured};
  return structured;
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
    throw std::invalid_argument("type " + container.type->getQualifiedNameUtf8() + " has no property \"" +
                                toUtf8(name) + "\"");
  container.lastSlot = slot;
  return container.type->getAllProperties()[slot];
}

}  // namespace kr::zero::io
