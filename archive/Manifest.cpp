#include "Manifest.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "kr/zero/evolution/JsonTree.h"

namespace kr::zero::archive {

namespace {

using Json = nlohmann::json;  // an object's keys are sorted
using evolution::JsonTree;

constexpr const char* kDirect = "krb";
constexpr const char* kTagged = "krt";
constexpr std::uint64_t kVersion = 1;

// Deeper than any manifest is; the library's parser of JSON keeps a bit for each level, and values of what it
// has read are dropped one inside the other.
constexpr int kDeepest = 8;

void parse(std::string_view text, Json& into) {
  const auto refuseDepth = [](int depth, Json::parse_event_t, Json&) {
    if (depth > kDeepest) throw std::runtime_error("its values are nested too deep");
    return true;
  };
  try {
    nlohmann::detail::json_sax_dom_callback_parser<Json> builder(into, refuseDepth);
    Json::sax_parse(text, &builder);
  } catch (const Json::exception&) {
    throw std::runtime_error("it is no JSON");
  }
}

// --- Values that must be there

/// @param key a key of an object.
const Json& get(const Json& object, const char* key) {
  const auto found = object.find(key);  // the end of what is no object
  if (found == object.end()) throw std::runtime_error("it lacks \"" + std::string(key) + "\"");
  return *found;
}

std::uint64_t getNumber(const Json& object, const char* key) {
  const Json& value = get(object, key);
  if (!value.is_number_unsigned())
    throw std::runtime_error("its \"" + std::string(key) + "\" is no natural number");
  return value.get<std::uint64_t>();
}

std::string getText(const Json& object, const char* key) {
  const Json& value = get(object, key);
  if (!value.is_string()) throw std::runtime_error("its \"" + std::string(key) + "\" is no text");
  return value.get<std::string>();
}

const Json& getList(const Json& object, const char* key) {
  const Json& value = get(object, key);
  if (!value.is_array()) throw std::runtime_error("its \"" + std::string(key) + "\" is no list");
  return value;
}

// --- What they say

bool isTagged(const std::string& format) {
  if (format != kDirect && format != kTagged)
    throw std::runtime_error("the document is in a format that is not known here");
  return format == kTagged;
}

void requireVersion(std::uint64_t version) {
  if (version != kVersion)
    throw std::runtime_error("the archive has the version " + std::to_string(version) +
                             ", and only 1 is known here");
}

void readDocument(const Json& document, Manifest& manifest) {
  manifest.tagged = isTagged(getText(document, "format"));
  manifest.bytes = getNumber(document, "bytes");
  manifest.hash = getText(document, "xxh3");
}

void readMetaModel(const Json& metaModel, Manifest& manifest) {
  manifest.metaBytes = getNumber(metaModel, "bytes");
  manifest.metaHash = getText(metaModel, "xxh3");
  std::uint64_t left = manifest.metaBytes;
  for (const Json& file : getList(metaModel, "files")) {
    const std::uint64_t bytes = getNumber(file, "bytes");
    if (bytes > left) throw std::runtime_error("its files are longer than the meta model");
    left -= bytes;
    manifest.files.emplace_back(getText(file, "name"), bytes);
  }
  if (left != 0) throw std::runtime_error("its files are shorter than the meta model");
}

}  // namespace

std::string toJson(const Manifest& manifest) {
  JsonTree<Json> tree;
  Json& json = tree.get();
  json["kr0"] = manifest.version;
  Json& document = json["document"] = Json::object();
  document["bytes"] = manifest.bytes;
  document["format"] = manifest.tagged ? kTagged : kDirect;
  document["xxh3"] = manifest.hash;
  Json& metaModel = json["metaModel"] = Json::object();
  metaModel["bytes"] = manifest.metaBytes;
  metaModel["xxh3"] = manifest.metaHash;
  Json& files = metaModel["files"] = Json::array();
  for (const auto& [name, bytes] : manifest.files) {
    Json& file = files.emplace_back(Json::object());
    file["bytes"] = bytes;
    file["name"] = name;
  }
  Json& packages = json["packages"] = Json::array();
  for (const ArchivedPackage& from : manifest.packages) {
    Json& package = packages.emplace_back(Json::object());
    package["fingerprint"] = from.fingerprint;
    package["name"] = from.name;
    package["uri"] = from.uri;
  }
  return json.dump();
}

Manifest fromJson(std::string_view text) {
  JsonTree<Json> tree;
  parse(text, tree.get());
  const Json& json = tree.get();
  requireVersion(getNumber(json, "kr0"));
  Manifest manifest;
  readDocument(get(json, "document"), manifest);
  readMetaModel(get(json, "metaModel"), manifest);
  for (const Json& package : getList(json, "packages"))
    manifest.packages.push_back(
        {getText(package, "uri"), getText(package, "name"), getText(package, "fingerprint")});
  return manifest;
}

}  // namespace kr::zero::archive
