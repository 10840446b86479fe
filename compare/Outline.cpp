#include "Outline.h"

#include <algorithm>
#include <optional>

#include "Values.h"
#include "kr/zero/compare/Naming.h"

namespace kr::zero::compare {

namespace {

using internal::ElementAccess;
using meta::PropertyKind;

/// A path of more than twice as many segments is shortened in the middle, as the model itself does it.
constexpr std::size_t kShownSegments = 24;

/// How well the slots of a type name its elements: 0 not at all, else the lower the better.
class Roles {
 public:
  explicit Roles(const CompareOptions& options) : options_(options) {}

  std::span<const std::uint8_t> of(const internal::TypeUse& use) {
    if (use.ordinal >= known_.size()) known_.resize(use.ordinal + std::size_t{1});
    std::vector<std::uint8_t>& roles = known_[use.ordinal];
    if (roles.empty()) {
      roles.resize(use.slotCount + 1);  // never empty
      for (std::size_t slot = 0; slot < use.slotCount; ++slot) roles[slot] = roleOf(use.property(slot));
    }
    return roles;
  }

  static constexpr std::uint8_t kId = 1;

 private:
  std::uint8_t roleOf(const PropertyRecord& property) const {
    if (property.isMany() || !meta::isPrimitive(property.getKind())) return 0;
    for (const meta::Property id : options_.ids)
      if (id.get() == &property) return kId;
    const std::optional<std::size_t> rank = namingRankOf(property);
    return rank ? static_cast<std::uint8_t>(*rank + kId + 1) : std::uint8_t{0};
  }

