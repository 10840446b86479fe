#include "kr/zero/io/ParseProcessor.h"

#include <array>
#include <bit>
#include <cstring>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "fl/i18n/converter.h"
#include "io/LocalIdentities.h"
#include "io/LocalNumber.h"
#include "io/WaitingReference.h"
#include "model/DocumentOrder.h"
#include "model/Numbers.h"
#include "model/TextForm.h"

namespace kr::zero::io {

using internal::asPayload;
using internal::ElementRecord;
using internal::IdentityIndex;
using internal::LocalIdentities;
using internal::ModelStore;
using internal::SlotPlan;
using internal::TypePlan;
using internal::ValueKind;
using internal::WaitingReference;
using meta::StructuredType;

ValueError::~ValueError() = default;

namespace {

using Target = LocalIdentities::Target;
using Form = WaitingReference::Form;

constexpr std::uint32_t kNoTargetType = ~std::uint32_t{0};
constexpr std::ptrdiff_t kCacheLine = 64;

/// Where references wait: a record's slot entry.
struct Place {
  ElementRecord* record;
  std::size_t at;
};

/// Some things to be done together.
template <class T>
class Batch {
 public:
  void add(const T& item) noexcept { items_[size_++] = item; }
  bool isFull() const noexcept { return size_ == items_.size(); }
  void clear() noexcept { size_ = 0; }
  const T* begin() const noexcept { return items_.data(); }
  const T* end() const noexcept { return items_.data() + size_; }

 private:
  std::array<T, 16> items_;
  std::size_t size_ = 0;
};

}  // namespace

struct ParseProcessor::Impl {
  struct Open {
    ElementRecord* record = nullptr;
    const SlotPlan* slot = nullptr;     // property found last
    const SlotPlan* end = nullptr;      // behind the last property of the type
    const ustring* name = nullptr;      // its own name string; null before the first
    const SlotPlan* pending = nullptr;  // datatype or composition announced last
  };
  struct KnownType {
    const ustring* name = nullptr;
    TypePlan* plan = nullptr;
    std::uint32_t targetType = kNoTargetType;  // number of the name in targetTypes
  };

  ParseCustomizer& customizer;
  ParsingModelBuilder& builder;
  ModelStore* store = nullptr;
  std::vector<Open> open;
  Open nothing;
  Open* top = &nothing;  // the innermost of `open`; `nothing` where there is none
  std::vector<std::string> problems;
  ustring version;
  std::unique_ptr<log::Span> span;
  IdentityIndex identities;
  LocalIdentities locals;
  bool oddLocals = false;                 // some local identity stands in `identities`
  std::vector<ElementRecord*> forgetful;  // have a "#" identity that is not kept
  std::vector<std::uint64_t> waiting;     // a bit per record: it has references that wait
  std::string texts;  // id1, id2 and qualifier of references that wait in UTF-8, each behind its length
  std::unordered_map<ustring, std::uint32_t, internal::TextHash> targetTypeByName;
  std::vector<const ustring*> targetTypes;
  std::uint32_t lastTargetType = kNoTargetType;
  // Property, number of the named type and plan of references that were found right: most others are alike.
  // A property has its place by its slot.
  using Fitting = std::tuple<const SlotPlan*, std::uint32_t, std::uint32_t>;
  std::array<Fitting, 16> fitting{};
  std::unordered_map<ustring, TypePlan*> planByName;
  std::array<KnownType, 32> known{};
  fl::i18n::codecvt_ustring_to_string toUtf8{"UTF8", true};
  std::string scratch;
  std::string scratch2;

  Impl(ParseCustomizer& c, ParsingModelBuilder& b) : customizer(c), builder(b) {}

  void reset() {
    builder.reset(customizer.getRegistry());
    store = &ModelStore::of(builder.getModel());
    open.clear();
    top = &nothing;
    problems.clear();
    version.clear();
    forgetReferences();
    planByName.clear();
    known.fill({});
  }

