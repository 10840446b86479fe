#include "Documents.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <mutex>
#include <set>

#include "Errors.h"
#include "Files.h"
#include "MetaPath.h"
#include "Problems.h"
#include "Tables.h"
#include "kr/zero/io/BinaryKRSylvanParser.h"
#include "kr/zero/io/BinaryParser.h"
#include "kr/zero/io/ModelFile.h"
#include "kr/zero/json/Json.h"

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

// Takes what a document says of its packages for what the call says that it means.
class MappedPackages final : public io::ParseCustomizer {
 public:
  MappedPackages(const meta::MetaRegistry& registry, const ecore::UriMap& uriMap)
      : ParseCustomizer(registry), uriMap_(uriMap) {}
  bool setPackageUris(const std::vector<ustring>& uris) override {
    std::vector<ustring> meant;
    meant.reserve(uris.size());
    for (const ustring& uri : uris) meant.push_back(toUstring(uriMap_.map(toUtf8(uri))));
    return ParseCustomizer::setPackageUris(meant);
  }

 private:
  const ecore::UriMap& uriMap_;
};

std::unique_ptr<io::Parser> makeParser(Format format, std::unique_ptr<io::ParseCustomizer> customizer) {
  auto builder = std::make_unique<io::ParsingModelBuilder>(false);
  if (format == Format::krt)
    return std::make_unique<io::BinaryKRSylvanParser>(std::move(customizer), std::move(builder));
  return std::make_unique<io::BinaryParser>(std::move(customizer), std::move(builder));
}

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
  if (format == Format::json) return json::writeJson(model, progress.counter(model.size()));
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
std::optional<Format> formatOfContent(std::string_view text) {
  const ustring name = io::IOFormatProvider::findByContent(text);
  if (name == io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN) return Format::krt;
  if (name == io::IOFormatProvider::FORMAT_BINARY) return Format::krb;
  if (io::looksLikeXml(text)) return Format::xmi;
  if (json::looksLikeJson(text)) return Format::json;
  return std::nullopt;
}

void unpack(Document& document) {
  document.packedBytes = document.bytes.size();
  document.packing = archive::packingOf(document.text());
  if (document.packing == archive::Packing::none) return;
  document.bytes = withinLimit(document, [&] {
    return archive::unpack(document.text(), document.packing,
                           {.name = document.name, .limit = document.limit});
  });
  requireOneLayer(document.text(), document.name);
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

bool isOneOf(const std::string& text, const std::vector<std::string>& texts) {
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

constexpr std::string_view kEcoreUri = "http://www.eclipse.org/emf/2002/Ecore";

// That of these folders, which are looked at once however many documents ask.
MetaPath& metaPathOf(const ReadOptions& options) {
  static std::map<std::vector<std::string>, MetaPath> known;
  return known.try_emplace(options.metaPath, options.metaPath, options.limit).first->second;
}

std::mutex& metaModelMutex() {
  static std::mutex mutex;
  return mutex;
}

// Packages that the files of a call hold, which are the same for all its documents.
const std::vector<std::string>& packagesIn(const std::vector<std::string>& paths, std::uint64_t limit) {
  static std::map<std::vector<std::string>, std::vector<std::string>> known;
  const auto [entry, isNew] = known.try_emplace(paths);
  std::vector<std::string>& uris = entry->second;
  if (!isNew) return uris;
  for (const std::string& path : paths)
    for (std::string& uri : ecore::declaredPackages(readText(path, limit), path))
      uris.push_back(std::move(uri));
  return uris;
}

// JSON lists its packages near its beginning.
std::vector<std::string> packagesOfJson(std::string_view text) {
  constexpr std::string_view kKey = "\"packages\"";
  constexpr std::size_t kHead = 65536;
  std::vector<std::string> uris;
  text = text.substr(0, kHead);
  const std::size_t open = text.find('[', std::min(text.find(kKey), text.size()));
  if (open == text.npos) return uris;
  text = text.substr(open, text.find(']', open) - open);
  for (std::size_t start = text.find('"'); start != text.npos;) {
    const std::size_t end = text.find('"', start + 1);
    if (end == text.npos) break;
    uris.emplace_back(text.substr(start + 1, end - start - 1));
    start = text.find('"', end + 1);
  }
  return uris;
}

// What the documents beside one hold, all together within the limit.
ecore::DocumentSource sourceBeside(const Document& document) {
  if (document.name == inputName("-")) throw WrongCall("--follow takes a file, which has a folder around it");
  const auto left = std::make_shared<std::uint64_t>(document.limit);
  return [left, folder = std::filesystem::path(document.name).parent_path()](const std::string& path) {
    std::string text = readText((folder / path).string(), *left);
    *left -= std::min<std::uint64_t>(*left, text.size());
    return text;
  };
}

Model readXmi(const Document& document, const MetaModels& metaModels, ProgressBar& progress,
              const ReadOptions& options) {
  Problems problems(options.keepGoing);
  ecore::XmiReadOptions reading;
  reading.progress = progress.reporter();
  reading.onProblem = problems.listener();
  reading.uriMap = options.uriMap;
  if (options.follow) reading.source = sourceBeside(document);
  return ecore::readXmi(document.text(), document.name, metaModels.mapping(), reading);
}

// As the library reads it, but for the packages that it names.
Model readMapped(const Document& document, const MetaModels& metaModels, ProgressBar& progress,
                 const ecore::UriMap& uriMap) {
  const auto parser =
      makeParser(document.format, std::make_unique<MappedPackages>(metaModels.registry(), uriMap));
  parser->setOptions({.limits = {}, .progress = progress.counter(), .skipped = {}});
  try {
    if (parser->parseByteSequence(document.bytes)) return parser->takeModel();
  } catch (...) {
    io::rethrowReadFailure(asFailed(document), *parser);
  }
  io::throwRefusal(asFailed(document), *parser);
}

}  // namespace

std::optional<Format> formatNamed(std::string_view name) {
  for (const Format format : {Format::krb, Format::krt, Format::xmi, Format::krz, Format::json,
                              Format::sqlite, Format::csv, Format::ndjson})
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
    case Format::json:
      return "json";
    case Format::sqlite:
      return "sqlite";
    case Format::csv:
      return "csv";
    case Format::ndjson:
      return "ndjson";
    default:
      return "xmi";
  }
}

