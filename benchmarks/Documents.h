/// @file
/// One content in all its forms: in memory and as bytes, ours and theirs.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "MessageContent.h"
#include "ModelContent.h"

namespace kr::zero::bench {

struct Documents {
  /// @throws std::runtime_error where any form, in memory or read back from its bytes, holds another
  ///   content than the one that was made: figures for different contents compare nothing.
  Documents(std::size_t size, std::uint64_t seed);

  std::size_t size;
  std::uint64_t contentHash;
  meta::MetaRegistry registry;
  Model model;
  messages::Catalog catalog;
  std::vector<std::uint8_t> direct;  ///< the model in the direct format
  std::string protobuf;              ///< the catalog in the Protocol Buffers format
};

/// Reads a model whose references are resolved.
Model readModel(const std::vector<std::uint8_t>& bytes, const meta::MetaRegistry& registry);

/// Bytes that each form of the content holds once it has been read.
struct HeldBytes {
  std::size_t model = 0;
  std::size_t messages = 0;
  std::size_t messagesAndTargets = 0;
};
HeldBytes measureHeldBytes(const Documents& documents);

}  // namespace kr::zero::bench