  void forgetReferences() {
    identities.clear();
    locals.clear();
    oddLocals = false;
    forgetful = {};
    waiting = {};
    texts = {};
    targetTypeByName.clear();
    targetTypes.clear();
    lastTargetType = kNoTargetType;
    for (KnownType& type : known) type.targetType = kNoTargetType;
    fitting.fill({});
  }

  // Readers may be used without a Parser around them.
  ModelStore& model() {
    if (store == nullptr) reset();
    return *store;
  }

  std::string path() const { return open.empty() ? "/" : pathOf(*store, open.back().record); }

  // What is rare stands apart: in the middle of what is called for every value, it would make each call
  // save the registers and the stack that only it needs.
  [[noreturn]] [[gnu::noinline]] void fail(const ustring& name, const std::string& what) const {
    throw ValueError(path() + "." + zero::toUtf8(name) + ": " + what);
  }

  /// Text as UTF-8 in a string of this object's.
  const std::string& narrow(const ustring& text, std::string& into) const {
    if (!toUtf8.convert(text, into)) failMalformed();
    return into;
  }
  [[noreturn]] [[gnu::noinline]] void failMalformed() const {
    throw ValueError(path() + ": a text is not well-formed UTF-16");
  }

  // Readers name a property several times in a row, and by its own name string.
  const SlotPlan& locate(const ustring& name) { return top->name == &name ? *top->slot : locateAnew(name); }

  [[gnu::noinline]] const SlotPlan& locateAnew(const ustring& name) {
    if (open.empty()) failOutside(name);
    const TypePlan& plan = *top->record->plan;
    top->slot = &plan.slots[findSlot(plan, name)];
    top->name = top->slot->name;
    return *top->slot;
  }

  // Documents have properties in the meta model's order, with gaps where some are unset.
  const SlotPlan& locateNext(const ustring& name) {
    constexpr std::ptrdiff_t kNear = 8;
    const SlotPlan* const end = top->slot + std::min(kNear, top->end - top->slot);
    for (const SlotPlan* found = top->slot; found != end; ++found) {
      if (found->name != &name) continue;
      top->slot = found;
      top->name = &name;
      return *found;
    }
    return locateAnew(name);
  }

  [[noreturn]] [[gnu::noinline]] static void failOutside(const ustring& name) {
    throw ValueError("/: property \"" + zero::toUtf8(name) + "\" outside of any element");
  }

  std::size_t findSlot(const TypePlan& plan, const ustring& name) const {
    const std::size_t slot = plan.type->findSlot(name);
    if (slot == StructuredType::Impl::npos)
      throw ValueError(path() + ": type " + plan.type->getQualifiedNameUtf8() + " has no property \"" +
                       zero::toUtf8(name) + "\"");
    return slot;
  }

  PropertyCategory announce(const ustring& name) {
    const SlotPlan& slot = locateNext(name);
    top->pending = nullptr;
    if (slot.kind == ValueKind::composition || slot.kind == ValueKind::datatype)
      top->pending = &slot;
    else if (slot.many && slot.kind != ValueKind::none)
      store->touch(top->record, slot.slot);
    return PropertyCategory(slot.category);
  }

  // Only a type's own name string is known by its address.
  KnownType& knownAt(const ustring& name) {
    return known[reinterpret_cast<std::uintptr_t>(&name) / sizeof(ustring) % known.size()];
  }

  /// The plan of a type name; null where the name is no structured type's.
  TypePlan* planOf(const ustring& typeName) {
    const KnownType& entry = knownAt(typeName);
    return entry.name == &typeName ? entry.plan : findPlan(typeName);
  }

