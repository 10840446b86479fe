#include "kr/zero/evolution/CarryOverReport.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "kr/zero/evolution/JsonTree.h"

namespace kr::zero::evolution {

namespace {

using Json = nlohmann::ordered_json;

std::string counted(std::uint64_t count, const std::string& unit) {
  return std::to_string(count) + ' ' + unit + (count == 1 ? "" : "s");
}

/// "kept", "renamed to shelf.Volume", "left out, there is no shelf.Pamphlet"
template <class Row>
std::string described(const Row& row) {
  std::string text(nameOf(row.fate));
  if (row.fate == Fate::renamed) text += " to " + row.to;
  if (row.fate == Fate::converted) text += " to " + row.to + ", " + row.detail;
  if (row.fate == Fate::leftOut && !row.detail.empty()) text += ", " + row.detail;
  return text;
}

std::string share(std::uint64_t carried, std::uint64_t all, const std::string& unit) {
  if (all == 0) return {};
  if (carried == all) return ": " + counted(all, unit);
  return ": " + std::to_string(carried) + " of " + counted(all, unit);
}

std::string asText(const TypeFate& type) {
  std::string text =
      type.from + ": " + described(type) + share(type.carried, type.elements, "element") + '\n';
  for (const PropertyFate& property : type.properties)
    text += "  " + property.from + ": " + described(property) +
            share(property.carried, property.values, "value") + '\n';
  return text;
}

// Each fills a value where it stands in the tree: see JsonTree. An object that keeps the order of its keys
// copies its values where it grows, so there is room for all keys before there are any.
constexpr std::size_t kMostKeys = 8;

Json& asObject(Json& json) {
  json = Json::object();
  json.get_ref<Json::object_t&>().reserve(kMostKeys);
  return json;
}

void fill(Json& json, const PropertyFate& property) {
  json["from"] = property.from;
  json["to"] = property.to;
  json["fate"] = nameOf(property.fate);
  json["detail"] = property.detail;
  json["values"] = property.values;
  json["carried"] = property.carried;
}

void fill(Json& json, const Finding& finding) {
  json["subject"] = finding.subject;
  json["count"] = finding.count;
  json["unit"] = finding.unit;
  json["what"] = finding.what;
  json["asked"] = finding.asked;
  json["paths"] = finding.paths;
}

void fill(Json& json, const TypeFate& type);

template <class Row>
void fill(Json& json, const std::vector<Row>& rows) {
  json = Json::array();
  for (const Row& row : rows) fill(asObject(json.emplace_back()), row);
}

void fill(Json& json, const TypeFate& type) {
  json["from"] = type.from;
  json["to"] = type.to;
  json["fate"] = nameOf(type.fate);
  json["detail"] = type.detail;
  json["elements"] = type.elements;
  json["carried"] = type.carried;
  fill(json["properties"], type.properties);
}

}  // namespace

std::string_view nameOf(Fate fate) noexcept {
  constexpr std::string_view kNames[] = {"kept", "renamed", "converted", "left out"};
  return kNames[static_cast<std::size_t>(fate)];
}

std::string Finding::sentence() const {
  std::string text = subject + ": " + counted(count, unit) + ' ' + what;
  if (paths.empty()) return text;
  text += " (";
  for (const std::string& path : paths) text += (&path == paths.data() ? "" : ", ") + path;
  return text + (hasMore ? ", ...)" : ")");
}

bool CarryOverReport::isLossless() const noexcept {
  return std::all_of(losses.begin(), losses.end(), [](const Finding& loss) { return loss.asked; });
}

std::string toText(const CarryOverReport& report) {
  std::string text =
      "carried over: " + std::to_string(report.carried) + " of " + counted(report.elements, "element") + '\n';
  for (const TypeFate& type : report.types) text += asText(type);
  for (const Finding& loss : report.losses)
    text += (loss.asked ? "asked for: " : "loss: ") + loss.sentence() + '\n';
  for (const Finding& notice : report.notices) text += "notice: " + notice.sentence() + '\n';
  return text;
}

std::string toJson(const CarryOverReport& report) {
  JsonTree<Json> tree;
  Json& all = asObject(tree.get());
  all["kr0"] = 1;
  all["elements"] = report.elements;
  all["carried"] = report.carried;
  fill(all["types"], report.types);
  fill(all["losses"], report.losses);
  fill(all["notices"], report.notices);
  return all.dump(1, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace kr::zero::evolution
