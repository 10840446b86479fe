/// @file
/// Base of the serializers that write a model as tree events.
///
///     struct Printer final : kr::zero::io::KRSylvanSerializer {
///       using KRSylvanSerializer::KRSylvanSerializer;
///       const char* getFullyQualifiedVornTypeName() const override { return "my.Printer"; }
///       modeling::sylvan::SylvanEventProcessor<void>* getTarget(
///           const kr::zero::io::SerializationOutput&) override { return &events; }
///       MyEvents events;
///     };
#pragma once

#include <memory>

#include "kr/zero/export.h"
#include "kr/zero/io/ModelTraverser.h"
#include "kr/zero/io/SerializeCustomizer.h"
#include "kr/zero/io/Serializer.h"
#include "modeling/sylvan/SylvanEventProcessor.h"
#include "modeling/sylvan/SylvanUnitProcessor.h"

namespace kr::zero::io {

/// Walks a model and sends it as one document of tree events:
///
///     document: metadata: version -> 1, packages -> sequence of texts
///               sequence: object*
///     object:   metadata: type -> text [, id -> sequence of two texts]
///               struct: (property name -> value)*
///     value:    a primitive | null (explicitly empty) | sequence of values | object | sequence of objects
///               | struct (a datatype) | sequence of structs
///               | struct: type, id [, qualifier] (a reference) | sequence of such structs
///
/// A Boolean travels as boolean, a Real as real, integers as unsigned integers where their type has no
/// negative values and as signed ones where it has, an enumeration as its literal's name, all else as
/// text in UTF-8. A collection that is set and holds nothing is an empty sequence; an unset property has
/// no entry.
///
/// Events go out during the walk: a model that proves unwritable half way leaves its target with the
/// events up to there.
class KR0_FRAMEWORK_API KRSylvanSerializer : public Serializer {
 public:
  /// @param traverser decides what is visited. The serializer puts one of its own around it that lets
  ///   numbers travel as numbers; getTraverser() gives that one.
  KRSylvanSerializer(std::unique_ptr<ModelTraverser> traverser,
                     std::unique_ptr<SerializeCustomizer> customizer);
  ~KRSylvanSerializer() override;

  /// Asks getTarget for a target, then sends it the document.
  /// @throws SerializeError for a model that cannot be written; what getTarget and the target raise
  ///   passes through.
  void serialize(const Model& model, const SerializationOutput& output) override;

  /// Who receives the events of the document that goes to `output`: not null, and valid until the next
  /// call or the end of the serializer.
  virtual modeling::sylvan::SylvanEventProcessor<void>* getTarget(const SerializationOutput& output) = 0;

 protected:
  /// For getTarget: if `target` is the one that it gives in the end, and not something around it, `units` may
  /// be sent what belongs together, in the place of the events to `target`. Not owned; both must live as
  /// long.
  void offerUnits(modeling::sylvan::SylvanEventProcessor<void>& target,
                  modeling::sylvan::SylvanUnitProcessor& units) noexcept;

 private:
  modeling::sylvan::SylvanEventProcessor<void>* targetOfUnits_ = nullptr;
  modeling::sylvan::SylvanUnitProcessor* units_ = nullptr;
};

}  // namespace kr::zero::io