  [[gnu::noinline]] TypePlan* findPlan(const ustring& typeName) {
    const auto byName = planByName.find(typeName);
    TypePlan* const plan = byName != planByName.end() ? byName->second : makePlan(typeName);
    if (plan == nullptr) return nullptr;
    // Readers name a type by a text of theirs first and by its own name string then.
    if (&plan->type->getQualifiedName() == &typeName)
      knownAt(typeName) = {&typeName, plan};
    else if (byName == planByName.end())
      planByName.emplace(typeName, plan);
    return plan;
  }

  TypePlan* makePlan(const ustring& typeName) {
    const meta::Type type = customizer.getMetaClass(typeName);
    const StructuredType structured = type ? StructuredType(type) : StructuredType();
    return structured ? &model().plan(structured) : nullptr;
  }

  /// A document may be wrong in as many places as it has bytes; these are enough to tell.
  static constexpr std::size_t kMostProblems = 20;
  bool hasEnoughProblems() const { return problems.size() >= kMostProblems; }

  bool refuse(std::string problem) {
    problems.push_back(std::move(problem));
    if (span != nullptr)
      (*span)->addContext<std::string>(foundation::log::logging_event_types::error, "problem",
                                       problems.back());
    return false;
  }

  bool push(const ustring& typeName, const ustring& id1, const ustring& id2) {
    TypePlan* plan = planOf(typeName);
    if (plan == nullptr)
      return refuse(path() + ": there is no type \"" + zero::toUtf8(typeName) + "\" with properties");
    ElementRecord* record = open.empty() ? makeRoot(*plan) : makeChild(*plan);
    if (record == nullptr) return false;
    if (!id1.empty() || !id2.empty()) {
      if (!setIdentity(record, id1, id2)) return false;
    }
    const std::vector<SlotPlan>& slots = plan->slots;
    open.push_back({record, slots.data(), slots.data() + slots.size()});
    top = &open.back();
    return true;
  }

  void pop() {
    if (open.empty()) throw ValueError("/: an element is closed where none is open");
    open.pop_back();
    top = open.empty() ? &nothing : &open.back();
  }

  ElementRecord* makeRoot(TypePlan& plan) {
    if (!requireConcrete(plan)) return nullptr;
    return model().makeRoot(plan);
  }

  bool requireConcrete(const TypePlan& plan) {
    if (!plan.cls) return refuse(path() + ": type " + plan.type->getQualifiedNameUtf8() + " is not a class");
    if (plan.cls->isAbstract())
      return refuse(path() + ": class " + plan.type->getQualifiedNameUtf8() +
                    " is abstract and has no elements");
    return true;
  }

  ElementRecord* makeChild(TypePlan& plan) {
    const SlotPlan* const announced = std::exchange(top->pending, nullptr);
    if (announced == nullptr) {
      refuse(path() + ": an element stands inside another without a property that holds it");
      return nullptr;
    }
    const SlotPlan& slot = *announced;
    const auto where = [&] { return path() + "." + slot.property->getNameUtf8() + ": "; };
    if (slot.kind == ValueKind::composition && !requireConcrete(plan)) return nullptr;
    const bool fits = slot.kind == ValueKind::composition ? ModelStore::fits(slot, plan.cls)
                                                          : meta::Type(plan.type) == slot.type;
    if (!fits) {
      refuse(where() + "an element of type " + plan.type->getQualifiedNameUtf8() +
             " does not fit a property of type " + slot.property->getType()->getQualifiedNameUtf8());
      return nullptr;
    }
    if (!slot.many && top->record->find(slot.slot) >= 0) {
      refuse(where() + "holds one element and is given a second");
      return nullptr;
    }
    return store->makeChild(plan, top->record, slot.slot);
  }

