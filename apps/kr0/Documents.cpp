#include "Documents.h"

#include <filesystem>
#include <map>
#include <mutex>
#include <set>

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

constexpr int kUsualGzipLevel = 6;

const ustring& libraryName(Format format) {
  return format == Format::krt ? io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN
                               : io::IOFormatProvider::FORMAT_BINARY;
}

std::string asXmi(const Model& model, const MetaModels& metaModels, ProgressBar& progress) {
  return ecore::writeXmi(model, metaModels.mapping(), progress.reporter());
}

std::string asBinary(const Model& model, Format format, ProgressBar& progress) {
  std::string bytes;
  io::writeModel(model, bytes, {.format = libraryName(format), .progress = progress.counter(model.size())});
  return bytes;
}

std::string asArchive(const Model& model, const MetaModels& metaModels, const WriteOptions& options) {
  std::string bytes;
  archive::writeArchive(model, bytes,
                        {.mapping = &metaModels.mapping(),
                         .tagged = options.tagged,
                         .level = options.level.value_or(archive::kDefaultLevel)});
  return bytes;
}

std::string packed(std::string bytes, const std::string& path, const WriteOptions& options) {
  const archive::Packing packing = options.packing.value_or(archive::packingOfName(path));
  if (packing == archive::Packing::none) return bytes;
  const int usual = packing == archive::Packing::gzip ? kUsualGzipLevel : archive::kDefaultLevel;
  return archive::pack(bytes, packing, options.level.value_or(usual));
}

std::string encode(const Model& model, Format format, const MetaModels& metaModels, ProgressBar& progress,
                   const WriteOptions& options) {
  if (format == Format::xmi) return asXmi(model, metaModels, progress);
  if (format == Format::krz) return asArchive(model, metaModels, options);
  return asBinary(model, format, progress);
}

std::string encode(const Model& model, const std::string& path, Format format, const MetaModels& metaModels,
                   ProgressBar& progress, const WriteOptions& options) {
  try {
    return packed(encode(model, format, metaModels, progress, options), path, options);
  } catch (...) {
    rethrowAsError({.file = path});
  }
}

std::optional<Format> formatOfExtension(std::string_view path) {
  const std::string extension = std::filesystem::path(archive::unpackedName(path)).extension().string();
  if (extension == ".ecore") return Format::xmi;  // a meta model as a document
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

Format formatOf(const Document& document, const std::string& path) {
  if (archive::looksLikeArchive(document.text())) return Format::krz;
  std::optional<Format> format = formatOfExtension(path);
  if (!format) format = formatOfContent(document);
  return format.value_or(Format::krb);
}

// Once is what anybody does on purpose, and more layers than one would hide how much there is to unpack.
void unpack(Document& document) {
  document.packedBytes = document.bytes.size();
  document.packing = archive::packingOf(document.text());
  if (document.packing == archive::Packing::none) return;
  document.bytes = withinLimit(document, [&] {
    return archive::unpack(document.text(), document.packing,
                           {.name = document.name, .limit = document.limit});
  });
  if (archive::packingOf(document.text()) != archive::Packing::none)
    throw Error(ErrorCode::foreign,
                {.file = document.name, .problem = "it is packed twice: unpack the outer layer first"});
}

Document readBytes(const std::string& path, std::uint64_t limit) {
  Document document{.name = inputName(path), .bytes = readInput(path), .limit = limit};
  unpack(document);
  return document;
}

std::vector<ecore::EcoreFile> readEcoreFiles(const std::vector<std::string>& paths, std::uint64_t limit) {
  std::vector<ecore::EcoreFile> files;
  std::set<std::filesystem::path> places;
  for (const std::string& path : paths) {
    const std::string name(archive::unpackedName(path));
    if (places.insert(std::filesystem::absolute(name).lexically_normal()).second)
      files.push_back({name, std::string(readBytes(path, limit).text())});
  }
  return files;
}

}  // namespace

std::optional<Format> formatNamed(std::string_view name) {
  for (const Format format : {Format::krb, Format::krt, Format::xmi, Format::krz})
    if (name == nameOf(format)) return format;
  return std::nullopt;
}

std::string_view nameOf(Format format) {
  switch (format) {
    case Format::krb:
      return "krb";
    case Format::krt:
      return "krt";
    case Format::krz:
      return "krz";
    default:
      return "xmi";
  }
}

Format outputFormat(const std::string& path, std::string_view remedy) {
  if (const std::optional<Format> format = formatOfExtension(path)) return *format;
  throw WrongCall((path == "-" ? "standard output has no name that tells a format"
                               : path + ": its name tells no format that is written") +
                  ": end it in .krb, .krt, .krz or .xmi" + std::string(remedy));
}

MetaModels::MetaModels(const std::vector<std::string>& paths, std::uint64_t limit) {
  auto registry = std::make_shared<meta::MetaRegistry>();
  mapping_ = ecore::loadEcoreFiles(readEcoreFiles(paths, limit), *registry);
  registry_ = std::move(registry);
}

MetaModels MetaModels::of(const std::vector<std::string>& paths, std::uint64_t limit) {
  static std::mutex mutex;
  static std::map<std::vector<std::string>, MetaModels> known;
  const std::lock_guard lock(mutex);
  auto found = known.find(paths);
  if (found == known.end()) found = known.emplace(paths, MetaModels(paths, limit)).first;
  return found->second;
}

std::string_view Document::text() const {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

Document readDocument(const std::string& path, std::optional<Format> format, ProgressBar& progress,
                      std::uint64_t limit) {
  progress.startStep("reading " + inputName(path));
  Document document = readBytes(path, limit);
  document.format = format ? *format : formatOf(document, path);
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
  if (document.format == Format::krz)
    return withinLimit(document, [&] {
      return archive::loadArchive(document.asArchive(), metaModels.registry(), {.bytes = document.limit});
    });
  return io::readModel(document.bytes, {.registry = &metaModels.registry(),
                                        .format = libraryName(document.format),
                                        .name = document.name,
                                        .progress = progress.counter()});
}

LoadedDocument readModel(const Document& document, const ReadOptions& options, ProgressBar& progress) {
  if (!options.metaModels.empty()) {
    progress.startStep("loading the meta models");
    MetaModels given = MetaModels::of(options.metaModels, options.limit);
    Model model = readModel(document, given, progress);
    return {std::move(given), std::move(model)};
  }
  if (document.format != Format::krz)
    throw WrongCall(document.name + ": reading the format " + std::string(nameOf(document.format)) +
                    " takes the meta model, give it with -m or --meta");
  progress.startStep("understanding " + document.name);
  archive::LoadedArchive loaded = withinLimit(
      document, [&] { return archive::loadArchive(document.asArchive(), {.bytes = document.limit}); });
  return {{std::move(loaded.registry), std::move(loaded.mapping)}, std::move(loaded.model)};
}

Document loadBytes(const InputOptions& input) {
  ProgressBar progress;
  return readDocument(input.path, formatNamed(input.from), progress, input.limit);
}

LoadedDocument loadDocument(const InputOptions& input) {
  ProgressBar progress;
  const Document document = readDocument(input.path, formatNamed(input.from), progress, input.limit);
  return readModel(document, input, progress);
}

std::size_t writeModel(const Model& model, const std::string& path, Format format,
                       const MetaModels& metaModels, ProgressBar& progress, const WriteOptions& options) {
  progress.startStep("writing " + (path == "-" ? "standard output" : path));
  const std::string bytes = encode(model, path, format, metaModels, progress, options);
  writeOutput(path, bytes);
  return bytes.size();
}

}  // namespace kr::zero::tool
