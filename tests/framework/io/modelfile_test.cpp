#include "kr/zero/io/ModelFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "foundation/core/except.h"
#include "kr/zero/io/AtomicFile.h"
#include "support/Paths.h"

namespace kr::zero::io {
namespace {

namespace fs = std::filesystem;

// What a static initialiser sees.
const ustring formatNameAtStart = IOFormatProvider::FORMAT_BINARY;

// A format whose document is `content`, and which answers as the test says.
struct Script {
  std::string content = "the document";
  bool refusesBytes = false;
  bool streamFails = false;
  std::vector<std::string> outputs;  // the kinds that the serializer was given
  std::exception_ptr serializeError;
  bool accepted = true;
  std::exception_ptr parseError;
  std::vector<std::string> problems;
  std::string parsedBytes;
};
Script outputScript;

struct IntermediateFormatNotSupported {};
struct CannotSerialize {};

template <class Tag>
[[noreturn]] void raise(const char* identifier) {
  throw foundation::core::except::Exception<Tag, std::exception, void>({"kr0:io", identifier});
}

class Deliver final : public SerializationOutput::Visitor {
 public:
  void visitFile(const ustring&) override { FAIL() << "the target was handed to the format"; }
  void visitStream(std::ostream& stream) override {
    outputScript.outputs.push_back("stream");
    stream << outputScript.content;
    if (outputScript.streamFails) stream.setstate(std::ios::badbit);
  }
  void visitString(std::string& string) override { string = outputScript.content; }
  void visitUString(ustring&) override { FAIL(); }
  void visitIntermediateFormat(void*) override { FAIL(); }
  void visitLittleEndianByteSequence(std::vector<unsigned char>& bytes) override {
    outputScript.outputs.push_back("bytes");
    if (outputScript.refusesBytes) raise<IntermediateFormatNotSupported>("IntermediateFormatNotSupported");
    bytes.assign(outputScript.content.begin(), outputScript.content.end());
  }
};

class NoEvents final : public EventProcessor {
 public:
  void postprocess(const SerializationOutput&) override {}
  void startDocument() override {}
  void addRegisteredPackage(const ustring&) override {}
  void endRegisteredPackages() override {}
  CategoryMasks startObject(const ustring&, const ustring&, const ustring&, const ustring&) override {
    return {};
  }
  void endObject() override {}
  void textValue(const ustring&, const ustring&) override {}
  void absentValue(const ustring&) override {}
  void startStructuredProperty(const ustring&) override {}
  void textElement(const ustring&, const ustring&) override {}
  void endStructuredProperty() override {}
  void primitiveValue(const ustring&, const Value&) override {}
  void startStructuredElement(const ustring&) override {}
  void primitiveElement(const ustring&, const Value&) override {}
  void endStructuredElement() override {}
  void emptyContainer(const ustring&, const ustring&) override {}
  void startContainer(const ustring&, const ustring&) override {}
  void endContainer() override {}
  void referenceValue(const ustring&, const ustring&, const ustring&, const ustring&) override {}
  void referenceValueLong(const ustring&, const ustring&, const ustring&, const ustring&,
                          const ustring&) override {}
  void startStructuredEntry(const ustring&) override {}
  void referenceElement(const ustring&, const ustring&, const ustring&, const ustring&) override {}
  void referenceElementLong(const ustring&, const ustring&, const ustring&, const ustring&,
                            const ustring&) override {}
  void endStructuredEntry() override {}
};

class ScriptedSerializer final : public Serializer {
 public:
  ScriptedSerializer()
      : Serializer(std::make_unique<ModelTraverser>(), std::make_unique<SerializeCustomizer>(),
                   std::make_unique<NoEvents>()) {}
  const char* getFullyQualifiedVornTypeName() const override { return "test.ScriptedSerializer"; }
  void serialize(const Model&, const SerializationOutput& output) override {
    Deliver deliver;
    output.visitOutput(deliver);
    if (outputScript.serializeError) std::rethrow_exception(outputScript.serializeError);
  }
};

class ScriptedParser final : public Parser {
 public:
  explicit ScriptedParser(const meta::MetaRegistry& registry)
      : Parser(std::make_unique<ParseCustomizer>(registry), std::make_unique<ParsingModelBuilder>(false)) {}
  const char* getFullyQualifiedVornTypeName() const override { return "test.ScriptedParser"; }

