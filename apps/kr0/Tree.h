/// @file
/// Internal: what a document holds as a tree, told in document order. The one walk for everything that prints
/// or counts, over models and over tagged documents whose meta model is not at hand.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Documents.h"
#include "kr/zero/Model.h"
#include "modeling/sylvan/SylvanEventProcessor.h"

namespace kr::zero::tool {

/// An element, a datatype value, or the target of a reference. Views are valid during the visit.
struct TreeNode {
  std::string_view type;  ///< qualified name; empty for a datatype value that does not tell its type
  std::size_t number =
      0;  ///< of an element, in document order from 1; 0: a datatype value, an unknown target
  std::optional<Identity> identity;
  std::optional<std::string_view> document;  ///< where a target is, if not in the same document
  /// Stands for the number where names are to be stable: of an element what tells it from its siblings, of a
  /// target its path.
  std::string name = {};
};

/// What the text of a value could be taken for.
enum class ValueForm {
  number,  ///< a number or a truth value
  word,    ///< nothing but what it is: a literal's name, a UUID, a time
  text     ///< anything
};

/// Hears what a walk meets. Does nothing unless overridden.
class TreeVisitor {
 public:
  virtual ~TreeVisitor() = default;
  /// The packages that a tagged document lists.
  virtual void packages(const std::vector<std::string>& /*uris*/) {}
  /// An element or datatype value, at the top or in a property.
  virtual void beginElement(const TreeNode& /*node*/) {}
  virtual void endElement() {}
  /// A property that is set; what it holds follows, many values between beginList and endList.
  virtual void beginProperty(std::string_view /*name*/) {}
  virtual void endProperty() {}
  virtual void beginList() {}
  virtual void endList() {}
  virtual void value(std::string_view /*text*/, ValueForm) {}
  /// In place of a value: explicitly none.
  virtual void emptyValue() {}
  virtual void reference(const TreeNode& /*target*/) {}
};

/// How elements are called.
enum class Naming {
  numbers,  ///< by their numbers
  stable    ///< by names that stay when another element comes or goes; see StableNames
};

/// Walks a whole model on a stack of its own, however deep it is.
void visitModel(const Model& model, TreeVisitor& visitor, Naming naming = Naming::numbers);

/// Reads a tagged document to see that it is whole: its bytes, its texts and its shape.
/// @param visitor hears of everything up to the first fault; ends may then not balance.
/// @throws Error where it is not whole.
void checkTagged(const Document& document, TreeVisitor& visitor);

/// Walks a tagged document that checkTagged has found to be whole. A struct that has the entries of a
/// reference, and no others, is taken for one.
void visitTagged(const Document& document, TreeVisitor& visitor);

/// Sends the tree events of a tagged document, be it that of a model or not.
/// @throws Error where it is damaged; what precedes the damage was sent then.
void sendTagged(const Document& document, modeling::sylvan::SylvanEventProcessor<void>& target);

}  // namespace kr::zero::tool
