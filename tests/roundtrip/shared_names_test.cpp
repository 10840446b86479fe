// Documents of packages that share a name.
#include <gtest/gtest.h>

#include <sstream>

#include "kr/zero/meta/MetaModelBuilder.h"
#include "support/Reading.h"
#include "support/TaggedReading.h"

namespace kr::zero::test {
namespace {

// Two packages "p" whose classes "C" differ in the name of their only property.
const meta::MetaRegistry& registry() {
  static meta::MetaRegistry made;
  static const bool filled = [] {
    for (const std::string name : {"first", "second"}) {
      meta::MetaModelBuilder p("urn:" + name, "p");
      p.classType("C").property(name, "String");
      p.registerIn(made);
    }
    return true;
  }();
  static_cast<void>(filled);
  return made;
}

meta::Class classOf(const ustring& uri) {
  return meta::Class(registry().findType(u"p.C", std::vector<ustring>{uri}));
}

Model modelOf(const ustring& uri, const std::string& property) {
  Model model(registry());
  model.createRoot(classOf(uri)).set(property, "value");
  return model;
}

void expectSecond(const Model& model) {
  ASSERT_EQ(model.size(), 1u);
  EXPECT_EQ(model.getRoots()[0].getClass()->getPackageUri(), u"urn:second");
  EXPECT_EQ(model.getRoots()[0].getText("second"), "value");
}

TEST(SharedPackageNames, AreResolvedInThePackagesThatADirectDocumentLists) {
  const Bytes bytes = writeDirect(modelOf(u"urn:second", "second"));
  const auto parser = makeParser(registry());
  ASSERT_TRUE(parser->parse(io::ParsingInput::fromByteSequence(bytes)));
  expectSecond(parser->takeModel());
}

TEST(SharedPackageNames, AreResolvedInThePackagesThatATaggedDocumentLists) {
  const std::string bytes = writeTagged(modelOf(u"urn:second", "second"));
  const auto parser = makeTaggedParser(registry());
  ASSERT_TRUE(parser->parse(io::ParsingInput::fromString(bytes)));
  expectSecond(parser->takeModel());
}

// Writes a model that uses both packages to a stream.
template <class SomeSerializer>
void expectRefused() {
  Model model = modelOf(u"urn:second", "second");
  model.createRoot(classOf(u"urn:first"));
  std::ostringstream stream;
  try {
    SomeSerializer().serialize(model, io::SerializationOutput::toStream(stream));
    FAIL() << "written";
  } catch (const io::SerializeError& error) {
    EXPECT_STREQ(
        error.what(),
        "the packages \"urn:second\" and \"urn:first\" are both named p; a document tells types by name "
        "and cannot hold both");
  }
  EXPECT_EQ(stream.str(), "");
}

TEST(SharedPackageNames, InOneModelAreRefusedByTheDirectFormat) { expectRefused<io::BinarySerializer>(); }

TEST(SharedPackageNames, InOneModelAreRefusedByTheTaggedFormat) {
  expectRefused<io::BinaryKRSylvanSerializer>();
}

}  // namespace
}  // namespace kr::zero::test
