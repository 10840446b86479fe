// Bad files, one of each kind: the library and the tool say the same sentence, and docs/guide/errors.md shows
// it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kr0/kr0.h>

#include <functional>
#include <map>

#include "Archives.h"
#include "Tool.h"
#include "kr/zero/archive/Archive.h"
#include "kr/zero/archive/Packing.h"
#include "kr/zero/ecore/Ecore.h"
#include "support/Paths.h"

namespace kr::zero::test {

namespace {

struct BadFile {
  std::string name;
  std::string fault;
  std::string bytes;
};

// --- The good documents that the bad ones are made of

struct Good {
  std::string krb = readFile(libraryKrb());
  std::string krt;
  std::string xmi = readFile(libraryXmi());
  std::string ecore = readFile(libraryEcore());
  std::string krz = libraryArchive();

  Good() {
    const std::string path = freshFolder() + "/library.krt";
    EXPECT_EQ(kr0({"convert", libraryXmi(), path, "-m", libraryEcore()}).code, 0);
    krt = readFile(path);
  }
};

std::string cut(const std::string& bytes, std::size_t size) { return bytes.substr(0, size); }

std::string cutBehind(const std::string& bytes, const std::string& text) {
  return bytes.substr(0, bytes.find(text) + text.size());
}

/// The bytes with the first `from` in them exchanged.
std::string with(std::string bytes, const std::string& from, const std::string& to) {
  const std::size_t at = bytes.find(from);
  EXPECT_NE(at, bytes.npos) << from;
  return bytes.replace(at, from.size(), to);
}

/// The bytes with the one at `offset` behind the first `text` exchanged.
std::string withByte(std::string bytes, const std::string& text, std::size_t offset, int byte) {
  bytes.at(bytes.find(text) + text.size() + offset) = static_cast<char>(byte);
  return bytes;
}

std::vector<BadFile> directFiles(const Good& good) {
  const std::string& krb = good.krb;
  return {
      {"empty.krb", "no bytes", ""},
      {"notes.krb", "a text", "hello, world\n"},
      {"xmi.krb", "XML in a file with that suffix", good.xmi},
      {"tagged.krb", "the other binary format", good.krt},
      {"version.krb", "another version", with(krb, "\x01", "\x02")},
      {"order.krb", "the other byte order", with(krb, "kr", "KR")},
      {"begun.krb", "cut behind the first byte", cut(krb, 1)},
      {"header.krb", "cut in the URI of a package", cutBehind(krb, "www.exam")},
      {"text.krb", "cut in a text", cutBehind(krb, "Herman Mel")},
      {"number.krb", "cut in a number", cutBehind(krb, "1897-05-03\x03\x01\x04\xDD")},
      {"half.krb", "cut in the middle", cut(krb, krb.size() / 2)},
      {"end.krb", "cut before the last end mark", cut(krb, krb.size() - 2)},
      {"behind.krb", "an end mark too many", krb + "\xFF\x7F"},
      {"long.krb", "a text that is said to be longer than the file",
       with(krb, "\x11Riverside", "\xFF\x7FRiverside")},
      {"utf8.krb", "a text that is no UTF-8", with(krb, "Riverside", "River\xFFide")},
      {"package.krb", "a package that is not known", with(krb, "example.org/library", "example.org/Library")},
      {"class.krb", "a class that is not known", with(krb, "library.Address", "library.Premise")},
      {"abstract.krb", "an element of an abstract class",
       with(krb, "\x0Flibrary.Address", "\x0Dlibrary.Named")},
      {"place.krb", "an element of a class that does not fit",
       with(krb, "library.Address", "library.Chapter")},
      {"property.krb", "a property that the class does not have", withByte(krb, "library.Library", 1, 0x7E)},
      {"date.krb", "a date that is none", with(krb, "1897-05-03", "1897-13-03")},
      {"twice.krb", "two elements with one identity",
       with(krb,
            "\x01#\x01"
            "4",
            "\x01#\x01"
            "3")},
  };
}

std::vector<BadFile> taggedFiles(const Good& good) {
  const std::string& krt = good.krt;
  return {
      {"empty.krt", "no bytes", ""},
      {"xmi.krt", "XML in a file with that suffix", good.xmi},
      {"direct.krt", "the other binary format", good.krb},
      {"begun.krt", "cut behind the first byte", cut(krt, 1)},
      {"half.krt", "cut in the middle", cut(krt, krt.size() / 2)},
      {"end.krt", "cut before the end mark", cut(krt, krt.size() - 1)},
      {"tag.krt", "a byte that begins nothing", withByte(krt, "founded", 0, 0x77)},
      {"utf8.krt", "a text that is no UTF-8", with(krt, "Riverside", "River\xFFide")},
      {"class.krt", "a class that is not known", with(krt, "library.Address", "library.ADDRESS")},
      {"property.krt", "a property that the class does not have", with(krt, "founded", "Founded")},
      {"value.krt", "a number in place of a text", with(krt, "\x0BshelfMetres", "\x04name")},
      {"literal.krt", "a literal that the enumeration does not have", with(krt, "novel", "nOvel")},
  };
}

std::vector<BadFile> textFiles(const Good& good) {
  return {
      {"empty.xmi", "no bytes", ""},
      {"half.xmi", "cut in the middle", cut(good.xmi, good.xmi.size() / 2)},
      {"feature.xmi", "a feature that the class does not have", with(good.xmi, "founded=", "opened=")},
      {"date.xmi", "a date that is none", with(good.xmi, "1897-05-03", "1897-13-03")},
      {"package.xmi", "a package that is not known",
       with(good.xmi, "example.org/library", "example.org/Library")},
      {"half.ecore", "cut in the middle", cut(good.ecore, good.ecore.size() / 2)},
      {"type.ecore", "a type that is not there", with(good.ecore, "eType=\"#//Genre\"", "eType=\"#//Mood\"")},
      {"circle.ecore", "a class above itself",
       with(good.ecore, "name=\"Address\"", "name=\"Address\" eSuperTypes=\"#//Address\"")},
      {"xmi.ecore", "a model in place of a meta model", good.xmi},
  };
}

std::vector<BadFile> archives(const Good& good) {
  const std::string& krz = good.krz;
  const PartPlace manifest = manifestOf(krz), metaModel = metaModelOf(krz), document = documentOf(krz);
  const auto claiming = [&](const char* part, const char* what, nlohmann::json value) {
    return withManifest(krz, [&](nlohmann::json& json) { json[part][what] = std::move(value); });
  };
  return {
      {"empty.krz", "no bytes", ""},
      {"notes.krz", "a text", "hello, world\n"},
      {"direct.krz", "a document without an archive around it", good.krb},
      {"manifest.krz", "a damaged manifest", damaged(krz, manifest)},
      {"meta.krz", "a damaged meta model", damaged(krz, metaModel)},
      {"document.krz", "a damaged document", damaged(krz, document)},
      {"begun.krz", "cut in the manifest", cut(krz, 20)},
      {"half.krz", "cut behind the manifest", cut(krz, manifest.offset + manifest.size)},
      {"end.krz", "cut in the document", cut(krz, krz.size() - 1)},
      {"behind.krz", "a byte too many", krz + "x"},
      {"short.krz", "a document that is longer than is said", claiming("document", "bytes", 3264)},
      {"hash.krz", "a document of another hash", claiming("document", "xxh3", std::string(32, '0'))},
      {"later.krz", "an archive of a later version",
       withManifest(krz, [](nlohmann::json& json) { json["kr0"] = 2; })},
  };
}

std::vector<BadFile> packedFiles(const Good& good) {
  constexpr int kLevel = 6;
  const std::string gzip = archive::pack(good.xmi, archive::Packing::gzip, kLevel);
  const std::string zst = archive::pack(good.xmi, archive::Packing::zstandard, kLevel);
  return {
      {"half.xmi.gz", "cut in the middle", cut(gzip, gzip.size() / 2)},
      {"behind.xmi.gz", "a byte too many", gzip + "x"},
      {"half.xmi.zst", "cut in the middle", cut(zst, zst.size() / 2)},
      {"behind.xmi.zst", "a byte too many", zst + "x"},
  };
}

// --- What is said of them

class Library {
 public:
  Library() : mapping_(ecore::loadMetaModels({libraryEcore()}, registry_)) {}

