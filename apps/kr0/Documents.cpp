#include "Documents.h"

#include <filesystem>
#include <new>
#include <stdexcept>

#include "Errors.h"
#include "Files.h"
#include "kr/zero/io/BinaryKRSylvanParser.h"
#include "kr/zero/io/BinaryKRSylvanSerializer.h"
#include "kr/zero/io/BinaryParser.h"
#include "kr/zero/io/BinarySerializer.h"
#include "modeling/sylvan/grammar/GrammarException.h"

namespace kr::zero::tool {

using modeling::sylvan::grammar::GrammarException;

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

std::unique_ptr<io::ParsingModelBuilder> makeBuilder() {
  return std::make_unique<io::ParsingModelBuilder>(false);
}

// What went wrong and where, as one sentence: `place` may begin with a detail of its own.
std::string sentence(std::string what, const std::string& place) {
  if (what.ends_with('.')) what.pop_back();
  if (place.empty() || what.find(place) != what.npos) return what;
  const bool hasDetail = !place.starts_with("at byte") && !place.starts_with("in element");
  return what + (hasDetail ? ": " : ", ") + place;
}

std::string firstOf(const std::vector<std::string>& problems) {
  if (problems.empty()) return "the document was refused";
  if (problems.size() == 1) return problems.front();
  return problems.front() + " (and " + std::to_string(problems.size() - 1) + " more)";
}

// Runs the parser; every failure but a lack of memory becomes one sentence.
bool parse(io::Parser& parser, const Document& document) {
  try {
    return parser.parseByteSequence(document.bytes);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    throw BadInput(document.name + ": " + sentence(reasonOf(error), parser.describeFailure()) +
                   hintAt(document));
  }
}

template <class SomeParser>
Model readBinary(const Document& document, const MetaModels& metaModels) {
  SomeParser parser(std::make_unique<io::ParseCustomizer>(metaModels.registry()), makeBuilder());
  if (!parse(parser, document))
    throw BadInput(document.name + ": " + sentence(firstOf(parser.getProblems()), parser.describeFailure()));
  return parser.takeModel();
}

std::string asXmi(const Model& model, const MetaModels& metaModels, ProgressBar& progress) {
  return ecore::writeXmi(model, metaModels.mapping(), progress.reporter());
}

std::string asBinary(const Model& model, const MetaModels& metaModels) {
  io::BinarySerializer serializer;
  serializer.getEventProcessor().setMetaRegistry(metaModels.registry());
  std::vector<unsigned char> bytes;
  serializer.serialize(model, io::SerializationOutput::toByteSequence(bytes));
  return {bytes.begin(), bytes.end()};
}

std::string asTagged(const Model& model) {
  std::string bytes;
  io::BinaryKRSylvanSerializer().serialize(model, io::SerializationOutput::toString(bytes));
  return bytes;
}

std::string encode(const Model& model, const std::string& path, Format format, const MetaModels& metaModels,
                   ProgressBar& progress) {
  try {
    if (format == Format::krb) return asBinary(model, metaModels);
    if (format == Format::krt) return asTagged(model);
    return asXmi(model, metaModels, progress);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    throw BadInput(path + ": cannot be written as " + std::string(nameOf(format)) + ", " + error.what());
  }
}

std::optional<Format> formatOfExtension(const std::string& path) {
  const std::string extension = std::filesystem::path(path).extension().string();
  return formatNamed(extension.empty() ? std::string_view() : std::string_view(extension).substr(1));
}

// How every tagged document begins that a writer has made.
bool looksTagged(std::string_view text) { return text.starts_with("\x01\x20\x01\x30\x02kr"); }

bool looksDirect(std::string_view text) { return text.starts_with("\x01\x02kr"); }

// What a document is by its content; nothing where that looks like no format at all.
std::optional<Format> formatOfContent(const Document& document) {
  const std::string_view text = document.text();
  if (looksTagged(text)) return Format::krt;
  if (looksDirect(text)) return Format::krb;
  if (ecore::looksLikeXml(text)) return Format::xmi;
  return std::nullopt;
}

std::string joinNames(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
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
    : registry_(std::make_unique<meta::MetaRegistry>()) {
  try {
    mapping_ = ecore::loadMetaModels(paths, *registry_);
  } catch (const meta::MetaError& error) {
    throw BadInput(joinNames(paths) + ": " + error.what());
  }
}

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

// An unknown property number surfaces as the standard's complaint about a look-up table, which tells
// a user nothing; neither do the grammar's processors that a failure came through.
std::string reasonOf(const std::exception& error) {
  if (dynamic_cast<const std::out_of_range*>(&error) != nullptr)
    return "there is a property number that is not known at this place";
  const std::string text = error.what();
  if (dynamic_cast<const GrammarException*>(&error) != nullptr) return text.substr(text.rfind('\n') + 1);
  return text;
}

std::string hintAt(const Document& document) {
  const std::optional<Format> looks = formatOfContent(document);
  if (!looks || *looks == document.format) return {};
  if (*looks == Format::xmi) return " (it looks like XML)";
  return " (it looks like " + std::string(nameOf(*looks)) + ")";
}

BinaryHeader readBinaryHeader(const Document& document) {
  auto customizer = std::make_unique<HeaderOnly>();
  const HeaderOnly& header = *customizer;
  io::BinaryParser parser(std::move(customizer), makeBuilder());
  parse(parser, document);
  if (!header.reached()) throw BadInput(document.name + ": " + firstOf(parser.getProblems()));
  return {toUtf8(parser.getParseProcessor()->getVersion()), header.packages()};
}

Model readModel(const Document& document, const MetaModels& metaModels, ProgressBar& progress) {
  progress.startStep("understanding " + document.name);
  if (document.format == Format::krb) return readBinary<io::BinaryParser>(document, metaModels);
  if (document.format == Format::krt) return readBinary<io::BinaryKRSylvanParser>(document, metaModels);
  return ecore::readXmi(document.text(), document.name, metaModels.mapping(), progress.reporter());
}

std::size_t writeModel(const Model& model, const std::string& path, Format format,
                       const MetaModels& metaModels, ProgressBar& progress) {
  progress.startStep("writing " + (path == "-" ? "standard output" : path));
  const std::string bytes = encode(model, path, format, metaModels, progress);
  writeOutput(path, bytes);
  return bytes.size();
}

}  // namespace kr::zero::tool
