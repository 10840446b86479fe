// What must hold on every kind of machine: documents written by hand are read and written to the byte, and
// texts of every length come through. Needs nothing that a machine on which it is only run would have to
// have.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "fl/i18n/utf8.h"
#include "kr/zero/Error.h"
#include "kr/zero/io/BinaryFormats.h"
#include "kr/zero/io/ModelFile.h"
#include "kr/zero/meta/MetaModelBuilder.h"
#include "kr/zero/ustring.h"
#include "support/GoldenDocuments.h"
#include "support/Reading.h"
#include "support/TaggedReading.h"
#include "sylvan/Tagged.h"

namespace kr::zero::test {

namespace {

int passed = 0, failed = 0;

void expect(bool holds, const std::string& what) {
  ++(holds ? passed : failed);
  if (!holds) std::printf("failed: %s\n", what.c_str());
}

// One thing that must hold; whatever it raises is a failure.
template <class Check>
void check(const std::string& what, Check holds) {
  try {
    expect(holds(), what);
  } catch (const std::exception& error) {
    expect(false, what + ": " + error.what());
  }
}

Model readDirect(const Bytes& bytes) {
  const auto parser = makeParser(goldenRegistry());
  if (!parser->parse(io::ParsingInput::fromByteSequence(bytes))) throw std::runtime_error("refused");
  return parser->takeModel();
}

Model readTagged(const std::string& bytes) {
  const auto parser = makeTaggedParser(goldenRegistry());
  if (!parser->parse(io::ParsingInput::fromString(bytes))) throw std::runtime_error("refused");
  return parser->takeModel();
}

void checkDirectDocuments() {
  for (const GoldenDocument& document : goldenDocuments()) {
    check(document.name + ", direct",
          [&] { return writeDirect(readDirect(document.bytes)) == document.bytes; });
    check(document.name + ", through the tagged format",
          [&] { return writeDirect(readTagged(writeTagged(readDirect(document.bytes)))) == document.bytes; });
  }
}

// Of the one element of a golden document.
std::string valueOf(const std::string& document, std::string_view property, std::size_t position = 0) {
  return readDirect(goldenDocument(document)).getRoots().at(0).getTextForm(property, position);
}

void checkDirectValues() {
  check("an 8-bit number", [] { return valueOf("numbers", "i8") == "-1"; });
  check("a 16-bit number", [] { return valueOf("numbers", "u16") == "65534"; });
  check("a 32-bit number", [] { return valueOf("many numbers", "numbers", 1) == "305419896"; });
  check("a 64-bit number", [] { return valueOf("numbers", "i64") == "-2"; });
  check("a real", [] { return valueOf("many numbers", "reals") == "0.1"; });
  check("an enumeration", [] { return valueOf("enumerations", "mustKind") == "minus"; });
  check("a text", [] { return valueOf("texts", "nick") == "\xC3\xA4"; });
  check("a UUID", [] { return valueOf("date and UUID", "uuid") == "00112233-4455-6677-8899-aabbccddeeff"; });
}

void checkTaggedDocuments() {
  for (const GoldenTagged& document : goldenTagged()) {
    check(document.name + ", read", [&] {
      modeling::sylvan::EventRecorder recorder;
      io::BinaryAssembler(&recorder).visitString(document.bytes);
      return recorder == record(document.produce);
    });
    check(document.name + ", written",
          [&] { return (write(document.produce) == document.bytes) == document.isWritten; });
  }
}

struct Text {
  std::string utf8;
  std::u16string utf16;
};

// Letters of the alphabet in turn, so that no two places look the same.
Text asciiText(std::size_t length) {
  Text text;
  for (std::size_t i = 0; i < length; ++i) {
    text.utf8 += static_cast<char>('a' + i % 26);
    text.utf16 += static_cast<char16_t>(u'a' + i % 26);
  }
  return text;
}

// A text of letters with other ones before the letter at each place, and at the end.
std::vector<Text> textsOf(std::size_t length) {
  const std::vector<Text> others{
      {"\xC3\xA9", u"\u00E9"}, {"\xE2\x82\xAC", u"\u20AC"}, {"\xF0\x9F\x98\x80", u"\U0001F600"}};
  std::vector<Text> texts{asciiText(length)};
  for (const Text& other : others) {
    for (std::size_t place = 0; place <= length; ++place) {
      Text text = asciiText(length);
      text.utf8.insert(place, other.utf8);
      text.utf16.insert(place, other.utf16);
      texts.push_back(std::move(text));
    }
  }
  return texts;
}

bool areConverted(const std::vector<Text>& texts) {
  for (const Text& text : texts) {
    if (toUstring(text.utf8) != text.utf16 || toUtf8(text.utf16) != text.utf8) return false;
    if (!fl::i18n::isWellFormedUtf8(text.utf8) || fl::i18n::isWellFormedUtf8(text.utf8 + '\x80'))
      return false;
  }
  return true;
}

bool holds(const Model& model, const std::vector<Text>& texts) {
  const ConstElement element = model.getRoots().at(0);
  if (element.size("tags") != texts.size()) return false;
  for (std::size_t i = 0; i < texts.size(); ++i)
    if (element.getText("tags", i) != texts[i].utf8) return false;
  return true;
}

void checkTexts() {
  for (std::size_t length = 0; length <= 100; ++length) {
    const std::string name = "texts of " + std::to_string(length) + " letters";
    const std::vector<Text> texts = textsOf(length);
    Model model(goldenRegistry());
    Element element = model.createRoot("g.N");
    for (const Text& text : texts) element.add("tags", text.utf8);
    check(name + ", converted", [&] { return areConverted(texts); });
    check(name + ", direct", [&] { return holds(readDirect(writeDirect(model)), texts); });
    check(name + ", tagged", [&] { return holds(readTagged(writeTagged(model)), texts); });
  }
}

// --- Numbers as texts

// The text form of a real that was set by a text, or "refused".
std::string realFrom(std::string_view text) {
  meta::MetaRegistry registry;
  meta::MetaModelBuilder types("urn:r", "r");
  types.classType("R").property("length", "Real");
  types.registerIn(registry);
  Model model(registry);
  Element element = model.createRoot("r.R");
  try {
    element.setTextForm("length", text);
  } catch (const ModelError&) {
    return "refused";
  }
  return element.getTextForm("length");
}

void checkReals() {
  const std::pair<const char*, const char*> forms[] = {
      {"0.1", "0.1"},    {"-12.5", "-12.5"}, {"+3", "3.0"},      {"1e300", "1e+300"}, {"5e-324", "5e-324"},
      {".5", "0.5"},     {"5.", "5.0"},      {"INF", "INF"},     {"NaN", "NaN"},      {"1e999", "refused"},
      {"", "refused"},   {" 1", "refused"},  {"1 ", "refused"},  {"++1", "refused"},  {"0x10", "refused"},
      {"1e", "refused"}, {"1,5", "refused"}, {"inf", "refused"}, {"nan", "refused"},  {"1-2", "refused"}};
  for (const auto& [text, form] : forms)
    check("the real \"" + std::string(text) + "\"", [&, t = text, f = form] { return realFrom(t) == f; });
}

// --- Files

namespace fs = std::filesystem;

template <class Call>
std::string errorOf(Call call) {
  try {
    call();
  } catch (const Error& error) {
    return error.getDetails().problem;
  }
  return "nothing was refused";
}

std::size_t countFiles(const fs::path& folder) {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : fs::directory_iterator(folder)) ++count;
  return count;
}

// Of a document whose roots are that many.
Model modelOf(std::size_t roots) {
  Model model(goldenRegistry());
  for (std::size_t i = 0; i < roots; ++i) model.createRoot("g.N");
  return model;
}

void checkFiles() {
  const fs::path folder = fs::path("files of check");
  fs::remove_all(folder);
  fs::create_directory(folder);
  const fs::path path = folder / fs::path(u8"Stra\u00DFe \u4E2D.krb");
  const io::LoadOptions options{.registry = &goldenRegistry()};
  for (const std::size_t roots : {3u, 2u})
    check("a file with a wide name, of " + std::to_string(roots), [&] {
      io::saveModel(modelOf(roots), path);
      return io::loadModel(path, options).getRoots().size() == roots && countFiles(folder) == 1;
    });
  check("a folder is no file", [&] {
    fs::create_directory(folder / "inner");
    const std::string error = errorOf([&] { io::saveModel(modelOf(1), folder / "inner"); });
    return !error.empty() && error != "nothing was refused" && fs::is_directory(folder / "inner");
  });
  check("a folder that is not there", [&] {
    return errorOf([&] { io::saveModel(modelOf(1), folder / "none" / "a.krb"); }) != "nothing was refused";
  });
  fs::remove_all(folder);
}

// --- Lengths that a number of 32 bits does not hold

void checkLengths() {
  check("a text of 8 GiB that is not there", [] {
    // Long string, low byte first: its lower half alone would be a text without a letter.
    const std::string document = taggedHeader + std::string("\x31\0\0\0\0\x02\0\0\0\x02", 10);
    try {
      modeling::sylvan::EventRecorder recorder;
      io::BinaryAssembler(&recorder).visitString(document);
    } catch (const std::exception&) {
      return true;
    }
    return false;
  });
  if constexpr (sizeof(std::size_t) < 8) {
    check("a file of 5 GiB", [] {
      const fs::path path = "large.krb";
      std::ofstream(path) << 'x';
      fs::resize_file(path, std::uintmax_t{5} << 30);
      const std::string error = errorOf([&] { io::loadModel(path, {.registry = &goldenRegistry()}); });
      fs::remove(path);
      return error == "the document has more bytes than a program of this machine can hold";
    });
  }
}

}  // namespace

}  // namespace kr::zero::test

int main() {
  kr::zero::io::registerBinaryFormats();
  kr::zero::test::checkDirectDocuments();
  kr::zero::test::checkDirectValues();
  kr::zero::test::checkTaggedDocuments();
  kr::zero::test::checkTexts();
  kr::zero::test::checkReals();
  kr::zero::test::checkFiles();
  kr::zero::test::checkLengths();
  std::printf("%d passed, %d failed\n", kr::zero::test::passed, kr::zero::test::failed);
  return kr::zero::test::failed == 0 ? 0 : 1;
}
