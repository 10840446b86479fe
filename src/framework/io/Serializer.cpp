#include "kr/zero/io/Serializer.h"

#include <array>
#include <limits>
#include <typeinfo>
#include <unordered_map>
#include <unordered_set>

#include "fl/i18n/converter.h"
#include "io/LocalNumber.h"
#include "kr/zero/meta/StandardTypes.h"
#include "model/DocumentOrder.h"
#include "model/Numbers.h"
#include "model/TextForm.h"

namespace kr::zero::io {

using internal::asElement;
using internal::asUnresolved;
using internal::ElementRecord;
using internal::ModelStore;
using internal::SlotPlan;
using internal::TypePlan;
using internal::UnresolvedRecord;
using internal::ValueKind;
using internal::Values;

SerializeError::~SerializeError() = default;

namespace {

const fl::i18n::codecvt_string_to_ustring& toUtf16() {
  static const fl::i18n::codecvt_string_to_ustring converter("UTF8", true);
  return converter;
}

void convert(std::string_view text, ustring& out) {
  if (!toUtf16().convert(text, out)) throw SerializeError("a text of the model is not well-formed UTF-8");
}

/// The two parts of an identity, in strings that are used again and again.
struct IdentityTexts {
  ustring id1;
  ustring id2;
};

/// Which identity each element is written with. Elements that something refers to and that have none of
/// their own get a number: their position in document order, from 1.
class Identities {
 public:
  Identities(ModelStore& store, const SerializeCustomizer& customizer)
      : store_(store),
        customizer_(customizer),
        plain_(typeid(customizer) == typeid(SerializeCustomizer)),
        anyOwn_(!plain_ || store.hasIdentities()) {
    const auto& plans = store.plansInUse();
    const auto any = [&](auto test) { return std::any_of(plans.begin(), plans.end(), test); };
    if (any([](const TypePlan* plan) { return plan->hasUnvisitedCompositions && plan->live != 0; }))
      findWritten();
    if (any([](const TypePlan* plan) { return plan->hasAssociations && plan->live != 0; })) {
      if (isNumberedByIndex())
        numberByIndex();
      else if (markTargets())
        number();
    }
    refuseDuplicates();
  }

  /// The identity of an element; two empty texts where it has none.
  void get(ElementRecord* record, IdentityTexts& texts) const {
    texts.id1.clear();
    texts.id2.clear();
    if (record->identity == nullptr && plain_) {
      putNumber(numberOf(record), texts);
    } else if (!customizer_.getIdentity(store_.handle(record), texts.id1, texts.id2)) {
      putNumber(numberOf(record), texts);
    }
  }

  /// The type name and identity of an element that is referred to. The element itself is read only where
  /// it may have an identity of its own: reading each target is what following references costs.
  const ustring& getTarget(std::uint64_t reference, IdentityTexts& texts) const {
    texts.id1.clear();
    texts.id2.clear();
    const std::uint32_t index = internal::targetIndex(reference);
    if (!plans_.empty()) {
      putNumber(numbers_.empty() ? index + 1 : numbers_[index], texts);
      return store_.plansInUse()[plans_[index]]->type->getQualifiedName();
    }
    ElementRecord* target = store_.target(reference);
    get(target, texts);
    return target->plan->type->getQualifiedName();
  }

  /// The element that is written with the identity ("#", id2), or null. The first call makes a table:
  /// only references that nobody resolved ask, and hardly ever have such an identity.
  const ElementRecord* findNumbered(const ustring& id2) {
    if (recordsByNumber_.empty()) {
      recordsByNumber_.resize(std::size_t{store_.recordCount()} + 1);
      for (std::uint32_t index = 0; index < store_.recordCount(); ++index) {
        const ElementRecord* record = store_.record(index);
        const bool numbered = !record->removed && !record->isDatatype() && record->identity == nullptr;
        if (numbered) recordsByNumber_[numberOf(record)] = record;
      }
    }
    const std::uint32_t number = internal::localNumber(id2);
    if (number == 0 || number >= recordsByNumber_.size()) return nullptr;
    return recordsByNumber_[number];
  }

