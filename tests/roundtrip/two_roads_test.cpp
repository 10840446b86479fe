// Two roads lead from a model to bytes and back: operations in larger units, which our own processors may
// offer, and the named calls, which everybody else's get. Whatever goes in, both must end alike: the same
// bytes, models, problems, exceptions, spans and places.
//
// KR0_PAIRS sets how many random models are tried, KR0_MUTANTS how many damaged documents; KR0_SEED repeats a
// run, and a failure names the number to start with.
#include <gtest/gtest.h>

#include <boost/core/demangle.hpp>
#include <functional>
#include <iostream>
#include <optional>
#include <typeinfo>

#include "kr/zero/io/BulkEventProcessor.h"
#include "kr/zero/io/BulkParseProcessor.h"
#include "kr/zero/meta/MetaModelBuilder.h"
#include "support/DirectBytes.h"
#include "support/Environment.h"
#include "support/GoldenDocuments.h"
#include "support/NamedRoad.h"
#include "support/RandomDamage.h"
#include "support/RandomModel.h"
#include "support/Reading.h"
#include "support/SampleModel.h"
#include "support/TaggedReading.h"

namespace kr::zero::test {

namespace {

// "kr::zero::io::ValueError: ..."; empty for a call that ended well.
template <class Call>
std::string exceptionOf(Call call) {
  try {
    call();
    return {};
  } catch (const std::exception& e) {
    return boost::core::demangle(typeid(e).name()) + ": " + e.what();
  }
}

// All that a span knows, its children indented.
std::string describe(const log::Span& root) {
  std::string text;
  std::vector<std::pair<const log::Span*, std::size_t>> open{{&root, 0}};
  while (!open.empty()) {
    const auto [span, depth] = open.back();
    open.pop_back();
    text += std::string(depth, ' ') + (*span)->getName() + " " + (*span)->getError() + "\n";
    for (const auto& context : (*span)->getContexts())
      text += std::string(depth + 1, ' ') + context.key + ": " + *(*span)->findContext(context.key) + "\n";
    const auto& children = (*span)->getChildren();
    for (auto child = children.rbegin(); child != children.rend(); ++child)
      open.emplace_back(&*child, depth + 1);
  }
  return text;
}

struct Written {
  std::string exception;
  Bytes bytes;  // also those that a writer left behind that failed
};

// What differs between the formats.
struct Direct {
  using Parser = io::BinaryParser;
  using Serializer = io::BinarySerializer;
  using NamedSerializer = NamedDirectSerializer;
  static Written write(io::Serializer& serializer, const Model& model) {
    Written written;
    written.exception = exceptionOf(
        [&] { serializer.serialize(model, io::SerializationOutput::toByteSequence(written.bytes)); });
    return written;
  }
};

struct Tagged {
  using Parser = io::BinaryKRSylvanParser;
  using Serializer = io::BinaryKRSylvanSerializer;
  using NamedSerializer = NamedTaggedSerializer;
  static Written write(io::Serializer& serializer, const Model& model) {
    std::string bytes;
    std::string exception =
        exceptionOf([&] { serializer.serialize(model, io::SerializationOutput::toString(bytes)); });
    return {std::move(exception), Bytes(bytes.begin(), bytes.end())};
  }
};

// What a run came across: where nothing of a kind turns up, nothing of it was compared.
struct Census {
  std::size_t models = 0;
  std::size_t refusedModels = 0;
  std::size_t documents = 0;
  std::size_t accepted = 0;
  std::size_t refused = 0;
  std::size_t raised = 0;

  void print() const {
    std::cout << models << " models, " << refusedModels << " of them refused; " << documents
              << " documents: " << accepted << " accepted, " << refused << " refused, " << raised
              << " raised an exception" << std::endl;
  }
};

/// Two serializers of one format, used for one model after another.
template <class Format>
class Writers {
 public:
  Writers() = default;
  Writers(std::unique_ptr<io::Serializer> asItIs, std::unique_ptr<io::Serializer> named)
      : asItIs_(std::move(asItIs)), named_(std::move(named)) {}

  /// Writes by both roads. @return what was written, or nothing where the model was refused.
  std::optional<Bytes> write(const Model& model, Census& census) {
    const Written one = Format::write(*asItIs_, model);
    const Written other = Format::write(*named_, model);
    EXPECT_EQ(one.exception, other.exception);
    if (one.bytes != other.bytes) ADD_FAILURE() << toHex(one.bytes) << "\n" << toHex(other.bytes);
    ++census.models;
    if (one.exception.empty()) return one.bytes;
    ++census.refusedModels;
    return std::nullopt;
  }

