// The list of masks that an event processor gives to a walk.
#include <gtest/gtest.h>

#include <utility>

#include "kr/zero/io/CategoryMasks.h"

namespace kr::zero::io {
namespace {

std::vector<std::uint32_t> contentOf(const CategoryMasks& masks) { return {masks.begin(), masks.end()}; }

TEST(CategoryMasks, HoldAnyNumberOfMasksInTheirOrder) {
  CategoryMasks masks;
  std::vector<std::uint32_t> expected;
  for (std::uint32_t mask = 1; mask <= 5; ++mask) {
    masks.push_back(mask);
    expected.push_back(mask);
    EXPECT_EQ(contentOf(masks), expected);
    EXPECT_EQ(masks.size(), expected.size());
  }
}

TEST(CategoryMasks, AreMadeOfAList) {
  EXPECT_TRUE(CategoryMasks().empty());
  EXPECT_EQ(contentOf({7}), (std::vector<std::uint32_t>{7}));
  EXPECT_EQ(contentOf({7, 8, 9}), (std::vector<std::uint32_t>{7, 8, 9}));
}

TEST(CategoryMasks, CanBeChangedInPlace) {
  CategoryMasks few{0xF};
  CategoryMasks many{1, 2, 0xF};
  few[0] &= ~0x4u;
  many[2] &= ~0x4u;
  EXPECT_EQ(few[0], 0xBu);
  EXPECT_EQ(contentOf(many), (std::vector<std::uint32_t>{1, 2, 0xB}));
}

TEST(CategoryMasks, AreCopiedAndMovedWhole) {
  for (const CategoryMasks& masks : {CategoryMasks{1, 2}, CategoryMasks{1, 2, 3}}) {
    CategoryMasks copy = masks;
    EXPECT_EQ(copy, masks);
    const CategoryMasks moved = std::move(copy);
    EXPECT_EQ(moved, masks);
  }
}

TEST(CategoryMasks, AreEqualWhereTheirMasksAre) {
  EXPECT_NE(CategoryMasks({1, 2}), CategoryMasks({2, 1}));
  EXPECT_NE(CategoryMasks({1, 2}), CategoryMasks({1, 2, 3}));
}

TEST(CategoryMasks, CanBeFilledAgainOnceCleared) {
  CategoryMasks masks{1, 2, 3};
  masks.clear();
  EXPECT_TRUE(masks.empty());
  masks.push_back(4);
  EXPECT_EQ(contentOf(masks), (std::vector<std::uint32_t>{4}));
}

}  // namespace
}  // namespace kr::zero::io