  bool isWritten(std::uint32_t index) const { return written_.empty() || written_[index]; }

 private:
  void findWritten() {
    written_.resize(store_.recordCount());
    forEachWritten(store_, [&](const ElementRecord* record) { written_[record->index] = true; });
  }

  bool hasIdentity(ElementRecord* record) const {
    if (plain_) return record->identity != nullptr && record->identity->first->view() != "#";
    ustring id1;
    ustring id2;
    return customizer_.getIdentity(store_.handle(record), id1, id2);
  }

  /// Whether the model itself knows what is referred to, and all of that gets numbers in index order.
  bool isNumberedByIndex() const {
    return store_.isReferredExact() && !anyOwn_ && isIndexOrderWritten(store_) &&
           store_.plansInUse().size() <= std::numeric_limits<std::uint16_t>::max();
  }

  /// The same as markTargets() and number() for isNumberedByIndex().
  void numberByIndex() {
    plans_.resize(store_.recordCount());
    const bool anyDatatype = store_.elementCount() != store_.recordCount();
    if (anyDatatype) numbers_.resize(store_.recordCount());
    std::uint32_t count = 0;
    for (std::uint32_t index = 0; index < store_.recordCount(); ++index) {
      const ElementRecord* record = store_.record(index);
      plans_[index] = static_cast<std::uint16_t>(record->plan->ordinal);
      if (anyDatatype && !record->isDatatype()) numbers_[index] = ++count;
    }
  }

  bool markTargets() {
    bool any = false;
    for (std::uint32_t index = 0; index < store_.recordCount(); ++index) {
      const ElementRecord* record = store_.record(index);
      if (record->removed || !record->plan->hasAssociations) continue;
      for (std::uint16_t i = 0; i < record->count; ++i) {
        const std::size_t slot = record->slots()[i] & internal::kSlotMask;
        const SlotPlan& plan = record->plan->slots[slot];
        if (plan.kind != ValueKind::association || !plan.visited) continue;
        const Values values = ModelStore::valuesAt(record, i);
        for (std::size_t k = 0; k < values.size; ++k) {
          if (values.unresolvedSingle || internal::isUnresolved(values.items[k])) continue;
          if (anyOwn_ && hasIdentity(store_.target(values.items[k]))) continue;
          if (numbers_.empty()) numbers_.resize(store_.recordCount());
          numbers_[internal::targetIndex(values.items[k])] = 1;
          any = true;
        }
      }
    }
    return any;
  }

  void number() {
    std::uint32_t count = 0;
    const auto visit = [&](const ElementRecord* record) {
      ++count;
      if (numbers_[record->index] != 0) numbers_[record->index] = count;
    };
    if (!isIndexOrderWritten(store_)) {
      forEachWritten(store_, visit);
      return;
    }
    for (std::uint32_t index = 0; index < store_.recordCount(); ++index)
      if (!store_.record(index)->isDatatype()) visit(store_.record(index));
  }

  std::uint32_t numberOf(const ElementRecord* record) const {
    if (!plans_.empty() && !store_.isReferred(record->index)) return 0;
    if (!numbers_.empty()) return numbers_[record->index];
    return plans_.empty() ? 0 : record->index + 1;
  }

  static void putNumber(std::uint32_t number, IdentityTexts& texts) {
    if (number == 0) return;
    std::array<char16_t, 10> digits;
    std::size_t at = digits.size();
    for (std::uint32_t rest = number; rest != 0; rest /= 10)
      digits[--at] = static_cast<char16_t>(u'0' + rest % 10);
    texts.id1.assign(1, u'#');
    texts.id2.assign(digits.data() + at, digits.size() - at);
  }

