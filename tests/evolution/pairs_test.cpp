// What compareSchemas says of a change is what becomes of a document: written with the old meta model, read
// with the new one.
#include <gtest/gtest.h>

#include <algorithm>

#include "SchemaPairs.h"
#include "SchemaReading.h"
#include "kr/zero/Validate.h"
#include "kr/zero/evolution/CarryOver.h"

namespace kr::zero::test {
namespace {

using evolution::Effects;
using evolution::SchemaChange;

class Pairs : public testing::TestWithParam<SchemaPair> {
 protected:
  Pairs() {
    GetParam().before(before_);
    GetParam().after(after_);
    old_ = std::make_unique<Model>(before_);
    GetParam().fill(*old_);
  }

  std::vector<SchemaChange> changes() const {
    return evolution::compareSchemas(before_, after_, {GetParam().renames});
  }
  Effects said() const { return worstOf(changes()); }
  Effects met() const { return WrittenModel(*old_, GetParam().renames).effectsWith(after_); }

  meta::MetaRegistry before_;
  meta::MetaRegistry after_;
  std::unique_ptr<Model> old_;
};

}  // namespace

TEST_P(Pairs, TheOldModelIsValidInTheOldMetaModel) { EXPECT_EQ(validate(*old_), std::vector<Violation>()); }

TEST_P(Pairs, DirectDocumentsDoWhatIsSaid) {
  EXPECT_EQ(nameOf(said().krb), nameOf(met().krb));
  EXPECT_EQ(nameOf(GetParam().effects.krb), nameOf(met().krb));
}

TEST_P(Pairs, TaggedDocumentsDoWhatIsSaid) {
  EXPECT_EQ(nameOf(said().krt), nameOf(met().krt));
  EXPECT_EQ(nameOf(GetParam().effects.krt), nameOf(met().krt));
}

TEST_P(Pairs, XmiDocumentsDoWhatIsSaid) {
  EXPECT_EQ(nameOf(said().xmi), nameOf(met().xmi));
  EXPECT_EQ(nameOf(GetParam().effects.xmi), nameOf(met().xmi));
}

TEST_P(Pairs, ArchivesAreSaidToBeCarriedOverWhereNothingIsLost) {
  EXPECT_EQ(nameOf(said().krz), nameOf(GetParam().effects.krz));
}

TEST_P(Pairs, CarryingOverDoesWhatIsSaidOfArchives) {
  evolution::Effect effect = evolution::Effect::refused;
  try {
    effect = effectOn(*old_, evolution::carryOver(*old_, after_).model, GetParam().renames);
  } catch (const evolution::CarryOverRefused&) {
  }
  EXPECT_EQ(nameOf(said().krz), nameOf(effect));
}

TEST_P(Pairs, TheChangeIsNamed) {
  const auto all = changes();
  if (GetParam().subject.empty()) {
    EXPECT_TRUE(all.empty()) << all.front().sentence;
    return;
  }
  const auto found = std::find_if(all.begin(), all.end(), [](const SchemaChange& change) {
    return change.kind == GetParam().kind && change.subject == GetParam().subject;
  });
  ASSERT_NE(found, all.end());
  EXPECT_FALSE(found->sentence.empty());
}

INSTANTIATE_TEST_SUITE_P(Schema, Pairs, testing::ValuesIn(schemaPairs()),
                         [](const auto& instance) { return instance.param.name; });

}  // namespace kr::zero::test