Format outputFormat(const std::string& path, std::string_view remedy) {
  if (const std::optional<Format> format = formatOfExtension(path)) return *format;
  throw WrongCall((path == "-" ? "standard output has no name that tells a format"
                               : path + ": its name tells no format that is written") +
                  ": end it in .krb, .krt, .krz, .xmi or .json" + std::string(remedy));
}

MetaModels::MetaModels(const std::vector<std::string>& paths, std::uint64_t limit) {
  auto registry = std::make_shared<meta::MetaRegistry>();
  mapping_ = ecore::loadEcoreFiles(readEcoreFiles(paths, limit), *registry);
  registry_ = std::move(registry);
}

MetaModels::MetaModels(const std::vector<std::string>& paths, bool withEcore, const ReadOptions& options) {
  auto registry = std::make_shared<meta::MetaRegistry>();
  if (withEcore) registry->add({ecore::builtInVersionsOf(kEcoreUri).back()});
  Problems problems(options.keepGoing);
  ecore::MetaModelOptions loading;
  loading.onProblem = problems.listener();
  loading.uriMap = options.uriMap;
  loading.findFile = [&](const std::string& uri) -> std::optional<ecore::EcoreFile> {
    const auto path = metaPathOf(options).find(uri);
    if (!path) return std::nullopt;
    return ecore::EcoreFile{std::string(archive::unpackedName(*path)), readText(*path, options.limit)};
  };
  mapping_ = ecore::loadEcoreFiles(readEcoreFiles(paths, options.limit), *registry, loading);
  registry_ = std::move(registry);
}

MetaModels MetaModels::of(const std::vector<std::string>& paths, std::uint64_t limit) {
  const auto found = find(ReadOptions{.metaModels = paths, .limit = limit}, {});
  return found ? *found : MetaModels(paths, limit);
}

std::optional<MetaModels> MetaModels::find(const ReadOptions& options,
                                           const std::vector<std::string>& packages) {
  static std::map<std::vector<std::string>, MetaModels> known;
  const std::lock_guard lock(metaModelMutex());
  MetaPath& metaPath = metaPathOf(options);
  std::vector<std::string> paths = options.metaModels;
  const std::vector<std::string> given =
      packages.empty() ? packages : packagesIn(options.metaModels, options.limit);
  bool withEcore = false;
  for (const std::string& package : packages) {
    const std::string uri = options.uriMap.map(package);
    if (isOneOf(uri, given)) continue;
    if (uri == kEcoreUri)
      withEcore = true;
    else if (const auto path = metaPath.find(uri); path && !isOneOf(*path, paths))
      paths.push_back(*path);
  }
  if (paths.empty() && !withEcore) return std::nullopt;
  std::vector<std::string> key = paths;
  key.push_back(withEcore ? "with Ecore" : "");
  key.insert(key.end(), options.metaPath.begin(), options.metaPath.end());
  auto found = known.find(key);
  if (found == known.end()) found = known.emplace(key, MetaModels(paths, withEcore, options)).first;
  return found->second;
}

Format formatOf(std::string_view text, const std::string& path) {
  if (archive::looksLikeArchive(text)) return Format::krz;
  std::optional<Format> format = formatOfExtension(path);
  if (!format) format = formatOfContent(text);
  return format.value_or(Format::krb);
}

Format innerFormatOf(const archive::ArchiveReader& reader, std::string_view document) {
  try {
    return reader.getManifest().tagged ? Format::krt : Format::krb;
  } catch (const Error&) {
    const bool isTagged =
        io::IOFormatProvider::findByContent(document) == io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN;
    return isTagged ? Format::krt : Format::krb;
  }
}