  void refuseDuplicates() const {
    if (plain_) {
      if (!anyOwn_) return;
      internal::IdentityIndex index;
      for (std::uint32_t i = 0; i < store_.recordCount(); ++i) {
        ElementRecord* record = store_.record(i);
        if (record->removed || !hasIdentity(record)) continue;
        if (const ElementRecord* other = index.add(record); other != nullptr) refuse(other, record);
      }
      return;
    }
    std::unordered_map<ustring, const ElementRecord*, internal::TextHash> seen;
    IdentityTexts texts;
    for (std::uint32_t i = 0; i < store_.recordCount(); ++i) {
      ElementRecord* record = store_.record(i);
      if (record->removed || record->isDatatype()) continue;
      if (!customizer_.getIdentity(store_.handle(record), texts.id1, texts.id2)) continue;
      const auto [it, added] = seen.emplace(texts.id1 + u'\0' + texts.id2, record);
      if (!added) refuse(it->second, record);
    }
  }

  [[noreturn]] void refuse(const ElementRecord* a, const ElementRecord* b) const {
    throw SerializeError(pathOf(store_, a) + " and " + pathOf(store_, b) + " have the same identity");
  }

  ModelStore& store_;
  const SerializeCustomizer& customizer_;
  bool plain_;   // identities are what the elements say
  bool anyOwn_;  // some element may have an identity of its own
  // The number of each element that is referred to and has no identity of its own, 0 for others; by
  // index. Where numbering goes by index: of every element, and not needed where it is the index + 1.
  std::vector<std::uint32_t> numbers_;
  std::vector<std::uint16_t> plans_;  // ordinals of plans by index, where numbering goes by index
  std::vector<bool> written_;
  std::vector<const ElementRecord*> recordsByNumber_;  // see findNumbered
};

/// What one pass over an object visits.
struct Pass {
  enum class Form : std::uint8_t { none, texts, verbatim, references, contained };
  struct Item {
    const ustring* name;
    Form form;
    std::uint16_t slot;
  };
  std::vector<Item> items;
  std::vector<std::int32_t> itemOfSlot;  // -1: not visited
  bool ascending = true;                 // items stand in the order of their slots
};

class Walk {
 public:
  Walk(ModelStore& store, const ModelTraverser& traverser, const SerializeCustomizer& customizer,
       EventProcessor& processor)
      : store_(store), traverser_(traverser), processor_(processor), identities_(store, customizer) {}

  void run() {
    for (ElementRecord* root : store_.roots()) {
      startObject(root, nothing_);
      while (!frames_.empty())
        if (!advance()) close();
    }
  }

 private:
  /// An object or datatype value that is open.
  struct Frame {
    ElementRecord* record;
    CategoryMasks masks;
    std::size_t nextPass;  // index into masks of the pass after the current one
    const Pass* pass;      // null before the first pass
    std::size_t next;      // entry (or item, where the pass is not ascending) to visit next
    std::size_t position;  // value of that entry to visit next, for values that open a frame
  };

  void startObject(ElementRecord* record, const ustring& property) {
    identities_.get(record, own_);
    CategoryMasks masks =
        processor_.startObject(property, record->plan->type->getQualifiedName(), own_.id1, own_.id2);
    frames_.push_back({record, std::move(masks), 0, nullptr, 0, 0});
  }

  void startContainer(ElementRecord* record, const ustring& property) {
    const ustring& typeName = record->plan->type->getQualifiedName();
    CategoryMasks masks = frames_.back().masks;  // a datatype value goes by its owner's masks
    if (!hasAnything(record, masks)) {
      processor_.emptyContainer(property, typeName);
      return;
    }
    processor_.startContainer(property, typeName);
    frames_.push_back({record, std::move(masks), 0, nullptr, 0, 0});
  }

  bool hasAnything(ElementRecord* record, const CategoryMasks& masks) {
    for (const std::uint32_t mask : masks) {
      const Pass& pass = passOf(record->plan, mask);
      for (std::uint16_t i = 0; i < record->count; ++i)
        if (pass.itemOfSlot[record->slots()[i] & internal::kSlotMask] >= 0) return true;
    }
    return false;
  }

