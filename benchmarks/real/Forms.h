/// @file
/// The forms that we write a real model in, each from and to memory.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "RealModels.h"
#include "kr/zero/Model.h"
#include "kr/zero/ecore/Ecore.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::bench {

using Bytes = std::vector<std::uint8_t>;

/// A model with its meta model, read from XMI.
struct LoadedModel {
  explicit LoadedModel(const RealModel& real);

  std::string document;  ///< the XMI as it was found
  meta::MetaRegistry registry;
  std::shared_ptr<const ecore::Mapping> mapping;
  Model model;
};

void writeDirect(const Model& model, Bytes& bytes);
/// @throws std::runtime_error where the document is refused, here and below.
Model readDirect(const Bytes& bytes, const meta::MetaRegistry& registry);

void writeTagged(const Model& model, std::string& bytes);
Model readTagged(const std::string& bytes, const meta::MetaRegistry& registry);

/// Parses XML into a document in memory, without any model; gives the number of nodes at the top.
std::size_t parseDom(const std::string& document);

}  // namespace kr::zero::bench
