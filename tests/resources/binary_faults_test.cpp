// Memory that fails in the binary formats, their events, files, models and meta models.
#include <gtest/gtest.h>
#include <kr0/kr0.h>

#include <sstream>

#include "kr/zero/Assemble.h"
#include "kr/zero/ElementCopier.h"
#include "kr/zero/ElementPath.h"
#include "resources/Faults.h"
#include "support/GoldenDocuments.h"
#include "support/NamedRoad.h"
#include "support/Paths.h"
#include "support/RandomModel.h"
#include "support/Reading.h"
#include "support/SampleModel.h"
#include "support/TaggedReading.h"

namespace kr::zero::test {

namespace {

using io::ParsingInput;
using io::SerializationOutput;

std::string asPlainText(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }
Bytes asBytes(const std::string& text) { return {text.begin(), text.end()}; }

/// A model that calls share; a scenario's state must be copyable.
using SharedModel = std::shared_ptr<Model>;

SharedModel share(Model model) { return std::make_shared<Model>(std::move(model)); }

/// The sample without what the tagged format cannot keep: a zero's sign.
SharedModel sample() {
  const SharedModel model = share(makeSample());
  model->getRoots().at(0).getElement("place").set("y", 0.0);
  return model;
}

SharedModel readGolden(const Bytes& bytes) {
  const auto parser = makeParser(goldenRegistry());
  EXPECT_TRUE(parser->parseByteSequence(bytes));
  return share(parser->takeModel());
}

/// What a model that was read says.
std::string contentOf(const Model& model) { return asPlainText(writeDirect(model)); }

/// Parses and says what came of it.
template <class Parser>
std::string parseWith(Parser& parser, const ParsingInput& input) {
  if (!parser.parse(input)) return "refused: " + parser.describeFailure();
  return contentOf(parser.takeModel());
}

using MakeParser = std::function<std::shared_ptr<io::Parser>()>;
using MakeSerializer = std::function<std::shared_ptr<io::Serializer>()>;
using Parse = std::function<std::string(io::Parser&)>;
using Serialize = std::function<std::string(io::Serializer&)>;

Scenario parsing(std::string name, const MakeParser& make, const Parse& parse,
                 AlsoThrows alsoThrows = AlsoThrows::nothing) {
  const auto prepare = [=]() -> Call {
    const std::shared_ptr<io::Parser> parser = make();
    return [=] { return parse(*parser); };
  };
  return {std::move(name), prepare, alsoThrows};
}

Scenario serializing(std::string name, const MakeSerializer& make, const Serialize& serialize,
                     AlsoThrows alsoThrows = AlsoThrows::nothing) {
  const auto prepare = [=]() -> Call {
    const std::shared_ptr<io::Serializer> serializer = make();
    return [=] { return serialize(*serializer); };
  };
  return {std::move(name), prepare, alsoThrows};
}

std::string streamed(io::Serializer& serializer, const Model& model) {
  std::ostringstream stream;
  stream.exceptions(std::ios::badbit);
  serializer.serialize(model, SerializationOutput::toStream(stream));
  return stream.str();
}

std::string toVector(io::Serializer& serializer, const Model& model) {
  Bytes bytes;
  serializer.serialize(model, SerializationOutput::toByteSequence(bytes));
  return asPlainText(bytes);
}

std::string toText(io::Serializer& serializer, const Model& model) {
  std::string bytes;
  serializer.serialize(model, SerializationOutput::toString(bytes));
  return bytes;
}

using ToMemory = std::string (*)(io::Serializer&, const Model&);

std::string toFile(io::Serializer& serializer, const Model& model, const std::string& path) {
  serializer.serialize(model, SerializationOutput::toFile(toUstring(path)));
  return contentOfFile(path);
}

/// All ways into a parser, for one document.
void addInputs(std::vector<Scenario>& to, const std::string& format, const MakeParser& make,
               const std::string& document) {
  const std::string path = temporaryPath("faults." + format);
  writeFile(path, document);
  const auto bytes = std::make_shared<Bytes>(asBytes(document));
  to.push_back(parsing(format + " from bytes", make, [=](io::Parser& parser) {
    return parseWith(parser, ParsingInput::fromByteSequence(*bytes));
  }));
  to.push_back(parsing(
      format + " from a file", make,
      [=](io::Parser& parser) { return parseWith(parser, ParsingInput::fromFile(toUstring(path))); },
      AlsoThrows::whatFilesMakeOfIt));
  const auto fromStream = [=](io::Parser& parser) {
    std::istringstream stream(document);
    return parseWith(parser, ParsingInput::fromStream(stream));
  };
  to.push_back(parsing(format + " from a stream", make, fromStream, AlsoThrows::whatFilesMakeOfIt));
  to.push_back(calling(format + " with a parser of its own",
                       [=] { return parseWith(*make(), ParsingInput::fromByteSequence(*bytes)); }));
}

/// All ways out of a serializer, for one model.
void addOutputs(std::vector<Scenario>& to, const std::string& format, const MakeSerializer& make,
                const SharedModel& model, ToMemory toMemory) {
  const std::string path = temporaryPath("faults." + format);
  to.push_back(
      serializing(format + " to memory", make, [=](io::Serializer& s) { return toMemory(s, *model); }));
  to.push_back(serializing(
      format + " to a file", make, [=](io::Serializer& s) { return toFile(s, *model, path); },
      AlsoThrows::whatFilesMakeOfIt));
  to.push_back(serializing(
      format + " to a stream", make, [=](io::Serializer& s) { return streamed(s, *model); },
      AlsoThrows::whatFilesMakeOfIt));
  to.push_back(calling(format + " with a serializer of its own", [=] { return toMemory(*make(), *model); }));
}

std::shared_ptr<io::Parser> goldenParser() { return makeParser(goldenRegistry()); }
std::shared_ptr<io::Parser> goldenTaggedParser() { return makeTaggedParser(goldenRegistry()); }
std::shared_ptr<io::Parser> sampleParser() { return makeParser(sampleRegistry()); }
std::shared_ptr<io::Parser> sampleTaggedParser() { return makeTaggedParser(sampleRegistry()); }

/// A scenario for reading and one for writing each golden document: every form that a format has.
void addGolden(std::vector<Scenario>& to, const std::string& format, const MakeParser& makeParser,
               const MakeSerializer& makeSerializer, ToMemory toMemory) {
  for (const GoldenDocument& golden : goldenDocuments()) {
    const SharedModel model = readGolden(golden.bytes);
    const auto bytes = std::make_shared<Bytes>(asBytes(toMemory(*makeSerializer(), *model)));
    to.push_back(parsing("reading " + golden.name + ", " + format, makeParser, [=](io::Parser& parser) {
      return parseWith(parser, ParsingInput::fromByteSequence(*bytes));
    }));
    to.push_back(serializing("writing " + golden.name + ", " + format, makeSerializer,
                             [=](io::Serializer& s) { return toMemory(s, *model); }));
  }
}

modeling::sylvan::EventRecorder recordingOf(const Model& model) {
  modeling::sylvan::EventRecorder recorder;
  io::sendEvents(model, recorder);
  return recorder;
}

void addEvents(std::vector<Scenario>& to) {
  const SharedModel model = sample();
  const auto events = std::make_shared<modeling::sylvan::EventRecorder>(recordingOf(*model));
  const std::string document = writeTagged(*model);
  to.push_back(calling("sending events", [=] { return std::to_string(recordingOf(*model).getBytes()); }));
  to.push_back(calling("events to bytes", [=] {
    std::string bytes;
    io::BinaryFormatter formatter(SerializationOutput::toString(bytes));
    events->replay(formatter);
    return bytes;
  }));
  to.push_back(calling("bytes to events", [=] {
    modeling::sylvan::EventRecorder recorder;
    io::BinaryAssembler(&recorder).visitString(document);
    return std::to_string(recorder.getBytes());
  }));
  to.push_back(calling("events through the grammar", [=] {
    modeling::sylvan::EventRecorder recorder;
    io::BinaryKRGrammarTransformer transformer(&recorder);
    io::BinaryAssembler(&transformer).visitString(document);
    return std::to_string(recorder.getBytes());
  }));
  to.push_back(calling(
      "events as lines",
      [=] {
        std::ostringstream lines;
        lines.exceptions(std::ios::badbit);
        modeling::sylvan::EventPrinter printer(lines);
        events->replay(printer);
        return lines.str();
      },
      AlsoThrows::whatFilesMakeOfIt));
}

// --- models ------------------------------------------------------------------------------------------

std::string sizeOf(const Model& model) { return std::to_string(model.size()); }

/// A call with a fresh copy of the sample, made while memory does not fail.
Scenario editing(std::string name, const std::function<std::string(Model&)>& edit) {
  const auto prepare = [=]() -> Call {
    const SharedModel original = sample();
    return [=] {
      Model copy = original->clone();
      return edit(copy);
    };
  };
  return {std::move(name), prepare};
}

std::string removeAndAdopt(Model& model) {
  Element full = model.getRoots().at(0);
  Element child = full.getElement("child");
  model.adoptRoot(child.getElement("children"));
  model.remove(child);
  full.unset("friends");
  full.clearIdentity();
  full.setIdentity("another", "full");
  return contentOf(model);
}

std::string joined(const Model& model) {
  Model other(model.getRegistry());
  Element about = other.createRoot("sample.detail.Note");
  about.putUnresolved("about", {"sample.Item", "shelf", "full", "first.krb"});
  const JoinedModels all = joinModels({{&model, "first.krb"}, {&other, "second.krb"}});
  return sizeOf(all.model) + ' ' + std::to_string(all.resolved);
}

std::string extracted(const Model& model) {
  const std::vector<ConstElement> roots = model.getRoots();
  return contentOf(extractElements(model, {roots.at(0)}, {.document = "whole.krb", .withReferences = true}));
}

std::string copied(const Model& model) {
  Model to(model.getRegistry());
  ElementCopier copier(model, to);
  for (const ConstElement root : model.getRoots()) copier.copyRoot(root);
  copier.finish();
  return contentOf(to);
}

std::string pathsOf(const Model& model) {
  const ElementPaths paths(model);
  std::string text;
  for (const ConstElement element : model.elements()) {
    text += paths.of(element) + '\n';
    EXPECT_EQ(findElement(model, fullPathOf(element)), element);
    text += element.getPath() + '\n';
  }
  return text;
}

std::string violationsOf(const Model& model) {
  std::string text;
  for (const Violation& violation : validate(model)) text += violation.path + ": " + violation.text + '\n';
  return text;
}

// --- meta models -------------------------------------------------------------------------------------

std::string namesIn(const meta::MetaRegistry& registry) {
  std::string names;
  for (const meta::PackageInfo& package : registry.getPackages())
    for (const meta::Type type : package.types) names += type->qualifiedName() + ' ';
  return names;
}

std::string registered(const std::vector<meta::PackageDefinition>& packages) {
  meta::MetaRegistry registry;
  registry.add(packages);
  return namesIn(registry);
}

}  // namespace

std::vector<Scenario> directScenarios() {
  std::vector<Scenario> all;
  const MakeSerializer serializer = [] { return std::make_shared<io::BinarySerializer>(); };
  addGolden(all, "direct", goldenParser, serializer, toVector);
  const SharedModel model = sample();
  addInputs(all, "direct", sampleParser, contentOf(*model));
  addOutputs(all, "direct", serializer, model, toVector);
  addInputs(
      all, "direct by names",
      [] {
        auto parser = sampleParser();
        putProcessor<InheritingProcessor>(*parser);
        return parser;
      },
      contentOf(*model));
  addOutputs(
      all, "direct by names", [] { return std::make_shared<NamedDirectSerializer>(); }, model, toVector);
  all.push_back({"direct in place", [=]() -> Call {
                   const auto in = std::make_shared<io::BinarySerializer>();
                   return [=] {
                     const auto bytes = in->serializeInPlace(*model);
                     return std::string(bytes.begin(), bytes.end());
                   };
                 }});
  return all;
}

std::vector<Scenario> taggedScenarios() {
  std::vector<Scenario> all;
  const MakeSerializer serializer = [] { return std::make_shared<io::BinaryKRSylvanSerializer>(); };
  addGolden(all, "tagged", goldenTaggedParser, serializer, toText);
  const SharedModel model = sample();
  addInputs(all, "tagged", sampleTaggedParser, writeTagged(*model));
  addOutputs(all, "tagged", serializer, model, toText);
  all.push_back(
      parsing("tagged from a text", sampleTaggedParser, [document = writeTagged(*model)](io::Parser& parser) {
        return parseWith(parser, ParsingInput::fromString(document));
      }));
  addOutputs(
      all, "tagged by names", [] { return std::make_shared<NamedTaggedSerializer>(); }, model, toText);
  addEvents(all);
  return all;
}

std::vector<Scenario> fileScenarios() {
  std::vector<Scenario> all;
  io::registerBinaryFormats();
  const SharedModel model = sample();
  for (const ustring& format : io::IOFormatProvider::getFormatNames()) {
    const std::string name = toUtf8(format);
    const std::string path = temporaryPath("faults.model");
    std::string document;
    io::writeModel(*model, document, {.format = format});
    const io::LoadOptions load{.registry = &sampleRegistry(), .format = format};
    const auto bytes = std::make_shared<Bytes>(asBytes(document));
    all.push_back(calling("saveModel, " + name, [=] {
      io::saveModel(*model, path, io::SaveOptions{.format = format});
      return contentOfFile(path);
    }));
    all.push_back(calling("loadModel, " + name, [=] {
      return contentOf(io::loadModel(path, {.registry = &sampleRegistry(), .format = format}));
    }));
    all.push_back(calling("writeModel to a text, " + name, [=] {
      std::string written;
      io::writeModel(*model, written, {.format = format});
      return written;
    }));
    all.push_back(calling("writeModel to bytes, " + name, [=] {
      Bytes written;
      io::writeModel(*model, written, {.format = format});
      return asPlainText(written);
    }));
    all.push_back(calling(
        "writeModel to a stream, " + name,
        [=] {
          std::ostringstream stream;
          io::writeModel(*model, stream, {.format = format});
          return stream.str();
        },
        AlsoThrows::whatFilesMakeOfIt));
    all.push_back(
        calling("readModel from a text, " + name, [=] { return contentOf(io::readModel(document, load)); }));
    all.push_back(
        calling("readModel from bytes, " + name, [=] { return contentOf(io::readModel(*bytes, load)); }));
    all.push_back(calling("readModel from a stream, " + name, [=] {
      std::istringstream stream(document);
      return contentOf(io::readModel(stream, load));
    }));
  }
  const std::string text(100000, 'x');
  const std::string path = temporaryPath("faults.text");
  all.push_back(calling("writeFileAtomically", [=] {
    io::writeFileAtomically(path, text);
    return std::string("written");
  }));
  return all;
}

std::vector<Scenario> modelScenarios() {
  std::vector<Scenario> all;
  const SharedModel model = sample();
  all.push_back(calling("making the sample", [] { return contentOf(makeSample()); }));
  all.push_back(calling("cloning", [=] { return contentOf(model->clone()); }));
  all.push_back(editing("copying an element", [](Model& m) {
    m.copy(m.getRoots().at(0));
    return contentOf(m);
  }));
  all.push_back(editing("removing and adopting", removeAndAdopt));
  all.push_back(editing("referrers",
                        [](Model& m) { return std::to_string(m.getReferrers(m.getRoots().at(0)).size()); }));
  all.push_back(editing("identities", [](Model& m) {
    return m.findByIdentity("shelf", "full").getPath() + m.findByIdentity("shelf", "grandchild").getPath();
  }));
  all.push_back(editing("comparing", [](Model& m) {
    m.getRoots().at(0).set("name", "another");
    return findDifference(m, m.clone()).value_or("equal");
  }));
  all.push_back(calling("finding a difference",
                        [=] { return findDifference(makeSample(), *model).value_or("equal"); }));
  all.push_back(calling("joining", [=] { return joined(*model); }));
  all.push_back(calling("extracting", [=] { return extracted(*model); }));
  all.push_back(calling("copying by hand", [=] { return copied(*model); }));
  all.push_back(calling("paths", [=] { return pathsOf(*model); }));
  all.push_back(calling("validating", [=] { return violationsOf(*model); }));
  return all;
}

std::vector<Scenario> metaModelScenarios() {
  std::vector<Scenario> all;
  all.push_back(calling("a meta model", [] { return registered({sampleDefinition()}); }));
  Random random(20260);
  const auto packages = std::make_shared<std::vector<meta::PackageDefinition>>(makeRandomDefinitions(random));
  all.push_back(calling("a random meta model", [=] { return registered(*packages); }));
  all.push_back(calling("a meta model that is refused", [] {
    meta::MetaModelBuilder package("urn:p", "p");
    package.classType("C").property("x", "Nothing");
    meta::MetaRegistry registry;
    try {
      package.registerIn(registry);
    } catch (const meta::MetaError& error) {
      return std::string(error.what());
    }
    return std::string("taken");
  }));
  all.push_back(calling("a format by name", [] {
    const ustring name = io::IOFormatProvider::FORMAT_BINARY;
    const auto parser = io::IOFormatProvider::createParser(name, sampleRegistry());
    const auto serializer = io::IOFormatProvider::createSerializer(name);
    return toUtf8(io::IOFormatProvider::findBySuffix("x.krt")) + parser->getFullyQualifiedVornTypeName() +
           serializer->getFullyQualifiedVornTypeName();
  }));
  return all;
}

TEST(Faults, DirectFormat) { failEachRequest(directScenarios()); }
TEST(Faults, TaggedFormat) { failEachRequest(taggedScenarios()); }
TEST(Faults, Files) { failEachRequest(fileScenarios()); }
TEST(Faults, Models) { failEachRequest(modelScenarios()); }
TEST(Faults, MetaModels) { failEachRequest(metaModelScenarios()); }

}  // namespace kr::zero::test