  void close() {
    if (frames_.back().record->isDatatype())
      processor_.endContainer();
    else
      processor_.endObject();
    frames_.pop_back();
  }

  /// Goes on in the innermost frame until it opens another or has nothing left.
  bool advance() {
    while (true) {
      Frame& frame = frames_.back();
      if (frame.pass == nullptr && !startPass(frame)) return false;
      const Outcome outcome = frame.pass->ascending ? visitEntries(frame) : visitItems(frame);
      if (outcome == Outcome::opened) return true;
      frame.pass = nullptr;
    }
  }

  bool startPass(Frame& frame) {
    if (frame.nextPass == frame.masks.size()) return false;
    frame.pass = &passOf(frame.record->plan, frame.masks[frame.nextPass++]);
    frame.next = 0;
    frame.position = 0;
    return true;
  }

  enum class Outcome { opened, exhausted };

  Outcome visitEntries(Frame& frame) {
    ElementRecord* record = frame.record;
    while (frame.next < record->count) {
      const std::uint16_t entry = record->slots()[frame.next];
      const std::int32_t item = frame.pass->itemOfSlot[entry & internal::kSlotMask];
      if (item >= 0 && visit(frame, frame.pass->items[static_cast<std::size_t>(item)], frame.next))
        return Outcome::opened;
      ++frames_.back().next;
    }
    return Outcome::exhausted;
  }

  Outcome visitItems(Frame& frame) {
    while (frame.next < frame.pass->items.size()) {
      const Pass::Item& item = frame.pass->items[frame.next];
      const int at = frame.record->find(item.slot);
      if (at >= 0 && visit(frame, item, static_cast<std::size_t>(at))) return Outcome::opened;
      ++frame.next;
    }
    return Outcome::exhausted;
  }

  /// Sends the events of one set property.
  /// @return whether a frame was opened; the frame then comes back here for what is left.
  bool visit(Frame& frame, const Pass::Item& item, std::size_t at) {
    const ElementRecord* record = frame.record;
    if (item.form == Pass::Form::contained) return visitContained(frame, item, at);
    if (item.form == Pass::Form::references) {
      visitReferences(record, item, at);
      return false;
    }
    const SlotPlan& slot = record->plan->slots[item.slot];
    if (!slot.many && (record->slots()[at] & internal::kStateEmpty) != 0)
      processor_.absentValue(*item.name);
    else if (item.form == Pass::Form::verbatim)
      visitVerbatim(record, slot, item, at);
    else if (item.form == Pass::Form::texts)
      visitTexts(record, slot, item, at);
    return false;
  }

  bool visitContained(Frame& frame, const Pass::Item& item, std::size_t at) {
    while (true) {
      const Values values = ModelStore::valuesAt(frame.record, at);
      if (frame.position == values.size) {
        frame.position = 0;
        return false;
      }
      ElementRecord* child = asElement(values.items[frame.position++]);
      const std::size_t depth = frames_.size();
      if (child->isDatatype())
        startContainer(child, *item.name);  // may close at once
      else
        startObject(child, *item.name);
      if (frames_.size() != depth) return true;
    }
  }

  void visitTexts(const ElementRecord* record, const SlotPlan& slot, const Pass::Item& item, std::size_t at) {
    const ustring& name = *item.name;
    const Values values = ModelStore::valuesAt(record, at);
    if (!slot.many) {
      processor_.textValue(name, textOf(slot, values.items[0]));
      return;
    }
    processor_.startStructuredProperty(name);
    for (std::size_t k = 0; k < values.size; ++k) processor_.textElement(name, textOf(slot, values.items[k]));
    processor_.endStructuredProperty();
  }

