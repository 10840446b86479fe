#include <algorithm>
#include <map>
#include <optional>

#include "Commands.h"
#include "Files.h"
#include "Tree.h"
#include "Visible.h"
#include "kr/zero/io/SerializeCustomizer.h"

namespace kr::zero::tool {

namespace {

using Counts = std::map<std::string, std::size_t>;

struct Facts {
  Format format = Format::krb;
  std::string version;  // empty: not said
  std::size_t bytes = 0;
  std::optional<std::vector<std::string>> packages;
  std::optional<Counts> elements;
};

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

std::vector<std::string> packagesOf(const Model& model) {
  std::vector<std::string> packages;
  for (const ustring& uri : io::SerializeCustomizer().getPackageUris(model)) packages.push_back(toUtf8(uri));
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
    facts_.packages = uris;
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
  BinaryHeader header = readBinaryHeader(document);
  facts.version = std::move(header.version);
  facts.packages = std::move(header.packages);
}

void addContent(const Document& document, const ShowOptions& options, Facts& facts, ProgressBar& progress) {
  const MetaModels metaModels(options.metaModels);
  const Model model = readModel(document, metaModels, progress);
  facts.elements = countByClass(model);
  if (!facts.packages) facts.packages = packagesOf(model);
}

Facts gather(const ShowOptions& options) {
  ProgressBar progress;
  const Document document = readDocument(options.input, formatNamed(options.from), progress);
  Facts facts;
  facts.format = document.format;
  facts.bytes = document.bytes.size();
  addHeader(document, facts);
  if (!options.metaModels.empty()) addContent(document, options, facts, progress);
  return facts;
}

using Row = std::pair<std::string, std::size_t>;

std::vector<Row> mostFirst(const Counts& counts) {
  std::vector<Row> rows(counts.begin(), counts.end());
  std::stable_sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) { return a.second > b.second; });
  return rows;
}

void printElements(const Counts& counts, TextOut& out) {
  std::size_t total = 0;
  for (const auto& row : counts) total += row.second;
  out << "elements: " << std::to_string(total) << '\n';
  for (const auto& [name, count] : mostFirst(counts)) {
    const std::string number = std::to_string(count);
    out << std::string(number.size() < 8 ? 8 - number.size() : 0, ' ') << number << "  " << asName(name)
        << '\n';
  }
}

void print(const Facts& facts, TextOut& out) {
  out << "format: " << nameOf(facts.format) << '\n';
  if (!facts.version.empty()) out << "version: " << asName(facts.version) << '\n';
  out << "bytes: " << std::to_string(facts.bytes) << '\n';
  if (facts.packages) {
    out << "packages: " << std::to_string(facts.packages->size()) << '\n';
    for (const std::string& uri : *facts.packages) out << "  " << asName(uri) << '\n';
  }
  if (facts.elements)
    printElements(*facts.elements, out);
  else
    out << "elements: give the meta model with -m to count them\n";
}

}  // namespace

void info(const ShowOptions& options) {
  TextOut out;
  print(gather(options), out);
  out.flush();
}

}  // namespace kr::zero::tool