 private:
  bool doParseFile(const ustring&) override { return false; }
  bool doParseString(const ustring&) override { return false; }
  bool doParseString(const std::string&) override { return false; }
  bool doParseByteSequence(const std::vector<std::uint8_t>& bytes) override {
    outputScript.parsedBytes.assign(bytes.begin(), bytes.end());
    if (outputScript.parseError) std::rethrow_exception(outputScript.parseError);
    for (const std::string& problem : outputScript.problems) getParseProcessor()->addProblem(problem);
    return outputScript.accepted;
  }
};

const ustring kFormat = u"scripted";
const ustring kStreamFormat = u"scripted, to streams";

IOFormatProvider::Format scriptedFormat() {
  return {[] { return std::make_unique<ScriptedSerializer>(); },
          [](const meta::MetaRegistry& registry) { return std::make_unique<ScriptedParser>(registry); }};
}

const bool registered = [] {
  IOFormatProvider::registerFormat(kStreamFormat, scriptedFormat());
  IOFormatProvider::Format format = scriptedFormat();
  format.fillsByteVectors = true;
  IOFormatProvider::registerFormat(kFormat, format);
  return true;
}();

// ---- formats

TEST(Formats, TheBinaryOneHasItsNameBeforeAnyOtherStatic) {
  EXPECT_EQ(formatNameAtStart, u"BINARY");
  EXPECT_EQ(IOFormatProvider::FORMAT_BINARY, u"BINARY");
}

TEST(Formats, RegisteredByAStaticInitialiserAreListedAndMade) {
  ASSERT_TRUE(registered);
  const std::vector<ustring> names = IOFormatProvider::getFormatNames();
  EXPECT_EQ(std::ranges::count(names, kFormat), 1);
  EXPECT_STREQ(IOFormatProvider::createSerializer(kFormat)->getFullyQualifiedVornTypeName(),
               "test.ScriptedSerializer");
  EXPECT_STREQ(IOFormatProvider::createParser(kFormat)->getFullyQualifiedVornTypeName(),
               "test.ScriptedParser");
}

TEST(Formats, ThatNobodyRegisteredAreRefusedByName) {
  for (const bool serializer : {true, false}) {
    try {
      if (serializer) {
        IOFormatProvider::createSerializer(u"n\u00F6");
      } else {
        IOFormatProvider::createParser(u"n\u00F6");
      }
      FAIL() << "made";
    } catch (const std::invalid_argument& error) {
      EXPECT_STREQ(error.what(), "no format \"n\xC3\xB6\" is registered");
    }
  }
}

TEST(Formats, OfOneNameReplaceEachOther) {
  int made = 0;
  const auto parser = [](const meta::MetaRegistry& registry) {
    return std::make_unique<ScriptedParser>(registry);
  };
  IOFormatProvider::registerFormat(u"replaced",
                                   {[] { return std::make_unique<ScriptedSerializer>(); }, parser});
  IOFormatProvider::registerFormat(u"replaced", {[&made] {
                                                   ++made;
                                                   return std::make_unique<ScriptedSerializer>();
                                                 },
                                                 parser});
  IOFormatProvider::createSerializer(u"replaced");
  EXPECT_EQ(made, 1);
  const std::vector<ustring> names = IOFormatProvider::getFormatNames();
  EXPECT_EQ(std::ranges::count(names, u"replaced"), 1);
}

TEST(Formats, NeedASerializerAndAParser) {
  EXPECT_THROW(
      IOFormatProvider::registerFormat(u"half", {[] { return std::make_unique<ScriptedSerializer>(); }, {}}),
      std::invalid_argument);
  EXPECT_THROW(IOFormatProvider::registerFormat(u"half", {}), std::invalid_argument);
  const std::vector<ustring> names = IOFormatProvider::getFormatNames();
  EXPECT_EQ(std::ranges::count(names, u"half"), 0);
}

TEST(Formats, AreRegisteredAndMadeByManyThreadsAtOnce) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([i] {
      const ustring name = u"thread " + ustring(1, static_cast<char16_t>(u'0' + i));
      for (int n = 0; n < 500; ++n) {
        IOFormatProvider::registerFormat(name, {[] { return std::make_unique<ScriptedSerializer>(); },
                                                [](const meta::MetaRegistry& registry) {
                                                  return std::make_unique<ScriptedParser>(registry);
                                                }});
        EXPECT_NE(IOFormatProvider::createSerializer(name), nullptr);
        EXPECT_GE(IOFormatProvider::getFormatNames().size(), 2u);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// ---- files

// Each test has a folder of its own and starts with a format that does as it is told.
class ModelFiles : public ::testing::Test {
 protected:
  ModelFiles() {
    outputScript = Script{};
    fs::create_directory(folder);
  }
  ~ModelFiles() override { fs::remove_all(folder); }

  std::string at(const std::string& name) const { return folder + "/" + name; }
  void save(const std::string& target, const ustring& format = kFormat) const {
    saveModel(Model(), toUstring(target), format);
  }

  // Names in the folder, sorted: shows temporary files that stayed.
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(folder)) found.push_back(entry.path().filename());
    std::ranges::sort(found);
    return found;
  }

  const std::string folder = test::temporaryPath("modelfiles");
  const std::string path = folder + "/model.krb";
};

template <class Action>
std::string failureOf(Action action) {
  try {
    action();
  } catch (const zero::Error& error) {
    EXPECT_EQ(error.getCode(), ErrorCode::unwritable) << error.what();
    EXPECT_THROW(std::rethrow_if_nested(error), std::ios_base::failure);
    return error.what();
  }
  return "no failure";
}

/// Expects an Error of that code whose problem this is.
template <class Action>
void expectError(ErrorCode code, const std::string& problem, Action action) {
  try {
    action();
    FAIL() << "nothing was refused";
  } catch (const zero::Error& error) {
    EXPECT_EQ(nameOf(error.getCode()), nameOf(code));
    EXPECT_EQ(error.getDetails().problem, problem) << error.what();
  }
}

using Names = std::vector<std::string>;

// Gives up root's rights, where the tests run as root, so that permissions mean something.
class WithoutPrivileges {
 public:
  WithoutPrivileges() {
    if (wasRoot_ && seteuid(kNobody) != 0) throw std::runtime_error("cannot give rights up");
  }
  ~WithoutPrivileges() {
    if (wasRoot_ && seteuid(0) != 0) std::abort();
  }
  WithoutPrivileges(const WithoutPrivileges&) = delete;
  WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;

  static constexpr uid_t kNobody = 65534;

 private:
  const bool wasRoot_ = geteuid() == 0;
};

// Lets everybody into the folder of a test.
void openToAll(const std::string& folder, mode_t mode) {
  ASSERT_EQ(chmod(fs::path(folder).parent_path().c_str(), 0755), 0);
  ASSERT_EQ(chmod(folder.c_str(), mode), 0);
}

mode_t permissionsOf(const std::string& path) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0) throw std::runtime_error("no file " + path);
  return status.st_mode & 07777;
}

TEST_F(ModelFiles, ANewFileHoldsTheDocument) {
  save(path);
  EXPECT_EQ(test::readFile(path), "the document");
  EXPECT_EQ(outputScript.outputs, Names{"bytes"});
  EXPECT_EQ(names(), Names{"model.krb"});
}

TEST_F(ModelFiles, AnOldFileIsReplaced) {
  test::writeFile(path, "something older and longer than the document");
  save(path);
  EXPECT_EQ(test::readFile(path), "the document");
  EXPECT_EQ(names(), Names{"model.krb"});
}

TEST_F(ModelFiles, FormatsThatWriteToStreamsOnlyAreSavedToo) {
  outputScript.content = std::string("bytes\0\xFF\n", 8);
  save(path, kStreamFormat);
  EXPECT_EQ(test::readFile(path), outputScript.content);
  EXPECT_EQ(outputScript.outputs, Names{"stream"});
}

TEST_F(ModelFiles, AStreamThatFailsOnTheWayIsReported) {
  outputScript.streamFails = true;
  EXPECT_NE(failureOf([&] { save(path, kStreamFormat); }), "no failure");
  EXPECT_TRUE(names().empty());
}

TEST_F(ModelFiles, ManyMegabytesArriveWhole) {
  outputScript.content = std::string(20 << 20, 'x') + "end";
  save(path);
  EXPECT_EQ(test::readFile(path), outputScript.content);
}

TEST_F(ModelFiles, AnEmptyDocumentIsAnEmptyFile) {
  outputScript.content.clear();
  save(path);
  EXPECT_EQ(test::readFile(path), "");
}

TEST_F(ModelFiles, APathInTheCurrentFolderNeedsNoFolder) {
  const fs::path before = fs::current_path();
  fs::current_path(folder);
  EXPECT_NO_THROW(save("model.krb"));
  fs::current_path(before);
  EXPECT_EQ(names(), Names{"model.krb"});
}

TEST_F(ModelFiles, ANewFileGetsThePermissionsOfTheUmask) {
  const mode_t before = umask(027);
  save(path);
  umask(before);
  EXPECT_EQ(permissionsOf(path), 0640u);
}

TEST_F(ModelFiles, AnOldFileKeepsItsPermissions) {
  for (const mode_t mode : {0600u, 0644u, 0664u, 0700u, 0666u}) {
    test::writeFile(path, "old");
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
    save(path);
    EXPECT_EQ(permissionsOf(path), mode);
    EXPECT_EQ(test::readFile(path), "the document");
  }
}

TEST_F(ModelFiles, AnOldFileKeepsItsOwnerWhereTheSaverMayGiveFilesAway) {
  if (geteuid() != 0) GTEST_SKIP() << "only root gives files away";
  test::writeFile(path, "old");
  ASSERT_EQ(chown(path.c_str(), 65534, 65534), 0);
  save(path);
  struct stat status;
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 65534u);
  EXPECT_EQ(status.st_gid, 65534u);
}

