#include "kr/zero/ElementPath.h"

#include <charconv>
#include <optional>
#include <unordered_set>
#include <utility>

#include "model/Path.h"
#include "model/Target.h"

namespace kr::zero {

namespace {

using internal::ElementRecord;
using internal::ModelStore;

/// The path to a record, by what is known of positions.
template <class Position>
std::string joinPath(const ModelStore& store, const ElementRecord* record, Position position) {
  std::vector<const ElementRecord*> chain;
  for (; record != nullptr; record = record->container) chain.push_back(record);
  std::string path;
  for (auto it = chain.rbegin(); it != chain.rend(); ++it)
    path.append("/").append(segmentOf(store, *it, position(*it)));
  return path;
}

/// Reads a path from its beginning to its end. What does not fit leads nowhere.
class PathReader {
 public:
  PathReader(const Model& model, std::string_view path) : model_(model), rest_(path) {}

  ConstElement find() {
    ConstElement element = rest_.starts_with('/') ? root() : byIdentity();
    while (element && !rest_.empty()) element = step(element);
    return element;
  }

 private:
  static constexpr std::size_t kFirst = 0;
  bool take(std::string_view text) {
    if (!rest_.starts_with(text)) return false;
    rest_.remove_prefix(text.size());
    return true;
  }

  std::optional<std::size_t> number() {
    std::size_t value = 0;
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value);
    if (error != std::errc()) return std::nullopt;
    rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
    return value;
  }

  /// "[12]"; nothing where there is none.
  std::optional<std::size_t> position() {
    const std::string_view before = rest_;
    if (take("["))
      if (const auto value = number(); value && take("]")) return value;
    rest_ = before;
    return std::nullopt;
  }

  std::optional<std::string> quoted() {
    if (!take("\"")) return std::nullopt;
    std::string text;
    for (std::size_t at = 0; at < rest_.size(); ++at) {
      if (rest_[at] == '"') {
        rest_.remove_prefix(at + 1);
        return text;
      }
      if (rest_[at] == '\\' && ++at == rest_.size()) break;
      text.push_back(rest_[at]);
    }
    return std::nullopt;
  }

  bool isAtEndOfStep() const { return rest_.empty() || rest_[0] == '/'; }

  ConstElement byIdentity() {
    if (!take("id ")) return {};
    const auto first = quoted();
    if (!first || !take(" ")) return {};
    const auto second = quoted();
    return second && isAtEndOfStep() ? model_.findByIdentity(*first, *second) : ConstElement();
  }

  /// The names of classes differ, so what comes behind a name says whether it was meant.
  ConstElement root() {
    const std::string_view text = rest_.substr(1);
    const auto roots = model_.roots();
    std::unordered_set<const void*> tried;
    for (std::size_t i = 0; i < roots.size(); ++i) {
      rest_ = text;
      const meta::StructuredType type = roots[i].getType();
      if (!tried.insert(type.get()).second || !take(internal::rootName(type))) continue;
      if (const ConstElement found = rootNamed(internal::rootName(type))) return found;
    }
    return {};
  }
  ConstElement rootNamed(const std::string& name) {
    const auto roots = model_.roots();
    const auto asked = value();
    const auto position = this->position();
    if (!isAtEndOfStep()) return {};
    const auto isMeant = [&](ConstElement root) { return internal::rootName(root.getType()) == name; };
    if (!asked && position)
      return *position < roots.size() && isMeant(roots[*position]) ? roots[*position] : ConstElement();
    std::size_t skipped = position.value_or(kFirst);
    for (const ConstElement root : roots)
      if (isMeant(root) && (!asked || has(root, *asked)) && skipped-- == 0) return root;
    return {};
  }

  struct AskedValue {
    std::string_view property;
    std::string text;
  };
  /// "[title="Moby Dick"]"
  std::optional<AskedValue> value() {
    const std::string_view before = rest_;
    if (const std::size_t equals = rest_.find("=\""); take("[") && equals != std::string_view::npos) {
      AskedValue asked{before.substr(1, equals - 1), {}};
      rest_ = before.substr(equals + 1);
      if (auto text = quoted(); text && take("]")) {
        asked.text = std::move(*text);
        return asked;
      }
    }
    rest_ = before;
    return std::nullopt;
  }
  static bool has(ConstElement element, const AskedValue& asked) {
    const meta::Property property = element.getType()->findProperty(asked.property);
    return property && meta::isPrimitive(property->getKind()) && !property->isMany() &&
           element.getState(property) == PropertyState::value && element.getTextForm(property) == asked.text;
  }

  ConstElement step(ConstElement from) {
    if (!take("/")) return {};
    const meta::Property property = takeProperty(from.getType());
    if (!property) return {};
    if (const auto asked = value()) return stepByValue(from, property, *asked);
    const auto asked = position();
    if (!isAtEndOfStep()) return {};
    const std::size_t size = from.size(property);
    const std::size_t position = asked.value_or(kFirst);
    return position < size && (asked || size == 1) ? from.getElement(property, position) : ConstElement();
  }
  ConstElement stepByValue(ConstElement from, meta::Property property, const AskedValue& asked) {
    std::size_t skipped = position().value_or(kFirst);
    if (!isAtEndOfStep()) return {};
    for (std::size_t i = 0, size = from.size(property); i < size; ++i)
      if (const ConstElement child = from.getElement(property, i); has(child, asked) && skipped-- == 0)
        return child;
    return {};
  }
  /// The property that contains things and whose name comes next; the longest, as names may hold anything.
  meta::Property takeProperty(meta::StructuredType type) {
    meta::Property found;
    for (const meta::Property property : type->getAllProperties()) {
      const std::string& name = property->name();
      if (property->getKind() != meta::PropertyKind::composition &&
          property->getKind() != meta::PropertyKind::datatype)
        continue;
      if (!rest_.starts_with(name) || (found && found->name().size() >= name.size())) continue;
      if (rest_.size() == name.size() || rest_[name.size()] == '/' || rest_[name.size()] == '[')
        found = property;
    }
    if (found) rest_.remove_prefix(found->name().size());
    return found;
  }

  const Model& model_;
  std::string_view rest_;
};

}  // namespace

std::string fullPathOf(ConstElement element) {
  const ElementRecord* record = internal::there(ModelStore::recordOf(element));
  const ModelStore& store = *ModelStore::storeOf(element);
  return joinPath(store, record, [&](const ElementRecord* each) { return positionOf(store, each); });
}

ConstElement findElement(const Model& model, std::string_view path) { return PathReader(model, path).find(); }

Element findElement(Model& model, std::string_view path) {
  const ConstElement found = PathReader(model, path).find();
  return found ? ModelStore::of(model).handle(ModelStore::recordOf(found)) : Element();
}

ElementPaths::ElementPaths(const Model& model)
    : model_(&model), positions_(internal::positionsIn(ModelStore::of(model))) {}

std::string ElementPaths::of(ConstElement element) const {
  return joinPath(ModelStore::of(*model_), internal::there(ModelStore::recordOf(element)),
                  [&](const ElementRecord* each) { return positions_.at(each->index); });
}

std::size_t ElementPaths::positionOf(ConstElement element) const { return positions_.at(element.getIndex()); }

std::string quotedInPath(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') quoted.push_back('\\');
    quoted.push_back(c);
  }
  return quoted + '"';
}

}  // namespace kr::zero
