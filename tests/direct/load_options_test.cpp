// What a caller may ask of reading and writing beyond a file: memory and streams, limits, progress, and
// leaving out what the meta model does not have.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kr0/kr0.h>

#include <sstream>

#include "support/Paths.h"

namespace kr::zero::io {

namespace {

using meta::MetaModelBuilder;
using meta::MetaRegistry;
using testing::ElementsAre;

const ustring& kDirect = IOFormatProvider::FORMAT_BINARY;
const ustring& kTagged = IOFormatProvider::FORMAT_BINARY_KRSYLVAN;

/// Nodes with a name and children; an old version has more in it.
void define(MetaRegistry& registry, bool isOld) {
  MetaModelBuilder package("urn:n", "n");
  auto& node = package.classType("Node");
  node.property("name", "String").id(1);
  node.property("children", "Node").id(2).many().composite();
  node.property("rank", "Integer").id(3);
  if (isOld) {
    node.property("weight", "Real").id(4);
    node.property("notes", "String").id(5).many();
    node.property("spare", "Node").id(6).many().composite();
    node.property("friend", "Node").id(7);
  }
  package.registerIn(registry);
}

const MetaRegistry& registry() {
  static MetaRegistry& instance = *new MetaRegistry;
  static const bool defined = (define(instance, false), true);
  static_cast<void>(defined);
  return instance;
}

const MetaRegistry& oldRegistry() {
  static MetaRegistry& instance = *new MetaRegistry;
  static const bool defined = (define(instance, true), true);
  static_cast<void>(defined);
  return instance;
}

/// A root and `count` children.
Model makeModel(int count) {
  Model model(registry());
  Element root = model.createRoot("n.Node");
  for (int i = 0; i < count; ++i) root.create("children").set("name", "n" + std::to_string(i));
  return model;
}

std::string asBytes(const Model& model, const ustring& format = kDirect) {
  std::string bytes;
  writeModel(model, bytes, {.format = format});
  return bytes;
}

/// Code and problem of the Error that something throws.
template <class Action>
std::string refusalOf(Action action) {
  try {
    action();
  } catch (const zero::Error& error) {
    return std::string(nameOf(error.getCode())) + ": " + error.what();
  }
  return "nothing was refused";
}

}  // namespace

TEST(InMemory, VectorsStringsAndStreamsHoldTheSameBytesAndGiveTheSameModel) {
  const Model model = makeModel(3);
  for (const ustring& format : {kDirect, kTagged}) {
    const std::string text = asBytes(model, format);
    std::vector<std::uint8_t> bytes;
    writeModel(model, bytes, {.format = format});
    std::stringstream stream;
    writeModel(model, stream, {.format = format});
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), text);
    EXPECT_EQ(stream.str(), text);
    const LoadOptions options{.registry = &registry()};
    EXPECT_EQ(findDifference(readModel(text, options), model), std::nullopt);
    EXPECT_EQ(findDifference(readModel(bytes, options), model), std::nullopt);
    EXPECT_EQ(findDifference(readModel(stream, options), model), std::nullopt);
  }
}

TEST(InMemory, WhatCannotBeWrittenLeavesTheOldBytes) {
  Model model(registry());
  model.createRoot("n.Node").setIdentity("a", "b");
  model.createRoot("n.Node").setIdentity("a", "b");
  std::string text = "old";
  std::vector<std::uint8_t> bytes{1, 2};
  std::ostringstream stream;
  EXPECT_THAT(refusalOf([&] { writeModel(model, text); }), testing::StartsWith("inexpressible: "));
  EXPECT_THAT(refusalOf([&] { writeModel(model, bytes); }), testing::StartsWith("inexpressible: "));
  EXPECT_THAT(refusalOf([&] { writeModel(model, stream); }), testing::StartsWith("inexpressible: "));
  EXPECT_EQ(text, "old");
  EXPECT_EQ(bytes, (std::vector<std::uint8_t>{1, 2}));
  EXPECT_EQ(stream.str(), "");
}

TEST(InMemory, AStreamThatTakesNothingIsTold) {
  std::ostringstream stream;
  stream.setstate(std::ios::badbit);
  EXPECT_EQ(refusalOf([&] { writeModel(makeModel(1), stream); }),
            "unwritable: the stream takes no bytes: iostream error");
}

