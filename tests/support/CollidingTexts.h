/// @file
/// Texts that an attacker makes: for a hash that gives everybody the same numbers.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kr::zero::test {

/// Different texts of letters and digits, all of one length, that all have one std::hash, so that a table
/// which uses it keeps all of them in one place. Empty where the standard library's hash is none that this
/// knows how to invert (it knows that of the GNU C++ library on 64 bits).
/// @param prefix what stands before each of them when it is hashed: none, or a multiple of eight bytes.
std::vector<std::string> makeCollidingTexts(std::size_t count, std::string_view prefix = {});

}  // namespace kr::zero::test
