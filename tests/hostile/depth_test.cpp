// Containment 100,000 levels deep on a thread with a stack of 256 KiB: everything that walks a model keeps
// a stack of its own. What only touches memory goes to 1,000,000 levels.
#include <gtest/gtest.h>

#include <sstream>

#include "kr/zero/meta/MetaModelBuilder.h"
#include "support/DirectWalker.h"
#include "support/Environment.h"
#include "support/Outcome.h"
#include "support/Reading.h"
#include "support/SmallStack.h"

namespace kr::zero::test {

namespace {

constexpr std::size_t kDeep = 100000;
constexpr std::size_t deeper = underAddressSanitizer() ? 200000 : 1000000;

const meta::MetaRegistry& chainRegistry() {
  static meta::MetaRegistry registry;
  static const bool filled = [] {
    meta::MetaModelBuilder chain("urn:chain", "chain");
    meta::TypeBuilder& link = chain.classType("Link");
    link.property("next", "Link").composite().id(1);
    link.property("more", "Link").many().composite().id(2);
    link.property("number", "Integer").id(3);
    link.property("first", "Link").id(4);
    link.property("others", "Other").many().id(5);
    chain.classType("Other");
    chain.registerIn(registry);
    return true;
  }();
  static_cast<void>(filled);
  return registry;
}

/// A chain of `levels` elements, through a single property and a collection in turn; each refers to the
/// first one and knows its number.
Model makeChain(std::size_t levels) {
  Model model(chainRegistry());
  const Element first = model.createRoot("chain.Link");
  Element last = first;
  last.set("number", 0);
  for (std::size_t i = 1; i < levels; ++i) {
    last = last.create(i % 2 == 0 ? "next" : "more");
    last.set("number", static_cast<std::int32_t>(i));
    last.set("first", first);
  }
  return model;
}

void expectChain(const Model& model, std::size_t levels) {
  ASSERT_EQ(model.size(), levels);
  std::size_t i = 0;
  const ConstElement first = model.getRoots().at(0);
  const ConstElementRange elements = model.elements();
  for (auto it = elements.begin(); it != elements.end(); ++it, ++i) {
    ASSERT_EQ(it.getDepth(), i);
    ASSERT_EQ((*it).getInteger("number"), static_cast<std::int64_t>(i));
    if (i > 0) {
      ASSERT_EQ((*it).getReference("first"), first);
    }
  }
  EXPECT_EQ(i, levels);
}

/// Elements that open and never close.
Bytes openElements(std::size_t levels) {
  DirectBytes bytes;
  bytes.header({"urn:chain"}).root("chain.Link");
  for (std::size_t i = 1; i < levels; ++i) bytes.child(1, "chain.Link");
  return bytes;
}

}  // namespace

TEST(Depth, ADeepModelIsWrittenAndReadBack) {
  onSmallStack([] {
    const Model model = makeChain(kDeep);
    const Bytes bytes = writeDirect(model);
    EXPECT_EQ(walkDirect(bytes, chainRegistry()).maxDepth, kDeep);
    const auto parser = makeParser(chainRegistry());
    ASSERT_EQ(parseBytes(*parser, bytes), (Outcome{Ending::success, {}}));
    const Model again = parser->takeModel();
    expectChain(again, kDeep);
    EXPECT_EQ(findDifference(model, again), std::nullopt);
    EXPECT_EQ(writeDirect(again), bytes);
  });
}

TEST(Depth, ADeepModelGoesThroughStreams) {
  onSmallStack([] {
    const Model model = makeChain(kDeep);
    std::stringstream stream;
    io::BinarySerializer().serialize(model, io::SerializationOutput::toStream(stream));
    const auto parser = makeParser(chainRegistry());
    EXPECT_TRUE(parser->parse(io::ParsingInput::fromStream(stream)));
    EXPECT_EQ(findDifference(model, parser->takeModel()), std::nullopt);
  });
}

TEST(Depth, ADeepModelIsMadeAndDestroyed) {
  onSmallStack([] { EXPECT_EQ(makeChain(deeper).size(), deeper); });
}

TEST(Depth, ADeepModelIsWalked) {
  onSmallStack([] { expectChain(makeChain(deeper), deeper); });
}

TEST(Depth, ADeepModelIsCopiedAndCompared) {
  onSmallStack([] {
    const Model model = makeChain(deeper);
    const Model copy = model.clone();
    EXPECT_EQ(findDifference(model, copy), std::nullopt);
    expectChain(copy, deeper);
  });
}

TEST(Depth, ADifferenceIsFoundAtTheBottom) {
  onSmallStack([] {
    const Model model = makeChain(kDeep);
    Model copy = model.clone();
    Element last;
    for (const Element e : copy.elements()) last = e;
    last.set("number", -1);
    const auto difference = findDifference(model, copy);
    ASSERT_TRUE(difference);
    EXPECT_NE(difference->find(".number: "), std::string::npos) << *difference;
    EXPECT_NE(difference->find(std::to_string(kDeep - 1)), std::string::npos) << *difference;
  });
}

TEST(Depth, ADeepElementIsCopiedWithinItsModel) {
  onSmallStack([] {
    Model model = makeChain(kDeep);
    const Element copy = model.copy(model.getRoots().at(0));
    EXPECT_EQ(model.size(), 2 * kDeep);
    EXPECT_EQ(model.getRoots().at(1), copy);
    EXPECT_EQ(copy.getElement("more").getReference("first"), copy);
  });
}

TEST(Depth, ADeepElementIsRemoved) {
  onSmallStack([] {
    Model model = makeChain(kDeep);
    model.remove(model.getRoots().at(0).getElement("more"));
    EXPECT_EQ(model.size(), 1u);
    EXPECT_EQ(model.getRoots().at(0).getState("more"), PropertyState::unset);
  });
}

TEST(Depth, ADeepElementIsUnsetAndAdopted) {
  onSmallStack([] {
    Model model = makeChain(kDeep);
    const Element below = model.getRoots().at(0).getElement("more");
    model.adoptRoot(below);
    ASSERT_EQ(model.getRoots().size(), 2u);
    Element first = model.getRoots().at(0);
    first.adopt("next", below);
    EXPECT_EQ(model.getRoots().size(), 1u);
    EXPECT_EQ(model.size(), kDeep);
    first.unset("next");
    EXPECT_EQ(model.size(), 1u);
  });
}

TEST(Depth, ThePathOfADeepElementIsShort) {
  onSmallStack([] {
    const Model model = makeChain(kDeep);
    ConstElement last;
    for (const ConstElement e : model.elements()) last = e;
    const std::string path = last.getPath();
    EXPECT_EQ(path.substr(0, 6), "/link/");
    EXPECT_LT(path.size(), 2000u);
  });
}

TEST(Depth, ReferrersAreFoundFromTheBottom) {
  onSmallStack([] {
    const Model model = makeChain(kDeep);
    EXPECT_EQ(model.getReferrers(model.getRoots().at(0)).size(), kDeep - 1);
  });
}

TEST(Depth, ADocumentThatOnlyOpensElementsIsRefused) {
  onSmallStack([] {
    const auto parser = makeParser(chainRegistry());
    const Outcome outcome = parseBytes(*parser, openElements(deeper));
    EXPECT_EQ(outcome.ending, Ending::refused);
    EXPECT_LT(outcome.text.size(), 4000u);
    EXPECT_EQ(parser->getModelBuilder().takeModel().size(), deeper);
  });
}

TEST(Depth, AFailureAtTheBottomIsReportedAndTheParserReadsOn) {
  onSmallStack([] {
    Bytes bytes = openElements(kDeep);
    bytes.push_back(99);  // no such property
    const auto parser = makeParser(chainRegistry());
    EXPECT_EQ(parseBytes(*parser, bytes).ending, Ending::unknownProperty);
    EXPECT_LT(parser->describeFailure().size(), 4000u);
    EXPECT_EQ(parseBytes(*parser, writeDirect(makeChain(3))), (Outcome{Ending::success, {}}));
  });
}

TEST(Depth, ManyProblemsFarDownStayFew) {
  onSmallStack([] {
    DirectBytes bytes;
    bytes.header({"urn:chain"}).root("chain.Link", "a", "b");
    for (std::size_t i = 1; i < kDeep; ++i)
      bytes.child(1, "chain.Link").key(5).number(1).reference("chain.Other", "a", "b");
    for (std::size_t i = 0; i < kDeep; ++i) bytes.end();
    const auto parser = makeParser(chainRegistry());
    const Outcome outcome = parseBytes(*parser, bytes);
    EXPECT_EQ(outcome.ending, Ending::refused);
    EXPECT_LT(outcome.text.size(), 100000u);
  });
}

}  // namespace kr::zero::test
