#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <vector>

#include "Errors.h"
#include "Figures.h"
#include "Files.h"
#include "Study.h"
#include "Visible.h"
#include "kr/zero/io/DocumentBytes.h"
#include "kr/zero/study/Statistics.h"

namespace kr::zero::tool {

namespace {

// A document as it was found, and the bytes that are told.
struct Measured {
  Format format;
  std::uint64_t fileBytes;      // of the document, unpacked
  Format as;                    // whose bytes are told
  std::uint64_t documentBytes;  // of the document in that format
  bool isOwn;                   // the document, or the one in the archive, is in that format
  io::DocumentBytes bytes = {};
};

// What a property comes to in all instances of a type.
struct PropertyRow {
  std::string name;
  std::uint64_t set = 0;
  std::uint64_t values = 0;
  std::uint64_t bytes = 0;
};

struct TypeRow {
  std::string name;
  std::uint64_t instances = 0;
  std::uint64_t bytes = 0;
  std::uint64_t own = 0;
  std::vector<PropertyRow> properties = {};
};

TypeRow rowOf(const study::TypeStatistics& counted, const io::TypeBytes& measured) {
  TypeRow row{counted.type->qualifiedName(), counted.instances, measured.total(), measured.own};
  for (const study::PropertyStatistics& property : counted.properties)
    row.properties.push_back(
        {property.property->name(), property.set, property.values, bytesOf(property.property, measured)});
  std::stable_sort(row.properties.begin(), row.properties.end(),
                   [](const PropertyRow& a, const PropertyRow& b) { return a.bytes > b.bytes; });
  return row;
}

// What takes most first.
std::vector<TypeRow> rowsOf(const study::Statistics& figures, const io::DocumentBytes& bytes) {
  std::vector<TypeRow> rows;
  for (const study::TypeStatistics& counted : figures.types)
    for (const io::TypeBytes& measured : bytes.types)
      if (measured.type == counted.type) rows.push_back(rowOf(counted, measured));
  std::stable_sort(rows.begin(), rows.end(),
                   [](const TypeRow& a, const TypeRow& b) { return a.bytes > b.bytes; });
  return rows;
}

Measured measure(const Document& document, const Model& model, const StatsOptions& options) {
  Measured result{document.format, document.bytes.size(), Format::krb, 0, true};
  if (document.format == Format::krz) {
    const archive::ArchiveReader archive(document.asArchive(), {.bytes = document.limit});
    result.as = archive.getManifest().tagged ? Format::krt : Format::krb;
    result.documentBytes = archive.getManifest().bytes;
  } else {
    result.isOwn = document.format == Format::krb || document.format == Format::krt;
    if (result.isOwn) result.as = document.format;
    result.documentBytes = document.bytes.size();
  }
  if (const auto wanted = formatNamed(options.as); wanted && *wanted != result.as) {
    result.as = *wanted;
    result.isOwn = false;
  }
  result.bytes = result.as == Format::krt ? io::measureTagged(model) : io::measureDirect(model);
  if (!result.isOwn) result.documentBytes = result.bytes.total();
  return result;
}

// Bytes that the document has more than its model takes: it was not written as the library writes it.
std::int64_t surplusOf(const Measured& measured) {
  return static_cast<std::int64_t>(measured.documentBytes) -
         static_cast<std::int64_t>(measured.bytes.total());
}

// --- As text

std::string right(const std::string& text, std::size_t width) {
  return std::string(text.size() < width ? width - text.size() : 0, ' ') + text;
}

class Table {
 public:
  Table(std::uint64_t total, TextOut& out) : total_(total), out_(out) {
    out_ << right("count", kCount) << right("bytes", kBytes) << right("share", kShare) << '\n';
  }
  void row(const std::string& count, std::int64_t bytes, const std::string& name) {
    out_ << right(count, kCount) << right(std::to_string(bytes), kBytes) << right(share(bytes), kShare)
         << "  " << name << '\n';
  }

