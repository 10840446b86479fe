/// @file
/// Internal: the main figures of a report as tables of HTML, for readers whose browser runs no scripts.
#pragma once

#include <deque>
#include <string>

#include "ReportDocument.h"
#include "kr/zero/compare/ModelDiff.h"

namespace kr::zero::tool {

/// Tables of documents, and of their differences where there are any to tell (null: none were looked for).
std::string reportTables(const ReportSchema& schema, const std::deque<ReportDocument>& documents,
                         const compare::ModelDiff* diff);

}  // namespace kr::zero::tool