TEST(InMemory, AStreamThatFailsIsTold) {
  std::istringstream stream(asBytes(makeModel(1)));
  stream.setstate(std::ios::failbit);
  EXPECT_EQ(refusalOf([&] { readModel(stream); }), "unreadable: the document: the input stream failed");
}

TEST(InMemory, ErrorsCallADocumentAsTheCallerDoes) {
  EXPECT_EQ(refusalOf([] { readModel(std::string_view()); }), "foreign: the document: the document is empty");
  EXPECT_EQ(refusalOf([] { readModel(std::string_view(), {.name = "row 7"}); }),
            "foreign: row 7: the document is empty");
}

TEST(Limits, OfBytesHoldForFilesMemoryAndStreams) {
  const std::string bytes = asBytes(makeModel(3));
  const std::string path = test::temporaryPath("limits.krb");
  test::writeFile(path, bytes);
  LoadOptions options{.registry = &registry(), .limits = {.bytes = bytes.size()}};
  EXPECT_EQ(readModel(bytes, options).size(), 4u);
  EXPECT_EQ(loadModel(path, options).size(), 4u);
  --options.limits.bytes;
  const std::string said = " the document has more than " + std::to_string(options.limits.bytes) + " bytes";
  EXPECT_EQ(refusalOf([&] { readModel(bytes, options); }), "overLimit: the document:" + said);
  EXPECT_EQ(refusalOf([&] { loadModel(path, options); }), "overLimit: " + path + ":" + said);
  std::istringstream stream(bytes);
  EXPECT_EQ(refusalOf([&] { readModel(stream, options); }), "overLimit: the document:" + said);
}

TEST(Limits, OfElementsHoldForBothFormats) {
  const Model model = makeModel(9);
  for (const ustring& format : {kDirect, kTagged}) {
    const std::string bytes = asBytes(model, format);
    EXPECT_EQ(readModel(bytes, {.registry = &registry(), .limits = {.elements = 10}}).size(), 10u);
    EXPECT_THAT(refusalOf([&] { readModel(bytes, {.registry = &registry(), .limits = {.elements = 9}}); }),
                testing::AllOf(testing::StartsWith("overLimit: the document, byte "),
                               testing::EndsWith(": there are more than 9 elements")));
  }
}

TEST(Limits, OfDepthHoldForBothFormats) {
  Model model(registry());
  Element element = model.createRoot("n.Node");
  for (int i = 1; i < 5; ++i) element = element.create("children");
  for (const ustring& format : {kDirect, kTagged}) {
    const std::string bytes = asBytes(model, format);
    EXPECT_EQ(readModel(bytes, {.registry = &registry(), .limits = {.depth = 5}}).size(), 5u);
    EXPECT_THAT(refusalOf([&] { readModel(bytes, {.registry = &registry(), .limits = {.depth = 4}}); }),
                testing::EndsWith(
                    ", /node/children[0]/children[0]/children[0]: elements are nested more than 4 deep"));
  }
}

TEST(ProgressOfReading, ComesInOrderAndStaysWithinTheModel) {
  for (const ustring& format : {kDirect, kTagged}) {
    const std::string bytes = asBytes(makeModel(20000), format);
    std::vector<std::uint64_t> told;
    const auto note = [&](std::uint64_t elements) { return told.push_back(elements), true; };
    EXPECT_EQ(readModel(bytes, {.registry = &registry(), .progress = note}).size(), 20001u);
    EXPECT_EQ(told.size(), 4u);
    EXPECT_TRUE(std::is_sorted(told.begin(), told.end()));
    EXPECT_LE(told.back(), 20001u);
  }
}

TEST(ProgressOfReading, CanCancel) {
  for (const ustring& format : {kDirect, kTagged}) {
    const std::string bytes = asBytes(makeModel(20000), format);
    int told = 0;
    const auto stop = [&](std::uint64_t) { return ++told < 2; };
    EXPECT_THAT(refusalOf([&] { readModel(bytes, {.registry = &registry(), .progress = stop}); }),
                testing::AllOf(testing::StartsWith("cancelled: the document, "),
                               testing::EndsWith(": reading was cancelled")));
    EXPECT_EQ(told, 2);
  }
}

TEST(ProgressOfReading, WhatItThrowsIsNestedAndNotTheDocumentsFault) {
  const std::string bytes = asBytes(makeModel(5000));
  const auto fail = [](std::uint64_t) -> bool { throw std::domain_error("no more"); };
  try {
    readModel(bytes, {.registry = &registry(), .progress = fail});
    FAIL() << "read";
  } catch (const zero::Error& error) {
    EXPECT_EQ(error.getCode(), ErrorCode::unknown);
    EXPECT_THAT(error.what(), testing::EndsWith(": no more"));
  }
}

