/// @file
/// Ecore meta models and XMI models, into the framework and back.
///
///     kr::zero::meta::MetaRegistry registry;
///     auto mapping = kr::zero::ecore::loadMetaModels({"library.ecore"}, registry);
///     kr::zero::Model model = kr::zero::ecore::readXmiFile("books.xmi", *mapping);
///     std::string xmi = kr::zero::ecore::writeXmi(model, *mapping);
///
/// Paths are UTF-8.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/ecore/export.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::ecore {

/// A document that cannot be taken in or written out. The text is one sentence: file, line where there
/// is one, what is wrong.
class KR0_ECORE_API EcoreError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  ~EcoreError() override;
};

/// What an .ecore file says beyond the meta model itself: namespace prefixes, names in XML, identity
/// attributes, features that cannot be stored. Belongs to the registry that it was loaded into, which
/// must outlive it. Immutable; safe to share between threads.
class KR0_ECORE_API Mapping {
 public:
  struct Impl;
  explicit Mapping(std::unique_ptr<const Impl> impl);
  ~Mapping();
  const Impl& impl() const noexcept { return *impl_; }

 private:
  std::unique_ptr<const Impl> impl_;
};

/// Takes .ecore files, which may refer to each other, into a registry.
/// @throws EcoreError for a file that cannot be read or is not Ecore, or a type that is in none of the
///   files; meta::MetaError where the registry refuses the result.
KR0_ECORE_API std::shared_ptr<const Mapping> loadMetaModels(const std::vector<std::string>& paths,
                                                            meta::MetaRegistry& registry);

/// Writes the packages that were loaded through a mapping as an .ecore document again: same packages,
/// types, properties, bounds, markers, literals, defaults, opposites; property numbers are pinned by
/// annotations where `pinIdentifiers` says so.
/// @param packageUri the root package to write.
KR0_ECORE_API std::string writeEcore(const Mapping& mapping, std::string_view packageUri,
                                     bool pinIdentifiers = false);

/// Hears how far a long reading or writing has come, 0 to 1. May be empty.
using Progress = std::function<void(double)>;

/// Reads an XMI document.
/// @param name what error texts call the document.
/// @throws EcoreError.
KR0_ECORE_API Model readXmi(std::string_view document, std::string_view name, const Mapping& mapping,
                            const Progress& progress = {});
KR0_ECORE_API Model readXmiFile(const std::string& path, const Mapping& mapping,
                                const Progress& progress = {});

/// Writes a model as an XMI document in UTF-8.
/// @throws EcoreError for a model that XMI cannot express.
KR0_ECORE_API std::string writeXmi(const Model& model, const Mapping& mapping, const Progress& progress = {});

/// Whether a document looks like XML, from its first bytes (byte-order marks and blanks allowed).
KR0_ECORE_API bool looksLikeXml(std::string_view head);

}  // namespace kr::zero::ecore
