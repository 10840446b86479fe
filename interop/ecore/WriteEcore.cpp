#include "EcoreWriting.h"
#include "XmlText.h"
#include "kr/zero/ecore/Ecore.h"

namespace kr::zero::ecore {

namespace {

/// The text is UTF-8, whatever the document was in.
std::string declareUtf8(std::string text) {
  const std::string_view declared = declaredEncoding(text);
  if (!declared.empty())
    text.replace(static_cast<std::size_t>(declared.data() - text.data()), declared.size(), "UTF-8");
  return text;
}

}  // namespace

std::string writeEcore(const Mapping& mapping, std::string_view packageUri, bool withIdentifiers) {
  try {
    const Mapping::Impl& impl = mapping.impl();
    const SourceDocument* source = impl.findSource(packageUri);
    if (source == nullptr) return generateEcore(*impl.registry, packageUri, withIdentifiers);
    return declareUtf8(withIdentifiers ? pinIdentifiers(*source, impl, planAsNumbered(impl)) : source->text);
  } catch (...) {
    rethrowAsError({});
  }
}

std::vector<EcoreFile> pinMetaModels(const Mapping& mapping) {
  try {
    const PinPlan plan = planForGood(mapping.impl());
    std::vector<EcoreFile> files;
    for (const SourceDocument& source : mapping.impl().sources)
      files.push_back({source.name, declareUtf8(pinIdentifiers(source, mapping.impl(), plan))});
    return files;
  } catch (...) {
    rethrowAsError({});
  }
}

}  // namespace kr::zero::ecore