TEST(ProgressOfWriting, IsToldAndCanCancel) {
  const Model model = makeModel(20000);
  for (const ustring& format : {kDirect, kTagged}) {
    std::vector<std::uint64_t> told;
    std::string bytes;
    writeModel(model, bytes,
               {.format = format, .progress = [&](std::uint64_t n) { return told.push_back(n), true; }});
    EXPECT_THAT(told, ElementsAre(4096, 8192, 12288, 16384));
    EXPECT_EQ(bytes, asBytes(model, format));
    const std::string path = test::temporaryPath("cancelled.krb");
    test::writeFile(path, "old");
    EXPECT_EQ(refusalOf([&] {
                saveModel(model, path, {.format = format, .progress = [](std::uint64_t) { return false; }});
              }),
              "cancelled: " + path + ": writing was cancelled");
    EXPECT_EQ(test::readFile(path), "old");
  }
}

// --- Leaving out what the meta model does not have

namespace {

/// A document of the old version with something in every property that the new one does not have.
std::string oldDocument(const ustring& format) {
  Model model(oldRegistry());
  Element root = model.createRoot("n.Node");
  root.set("name", "root");
  Element child = root.create("children");
  child.set("name", "child");
  root.set("rank", 3);
  root.set("weight", 1.5);
  root.add("notes", "a");
  root.add("notes", "b");
  Element spare = root.create("spare");
  spare.create("children").set("name", "inside");
  spare.set("friend", child);
  child.set("friend", root);
  child.set("rank", 4);
  return asBytes(model, format);
}

}  // namespace

TEST(Lenient, UnknownPropertiesOfATaggedDocumentAreLeftOutAndTold) {
  std::vector<std::string> skipped;
  const Model model = readModel(
      oldDocument(kTagged),
      {.registry = &registry(), .skipped = [&](const std::string& what) { skipped.push_back(what); }});
  EXPECT_THAT(skipped, ElementsAre("/node/children[0]: property \"friend\" of type n.Node",
                                   "/node: property \"weight\" of type n.Node",
                                   "/node: property \"notes\" of type n.Node",
                                   "/node: property \"spare\" of type n.Node"));
  Model expected(registry());
  Element root = expected.createRoot("n.Node");
  root.set("name", "root");
  Element child = root.create("children");
  child.set("name", "child");
  child.set("rank", 4);
  root.set("rank", 3);
  EXPECT_EQ(findDifference(model, expected), std::nullopt);
}

TEST(Lenient, IsAskedFor) {
  EXPECT_THAT(refusalOf([] { readModel(oldDocument(kTagged), {.registry = &registry()}); }),
              testing::HasSubstr("/node/children[0]: type n.Node has no property \"friend\""));
}

TEST(Lenient, DoesNotHelpADirectDocument) {
  std::vector<std::string> skipped;
  EXPECT_THAT(
      refusalOf([&] {
        readModel(oldDocument(kDirect), {.registry = &registry(), .skipped = [&](const std::string& what) {
                                           skipped.push_back(what);
                                         }});
      }),
      testing::HasSubstr("class n.Node of the package urn:n has no property with the number 7 (another "
                         "version of the meta model may have written the document)"));
  EXPECT_TRUE(skipped.empty());
}

TEST(Lenient, DoesNotExcuseAValueOfAnotherType) {
  std::string bytes = oldDocument(kTagged);
  const std::size_t rank = bytes.find("rank");
  bytes.replace(rank, 4, "name");
  const auto ignore = [](const std::string&) {};
  EXPECT_THAT(refusalOf([&] { readModel(bytes, {.registry = &registry(), .skipped = ignore}); }),
              testing::StartsWith("doesNotFit: "));
}

TEST(Lenient, ADocumentCutInWhatIsLeftOutIsRefused) {
  const std::string bytes = oldDocument(kTagged);
  const auto ignore = [](const std::string&) {};
  const std::size_t begin = bytes.find("spare");
  for (std::size_t size = begin; size < begin + 40; ++size)
    EXPECT_THAT(
        refusalOf([&] { readModel(bytes.substr(0, size), {.registry = &registry(), .skipped = ignore}); }),
        testing::StartsWith("damaged: "))
        << size;
}

}  // namespace kr::zero::io