// The owner's group is none of the saver's: what was for it alone must not be open to another one.
TEST_F(ModelFiles, AFileThatCannotKeepItsGroupIsOpenToNoOtherOne) {
  if (geteuid() != 0) GTEST_SKIP() << "only root makes files of groups that it is not in";
  openToAll(folder, 0777);
  test::writeFile(path, "old");
  ASSERT_EQ(chown(path.c_str(), WithoutPrivileges::kNobody, 12345), 0);
  ASSERT_EQ(chmod(path.c_str(), 0664), 0);
  {
    const WithoutPrivileges here;
    save(path);
  }
  EXPECT_EQ(test::readFile(path), "the document");
  EXPECT_EQ(permissionsOf(path), 0644u);
}

// Somebody who may write to the folder puts links where the temporary files go.
TEST_F(ModelFiles, ALinkInThePlaceOfATemporaryFileIsNotFollowed) {
  test::writeFile(at("victim"), "kept");
  std::string name;
  {
    AtomicFile file(path);
    name = names().front();
  }
  ASSERT_TRUE(name.starts_with(".kr0-")) << name;
  fs::create_symlink("victim", at(name));
  save(path);
  EXPECT_EQ(test::readFile(path), "the document");
  EXPECT_EQ(test::readFile(at("victim")), "kept");
  EXPECT_EQ(names(), (Names{name, "model.krb", "victim"}));
}

TEST_F(ModelFiles, AFileInTheMakingIsForItsOwnerAlone) {
  test::writeFile(path, "old");
  ASSERT_EQ(chmod(path.c_str(), 0600), 0);
  const AtomicFile file(path);
  EXPECT_EQ(permissionsOf(at(names().front())), 0600u);
}

