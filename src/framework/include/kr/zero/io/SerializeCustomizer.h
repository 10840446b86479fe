/// @file
/// What a host may decide about a serialization: identities and the list of packages.
#pragma once

#include <string_view>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/export.h"
#include "kr/zero/ustring.h"

namespace kr::zero::io {

/// What a serializer asks its host. This one gives elements the identities that they have in the model.
class KR0_FRAMEWORK_API SerializeCustomizer {
 public:
  /// @param identityPrefix is put in front of the first part of every identity that the document
  ///   writes, so that documents merged later keep theirs apart; empty: nothing is changed.
  explicit SerializeCustomizer(ustring identityPrefix = {});
  /// The same by UTF-8.
  explicit SerializeCustomizer(std::string_view identityPrefix);
  virtual ~SerializeCustomizer();

  /// The identity to write for an element.
  /// @param[out] id1,id2 the two parts; unchanged where the result is false.
  /// @return false for an element that has none. One that something refers to then gets a
  ///   document-local one.
  virtual bool getIdentity(const ConstElement& element, ustring& id1, ustring& id2) const;
  /// The package URIs to write: by default those of the classes in use, in document order of their
  /// first use.
  virtual std::vector<ustring> getPackageUris(const Model& model) const;

  /// What the constructor was given.
  const ustring& getIdentityPrefix() const noexcept { return identityPrefix_; }

 private:
  ustring identityPrefix_;
};

}  // namespace kr::zero::io
