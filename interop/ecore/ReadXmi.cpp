#include "XmiReader.h"
#include "kr/zero/ecore/Ecore.h"

namespace kr::zero::ecore {

namespace {

Model readContentOf(std::string bytes, std::string_view name, const Mapping& mapping,
                    const XmiReadOptions& options) {
  const Mapping::Impl& impl = mapping.impl();
  const XmlDocument document(decodeXml(std::move(bytes), name), name, impl.hasContent);
  return std::move(readContent(document, impl, options)->model);
}

/// The same, and whatever goes wrong is an Error.
template <class GetBytes>
Model readDocument(GetBytes getBytes, const std::string& name, const Mapping& mapping,
                   const XmiReadOptions& options) {
  try {
    return readContentOf(getBytes(), name, mapping, options);
  } catch (...) {
    rethrowAsError({.file = name});
  }
}

}  // namespace

Model readXmi(std::string_view document, std::string_view name, const Mapping& mapping,
              const Progress& progress) {
  return readXmi(document, name, mapping, XmiReadOptions{.progress = progress});
}

Model readXmiFile(const std::filesystem::path& path, const Mapping& mapping, const Progress& progress) {
  return readXmiFile(path, mapping, XmiReadOptions{.progress = progress});
}

Model readXmi(std::string_view document, std::string_view name, const Mapping& mapping,
              const XmiReadOptions& options) {
  return readDocument([&] { return std::string(document); }, std::string(name), mapping, options);
}

Model readXmiFile(const std::filesystem::path& path, const Mapping& mapping, const XmiReadOptions& options) {
  return readDocument([&] { return readFile(path); }, path.string(), mapping, options);
}

}  // namespace kr::zero::ecore