 private:
  std::unique_ptr<io::Serializer> asItIs_ = std::make_unique<typename Format::Serializer>();
  std::unique_ptr<io::Serializer> named_ = std::make_unique<typename Format::NamedSerializer>();
};

/// Parsers of one format and registry, used for one document after another.
template <class Format>
class Readers {
 public:
  explicit Readers(const meta::MetaRegistry& registry)
      : Readers([&] { return std::make_unique<io::ParseCustomizer>(registry); }) {}
  /// @param makeCustomizer gives each parser a customizer of its own.
  explicit Readers(const std::function<std::unique_ptr<io::ParseCustomizer>()>& makeCustomizer)
      : asItIs_(makeParserWith(makeCustomizer())),
        counted_(makeParserWith(makeCustomizer())),
        inherited_(makeParserWith(makeCustomizer())),
        counting_(putProcessor<CountingProcessor>(*counted_)) {
    putProcessor<InheritingProcessor>(*inherited_);
  }

  void read(const Bytes& bytes, Census& census) {
    const std::size_t pushes = counting_.getPushes();
    const Ending one = readBy(*asItIs_, bytes);
    expectSame(one, readBy(*counted_, bytes), bytes);
    // A processor that overrides nothing is a host's all the same; trying it now and then will do.
    if (census.documents % 16 == 0) expectSame(one, readBy(*inherited_, bytes), bytes);
    EXPECT_GE(counting_.getPushes() - pushes, one.model.size()) << "the host's processor did not hear of all";
    ++census.documents;
    ++(!one.exception.empty() ? census.raised : one.accepted ? census.accepted : census.refused);
  }

 private:
  /// How a read ended, and what it left behind.
  struct Ending {
    bool accepted = false;
    std::string exception;
    std::vector<std::string> problems;
    std::string failure;
    std::string span;  // the byte offset among the rest
    std::string path;
    std::size_t depth = 0;
    std::u16string version;
    Model model;
  };

  static std::unique_ptr<io::Parser> makeParserWith(std::unique_ptr<io::ParseCustomizer> customizer) {
    return std::make_unique<typename Format::Parser>(std::move(customizer),
                                                     std::make_unique<io::ParsingModelBuilder>(false));
  }

  static Ending readBy(io::Parser& parser, const Bytes& bytes) {
    bool accepted = false;
    std::string exception = exceptionOf([&] { accepted = parser.parseByteSequence(bytes); });
    const io::ParseProcessor& processor = *parser.getParseProcessor();
    return {accepted,
            std::move(exception),
            parser.getProblems(),
            parser.describeFailure(),
            describe(parser.getSpan()),
            processor.getPath(),
            processor.getDepth(),
            processor.getVersion(),
            parser.getModelBuilder().takeModel()};
  }

  static void expectSame(const Ending& one, const Ending& other, const Bytes& bytes) {
    EXPECT_EQ(one.accepted, other.accepted);
    EXPECT_EQ(one.exception, other.exception);
    EXPECT_EQ(one.problems, other.problems);
    EXPECT_EQ(one.failure, other.failure);
    EXPECT_EQ(one.span, other.span);
    EXPECT_EQ(one.path, other.path);
    EXPECT_EQ(one.depth, other.depth);
    EXPECT_EQ(one.version, other.version);
    EXPECT_EQ(one.model.size(), other.model.size());
    EXPECT_EQ(findDifference(one.model, other.model), std::nullopt);
    if (testing::Test::HasFailure()) ADD_FAILURE() << "for the bytes " << toHex(bytes);
  }

