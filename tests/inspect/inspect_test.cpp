// Notes on the bytes of documents: whole ones, damaged ones, and any bytes at all.
#include "kr/zero/inspect/Inspect.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iostream>

#include "support/Environment.h"
#include "support/GoldenDocuments.h"
#include "support/Outcome.h"
#include "support/RandomDamage.h"
#include "support/RandomModel.h"
#include "support/Reading.h"
#include "support/SampleModel.h"
#include "support/TaggedReading.h"

namespace kr::zero::test {

namespace {

using inspect::Note;
using inspect::NoteKind;
using testing::Contains;
using testing::HasSubstr;

enum class Form { direct, tagged };

Bytes write(const Model& model, Form form) {
  if (form == Form::direct) return writeDirect(model);
  const std::string bytes = writeTagged(model);
  return {bytes.begin(), bytes.end()};
}

std::unique_ptr<io::Parser> parserFor(Form form, const meta::MetaRegistry& registry) {
  if (form == Form::direct) return makeParser(registry);
  return makeTaggedParser(registry);
}

std::string_view asText(const Bytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

bool inspectAs(Form form, const Bytes& bytes, const meta::MetaRegistry* registry,
               const inspect::NoteListener& listener) {
  return inspect::inspect(asText(bytes), {.registry = registry, .tagged = form == Form::tagged}, listener);
}

/// Checks that notes cover each byte once, in order, and that damage is told where there is some.
bool coversAll(Form form, const Bytes& bytes, const meta::MetaRegistry* registry) {
  std::uint64_t end = 0;
  bool isDamaged = false;
  const bool isSound = inspectAs(form, bytes, registry, [&](const Note& note) {
    EXPECT_EQ(note.offset, end) << note.text;
    EXPECT_FALSE(note.text.empty());
    end = note.offset + note.bytes;
    isDamaged |= note.kind == NoteKind::damage;
  });
  EXPECT_EQ(end, bytes.size());
  EXPECT_EQ(isSound, !isDamaged);
  return isSound;
}

/// "offset+bytes path: text" of each note.
std::vector<std::string> linesOf(Form form, const Bytes& bytes, const meta::MetaRegistry* registry) {
  std::vector<std::string> lines;
  inspectAs(form, bytes, registry, [&](const Note& note) {
    lines.push_back(std::to_string(note.offset) + "+" + std::to_string(note.bytes) + " " +
                    std::string(note.path) + ": " + std::string(note.text));
  });
  return lines;
}

/// What a model says of itself, in the words of notes: paths with values, classes and numbers of references.
std::vector<std::string> factsOf(const Model& model) {
  std::vector<std::string> facts;
  const std::function<void(ConstElement, const std::string&)> tell = [&](ConstElement element,
                                                                         const std::string& path) {
    facts.push_back(path + " " + element.getType()->qualifiedName());
    for (const meta::Property property : element.getType()->getAllProperties()) {
      if (!property->isWritten() || !element.isSet(property)) continue;
      for (std::size_t i = 0; i < element.size(property); ++i) {
        const std::string here = path + "." + property->name();
        const std::string below =
            path + "/" + property->name() + (property->isMany() ? "[" + std::to_string(i) + "]" : "");
        if (meta::isPrimitive(property->getKind()))
          facts.push_back(here + " = " + element.getTextForm(property, i));
        else if (property->getKind() == meta::PropertyKind::association)
          facts.push_back(here + " -> ");
        else
          tell(element.getElement(property, i), below);
      }
    }
  };
  std::size_t roots = 0;
  for (const ConstElement root : model.getRoots()) {
    std::string name = root.getType()->name();
    if (name[0] >= 'A' && name[0] <= 'Z') name[0] = static_cast<char>(name[0] - 'A' + 'a');
    tell(root, "/" + name + (roots == 0 ? "" : "[" + std::to_string(roots) + "]"));
    ++roots;
  }
  std::sort(facts.begin(), facts.end());
  return facts;
}

std::vector<std::string> factsOfNotes(Form form, const Bytes& bytes, const meta::MetaRegistry& registry) {
  std::vector<std::string> facts;
  inspectAs(form, bytes, &registry, [&](const Note& note) {
    const std::string path(note.path);
    const std::string property = path + "." + std::string(note.property);
    const bool isEmpty = note.text.ends_with(" is empty");
    if (note.kind == NoteKind::begin && !note.type.empty())
      facts.push_back(path + " " + std::string(note.type));
    if (note.kind == NoteKind::value && !isEmpty && !path.empty())
      facts.push_back(property + " = " + std::string(note.value));
    if (note.kind == NoteKind::reference) facts.push_back(property + " -> ");
  });
  std::sort(facts.begin(), facts.end());
  return facts;
}

class InspectBoth : public testing::TestWithParam<Form> {};
INSTANTIATE_TEST_SUITE_P(Formats, InspectBoth, testing::Values(Form::direct, Form::tagged),
                         [](const auto& form) { return form.param == Form::direct ? "direct" : "tagged"; });

}  // namespace

TEST(Inspect, ANoteHasOffsetLengthPathAndMeaning) {
  const std::vector<std::string> lines =
      linesOf(Form::direct, goldenDocuments().front().bytes, &goldenRegistry());
  EXPECT_THAT(lines, Contains("0+1 : version 1"));
}

TEST_P(InspectBoth, NotesOnRandomModelsCoverEachByteOnce) {
  Random random(seedFor("notes"));
  for (int i = 0; i < 60; ++i) {
    const auto registry = makeRandomRegistry(random);
    const Bytes bytes = write(makeRandomModel(*registry, random), GetParam());
    EXPECT_TRUE(coversAll(GetParam(), bytes, registry.get()));
    EXPECT_TRUE(coversAll(GetParam(), bytes, nullptr));
  }
}

TEST_P(InspectBoth, NotesSayWhatTheModelHolds) {
  Random random(seedFor("facts"));
  for (int i = 0; i < 60; ++i) {
    const auto registry = makeRandomRegistry(random);
    const Bytes bytes = write(makeRandomModel(*registry, random), GetParam());
    const auto parser = parserFor(GetParam(), *registry);
    ASSERT_TRUE(parser->parseByteSequence(bytes));
    const std::vector<std::string> said = factsOfNotes(GetParam(), bytes, *registry);
    const std::vector<std::string> held = factsOf(parser->takeModel());
    std::vector<std::string> differences;
    std::set_symmetric_difference(said.begin(), said.end(), held.begin(), held.end(),
                                  std::back_inserter(differences));
    ASSERT_THAT(differences, testing::IsEmpty());
  }
}

TEST_P(InspectBoth, AnyBytesAreCoveredAndRefusedWhereTheParserRefusesThem) {
  const Form form = GetParam();
  const auto parser = parserFor(form, goldenRegistry());
  std::vector<Bytes> documents;
  for (const GoldenDocument& golden : goldenDocuments()) {
    const auto direct = makeParser(goldenRegistry());
    ASSERT_TRUE(direct->parseByteSequence(golden.bytes));
    documents.push_back(write(direct->takeModel(), form));
  }
  RandomDamage damage(documents, seedFor("inspect damage"));
  const std::uint64_t mutants = numberFromEnvironment("KR0_MUTANTS", 4000);
  std::uint64_t accepted = 0;
  for (std::uint64_t i = 0; i < mutants; ++i) {
    const Bytes bytes = damage.next();
    const Outcome outcome = parseBytes(*parser, bytes);
    const bool isSound = coversAll(form, bytes, &goldenRegistry());
    coversAll(form, bytes, nullptr);
    const bool isOfTheWhole =
        outcome.text.find("identity") != std::string::npos || outcome.text.find("refer") != std::string::npos;
    if (isOfTheWhole) continue;
    accepted += isSound;
    EXPECT_EQ(isSound, outcome.ending == Ending::success)
        << nameOf(outcome.ending) << ": " << outcome.text << '\n'
        << toHex(bytes);
    if (HasFailure()) break;
  }
  std::cout << accepted << " of " << mutants << " made sense\n";
}

}  // namespace kr::zero::test
