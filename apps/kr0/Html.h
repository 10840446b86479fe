/// @file
/// Internal: texts as HTML and what is like it.
#pragma once

#include <string>
#include <string_view>

namespace kr::zero::tool {

/// A text as HTML shows it: no character of it is markup, and what would turn the direction of writing is
/// shown as an escape.
std::string asHtml(std::string_view text);

}  // namespace kr::zero::tool
