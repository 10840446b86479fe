#include "Documents.h"

#include <filesystem>

#include "Errors.h"
#include "Files.h"
#include "kr/zero/io/BinaryParser.h"
#include "kr/zero/io/ModelFile.h"

namespace kr::zero::tool {

namespace {

// Notes what a document says before its first element, and then ends the reading.
class HeaderOnly final : public io::ParseCustomizer {
 public:
  bool setPackageUris(const std::vector<ustring>& uris) override {
    reached_ = true;
    for (const ustring& uri : uris) packages_.push_back(toUtf8(uri));
    setProblem("only the header is wanted");
    return false;
  }
  bool reached() const { return reached_; }
  const std::vector<std::string>& packages() const { return packages_; }

 private:
  bool reached_ = false;
  std::vector<std::string> packages_;
};

const ustring& libraryName(Format format) {
  return format == Format::krt ? io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN
                               : io::IOFormatProvider::FORMAT_BINARY;
}

std::string asXmi(const Model& model, const MetaModels& metaModels, ProgressBar& progress) {
  return ecore::writeXmi(model, metaModels.mapping(), progress.reporter());
}

std::string asBinary(const Model& model, Format format) {
  std::string bytes;
  io::writeModel(model, bytes, {.format = libraryName(format)});
  return bytes;
}

std::string encode(const Model& model, const std::string& path, Format format, const MetaModels& metaModels,
                   ProgressBar& progress) {
  try {
    return format == Format::xmi ? asXmi(model, metaModels, progress) : asBinary(model, format);
  } catch (...) {
    rethrowAsError({.file = path});
  }
}

std::optional<Format> formatOfExtension(const std::string& path) {
  const std::string extension = std::filesystem::path(path).extension().string();
  return formatNamed(extension.empty() ? std::string_view() : std::string_view(extension).substr(1));
}

// What a document is by its content; nothing where that looks like no format at all.
std::optional<Format> formatOfContent(const Document& document) {
  const ustring name = io::IOFormatProvider::findByContent(document.text());
  if (name == io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN) return Format::krt;
  if (name == io::IOFormatProvider::FORMAT_BINARY) return Format::krb;
  if (io::looksLikeXml(document.text())) return Format::xmi;
  return std::nullopt;
}

}  // namespace

std::optional<Format> formatNamed(std::string_view name) {
  for (const Format format : {Format::krb, Format::krt, Format::xmi})
    if (name == nameOf(format)) return format;
  return std::nullopt;
}

std::string_view nameOf(Format format) {
  return format == Format::krb ? "krb" : format == Format::krt ? "krt" : "xmi";
}

Format outputFormat(const std::string& path) {
  if (path == "-")
    throw WrongCall("standard output has no name that tells a format: give --to krb, --to krt or --to xmi");
  return formatOfExtension(path).value_or(Format::xmi);
}

MetaModels::MetaModels(const std::vector<std::string>& paths)
    : registry_(std::make_unique<meta::MetaRegistry>()),
      mapping_(ecore::loadMetaModels(std::vector<std::filesystem::path>(paths.begin(), paths.end()), *registry_)) {}

std::string_view Document::text() const {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

Document readDocument(const std::string& path, std::optional<Format> format, ProgressBar& progress) {
  progress.startStep("reading " + inputName(path));
  Document document{inputName(path), readInput(path)};
  if (!format) format = formatOfExtension(path);
  if (!format) format = formatOfContent(document);
  document.format = format.value_or(Format::krb);
  return document;
}

io::FailedDocument asFailed(const Document& document) {
  return {document.name, document.text(), libraryName(document.format)};
}

BinaryHeader readBinaryHeader(const Document& document) {
  auto customizer = std::make_unique<HeaderOnly>();
  const HeaderOnly& header = *customizer;
  io::BinaryParser parser(std::move(customizer), std::make_unique<io::ParsingModelBuilder>(false));
  try {
    static_cast<void>(parser.parseByteSequence(document.bytes));  // refused once the header was read
  } catch (...) {
    io::rethrowReadFailure(asFailed(document), parser);
  }
  if (!header.reached()) io::throwRefusal(asFailed(document), parser);
  return {toUtf8(parser.getParseProcessor()->getVersion()), header.packages()};
}

Model readModel(const Document& document, const MetaModels& metaModels, ProgressBar& progress) {
  progress.startStep("understanding " + document.name);
  if (document.format == Format::xmi)
    return ecore::readXmi(document.text(), document.name, metaModels.mapping(), progress.reporter());
  return io::readModel(
      document.bytes,
      {.registry = &metaModels.registry(), .format = libraryName(document.format), .name = document.name});
}

std::size_t writeModel(const Model& model, const std::string& path, Format format,
                       const MetaModels& metaModels, ProgressBar& progress) {
  progress.startStep("writing " + (path == "-" ? "standard output" : path));
  const std::string bytes = encode(model, path, format, metaModels, progress);
  writeOutput(path, bytes);
  return bytes.size();
}

}  // namespace kr::zero::tool
