#include "Manifest.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

namespace kr::zero::archive {

namespace {

using Json = nlohmann::json;  // an object's keys are sorted

constexpr const char* kDirect = "krb";
constexpr const char* kTagged = "krt";

bool isTagged(const std::string& format) {
  if (format != kDirect && format != kTagged)
    throw std::runtime_error("the document is in the unknown format \"" + format + "\"");
  return format == kTagged;
}

// Deeper than any manifest is; the library's parser of JSON keeps a bit for each level, and values of what it
// has read are dropped one inside the other.
constexpr int kDeepest = 8;

Json parse(std::string_view text) {
  const auto refuseDepth = [](int depth, Json::parse_event_t, Json&) {
    if (depth > kDeepest) throw std::runtime_error("its values are nested too deep");
    return true;
  };
  return Json::parse(text, refuseDepth);
}

}  // namespace

std::string toJson(const Manifest& manifest) {
  Json packages = Json::array();
  for (const ArchivedPackage& package : manifest.packages)
    packages.push_back({{"fingerprint", package.fingerprint}, {"name", package.name}, {"uri", package.uri}});
  Json files = Json::array();
  for (const auto& [name, bytes] : manifest.files) files.push_back({{"bytes", bytes}, {"name", name}});
  const Json document{
      {"bytes", manifest.bytes}, {"format", manifest.tagged ? kTagged : kDirect}, {"xxh3", manifest.hash}};
  const Json metaModel{{"bytes", manifest.metaBytes}, {"files", files}, {"xxh3", manifest.metaHash}};
  return Json{
      {"document", document}, {"kr0", manifest.version}, {"metaModel", metaModel}, {"packages", packages}}
      .dump();
}

Manifest fromJson(std::string_view text) {
  const Json json = parse(text);
  Manifest manifest;
  manifest.version = json.at("kr0").get<int>();
  if (manifest.version != 1)
    throw std::runtime_error("the archive has the version " + std::to_string(manifest.version) +
                             ", and only 1 is known here");
  const Json& document = json.at("document");
  manifest.tagged = isTagged(document.at("format").get<std::string>());
  manifest.bytes = document.at("bytes").get<std::uint64_t>();
  manifest.hash = document.at("xxh3").get<std::string>();
  const Json& metaModel = json.at("metaModel");
  manifest.metaBytes = metaModel.at("bytes").get<std::uint64_t>();
  manifest.metaHash = metaModel.at("xxh3").get<std::string>();
  for (const Json& file : metaModel.at("files"))
    manifest.files.emplace_back(file.at("name").get<std::string>(), file.at("bytes").get<std::uint64_t>());
  for (const Json& package : json.at("packages"))
    manifest.packages.push_back({package.at("uri").get<std::string>(), package.at("name").get<std::string>(),
                                 package.at("fingerprint").get<std::string>()});
  return manifest;
}

}  // namespace kr::zero::archive