  const CompareOptions& options_;
  std::vector<std::vector<std::uint8_t>> known_;  // by the type's ordinal in the model
};

}  // namespace

Outline::Outline(const Model& model, const CompareOptions& options) : model_(&model) {
  layOut();
  mark(options);
}

ConstElement Outline::element(Ordinal at) const {
  if (at == kNone || at == 0) return {};
  return ElementAccess::make<ConstElement>(store_, const_cast<ElementRecord*>(records_[at]));
}

Ordinal Outline::find(ConstElement element) const {
  if (!element || ElementAccess::storeOf(element) != store_) return kNone;
  const ElementRecord* const record = ElementAccess::recordOf(element);
  if (!byIndex_.empty() && record->index >= byIndex_.size()) return kNone;
  const Ordinal at = ordinalOf(record);
  return at < size() && records_[at] == record ? at : kNone;
}

meta::Property Outline::containingProperty(Ordinal at) const noexcept {
  const Ordinal container = containers_[at];
  return container == 0 ? meta::Property() : meta::Property(&records_[container]->use->property(slots_[at]));
}

void Outline::add(const ElementRecord* record, Ordinal container, std::uint32_t position) {
  const Ordinal at = size();
  records_.push_back(record);
  containers_.push_back(container);
  ends_.push_back(at + 1);
  positions_.push_back(position);
  slots_.push_back(record->container == nullptr ? std::uint16_t{0} : record->containerSlot);
}

void Outline::layOut() {
  const std::size_t size = model_->size() + 1;
  records_.reserve(size);
  containers_.reserve(size);
  ends_.reserve(size);
  positions_.reserve(size);
  slots_.reserve(size);
  records_.push_back(nullptr);
  containers_.push_back(kNone);
  ends_.push_back(1);
  positions_.push_back(0);
  slots_.push_back(0);

  struct Child {
    const ElementRecord* record;
    Ordinal container;
    std::uint32_t position;
  };
  std::vector<Child> pending;
  const auto pushChildren = [&](const ElementRecord* record, Ordinal container) {
    const std::size_t first = pending.size();
    for (std::uint16_t i = 0; i < record->count; ++i) {
      const cells::Entry entry = record->slots()[i];
      const PropertyRecord& property = record->use->property(cells::slotOf(entry));
      if (property.getKind() != PropertyKind::composition || cells::isEmpty(entry)) continue;
      if (!property.isMany()) {
        pending.push_back({asRecord(record->payloads[i]), container, 0});
        continue;
      }
      std::uint32_t position = 0;
      for (const cells::Cell child : cells::itemsOf(entry, record->payloads[i]))
        pending.push_back({asRecord(child), container, position++});
    }
    std::reverse(pending.begin() + static_cast<std::ptrdiff_t>(first), pending.end());
  };
  std::uint32_t position = 0;
  for (const ConstElement root : model_->roots()) {
    store_ = ElementAccess::storeOf(root);
    pending.push_back({ElementAccess::recordOf(root), 0, position++});
  }
  std::reverse(pending.begin(), pending.end());
  while (!pending.empty()) {
    const Child next = pending.back();
    pending.pop_back();
    add(next.record, next.container, next.position);
    pushChildren(next.record, this->size() - 1);
  }
  indexRecords();
  noteTops();
  for (Ordinal at = this->size(); at-- > 1;) {
    Ordinal& around = ends_[containers_[at]];
    around = std::max(around, ends_[at]);
  }
}

void Outline::indexRecords() {
  bool isInOrder = true;
  std::uint32_t last = 0;
  for (Ordinal at = 1; at < size(); ++at) {
    isInOrder = isInOrder && records_[at]->index + 1 == at;
    last = std::max(last, records_[at]->index);
  }
  if (isInOrder) return;
  byIndex_.assign(last + std::size_t{1}, kNone);
  for (Ordinal at = 1; at < size(); ++at) byIndex_[records_[at]->index] = at;
}

void Outline::mark(const CompareOptions& options) {
  marks_.resize(size());
  Roles roles(options);
  for (Ordinal at = 1; at < size(); ++at) markOwn(at, roles.of(*records_[at]->use));
  markReferences();
  for (Ordinal at = size(); at-- > 0;) {
    Mark tree = marks_[at].content;
    for (Ordinal child = at + 1; child < ends_[at]; child = ends_[child])
      tree = mixed(mixed(tree, slots_[child]), marks_[child].tree);
    marks_[at].tree = tree;
  }
}

void Outline::markOwn(Ordinal at, std::span<const std::uint8_t> roles) {
  const ElementRecord* const record = records_[at];
  Marks& marks = marks_[at];
  const Mark type = mixed(1, record->use->type->getIndex());
  Mark own = type;
  std::uint8_t best = 0xFF;
  for (std::uint16_t i = 0; i < record->count; ++i) {
    const SlotValues values = valuesAt(record, i);
    if (!isValue(values)) continue;
    const std::size_t slot = cells::slotOf(record->slots()[i]);
    own = mixed(own, slot << 2 | static_cast<std::uint64_t>(values.state));
    for (std::uint32_t k = 0; k < values.size; ++k)
      if (!values.isReference() || values.isUnresolved(k)) own = mixed(own, markOf(values, k));
    const std::uint8_t role = roles[slot];
    if (role == 0 || role >= best || values.size == 0) continue;
    best = role;
    marks.name = mixed(mixed(type, slot), markOf(values, 0));
  }
  if (record->identity != nullptr)
    marks.strong = mixed(
        mixed(mixed(type, 2), hashBytes(record->identity->first->bytes, record->identity->first->length)),
        hashBytes(record->identity->second->bytes, record->identity->second->length));
  else if (best == Roles::kId)
    marks.strong = mixed(marks.name, 3);
  marks.own = own;
}

void Outline::markReferences() {
  incoming_.resize(size());
  std::vector<Mark> labels(size());
  for (Ordinal at = 1; at < size(); ++at) {
    Marks& marks = marks_[at];
    marks.content = marks.own;
    labels[at] = marks.strong != 0 ? marks.strong : marks.name != 0 ? marks.name : marks.own;
  }
  // Targets lie anywhere. Asking for some of them before they are needed takes half the time of large models.
  struct Reference {
    Ordinal from;
    Ordinal to;
    std::uint64_t slot;
  };
  std::array<Reference, 64> waiting;
  std::size_t count = 0;
  const auto settle = [&] {
    for (const Reference& reference : std::span(waiting).first(count)) {
      Mark& content = marks_[reference.from].content;
      content = mixed(mixed(content, reference.slot), labels[reference.to]);
      incoming_[reference.to] += mixed(labels[reference.from], reference.slot);
    }
    count = 0;
  };
  for (Ordinal at = 1; at < size(); ++at) {
    const ElementRecord* const record = records_[at];
    if (!record->use->type->hasAssociations()) continue;
    for (std::uint16_t i = 0; i < record->count; ++i) {
      const SlotValues values = valuesAt(record, i);
      if (!values.isReference()) continue;
      for (std::uint32_t k = 0; k < values.size; ++k) {
        if (values.isUnresolved(k)) continue;
        const Ordinal target = ordinalOfIndex(cells::targetIndex(values.items[k]));
        if (target >= size()) continue;
        __builtin_prefetch(&labels[target]);
        __builtin_prefetch(&incoming_[target], 1);
        waiting[count++] = {at, target, cells::slotOf(record->slots()[i])};
        if (count == waiting.size()) settle();
      }
    }
  }
  settle();
}

/// Without it, the beginnings of the paths of a deep model would take a walk up through all of it each.
void Outline::noteTops() {
  std::vector<Ordinal> tops(size());
  std::vector<std::uint32_t> depths(size());
  bool isDeep = false;
  for (Ordinal at = 1; at < size(); ++at) {
    depths[at] = depths[containers_[at]] + 1;
    tops[at] = depths[at] <= kShownSegments ? at : tops[containers_[at]];
    isDeep = isDeep || depths[at] > 2 * kShownSegments;
  }
  if (isDeep) tops_ = std::move(tops);
}

std::string Outline::segment(Ordinal at) const {
  const meta::Property property = containingProperty(at);
  std::string name = property ? property->name() : records_[at]->use->type->name();
  if (!property && name[0] >= 'A' && name[0] <= 'Z') name[0] = static_cast<char>(name[0] - 'A' + 'a');
  const bool isOneOfMany = property ? property->isMany() : model_->roots().size() > 1;
  if (isOneOfMany) name += '[' + std::to_string(positions_[at]) + ']';
  return name;
}

/// The last segments down to an element.
std::string Outline::segments(Ordinal last, std::size_t count) const {
  std::vector<Ordinal> chain;
  for (Ordinal at = last; at != 0 && chain.size() < count; at = containers_[at]) chain.push_back(at);
  std::string text;
  for (std::size_t i = chain.size(); i-- > 0;) text += '/' + segment(chain[i]);
  return text;
}

std::string Outline::path(Ordinal at) const {
  if (at == 0) return "/";
  Ordinal above = at;
  for (std::size_t i = 0; i < 2 * kShownSegments && above != 0; ++i) above = containers_[above];
  if (above == 0) return segments(at, 2 * kShownSegments);
  return segments(tops_[at], kShownSegments) + "/..." + segments(at, kShownSegments);
}

}  // namespace kr::zero::compare
