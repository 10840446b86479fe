// What `kr0 convert` makes of a document.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "support/Paths.h"
#include "tool/Tool.h"

namespace kr::zero::test {

namespace {

const std::string binaryStart("\x01\x02kr", 4);

void expectDone(const Ended& ended) {
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_EQ(ended.err, "");
}

// Converts there and back and there again; the two binary documents must be the same.
void expectRoundTrip(const std::string& input, const std::string& extension,
                     const std::vector<std::string>& metaModels) {
  const std::string folder = freshFolder();
  const std::string first = folder + "/first.krb", back = folder + "/back" + extension,
                    second = folder + "/second.krb";
  const auto convert = [&](const std::string& from, const std::string& to) {
    std::vector<std::string> arguments = {"convert", from, to, "-m"};
    arguments.insert(arguments.end(), metaModels.begin(), metaModels.end());
    expectDone(kr0(arguments));
  };
  convert(input, first);
  convert(first, back);
  convert(back, second);
  EXPECT_EQ(readFile(first).substr(0, 4), binaryStart);
  EXPECT_TRUE(readFile(back).starts_with("<?xml"));
  EXPECT_EQ(readFile(first), readFile(second));
}

std::string model(const std::string& name) { return modelsDir() + "/" + name; }

}  // namespace

TEST(Convert, XmiToBinaryAndBackIsTheSameModel) { expectRoundTrip(libraryXmi(), ".xmi", {libraryEcore()}); }

TEST(Convert, BinaryIsSmallerThanXmi) {
  EXPECT_LT(std::filesystem::file_size(libraryKrb()), std::filesystem::file_size(libraryXmi()));
}

TEST(ConvertRealModels, AnEcoreFileIsAModelLikeAnyOther) {
  if (!haveModels()) GTEST_SKIP() << "no folder " << modelsDir();
  expectRoundTrip(libraryEcore(), ".ecore", {model("ecore/Ecore.ecore")});
}

TEST(ConvertRealModels, AnEcoreFileThatCameBackStillDescribesTheSameTypes) {
  if (!haveModels()) GTEST_SKIP() << "no folder " << modelsDir();
  const std::string folder = freshFolder(), ecore = model("ecore/Ecore.ecore");
  expectDone(kr0({"convert", libraryEcore(), folder + "/library.krb", "-m", ecore}));
  expectDone(kr0({"convert", folder + "/library.krb", folder + "/library.ecore", "-m", ecore}));
  EXPECT_EQ(kr0({"schema", "show", folder + "/library.ecore", "--json"}).out,
            kr0({"schema", "show", libraryEcore(), "--json"}).out);
}

TEST(ConvertRealModels, ADocumentUnderAnyNameIsReadByItsContent) {
  if (!haveModels()) GTEST_SKIP() << "no folder " << modelsDir();
  expectRoundTrip(model("archimate/Archisurance.archimate"), ".xmi", {model("archimate/archimate.ecore")});
}

TEST(Convert, ANameThatTellsNoFormatIsRefused) {
  for (const char* name : {"out.json5", "out", "out.KRX", "out.gz", "krb"}) {
    const std::string output = freshFolder() + "/" + name;
    const Ended ended = kr0({"convert", libraryXmi(), output, "-m", libraryEcore()});
    EXPECT_EQ(ended.code, 2) << name;
    EXPECT_THAT(ended.err, testing::StartsWith("kr0: " + output + ": its name tells no format"));
    EXPECT_FALSE(std::filesystem::exists(output));
    expectDone(kr0({"convert", libraryXmi(), output, "--to", "xmi", "-m", libraryEcore()}));
    EXPECT_TRUE(std::filesystem::exists(output));
  }
}

TEST(Convert, SeveralDocumentsGoIntoAFolderUnderTheirNames) {
  const std::string from = freshFolder(), to = from + "/new/stored";
  for (const char* name : {"a.xmi", "b.v2.xmi", "c"})
    std::filesystem::copy_file(libraryXmi(), from + "/" + name);
  for (const char* jobs : {"1", "3"}) {
    expectDone(kr0({"convert", from + "/a.xmi", from + "/b.v2.xmi", from + "/c", "-o", to + "/", "--to",
                    "krb", "-m", libraryEcore(), "-j", jobs}));
    for (const char* name : {"/a.krb", "/b.v2.krb", "/c.krb"}) {
      EXPECT_EQ(readFile(to + name), readFile(libraryKrb())) << name;
      std::filesystem::remove(to + name);
    }
    EXPECT_TRUE(std::filesystem::is_empty(to));
  }
}

TEST(Convert, DocumentsThatWouldReplaceEachOtherAreRefused) {
  const std::string to = freshFolder() + "/to/";
  const Ended ended =
      kr0({"convert", libraryXmi(), libraryKrb(), "-o", to, "--to", "krz", "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 2);
  EXPECT_THAT(ended.err, testing::HasSubstr("would both become " + to + "library.krz"));
  EXPECT_FALSE(std::filesystem::exists(to));
}

TEST(Convert, OneOutputForSeveralDocumentsIsRefused) {
  const std::string output = freshFolder() + "/all.krb";
  const Ended ended = kr0({"convert", libraryXmi(), libraryKrb(), "-o", output, "-m", libraryEcore()});
  EXPECT_EQ(ended.code, 2);
  EXPECT_THAT(ended.err, testing::HasSubstr("several documents take a folder"));
}

TEST(Convert, TheFormatOfAnInputWithoutExtensionIsSeenFromItsContent) {
  const std::string folder = freshFolder();
  std::filesystem::copy_file(libraryKrb(), folder + "/binary");
  std::filesystem::copy_file(libraryXmi(), folder + "/xml");
  expectDone(kr0({"convert", folder + "/binary", folder + "/a.krb", "-m", libraryEcore()}));
  expectDone(kr0({"convert", folder + "/xml", folder + "/b.krb", "-m", libraryEcore()}));
  EXPECT_EQ(readFile(folder + "/a.krb"), readFile(libraryKrb()));
  EXPECT_EQ(readFile(folder + "/b.krb"), readFile(libraryKrb()));
}

TEST(Convert, DashesAreStandardInputAndOutput) {
  const Ended binary =
      kr0({"convert", "-", "-", "--to", "krb", "-m", libraryEcore()}, readFile(libraryXmi()));
  expectDone(binary);
  EXPECT_EQ(binary.out, readFile(libraryKrb()));
  const Ended xmi =
      kr0({"convert", "-", "-", "--from", "krb", "--to", "xmi", "-m", libraryEcore()}, binary.out);
  expectDone(xmi);
  EXPECT_TRUE(xmi.out.starts_with("<?xml"));
}

TEST(Convert, FromAndToOutweighNames) {
  const std::string folder = freshFolder();
  std::filesystem::copy_file(libraryXmi(), folder + "/misnamed.krb");
  expectDone(kr0({"convert", folder + "/misnamed.krb", folder + "/misnamed.xmi", "--from", "xmi", "--to",
                  "krb", "-m", libraryEcore()}));
  EXPECT_EQ(readFile(folder + "/misnamed.xmi"), readFile(libraryKrb()));
}

TEST(Convert, MetaModelsMayStandBeforeTheDocuments) {
  const std::string output = freshFolder() + "/a.krb";
  expectDone(kr0({"convert", "-m", libraryEcore(), libraryXmi(), output}));
  EXPECT_EQ(readFile(output), readFile(libraryKrb()));
}

TEST(Convert, ADocumentMayBeReplacedByItself) {
  const std::string file = freshFolder() + "/a.xmi";
  std::filesystem::copy_file(libraryXmi(), file);
  expectDone(kr0({"convert", file, file, "--to", "krb", "-m", libraryEcore()}));
  EXPECT_EQ(readFile(file), readFile(libraryKrb()));
}

TEST(Convert, ADeviceIsWrittenAndNotReplaced) {
  expectDone(kr0({"convert", libraryXmi(), "/dev/null", "--to", "xmi", "-m", libraryEcore()}));
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

// What a script leaves in standard output, where it writes the example with $OUT, the rest of a call.
std::string outputOf(const std::string& script) {
  const Ended ended = bash("OUT=\"--to krb -m $2\"; set -e -o pipefail; cd $3; " + script,
                           {libraryXmi(), libraryEcore(), freshFolder()});
  expectDone(ended);
  return ended.out;
}

TEST(Convert, NamesOfStandardOutputAppendWhereItDoes) {
  for (const std::string name : {"/dev/stdout", "/dev/fd/1", "/proc/self/fd/1", "link"}) {
    const std::string out = outputOf("ln -s /dev/stdout link; echo keep > log; $KR0 convert $1 " + name +
                                     " $OUT >> log; echo more >> log; cat log");
    EXPECT_EQ(out, "keep\n" + readFile(libraryKrb()) + "more\n") << name;
  }
}

TEST(Convert, AnOpenFileIsWrittenWhereItStands) {
  EXPECT_EQ(outputOf("{ echo before; $KR0 convert $1 /dev/stdout $OUT; echo after; } > log; cat log"),
            "before\n" + readFile(libraryKrb()) + "after\n");
}

TEST(Convert, APipeIsWrittenByEachOfItsNames) {
  for (const std::string name : {"/dev/stdout", "/dev/fd/1", "/proc/self/fd/1"})
    EXPECT_EQ(outputOf("$KR0 convert $1 " + name + " $OUT | cat"), readFile(libraryKrb())) << name;
  EXPECT_EQ(outputOf("mkfifo done; $KR0 convert $1 >(cat > copy; echo > done) $OUT; read < done; cat copy"),
            readFile(libraryKrb()));
}

TEST(Convert, AnOpenFileWithoutANameGetsTheResult) {
  EXPECT_EQ(outputOf("exec 5<> gone; exec 6< gone; rm gone; $KR0 convert $1 /dev/fd/5 $OUT; ls >&2; cat <&6"),
            readFile(libraryKrb()));
}

TEST(Convert, AnOpenFileThatTakesNoMoreIsReported) {
  const Ended ended =
      bash("$KR0 convert $1 /dev/stdout --to krb -m $2 > /dev/full", {libraryXmi(), libraryEcore()});
  EXPECT_EQ(ended.code, 1);
  EXPECT_EQ(ended.err, "kr0: cannot write \"/dev/stdout\": No space left on device\n");
}

TEST(Convert, APipeWhoseReaderLeftIsNoError) {
  const Ended ended = bash("set -o pipefail; $KR0 convert $1 /dev/stdout --to krb -m $2 | exec 0<&-; sleep 0",
                           {libraryXmi(), libraryEcore()});
  EXPECT_EQ(ended.code, 0);
  EXPECT_EQ(ended.err, "");
}

TEST(Convert, DepthIsBoundedByNoStack) {
  const std::string folder = freshFolder();
  writeFile(folder + "/deep.xmi", chainXmi(30'000));
  const Ended ended = bash(
      "ulimit -s 256 && $KR0 convert $1/deep.xmi $1/deep.krb -m $2 && $KR0 convert $1/deep.krb $1/back.xmi "
      "-m $2",
      {folder, chainEcore()});
  expectDone(ended);
  const Ended again = kr0({"convert", folder + "/back.xmi", "-", "--to", "krb", "-m", chainEcore()});
  EXPECT_EQ(again.out, readFile(folder + "/deep.krb"));
}

}  // namespace kr::zero::test