/// Begins to save a file in another process, and kills it.
void beKilledWhileSaving(const std::string& path) {
  int told[2];
  ASSERT_EQ(pipe(told), 0);
  const pid_t other = fork();
  if (other == 0) {
    AtomicFile file(path);
    file.write("half of");
    (void)!write(told[1], "x", 1);
    for (;;) pause();
  }
  char mark = 0;
  ASSERT_EQ(read(told[0], &mark, 1), 1);
  close(told[0]);
  close(told[1]);
  kill(other, SIGKILL);
  waitpid(other, nullptr, 0);
}

TEST_F(ModelFiles, WhatKilledProgramsLeftIsRemovedByTheNextSaveOfTheSameFile) {
  test::writeFile(path, "old");
  beKilledWhileSaving(path);
  const Names left = names();
  ASSERT_EQ(left.size(), 2u);
  EXPECT_EQ(test::readFile(path), "old");
  save(at("other"));
  EXPECT_EQ(names(), (Names{left[0], "model.krb", "other"})) << "another file's is not its business";
  AtomicFile begun(path);  // takes the place of the one that was left
  EXPECT_EQ(names(), (Names{left[0], "model.krb", "other"}));
  save(path);
  EXPECT_EQ(names(), (Names{left[0], "model.krb", "other"})) << "and one that is being written stays";
  begun.write("finished");
  begun.commit();
  EXPECT_EQ(test::readFile(path), "finished");
  EXPECT_EQ(names(), (Names{"model.krb", "other"}));
}

TEST_F(ModelFiles, MoreSavesOfAFileAtOnceThanItHasTemporaryNamesEndWell) {
  std::vector<std::unique_ptr<AtomicFile>> begun;
  for (int i = 0; i < 20; ++i) begun.push_back(std::make_unique<AtomicFile>(path));
  EXPECT_EQ(names().size(), 20u);
  for (const auto& file : begun) file->commit();
  begun.clear();
  EXPECT_EQ(names(), Names{"model.krb"});
}

// Where the host has closed its standard streams, what it prints later must not end up in the file.
TEST_F(ModelFiles, NoFileTakesTheNumberOfAStandardStream) {
  const int kept = dup(STDOUT_FILENO);
  close(STDOUT_FILENO);
  {
    AtomicFile file(path);
    (void)!write(STDOUT_FILENO, "printed", 7);
    file.write("the document");
    (void)!write(STDOUT_FILENO, "printed", 7);
    file.commit();
  }
  dup2(kept, STDOUT_FILENO);
  close(kept);
  EXPECT_EQ(test::readFile(path), "the document");
}

TEST_F(ModelFiles, ALinkStaysALinkAndItsTargetIsReplaced) {
  fs::create_directory(at("far"));
  test::writeFile(at("far/target.krb"), "old");
  fs::create_symlink("far/target.krb", at("link.krb"));
  fs::create_symlink(at("link.krb"), at("second.krb"));
  save(at("second.krb"));
  EXPECT_TRUE(fs::is_symlink(at("link.krb")));
  EXPECT_TRUE(fs::is_symlink(at("second.krb")));
  EXPECT_EQ(test::readFile(at("far/target.krb")), "the document");
}

TEST_F(ModelFiles, ALinkToNothingGetsItsTarget) {
  fs::create_symlink("target.krb", at("link.krb"));
  save(at("link.krb"));
  EXPECT_TRUE(fs::is_symlink(at("link.krb")));
  EXPECT_EQ(test::readFile(at("target.krb")), "the document");
}

TEST_F(ModelFiles, LinksInACircleAreRefused) {
  fs::create_symlink("b.krb", at("a.krb"));
  fs::create_symlink("a.krb", at("b.krb"));
  EXPECT_NE(failureOf([&] { save(at("a.krb")); }).find("Too many levels of symbolic links"),
            std::string::npos);
  EXPECT_EQ(names(), (Names{"a.krb", "b.krb"}));
}

TEST_F(ModelFiles, ANameAsLongAsNamesMayBeIsSaved) {
  const std::string longest = at(std::string(255, 'n'));
  save(longest);
  EXPECT_EQ(test::readFile(longest), "the document");
}

// The temporary file has a longer name than the target, and its folder one that leaves no room for that.
TEST_F(ModelFiles, APathAsLongAsPathsMayBeIsSavedAndLoaded) {
  constexpr std::size_t kLongest = PATH_MAX - 1;
  std::string longest = folder;
  while (kLongest - longest.size() > 257) longest += "/" + std::string(200, 'f');
  longest += "/" + std::string(kLongest - longest.size() - 3, 'f');
  fs::create_directories(longest);
  longest += "/n";
  ASSERT_EQ(longest.size(), kLongest);
  save(longest);
  EXPECT_EQ(test::readFile(longest), "the document");
  EXPECT_EQ(loadModel(longest, meta::MetaRegistry::instance(), kFormat).size(), 0u);
  EXPECT_NE(failureOf([&] { save(longest + "n"); }).find("File name too long"), std::string::npos);
}

TEST_F(ModelFiles, AFileThatWasBegunInAFolderIsPutThereWhereverTheProgramGoes) {
  const fs::path before = fs::current_path();
  fs::create_directory(at("other"));
  fs::current_path(folder);
  AtomicFile file("model.krb");
  file.write("the document");
  fs::current_path(at("other"));
  file.commit();
  fs::current_path(before);
  EXPECT_EQ(names(), (Names{"model.krb", "other"}));
}

