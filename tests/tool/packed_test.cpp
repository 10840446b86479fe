// Documents and meta models that are packed by gzip or zstd.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "kr/zero/archive/Packing.h"
#include "support/Paths.h"
#include "tool/Archives.h"
#include "tool/Tool.h"

namespace kr::zero::test::packed {

namespace {

using archive::Packing;
using testing::AllOf;
using testing::HasSubstr;

const std::map<std::string, Packing> kPackings = {{".gz", Packing::gzip}, {".zst", Packing::zstandard}};
constexpr int kLevel = 6;

std::string outOf(const std::vector<std::string>& arguments, const std::string& input = {}) {
  const Ended ended = kr0(arguments, input);
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_EQ(ended.err, "");
  return ended.out;
}

std::string fileWith(const std::string& name, const std::string& bytes) {
  const std::string path = freshFolder() + "/" + name;
  writeFile(path, bytes);
  return path;
}

std::string packed(const std::string& bytes, Packing packing) {
  return archive::pack(bytes, packing, kLevel);
}

std::string unpacked(const std::string& bytes) {
  const auto result = archive::unpack(bytes, archive::packingOf(bytes));
  return {result.begin(), result.end()};
}

void expectRefused(const std::string& name, const std::string& bytes,
                   const testing::Matcher<const std::string&>& sentence,
                   const std::vector<std::string>& more = {}) {
  std::vector<std::string> call = {"cat", fileWith(name, bytes), "-m", libraryEcore()};
  call.insert(call.end(), more.begin(), more.end());
  const Ended ended = kr0(call);
  EXPECT_EQ(ended.code, 1);
  EXPECT_EQ(ended.out, "");
  EXPECT_TRUE(isOneLine(ended.err)) << ended.err;
  EXPECT_THAT(ended.err, AllOf(HasSubstr(name), sentence));
}

std::string libraryKrt() {
  return outOf({"convert", libraryXmi(), "-", "--to", "krt", "-m", libraryEcore()});
}

bool hasProgram(const std::string& name) { return bash("command -v " + name).code == 0; }

}  // namespace

TEST(Packed, EveryFormatIsReadByEveryVerb) {
  const std::map<std::string, std::string> documents = {{"a.xmi", readFile(libraryXmi())},
                                                        {"a.krb", readFile(libraryKrb())},
                                                        {"a.krt", libraryKrt()},
                                                        {"a.krz", libraryArchive()}};
  const std::string shown = outOf({"cat", libraryKrb(), "-m", libraryEcore()});
  for (const auto& [suffix, packing] : kPackings) {
    for (const auto& [name, bytes] : documents) {
      const std::string path = fileWith(name + suffix, packed(bytes, packing));
      EXPECT_EQ(outOf({"cat", path, "-m", libraryEcore()}), shown) << path;
      EXPECT_EQ(outOf({"convert", path, "-", "--to", "krb", "-m", libraryEcore()}), readFile(libraryKrb()));
      EXPECT_THAT(outOf({"info", path, "-m", libraryEcore()}), HasSubstr("\nelements: 37\n"));
    }
  }
}

TEST(Packed, OutputsArePackedAsTheirNamesSay) {
  const std::map<std::string, std::string> documents = {{"a.xmi", readFile(libraryXmi())},
                                                        {"a.krb", readFile(libraryKrb())},
                                                        {"a.krt", libraryKrt()},
                                                        {"a.krz", libraryArchive()}};
  const std::string folder = freshFolder();
  for (const auto& [suffix, packing] : kPackings) {
    for (const auto& [name, bytes] : documents) {
      const std::string path = folder + "/" + name + suffix;
      outOf({"convert", libraryXmi(), path, "-m", libraryEcore()});
      EXPECT_EQ(archive::packingOf(readFile(path)), packing) << path;
      EXPECT_EQ(unpacked(readFile(path)), bytes) << path;
    }
  }
}

TEST(Packed, TheContentTellsNotTheName) {
  const std::string shown = outOf({"cat", libraryXmi(), "-m", libraryEcore()});
  for (const auto& [suffix, packing] : kPackings) {
    const std::string bytes = packed(readFile(libraryXmi()), packing);
    EXPECT_EQ(outOf({"cat", fileWith("a.xmi", bytes), "-m", libraryEcore()}), shown);
    EXPECT_EQ(outOf({"cat", fileWith("a.krb" + suffix, packed(readFile(libraryKrb()), packing)), "-m",
                     libraryEcore()}),
              shown);
    EXPECT_EQ(outOf({"cat", "-", "-m", libraryEcore()}, bytes), shown);
    EXPECT_EQ(outOf({"cat", fileWith("a.xmi" + suffix, readFile(libraryXmi())), "-m", libraryEcore()}),
              shown);
  }
}

TEST(Packed, DotsInNamesAreNames) {
  const std::string folder = freshFolder();
  outOf({"convert", libraryXmi(), folder + "/a.gz.krb", "-m", libraryEcore()});
  EXPECT_EQ(readFile(folder + "/a.gz.krb"), readFile(libraryKrb()));
  outOf({"convert", libraryXmi(), folder + "/a.v1.2.krb.gz", "-m", libraryEcore()});
  EXPECT_EQ(unpacked(readFile(folder + "/a.v1.2.krb.gz")), readFile(libraryKrb()));
  outOf({"convert", libraryXmi(), folder + "/plain.gz", "--to", "xmi", "-m", libraryEcore()});
  EXPECT_EQ(unpacked(readFile(folder + "/plain.gz")), readFile(libraryXmi()));
}

TEST(Packed, InfoTellsBothSizes) {
  const std::string bytes = packed(readFile(libraryKrb()), Packing::gzip);
  const std::string path = fileWith("a.krb.gz", bytes);
  EXPECT_THAT(outOf({"info", path}),
              HasSubstr("bytes: 3265\npacked: gzip, " + std::to_string(bytes.size()) + " bytes\n"));
  const auto json = nlohmann::json::parse(outOf({"info", path, "--json"}));
  EXPECT_EQ(json.at("packed"), nlohmann::json({{"by", "gzip"}, {"bytes", bytes.size()}}));
}

TEST(Packed, ALevelIsTakenByEveryKind) {
  const std::string folder = freshFolder();
  for (const std::string suffix : {".gz", ".zst"}) {
    for (const std::string level : {"1", "19"}) {
      outOf({"convert", libraryXmi(), folder + "/" + level + ".krt" + suffix, "-m", libraryEcore(), "--level",
             level});
      EXPECT_EQ(unpacked(readFile(folder + "/" + level + ".krt" + suffix)), libraryKrt());
    }
    EXPECT_LT(std::filesystem::file_size(folder + "/19.krt" + suffix),
              std::filesystem::file_size(folder + "/1.krt" + suffix));
  }
}

TEST(Packed, FilesOfTheProgramsGzipAndZstdAreReadWhole) {
  const std::string shown = outOf({"cat", libraryXmi(), "-m", libraryEcore()});
  for (const std::string program : {"gzip", "zstd"}) {
    if (!hasProgram(program)) GTEST_SKIP() << "there is no " << program << " here";
    // Two members or frames, cut in the middle of the document.
    const Ended ended = bash("(head -c 2000 $1 | " + program + " -c; tail -c +2001 $1 | " + program +
                                 " -c) > $3; $KR0 cat $3 -m $2",
                             {libraryXmi(), libraryEcore(), freshFolder() + "/both"});
    EXPECT_EQ(ended.code, 0) << ended.err;
    EXPECT_EQ(ended.out, shown) << program;
  }
}

TEST(Packed, TheProgramsGzipAndZstdReadWhatIsWritten) {
  const std::string folder = freshFolder();
  for (const auto& [program, suffix] : std::map<std::string, std::string>{{"gzip", "gz"}, {"zstd", "zst"}}) {
    if (!hasProgram(program)) GTEST_SKIP() << "there is no " << program << " here";
    const std::string path = folder + "/a.krb." + suffix;
    outOf({"convert", libraryXmi(), path, "-m", libraryEcore()});
    EXPECT_EQ(bash(program + " -dc $1", {path}).out, readFile(libraryKrb()));
  }
}

TEST(Packed, MetaModelsMayBePackedToo) {
  const std::string shown = outOf({"cat", libraryKrb(), "-m", libraryEcore()});
  const std::string schema = outOf({"schema", "show", libraryEcore()});
  for (const auto& [suffix, packing] : kPackings) {
    const std::string path = fileWith("library.ecore" + suffix, packed(readFile(libraryEcore()), packing));
    EXPECT_EQ(outOf({"cat", libraryKrb(), "-m", path}), shown);
    EXPECT_EQ(outOf({"schema", "show", path}), schema);
    EXPECT_EQ(outOf({"schema", "show", path, path}), schema);
  }
}

// --- What is refused

TEST(Packed, TwoLayersAreRefused) {
  const std::string xmi = readFile(libraryXmi());
  for (const auto& [inner, innerPacking] : kPackings)
    for (const auto& [outer, outerPacking] : kPackings)
      expectRefused("a.xmi" + inner + outer, packed(packed(xmi, innerPacking), outerPacking),
                    HasSubstr("it is packed twice: unpack the outer layer first"));
}

TEST(Packed, DamageIsOneSentence) {
  for (const auto& [suffix, packing] : kPackings) {
    const std::string name = "a.krb" + suffix, whole = packed(readFile(libraryKrb()), packing);
    const std::string what =
        packing == Packing::gzip ? "the gzip file is damaged: " : "the zstd file is damaged: ";
    expectRefused(name, whole.substr(0, whole.size() / 2), HasSubstr(what + "it is cut short"));
    expectRefused(name, whole + "x", HasSubstr(what + "there is more behind its end"));
    std::string flipped = whole;
    flipped[whole.size() / 2] ^= 1;
    expectRefused(name, flipped, HasSubstr(what));
  }
}

TEST(Packed, AFaultOfTheDocumentIsTheDocuments) {
  const std::string krb = readFile(libraryKrb());
  expectRefused("a.krb.gz", packed(krb.substr(0, 100), Packing::gzip), HasSubstr("a.krb.gz, byte "));
}

TEST(Packed, NothingInsideIsAnEmptyDocument) {
  for (const auto& [suffix, packing] : kPackings)
    expectRefused("a.krb" + suffix, packed("", packing), HasSubstr("the document is empty"));
}

TEST(Packed, ABombEndsAtTheLimit) {
  const std::string zeros(50'000'000, '\0');
  for (const auto& [suffix, packing] : kPackings)
    expectRefused("a.krb" + suffix, packed(zeros, packing),
                  HasSubstr("it unpacks to more than 2097152 bytes; --limit allows more"), {"--limit", "2M"});
}

TEST(Packed, ABombTakesNoMoreMemoryThanTheLimitAllows) {
  if (isSanitized()) GTEST_SKIP() << "sanitizers need more address space than this test leaves";
  const std::string zeros(50'000'000, '\0');
  for (const auto& [suffix, packing] : kPackings) {
    const std::string path = fileWith("a.krb" + suffix, packed(zeros, packing));
    const Ended ended = bash("ulimit -v 40000; $KR0 info $1 --limit 2M", {path});
    EXPECT_EQ(ended.code, 1);
    EXPECT_THAT(ended.err, HasSubstr("--limit allows more"));
  }
}

TEST(Packed, TheLimitIsOfMetaModelsToo) {
  const std::string path = fileWith("library.ecore.gz", packed(readFile(libraryEcore()), Packing::gzip));
  const Ended ended = kr0({"cat", libraryKrb(), "-m", path, "--limit", "1K"});
  EXPECT_EQ(ended.code, 1);
  EXPECT_THAT(ended.err, AllOf(HasSubstr("library.ecore"), HasSubstr("--limit allows more")));
}

}  // namespace kr::zero::test::packed
