#include "kr/zero/evolution/CarryOverReport.h"

#include <algorithm>
#include <nlohmann/json.hpp>

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

Json asJson(const PropertyFate& property) {
  return {{"from", property.from},     {"to", property.to},         {"fate", nameOf(property.fate)},
          {"detail", property.detail}, {"values", property.values}, {"carried", property.carried}};
}

Json asJson(const TypeFate& type) {
  Json properties = Json::array();
  for (const PropertyFate& property : type.properties) properties.push_back(asJson(property));
  return {{"from", type.from},
          {"to", type.to},
          {"fate", nameOf(type.fate)},
          {"detail", type.detail},
          {"elements", type.elements},
          {"carried", type.carried},
          {"properties", std::move(properties)}};
}

Json asJson(const std::vector<Finding>& findings) {
  Json all = Json::array();
  for (const Finding& finding : findings)
    all.push_back({{"subject", finding.subject},
                   {"count", finding.count},
                   {"unit", finding.unit},
                   {"what", finding.what},
                   {"asked", finding.asked},
                   {"paths", finding.paths}});
  return all;
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
  Json types = Json::array();
  for (const TypeFate& type : report.types) types.push_back(asJson(type));
  const Json all = {{"kr0", 1},
                    {"elements", report.elements},
                    {"carried", report.carried},
                    {"types", std::move(types)},
                    {"losses", asJson(report.losses)},
                    {"notices", asJson(report.notices)}};
  return all.dump(1, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace kr::zero::evolution
