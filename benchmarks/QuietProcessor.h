/// @file
/// A parse processor that answers the reader's questions and builds nothing.
#pragma once

#include <vector>

#include "kr/zero/io/ParseProcessor.h"

namespace kr::zero::bench {

/// What is left of a read when nothing is done with what was read: the cost of walking the bytes.
class QuietProcessor : public io::ParseProcessor {
 public:
  QuietProcessor(io::ParseCustomizer& customizer, io::ParsingModelBuilder& builder);

  void reset() override;
  void setVersion(const ustring& version) override;
  bool push(const ustring& typeName, const ustring& id1, const ustring& id2) override;
  void pop(const ustring& name) override;
  io::PropertyCategory getPropertyCategory(const ustring& name) override;
  meta::Type getPropertyType(const ustring& name) override;
  bool isPropertyOptional(const ustring& name) override;
  void setValue(const ustring& name, const ustring& text) override;
  void setVerbatimValue(const ustring& name, const Value& value) override;
  void setEmptyValue(const ustring& name) override;
  void addDeferredReference(const ustring& targetType, const ustring& name, const ustring& id1,
                            const ustring& id2, const boost::optional<ustring>& qualifier) override;
  void processDeferred() override;
  void parseCompleted() override;

  /// Number of calls that brought an element, a value or a reference in the last parse. It shows that
  /// the walk took place.
  std::size_t getCalls() const noexcept { return calls_; }

 private:
  struct OpenElement {
    meta::StructuredType type;
    std::size_t slot = 0;  // where the property announced last stands
  };
  meta::StructuredType findType(const ustring& name);

  std::vector<OpenElement> open_;
  meta::StructuredType lastType_;
  meta::Property announced_;
  std::vector<io::PropertyCategory> categories_;  // by the property's index; none: not asked yet
  std::size_t calls_ = 0;
};

}  // namespace kr::zero::bench