  std::unique_ptr<io::Parser> asItIs_;
  std::unique_ptr<io::Parser> counted_;
  std::unique_ptr<io::Parser> inherited_;
  const CountingProcessor& counting_;
};

/// Leaves out some properties, as a host's traverser may.
class HidingTraverser : public io::ModelTraverser {
 public:
  std::vector<meta::Property> getProperties(meta::StructuredType type,
                                            io::PropertyCategory mask) const override {
    std::vector<meta::Property> properties = ModelTraverser::getProperties(type, mask);
    std::erase_if(properties, [](meta::Property property) { return property->getName().size() % 3 == 0; });
    return properties;
  }
};

/// Knows some types under other names, or not at all, as a host's customizer may.
class ChangingCustomizer : public io::ParseCustomizer {
 public:
  using ParseCustomizer::ParseCustomizer;
  meta::Type getMetaClass(const ustring& typeName) override {
    const meta::StructuredType type(ParseCustomizer::getMetaClass(typeName));
    if (!type || typeName.size() % 4 != 0) return type;
    if (typeName.size() % 8 == 0) return {};
    for (const meta::PackageInfo& package : getRegistry().getPackages())
      for (const meta::Type other : package.types)
        if (const meta::Class cls(other); cls && cls->conformsTo(meta::Class(type))) return cls;
    return type;
  }
};

std::string startWith(std::uint64_t seed) {
  return "KR0_PAIRS=1 KR0_MUTANTS=100 KR0_SEED=" + std::to_string(seed);
}

// One in eight gets what cannot be written: two elements of one identity.
void spoil(Model& model, Random& random) {
  if (!random.percent(12)) return;
  for (Element element : model.elements())
    if (meta::Class(element.getType()) && random.percent(50)) element.setIdentity("id", "same");
}

/// Writes models of a registry by both roads and reads what was written by both.
template <class Format>
class RoundTrips {
 public:
  void compare(const Model& model) {
    if (const std::optional<Bytes> bytes = writers_.write(model, census_))
      Readers<Format>(model.getRegistry()).read(*bytes, census_);
  }
  const Census& census() const { return census_; }

 private:
  Writers<Format> writers_;
  Census census_;
};

void expectModelsOfBothKinds(const Census& census) {
  census.print();
  if (census.models < 1000) return;
  EXPECT_GT(census.refusedModels, census.models / 100);
  EXPECT_GT(census.accepted, census.models / 2);
}

template <class Format>
Bytes written(const Model& model) {
  typename Format::Serializer serializer;
  return Format::write(serializer, model).bytes;
}

template <class Format>
void compareDamage(Readers<Format>& readers, std::vector<Bytes> documents, std::uint64_t mutants,
                   std::uint64_t seed, Census& census) {
  RandomDamage damage(std::move(documents), seed);
  for (; mutants > 0 && !testing::Test::HasFailure(); --mutants) readers.read(damage.next(), census);
}

/// Reads a document and all that comes about where it breaks off.
template <class Format>
void readCut(Readers<Format>& readers, const Bytes& bytes, Census& census) {
  for (std::size_t size = 1; size <= bytes.size() && !testing::Test::HasFailure(); ++size)
    readers.read(Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)), census);
}

// Most of the documents are small ones of every form; then the sample and random models, each damaged some
// times.
template <class Format>
void compareDamagedDocuments() {
  const std::uint64_t mutants = numberFromEnvironment("KR0_MUTANTS", underAddressSanitizer() ? 10000 : 50000);
  const std::uint64_t seed = seedFor("damaged documents by two roads");
  Census census;
  std::vector<Bytes> golden;
  for (const GoldenDocument& document : goldenDocuments()) {
    const auto parser = makeParser(goldenRegistry());
    ASSERT_TRUE(parser->parseByteSequence(document.bytes)) << document.name;
    golden.push_back(written<Format>(parser->takeModel()));
  }
  Readers<Format> goldenReaders(goldenRegistry());
  compareDamage(goldenReaders, golden, mutants / 4 * 3, seed, census);
  Readers<Format> sampleReaders(sampleRegistry());
  compareDamage(sampleReaders, {written<Format>(makeSample())}, mutants / 20, seed, census);
  for (std::uint64_t model = 0; census.documents < mutants && !testing::Test::HasFailure(); ++model) {
    SCOPED_TRACE(startWith(seed + model));
    Random random(seed + model);
    const auto registry = makeRandomRegistry(random);
    Readers<Format> readers(*registry);
    compareDamage(readers, {written<Format>(makeRandomModel(*registry, random))}, 50, seed + model, census);
  }
  census.print();
  if (mutants < 10000) return;
  EXPECT_GT(census.accepted, mutants / 100);
  EXPECT_GT(census.refused, mutants / 1000);
  EXPECT_GT(census.raised, mutants / 10);
}

}  // namespace

TEST(TwoRoads, OnlyOurOwnProcessorsOfferLargerUnits) {
  EXPECT_NE(io::bulkOf(io::BinarySerializer().getEventProcessor()), nullptr);
  EXPECT_EQ(io::bulkOf(NamedDirectSerializer().getEventProcessor()), nullptr);
  EXPECT_NE(io::bulkOf(io::BinaryKRSylvanSerializer().getEventProcessor()), nullptr);
  EXPECT_EQ(io::bulkOf(NamedTaggedSerializer().getEventProcessor()), nullptr);
  const auto parser = makeParser(goldenRegistry());
  EXPECT_NE(io::bulkOf(*parser->getParseProcessor()), nullptr);
  EXPECT_EQ(io::bulkOf(putProcessor<InheritingProcessor>(*parser)), nullptr);
  EXPECT_EQ(io::bulkOf(putProcessor<CountingProcessor>(*parser)), nullptr);
}