  const ustring& textOf(const SlotPlan& slot, std::uint64_t payload) {
    if (slot.kind == ValueKind::text || slot.kind == ValueKind::dateTime)
      convert(internal::asText(payload)->view(), text_);
    else
      convert(internal::toTextForm(slot, payload), text_);
    return text_;
  }

  void visitVerbatim(const ElementRecord* record, const SlotPlan& slot, const Pass::Item& item,
                     std::size_t at) {
    const ustring& name = *item.name;
    const Values values = ModelStore::valuesAt(record, at);
    if (!slot.many) {
      processor_.primitiveValue(name, valueOf(slot, values.items[0]));
      return;
    }
    // The text counts the value and the value writes it; see EventProcessor.
    processor_.startStructuredElement(name);
    for (std::size_t k = 0; k < values.size; ++k) {
      processor_.textElement(name, nothing_);
      processor_.primitiveElement(name, valueOf(slot, values.items[k]));
    }
    processor_.endStructuredElement();
  }

  Value valueOf(const SlotPlan& slot, std::uint64_t payload) const {
    // With an emptiness mark in front, the number of a literal travels as a plain Integer.
    if (slot.kind == ValueKind::enumeration && slot.optional)
      return Value(ValueMeta(integerType_, ValueFlags::single), static_cast<std::int32_t>(payload));
    return internal::toValue(slot.property->getType(), slot.standard, ValueFlags::single, payload);
  }

  void visitReferences(const ElementRecord* record, const Pass::Item& item, std::size_t at) {
    const ustring& name = *item.name;
    const Values values = ModelStore::valuesAt(record, at);
    if (!record->plan->slots[item.slot].many) {
      if (values.size != 0) visitReference(record, name, values, 0, false);
      return;
    }
    processor_.startStructuredEntry(name);
    for (std::size_t k = 0; k < values.size; ++k) visitReference(record, name, values, k, true);
    processor_.endStructuredEntry();
  }

  void visitReference(const ElementRecord* record, const ustring& name, const Values& values, std::size_t k,
                      bool element) {
    const std::uint64_t item = values.items[k];
    if (values.unresolvedSingle || internal::isUnresolved(item)) {
      visitUnresolved(record, name, asUnresolved(item), element);
      return;
    }
    if (!identities_.isWritten(internal::targetIndex(item)))
      throw SerializeError(pathOf(store_, record) + ": refers to " + pathOf(store_, store_.target(item)) +
                           ", which is not written");
    const ustring& type = identities_.getTarget(item, target_);
    if (element)
      processor_.referenceElement(name, type, target_.id1, target_.id2);
    else
      processor_.referenceValue(name, type, target_.id1, target_.id2);
  }

  void visitUnresolved(const ElementRecord* record, const ustring& name, const UnresolvedRecord* reference,
                       bool element) {
    if (reference == nullptr)
      throw SerializeError(pathOf(store_, record) + "." + toUtf8(name) +
                           ": the reference was never resolved");
    convert(reference->targetType->view(), text_);
    convert(reference->id1->view(), target_.id1);
    convert(reference->id2->view(), target_.id2);
    if (reference->qualifier == nullptr) {
      requireUnresolvable(record, name);
      if (element)
        processor_.referenceElement(name, text_, target_.id1, target_.id2);
      else
        processor_.referenceValue(name, text_, target_.id1, target_.id2);
      return;
    }
    convert(reference->qualifier->view(), qualifier_);
    if (element)
      processor_.referenceElementLong(name, text_, qualifier_, target_.id1, target_.id2);
    else
      processor_.referenceValueLong(name, text_, qualifier_, target_.id1, target_.id2);
  }

  /// An unresolved reference to a number of the document that it came from must not lead to whatever has
  /// that number in this one.
  void requireUnresolvable(const ElementRecord* record, const ustring& name) {
    if (target_.id1 != u"#") return;
    if (const ElementRecord* other = identities_.findNumbered(target_.id2); other != nullptr)
      throw SerializeError(pathOf(store_, record) + "." + toUtf8(name) + ": the unresolved reference to #" +
                           toUtf8(target_.id2) + " would lead to " + pathOf(store_, other) +
                           ", which is written with that number");
  }

