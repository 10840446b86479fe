/// @file
/// Forces walks and reads onto the named calls, as a host's own processors get them.
///
/// A processor may offer operations in larger units beside the named ones. These here offer none: they pass
/// on, or inherit, the named calls only. What comes of a model or document must not depend on it.
#pragma once

#include <memory>
#include <string>

#include "kr/zero/io/BinaryKRSylvanSerializer.h"
#include "kr/zero/io/BinarySerializer.h"
#include "kr/zero/io/EventProcessor.h"
#include "kr/zero/io/ParseProcessor.h"
#include "kr/zero/io/Parser.h"
#include "kr/zero/io/Serializer.h"

namespace kr::zero::test {

/// Walks with the collaborators of another serializer; its event processor hears the named calls.
class NamedWalk : public io::Serializer {
 public:
  /// @param real must outlive this.
  explicit NamedWalk(io::Serializer& real);
  const char* getFullyQualifiedVornTypeName() const override { return real_.getFullyQualifiedVornTypeName(); }
  void serialize(const Model& model, const io::SerializationOutput& output) override;

 private:
  io::Serializer& real_;
};

/// The writer of the direct format on the named road.
class NamedDirectSerializer : public NamedWalk {
 public:
  NamedDirectSerializer() : NamedDirectSerializer(std::make_unique<io::BinarySerializer>()) {}
  void setShouldSerializeAssociations(bool should) { real_->setShouldSerializeAssociations(should); }

 private:
  explicit NamedDirectSerializer(std::unique_ptr<io::BinarySerializer> real)
      : NamedWalk(*real), real_(std::move(real)) {}

  std::unique_ptr<io::BinarySerializer> real_;
};

/// The writer of the tagged format on the named road; the tree events pass through a processor of ours, too.
class NamedTaggedSerializer : public NamedWalk {
 public:
  explicit NamedTaggedSerializer(
      std::unique_ptr<io::ModelTraverser> traverser = std::make_unique<io::ModelTraverser>());
  ~NamedTaggedSerializer() override;
  void serialize(const Model& model, const io::SerializationOutput& output) override;

 private:
  class Relay;
  class Hook;
  class Relayed;
  explicit NamedTaggedSerializer(std::unique_ptr<Relayed> real);

  std::unique_ptr<Relayed> real_;
};

/// A parse processor of a host's: counts some calls and leaves all to its base.
class CountingProcessor : public io::ParseProcessor {
 public:
  using ParseProcessor::ParseProcessor;

  bool push(const ustring& typeName, const ustring& id1, const ustring& id2) override {
    return ++pushes_, ParseProcessor::push(typeName, id1, id2);
  }
  io::PropertyCategory getPropertyCategory(const ustring& name) override {
    return ++properties_, ParseProcessor::getPropertyCategory(name);
  }

  std::size_t getPushes() const { return pushes_; }
  std::size_t getProperties() const { return properties_; }

 private:
  std::size_t pushes_ = 0;
  std::size_t properties_ = 0;
};

/// A parse processor of a host's that overrides nothing.
class InheritingProcessor : public io::ParseProcessor {
 public:
  using ParseProcessor::ParseProcessor;
};

/// Puts a processor of a host's in the place of the parser's own.
template <class Processor>
Processor& putProcessor(io::Parser& parser) {
  auto made =
      std::make_unique<Processor>(parser.getParseProcessor()->getCustomizer(), parser.getModelBuilder());
  Processor& processor = *made;
  parser.setParseProcessor(std::move(made));
  return processor;
}

}  // namespace kr::zero::test