  bool setIdentity(ElementRecord* record, const ustring& id1, const ustring& id2) {
    const auto where = [&] { return pathOf(*store, record) + ": "; };
    if (id1.empty() || id2.empty()) return refuse(where() + "one part of the identity is empty");
    if (record->isDatatype()) return refuse(where() + "a datatype value has no identity");
    const bool local = isLocal(id1);
    const std::uint32_t number = local ? internal::localNumber(id2) : 0;
    const bool numbered = LocalIdentities::isPlausible(number, store->elementCount());
    if (!numbered || builder.keepsLocalIdentities())
      store->setIdentity(record, narrow(id1, scratch), narrow(id2, scratch2));
    if (local && !numbered && !builder.keepsLocalIdentities()) forgetful.push_back(record);
    oddLocals |= local && !numbered;
    const ElementRecord* other = numbered ? recordOf(locals.add(number, record)) : identities.add(record);
    if (other == nullptr && local && oddLocals) other = findOtherLocal(record, id2);
    if (other == nullptr) return true;
    return refuse(where() + "has the same identity as " + pathOf(*store, other));
  }

  const ElementRecord* recordOf(const Target& target) const {
    return target.isNone() ? nullptr : store->record(target.index);
  }

  /// The element that has a local identity by the other of the two tables.
  const ElementRecord* findOtherLocal(const ElementRecord* record, const ustring& id2) {
    const ElementRecord* inTable = recordOf(locals.find(internal::localNumber(id2)));
    if (inTable != nullptr && inTable != record) return inTable;
    const ElementRecord* inIndex = identities.find("#", narrow(id2, scratch));
    return inIndex != record ? inIndex : nullptr;
  }

  void put(const SlotPlan& slot, const ustring& name, std::uint64_t payload) {
    if (slot.many)
      store->append(top->record, slot.slot, payload);
    else
      putSingle(slot, name, payload, 0);
  }

  void putSingle(const SlotPlan& slot, const ustring& name, std::uint64_t payload, std::uint16_t state) {
    if (!store->add(top->record, slot.slot, payload, state)) failSecond(name);
  }

  [[noreturn]] [[gnu::noinline]] void failSecond(const ustring& name) const {
    fail(name, "holds one value and is given a second");
  }

  void setValue(const ustring& name, const ustring& text) {
    const SlotPlan& slot = locate(name);
    if (slot.kind == ValueKind::text)
      put(slot, name, makeText(text));
    else if (slot.kind == ValueKind::dateTime)
      put(slot, name, makeDateTime(slot, name, text));
    else
      put(slot, name, parse(slot, name, text));
  }

  std::uint64_t makeText(const ustring& text) {
    const internal::Text* const made = store->makeText(std::u16string_view(text));
    if (made == nullptr) failMalformed();
    return asPayload(made);
  }

  std::uint64_t makeDateTime(const SlotPlan& slot, const ustring& name, const ustring& text) {
    const std::uint64_t made = makeText(text);
    if (!internal::isDateTime(internal::asText(made)->view())) failUnparsed(slot, name, text);
    return made;
  }

  [[gnu::noinline]] std::uint64_t parse(const SlotPlan& slot, const ustring& name, const ustring& text) {
    const std::string& utf8 = narrow(text, scratch);
    std::uint64_t payload = 0;
    if (slot.kind < ValueKind::number || slot.kind > ValueKind::dateTime)
      fail(name, "a text does not fit a property of type " + slot.type->getQualifiedNameUtf8());
    if (!internal::fromTextForm(*store, slot, utf8, payload)) failUnparsed(slot, name, text);
    return payload;
  }

  [[noreturn]] [[gnu::noinline]] void failUnparsed(const SlotPlan& slot, const ustring& name,
                                                   const ustring& text) const {
    fail(name, "\"" + zero::toUtf8(text) + "\" is not a " + slot.type->getQualifiedNameUtf8());
  }

  void setVerbatimValue(const ustring& name, const Value& value) {
    const SlotPlan& slot = locate(name);
    if (!(value.getMeta().getType() == slot.type) || !value.hasCell() ||
        (slot.kind != ValueKind::number && slot.kind != ValueKind::enumeration))
      failUnfitting(slot, name, value);
    const std::uint64_t payload = internal::fromValue(slot.standard, value);
    if (slot.kind == ValueKind::enumeration && !internal::isLiteral(slot, static_cast<std::int64_t>(payload)))
      failNoLiteral(slot, name, static_cast<std::int64_t>(payload));
    put(slot, name, payload);
  }

