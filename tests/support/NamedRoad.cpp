#include "support/NamedRoad.h"

#include <functional>
#include <utility>

#include "kr/zero/io/BinaryFormatter.h"

namespace kr::zero::test {

namespace {

class PassingTraverser : public io::ModelTraverser {
 public:
  explicit PassingTraverser(const io::ModelTraverser& to) : to_(to) {}
  io::PropertyCategory getPropertyCategory(meta::Property property) const override {
    return to_.getPropertyCategory(property);
  }
  std::vector<meta::Property> getProperties(meta::StructuredType type,
                                            io::PropertyCategory mask) const override {
    return to_.getProperties(type, mask);
  }
  bool isPropertyTransient(meta::Property property) const override {
    return to_.isPropertyTransient(property);
  }

 private:
  const io::ModelTraverser& to_;
};

class PassingCustomizer : public io::SerializeCustomizer {
 public:
  explicit PassingCustomizer(const io::SerializeCustomizer& to) : to_(to) {}
  bool getIdentity(const ConstElement& element, ustring& id1, ustring& id2) const override {
    return to_.getIdentity(element, id1, id2);
  }
  std::vector<ustring> getPackageUris(const Model& model) const override { return to_.getPackageUris(model); }

 private:
  const io::SerializeCustomizer& to_;
};

class PassingEvents : public io::EventProcessor {
 public:
  explicit PassingEvents(io::EventProcessor& to) : to_(to) {}

  void postprocess(const io::SerializationOutput& output) override { to_.postprocess(output); }
  void startDocument() override { to_.startDocument(); }
  void endDocument() override { to_.endDocument(); }
  void startRegisteredPackages() override { to_.startRegisteredPackages(); }
  void addRegisteredPackage(const ustring& uri) override { to_.addRegisteredPackage(uri); }
  void endRegisteredPackages() override { to_.endRegisteredPackages(); }
  io::CategoryMasks startObject(const ustring& property, const ustring& typeName, const ustring& id1,
                                const ustring& id2) override {
    return to_.startObject(property, typeName, id1, id2);
  }
  void endObject() override { to_.endObject(); }
  void textValue(const ustring& property, const ustring& text) override { to_.textValue(property, text); }
  void absentValue(const ustring& property) override { to_.absentValue(property); }
  void startStructuredProperty(const ustring& property) override { to_.startStructuredProperty(property); }
  void textElement(const ustring& property, const ustring& text) override { to_.textElement(property, text); }
  void endStructuredProperty() override { to_.endStructuredProperty(); }
  void primitiveValue(const ustring& property, const Value& value) override {
    to_.primitiveValue(property, value);
  }
  void startStructuredElement(const ustring& property) override { to_.startStructuredElement(property); }
  void primitiveElement(const ustring& property, const Value& value) override {
    to_.primitiveElement(property, value);
  }
  void endStructuredElement() override { to_.endStructuredElement(); }
  void emptyContainer(const ustring& property, const ustring& typeName) override {
    to_.emptyContainer(property, typeName);
  }
  void startContainer(const ustring& property, const ustring& typeName) override {
    to_.startContainer(property, typeName);
  }
  void endContainer() override { to_.endContainer(); }
  void referenceValue(const ustring& property, const ustring& targetType, const ustring& id1,
                      const ustring& id2) override {
    to_.referenceValue(property, targetType, id1, id2);
  }
  void referenceValueLong(const ustring& property, const ustring& targetType, const ustring& qualifier,
                          const ustring& id1, const ustring& id2) override {
    to_.referenceValueLong(property, targetType, qualifier, id1, id2);
  }
  void startStructuredEntry(const ustring& property) override { to_.startStructuredEntry(property); }
  void referenceElement(const ustring& property, const ustring& targetType, const ustring& id1,
                        const ustring& id2) override {
    to_.referenceElement(property, targetType, id1, id2);
  }
  void referenceElementLong(const ustring& property, const ustring& targetType, const ustring& qualifier,
                            const ustring& id1, const ustring& id2) override {
    to_.referenceElementLong(property, targetType, qualifier, id1, id2);
  }
  void endStructuredEntry() override { to_.endStructuredEntry(); }

