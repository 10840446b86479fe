// Copying short strings, of which each size has a way of its own.

#include <gtest/gtest.h>

#include <string>

#include "sylvan/CopyFew.h"

namespace kr::zero::io::tagged {
namespace {

TEST(CopyingFewBytes, TouchesNoByteBesideThem) {
  std::string from;
  for (int i = 0; i < 100; ++i) from += static_cast<char>(i);
  for (std::size_t size = 0; size < 80; ++size) {
    std::string to(from.size(), '.');
    copyFew(to.data() + 10, from.data() + 7, size);
    const std::string behind(from.size() - 10 - size, '.');
    EXPECT_EQ(to, std::string(10, '.') + from.substr(7, size) + behind) << size;
  }
}

}  // namespace
}  // namespace kr::zero::io::tagged
