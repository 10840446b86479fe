#include "Damaged.h"

#include "Errors.h"
#include "kr/zero/io/IOFormatProvider.h"

namespace kr::zero::tool {

namespace {

Format formatOf(const archive::ArchiveReader& reader, const std::vector<std::uint8_t>& document) {
  try {
    return reader.getManifest().tagged ? Format::krt : Format::krb;
  } catch (const Error&) {
    const std::string_view text(reinterpret_cast<const char*>(document.data()), document.size());
    const bool isTagged =
        io::IOFormatProvider::findByContent(text) == io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN;
    return isTagged ? Format::krt : Format::krb;
  }
}

}  // namespace

InnerDocument readInner(const Document& archive) {
  archive::ArchiveReader reader(archive.asArchive(), {.bytes = archive.limit});
  archive::PartialDocument document = withinLimit(archive, [&] { return reader.readPartialDocument(); });
  return {formatOf(reader, document.bytes), std::move(document.bytes), std::move(document.damage)};
}

std::optional<MetaModels> findMetaModels(const Document& document, const ReadOptions& options) {
  auto found = MetaModels::find(options, packagesOf(document));
  if (found || document.format != Format::krz) return found;
  try {
    archive::ArchiveReader reader(document.asArchive(), {.bytes = document.limit});
    auto registry = std::make_unique<meta::MetaRegistry>();
    auto mapping = ecore::loadEcoreFiles(reader.readMetaModel(), *registry);
    return MetaModels(std::move(registry), std::move(mapping));
  } catch (const Error&) {
    return std::nullopt;  // damaged too
  }
}

void requireBinary(const Document& document) {
  if (document.format == Format::xmi)
    throw WrongCall(document.name + ": XMI is text, which any editor shows; this is for krb, krt and krz");
}

}  // namespace kr::zero::tool
