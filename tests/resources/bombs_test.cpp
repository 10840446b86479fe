// Documents that claim, nest or unpack to far more than they are, read where there is little address space:
// each ends in a sentence, and none in a signal.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <kr0/kr0.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iostream>

#include "archive/MallocMeter.h"
#include "kr/zero/archive/Archive.h"
#include "kr/zero/archive/Packing.h"
#include "kr/zero/ecore/Ecore.h"
#include "kr/zero/inspect/Inspect.h"
#include "kr/zero/inspect/Salvage.h"
#include "kr/zero/json/Json.h"
#include "resources/SmallDocuments.h"
#include "support/DirectBytes.h"
#include "support/GoldenDocuments.h"
#include "support/TaggedReading.h"

namespace kr::zero::test::bombs {

namespace {

constexpr std::size_t kMiB = std::size_t{1} << 20;
constexpr std::size_t kAddressSpace = 64 * kMiB;
constexpr rlim_t kMostSeconds = 20;

struct Bomb {
  std::string name;
  std::string document;
  std::function<void(const std::string&)> read;
  bool mayBeRead = false;  ///< where the document is what it says, and small enough
};

// --- readers -------------------------------------------------------------------------------------------

void readDirect(const std::string& document) {
  io::readModel(document, {.registry = &goldenRegistry(), .format = io::IOFormatProvider::FORMAT_BINARY});
}
void readTagged(const std::string& document) {
  io::readModel(document,
                {.registry = &goldenRegistry(), .format = io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN});
}
void inspectDirect(const std::string& document) {
  inspect::inspect(document, {.registry = &goldenRegistry()}, [](const inspect::Note&) {});
}
void salvageDirect(const std::string& document) {
  inspect::salvage(document, {.registry = &goldenRegistry()});
}
void readXmi(const std::string& document) { ecore::readXmi(document, "bomb.xmi", *smallMetaModel().mapping); }
void readEcore(const std::string& document) { loadEcore(document, "bomb.ecore"); }
void readJson(const std::string& document) { json::readJson(document, {.registry = &goldenRegistry()}); }
void readArchive(const std::string& document) { archive::loadArchive(archive::ArchiveBytes{document}); }
void unpack(const std::string& document) { archive::unpack(document, archive::packingOf(document)); }

// --- documents -----------------------------------------------------------------------------------------

std::string asText(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

std::string times(const std::string& piece, std::size_t count) {
  std::string text;
  text.reserve(piece.size() * count);
  for (std::size_t i = 0; i < count; ++i) text += piece;
  return text;
}

constexpr std::uint64_t kClaims[] = {
    100'000'000, 0x7FFF'FFFF, 0xFFFF'FFFF, std::uint64_t{1} << 40, 0x7FFF'FFFF'FFFF'FFFF, ~std::uint64_t{0}};

/// Every length and count of the direct format, with claims instead.
void addDirectClaims(std::vector<Bomb>& to) {
  const auto element = [] { return DirectBytes().header({"urn:g"}).root("g.N", "k", "1"); };
  const auto start = [] { return DirectBytes().header({"urn:g"}).number(DirectBytes::startToken); };
  for (const std::uint64_t claim : kClaims) {
    const auto add = [&](const std::string& what, DirectBytes bytes) {
      bytes.number(claim).raw(Bytes(40, 1));
      const std::string name = what + ", " + std::to_string(claim);
      to.push_back({"direct: " + name, asText(bytes), readDirect});
    };
    add("version", {});
    add("byte order", DirectBytes().number(1));
    add("number of packages", DirectBytes().number(1).text("kr"));
    add("a package", DirectBytes().number(1).text("kr").number(1));
    add("a class", start().number(0));
    add("an identity", start().number(0).text("g.N").byte(1));
    add("its second part", start().number(0).text("g.N").byte(1).text("k"));
    add("a property", element());
    add("a text", element().key(1));
    add("an optional text", element().key(2).present());
    add("texts", element().key(3));
    add("numbers", element().key(8));
    add("reals", element().key(10));
    add("literals", element().key(12));
    add("Boolean values", element().key(23));
    add("references", element().key(21));
    add("a class of a reference", element().key(20).number(0));
  }
}

/// A length of eight bytes.
std::string taggedLength(std::uint64_t length) {
  std::string bytes = "\x31";
  for (int i = 0; i < 8; ++i) bytes += static_cast<char>(length >> (8 * i));
  return bytes;
}

void addTaggedClaims(std::vector<Bomb>& to) {
  using namespace std::string_literals;
  for (const std::uint64_t claim : kClaims) {
    const auto add = [&](const std::string& what, const std::string& before) {
      to.push_back({"tagged: " + what + ", " + std::to_string(claim), before + taggedLength(claim) + "abc",
                    readTagged});
    };
    add("version", "\x01");
    add("byte order", "\x01\x20\x01"s);
    add("a value", taggedHeader);
    add("a name", taggedHeader + "\x07\x09");
  }
}

std::string inPackage(const std::string& content) {
  return "<ecore:EPackage xmi:version='2.0' xmlns:xmi='http://www.omg.org/XMI' "
         "xmlns:ecore='http://www.eclipse.org/emf/2002/Ecore' name='b' nsURI='urn:b' nsPrefix='b'>" +
         content + "</ecore:EPackage>";
}

std::string inNode(const std::string& content) {
  return "<s:Node xmi:version='2.0' xmlns:xmi='http://www.omg.org/XMI' xmlns:s='urn:s'>" + content +
         "</s:Node>";
}

/// Each entity is ten of the one before.
std::string laughs() {
  std::string text = "<!DOCTYPE n [<!ENTITY a0 'ha'>";
  for (int i = 1; i < 20; ++i)
    text += "<!ENTITY a" + std::to_string(i) + " '" + times("&a" + std::to_string(i - 1) + ";", 10) + "'>";
  return text + "]>" + inNode("<words>&a19;</words>");
}

void addTexts(std::vector<Bomb>& to) {
  constexpr std::size_t kDeep = 500'000;
  to.push_back({"XMI: entities of entities", laughs(), readXmi});
  to.push_back({"Ecore: entities of entities", laughs(), readEcore});
  to.push_back({"XMI: an entity from a file", "<!DOCTYPE n [<!ENTITY a SYSTEM '/dev/zero'>]>" + inNode("&a;"),
                readXmi});
  to.push_back({"XMI: elements that stay open", times("<nodes>", kDeep), readXmi});
  to.push_back({"XMI: elements inside each other", inNode(times("<nodes>", kDeep) + times("</nodes>", kDeep)),
                readXmi, true});
  to.push_back({"XMI: many children", inNode(times("<nodes/>", 4 * kDeep)), readXmi, true});
  to.push_back({"XMI: many attributes", "<a" + times(" b='c'", kDeep) + "/>", readXmi});
  to.push_back({"Ecore: packages inside each other",
                inPackage(times("<eSubpackages name='p' nsURI='u' nsPrefix='p'>", 50'000) +
                          times("</eSubpackages>", 50'000)),
                readEcore});
  to.push_back({"JSON: arrays that stay open", times("[", 20 * kDeep), readJson});
  to.push_back({"JSON: objects that stay open", times("{\"a\":", 4 * kDeep), readJson});
  to.push_back({"JSON: a number of many digits", "{\"kr0\":" + times("9", 20 * kDeep) + "}", readJson});
  to.push_back({"JSON: a large exponent", "{\"kr0\":1e999999999}", readJson});
  to.push_back({"direct: children inside each other",
                asText(DirectBytes().header({"urn:g"}).root("g.N")) +
                    times("\x12" + asText(DirectBytes().element("g.N")), kDeep),
                readDirect});
  to.push_back({"tagged: structs that stay open", taggedHeader + times("\x03", 20 * kDeep), readTagged});
  to.push_back({"inspecting: one number", asText(DirectBytes().header({"urn:g"})) + times("\xFF", 3 * kDeep),
                inspectDirect, true});
  to.push_back({"salvaging: one number", asText(DirectBytes().header({"urn:g"})) + times("\xFF", 3 * kDeep),
                salvageDirect, true});
}

void addPacked(std::vector<Bomb>& to) {
  const std::string zeros(80 * kMiB, '\0');
  for (const auto packing : {archive::Packing::gzip, archive::Packing::zstandard}) {
    const std::string name = packing == archive::Packing::gzip ? "gzip" : "zstd";
    const std::string packed = archive::pack(zeros, packing, 1);
    to.push_back({name + ": zeros", packed, unpack});
    to.push_back({name + ": zeros again and again", times(packed, 20), unpack});
    to.push_back({name + ": more than a limit", packed, [packing](const std::string& document) {
                    archive::unpack(document, packing, {.limit = kMiB});
                  }});
  }
  std::string sound;
  archive::writeArchive(makeSmall(), sound);
  for (std::size_t at = 0; at + 8 < sound.size(); at += 29) {
    std::string claim = sound;
    claim.replace(at, 4, "\xFF\xFF\xFF\x7F");
    to.push_back({"archive: a claim at byte " + std::to_string(at), claim, readArchive});
  }
}

std::vector<Bomb> bombs() {
  io::registerBinaryFormats();
  std::vector<Bomb> all;
  addDirectClaims(all);
  addTaggedClaims(all);
  addTexts(all);
  addPacked(all);
  return all;
}

// --- where they go off -----------------------------------------------------------------------------------

void limitAddressSpace() {
  std::size_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  const rlim_t bytes = pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)) + kAddressSpace;
  const rlimit limit{bytes, bytes};
  ::setrlimit(RLIMIT_AS, &limit);
}

/// What is said of a document: with "+" where it was read.
std::string readThere(const Bomb& bomb) {
  try {
    bomb.read(bomb.document);
    return "+ read";
  } catch (const Error& error) {
    return "- " + std::string(nameOf(error.getCode())) + ": " + error.what();
  } catch (const std::bad_alloc&) {
    return "- out of memory";
  }
}

/// Reads in a process of its own. @return what it said, or how it ended instead.
std::string explode(const Bomb& bomb) {
  int pipe[2];
  if (::pipe2(pipe, O_CLOEXEC) != 0) return "no pipe";
  const pid_t child = ::fork();
  if (child == 0) {
    const rlimit time{kMostSeconds, kMostSeconds};
    ::setrlimit(RLIMIT_CPU, &time);
    limitAddressSpace();
    const std::string said = readThere(bomb).substr(0, 4000);
    const bool isSaid = ::write(pipe[1], said.data(), said.size()) == static_cast<ssize_t>(said.size());
    ::_exit(isSaid ? 0 : 1);
  }
  ::close(pipe[1]);
  std::string said(4000, '\0');
  said.resize(static_cast<std::size_t>(std::max<ssize_t>(0, ::read(pipe[0], said.data(), said.size()))));
  ::close(pipe[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  if (WIFSIGNALED(status)) return "ended by signal " + std::to_string(WTERMSIG(status));
  return said;
}

}  // namespace

TEST(Bombs, EndInASentenceWhereThereIsLittleAddressSpace) {
  if (!MallocMeter::isWatching()) GTEST_SKIP() << "sanitizers need more address space than that";
  const std::vector<Bomb> all = bombs();
  std::size_t refused = 0;
  for (const Bomb& bomb : all) {
    const std::string said = explode(bomb);
    if (std::getenv("KR0_VERBOSE") != nullptr) std::cout << bomb.name << ": " << said << std::endl;
    const bool isRefused = said.starts_with("- ") && said.size() > 10;
    EXPECT_TRUE(isRefused || (bomb.mayBeRead && said == "+ read")) << bomb.name << ": " << said;
    refused += isRefused ? 1u : 0u;
  }
  std::cout << all.size() << " documents, " << refused << " refused" << std::endl;
  EXPECT_GE(refused, 100u);
}

}  // namespace kr::zero::test::bombs
