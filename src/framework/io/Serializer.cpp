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
#include "text/Scratch.h"

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
    if (record->identity == nullptr && plain_) {
      putNumber(numberOf(record), texts);
    } else if (!customizer_.getIdentity(store_.handle(record), texts.id1, texts.id2)) {
      putNumber(numberOf(record), texts);
    }
  }

  /// The type name and identity of an element that is referred to. The element itself is read only where
  /// it may have an identity of its own: reading each target is what following references costs.
  const ustring& getTarget(std::uint64_t reference, IdentityTexts& texts) const {
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

  /// Makes the texts those of a number; empty for 0.
  static void putNumber(std::uint32_t number, IdentityTexts& texts) {
    if (number == 0) {
      texts.id1.clear();
      texts.id2.clear();
      return;
    }
    if (texts.id1.size() != 1 || texts.id1[0] != u'#') texts.id1.assign(1, u'#');
    internal::putDigits(number, texts.id2);
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

/// How the values of a property are sent.
enum class Form : std::uint8_t { none, text, texts, verbatim, verbatims, reference, references, contained };

/// Everything that sending the values of a property asks for.
struct Step {
  Form form = Form::none;
  std::uint16_t slot = 0;
  const ustring* name = nullptr;
  const SlotPlan* plan = nullptr;
  meta::Type type;  // of typed values
  meta::StandardType standard = meta::StandardType::none;
};

/// What one pass over an object visits.
struct Pass {
  std::vector<Step> steps;           // by slot; no form: not visited
  std::vector<std::uint16_t> order;  // slots that are visited
  bool ascending = true;             // that order is the order of slots
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
    const Pass* pass;       // null before the first pass
    std::size_t next;       // entry (or place in the order, where the pass is not ascending) to visit next
    std::size_t position;   // value of that entry to visit next, for values that open a frame
    std::size_t firstMask;  // index into masks_; they end where those of the next frame begin
    std::size_t nextPass;   // index into masks_ of the pass after the current one
  };

  void startObject(ElementRecord* record, const ustring& property) {
    identities_.get(record, own_);
    const CategoryMasks masks =
        processor_.startObject(property, record->plan->type->getQualifiedName(), own_.id1, own_.id2);
    const std::size_t first = masks_.size();
    for (const std::uint32_t mask : masks) masks_.push_back(mask);
    frames_.push_back({record, nullptr, 0, 0, first, first});
  }

  void startContainer(ElementRecord* record, const ustring& property) {
    const ustring& typeName = record->plan->type->getQualifiedName();
    // A datatype value goes by its owner's masks.
    const std::size_t first = frames_.back().firstMask;
    const std::size_t end = masks_.size();
    if (!hasAnything(record, first, end)) {
      processor_.emptyContainer(property, typeName);
      return;
    }
    processor_.startContainer(property, typeName);
    for (std::size_t i = first; i < end; ++i) masks_.push_back(masks_[i]);
    frames_.push_back({record, nullptr, 0, 0, end, end});
  }

  bool hasAnything(ElementRecord* record, std::size_t firstMask, std::size_t endOfMasks) {
    for (std::size_t m = firstMask; m < endOfMasks; ++m) {
      const Pass& pass = passOf(record->plan, masks_[m]);
      for (std::uint16_t i = 0; i < record->count; ++i)
        if (pass.steps[record->slots()[i] & internal::kSlotMask].form != Form::none) return true;
    }
    return false;
  }

  void close() {
    if (frames_.back().record->isDatatype())
      processor_.endContainer();
    else
      processor_.endObject();
    masks_.erase(masks_.begin() + static_cast<std::ptrdiff_t>(frames_.back().firstMask), masks_.end());
    frames_.pop_back();
  }

  /// Goes on in the innermost frame until it opens another or has nothing left.
  bool advance() {
    while (true) {
      Frame& frame = frames_.back();
      if (frame.pass == nullptr && !startPass(frame)) return false;
      if (frame.pass->ascending ? visitEntries(frame) : visitInOrder(frame)) return true;
      frame.pass = nullptr;
    }
  }

  bool startPass(Frame& frame) {
    if (frame.nextPass == masks_.size()) return false;
    frame.pass = &passOf(frame.record->plan, masks_[frame.nextPass++]);
    frame.next = 0;
    frame.position = 0;
    return true;
  }

  // These two return whether a frame was opened; `frame` then is no longer there, and its next entry is the
  // one that did it, which comes to an end when its values do.

  // In a function of its own, the loop over the values of an object has the registers for itself.
  [[gnu::noinline]] bool visitEntries(Frame& frame) {
    const ElementRecord* const record = frame.record;
    const std::uint16_t* const slots = record->slots();
    const Step* const steps = frame.pass->steps.data();
    for (std::size_t at = frame.next; at < record->count; ++at) {
      const Step& step = steps[slots[at] & internal::kSlotMask];
      if (step.form != Form::contained) {
        visit(record, step, at);
        continue;
      }
      frame.next = at;
      if (visitContained(frame, step, at)) return true;
    }
    return false;
  }

  bool visitInOrder(Frame& frame) {
    for (; frame.next < frame.pass->order.size(); ++frame.next) {
      const Step& step = frame.pass->steps[frame.pass->order[frame.next]];
      const int found = frame.record->find(step.slot);
      if (found < 0) continue;
      const auto at = static_cast<std::size_t>(found);
      if (step.form != Form::contained)
        visit(frame.record, step, at);
      else if (visitContained(frame, step, at))
        return true;
    }
    return false;
  }

  bool visitContained(Frame& frame, const Step& step, std::size_t at) {
    const Values values = ModelStore::valuesAt(frame.record, at);
    while (frame.position < values.size) {
      ElementRecord* const child = asElement(values.items[frame.position++]);
      if (!child->isDatatype()) {
        startObject(child, *step.name);
        return true;
      }
      const std::size_t depth = frames_.size();
      startContainer(child, *step.name);  // may close at once
      if (frames_.size() != depth) return true;
    }
    frame.position = 0;
    return false;
  }

  /// Sends the events of one set property, but of contained ones.
  void visit(const ElementRecord* record, const Step& step, std::size_t at) {
    const std::uint16_t entry = record->slots()[at];
    const std::uint64_t payload = record->payloads[at];
    switch (step.form) {
      case Form::text:
        if ((entry & internal::kStateEmpty) != 0) return processor_.absentValue(*step.name);
        return processor_.textValue(*step.name, textOf(*step.plan, payload));
      case Form::verbatim:
        if ((entry & internal::kStateEmpty) != 0) return processor_.absentValue(*step.name);
        return processor_.primitiveValue(*step.name, valueOf(step, payload));
      case Form::reference:
        if ((entry & internal::kStateEmpty) != 0) return;
        return visitReference(record, *step.name, payload, (entry & internal::kStateUnresolved) != 0, false);
      case Form::texts:
        return visitTexts(step, valuesOf(entry, payload));
      case Form::verbatims:
        return visitVerbatims(step, valuesOf(entry, payload));
      case Form::references:
        return visitReferences(record, step, valuesOf(entry, payload));
      case Form::none:
      case Form::contained:
        return;
    }
  }

  /// The values of a collection, of which the step knows that it is one.
  static Values valuesOf(std::uint16_t entry, std::uint64_t payload) {
    return (entry & internal::kStateEmpty) != 0 ? Values() : ModelStore::valuesOfList(payload);
  }

  [[gnu::noinline]] void visitTexts(const Step& step, const Values& values) {
    processor_.startStructuredProperty(*step.name);
    for (std::size_t k = 0; k < values.size; ++k)
      processor_.textElement(*step.name, textOf(*step.plan, values.items[k]));
    processor_.endStructuredProperty();
  }

  const ustring& textOf(const SlotPlan& slot, std::uint64_t payload) {
    if (slot.kind == ValueKind::text || slot.kind == ValueKind::dateTime)
      return textOf(internal::asText(payload)->view());
    return textOf(internal::toTextForm(slot, payload));
  }

  const ustring& textOf(std::string_view utf8) {
    const ustring* const text = scratch_.widen(utf8);
    if (text == nullptr) throw SerializeError("a text of the model is not well-formed UTF-8");
    return *text;
  }

  [[gnu::noinline]] void visitVerbatims(const Step& step, const Values& values) {
    // The text counts the value and the value writes it; see EventProcessor.
    processor_.startStructuredElement(*step.name);
    for (std::size_t k = 0; k < values.size; ++k) {
      processor_.textElement(*step.name, nothing_);
      processor_.primitiveElement(*step.name, valueOf(step, values.items[k]));
    }
    processor_.endStructuredElement();
  }

  static Value valueOf(const Step& step, std::uint64_t payload) {
    return internal::toValue(step.type, step.standard, ValueFlags::single, payload);
  }

  [[gnu::noinline]] void visitReferences(const ElementRecord* record, const Step& step,
                                         const Values& values) {
    processor_.startStructuredEntry(*step.name);
    for (std::size_t k = 0; k < values.size; ++k)
      visitReference(record, *step.name, values.items[k], internal::isUnresolved(values.items[k]), true);
    processor_.endStructuredEntry();
  }

  void visitReference(const ElementRecord* record, const ustring& name, std::uint64_t item, bool unresolved,
                      bool element) {
    if (unresolved || internal::isUnresolved(item)) {
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

  static Form formOf(PropertyCategory category, bool many) {
    if (category.isA(PropertyCategory::CompositionAny()) || category.isA(PropertyCategory::DatatypeAny()))
      return Form::contained;
    if (category.isA(PropertyCategory::AssociationAny())) return many ? Form::references : Form::reference;
    if (category.isA(PropertyCategory::VerbatimAny())) return many ? Form::verbatims : Form::verbatim;
    if (category.isA(PropertyCategory::PrimitiveAny())) return many ? Form::texts : Form::text;
    return Form::none;
  }

  Step makeStep(const SlotPlan& plan, std::uint16_t slot, PropertyCategory category) const {
    // With an emptiness mark in front, the number of a literal travels as a plain Integer.
    const bool asInteger = plan.kind == ValueKind::enumeration && plan.optional;
    return {formOf(category, plan.many),
            slot,
            &plan.property->getName(),
            &plan,
            asInteger ? integerType_ : plan.property->getType(),
            asInteger ? meta::StandardType::integer : plan.standard};
  }

  Pass makePass(TypePlan* plan, std::uint32_t mask) const {
    Pass pass;
    pass.steps.resize(plan->slots.size());
    for (const meta::Property property : traverser_.getProperties(plan->type, PropertyCategory(mask))) {
      const auto it = plan->slotOf.find(property.get());
      const PropertyCategory category = traverser_.getPropertyCategory(property);
      if (it == plan->slotOf.end() || plan->slots[it->second].kind == ValueKind::none) continue;
      const std::uint16_t slot = it->second;
      if (!pass.order.empty() && pass.order.back() > slot) pass.ascending = false;
      pass.order.push_back(slot);
      pass.steps[slot] = makeStep(plan->slots[slot], slot, category);
    }
    return pass;
  }

  ModelStore& store_;
  const ModelTraverser& traverser_;
  EventProcessor& processor_;
  Identities identities_;
  std::vector<Frame> frames_;
  std::vector<std::uint32_t> masks_;  // of all frames, one after the other
  std::unordered_map<std::uint32_t, std::vector<std::pair<std::uint32_t, std::unique_ptr<Pass>>>> passes_;
  TypePlan* lastPlan_ = nullptr;
  std::uint32_t lastMask_ = 0;
  const Pass* lastPass_ = nullptr;
  const meta::Type integerType_ = meta::internal::getPrimitiveTypeFromMetaRegistry(u"Integer");
  const ustring nothing_;
  IdentityTexts own_;
  IdentityTexts target_;
  fl::i18n::internal::Utf16Scratch scratch_;
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