 private:
  static constexpr std::size_t kCount = 10, kBytes = 13, kShare = 10;
  std::string share(std::int64_t bytes) const {
    if (total_ == 0) return "-";
    char text[32];
    (void)std::snprintf(text, sizeof text, "%.1f %%",
                        100 * static_cast<double>(bytes) / static_cast<double>(total_));
    return text;
  }
  std::uint64_t total_;
  TextOut& out_;
};

void printDepths(const std::vector<std::uint64_t>& depths, TextOut& out) {
  constexpr std::size_t kShown = 12;
  out << "levels: " << std::to_string(depths.size());
  for (std::size_t i = 0; i < std::min(depths.size(), kShown); ++i)
    out << (i == 0 ? ", of " : ", ") << std::to_string(depths[i]);
  out << (depths.size() > kShown ? ", ...\n" : depths.empty() ? "\n" : " elements\n");
}

// A text may be a book.
std::string beginningOf(const std::string& text) {
  constexpr std::size_t kShown = 60;
  if (text.size() <= kShown) return inQuotes(text);
  std::size_t end = kShown;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return inQuotes(text.substr(0, end)) + "...";
}

void printTexts(const study::TextStatistics& texts, TextOut& out) {
  out << "texts: " << std::to_string(texts.count) << " of " << std::to_string(texts.bytes) << " bytes, "
      << std::to_string(texts.different) << " different, the longest of "
      << counted(texts.longest, "byte", "bytes") << '\n';
  for (const study::FrequentText& text : texts.most)
    out << right(std::to_string(text.count), 8) << " times " << beginningOf(text.text) << '\n';
}

void printText(const study::Statistics& figures, const Measured& measured, TextOut& out) {
  out << "format: " << nameOf(measured.format) << '\n';
  out << "bytes: " << std::to_string(measured.fileBytes) << '\n';
  if (measured.as != measured.format)
    out << "as " << nameOf(measured.as) << ": " << std::to_string(measured.documentBytes) << " bytes\n";
  out << "elements: " << std::to_string(figures.elements) << ", " << counted(figures.roots, "root", "roots")
      << '\n';
  printDepths(figures.depths, out);
  out << "references: " << std::to_string(figures.references.resolved) << " in the document, "
      << std::to_string(figures.references.outside) << " into others, "
      << std::to_string(figures.references.unresolved) << " to what is not there\n";
  printTexts(figures.texts, out);
  Table table(measured.documentBytes, out);
  const auto bytes = [](std::uint64_t number) { return static_cast<std::int64_t>(number); };
  for (const TypeRow& type : rowsOf(figures, measured.bytes)) {
    table.row(std::to_string(type.instances), bytes(type.bytes), asName(type.name));
    table.row("", bytes(type.own), "  (elements themselves)");
    for (const PropertyRow& property : type.properties)
      table.row(std::to_string(property.values), bytes(property.bytes), "  " + asName(property.name));
  }
  table.row("", bytes(measured.bytes.frame), "(around all elements)");
  if (surplusOf(measured) != 0) table.row("", surplusOf(measured), "(not as kr0 writes it)");
  table.row("", bytes(measured.documentBytes), "in all");
}

// --- As JSON

using Json = nlohmann::ordered_json;

Json asJson(const TypeRow& type) {
  Json properties = Json::array();
  for (const PropertyRow& property : type.properties)
    properties.push_back({{"name", property.name},
                          {"set", property.set},
                          {"values", property.values},
                          {"bytes", property.bytes}});
  return {{"name", type.name},
          {"instances", type.instances},
          {"bytes", type.bytes},
          {"own", type.own},
          {"properties", std::move(properties)}};
}

Json asJson(const study::TextStatistics& texts) {
  Json most = Json::array();
  for (const study::FrequentText& text : texts.most)
    most.push_back({{"text", text.text}, {"count", text.count}});
  return {{"count", texts.count},
          {"bytes", texts.bytes},
          {"different", texts.different},
          {"longest", texts.longest},
          {"most", std::move(most)}};
}

void printJson(const std::string& file, const study::Statistics& figures, const Measured& measured,
               TextOut& out) {
  Json types = Json::array();
  for (const TypeRow& type : rowsOf(figures, measured.bytes)) types.push_back(asJson(type));
  const Json json{{"file", file},
                  {"format", nameOf(measured.format)},
                  {"bytes", measured.fileBytes},
                  {"elements", figures.elements},
                  {"roots", figures.roots},
                  {"levels", figures.depths},
                  {"references",
                   {{"resolved", figures.references.resolved},
                    {"outside", figures.references.outside},
                    {"unresolved", figures.references.unresolved}}},
                  {"texts", asJson(figures.texts)},
                  {"document",
                   {{"format", nameOf(measured.as)},
                    {"bytes", measured.documentBytes},
                    {"around", measured.bytes.frame},
                    {"surplus", surplusOf(measured)},
                    {"types", std::move(types)}}}};
  out << json.dump(1) << '\n';
}

}  // namespace

void showStatistics(const StatsOptions& options) {
  forEachInput(options.inputs, [&](const InputOptions& input, TextOut& out) {
    Document document = loadBytes(input);
    ProgressBar progress;
    const LoadedDocument loaded = readModel(document, input, progress);
    progress.startStep("measuring " + document.name);
    const Measured measured = measure(document, loaded.model, options);
    const study::Statistics figures = study::gatherStatistics(loaded.model, options.texts);
    if (options.json) return printJson(document.name, figures, measured, out);
    addHeading(options.inputs, input, out);
    printText(figures, measured, out);
  });
}

}  // namespace kr::zero::tool