  std::string refusalOf(const std::string& path) const {
    try {
      read(path);
    } catch (const Error& error) {
      EXPECT_EQ(error.getDetails().file, path);
      return error.what();
    }
    return "nothing was refused";
  }

 private:
  void read(const std::string& path) const {
    if (path.ends_with(".krz")) {
      archive::loadArchive(path);
    } else if (archive::packingOfName(path) != archive::Packing::none) {
      const std::string bytes = readFile(path);
      archive::unpack(bytes, archive::packingOf(bytes), {.name = path});
    } else if (path.ends_with(".ecore")) {
      meta::MetaRegistry registry;
      ecore::loadMetaModels({path}, registry);
    } else if (path.ends_with(".xmi")) {
      ecore::readXmiFile(path, *mapping_);
    } else {
      io::loadModel(path, registry_, io::IOFormatProvider::findBySuffix(path));
    }
  }

  meta::MetaRegistry registry_;
  std::shared_ptr<const ecore::Mapping> mapping_;
};

std::string refusalByTool(const std::string& path) {
  std::vector<std::string> call = {"convert", path, path + ".xmi"};
  if (path.ends_with(".ecore"))
    call = {"schema", "show", path};
  else if (!path.ends_with(".krz"))  // these bring theirs
    call.insert(call.end(), {"-m", libraryEcore()});
  const Ended ended = kr0(call);
  EXPECT_EQ(ended.code, 1) << path;
  EXPECT_EQ(ended.out, "") << path;
  EXPECT_TRUE(ended.err.starts_with("kr0: ")) << ended.err;
  EXPECT_TRUE(isOneLine(ended.err)) << ended.err;
  return ended.err.substr(5, ended.err.size() - 6);
}

std::string without(std::string text, const std::string& part) {
  for (std::size_t at = 0; (at = text.find(part)) != text.npos;) text.erase(at, part.size());
  return text;
}

std::vector<BadFile> allFiles() {
  const Good good;
  std::vector<BadFile> files = directFiles(good);
  for (const auto& more : {taggedFiles(good), textFiles(good), archives(good), packedFiles(good)})
    files.insert(files.end(), more.begin(), more.end());
  return files;
}

}  // namespace

TEST(BadFiles, AreRefusedInTheSameSentenceByLibraryAndToolWhichThePageShows) {
  const std::string page = readFile(std::string(KR0_SOURCE_DIR) + "/docs/guide/errors.md");
  const std::string folder = freshFolder() + "/";
  const Library library;
  const std::vector<BadFile> files = allFiles();
  EXPECT_GE(files.size(), 40u);
  for (const BadFile& file : files) {
    writeFile(folder + file.name, file.bytes);
    const std::string said = library.refusalOf(folder + file.name);
    EXPECT_EQ(refusalByTool(folder + file.name), said);
    const std::string row = "| " + file.fault + " | `" + without(said, folder) + "` |";
    EXPECT_TRUE(page.find(row + "\n") != page.npos) << "errors.md lacks: " << row;
  }
}

}  // namespace kr::zero::test
