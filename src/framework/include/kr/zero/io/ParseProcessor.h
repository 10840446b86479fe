/// @file
/// What a format's reader calls: one operation per thing found in a document.
#pragma once

#include <boost/optional/optional_fwd.hpp>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kr/zero/Error.h"
#include "kr/zero/Value.h"
#include "kr/zero/export.h"
#include "kr/zero/io/ParseCustomizer.h"
#include "kr/zero/io/ParsingModelBuilder.h"
#include "kr/zero/io/PropertyCategory.h"
#include "kr/zero/log/Span.h"
#include "kr/zero/ustring.h"

namespace kr::zero::io {

class BulkParseProcessor;
struct ParseOptions;

/// A value in a document that its property cannot hold. The text names element, property, expected and
/// found.
class KR0_FRAMEWORK_API ValueError : public zero::Error {
 public:
  ///@{
  /// From what is wrong, with its place or without.
  explicit ValueError(const std::string& problem) : zero::Error(ErrorCode::doesNotFit, problem) {}
  explicit ValueError(ErrorDetails details) : zero::Error(ErrorCode::doesNotFit, std::move(details)) {}
  ///@}
  ~ValueError() override;
};

/// Checks what a reader finds against the meta model and builds the model. Every operation is virtual:
/// a test or host can put its own recorder in place.
///
/// Readers call, for each property of the innermost element, getPropertyCategory first. That call
/// announces the property: a collection of primitives or references is set from then on, be it empty;
/// for a datatype or composition the next push makes an element in that property.
class KR0_FRAMEWORK_API ParseProcessor {
 public:
  /// The collaborators are not owned and must outlive the processor.
  ParseProcessor(ParseCustomizer& customizer, ParsingModelBuilder& builder);
  virtual ~ParseProcessor();
  ParseProcessor(const ParseProcessor&) = delete;
  ParseProcessor& operator=(const ParseProcessor&) = delete;

  /// Starts over: empty model, nothing open, no problems.
  virtual void reset();

  /// The document's version, as text.
  virtual void setVersion(const ustring& version);
  /// Who decides on packages and type names.
  virtual ParseCustomizer& getCustomizer();
  /// Opens an element in the property announced last, or at the top when nothing is open.
  /// @param id1,id2 identity; two empty texts for none.
  /// @return false where the type is unknown, abstract, not a class, or does not fit the property, or
  ///   the property is full; getProblems() says which.
  virtual bool push(const ustring& typeName, const ustring& id1, const ustring& id2);
  /// Closes the innermost element. `name` is the property that it is in, or its type name at the top.
  virtual void pop(const ustring& name);
  /// @throws ValueError for a name that the innermost element does not have, here and below.
  virtual PropertyCategory getPropertyCategory(const ustring& name);
  /// The type of a property of the innermost element.
  virtual meta::Type getPropertyType(const ustring& name);
  /// Whether a property of the innermost element is 0..1.
  virtual bool isPropertyOptional(const ustring& name);
  /// Converts the text to the property's type.
  /// @throws ValueError where that fails.
  virtual void setValue(const ustring& name, const ustring& text);
  /// @throws ValueError where the value is not of the property's type, or an enumeration has no
  ///   literal of the number.
  virtual void setVerbatimValue(const ustring& name, const Value& value);
  /// Sets a property to be explicitly empty.
  /// @throws ValueError where it cannot be.
  virtual void setEmptyValue(const ustring& name);
  /// Notes a reference, which processDeferred() resolves.
  /// @param qualifier the document that the target is in; none: this one.
  /// @throws ValueError where the property is no association.
  virtual void addDeferredReference(const ustring& targetType, const ustring& name, const ustring& id1,
                                    const ustring& id2, const boost::optional<ustring>& qualifier);
  /// Resolves all references; those to elements that are not here stay unresolved. A document with two
  /// elements of one identity, or a reference to an element of the wrong class, gets a problem.
  virtual void processDeferred();
  /// The reader is through with the document, however it ended. Does nothing unless overridden.
  virtual void parseCompleted();

  /// Why the document was refused, a sentence each.
  const std::vector<std::string>& getProblems() const noexcept;
  /// Adds a reason; also written to the span that setSpan named.
  void addProblem(std::string problem);
  /// Number of elements that are open.
  std::size_t getDepth() const noexcept;
  /// Path of the innermost open element ("/library/books[3]"), "/" where none is open.
  std::string getPath() const;
  /// What setVersion() was given.
  const ustring& getVersion() const noexcept;
  /// Where problems are written down as well.
  void setSpan(const log::Span& span);

 private:
  friend class Parser;
  /// Begins a document: reset(), and what this class keeps starts over even where an override forgets it.
  /// @param options must live until the document ends.
  void startOver(const ParseOptions& options);
  /// Ends a document: what was read it by goes, what getDepth(), getPath() and getProblems() tell stays.
  void giveBackMemory() noexcept;
  friend KR0_FRAMEWORK_API BulkParseProcessor* bulkOf(ParseProcessor& processor);
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace kr::zero::io