TEST(TwoRoads, RandomModelsAreWrittenAndReadAlike) {
  const std::uint64_t pairs = numberFromEnvironment("KR0_PAIRS", underAddressSanitizer() ? 2000 : 5000);
  const std::uint64_t seed = seedFor("models by two roads");
  RoundTrips<Direct> direct;
  RoundTrips<Tagged> tagged;
  for (std::uint64_t pair = 0; pair < pairs; ++pair) {
    SCOPED_TRACE(startWith(seed + pair));
    Random random(seed + pair);
    const auto registry = makeRandomRegistry(random);
    Model model = makeRandomModel(*registry, random);
    spoil(model, random);
    direct.compare(model);
    tagged.compare(model);
    ASSERT_FALSE(HasFailure());
  }
  expectModelsOfBothKinds(direct.census());
  expectModelsOfBothKinds(tagged.census());
}

TEST(TwoRoads, DirectDocumentsWithoutAssociationsAreTheSame) {
  auto asItIs = std::make_unique<io::BinarySerializer>();
  auto named = std::make_unique<NamedDirectSerializer>();
  asItIs->setShouldSerializeAssociations(false);
  named->setShouldSerializeAssociations(false);
  Writers<Direct> writers(std::move(asItIs), std::move(named));
  Census census;
  for (std::uint64_t seed = seedFor("models without associations"), end = seed + 1000; seed < end; ++seed) {
    SCOPED_TRACE(startWith(seed));
    Random random(seed);
    const auto registry = makeRandomRegistry(random);
    writers.write(makeRandomModel(*registry, random), census);
    ASSERT_FALSE(HasFailure());
  }
}

TEST(TwoRoads, AModelOfWhichATraverserHidesSomethingEndsAlike) {
  Writers<Tagged> writers(std::make_unique<io::BinaryKRSylvanSerializer>(std::make_unique<HidingTraverser>()),
                          std::make_unique<NamedTaggedSerializer>(std::make_unique<HidingTraverser>()));
  Census census;
  std::size_t shorter = 0;
  for (std::uint64_t seed = seedFor("models partly hidden"), end = seed + 1000; seed < end; ++seed) {
    SCOPED_TRACE(startWith(seed));
    Random random(seed);
    const auto registry = makeRandomRegistry(random);
    const Model model = makeRandomModel(*registry, random);
    const std::optional<Bytes> bytes = writers.write(model, census);
    shorter += bytes && bytes->size() < written<Tagged>(model).size();
    ASSERT_FALSE(HasFailure());
  }
  EXPECT_GT(shorter, 500u);
}

TEST(TwoRoads, DocumentsWhoseTypesACustomizerChangesEndAlike) {
  Census census;
  for (std::uint64_t seed = seedFor("types changed"), end = seed + 1000; seed < end; ++seed) {
    SCOPED_TRACE(startWith(seed));
    Random random(seed);
    const auto registry = makeRandomRegistry(random);
    const Model model = makeRandomModel(*registry, random);
    const auto makeCustomizer = [&] { return std::make_unique<ChangingCustomizer>(*registry); };
    Readers<Direct>(makeCustomizer).read(written<Direct>(model), census);
    Readers<Tagged>(makeCustomizer).read(written<Tagged>(model), census);
    ASSERT_FALSE(HasFailure());
  }
  census.print();
  EXPECT_GT(census.refused, 50u);
}

// Readers take values in runs: items up to a certain number, texts up to certain lengths, so many properties
// at once, in the order of the meta model. Each bound and what lies beyond has to end as the named calls do,
// wherever the document breaks off.

TEST(TwoRoads, CollectionsOfEverySizeEndAlikeWhereverTheyAreCut) {
  Census census;
  Readers<Direct> readers(goldenRegistry());
  for (const unsigned size : {1u, 6u, 7u, 8u, 9u, 31u, 32u, 33u, 65u}) {
    Model model(goldenRegistry());
    Element element = model.createRoot("g.N");
    for (unsigned i = 0; i < size; ++i) {
      element.add("tags",
                  std::string(static_cast<std::size_t>(i) % 37, 'a') + (i % 3 == 0 ? "\xC3\xA4" : ""));
      element.add("numbers", static_cast<int>(i) - 3);
      element.add("reals", i / 2.0);
      element.addInteger("kinds", i % 2);
      element.add("flags", i % 3 == 0);
      element.add("refs", element);
    }
    readCut(readers, written<Direct>(model), census);
  }
  EXPECT_EQ(census.accepted, 2 * 9u);  // whole, and behind the header
  EXPECT_GT(census.raised, 2000u);
}