 private:
  io::EventProcessor& to_;
};

}  // namespace

NamedWalk::NamedWalk(io::Serializer& real)
    : Serializer(std::make_unique<PassingTraverser>(real.getTraverser()),
                 std::make_unique<PassingCustomizer>(real.getCustomizer()),
                 std::make_unique<PassingEvents>(real.getEventProcessor())),
      real_(real) {}

void NamedWalk::serialize(const Model& model, const io::SerializationOutput& output) {
  // The walk tells this to the processor that passes events on; it is not one of the calls that are virtual.
  real_.getEventProcessor().setMetaRegistry(model.getRegistry(), real_.getCustomizer().getPackageUris(model));
  Serializer::serialize(model, output);
}

/// Passes tree events on to what the document at hand is written with.
class NamedTaggedSerializer::Relay : public modeling::sylvan::SylvanEventProcessor<void> {
 public:
  using Primitive = modeling::sylvan::SylvanPrimitive;
  modeling::sylvan::SylvanEventProcessor<void>* to = nullptr;

  void startDocument(const Primitive& value) override { to->startDocument(value); }
  void endDocument() override { to->endDocument(); }
  void startStruct() override { to->startStruct(); }
  void endStruct() override { to->endStruct(); }
  void startNamedEntry(const Primitive& name) override { to->startNamedEntry(name); }
  void endNamedEntry() override { to->endNamedEntry(); }
  void startSequence() override { to->startSequence(); }
  void endSequence() override { to->endSequence(); }
  void startMetadata() override { to->startMetadata(); }
  void endMetadata() override { to->endMetadata(); }
  void writePrimitive(const Primitive& value) override { to->writePrimitive(value); }
};

/// Lets the walk by named calls take place while the real serializer writes: only then does its event
/// processor know where tree events go.
class NamedTaggedSerializer::Hook : public io::SerializeCustomizer {
 public:
  /// What ends the real serializer's own walk before it begins.
  struct Done {};

  std::vector<ustring> getPackageUris(const Model& model) const override {
    if (!walk) return SerializeCustomizer::getPackageUris(model);
    std::exchange(walk, nullptr)();
    throw Done();
  }

  mutable std::function<void()> walk;
};

class NamedTaggedSerializer::Relayed : public io::BinaryKRSylvanSerializer {
 public:
  Relayed(std::unique_ptr<io::ModelTraverser> traverser, std::unique_ptr<Hook> made)
      : BinaryKRSylvanSerializer(std::move(traverser), std::move(made)),
        hook(static_cast<Hook&>(getCustomizer())) {}
  modeling::sylvan::SylvanEventProcessor<void>* getTarget(const io::SerializationOutput&) override {
    return &relay;
  }

  Hook& hook;
  Relay relay;
};

NamedTaggedSerializer::NamedTaggedSerializer(std::unique_ptr<Relayed> real)
    : NamedWalk(*real), real_(std::move(real)) {}

NamedTaggedSerializer::NamedTaggedSerializer(std::unique_ptr<io::ModelTraverser> traverser)
    : NamedTaggedSerializer(std::make_unique<Relayed>(std::move(traverser), std::make_unique<Hook>())) {}

NamedTaggedSerializer::~NamedTaggedSerializer() = default;

void NamedTaggedSerializer::serialize(const Model& model, const io::SerializationOutput& output) {
  io::BinaryFormatter formatter(output);
  real_->relay.to = &formatter;
  real_->hook.walk = [&] { NamedWalk::serialize(model, output); };
  try {
    real_->serialize(model, output);
  } catch (const Hook::Done&) {
  }
}

}  // namespace kr::zero::test
