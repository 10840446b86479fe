// What compareSchemas says of a change is what becomes of a document: written with the old meta model, read
// with the new one.
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <set>

#include "SchemaPairs.h"
#include "kr/zero/Validate.h"
#include "kr/zero/ecore/Ecore.h"
#include "support/Reading.h"
#if __has_include("kr/zero/evolution/CarryOver.h")
#include "kr/zero/evolution/CarryOver.h"
#endif
#include "support/TaggedReading.h"

namespace kr::zero::test {
namespace {

using evolution::ChangeKind;
using evolution::Effect;
using evolution::Effects;
using evolution::SchemaChange;
using Lines = std::multiset<std::string>;

/// All that a model shows, by names, in lines that two meta models can share.
class Shown {
 public:
  Shown(const Model& model, const std::map<std::string, std::string>& renames) : renames_(renames) {
    for (const ConstElement element : model.elements())
      positions_.emplace(element.getIndex(), positions_.size() + 1);
    for (const ConstElement element : model.elements()) show(element, placeOf(element) + ": ");
  }
  const Lines& lines() const { return lines_; }

 private:
  void show(ConstElement element, const std::string& where) {
    lines_.insert(where + lastName(newName(element.getType()->qualifiedName())));
    for (const meta::Property property : element.getType()->getAllProperties()) {
      if (!property->isStored() || !element.isSet(property)) continue;
      const std::string name = newName(property->getOwner()->qualifiedName() + '.' + property->name());
      show(element, property, where + lastName(name) + " = ");
    }
  }

  void show(ConstElement element, meta::Property property, const std::string& head) {
    lines_.insert(head + "values");
    for (std::size_t i = 0; i < element.size(property); ++i)
      if (property->getKind() == meta::PropertyKind::datatype)
        show(element.getElement(property, i), head);
      else
        lines_.insert(head + std::to_string(i) + ' ' + textOf(element, property, i));
  }

  std::string textOf(ConstElement element, meta::Property property, std::size_t i) const {
    if (property->isComposite()) return placeOf(element.getElement(property, i));
    if (property->getTarget()) return placeOf(element.getReference(property, i));
    if (property->getStandardType() == meta::StandardType::real) {
      const double number = element.getReal(property, i);
      if (number == static_cast<double>(static_cast<std::int64_t>(number)))
        return std::to_string(static_cast<std::int64_t>(number));
    }
    const std::string text = element.getTextForm(property, i);
    const bool isLiteral = property->getKind() == meta::PropertyKind::enumeration;
    return isLiteral ? lastName(newName(property->getType()->qualifiedName() + '.' + text)) : text;
  }

  std::string placeOf(ConstElement element) const {
    return "element " + std::to_string(positions_.at(element.getIndex()));
  }

  std::string newName(const std::string& name) const {
    const auto renamed = renames_.find(name);
    return renamed == renames_.end() ? name : renamed->second;
  }
  static std::string lastName(const std::string& name) { return name.substr(name.rfind('.') + 1); }

  const std::map<std::string, std::string>& renames_;
  std::map<std::size_t, std::size_t> positions_;
  Lines lines_;
};

/// What became of a model that was read again.
Effect effectOn(const Model& old, const Model& now, const std::map<std::string, std::string>& renames) {
  const Shown before(old, renames);
  const Shown after(now, {});
  if (before.lines() == after.lines())
    return validate(now).size() > validate(old).size() ? Effect::incomplete : Effect::nothing;
  const bool isPart =
      std::includes(before.lines().begin(), before.lines().end(), after.lines().begin(), after.lines().end());
  return isPart ? Effect::incomplete : Effect::wrong;
}

class Pairs : public testing::TestWithParam<SchemaPair> {
 protected:
  Pairs() {
    GetParam().before(before_);
    GetParam().after(after_);
    old_ = std::make_unique<Model>(before_);
    GetParam().fill(*old_);
  }

