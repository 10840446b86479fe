#include <cstdint>
#include <unordered_map>

#include "StableNames.h"
#include "Tree.h"
#include "kr/zero/io/ModelTraverser.h"

namespace kr::zero::tool {

namespace {

using io::PropertyCategory;

constexpr PropertyCategory kEvery(~0U);
constexpr PropertyCategory kChildren(PropertyCategory::DatatypeAny().getMask() |
                                     PropertyCategory::CompositionAny().getMask());

ValueForm formOf(meta::Type type) {
  const meta::PrimitiveType primitive(type);
  if (!primitive) return ValueForm::word;  // an enumeration
  switch (primitive->getStandardType()) {
    case meta::StandardType::uuid:
    case meta::StandardType::dateTime:
      return ValueForm::word;
    case meta::StandardType::none:
    case meta::StandardType::string:
    case meta::StandardType::stdString:
    case meta::StandardType::jsonValue:
    case meta::StandardType::stringToStringMap:
    case meta::StandardType::zoArray:
      return ValueForm::text;
    default:
      return ValueForm::number;
  }
}

// The numbers of all elements, by their index.
std::vector<std::size_t> numberElements(const Model& model) {
  std::vector<std::size_t> numbers;
  std::size_t last = 0;
  for (const ConstElement element : model.elements()) {
    if (element.getIndex() >= numbers.size()) numbers.resize(element.getIndex() + std::size_t{1});
    numbers[element.getIndex()] = ++last;
  }
  return numbers;
}

class ModelWalk {
 public:
  ModelWalk(const Model& model, TreeVisitor& visitor, Naming naming)
      : visitor_(visitor), numbers_(numberElements(model)) {
    if (naming == Naming::stable) names_.emplace(model);
  }

  void root(ConstElement element) {
    open(element);
    while (!frames_.empty()) step();
  }

 private:
  // A property that documents hold values of.
  struct Written {
    meta::Property property;
    PropertyCategory category;
  };
  using Properties = std::vector<Written>;

  // An element whose properties are being visited.
  struct Frame {
    ConstElement element;
    const Properties& properties;
    std::size_t next = 0;      // of the properties, or the one being visited
    std::size_t position = 0;  // of the child that is next
  };

  const Properties& propertiesOf(meta::StructuredType type) {
    const auto [place, isNew] = properties_.try_emplace(type.get());
    if (isNew)
      for (const meta::Property property : traverser_.getProperties(type, kEvery))
        place->second.push_back({property, traverser_.getPropertyCategory(property)});
    return place->second;
  }

  void open(ConstElement element) {
    const std::size_t number = element.getClass() ? numbers_.at(element.getIndex()) : 0;
    TreeNode node{element.getType()->qualifiedName(), number, element.getIdentity(), std::nullopt};
    if (names_ && number != 0) node.name = names_->amongSiblings(element);
    visitor_.beginElement(node);
    frames_.push_back({element, propertiesOf(element.getType())});
  }

  void step() {
    Frame& frame = frames_.back();
    if (frame.next == frame.properties.size()) {
      visitor_.endElement();
      frames_.pop_back();
      return;
    }
    const Written& written = frame.properties[frame.next];
    if (!frame.element.isSet(written.property))
      ++frame.next;
    else if (written.category.isA(kChildren))
      nextChild(frame, written.property);
    else
      values(frame, written);
  }

  void begin(meta::Property property) {
    visitor_.beginProperty(property->name());
    if (property->isMany()) visitor_.beginList();
  }

  void end(Frame& frame, meta::Property property) {
    if (property->isMany()) visitor_.endList();
    visitor_.endProperty();
    ++frame.next;
  }

  void nextChild(Frame& frame, meta::Property property) {
    if (frame.position == 0) begin(property);
    if (frame.position == frame.element.size(property)) {
      frame.position = 0;
      return end(frame, property);
    }
    open(frame.element.getElement(property, frame.position++));
  }

  void values(Frame& frame, const Written& written) {
    const ConstElement element = frame.element;
    const meta::Property property = written.property;
    const bool areReferences = written.category.isA(PropertyCategory::AssociationAny());
    const std::size_t count = element.size(property);
    begin(property);
    if (count == 0 && !property->isMany()) visitor_.emptyValue();
    for (std::size_t i = 0; i < count; ++i) {
      if (areReferences)
        reference(element, property, i);
      else
        visitor_.value(element.getTextForm(property, i), formOf(property->getType()));
    }
    end(frame, property);
  }

  void reference(ConstElement element, meta::Property property, std::size_t position) {
    if (const auto missing = element.getUnresolved(property, position)) {
      visitor_.reference({missing->targetType, 0, Identity{missing->id1, missing->id2}, missing->qualifier});
    } else {
      const ConstElement target = element.getReference(property, position);
      TreeNode node{{}, numbers_.at(target.getIndex()), std::nullopt, std::nullopt};
      if (names_) node.name = names_->pathOf(target);
      visitor_.reference(node);
    }
  }

  TreeVisitor& visitor_;
  io::ModelTraverser traverser_;
  std::vector<std::size_t> numbers_;
  std::optional<StableNames> names_;
  std::unordered_map<const meta::Type::Impl*, Properties> properties_;
  std::vector<Frame> frames_;
};

}  // namespace

void visitModel(const Model& model, TreeVisitor& visitor, Naming naming) {
  ModelWalk walk(model, visitor, naming);
  for (const ConstElement root : model.getRoots()) walk.root(root);
}

}  // namespace kr::zero::tool
