/// @file
/// Internal: what was meant by a word that means nothing.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kr::zero::tool {

/// The name that a word is most like: fewest letters to insert, remove or replace, or neighbours to swap (the
/// restricted Damerau-Levenshtein distance), at most one for each three letters. The first of equally good
/// ones; empty where none is like it.
std::string nearestName(std::string_view word, const std::vector<std::string>& names);

}  // namespace kr::zero::tool
