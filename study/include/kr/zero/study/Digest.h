/// @file
/// A digest of what a model says, whatever document it came from.
///
///     if (digestOf(loadModel("books.krb")) == digestOf(loadModel("books.krt"))) saySame();
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "kr/zero/Model.h"
#include "kr/zero/study/export.h"

namespace kr::zero::study {

/// A SHA-256 digest.
struct KR0_STUDY_API Digest {
  std::array<std::uint8_t, 32> bytes{};  ///< as SHA-256 defines them
  /// 64 hexadecimal digits, small letters.
  std::string toText() const;
  /// Whether both are the same.
  friend bool operator==(const Digest&, const Digest&) = default;
};

/// The digest of a model's content (docs/formats/digest.md says which bytes are hashed): roots in their
/// order, classes by package and name, identities, and of each property that documents carry its name, state
/// and values. Targets of references count by their place in the model, unresolved ones by their texts.
///
/// The order of properties in the meta model and their numbers do not matter, so the digest stays the same
/// when a meta model only moves or renumbers its properties. A Real of -0.0 counts as 0.0 and every NaN as
/// the same one, for not all formats tell these apart.
///
/// Time grows with the size of the model; memory with the number of its elements and the depth.
/// @throws std::bad_alloc
KR0_STUDY_API Digest digestOf(const Model& model);

}  // namespace kr::zero::study
