#include "Facts.h"

#include "Tree.h"
#include "View.h"
#include "kr/zero/inspect/Overview.h"
#include "kr/zero/io/SerializeCustomizer.h"

namespace kr::zero::tool {

namespace {

// XMI says its version in an attribute of the root, near the beginning.
std::string xmiVersion(std::string_view text) {
  constexpr std::string_view kAttribute = "xmi:version=";
  constexpr std::size_t kHeadBytes = 4096, kLongest = 16;
  text = text.substr(0, kHeadBytes);
  const std::size_t start = text.find(kAttribute);
  if (start == std::string_view::npos) return {};
  text.remove_prefix(start + kAttribute.size());
  if (text.empty()) return {};
  const std::size_t end = text.find(text.front(), 1);
  return end > kLongest ? std::string() : std::string(text.substr(1, end - 1));
}

std::vector<PackageFacts> packagesNamed(const std::vector<std::string>& uris) {
  std::vector<PackageFacts> packages;
  packages.reserve(uris.size());
  for (const std::string& uri : uris) packages.push_back({uri});
  return packages;
}

std::vector<PackageFacts> packagesOf(const Model& model) {
  std::vector<PackageFacts> packages;
  for (const ustring& uri : io::SerializeCustomizer().getPackageUris(model))
    packages.push_back({toUtf8(uri)});
  return packages;
}

Counts countByClass(const Model& model) {
  Counts counts;
  for (const ConstElement element : model.elements()) ++counts[element.getType()->qualifiedName()];
  return counts;
}

// A document of a binary format that is whole is gone through where it lies; of one that is not, the reader
// that makes a model says why.
inspect::Overview lookAt(const FileView& bytes, bool isTagged, const meta::MetaRegistry* registry) {
  return inspect::overviewOf(bytes.text(), {.registry = registry, .tagged = isTagged},
                             [&](std::uint64_t offset) { bytes.letGo(offset); });
}

bool addOverview(const FileView& bytes, bool isTagged, const meta::MetaRegistry* registry, Facts& facts) {
  const inspect::Overview overview = lookAt(bytes, isTagged, registry);
  if (!overview.isSound) return false;
  facts.version = std::to_string(overview.version);
  facts.packages = packagesNamed(overview.packages);
  if (overview.isCounted) facts.elements = overview.elements;
  return true;
}

void addModel(const Document& document, const InputOptions& input, Facts& facts, ProgressBar& progress) {
  const LoadedDocument loaded = readModel(document, input, progress);
  facts.elements = countByClass(loaded.model);
  if (!facts.packages) facts.packages = packagesOf(loaded.model);
}

// A tagged document says everything itself.
class TaggedFacts final : public TreeVisitor {
 public:
  TaggedFacts(const FileView& bytes, Facts& facts) : bytes_(bytes), facts_(facts) {
    facts_.elements.emplace();
  }
  void packages(const std::vector<std::string>& uris) override {
    facts_.version = '1';  // there is no other
    facts_.packages = packagesNamed(uris);
  }
  void beginElement(const TreeNode& node) override {
    constexpr std::size_t kStep = 4096;
    if (node.number == 0) return;
    ++(*facts_.elements)[std::string(node.type)];
    if (node.number % kStep == 0)
      bytes_.letGo(bytes_.text().size());  // also what lies ahead, which comes again
  }

