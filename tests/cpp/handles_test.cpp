// Generated classes for handles through which elements can only be read.
#include <type_traits>

#include "all.kr0.h"
#include "cpp/CppTesting.h"

namespace kr::zero::test {

namespace {

/// Reads what an Element does, and offers nothing that changes.
class Reader : private Element {
 public:
  Reader() = default;
  Reader(const Element& element) : Element(element) {}
  using Element::getState;
  using Element::operator bool;
  friend bool operator==(const Reader& a, const Reader& b) {
    return static_cast<const Element&>(a) == static_cast<const Element&>(b);
  }

 private:
  friend struct internal::ElementAccess;
};

using ReadOwner = test_models::all::BasicOwner<Reader>;
using ReadNamed = test_models::all::BasicNamed<Reader>;
using ReadRight = test_models::all::BasicRight<Reader>;
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

}  // namespace kr::zero::test
