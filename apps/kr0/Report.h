/// @file
/// Internal: the verb that makes a page of a document.
#pragma once

#include <string>
#include <vector>

#include "Documents.h"

namespace kr::zero::tool {

struct ReportOptions : ReadOptions {
  std::vector<std::string> paths;  ///< one document or two
  std::string output;              ///< empty: standard output, where that is no terminal
  bool json = false;               ///< the data of the page alone
  bool withoutBytes = false;       ///< leave out the bytes of documents
};
/// A page of HTML that shows documents and what differs between them, and needs nothing else.
/// @throws WrongCall where the tool was built without the page.
void report(const ReportOptions& options);

}  // namespace kr::zero::tool
