/// @file
/// The events of a walk over a model: what a format's writer implements.
#pragma once

#include <vector>

#include "kr/zero/Value.h"
#include "kr/zero/export.h"
#include "kr/zero/io/CategoryMasks.h"
#include "kr/zero/io/SerializationOutput.h"
#include "kr/zero/meta/MetaRegistry.h"
#include "kr/zero/ustring.h"

namespace kr::zero::io {

/// Receives the events of Serializer's walk, in this order: startDocument; startRegisteredPackages,
/// addRegisteredPackage per package, endRegisteredPackages; the object tree; endDocument; postprocess.
///
/// A property is named by its name in the type that is being written; an empty name stands for the
/// top of the document. Strings passed in are only valid during the call, except that a property's
/// or type's name is always the meta model's own string, whose address does not change.
class KR0_FRAMEWORK_API EventProcessor {
 public:
  virtual ~EventProcessor();
  /// Delivers the result.
  virtual void postprocess(const SerializationOutput& output) = 0;
  /// A document begins: what an earlier one left behind is to go.
  virtual void startDocument() = 0;
  /// The last object has ended.
  virtual void endDocument();
  /// The list of packages begins.
  virtual void startRegisteredPackages();
  /// A package that the document uses.
  virtual void addRegisteredPackage(const ustring& uri) = 0;
  /// The list of packages ends.
  virtual void endRegisteredPackages() = 0;
  /// @param id1,id2 the two parts of the element's identity, or two empty texts.
  /// @return the masks by which the walk visits the object's properties, one pass per mask.
  virtual CategoryMasks startObject(const ustring& property, const ustring& typeName, const ustring& id1,
                                    const ustring& id2) = 0;
  /// The object that was started last, and not ended, ends.
  virtual void endObject() = 0;
  /// A single value as text.
  virtual void textValue(const ustring& property, const ustring& text) = 0;
  /// An explicitly empty single value.
  virtual void absentValue(const ustring& property) = 0;
  /// Opens a collection of texts.
  virtual void startStructuredProperty(const ustring& property) = 0;
  /// An item of the open collection, as text; counts as one.
  virtual void textElement(const ustring& property, const ustring& text) = 0;
  /// Ends the collection of texts.
  virtual void endStructuredProperty() = 0;
  /// A single typed value.
  virtual void primitiveValue(const ustring& property, const Value& value) = 0;
  /// Opens a collection of typed values; each is sent as textElement with an empty text and then
  /// primitiveElement.
  virtual void startStructuredElement(const ustring& property) = 0;
  /// The typed value of the item that textElement() has counted.
  virtual void primitiveElement(const ustring& property, const Value& value) = 0;
  /// Ends the collection of typed values.
  virtual void endStructuredElement() = 0;
  /// A datatype value without any set property.
  virtual void emptyContainer(const ustring& property, const ustring& typeName) = 0;
  /// Opens a datatype value.
  virtual void startContainer(const ustring& property, const ustring& typeName) = 0;
  /// Ends the datatype value that was started last, and not ended.
  virtual void endContainer() = 0;
  /// A single reference to an element of the document.
  virtual void referenceValue(const ustring& property, const ustring& targetType, const ustring& id1,
                              const ustring& id2) = 0;
  /// A single reference that names the document of its target.
  virtual void referenceValueLong(const ustring& property, const ustring& targetType,
                                  const ustring& qualifier, const ustring& id1, const ustring& id2) = 0;
  /// Opens a collection of references.
  virtual void startStructuredEntry(const ustring& property) = 0;
  /// An item of the open collection of references; counts as one.
  virtual void referenceElement(const ustring& property, const ustring& targetType, const ustring& id1,
                                const ustring& id2) = 0;
  /// The same, with the document of the target.
  virtual void referenceElementLong(const ustring& property, const ustring& targetType,
                                    const ustring& qualifier, const ustring& id1, const ustring& id2) = 0;
  /// Ends the collection of references.
  virtual void endStructuredEntry() = 0;

  /// Where type names are looked up; the process's registry unless set. Must outlive the processor's
  /// use. Also forgets whatever a walk that failed left behind.
  /// @param packageUris the packages whose types are meant where several packages share a name.
  void setMetaRegistry(const meta::MetaRegistry& registry, std::vector<ustring> packageUris = {}) noexcept;

 protected:
  /// Notes that the properties of the events that follow are those of the type named `typeName`,
  /// until the matching pop. `property` is the one that holds it, empty at the top.
  /// @throws std::invalid_argument for a type that the registry does not know or that has no
  ///   properties.
  void pushContainerElementInfo(const ustring& property, const ustring& typeName);
  /// @throws std::logic_error with nothing pushed.
  void popContainerElementInfo();
  /// The type named by the innermost push.
  /// @throws std::invalid_argument where nothing is pushed.
  meta::StructuredType getContainerType() const;
  /// The property of that name in the type being written.
  /// @throws std::invalid_argument where nothing is pushed or the type has none of that name.
  meta::Property findProperty(const ustring& name);

 private:
  friend class Serializer;
  struct ContainerInfo {
    meta::StructuredType type;
    std::size_t lastSlot = 0;
  };
  meta::StructuredType findType(const ustring& typeName) const;
  /// Forgets the walk, however it ended.
  void endWalk() noexcept;

  const meta::MetaRegistry* registry_ = &meta::MetaRegistry::instance();
  std::vector<ustring> packageUris_;
  std::vector<ContainerInfo> containers_;
};

}  // namespace kr::zero::io
