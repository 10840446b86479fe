#include "Fragments.h"

#include <algorithm>
#include <utility>

#include "Namespaces.h"

namespace kr::zero::ecore {

namespace {

std::optional<std::size_t> numberOf(std::string_view digits) {
  constexpr std::size_t kTooMany = std::size_t{1} << 32;  // there are fewer elements
  if (digits.empty()) return std::nullopt;
  std::size_t number = 0;
  for (const char c : digits) {
    if (c < '0' || c > '9' || number >= kTooMany) return std::nullopt;
    number = 10 * number + static_cast<std::size_t>(c - '0');
  }
  return number;
}

/// "name.3" as "name" and 3; without a number as the whole text and nothing.
struct Counted {
  std::string_view text;
  std::optional<std::size_t> count;
};

Counted splitCount(std::string_view text) {
  const std::size_t dot = text.rfind('.');
  if (dot == std::string_view::npos) return {text, std::nullopt};
  const auto count = numberOf(text.substr(dot + 1));
  return count ? Counted{text.substr(0, dot), count} : Counted{text, std::nullopt};
}

/// Appends a text so that different lists of texts give different sums.
void appendPart(std::string& sum, std::string_view text) {
  sum.append(".").append(std::to_string(text.size())).append(".").append(text);
}

template <class Map>
Element pick(const Map& elements, std::string_view text, std::size_t count) {
  const auto it = elements.find(text);
  return it != elements.end() && count < it->second.size() ? it->second[count] : Element();
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

}  // namespace

std::string percentDecoded(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool encoded =
        text[i] == '%' && text.size() - i > 2 && hexDigit(text[i + 1]) >= 0 && hexDigit(text[i + 2]) >= 0;
    if (encoded) {
      decoded.push_back(static_cast<char>(hexDigit(text[i + 1]) * 16 + hexDigit(text[i + 2])));
      i += 2;
    } else {
      decoded.push_back(text[i]);
    }
  }
  return decoded;
}

bool Fragments::addXmiId(std::string_view id, Element element) {
  return xmiIds_.emplace(std::string(id), Id{element}).second;
}

Element Fragments::addDuplicateXmiId(std::string_view id, Element element) {
  Id& known = xmiIds_.find(id)->second;
  std::vector<Element>& all = duplicates_[std::string(id)];
  if (all.empty()) all.push_back(known.element);
  all.push_back(element);
  return std::exchange(known.element, element);
}

void Fragments::addAttributeId(std::string_view id, Element element) {
  const auto [it, isNew] = attributeIds_.emplace(std::string(id), Id{element});
  if (!isNew) it->second.isAmbiguous = true;
}

Fragments::Result Fragments::find(std::string_view fragment, ConstElement source) {
  if (!fragment.empty() && fragment[0] == '/')
    return findPath(findRoot(fragment.substr(1, fragment.find('/', 1) - 1)), fragment);
  const Element byId = findXmiId(fragment, source);
  const auto byAttribute = attributeIds_.find(fragment);
  if (byAttribute == attributeIds_.end()) return byId ? Result{Outcome::found, byId} : Result{};
  const Element shared = byAttribute->second.element;
  const bool sameByBoth = !byId || byId == shared;
  if (byAttribute->second.isAmbiguous || !sameByBoth) return {Outcome::ambiguous, byId ? byId : shared};
  return {Outcome::found, shared};
}

Element Fragments::findXmiId(std::string_view id, ConstElement source) const {
  const auto found = xmiIds_.find(id);
  if (found == xmiIds_.end()) return {};
  if (source && !duplicates_.empty())
    if (const auto all = duplicates_.find(id); all != duplicates_.end()) {
      const auto after = std::upper_bound(
          all->second.begin(), all->second.end(), source.getIndex(),
          [](std::uint32_t index, const Element& element) { return index < element.getIndex(); });
      if (after != all->second.begin()) return *(after - 1);
    }
  return found->second.element;
}

std::uint64_t Fragments::listOf(ConstElement container, meta::Property property) {
  return (std::uint64_t{container.getIndex()} << 32) | property->getIndex();
}

std::size_t Fragments::leaveOut(ConstElement container, meta::Property property) {
  std::vector<std::size_t>& gaps = gaps_[listOf(container, property)];
  gaps.push_back(container.size(property) + gaps.size());
  return gaps.back();
}

std::size_t Fragments::placeOf(ConstElement container, meta::Property property, std::size_t position) const {
  const auto list = gaps_.find(listOf(container, property));
  if (list == gaps_.end()) return position;
  const std::vector<std::size_t>& gaps = list->second;
  return position -
         static_cast<std::size_t>(std::lower_bound(gaps.begin(), gaps.end(), position) - gaps.begin());
}

void Fragments::fill(ConstElement container, meta::Property property, std::size_t position) {
  std::vector<std::size_t>& gaps = gaps_[listOf(container, property)];
  gaps.erase(std::lower_bound(gaps.begin(), gaps.end(), position));
}

/// A child by its position in the document.
Element Fragments::childAt(Element container, meta::Property property, std::size_t position) const {
  if (!gaps_.empty())
    if (const auto list = gaps_.find(listOf(container, property)); list != gaps_.end()) {
      if (std::binary_search(list->second.begin(), list->second.end(), position)) return {};
      position = placeOf(container, property, position);
    }
  return position < container.size(property) ? container.getElement(property, position) : Element();
}

Fragments::Result Fragments::findFrom(Element root, std::string_view fragment) {
  if (!fragment.empty() && fragment[0] == '/') return findPath(root, fragment);
  return find(fragment);
}

Fragments::Result Fragments::findPath(Element start, std::string_view path) {
  const Counted counted = splitCount(path);
  if (counted.count && gaps_.empty())
    if (const Element found = findAmongSiblings(start, counted.text, *counted.count))
      return {Outcome::found, found};
  hasTooManyKeys_ = false;
  const Element found = walk(start, path);
  if (!found) return {hasTooManyKeys_ ? Outcome::tooManyKeys : Outcome::missing, {}};
  if (counted.count && path[path.rfind('/') + 1] == '@') rememberSiblings(start, counted.text, found);
  return {Outcome::found, found};
}

Element Fragments::findAmongSiblings(Element start, std::string_view path, std::size_t position) const {
  for (const Siblings& siblings : siblings_)
    if (position < siblings.size && path == siblings.path && start == siblings.start)
      return siblings.container.getElement(siblings.property, position);
  return {};
}

void Fragments::rememberSiblings(Element start, std::string_view path, Element found) {
  Siblings& siblings = siblings_[oldest_];
  oldest_ = (oldest_ + 1) % kKept;
  siblings.start = start;
  siblings.path = path;
  siblings.container = found.getContainer();
  siblings.property = found.getContainingProperty();
  siblings.size = siblings.container.size(siblings.property);
}

Element Fragments::walk(Element element, std::string_view path) {
  std::size_t slash = path.find('/', 1);
  while (element && slash != std::string_view::npos) {
    path.remove_prefix(slash + 1);
    slash = path.find('/');
    element = step(element, path.substr(0, slash));
  }
  return element;
}

Element Fragments::findRoot(std::string_view number) {
  const auto index = number.empty() ? std::size_t{0} : numberOf(number);
  return index && *index < roots_.size() ? roots_[*index] : Element();
}

Element Fragments::step(Element from, std::string_view text) {
  if (text.empty()) return {};
  return text[0] == '@' ? stepByFeature(from, text.substr(1)) : stepByName(from, text);
}

Element Fragments::stepByFeature(Element from, std::string_view text) {
  ClassTable& table = tables_.of(from.getType());
  const std::size_t bracket = text.ends_with(']') ? text.find('[') : std::string_view::npos;
  const bool hasKeys = bracket != std::string_view::npos;
  const Counted counted = hasKeys ? Counted{text.substr(0, bracket), std::nullopt} : splitCount(text);
  const Feature* feature = table.findByName(counted.text);
  if (feature == nullptr) feature = table.findByElement(counted.text);
  if (feature == nullptr || !feature->isChild()) return {};
  if (hasKeys) return stepByKeys(from, *feature, text.substr(bracket + 1, text.size() - bracket - 2));
  return childAt(from, feature->property, counted.count.value_or(0));
}

Element Fragments::stepByKeys(Element from, const Feature& feature, std::string_view keys) {
  std::vector<std::string_view> names;
  std::string values;
  while (!keys.empty()) {
    const std::size_t equals = keys.find('=');
    if (equals == std::string_view::npos || keys.size() - equals < 3) return {};
    const char quote = keys[equals + 1];
    const std::size_t close = keys.find(quote, equals + 2);
    if ((quote != '\'' && quote != '"') || close == std::string_view::npos) return {};
    names.push_back(keys.substr(0, equals));
    appendPart(values, percentDecoded(keys.substr(equals + 2, close - equals - 2)));
    keys.remove_prefix(close + 1);
    if (!keys.empty() && keys[0] == ',') keys.remove_prefix(1);
  }
  if (names.empty()) return {};
  const TextMap<Element>* children = childrenByValues(from, feature, names);
  if (children == nullptr) return {};
  const auto it = children->find(values);
  return it == children->end() ? Element() : it->second;
}

Element Fragments::stepByName(Element from, std::string_view text) {
  const ElementsByText& names = namesBelow(from);
  if (const std::size_t close = text.rfind('%'); text[0] == '%' && close != 0) {
    const std::string_view rest = text.substr(close + 1);
    const auto count = rest.empty() ? std::size_t{0} : numberOf(rest.substr(1));
    if (count && (rest.empty() || rest[0] == '.'))
      return pick(names, "%" + percentDecoded(text.substr(1, close - 1)), *count);
  }
  const Counted counted = splitCount(text);
  if (counted.count)
    if (const Element found = pick(names, percentDecoded(counted.text), *counted.count)) return found;
  return pick(names, percentDecoded(text), 0);
}

const Fragments::ElementsByText& Fragments::namesBelow(Element element) {
  const auto [it, isNew] = namesBelow_.try_emplace(element.getIndex());
  if (isNew)
    for (const Element child : element.getChildren())
      if (const auto name = nameOf(child)) it->second[*name].push_back(child);
  return it->second;
}

/// The text by which a path finds an element below its container.
std::optional<std::string> Fragments::nameOf(Element element) {
  ClassTable& table = tables_.of(element.getType());
  if (const Feature* feature = table.nameFeature(); feature != nullptr) {
    if (element.getState(feature->property) == PropertyState::value)
      return std::string(element.getText(feature->property));
  } else if (const Feature* source = table.findByName("source");
             source != nullptr && table.isPathByName() && source->isText()) {
    return "%" + std::string(element.getText(source->property));
  }
  return std::nullopt;
}

/// Null where the list has had too many keys.
const TextMap<Element>* Fragments::childrenByValues(Element element, const Feature& feature,
                                                    const std::vector<std::string_view>& keys) {
  std::string place = std::to_string(element.getIndex()) + "." + std::to_string(feature.property->getIndex());
  for (const std::string_view key : keys) appendPart(place, key);
  const auto [it, isNew] = childrenByValues_.try_emplace(std::move(place));
  if (!isNew) return &it->second;
  if ((keyCounts_[listOf(element, feature.property)] += keys.size()) > kMostKeys) {
    childrenByValues_.erase(it);
    hasTooManyKeys_ = true;
    return nullptr;
  }
  for (std::size_t i = 0; i < element.size(feature.property); ++i) {
    const Element child = element.getElement(feature.property, i);
    if (auto values = valuesOf(child, keys)) it->second.emplace(std::move(*values), child);
  }
  return &it->second;
}

/// The values of an element for all keys; nothing where it has none for one of them.
std::optional<std::string> Fragments::valuesOf(Element element, const std::vector<std::string_view>& keys) {
  std::string values;
  for (const std::string_view key : keys) {
    const auto value = valueOf(element, key);
    if (!value) return std::nullopt;
    appendPart(values, *value);
  }
  return values;
}

std::optional<std::string> Fragments::valueOf(Element element, std::string_view key) {
  const Feature* feature = tables_.of(element.getType()).findByName(key);
  if (feature == nullptr || !feature->isPrimitive() || feature->isMany()) return std::nullopt;
  return element.getTextForm(feature->property);
}

UnresolvedReference toUnresolved(std::string_view uri, std::string_view form, std::string_view targetType) {
  UnresolvedReference reference;
  reference.targetType = targetType;
  reference.id1 = form;
  reference.id2 = "/";  // a URI without fragment means the root
  const std::size_t hash = uri.find('#');
  reference.qualifier = std::string(uri.substr(0, hash));
  if (hash == std::string_view::npos || hash + 1 == uri.size()) return reference;
  const std::string_view fragment = uri.substr(hash + 1);
  const std::size_t second = fragment.find('#');
  if (second == std::string_view::npos || second == 0 || second + 1 == fragment.size()) {
    reference.id2 = fragment;
  } else {
    reference.id1 = percentDecoded(fragment.substr(0, second));
    reference.id2 = fragment.substr(second + 1);
  }
  return reference;
}

std::string uriOf(const UnresolvedReference& reference) {
  const bool isFromDocument = reference.id1 == kHrefForm || reference.id1 == kAttributeForm;
  const bool isFragment = isFromDocument && reference.id2.find('#') == std::string::npos;
  return *reference.qualifier + "#" + (isFragment ? "" : percentEncoded(reference.id1) + "#") + reference.id2;
}

std::string percentEncoded(std::string_view text) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte <= 0x20 || c == '%' || c == '#') {
      encoded.push_back('%');
      encoded.push_back(kDigits[byte >> 4]);
      encoded.push_back(kDigits[byte & 15]);
    } else {
      encoded.push_back(c);
    }
  }
  return encoded;
}

}  // namespace kr::zero::ecore