  template <class Read>
  Effect effectOf(const Read& read) const {
    std::unique_ptr<Model> now;
    try {
      now = std::make_unique<Model>(read());
    } catch (const std::exception&) {
      return Effect::refused;
    }
    return effectOn(*old_, *now, GetParam().renames);
  }

  std::vector<SchemaChange> changes() const {
    return evolution::compareSchemas(before_, after_, {GetParam().renames});
  }

  Effects predicted() const {
    Effects worst;
    for (const SchemaChange& change : changes())
      worst = {std::max(worst.krb, change.effects.krb), std::max(worst.krt, change.effects.krt),
               std::max(worst.xmi, change.effects.xmi), std::max(worst.krz, change.effects.krz)};
    return worst;
  }

  meta::MetaRegistry before_;
  meta::MetaRegistry after_;
  std::unique_ptr<Model> old_;
};

Model taken(io::Parser& parser, bool isRead) {
  if (!isRead) throw std::runtime_error(parser.getProblems().front());
  return parser.takeModel();
}

}  // namespace

TEST_P(Pairs, TheOldModelIsValidInTheOldMetaModel) { EXPECT_EQ(validate(*old_), std::vector<Violation>()); }

TEST_P(Pairs, DirectDocumentsDoWhatIsSaid) {
  const Bytes bytes = writeDirect(*old_);
  const Effect effect = effectOf([&] {
    const auto parser = makeParser(after_);
    return taken(*parser, parser->parseByteSequence(bytes));
  });
  EXPECT_EQ(nameOf(predicted().krb), nameOf(effect));
  EXPECT_EQ(nameOf(GetParam().effects.krb), nameOf(effect));
}

TEST_P(Pairs, TaggedDocumentsDoWhatIsSaid) {
  const std::string bytes = writeTagged(*old_);
  const Effect effect = effectOf([&] {
    const auto parser = makeTaggedParser(after_);
    return taken(*parser, parser->parse(io::ParsingInput::fromString(bytes)));
  });
  EXPECT_EQ(nameOf(predicted().krt), nameOf(effect));
  EXPECT_EQ(nameOf(GetParam().effects.krt), nameOf(effect));
}

TEST_P(Pairs, XmiDocumentsDoWhatIsSaid) {
  const std::string xmi = ecore::writeXmi(*old_, *ecore::describeRegistry(before_));
  const auto mapping = ecore::describeRegistry(after_);
  const Effect effect = effectOf([&] { return ecore::readXmi(xmi, "old.xmi", *mapping); });
  EXPECT_EQ(nameOf(predicted().xmi), nameOf(effect)) << xmi;
  EXPECT_EQ(nameOf(GetParam().effects.xmi), nameOf(effect));
}

TEST_P(Pairs, ArchivesAreSaidToBeCarriedOverWhereNothingIsLost) {
  EXPECT_EQ(nameOf(predicted().krz), nameOf(GetParam().effects.krz));
}

#if __has_include("kr/zero/evolution/CarryOver.h")
TEST_P(Pairs, CarryingOverDoesWhatIsSaidOfArchives) {
  const Effect effect = effectOf([&] { return std::move(evolution::carryOver(*old_, after_).model); });
  EXPECT_EQ(nameOf(predicted().krz), nameOf(effect));
}
#endif

TEST_P(Pairs, TheChangeIsNamed) {
  const auto all = changes();
  if (GetParam().subject.empty()) {
    EXPECT_TRUE(all.empty()) << all.front().sentence;
    return;
  }
  const auto found = std::find_if(all.begin(), all.end(), [](const SchemaChange& change) {
    return change.kind == GetParam().kind && change.subject == GetParam().subject;
  });
  ASSERT_NE(found, all.end()) << testing::PrintToString(all.size());
  EXPECT_FALSE(found->sentence.empty());
}

INSTANTIATE_TEST_SUITE_P(Schema, Pairs, testing::ValuesIn(schemaPairs()),
                         [](const auto& instance) { return instance.param.name; });

}  // namespace kr::zero::test