TEST(TwoRoads, TextsOfEveryLengthEndAlikeWhereverTheyAreCut) {
  Census census;
  Readers<Direct> readers(goldenRegistry());
  for (const unsigned size : {0u, 1u, 7u, 8u, 16u, 31u, 32u, 33u, 127u, 128u, 1023u, 1024u, 1025u}) {
    Model model(goldenRegistry());
    Element element = model.createRoot("g.N");
    element.set("name", std::string(size, 'n'));
    if (size >= 2) element.set("nick", std::string(size - 2, 'n') + "\xC3\xA4");
    element.set("far", std::string(size, 'f'));
    readCut(readers, written<Direct>(model), census);
  }
  EXPECT_EQ(census.accepted, 2 * 13u);
}

TEST(TwoRoads, AnyNumberOfPropertiesEndsAlikeWhereverItIsCut) {
  meta::MetaModelBuilder builder("urn:w", "w");
  meta::TypeBuilder& wide = builder.classType("Wide");
  for (int i = 0; i < 70; ++i) wide.property("p" + std::to_string(i), i % 3 == 0 ? "String" : "Integer16");
  meta::MetaRegistry registry;
  builder.registerIn(registry);
  Model model(registry);
  Element element = model.createRoot("w.Wide");
  for (int i = 0; i < 70; ++i) element.setTextForm("p" + std::to_string(i), std::to_string(i));
  Census census;
  Readers<Direct> readers(registry);
  readCut(readers, written<Direct>(model), census);
  EXPECT_EQ(census.accepted, 2u);
}

TEST(TwoRoads, PropertiesInAnyOrderAndNumberEndAlike) {
  // What may stand behind keys of g.N, right and wrong.
  const std::vector<Bytes> parts{
      DirectBytes().key(1).text("a"),
      DirectBytes().key(2).present().text("b"),
      DirectBytes().key(2).absent(),
      DirectBytes().key(3).number(2).text("a").text("\xFF"),
      DirectBytes().key(3).number(2).text("a").text("c"),
      DirectBytes().key(3).number(0),
      DirectBytes().key(4).byte(1),
      DirectBytes().key(6).byte(7),
      DirectBytes().key(8).number(1).fixed(std::int32_t{5}),
      DirectBytes().key(8).number(9).raw(Bytes(36, 1)),
      DirectBytes().key(11).present().fixed(std::int32_t{1}),
      DirectBytes().key(11).present().fixed(std::int32_t{77}),
      DirectBytes().key(12).number(2).fixed(std::int32_t{1}).fixed(std::int32_t{0}),
      DirectBytes().key(12).number(2).fixed(std::int32_t{1}).fixed(std::int32_t{77}),
      DirectBytes().key(14).present().text("2010-02-01T05:12:32Z"),
      DirectBytes().key(14).present().text("soon"),
      DirectBytes().key(15).present().text("00112233-4455-6677-8899-aabbccddeeff"),
      DirectBytes().child(18, "g.N").end(),
      DirectBytes().child(19, "g.N").key(1).text("c").end(),
      DirectBytes().key(20).reference("g.N", "#", "1"),
      DirectBytes().key(20).reference("g.N", "other", "#", "1"),
      DirectBytes().key(21).number(2).reference("g.N", "#", "1").reference("g.N", "a", "b"),
      DirectBytes().key(21).number(2).reference("g.N", "x", "a", "b").reference("g.Sub", "#", "1"),
      DirectBytes().key(300).present().text("far"),
  };
  Census census;
  Readers<Direct> readers(goldenRegistry());
  for (std::uint64_t seed = seedFor("properties in any order"), end = seed + 20000; seed < end; ++seed) {
    SCOPED_TRACE(startWith(seed));
    Random random(seed);
    DirectBytes document;
    document.header({"urn:g"}).root("g.N", "#", "1");
    for (std::size_t left = random.below(6); left != 0; --left) document.raw(random.pick(parts));
    readers.read(document.end(), census);
    ASSERT_FALSE(HasFailure());
  }
  census.print();
  EXPECT_GT(census.accepted, 2000u);
  EXPECT_GT(census.raised, 2000u);
}

TEST(TwoRoads, RandomDamageToDirectDocumentsEndsAlike) { compareDamagedDocuments<Direct>(); }

TEST(TwoRoads, RandomDamageToTaggedDocumentsEndsAlike) { compareDamagedDocuments<Tagged>(); }

}  // namespace kr::zero::test