TEST_F(ModelFiles, AnotherNameOfAnOldFileKeepsTheOldContent) {
  test::writeFile(path, "old");
  fs::create_hard_link(path, at("other"));
  save(path);
  EXPECT_EQ(test::readFile(path), "the document");
  EXPECT_EQ(test::readFile(at("other")), "old");
}

TEST_F(ModelFiles, ANameThatIsTooLongLeavesNothing) {
  const std::string tooLong = at(std::string(256, 'n'));
  EXPECT_EQ(failureOf([&] { save(tooLong); }), tooLong + ": cannot be written, File name too long");
  EXPECT_TRUE(names().empty());
}

TEST_F(ModelFiles, AMissingFolderIsNamed) {
  const std::string missing = at("missing/model.krb");
  EXPECT_EQ(failureOf([&] { save(missing); }), missing + ": cannot be written, No such file or directory");
  EXPECT_TRUE(names().empty());
}

TEST_F(ModelFiles, AnEmptyPathIsRefused) {
  EXPECT_NE(failureOf([&] { save(""); }), "no failure");
}

TEST_F(ModelFiles, AFolderInPlaceOfTheFileStays) {
  fs::create_directory(path);
  test::writeFile(path + "/inside", "kept");
  EXPECT_EQ(failureOf([&] { save(path); }), path + ": cannot be written, Is a directory");
  EXPECT_EQ(test::readFile(path + "/inside"), "kept");
  EXPECT_EQ(names(), Names{"model.krb"});
}

TEST_F(ModelFiles, AFileInPlaceOfTheFolderStays) {
  test::writeFile(at("file"), "kept");
  EXPECT_EQ(failureOf([&] { save(at("file/model.krb")); }),
            at("file/model.krb") + ": cannot be written, Not a directory");
  EXPECT_EQ(test::readFile(at("file")), "kept");
}

TEST_F(ModelFiles, APathWithANulIsRefused) {
  const fs::path nul = fs::path(folder) / std::string("a\0b", 3);
  expectError(ErrorCode::misuse, "path holds a NUL", [&] { saveModel(Model(), nul, kFormat); });
  EXPECT_TRUE(names().empty());
}

TEST_F(ModelFiles, ANameThatIsNoUtf8Works) {
  const fs::path latin1 = fs::path(folder) /
                          "b\xFC"
                          "cher.krb";
  saveModel(Model(), latin1, kFormat);
  EXPECT_EQ(names(), Names{"b\xFC"
                           "cher.krb"});
  EXPECT_EQ(loadModel(latin1, meta::MetaRegistry::instance(), kFormat).size(), 0u);
}

TEST_F(ModelFiles, AReadOnlyFileStays) {
  openToAll(folder, 0777);
  test::writeFile(path, "kept");
  ASSERT_EQ(chmod(path.c_str(), 0444), 0);
  const WithoutPrivileges here;
  EXPECT_EQ(failureOf([&] { save(path); }), path + ": cannot be written, Permission denied");
  EXPECT_EQ(test::readFile(path), "kept");
  EXPECT_EQ(names(), Names{"model.krb"});
}

TEST_F(ModelFiles, AFolderThatMayNotBeWrittenToIsReported) {
  openToAll(folder, 0555);
  const WithoutPrivileges here;
  EXPECT_EQ(failureOf([&] { save(path); }), path + ": cannot be written, Permission denied");
  EXPECT_TRUE(names().empty());
}

TEST_F(ModelFiles, AFolderThatMayNotBeListedIsWrittenTo) {
  openToAll(folder, 0333);
  {
    const WithoutPrivileges here;
    EXPECT_NO_THROW(save(path));
  }
  openToAll(folder, 0777);
  EXPECT_EQ(test::readFile(path), "the document");
}

// A limit on the size of files, in place of a full disk.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    rlimit now = before_;
    now.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &now);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  void (*handler_)(int);
  rlimit before_{};
};

TEST_F(ModelFiles, AFileThatMayNotGrowLeavesTheOldOne) {
  test::writeFile(path, "kept");
  outputScript.content = std::string(100000, 'x');
  std::string failure;
  {
    const FileSizeLimit limit(5000);
    failure = failureOf([&] { save(path); });
  }
  EXPECT_EQ(failure, path + ": cannot be written, File too large");
  EXPECT_EQ(test::readFile(path), "kept");
  EXPECT_EQ(names(), Names{"model.krb"});
}

TEST_F(ModelFiles, AWriteThatFailsAtAnyByteLeavesTheOldFile) {
  test::writeFile(path, "kept");
  outputScript.content = std::string(200, 'x');
  for (const ustring& format : {kFormat, kStreamFormat})
    for (rlim_t size = 0; size < outputScript.content.size(); ++size) {
      std::string failure;
      {
        const FileSizeLimit limit(size);
        failure = failureOf([&] { save(path, format); });
      }
      ASSERT_EQ(failure, path + ": cannot be written, File too large") << size;
      ASSERT_EQ(test::readFile(path), "kept") << size;
      ASSERT_EQ(names(), Names{"model.krb"}) << size;
    }
}