  [[noreturn]] [[gnu::noinline]] void failUnfitting(const SlotPlan& slot, const ustring& name,
                                                    const Value& value) const {
    fail(name, "a value of type " + typeNameOf(value) + " does not fit a property of type " +
                   slot.type->getQualifiedNameUtf8());
  }
  [[noreturn]] [[gnu::noinline]] void failNoLiteral(const SlotPlan& slot, const ustring& name,
                                                    std::int64_t number) const {
    fail(name, "enumeration " + slot.type->getQualifiedNameUtf8() + " has no literal with the number " +
                   std::to_string(number));
  }

  static std::string typeNameOf(const Value& value) {
    const meta::Type type = value.getMeta().getType();
    return type ? type->getQualifiedNameUtf8() : "none";
  }

  void setEmptyValue(const ustring& name) {
    const SlotPlan& slot = locate(name);
    const bool possible = slot.optional && slot.kind >= ValueKind::number && slot.kind <= ValueKind::dateTime;
    if (!possible) fail(name, "cannot be explicitly empty");
    putSingle(slot, name, 0, internal::kStateEmpty);
  }

  /// The number of a name in targetTypes.
  std::uint32_t numberTargetType(const ustring& name) {
    KnownType& entry = knownAt(name);
    if (entry.name != &name) return keepTargetType(name);
    if (entry.targetType == kNoTargetType) entry.targetType = keepTargetType(name);
    return entry.targetType;
  }

  [[gnu::noinline]] std::uint32_t keepTargetType(const ustring& name) {
    if (lastTargetType != kNoTargetType && *targetTypes[lastTargetType] == name) return lastTargetType;
    if (targetTypes.size() > WaitingReference::kMostType)
      throw ValueError(path() + ": the references name more types than can be told apart");
    internal::makeRoom(targetTypes);
    const auto number = static_cast<std::uint32_t>(targetTypes.size());
    const auto [kept, isNew] = targetTypeByName.emplace(name, number);
    if (isNew) targetTypes.push_back(&kept->first);
    return lastTargetType = kept->second;
  }

  void keepText(const ustring& text) {
    narrow(text, scratch);
    const auto length = static_cast<std::uint32_t>(scratch.size());
    texts.append(reinterpret_cast<const char*>(&length), sizeof length);
    texts += scratch;
  }

  std::string_view keptText(std::size_t& at) const {
    std::uint32_t length = 0;
    std::memcpy(&length, texts.data() + at, sizeof length);
    const std::string_view text(texts.data() + at + sizeof length, length);
    at += sizeof length + length;
    return text;
  }

  void addDeferredReference(const ustring& targetType, const ustring& name, const ustring& id1,
                            const ustring& id2, const boost::optional<ustring>& qualifier) {
    const SlotPlan& slot = locate(name);
    if (slot.kind != ValueKind::association) failNoReference(slot, name);
    const std::uint32_t type = numberTargetType(targetType);
    const WaitingReference reference = makeWaiting(type, id1, id2, qualifier);
    noteWaiting(top->record->index);  // before it is in the model: what is there can be resolved
    if (!store->addWaiting(top->record, slot, reference.asItem())) failSecond(name);
  }

  void noteWaiting(std::uint32_t index) {
    if (index / 64 >= waiting.size()) waiting.resize(index / 64 + 1);
    waiting[index / 64] |= std::uint64_t{1} << (index % 64);
  }

  [[noreturn]] [[gnu::noinline]] void failNoReference(const SlotPlan& slot, const ustring& name) const {
    fail(name, "a reference does not fit a property of type " + slot.type->getQualifiedNameUtf8());
  }