  /// The traverser is asked once per type and mask.
  const Pass& passOf(TypePlan* plan, std::uint32_t mask) {
    if (plan == lastPlan_ && mask == lastMask_) return *lastPass_;
    auto& slot = passes_[plan->type->getIndex()];
    for (const auto& [known, pass] : slot)
      if (known == mask) return remember(plan, mask, *pass);
    slot.emplace_back(mask, std::make_unique<Pass>(makePass(plan, mask)));
    return remember(plan, mask, *slot.back().second);
  }

  const Pass& remember(TypePlan* plan, std::uint32_t mask, const Pass& pass) {
    lastPlan_ = plan;
    lastMask_ = mask;
    lastPass_ = &pass;
    return pass;
  }

  static Pass::Form formOf(PropertyCategory category) {
    if (category.isA(PropertyCategory::CompositionAny()) || category.isA(PropertyCategory::DatatypeAny()))
      return Pass::Form::contained;
    if (category.isA(PropertyCategory::AssociationAny())) return Pass::Form::references;
    if (category.isA(PropertyCategory::VerbatimAny())) return Pass::Form::verbatim;
    return category.isA(PropertyCategory::PrimitiveAny()) ? Pass::Form::texts : Pass::Form::none;
  }

  Pass makePass(TypePlan* plan, std::uint32_t mask) const {
    Pass pass;
    pass.itemOfSlot.assign(plan->slots.size(), -1);
    for (const meta::Property property : traverser_.getProperties(plan->type, PropertyCategory(mask))) {
      const auto it = plan->slotOf.find(property.get());
      const PropertyCategory category = traverser_.getPropertyCategory(property);
      if (it == plan->slotOf.end() || plan->slots[it->second].kind == ValueKind::none) continue;
      if (!pass.items.empty() && pass.items.back().slot > it->second) pass.ascending = false;
      pass.itemOfSlot[it->second] = static_cast<std::int32_t>(pass.items.size());
      pass.items.push_back({&property->getName(), formOf(category), it->second});
    }
    return pass;
  }

  ModelStore& store_;
  const ModelTraverser& traverser_;
  EventProcessor& processor_;
  Identities identities_;
  std::vector<Frame> frames_;
  std::unordered_map<std::uint32_t, std::vector<std::pair<std::uint32_t, std::unique_ptr<Pass>>>> passes_;
  TypePlan* lastPlan_ = nullptr;
  std::uint32_t lastMask_ = 0;
  const Pass* lastPass_ = nullptr;
  const meta::Type integerType_ = meta::internal::getPrimitiveTypeFromMetaRegistry(u"Integer");
  const ustring nothing_;
  IdentityTexts own_;
  IdentityTexts target_;
  ustring text_;
  ustring qualifier_;
};

}  // namespace

Serializer::Serializer(std::unique_ptr<ModelTraverser> traverser,
                       std::unique_ptr<SerializeCustomizer> customizer,
                       std::unique_ptr<EventProcessor> processor)
    : traverser_(std::move(traverser)),
      customizer_(std::move(customizer)),
      processor_(std::move(processor)) {}

Serializer::~Serializer() = default;

void Serializer::serialize(const Model& model, const SerializationOutput& output) {
  Walk walk(ModelStore::of(model), *traverser_, *customizer_, *processor_);
  processor_->setMetaRegistry(model.getRegistry());
  processor_->startDocument();
  processor_->startRegisteredPackages();
  for (const ustring& uri : customizer_->getPackageUris(model)) processor_->addRegisteredPackage(uri);
  processor_->endRegisteredPackages();
  walk.run();
  processor_->endDocument();
  processor_->postprocess(output);
}

}  // namespace kr::zero::io
