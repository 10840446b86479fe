/// @file
/// Where a serializer puts its result: one of six kinds, chosen by the caller.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "kr/zero/Value.h"
#include "kr/zero/export.h"
#include "kr/zero/ustring.h"

namespace kr::zero::io {

/// Holds a path, or a reference to an output of the caller's, which must outlive the serialization.
class KR0_FRAMEWORK_API SerializationOutput {
 public:
  /// One operation per kind; a serializer overrides those that it supports.
  class KR0_FRAMEWORK_API Visitor {
   public:
    virtual ~Visitor();
    ///@{
    /// The kind of that name.
    virtual void visitFile(const ustring& path) = 0;
    virtual void visitStream(std::ostream& stream) = 0;
    virtual void visitString(std::string& string) = 0;
    virtual void visitUString(ustring& string) = 0;
    virtual void visitIntermediateFormat(void* intermediate) = 0;
    virtual void visitLittleEndianByteSequence(std::vector<unsigned char>& bytes) = 0;
    ///@}
    /// For hosts with outputs that take a framework value; does nothing unless overridden.
    virtual void visitValue(std::optional<Value>& value);
  };

  ///@{
  /// An output of that kind. A path is UTF-16.
  static SerializationOutput toFile(ustring path);
  static SerializationOutput toStream(std::ostream& stream);
  static SerializationOutput toString(std::string& string);
  static SerializationOutput toUString(ustring& string);
  static SerializationOutput toIntermediateFormat(void* intermediate);
  static SerializationOutput toByteSequence(std::vector<unsigned char>& bytes);
  ///@}

  /// Calls the operation of the kind that this holds.
  void visitOutput(Visitor& visitor) const;

 private:
  using Target =
      std::variant<ustring, std::ostream*, std::string*, ustring*, void*, std::vector<unsigned char>*>;
  explicit SerializationOutput(Target target) : target_(std::move(target)) {}
  Target target_;
};

}  // namespace kr::zero::io
