#include "Damaged.h"

#include "Errors.h"

namespace kr::zero::tool {

InnerDocument readInner(const Document& archive) {
  archive::ArchiveReader reader(archive.asArchive(), {.bytes = archive.limit});
  archive::PartialDocument document = withinLimit(archive, [&] { return reader.readPartialDocument(); });
  const std::string_view text(reinterpret_cast<const char*>(document.bytes.data()), document.bytes.size());
  return {innerFormatOf(reader, text), std::move(document.bytes), std::move(document.damage)};
}

std::optional<MetaModels> findMetaModels(const Document& document, const ReadOptions& options) {
  auto found = MetaModels::find(options, packagesOf(document));
  if (found || document.format != Format::krz) return found;
  try {
    archive::ArchiveReader reader(document.asArchive(), {.bytes = document.limit});
    archive::LoadedArchive loaded = reader.loadMetaModel();
    return MetaModels(std::move(loaded.registry), std::move(loaded.mapping));
  } catch (const Error&) {
    return std::nullopt;  // damaged too
  }
}

void requireBinary(const Document& document) {
  if (document.format == Format::xmi)
    throw WrongCall(document.name + ": XMI is text, which any editor shows; this is for krb, krt and krz");
}

}  // namespace kr::zero::tool
