/// @file
/// What the gate holds: one figure over another, and what it must not exceed. Nowhere else is a limit.
#pragma once

#include <cstddef>
#include <string>

namespace kr::zero::bench {

/// A figure: an operation ("write", "read", "memory") of a system, by the name of its peer.
struct Side {
  const char* system;
  const char* operation;
};

struct Limit {
  Side ours;
  Side theirs;
  double limit;
};

/// "kr0 direct write / cereal write".
inline std::string describe(const Limit& limit) {
  const auto side = [](const Side& of) { return std::string(of.system) + " " + of.operation; };
  return side(limit.ours) + " / " + side(limit.theirs);
}

/// The library of 100,000 elements. A read of ours resolves references, one of theirs does not.
inline constexpr std::size_t kGateElements = 100000;
inline constexpr Limit kLibraryLimits[] = {
    {{"kr0 direct", "write"}, {"Protocol Buffers, heap", "write"}, 0.75},
    {{"kr0 direct", "read"}, {"Protocol Buffers, heap", "read"}, 0.32},
    {{"kr0 direct", "read"}, {"Protocol Buffers, arena", "read"}, 0.65},
    {{"kr0 direct", "read"}, {"MessagePack, objects", "read"}, 0.40},
    {{"kr0 direct", "read"}, {"cereal", "read"}, 0.45},
    {{"kr0 direct", "write"}, {"Protocol Buffers, DynamicMessage", "write"}, 0.10},
    {{"kr0 direct", "read"}, {"Protocol Buffers, DynamicMessage", "read"}, 0.22},
    {{"floor: direct, builds nothing", "read"}, {"kr0 direct", "read"}, 0.45},
    {{"kr0 tagged", "read"}, {"Protocol Buffers, heap", "read"}, 1.0},
    {{"kr0 tagged", "write"}, {"CBOR, nlohmann DOM", "write"}, 0.60},
    {{"kr0 JSON", "write"}, {"JSON, nlohmann DOM", "write"}, 1.0},
    {{"kr0 JSON", "read"}, {"JSON, nlohmann DOM", "read"}, 1.0},
    {{"kr0 direct", "memory"}, {"Protocol Buffers, heap", "memory"}, 0.60},
};

/// The events of writing that library.
inline constexpr Limit kEventLimits[] = {
    {{"kr0 tagged events", "write"}, {"CBOR, nlohmann", "write"}, 1.0},
    {{"kr0 tagged events", "write"}, {"MessagePack, packer and visitor", "write"}, 2.0},
    {{"kr0 tagged events", "read"}, {"CBOR, nlohmann", "read"}, 1.0},
    {{"kr0 tagged events", "read"}, {"MessagePack, packer and visitor", "read"}, 2.0},
};

/// A loop over the items of that library in memory, of which each gets or sets one value. By name: with a
/// property's name in place of generated code.
inline constexpr Limit kAccessLimits[] = {
    {{"kr0 typed", "get number"}, {"Protocol Buffers", "get number"}, 2.0},
    {{"kr0 typed", "get text"}, {"Protocol Buffers", "get text"}, 2.0},
    {{"kr0 typed", "set number"}, {"Protocol Buffers", "set number"}, 2.0},
    {{"kr0 typed", "set text"}, {"Protocol Buffers", "set text"}, 2.0},
    {{"kr0 typed", "get number"}, {"kr0 by name", "get number"}, 0.25},
    {{"kr0 typed", "get text"}, {"kr0 by name", "get text"}, 0.25},
    {{"kr0 typed", "set number"}, {"kr0 by name", "set number"}, 0.25},
    {{"kr0 typed", "set text"}, {"kr0 by name", "set text"}, 0.25},
};

/// Time per element of a large library over that of a small one.
inline constexpr std::size_t kLargeElements = 1000000;
inline constexpr std::size_t kSmallElements = 10000;
inline constexpr const char* kWriteGrowth = "kr0 direct write, 1,000,000 elements / 10,000";
inline constexpr const char* kReadGrowth = "kr0 direct read, 1,000,000 elements / 10,000";
inline constexpr double kWriteGrowthLimit = 1.25;
inline constexpr double kReadGrowthLimit = 1.15;

/// Reading a real model in the direct format over reading it in EMF's binary formats, 1.0 and 1.1. Which
/// limit holds is decided by the size of the XMI document.
inline constexpr const char* kEmfForms[] = {"EMF binary 1.0", "EMF binary 1.1"};
inline constexpr std::size_t kLargeDocument = 1000000;  // bytes
inline constexpr double kLargeEmfLimit = 0.45;
inline constexpr double kSmallEmfLimit = 0.90;

/// Reading an XMI document into a model over parsing it with pugixml.
inline constexpr const char* kXmiModel = "railway-repair-64.xmi";
inline constexpr double kXmiLimit = 8.0;

/// Archives of real models, over gzip -6 of the XMI document and over files of the direct format. Large
/// models only, but for the document inside, whose size does not hang on that of the meta model.
inline constexpr double kArchiveBytesLimit = 1.0;
inline constexpr double kArchiveDocumentMeanLimit = 0.88;
inline constexpr double kArchiveSaveLimit = 0.80;
inline constexpr double kFastArchiveSaveLimit = 0.35;
inline constexpr double kArchiveLoadLimit = 1.50;

}  // namespace kr::zero::bench
