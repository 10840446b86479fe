/// @file
/// What a host may decide about a parse: which packages are accepted and what type names mean.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "kr/zero/export.h"
#include "kr/zero/meta/MetaRegistry.h"
#include "kr/zero/ustring.h"

namespace kr::zero::io {

/// Accepts the packages that a registry knows, and finds types there.
class KR0_FRAMEWORK_API ParseCustomizer {
 public:
  /// @param registry must outlive the customizer.
  explicit ParseCustomizer(const meta::MetaRegistry& registry = meta::MetaRegistry::instance());
  virtual ~ParseCustomizer();

  /// @return false to refuse the document; getProblem() then says why.
  virtual bool setPackageUris(const std::vector<ustring>& uris);
  /// The type of a qualified name, or an empty handle. Of packages that share a name those of the document
  /// come first.
  virtual meta::Type getMetaClass(const ustring& typeName);

  /// Where types are looked up.
  const meta::MetaRegistry& getRegistry() const noexcept { return *registry_; }
  /// The packages of the document that was accepted or refused last.
  const std::vector<ustring>& getPackageUris() const noexcept { return uris_; }
  /// Why the last document was refused, as a sentence; empty if it was not.
  const std::string& getProblem() const noexcept { return problem_; }

 protected:
  /// Says why the document is refused, as a sentence.
  void setProblem(std::string problem) { problem_ = std::move(problem); }

 private:
  const meta::MetaRegistry* registry_;
  std::vector<ustring> uris_;
  std::string problem_;
};

/// Asks its host for packages that the registry does not know yet, before it decides.
class KR0_FRAMEWORK_API HydratorParseCustomizer : public ParseCustomizer {
 public:
  /// Brings the package of a URI into the registry, if it can.
  using Hydrate = std::function<void(const ustring& uri)>;

  /// @param registry must outlive the customizer. @param hydrate may be empty: then nobody is asked.
  explicit HydratorParseCustomizer(const meta::MetaRegistry& registry = meta::MetaRegistry::instance(),
                                   Hydrate hydrate = {});
  bool setPackageUris(const std::vector<ustring>& uris) override;

 private:
  Hydrate hydrate_;
};

}  // namespace kr::zero::io
