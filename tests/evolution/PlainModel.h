/// @file
/// A model as plain data, in which names are texts: what a person would change by hand when a meta model
/// changes.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kr/zero/Model.h"

namespace kr::zero::test {

/// A value: a text form, or the number of another node, or a reference to what is not there.
struct PlainValue {
  std::string text = {};
  std::size_t node = 0;
  std::optional<UnresolvedReference> unresolved = {};
};

enum class PlainKind { primitive, contained, reference };

/// What is set of a property; without values it is explicitly empty.
struct PlainSlot {
  PlainKind kind = PlainKind::primitive;
  std::vector<PlainValue> values;
};

struct PlainNode {
  std::string type;
  std::optional<std::pair<std::string, std::string>> identity;
  bool isDatatype = false;
  bool isGone = false;
  std::map<std::string, PlainSlot> slots;
};

class PlainModel {
 public:
  explicit PlainModel(const Model& model);

  std::vector<PlainNode>& nodes() { return nodes_; }
  // What is gone stays as it is in all of these.

  /// Takes values for which `isGone` says so out of a property of a node; without values left it is unset.
  /// What is contained in them goes too.
  /// @return whether there were any.
  bool removeValues(PlainNode& node, const std::string& property,
                    const std::function<bool(const PlainValue&, std::size_t position)>& isGone);
  /// Takes a property's values, or its being empty, out of a node.
  bool removeSlot(PlainNode& node, const std::string& property);
  /// Takes nodes for which `isGone` says so out, with all that is in them and all references to them.
  bool removeNodes(const std::function<bool(const PlainNode&)>& isGone);
  /// The model by a meta model that has all of its names.
  Model build(const meta::MetaRegistry& registry) const;

 private:
  std::size_t add(ConstElement element);
  void readSlot(ConstElement element, meta::Property property, PlainSlot& slot);
  void markGone(std::size_t node);
  void sweep();
  void buildTree(const meta::MetaRegistry& registry, std::size_t root, Model& model,
                 std::vector<Element>& made) const;
  void fill(std::size_t node, std::vector<Element>& made) const;

  std::vector<PlainNode> nodes_;
  std::vector<std::size_t> roots_;
  std::map<std::uint32_t, std::size_t> byIndex_;
};

}  // namespace kr::zero::test