TEST_F(ModelFiles, AFileThatMayNotGrowLeavesNothingWhereNothingWas) {
  outputScript.content = std::string(100000, 'x');
  std::string failure;
  {
    const FileSizeLimit limit(5000);
    failure = failureOf([&] { save(path); });
  }
  EXPECT_EQ(failure, path + ": cannot be written, File too large");
  EXPECT_TRUE(names().empty());
}

TEST_F(ModelFiles, AFullDeviceIsReportedAndStaysADevice) {
  if (!fs::is_character_file("/dev/full")) GTEST_SKIP() << "there is no /dev/full here";
  EXPECT_EQ(failureOf([&] { save("/dev/full"); }), "/dev/full: cannot be written, No space left on device");
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST_F(ModelFiles, APipeIsWrittenTo) {
  ASSERT_EQ(mkfifo(at("pipe").c_str(), 0600), 0);
  std::string read;
  std::thread reader([&] { read = test::readFile(at("pipe")); });
  save(at("pipe"));
  reader.join();
  EXPECT_EQ(read, "the document");
  EXPECT_TRUE(fs::is_fifo(at("pipe")));
}

// A signal that interrupts calls every millisecond, in this thread only.
class Interruptions {
 public:
  Interruptions() {
    struct sigaction action {};
    action.sa_handler = [](int) {};  // without SA_RESTART
    sigaction(SIGALRM, &action, &before_);
    const itimerval often{{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &often, nullptr);
  }
  ~Interruptions() {
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before_, nullptr);
  }
  Interruptions(const Interruptions&) = delete;
  Interruptions& operator=(const Interruptions&) = delete;

 private:
  struct sigaction before_ {};
};

// An open file, and the names of its descriptor.
class OpenFile {
 public:
  OpenFile(const std::string& path, int flags) : number_(open(path.c_str(), flags | O_CREAT, 0600)) {
    if (number_ < 0) throw std::runtime_error("cannot open " + path);
  }
  ~OpenFile() { close(number_); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  int get() const { return number_; }
  std::vector<std::string> names() const {
    const std::string digits = std::to_string(number_);
    return {"/dev/fd/" + digits, "/proc/self/fd/" + digits, "/proc/thread-self/fd/" + digits,
            "/proc/" + std::to_string(getpid()) + "/fd/" + digits};
  }
  std::string content() const {
    std::string bytes(4096, '\0');
    const ssize_t size = pread(number_, bytes.data(), bytes.size(), 0);
    if (size < 0) throw std::runtime_error("cannot read an open file");
    bytes.resize(static_cast<std::size_t>(size));
    return bytes;
  }

 private:
  const int number_;
};

TEST_F(ModelFiles, AnOpenFileIsAppendedToWhereItWasOpenedSo) {
  test::writeFile(path, "kept, ");
  const OpenFile file(path, O_RDWR | O_APPEND);
  for (const std::string& name : file.names()) save(name);
  EXPECT_EQ(test::readFile(path), "kept, the documentthe documentthe documentthe document");
  EXPECT_EQ(names(), Names{"model.krb"});
}

TEST_F(ModelFiles, AnOpenFileIsWrittenWhereItStands) {
  test::writeFile(path, "kept, and more than the document");
  const OpenFile file(path, O_RDWR);
  ASSERT_EQ(lseek(file.get(), 6, SEEK_SET), 6);
  save(file.names().front());
  EXPECT_EQ(test::readFile(path), "kept, the documentn the document");
}

TEST_F(ModelFiles, ALinkToADescriptorMeansTheOpenFile) {
  test::writeFile(path, "kept, ");
  const OpenFile file(path, O_RDWR | O_APPEND);
  fs::create_symlink(file.names().front(), at("link"));
  save(at("link"));
  EXPECT_EQ(test::readFile(path), "kept, the document");
}

TEST_F(ModelFiles, AnOpenFileWithoutANameGetsTheBytes) {
  const OpenFile file(path, O_RDWR);
  fs::remove(path);
  save(file.names().front());
  EXPECT_EQ(file.content(), "the document");
  EXPECT_TRUE(names().empty());
}

TEST_F(ModelFiles, ASocketIsWrittenTo) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  save("/dev/fd/" + std::to_string(ends[0]));
  close(ends[0]);
  std::string read(100, '\0');
  read.resize(static_cast<std::size_t>(::read(ends[1], read.data(), read.size())));
  close(ends[1]);
  EXPECT_EQ(read, "the document");
}

TEST_F(ModelFiles, ADescriptorThatIsNotOpenOrTakesNothingIsReported) {
  EXPECT_EQ(failureOf([&] { save("/dev/fd/987"); }), "/dev/fd/987: cannot be written, Bad file descriptor");
  test::writeFile(path, "kept");
  const OpenFile file(path, O_RDONLY);
  const std::string name = file.names().front();
  EXPECT_EQ(failureOf([&] { save(name); }), name + ": cannot be written, Bad file descriptor");
  EXPECT_EQ(test::readFile(path), "kept");
}

// The text of such a link is a name that no file has.
TEST_F(ModelFiles, AFileThatOnlyTheSystemFindsIsWrittenInPlace) {
  const OpenFile file(path, O_RDWR);
  fs::remove(path);
  const pid_t other = fork();
  if (other == 0) {  // keeps the file open until it is killed
    for (;;) pause();
  }
  save("/proc/" + std::to_string(other) + "/fd/" + std::to_string(file.get()));
  kill(other, SIGKILL);
  waitpid(other, nullptr, 0);
  EXPECT_EQ(file.content(), "the document");
  EXPECT_TRUE(names().empty());
}

TEST_F(ModelFiles, AFullPipeThatDoesNotWaitIsWaitedFor) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
  outputScript.content = std::string(1 << 20, 'x');
  std::size_t got = 0;
  std::thread reader([&] {
    char piece[4096];
    while (got < outputScript.content.size()) {
      const ssize_t size = ::read(ends[0], piece, sizeof piece);
      if (size > 0) got += static_cast<std::size_t>(size);
      if (size == 0) break;
    }
  });
  EXPECT_EQ(failureOf([&] { save("/dev/fd/" + std::to_string(ends[1])); }), "no failure");
  close(ends[1]);
  reader.join();
  close(ends[0]);
  EXPECT_EQ(got, outputScript.content.size());
}

