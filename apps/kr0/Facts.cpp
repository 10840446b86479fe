#include "Facts.h"

#include "Tree.h"
#include "kr/zero/io/IOFormatProvider.h"
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

// A tagged document says everything itself.
class TaggedFacts final : public TreeVisitor {
 public:
  explicit TaggedFacts(Facts& facts) : facts_(facts) { facts_.elements.emplace(); }
  void packages(const std::vector<std::string>& uris) override {
    facts_.version = '1';  // there is no other
    facts_.packages = packagesNamed(uris);
  }
  void beginElement(const TreeNode& node) override {
    if (node.number != 0) ++(*facts_.elements)[std::string(node.type)];
  }

 private:
  Facts& facts_;
};

void addHeader(const Document& document, Facts& facts) {
  if (document.format == Format::krt) {
    TaggedFacts visitor(facts);
    return checkTagged(document, visitor);
  }
  if (document.format == Format::xmi) {
    facts.version = xmiVersion(document.text());
    return;
  }
  if (document.format == Format::json) return;  // what it says of itself may stand anywhere in it
  BinaryHeader header = readBinaryHeader(document);
  facts.version = std::move(header.version);
  facts.packages = packagesNamed(header.packages);
}

void addContent(const Document& document, const InputOptions& input, Facts& facts, ProgressBar& progress) {
  const LoadedDocument loaded = readModel(document, input, progress);
  facts.elements = countByClass(loaded.model);
  if (!facts.packages) facts.packages = packagesOf(loaded.model);
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

// The manifest says all of this, unless it is damaged.
void addInner(const std::vector<std::uint8_t>& bytes, Facts& facts) {
  if (facts.inner) return;
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  const ustring format = io::IOFormatProvider::findByContent(text);
  facts.inner = {
      std::string(nameOf(format == io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN ? Format::krt : Format::krb)),
      bytes.size()};
}

/// How much a part takes in the file, where it is there.
std::optional<std::uint64_t> sizeOf(const archive::ArchiveReader& reader, const std::string& name) {
  for (const archive::ArchivePart& part : reader.getParts())
    if (part.name == name) return part.bytes;
  return std::nullopt;
}

void addArchive(const Document& document, const InputOptions& input, Facts& facts, ProgressBar& progress) {
  archive::ArchiveReader reader(document.asArchive(), {.bytes = document.limit});
  const auto look = [&](const char* part, const auto& read) {
    const bool isWhole = facts.faults.attempt([&] { withinLimit(document, read); });
    facts.parts.push_back({part, isWhole, sizeOf(reader, part)});
    return isWhole;
  };
  const bool hasManifest = look("manifest", [&] { addManifest(reader.getManifest(), facts); });
  const bool hasMetaModel = look("meta model", [&] { reader.readMetaModel(); });
  const bool hasDocument = look("document", [&] { addInner(reader.readDocument(), facts); });
  if (hasManifest && hasDocument && (hasMetaModel || !input.metaModels.empty()))
    facts.faults.attempt([&] { addContent(document, input, facts, progress); });
}

}  // namespace

Facts::Facts(const Document& document)
    : format(document.format),
      bytes(document.bytes.size()),
      packing(document.packing),
      packedBytes(document.packedBytes),
      faults(document.name) {}

Facts gatherFacts(const InputOptions& input) {
  ProgressBar progress;
  const Document document = readDocument(input.path, formatNamed(input.from), progress, input.limit);
  Facts facts(document);
  if (document.format == Format::krz) {
    addArchive(document, input, facts, progress);
    return facts;
  }
  addHeader(document, facts);
  if (hasMetaModels(document, input)) addContent(document, input, facts, progress);
  return facts;
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
