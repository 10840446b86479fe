// Generated classes for handles through which elements can only be read.
#include <type_traits>

#include "all.kr0.h"
#include "cpp/CppTesting.h"

namespace kr::zero::test {

namespace {

using ReadOwner = test_models::all::ConstOwner;
using ReadNamed = test_models::all::ConstNamed;
using ReadRight = test_models::all::ConstRight;
using test_models::all::Bottom;
using test_models::all::Owner;

template <class T>
concept CanSetName = requires(const T& value) {
  value.setName("x");
};
template <class T>
concept CanChange = requires(const T& value) {
  value.getChildren().template create<Bottom>();
}
|| requires(const T& value) { value.unsetName(); }
|| requires(const T& value) { value.template createChild<Bottom>(); };

}  // namespace

static_assert(CanSetName<Owner> && CanChange<Owner>);
static_assert(!CanSetName<ReadOwner> && !CanChange<ReadOwner>);
static_assert(std::is_convertible_v<Owner, ReadOwner> && !std::is_convertible_v<ReadOwner, Owner>);
static_assert(std::is_convertible_v<Bottom, ReadRight> && std::is_convertible_v<Bottom, ReadNamed>);
static_assert(sizeof(ReadOwner) == sizeof(Element));

TEST(ReadOnlyHandles, ReadWhatTheOthersWrite) {
  Model model(generatedRegistry());
  const auto owner = createRoot<Owner>(model);
  owner.setName("o");
  owner.getChildren().create<Bottom>().setRightNumber(4);
  owner.createOnly().getOwners().add(owner);
  const ReadOwner reader = owner;
  EXPECT_EQ(reader.getName(), "o");
  ASSERT_EQ(reader.getChildren().size(), 1u);
  EXPECT_EQ(reader.getChildren().getState(), PropertyState::value);
  for (const ReadNamed child : reader.getChildren()) EXPECT_FALSE(child.hasName());
  EXPECT_EQ(reader.getOnly().getOwners()[0], reader);
  const ReadRight right = owner.getChildren().create<Bottom>();
  EXPECT_EQ(right.getRightNumber(), 0);
}

TEST(ReadOnlyHandles, ComeFromAConstModel) {
  Model model(generatedRegistry());
  createRoot<Owner>(model).setName("o");
  const Model& shared = model;
  const auto reader = as<ReadOwner>(shared.getRoots().front());
  EXPECT_EQ(reader.getName(), "o");
  EXPECT_FALSE(tryAs<test_models::all::ConstBottom>(shared.getRoots().front()));
}

}  // namespace kr::zero::test
