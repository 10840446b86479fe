/// @file
/// Trees in MessagePack.
#pragma once

#include <msgpack.hpp>
#include <stdexcept>
#include <string_view>

#include "TreeEvents.h"

namespace kr::zero::bench {

/// Packs a leaf.
template <class Packer>
void packValue(const modeling::sylvan::SylvanPrimitive& value, Packer& packer) {
  struct Visit {
    Packer& packer;
    void operator()(std::nullptr_t) const { packer.pack_nil(); }
    void operator()(bool content) const { content ? packer.pack_true() : packer.pack_false(); }
    void operator()(const std::string& content) const {
      packer.pack_str(static_cast<std::uint32_t>(content.size()));
      packer.pack_str_body(content.data(), static_cast<std::uint32_t>(content.size()));
    }
    void operator()(double content) const { packer.pack_double(content); }
    void operator()(std::uint64_t content) const { packer.pack_uint64(content); }
    void operator()(std::int64_t content) const { packer.pack_int64(content); }
  };
  std::visit(Visit{packer}, value);
}

template <class Packer>
void packTree(const TreeEvents& events, Packer& packer) {
  using modeling::sylvan::SylvanEventCode;
  for (const TreeEvent& event : events) {
    switch (event.code) {
      case SylvanEventCode::startStruct:
      case SylvanEventCode::startMetadata:
        packer.pack_map(event.items);
        break;
      case SylvanEventCode::startDocument:
      case SylvanEventCode::startSequence:
        packer.pack_array(event.items);
        break;
      case SylvanEventCode::startNamedEntry:
        packValue(event.value, packer);
        if (event.items != 1) packer.pack_array(event.items);
        break;
      case SylvanEventCode::writePrimitive:
        packValue(event.value, packer);
        break;
      default:
        break;
    }
  }
}

/// Does nothing with what it visits, except that it counts.
struct CountingVisitor : msgpack::null_visitor {
  std::size_t calls = 0;
  bool visit_nil() { return ++calls, true; }
  bool visit_boolean(bool) { return ++calls, true; }
  bool visit_positive_integer(std::uint64_t) { return ++calls, true; }
  bool visit_negative_integer(std::int64_t) { return ++calls, true; }
  bool visit_float64(double) { return ++calls, true; }
  bool visit_str(const char*, std::uint32_t) { return ++calls, true; }
  bool start_array(std::uint32_t) { return ++calls, true; }
  bool start_map(std::uint32_t) { return ++calls, true; }
  void parse_error(std::size_t, std::size_t) { throw std::runtime_error("not MessagePack"); }
  void insufficient_bytes(std::size_t, std::size_t) { throw std::runtime_error("MessagePack cut short"); }
};

}  // namespace kr::zero::bench
