/// @file
/// Internal: the elements of a model and their values as columns, which is how a report carries them.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "JsonText.h"
#include "ReportSchema.h"
#include "kr/zero/SetValues.h"
#include "kr/zero/TextHash.h"

namespace kr::zero::tool {

/// Texts, each once. Refers to the texts of a model, which must outlive it.
class TextTable {
 public:
  /// The number of a text that lives as long as the table.
  int add(std::string_view text);
  /// The number of one that does not.
  int addCopy(const std::string& text);
  const std::vector<std::string_view>& texts() const { return texts_; }

 private:
  std::vector<std::string_view> texts_;
  std::deque<std::string> copies_;
  std::unordered_map<std::string_view, int, TextHash> numbers_;
};

/// Elements and datatype values that documents carry, in document order: parents before children, properties
/// in the order of the class. Refers to the model, which must outlive it.
class ReportColumns {
 public:
  ReportColumns(const Model& model, const ReportSchema& schema);

  const std::vector<ConstElement>& elements() const { return elements_; }
  /// The number of the element that holds one; -1 for a root.
  int parentOf(std::size_t element) const { return parents_[element]; }
  /// The property that holds one; empty for a root.
  meta::Property viaOf(std::size_t element) const;
  /// The number of an element, or -1 for an empty handle and for one that documents do not carry.
  int numberOf(ConstElement element) const;
  /// Adds all columns as members of an object.
  void write(JsonText& json) const;

 private:
  struct Place {
    ConstElement element;
    int parent;
    meta::Property via;
    int position;
  };

  void number(const Model& model);
  void add(const Place& place);
  void pushChildren(std::size_t element, std::vector<Place>& pending) const;
  void addValues(std::size_t element);
  int entryOf(const SetValues& set, std::size_t at, std::size_t position);
  int referenceOf(ConstElement element, meta::Property property, std::size_t position);

  const ReportSchema& schema_;
  TextTable texts_;
  std::vector<ConstElement> elements_;
  std::vector<int> numbers_;  // by index of the element
  // A column for each thing that is said of elements.
  std::vector<int> classes_, parents_, vias_, positions_, valueCounts_, identities_;
  // Of values: which property, where its entries end, and whether they are written as an array.
  std::vector<int> properties_;
  std::vector<std::size_t> ends_;
  std::vector<bool> areLists_;
  std::vector<int> entries_;
};

}  // namespace kr::zero::tool
