#include "TreeWalk.h"

namespace kr::zero::tool {

namespace {

// An element whose properties are being visited.
struct Frame {
  Element element;
  std::size_t slot = 0;      // of the property that is next or being visited
  std::size_t position = 0;  // of the child that is next
};

class Walk {
 public:
  explicit Walk(TreeVisitor& visitor) : visitor_(visitor) {}

  void root(Element element, std::size_t position) {
    open(element, {}, position);
    while (!frames_.empty()) step();
  }

 private:
  void open(Element element, meta::Property property, std::size_t position) {
    visitor_.begin(element, property, position, frames_.size());
    frames_.push_back({element});
  }

  void step() {
    Frame& frame = frames_.back();
    const auto& properties = frame.element.getType()->getAllProperties();
    if (frame.slot == properties.size()) {
      visitor_.end(frame.element);
      frames_.pop_back();
      return;
    }
    const meta::Property property = properties[frame.slot];
    if (!isWritten(property) || !frame.element.isSet(property))
      ++frame.slot;
    else if (isLeaf(property))
      leaf(frame, property);
    else
      nextChild(frame, property);
  }

  static bool isLeaf(meta::Property property) {
    const Category category = categoryOf(property);
    return category == Category::primitive || category == Category::association;
  }

  void leaf(Frame& frame, meta::Property property) {
    visitor_.leaf(frame.element, property, frames_.size());
    ++frame.slot;
  }

  void nextChild(Frame& frame, meta::Property property) {
    const std::size_t position = frame.position;
    if (position == 0) visitor_.beginProperty(property);
    if (position == frame.element.size(property)) {
      visitor_.endProperty(property);
      frame.position = 0;
      ++frame.slot;
      return;
    }
    ++frame.position;
    open(frame.element.getElement(property, position), property, position);
  }

  TreeVisitor& visitor_;
  std::vector<Frame> frames_;
};

}  // namespace

void walk(const Model& model, TreeVisitor& visitor) {
  Walk walk(visitor);
  std::size_t position = 0;
  for (const Element root : model.getRoots()) walk.root(root, position++);
}

ElementNumbers::ElementNumbers(const Model& model) {
  std::uint32_t number = 0;
  for (const Element element : model.elements()) {
    if (element.getIndex() >= numbers_.size()) numbers_.resize(element.getIndex() + std::size_t{1});
    numbers_[element.getIndex()] = ++number;
  }
}

}  // namespace kr::zero::tool