TEST_F(ModelFiles, SignalsDoNotDisturbASave) {
  ASSERT_EQ(mkfifo(at("pipe").c_str(), 0600), 0);
  outputScript.content = std::string(300000, 'x') + "end";
  std::string read;
  sigset_t alarm;
  sigset_t before;
  sigemptyset(&alarm);
  sigaddset(&alarm, SIGALRM);
  pthread_sigmask(SIG_BLOCK, &alarm, &before);  // the reader inherits this
  std::thread reader([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // opening waits for the reader ...
    std::ifstream in(at("pipe"), std::ios::binary);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // ... and writing for room
    read.assign(std::istreambuf_iterator<char>(in), {});
  });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  std::string failure;
  {
    const Interruptions interruptions;
    failure = failureOf([&] { save(at("pipe")); });
  }
  if (failure != "no failure") test::writeFile(at("pipe"), "");  // the reader may still wait for a writer
  reader.join();
  EXPECT_EQ(failure, "no failure");
  EXPECT_EQ(read, outputScript.content);
}

std::ptrdiff_t countOpenDescriptors() {
  const fs::directory_iterator all("/proc/self/fd");
  return std::distance(begin(all), end(all));
}

TEST_F(ModelFiles, NoDescriptorStaysOpenWhateverHappens) {
  if (!fs::exists("/proc/self/fd")) GTEST_SKIP() << "there is no /proc here";
  fs::create_directory(at("folder"));
  const std::ptrdiff_t before = countOpenDescriptors();
  save(path);
  EXPECT_NE(failureOf([&] { save(at("folder")); }), "no failure");
  EXPECT_NE(failureOf([&] { save(at(std::string(256, 'n'))); }), "no failure");
  {
    const FileSizeLimit limit(5);
    EXPECT_NE(failureOf([&] { save(path); }), "no failure");
  }
  if (fs::is_character_file("/dev/full")) {
    EXPECT_NE(failureOf([&] { save("/dev/full"); }), "no failure");
  }
  EXPECT_EQ(countOpenDescriptors(), before);
}

TEST_F(ModelFiles, WhatTheFormatRaisesIsNamedWithTheFileAndTheOldFileStays) {
  test::writeFile(path, "kept");
  outputScript.serializeError = std::make_exception_ptr(
      SerializeError(ErrorDetails{.path = "/library", .problem = "two elements with one identity"}));
  try {
    save(path);
    FAIL() << "saved";
  } catch (const zero::Error& error) {
    EXPECT_EQ(error.getCode(), ErrorCode::inexpressible);
    EXPECT_EQ(error.what(), path + ", /library: two elements with one identity");
    EXPECT_THROW(std::rethrow_if_nested(error), SerializeError);
  }
  EXPECT_EQ(test::readFile(path), "kept");
  EXPECT_EQ(names(), Names{"model.krb"});
}

TEST_F(ModelFiles, ACataloguedErrorIsNested) {
  using Raised = foundation::core::except::Exception<CannotSerialize, std::exception, void>;
  outputScript.serializeError = std::make_exception_ptr(Raised({"kr0:io", "CannotSerialize"}));
  try {
    save(path);
    FAIL() << "saved";
  } catch (const zero::Error& error) {
    EXPECT_EQ(error.getDetails().file, path);
    EXPECT_THROW(std::rethrow_if_nested(error), Raised);
  }
  EXPECT_EQ(outputScript.outputs, Names{"bytes"}) << "what failed was tried again";
  EXPECT_TRUE(names().empty());
}

TEST_F(ModelFiles, AByteVectorThatAFormatRefusesAgainstItsWordIsNotReplacedByAStream) {
  outputScript.refusesBytes = true;
  EXPECT_THROW(save(path), zero::Error);
  EXPECT_EQ(outputScript.outputs, Names{"bytes"});
  EXPECT_TRUE(names().empty());
}

TEST_F(ModelFiles, AnUnknownFormatIsRefused) {
  const std::string problem = "no format \"unheard of\" is registered";
  expectError(ErrorCode::misuse, problem, [&] { saveModel(Model(), path, u"unheard of"); });
  EXPECT_TRUE(names().empty());
  test::writeFile(path, "x");
  expectError(ErrorCode::misuse, problem,
              [&] { loadModel(path, meta::MetaRegistry::instance(), u"unheard of"); });
}

