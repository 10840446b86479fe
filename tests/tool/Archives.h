/// @file
/// Archives of the example model, whole and forged.
#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>

namespace kr::zero::test {

/// The example model as an archive, made by the tool at first use.
std::string libraryKrz();
/// Its bytes.
std::string libraryArchive();

/// Where a part of an archive begins, and what it takes: without the heads of the skippable frames.
struct PartPlace {
  std::size_t offset = 0;
  std::size_t size = 0;
};
PartPlace manifestOf(const std::string& archive);
PartPlace metaModelOf(const std::string& archive);
PartPlace documentOf(const std::string& archive);

/// The archive with another last byte of a part: a byte of its checksum or, of a manifest, of its text.
std::string damaged(std::string archive, PartPlace part);

/// The archive with a manifest that says something else and is whole.
std::string withManifest(const std::string& archive, const std::function<void(nlohmann::json&)>& change);

}  // namespace kr::zero::test
