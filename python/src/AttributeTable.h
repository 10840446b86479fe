/// @file
/// Internal: which property an attribute of an element means.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "Binding.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::python {

/// The attributes that elements of a type have. What Element itself has goes before properties of that name,
/// which are had with an underscore behind it, as are those that are words of Python (`element.type_`,
/// `element.from_`); by index every property is had by its very name.
///
/// Python keeps one object for each name that a program spells out, so that names are found by address; other
/// objects are looked up by their text.
class AttributeTable {
 public:
  explicit AttributeTable(meta::StructuredType type) : type_(type) {}
  ~AttributeTable();
  AttributeTable(const AttributeTable&) = delete;
  AttributeTable& operator=(const AttributeTable&) = delete;

  /// No property: the attribute is Element's own, or nobody's.
  static constexpr std::uint32_t kNone = static_cast<std::uint32_t>(-1);
  /// Slot of the property that an attribute means, or kNone.
  /// @param name a str.
  std::uint32_t find(PyObject* name) {
    for (std::size_t at = hash(name);; ++at) {
      const Entry& entry = entries_[at & mask_];
      if (entry.name == name) return entry.slot;
      if (entry.name == nullptr) return learn(name);
    }
  }
  /// Slot of the property of that very name, or kNone.
  std::uint32_t findExact(std::string_view name) const;
  /// The attributes that mean properties.
  py::list names() const;

 private:
  struct Entry {
    PyObject* name = nullptr;
    std::uint32_t slot = kNone;
  };
  static std::size_t hash(PyObject* name) noexcept { return reinterpret_cast<std::uintptr_t>(name) >> 4; }
  std::uint32_t learn(PyObject* name);
  void enter(Entry entry) noexcept;

  meta::StructuredType type_;
  std::vector<Entry> entries_ = std::vector<Entry>(8);  // a power of two, never full
  std::size_t mask_ = 7;
  std::size_t count_ = 0;
};

}  // namespace kr::zero::python