  WaitingReference makeWaiting(std::uint32_t type, const ustring& id1, const ustring& id2,
                               const boost::optional<ustring>& qualifier) {
    const std::uint32_t number = !qualifier && isLocal(id1) ? internal::localNumber(id2) : 0;
    return number != 0 ? WaitingReference(Form::local, number, type) : keepTexts(type, id1, id2, qualifier);
  }

  [[gnu::noinline]] WaitingReference keepTexts(std::uint32_t type, const ustring& id1, const ustring& id2,
                                               const boost::optional<ustring>& qualifier) {
    const std::size_t begin = texts.size();
    if (begin > WaitingReference::kMostId)
      throw ValueError(path() + ": the texts of the references are too long to be kept");
    keepText(id1);
    keepText(id2);
    if (!qualifier) return {Form::texts, begin, type};
    keepText(*qualifier);
    return {Form::textsAndQualifier, begin, type};
  }

  static bool isLocal(const ustring& id1) { return id1.size() == 1 && id1[0] == u'#'; }

  Target findTarget(WaitingReference reference) const {
    if (reference.form() == Form::textsAndQualifier) return {};  // in another document
    if (reference.form() == Form::local) {
      if (const Target found = locals.find(reference.number()); !found.isNone()) return found;
      return targetOf(identities.find("#", std::to_string(reference.number())));
    }
    std::size_t at = reference.id();
    const std::string_view id1 = keptText(at);
    return targetOf(identities.find(id1, keptText(at)));
  }

  static Target targetOf(const ElementRecord* record) {
    return record == nullptr ? Target() : Target{record->index, record->plan->ordinal};
  }

  void processDeferred() {
    Batch<ElementRecord*> records;
    for (std::size_t word = 0; word < waiting.size(); ++word) {
      for (std::uint64_t bits = waiting[word]; bits != 0; bits &= bits - 1) {
        const auto bit = static_cast<std::uint32_t>(std::countr_zero(bits));
        records.add(store->record(static_cast<std::uint32_t>(word * 64) + bit));
        if (records.isFull()) resolveAll(records);
      }
    }
    resolveAll(records);
    for (ElementRecord* record : forgetful) record->identity = nullptr;
    forgetReferences();
  }

  // What waits is in no cache any more, and one address leads to the next: each is asked for, for some
  // records, before it is needed for any of them.
  void resolveAll(Batch<ElementRecord*>& records) {
    for (const ElementRecord* record : records) {
      __builtin_prefetch(record->slots());
      __builtin_prefetch(record->slots() - kCacheLine / std::ptrdiff_t{sizeof(std::uint16_t)});  // payloads
    }
    Batch<Place> places;
    for (ElementRecord* record : records)
      internal::forEachUnresolvedEntry(record, [&](std::size_t at) {
        __builtin_prefetch(internal::asList(record->payloads[at]));  // of a single one no address: harmless
        places.add({record, at});
        if (places.isFull()) resolveAll(places);
      });
    resolveAll(places);
    records.clear();
  }

  void resolveAll(Batch<Place>& places) {
    for (const Place& place : places)
      internal::forEachWaiting(place.record, place.at, [&](std::uint64_t& item) { resolve(place, item); });
    places.clear();
  }

  void resolve(const Place& place, std::uint64_t& item) {
    const WaitingReference reference(item);
    std::uint16_t& entry = place.record->slots()[place.at];
    const SlotPlan& slot = place.record->plan->slots[entry & internal::kSlotMask];
    const Target target = findTarget(reference);
    if (target.isNone()) {
      item = asPayload(makeUnresolved(reference)) | (slot.many ? 1u : 0u);
      return;
    }
    const Fitting asked(&slot, reference.type(), target.plan);
    Fitting& right = fitting[slot.slot % fitting.size()];
    if (right != asked && !hasEnoughProblems() && checkTarget(reference, place.record, slot, target))
      right = asked;
    item = store->referTo(target.index, slot);
    if (!slot.many) entry = slot.slot;
  }