void refuseTables(const std::string& path, std::optional<Format> format) {
  if (!format) format = formatOfExtension(path);
  if (format && isTables(*format))
    throw Error(ErrorCode::foreign,
                ErrorDetails{.file = inputName(path),
                             .problem = "tables are only written: they do not tell all of a model"});
}

// Once is what anybody does on purpose, and more layers than one would hide how much there is to unpack.
void requireOneLayer(std::string_view unpacked, const std::string& name) {
  if (archive::packingOf(unpacked) != archive::Packing::none)
    throw Error(ErrorCode::foreign,
                ErrorDetails{.file = name, .problem = "it is packed twice: unpack the outer layer first"});
}

std::string_view Document::text() const {
  if (bytes.empty()) return viewed;
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::string readText(const std::string& path, std::uint64_t limit) {
  return std::string(readBytes(path, limit).text());
}

Document readDocument(const std::string& path, std::optional<Format> format, ProgressBar& progress,
                      std::uint64_t limit) {
  progress.startStep("reading " + inputName(path));
  refuseTables(path, format);
  Document document = readBytes(path, limit);
  document.format = format ? *format : formatOf(document.text(), path);
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

std::vector<std::string> packagesOf(const Document& document) {
  if (document.format == Format::xmi) return ecore::declaredNamespaces(document.text(), document.name);
  if (document.format == Format::json) return packagesOfJson(document.text());
  if (document.format == Format::krz) return {};
  auto customizer = std::make_unique<HeaderOnly>();
  const HeaderOnly& header = *customizer;
  try {
    const auto parser = makeParser(document.format, std::move(customizer));
    static_cast<void>(parser->parseByteSequence(document.bytes));  // refused once the header was read
    return header.packages();
  } catch (const std::exception&) {
    return {};  // whoever reads it as a whole says what is wrong
  }
}

namespace {

// Only an XMI document may need Ecore beside the meta models that are given.
std::vector<std::string> packagesToFind(const Document& document, const ReadOptions& options) {
  const bool isGiven = document.format != Format::xmi && !options.metaModels.empty();
  if (isGiven && MetaPath(options.metaPath, options.limit).isEmpty()) return {};
  return packagesOf(document);
}

}  // namespace

bool hasMetaModels(const Document& document, const ReadOptions& options) {
  return !options.metaModels.empty() || MetaModels::find(options, packagesToFind(document, options));
}

Model readModel(const Document& document, const MetaModels& metaModels, ProgressBar& progress,
                const ReadOptions& options) {
  progress.startStep("understanding " + document.name);
  if (document.format == Format::xmi) return readXmi(document, metaModels, progress, options);
  if (document.format == Format::json)
    return json::readJson(
        document.text(),
        {.registry = &metaModels.registry(), .name = document.name, .progress = progress.counter()});
  if (document.format == Format::krz)
    return withinLimit(document, [&] {
      return archive::loadArchive(document.asArchive(), metaModels.registry(), {.bytes = document.limit});
    });
  if (!options.uriMap.isEmpty()) return readMapped(document, metaModels, progress, options.uriMap);
  return io::readModel(document.bytes, {.registry = &metaModels.registry(),
                                        .format = libraryName(document.format),
                                        .name = document.name,
                                        .progress = progress.counter()});
}

namespace {

MetaModels requireMetaModels(const Document& document, const ReadOptions& options) {
  const std::vector<std::string> packages = packagesToFind(document, options);
  if (const auto found = MetaModels::find(options, packages)) return *found;
  if (MetaPath(options.metaPath, options.limit).isEmpty())
    throw WrongCall(document.name + ": reading the format " + std::string(nameOf(document.format)) +
                    " takes the meta model, give it with -m or --meta");
  std::string list;
  for (const std::string& uri : packages) list += (list.empty() ? "\"" : ", \"") + uri + '"';
  throw Error(ErrorCode::doesNotFit,
              {.file = document.name,
               .problem = "none of its packages is in the folders of --meta-path or KR0_META_PATH: " + list});
}

}  // namespace

LoadedDocument readModel(const Document& document, const ReadOptions& options, ProgressBar& progress) {
  if (document.format != Format::krz || !options.metaModels.empty()) {
    progress.startStep("loading the meta models");
    MetaModels found = requireMetaModels(document, options);
    Model model = readModel(document, found, progress, options);
    return {std::move(found), std::move(model)};
  }
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

std::string encodeModel(const Model& model, Format format, const MetaModels& metaModels,
                        ProgressBar& progress) {
  return encode(model, format, metaModels, progress, {});
}

std::size_t writeModel(const Model& model, const std::string& path, Format format,
                       const MetaModels& metaModels, ProgressBar& progress, const WriteOptions& options) {
  progress.startStep("writing " + (path == "-" ? "standard output" : path));
  if (isTables(format)) {
    writeTables(model, path, format, progress);
    return 0;
  }
  const std::string bytes = encode(model, path, format, metaModels, progress, options);
  writeOutput(path, bytes);
  return bytes.size();
}

}  // namespace kr::zero::tool
