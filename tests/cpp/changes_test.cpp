// Typed access and access by name in turn: what is noted of an element's values must follow every change.
#include <random>

#include "all.kr0.h"
#include "cpp/CppTesting.h"

namespace kr::zero::test {

namespace {

using test_models::all::Values;

void changeByName(Element element, std::mt19937& random) {
  const auto& properties = element.getType()->getAllProperties();
  const meta::Property property = properties[random() % properties.size()];
  const auto number = static_cast<std::int64_t>(random() % 100);
  if (!property->isStored()) return;
  if (random() % 4 == 0) return element.unset(property);
  const bool canBeEmpty = property->getKind() != meta::PropertyKind::datatype;
  if (random() % 4 == 0 && canBeEmpty) return element.setEmpty(property);
  if (property->getKind() == meta::PropertyKind::number &&
      property->getStandardType() == meta::StandardType::integer)
    property->isMany() ? element.addInteger(property, number) : element.setInteger(property, number);
  else if (property->getKind() == meta::PropertyKind::text)
    property->isMany() ? element.addText(property, std::to_string(number))
                       : element.setText(property, std::to_string(number));
}

}  // namespace

TEST(NotedPlaces, FollowEveryChangeInAnyOrder) {
  std::mt19937 random(7);
  Model model(generatedRegistry());
  const Values values = createRoot<Values>(model);
  const Element element = values;
  for (int step = 0; step < 20000; ++step) {
    switch (random() % 4) {
      case 0:
        values.setOneInteger(static_cast<std::int32_t>(random() % 100));
        break;
      case 1:
        values.setOneString(std::to_string(random() % 1000000));
        break;
      case 2:
        values.getManyInteger().add(static_cast<std::int32_t>(random() % 100));
        break;
      default:
        changeByName(element, random);
    }
    ASSERT_EQ(values.getOneInteger(), element.getInteger("oneInteger"));
    ASSERT_EQ(values.getOneString(), element.getText("oneString"));
    ASSERT_EQ(values.getOneCode(), element.getText("oneCode"));
    ASSERT_EQ(values.getManyInteger().size(), element.size("manyInteger"));
    ASSERT_EQ(values.hasOneInteger(), element.isSet("oneInteger"));
    ASSERT_EQ(values.getManyString().getState(), element.getState("manyString"));
  }
}

TEST(NotedPlaces, OfACopyAreItsOwn) {
  Model model(generatedRegistry());
  const Values values = createRoot<Values>(model);
  values.setOneInteger(1);
  values.setOneString("one");
  EXPECT_EQ(values.getOneInteger(), 1);
  const Values copy = as<Values>(model.copy(values));
  copy.setOneInteger(2);
  copy.setOneString("two");
  EXPECT_EQ(values.getOneInteger(), 1);
  EXPECT_EQ(values.getOneString(), "one");
  EXPECT_EQ(copy.getOneInteger(), 2);
}

}  // namespace kr::zero::test
