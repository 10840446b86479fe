#include <algorithm>
#include <nlohmann/json.hpp>

#include "Commands.h"
#include "Facts.h"
#include "Files.h"
#include "Visible.h"

namespace kr::zero::tool {

namespace {

using Row = std::pair<std::string, std::size_t>;

std::vector<Row> mostFirst(const Counts& counts) {
  std::vector<Row> rows(counts.begin(), counts.end());
  std::stable_sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) { return a.second > b.second; });
  return rows;
}

std::size_t totalOf(const Counts& counts) {
  std::size_t total = 0;
  for (const auto& row : counts) total += row.second;
  return total;
}

bool isWhole(const Facts& facts) {
  return std::all_of(facts.parts.begin(), facts.parts.end(),
                     [](const PartFacts& part) { return part.isWhole; });
}

// --- As text

std::string inBytes(std::uint64_t bytes) { return std::to_string(bytes) + " bytes"; }

void printManifest(const archive::Manifest& manifest, TextOut& out) {
  out << "meta model: " << std::to_string(manifest.files.size())
      << (manifest.files.size() == 1 ? " file, " : " files, ") << inBytes(manifest.metaBytes) << '\n';
  for (const auto& [name, bytes] : manifest.files)
    out << "  " << asName(name) << ", " << inBytes(bytes) << '\n';
}

void printPackages(const std::vector<PackageFacts>& packages, TextOut& out) {
  out << "packages: " << std::to_string(packages.size()) << '\n';
  for (const PackageFacts& package : packages) {
    out << "  " << asName(package.uri);
    if (!package.fingerprint.empty()) out << ", fingerprint " << asName(package.fingerprint);
    out << '\n';
  }
}

void printParts(const std::vector<PartFacts>& parts, TextOut& out) {
  out << "parts: " << std::to_string(parts.size()) << '\n';
  for (const PartFacts& part : parts)
    out << "  " << part.name << ": "
        << (part.bytes ? (part.isWhole ? "whole, " : "damaged, ") + inBytes(*part.bytes) : "missing") << '\n';
}

void printElements(const Counts& counts, TextOut& out) {
  out << "elements: " << std::to_string(totalOf(counts)) << '\n';
  for (const auto& [name, count] : mostFirst(counts)) {
    const std::string number = std::to_string(count);
    out << std::string(number.size() < 8 ? 8 - number.size() : 0, ' ') << number << "  " << asName(name)
        << '\n';
  }
}

void printText(const Facts& facts, TextOut& out) {
  out << "format: " << nameOf(facts.format) << '\n';
  if (!facts.version.empty()) out << "version: " << asName(facts.version) << '\n';
  out << "bytes: " << std::to_string(facts.bytes) << '\n';
  if (facts.packing != archive::Packing::none)
    out << "packed: " << nameOf(facts.packing) << ", " << inBytes(facts.packedBytes) << '\n';
  if (facts.inner) out << "document: " << facts.inner->format << ", " << inBytes(facts.inner->bytes) << '\n';
  if (facts.manifest) printManifest(*facts.manifest, out);
  if (facts.packages) printPackages(*facts.packages, out);
  if (!facts.parts.empty()) printParts(facts.parts, out);
  if (facts.elements)
    printElements(*facts.elements, out);
  else if (isWhole(facts))
    out << "elements: give the meta model with -m to count them\n";
}

// --- As JSON

using Json = nlohmann::ordered_json;

Json asJson(const archive::Manifest& manifest) {
  Json files = Json::array();
  for (const auto& [name, bytes] : manifest.files) files.push_back({{"name", name}, {"bytes", bytes}});
  return {{"bytes", manifest.metaBytes}, {"files", std::move(files)}};
}

Json asJson(const std::vector<PackageFacts>& packages) {
  Json list = Json::array();
  for (const PackageFacts& package : packages) {
    list.push_back({{"uri", package.uri}});
    if (!package.fingerprint.empty()) list.back()["fingerprint"] = package.fingerprint;
  }
  return list;
}

Json asJson(const std::vector<PartFacts>& parts) {
  Json list = Json::array();
  for (const PartFacts& part : parts)
    list.push_back({{"name", part.name}, {"whole", part.isWhole}, {"bytes", part.bytes.value_or(0)}});
  return list;
}

Json asJson(const Counts& counts) {
  Json classes = Json::object();
  for (const auto& [name, count] : mostFirst(counts)) classes[name] = count;
  return {{"total", totalOf(counts)}, {"classes", std::move(classes)}};
}

void printJson(const Facts& facts, const std::string& file, TextOut& out) {
  Json json{{"file", file}, {"format", nameOf(facts.format)}};
  if (!facts.version.empty()) json["version"] = facts.version;
  json["bytes"] = facts.bytes;
  if (facts.packing != archive::Packing::none)
    json["packed"] = {{"by", nameOf(facts.packing)}, {"bytes", facts.packedBytes}};
  if (facts.inner) json["document"] = {{"format", facts.inner->format}, {"bytes", facts.inner->bytes}};
  if (facts.manifest) json["metaModel"] = asJson(*facts.manifest);
  if (facts.packages) json["packages"] = asJson(*facts.packages);
  if (!facts.parts.empty()) json["parts"] = asJson(facts.parts);
  if (facts.elements) json["elements"] = asJson(*facts.elements);
  // Names in a damaged document may be no UTF-8.
  out << json.dump(1, ' ', false, Json::error_handler_t::replace) << '\n';
}

}  // namespace

void info(const ShowOptions& options) {
  forEachInput(options.inputs, [&](const InputOptions& input, TextOut& out) {
    const Facts facts = gatherFacts(input);
    if (!options.json) addHeading(options.inputs, input, out);
    options.json ? printJson(facts, inputName(input.path), out) : printText(facts, out);
    facts.faults.raise();
  });
}

}  // namespace kr::zero::tool