 private:
  const FileView& bytes_;
  Facts& facts_;
};

void addStrictly(const ViewedDocument& viewed, const InputOptions& input, Facts& facts,
                 ProgressBar& progress) {
  const Document document = viewed.load();
  if (document.format == Format::xmi) facts.version = versionOf(document);
  if (document.format == Format::krb) {
    BinaryHeader header = readBinaryHeader(document);
    facts.version = std::move(header.version);
    facts.packages = packagesNamed(header.packages);
  }
  if (hasMetaModels(document, input)) addModel(document, input, facts, progress);
}

// What a document of a binary format says without a meta model.
bool addOwnWords(const ViewedDocument& viewed, Facts& facts) {
  if (viewed.document.format == Format::krb) return addOverview(viewed.bytes, false, nullptr, facts);
  if (viewed.document.format != Format::krt) return false;
  TaggedFacts visitor(viewed.bytes, facts);
  checkTagged(viewed.document, visitor);
  return true;
}

bool addAsItLies(const ViewedDocument& viewed, const InputOptions& input, Facts& facts) {
  if (!addOwnWords(viewed, facts)) return false;
  std::vector<std::string> uris;
  for (const PackageFacts& package : *facts.packages) uris.push_back(package.uri);
  const std::optional<MetaModels> metaModels = MetaModels::find(input, uris);
  return !metaModels ||
         addOverview(viewed.bytes, viewed.document.format == Format::krt, &metaModels->registry(), facts);
}

// --- Archives

void addManifest(const archive::Manifest& manifest, Facts& facts) {
  facts.manifest = manifest;
  facts.version = std::to_string(manifest.version);
  facts.inner = {std::string(nameOf(manifest.tagged ? Format::krt : Format::krb)), manifest.bytes};
  facts.packages.emplace();
  for (const archive::ArchivedPackage& package : manifest.packages)
    facts.packages->push_back({package.uri, package.fingerprint});
}

// The elements of an archive, by the meta model that it brings.
bool countInArchive(archive::ArchiveReader& reader, const FileView& bytes, Facts& facts) {
  const archive::LoadedArchive loaded = reader.loadMetaModel();
  const inspect::Overview overview = lookAt(bytes, reader.getManifest().tagged, loaded.registry.get());
  if (!overview.isSound) return false;
  facts.elements = overview.elements;
  return true;
}

/// How much a part takes in the file, where it is there.
std::optional<std::uint64_t> sizeOf(const archive::ArchiveReader& reader, const std::string& name) {
  for (const archive::ArchivePart& part : reader.getParts())
    if (part.name == name) return part.bytes;
  return std::nullopt;
}

void addArchive(const ViewedDocument& viewed, const InputOptions& input, Facts& facts,
                ProgressBar& progress) {
  const Document& document = viewed.document;
  archive::ArchiveReader reader({viewed.bytes.text(), document.name}, {.bytes = document.limit});
  const auto look = [&](const char* part, const auto& read) {
    const bool isWhole = facts.faults.attempt([&] { withinLimit(document, read); });
    facts.parts.push_back({part, isWhole, sizeOf(reader, part)});
    return isWhole;
  };
  FileView inner;
  const bool hasManifest = look("manifest", [&] { addManifest(reader.getManifest(), facts); });
  const bool hasMetaModel = look("meta model", [&] { reader.readMetaModel(); });
  const bool hasDocument = look("document", [&] {
    inner = FileView::of([&](const auto& take) { reader.readDocument(take); });
    const Format format = innerFormatOf(reader, inner.text());
    facts.inner = {std::string(nameOf(format)), inner.text().size()};
  });
  if (!hasManifest || !hasDocument || (!hasMetaModel && input.metaModels.empty())) return;
  facts.faults.attempt([&] {
    if (!input.metaModels.empty() || !countInArchive(reader, inner, facts))
      addModel(viewed.load(), input, facts, progress);
  });
}

}  // namespace

Facts::Facts(const Document& document, std::size_t size)
    : format(document.format),
      bytes(size),
      packing(document.packing),
      packedBytes(document.packedBytes),
      faults(document.name) {}

Facts gatherFacts(const InputOptions& input) {
  ProgressBar progress;
  progress.startStep("reading " + inputName(input.path));
  const ViewedDocument viewed = viewDocument(input);
  Facts facts(viewed.document, viewed.bytes.text().size());
  if (viewed.document.format == Format::krz)
    addArchive(viewed, input, facts, progress);
  else if (!addAsItLies(viewed, input, facts))
    addStrictly(viewed, input, facts, progress);
  return facts;
}

std::string versionOf(const Document& document) {
  switch (document.format) {
    case Format::xmi:
      return xmiVersion(document.text());
    case Format::krb:
      return readBinaryHeader(document).version;
    case Format::krz:
      return std::to_string(
          archive::ArchiveReader(document.asArchive(), {.bytes = document.limit}).getManifest().version);
    default:
      return "1";  // there is no other
  }
}

std::string_view nameOf(archive::Packing packing) {
  switch (packing) {
    case archive::Packing::gzip:
      return "gzip";
    case archive::Packing::zstandard:
      return "zstd";
    default:
      return "none";
  }
}

}  // namespace kr::zero::tool
