/// @file
/// Internal: the page of reports, which is part of the tool where it could be built.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kr::zero::tool {

/// What a page is filled with.
struct PageContent {
  std::string title;                                        ///< HTML
  std::string tables;                                       ///< HTML
  std::string data;                                         ///< JSON
  std::vector<std::optional<std::string_view>> bytes = {};  ///< of each document, where they are shown
};

/// @throws WrongCall where the tool was built without the page.
void requirePage();

/// The page with this content in it.
/// @throws WrongCall where the tool was built without the page.
std::string fillPage(const PageContent& content);

}  // namespace kr::zero::tool
