/// @file
/// Where a parser reads from: one of six kinds, chosen by the caller.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "kr/zero/Value.h"
#include "kr/zero/export.h"
#include "kr/zero/ustring.h"

namespace kr::zero::io {

/// Holds a path, or a reference to an input of the caller's, which must outlive the parse.
class KR0_FRAMEWORK_API ParsingInput {
 public:
  /// One operation per kind; a parser overrides those that it supports.
  class KR0_FRAMEWORK_API Visitor {
   public:
    virtual ~Visitor();
    ///@{
    /// The kind of that name.
    virtual void visitFile(const ustring& path) = 0;
    virtual void visitStream(std::istream& stream) = 0;
    virtual void visitString(const std::string& string) = 0;
    virtual void visitUString(const ustring& string) = 0;
    virtual void visitIntermediateFormat(const void* intermediate) = 0;
    virtual void visitLittleEndianByteSequence(const std::vector<unsigned char>& bytes) = 0;
    ///@}
    /// For hosts with inputs that hold a framework value; does nothing unless overridden.
    virtual void visitValue(const std::optional<Value>& value);
  };

  ///@{
  /// An input of that kind. A path is UTF-16.
  static ParsingInput fromFile(ustring path);
  static ParsingInput fromStream(std::istream& stream);
  static ParsingInput fromString(const std::string& string);
  static ParsingInput fromUString(const ustring& string);
  ///@}
  // A temporary would be gone before the parse.
  static ParsingInput fromString(std::string&& string) = delete;
  static ParsingInput fromUString(ustring&& string) = delete;
  ///@{
  /// An input of that kind.
  static ParsingInput fromIntermediateFormat(const void* intermediate);
  static ParsingInput fromByteSequence(const std::vector<unsigned char>& bytes);
  ///@}
  static ParsingInput fromByteSequence(std::vector<unsigned char>&& bytes) = delete;

  /// Calls the operation of the kind that this holds.
  void visitInput(Visitor& visitor) const;

 private:
  using Source = std::variant<ustring, std::istream*, const std::string*, const ustring*, const void*,
                              const std::vector<unsigned char>*>;
  explicit ParsingInput(Source source) : source_(std::move(source)) {}
  Source source_;
};

}  // namespace kr::zero::io