  [[gnu::noinline]] bool checkTarget(WaitingReference reference, const ElementRecord* from,
                                     const SlotPlan& slot, const Target& target) {
    const auto where = [&] { return pathOf(*store, from) + "." + slot.property->getNameUtf8() + ": "; };
    const TypePlan& plan = *store->plansInUse()[target.plan];
    const StructuredType type = plan.type;
    const ustring& named = *targetTypes[reference.type()];
    if (named != type->getQualifiedName())
      return refuse(where() + "says that it refers to a " + zero::toUtf8(named) + ", but " +
                    pathOf(*store, recordOf(target)) + " is a " + type->getQualifiedNameUtf8());
    if (!ModelStore::fits(slot, plan.cls))
      return refuse(where() + "an element of class " + type->getQualifiedNameUtf8() +
                    " does not fit a property of type " + slot.property->getType()->getQualifiedNameUtf8());
    return true;
  }

  const internal::UnresolvedRecord* makeUnresolved(WaitingReference reference) {
    narrow(*targetTypes[reference.type()], scratch);
    if (reference.form() == Form::local)
      return store->makeUnresolved(scratch, "#", std::to_string(reference.number()), nullptr);
    std::size_t at = reference.id();
    const std::string_view id1 = keptText(at);
    const std::string_view id2 = keptText(at);
    if (reference.form() == Form::texts) return store->makeUnresolved(scratch, id1, id2, nullptr);
    const std::string_view qualifier = keptText(at);
    return store->makeUnresolved(scratch, id1, id2, &qualifier);
  }
};

ParseProcessor::ParseProcessor(ParseCustomizer& customizer, ParsingModelBuilder& builder)
    : impl_(std::make_unique<Impl>(customizer, builder)) {}
ParseProcessor::~ParseProcessor() = default;

void ParseProcessor::reset() { impl_->reset(); }
void ParseProcessor::setVersion(const ustring& version) { impl_->version = version; }
ParseCustomizer& ParseProcessor::getCustomizer() { return impl_->customizer; }

bool ParseProcessor::push(const ustring& typeName, const ustring& id1, const ustring& id2) {
  return impl_->push(typeName, id1, id2);
}

void ParseProcessor::pop(const ustring& name) {
  static_cast<void>(name);
  impl_->pop();
}

PropertyCategory ParseProcessor::getPropertyCategory(const ustring& name) { return impl_->announce(name); }

meta::Type ParseProcessor::getPropertyType(const ustring& name) { return impl_->locate(name).type; }

bool ParseProcessor::isPropertyOptional(const ustring& name) { return impl_->locate(name).optional; }

void ParseProcessor::setValue(const ustring& name, const ustring& text) { impl_->setValue(name, text); }

void ParseProcessor::setVerbatimValue(const ustring& name, const Value& value) {
  impl_->setVerbatimValue(name, value);
}

void ParseProcessor::setEmptyValue(const ustring& name) { impl_->setEmptyValue(name); }

void ParseProcessor::addDeferredReference(const ustring& targetType, const ustring& name, const ustring& id1,
                                          const ustring& id2, const boost::optional<ustring>& qualifier) {
  impl_->addDeferredReference(targetType, name, id1, id2, qualifier);
}

void ParseProcessor::processDeferred() { impl_->processDeferred(); }
void ParseProcessor::parseCompleted() {}

const std::vector<std::string>& ParseProcessor::getProblems() const noexcept { return impl_->problems; }
void ParseProcessor::addProblem(std::string problem) { impl_->refuse(std::move(problem)); }
std::size_t ParseProcessor::getDepth() const noexcept { return impl_->open.size(); }
std::string ParseProcessor::getPath() const { return impl_->path(); }
const ustring& ParseProcessor::getVersion() const noexcept { return impl_->version; }
void ParseProcessor::setSpan(const log::Span& span) { impl_->span = std::make_unique<log::Span>(span); }

}  // namespace kr::zero::io
