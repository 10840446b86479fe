#include "ReportTables.h"

#include <algorithm>
#include <initializer_list>

#include "Compare.h"
#include "Html.h"

namespace kr::zero::tool {

namespace {

constexpr std::size_t kMostProblemRows = 1000;

/// A table that grows row by row.
class HtmlTable {
 public:
  HtmlTable(std::string& html, std::string_view caption, std::initializer_list<std::string_view> columns)
      : html_(html) {
    html_ += "<table><caption>" + asHtml(caption) + "</caption><thead><tr>";
    for (const std::string_view column : columns) html_ += "<th scope=\"col\">" + asHtml(column) + "</th>";
    html_ += "</tr></thead><tbody>\n";
  }
  ~HtmlTable() { html_ += "</tbody></table>\n"; }
  HtmlTable(const HtmlTable&) = delete;
  HtmlTable& operator=(const HtmlTable&) = delete;

  void row(std::initializer_list<std::string_view> cells) {
    html_ += "<tr>";
    for (const std::string_view cell : cells) html_ += "<td>" + asHtml(cell) + "</td>";
    html_ += "</tr>\n";
  }

 private:
  std::string& html_;
};

void addSummary(const ReportDocument& document, std::string& html) {
  HtmlTable table(html, "Summary", {"What", "Value"});
  for (const auto& [name, value] : document.facts()) table.row({name, value});
  for (const auto& [format, bytes] : document.sizes())
    table.row({"bytes as " + format, std::to_string(bytes)});
}

void addClasses(const ReportDocument& document, const ReportSchema& schema, std::string& html) {
  std::vector<const ClassUsage*> rows;
  for (const ClassUsage& usage : document.usage()) rows.push_back(&usage);
  std::sort(rows.begin(), rows.end(), [](const ClassUsage* a, const ClassUsage* b) {
    return a->bytes != b->bytes ? a->bytes > b->bytes : a->type < b->type;
  });
  HtmlTable table(html, "Classes", {"Class", "Instances", "Bytes"});
  for (const ClassUsage* usage : rows)
    table.row({schema.classes()[static_cast<std::size_t>(usage->type)]->qualifiedName(),
               std::to_string(usage->instances), std::to_string(usage->bytes)});
  table.row({"(around all elements)", "", std::to_string(document.overhead())});
}

void addProblems(const ReportDocument& document, std::string& html) {
  if (document.problemCount() == 0) {
    html += "<p>No problems were found.</p>\n";
    return;
  }
  HtmlTable table(html, "Problems", {"Kind", "Problem", "Place"});
  const std::size_t shown = std::min(document.problems().size(), kMostProblemRows);
  for (std::size_t i = 0; i < shown; ++i) {
    const CheckFinding& finding = document.problems()[i].finding;
    table.row({nameOf(finding.kind), finding.text, finding.place});
  }
  if (shown < document.problemCount())
    table.row({"", std::to_string(document.problemCount() - shown) + " more", ""});
}

void addDifferences(const compare::ModelDiff& diff, std::string& html) {
  html += "<h2>Differences</h2>\n";
  HtmlTable table(html, "Differences by kind", {"Kind", "Number"});
  for (const compare::DifferenceKind kind : kDifferenceKinds) {
    const auto count = std::count_if(diff.differences().begin(), diff.differences().end(),
                                     [kind](const auto& difference) { return difference.kind == kind; });
    table.row({compare::nameOf(kind), std::to_string(count)});
  }
}

}  // namespace

std::string reportTables(const ReportSchema& schema, const std::deque<ReportDocument>& documents,
                         const compare::ModelDiff* diff) {
  std::string html;
  for (const ReportDocument& document : documents) {
    html += "<h2>" + asHtml(document.name()) + "</h2>\n";
    addSummary(document, html);
    addClasses(document, schema, html);
    addProblems(document, html);
  }
  if (diff != nullptr) addDifferences(*diff, html);
  return html;
}

}  // namespace kr::zero::tool