TEST_F(ModelFiles, WhatIsUnfinishedIsRemovedOnDemandAndNothingElse) {
  writeFileAtomically(at("a"), "finished");
  AtomicFile begun(at("a"));
  begun.write("half of");
  {
    AtomicFile given(at("b"));
    given.write("up");
  }
  removeUnfinishedFiles();
  EXPECT_EQ(names(), std::vector<std::string>{"a"});
  EXPECT_EQ(test::readFile(at("a")), "finished");
}

// It may be of another program, where ours was taken away.
TEST_F(ModelFiles, AFileThatHasTheNameOfAnUnfinishedOneStays) {
  const AtomicFile begun(path);
  const std::string name = at(names().front());
  fs::rename(name, at("ours"));
  test::writeFile(name, "another's");
  removeUnfinishedFiles();
  EXPECT_EQ(test::readFile(name), "another's");
}

// While one thread saves two documents in turn, others never see anything but one of the two.
TEST_F(ModelFiles, ReadersSeeTheOldOrTheNewDocumentOnly) {
  const std::string a(50000, 'a');
  const std::string b(70000, 'b');
  writeFileAtomically(toUstring(path), a);
  std::atomic<bool> stop{false};
  std::atomic<int> reads{0};
  std::atomic<int> torn{0};
  std::thread reader([&] {
    while (!stop) {
      const std::string seen = test::readFile(path);
      if (seen != a && seen != b) ++torn;
      ++reads;
    }
  });
  for (int i = 0; i < 30 || reads < 30; ++i) writeFileAtomically(toUstring(path), i % 2 == 0 ? b : a);
  stop = true;
  reader.join();
  EXPECT_EQ(torn, 0);
  EXPECT_EQ(names(), Names{"model.krb"});
}

TEST_F(ModelFiles, SavesAtOnceDoNotDisturbEachOther) {
  std::vector<std::thread> savers;
  for (char c = 'a'; c < 'e'; ++c) {
    savers.emplace_back([&, c] {
      for (int i = 0; i < 10; ++i) writeFileAtomically(toUstring(path), std::string(10000, c));
    });
  }
  for (std::thread& saver : savers) saver.join();
  const std::string content = test::readFile(path);
  ASSERT_EQ(content.size(), 10000u);
  EXPECT_EQ(content, std::string(10000, content[0]));
  EXPECT_EQ(names(), Names{"model.krb"});
}

// ---- loading

Model load(const std::string& path) { return loadModel(path, meta::MetaRegistry::instance(), kFormat); }

TEST_F(ModelFiles, AnAcceptedDocumentGivesItsModel) {
  test::writeFile(path, "some bytes");
  EXPECT_EQ(load(path).size(), 0u);
  EXPECT_EQ(outputScript.parsedBytes, "some bytes");
}

TEST_F(ModelFiles, ARefusedDocumentIsNamedWithAllItsProblems) {
  test::writeFile(path, "x");
  outputScript.accepted = false;
  outputScript.problems = {"/library/books[3]: there is no type \"a.B\"", "two elements are \"x\""};
  try {
    load(path);
    FAIL() << "loaded";
  } catch (const zero::Error& error) {
    EXPECT_EQ(error.getCode(), ErrorCode::doesNotFit);
    EXPECT_EQ(error.what(), path + ", /library/books[3]: there is no type \"a.B\" (and 1 more)");
    EXPECT_EQ(error.getDetails().path, "/library/books[3]");
    EXPECT_EQ(error.getDetails().problem, "there is no type \"a.B\"");
    EXPECT_EQ(error.getDetails().problems, outputScript.problems);
  }
}

TEST_F(ModelFiles, WhatTheParserRaisesIsNestedInAnErrorWithItsPlace) {
  test::writeFile(path, "x");
  outputScript.parseError = std::make_exception_ptr(ValueError(
      {.path = "/library/books[3].pages", .problem = "not a number", .expected = "Integer", .found = "x"}));
  try {
    load(path);
    FAIL() << "loaded";
  } catch (const zero::Error& error) {
    EXPECT_EQ(error.what(), path + ", /library/books[3].pages: not a number");
    EXPECT_EQ(error.getDetails().expected, "Integer");
    EXPECT_EQ(error.getDetails().found, "x");
    EXPECT_THROW(std::rethrow_if_nested(error), ValueError);
  }
}

TEST_F(ModelFiles, AFileThatMayNotBeReadIsNamedWithTheReason) {
  openToAll(folder, 0755);
  test::writeFile(path, "x");
  ASSERT_EQ(chmod(path.c_str(), 0), 0);
  const WithoutPrivileges here;
  expectError(ErrorCode::unreadable, "cannot be read, Permission denied", [&] { load(path); });
}

TEST_F(ModelFiles, APipeIsReadFrom) {
  ASSERT_EQ(mkfifo(at("pipe").c_str(), 0600), 0);
  std::thread writer([&] { test::writeFile(at("pipe"), "some bytes"); });
  EXPECT_EQ(load(at("pipe")).size(), 0u);
  writer.join();
  EXPECT_EQ(outputScript.parsedBytes, "some bytes");
}

TEST_F(ModelFiles, AFileThatCannotBeReadIsNamedWithTheReason) {
  expectError(ErrorCode::unreadable, "cannot be read, No such file or directory", [&] { load(path); });
  expectError(ErrorCode::unreadable, "cannot be read, Is a directory", [&] { load(folder); });
}

}  // namespace
}  // namespace kr::zero::io
