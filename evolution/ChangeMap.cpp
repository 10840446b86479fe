#include "kr/zero/evolution/ChangeMap.h"

#include <array>
#include <nlohmann/json.hpp>
#include <unordered_set>

#include "CarryOverNames.h"
#include "kr/zero/Error.h"
#include "kr/zero/TextHash.h"
#include "kr/zero/evolution/JsonTree.h"

namespace kr::zero::evolution {

namespace {

using Json = nlohmann::ordered_json;

constexpr int kMapVersion = 1;
constexpr std::size_t kSections = 6;
constexpr std::size_t kDeepestMap = 2;  // the map, and a section in it

[[noreturn]] void refuseMap(const std::string& name, const std::string& problem,
                            ErrorCode code = ErrorCode::doesNotFit) {
  throw Error(code, {.file = name, .problem = problem});
}

/// Makes room for all sections: an object that keeps the order of its keys copies them where it grows, which
/// JsonTree cannot have.
void reserveSections(Json& map) { map.get_ref<Json::object_t&>().reserve(kSections); }

/// Looks at the map while it is parsed: what is nested too deeply is never built, and of two equal keys none
/// is lost without a word.
class Watch {
 public:
  Watch(const std::string& name, Json& map) : name_(name), map_(map) {}

  bool operator()(int depth, Json::parse_event_t event, Json& parsed) {
    using Event = Json::parse_event_t;
    const auto level = static_cast<std::size_t>(depth);
    if (event == Event::key && level == 1) reserveSections(map_);
    if (event == Event::object_start || event == Event::array_start) {
      if (level >= kDeepestMap) refuseMap(name_, "values are nested too deeply for a change map");
      keys_[level].clear();
    } else if (event == Event::key && level >= 1 && level <= kDeepestMap) {
      const std::string& key = parsed.get_ref<const std::string&>();
      if (!keys_[level - 1].insert(key).second)
        refuseMap(name_, "the key " + inQuotes(key) + " is there twice");
    }
    return true;
  }

 private:
  const std::string& name_;
  Json& map_;
  std::array<std::unordered_set<std::string, TextHash, std::equal_to<>>, kDeepestMap> keys_;
};

class MapReader {
 public:
  explicit MapReader(const std::string& name) : name_(name) {}

  ChangeMap read(std::string_view text) {
    JsonTree<Json> tree;
    parse(text, tree.get());
    const Json& json = tree.get();
    if (!json.is_object()) refuseMap(name_, "a change map is a JSON object");
    for (const auto& [key, value] : json.items()) readSection(key, value);
    if (!hasVersion_) refuseMap(name_, "a change map says \"kr0\": 1");
    return std::move(map_);
  }

 private:
  void parse(std::string_view text, Json& into) const {
    try {
      nlohmann::detail::json_sax_dom_callback_parser<Json> builder(into, Watch(name_, into));
      Json::sax_parse(text.begin(), text.end(), &builder);
    } catch (const Json::parse_error& error) {
      throw Error(
          ErrorCode::damaged,
          {.file = name_, .byteOffset = error.byte == 0 ? 0 : error.byte - 1, .problem = "this is no JSON"});
    }
  }

  void readSection(const std::string& key, const Json& value) {
    if (key == "kr0")
      readVersion(value);
    else if (key == "packages")
      readPairs(key, value, map_.packages);
    else if (key == "rename")
      readPairs(key, value, map_.rename);
    else if (key == "literals")
      readPairs(key, value, map_.literals);
    else if (key == "default")
      readPairs(key, value, map_.defaults);
    else if (key == "drop")
      readDrop(value);
    else
      refuseMap(name_, "a change map has no section " + inQuotes(key));
  }

  void readVersion(const Json& value) {
    if (value != kMapVersion)
      refuseMap(name_, "\"kr0\" must be 1, the only version of change maps that is known");
    hasVersion_ = true;
  }

  void readPairs(const std::string& section, const Json& value, std::map<std::string, std::string>& pairs) {
    if (!value.is_object()) refuseMap(name_, inQuotes(section) + " must be an object of names");
    for (const auto& [from, to] : value.items()) {
      if (!to.is_string())
        refuseMap(name_, inQuotes(section) + ": the value of " + inQuotes(from) + " must be a text");
      pairs[from] = to.get<std::string>();
    }
  }

  void readDrop(const Json& value) {
    if (!value.is_array()) refuseMap(name_, "\"drop\" must be an array of names");
    for (const Json& entry : value) {
      if (!entry.is_string()) refuseMap(name_, "\"drop\": every entry must be a text");
      if (!map_.drop.insert(entry.get<std::string>()).second)
        refuseMap(name_, "\"drop\": " + inQuotes(entry.get<std::string>()) + " is there twice");
    }
  }

  const std::string& name_;
  bool hasVersion_ = false;
  ChangeMap map_;
};

}  // namespace

ChangeMap parseChangeMap(std::string_view json, const std::string& name) {
  return MapReader(name).read(json);
}

std::string toJson(const ChangeMap& map) {
  JsonTree<Json> tree;
  Json& json = tree.get();
  reserveSections(json);
  json["kr0"] = kMapVersion;
  const auto add = [&](const char* section, const auto& rules) {
    if (!rules.empty()) json[section] = rules;
  };
  add("packages", map.packages);
  add("rename", map.rename);
  add("literals", map.literals);
  add("drop", map.drop);
  add("default", map.defaults);
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace kr::zero::evolution
