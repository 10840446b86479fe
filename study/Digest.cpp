#include "kr/zero/study/Digest.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "Sha256.h"
#include "kr/zero/Cells.h"
#include "kr/zero/Records.h"

namespace kr::zero::study {

namespace {

using meta::PropertyKind;

/// What of a type's properties goes into the digest, by name.
struct TypePlan {
  std::vector<meta::Property> properties;      ///< in the order of their names
  std::vector<std::uint32_t> rankOf;           ///< by slot; kNone: documents do not carry it
  static constexpr std::uint32_t kNone = ~0U;  ///< no rank
};

TypePlan planOf(meta::StructuredType type) {
  TypePlan plan;
  const std::vector<meta::Property>& all = type->getAllProperties();
  for (const meta::Property property : all)
    if (property->isWritten() && property->getIdentifier() != 0) plan.properties.push_back(property);
  std::sort(plan.properties.begin(), plan.properties.end(),
            [](meta::Property a, meta::Property b) { return a->name() < b->name(); });
  plan.rankOf.assign(all.size(), TypePlan::kNone);
  for (std::uint32_t rank = 0; rank < plan.properties.size(); ++rank)
    plan.rankOf[type->slotOf(plan.properties[rank])] = rank;
  return plan;
}

class Plans {
 public:
  const TypePlan& of(meta::StructuredType type) {
    const std::size_t index = type->getIndex();
    if (index >= plans_.size()) plans_.resize(index + 1);
    if (!plans_[index]) plans_[index] = std::make_unique<TypePlan>(planOf(type));
    return *plans_[index];
  }

 private:
  std::vector<std::unique_ptr<TypePlan>> plans_;  // by type index
};

bool isContained(meta::Property property) {
  return property->getKind() == PropertyKind::composition || property->getKind() == PropertyKind::datatype;
}

/// Leads a visitor through a model in the order of the digest, on a stack of its own:
/// begin(element), set(element, property), ..., end().
template <class Visitor>
class Walk {
 public:
  Walk(Plans& plans, Visitor& visitor) : plans_(plans), visitor_(visitor) {}

  void run(ConstElement root) {
    open(root);
    while (!frames_.empty()) {
      if (frames_.back().position < frames_.back().size)
        nextChild();
      else if (frames_.back().next < frames_.back().end)
        nextProperty();
      else
        close();
    }
  }

 private:
  struct Frame {
    ConstElement element;
    const TypePlan* plan;
    std::size_t begin, next, end;  // in ranks_
    meta::Property property;       // whose children are visited
    std::size_t position = 0, size = 0;
  };

  void open(ConstElement element) {
    const TypePlan& plan = plans_.of(element.getType());
    const internal::ElementRecord& record = *internal::ElementAccess::recordOf(element);
    const std::size_t begin = ranks_.size();
    for (std::size_t i = 0; i < record.count; ++i)
      if (const std::uint32_t rank = plan.rankOf[cells::slotOf(record.slots()[i])]; rank != TypePlan::kNone)
        ranks_.push_back(rank);
    std::sort(ranks_.begin() + static_cast<std::ptrdiff_t>(begin), ranks_.end());
    visitor_.begin(element);
    frames_.push_back({element, &plan, begin, begin, ranks_.size(), {}});
  }
  void nextChild() {
    Frame& frame = frames_.back();
    open(frame.element.getElement(frame.property, frame.position++));
  }
  void nextProperty() {
    Frame& frame = frames_.back();
    const meta::Property property = frame.plan->properties[ranks_[frame.next++]];
    visitor_.set(frame.element, property);
    if (!isContained(property)) return;
    frame.property = property;
    frame.position = 0;
    frame.size = frame.element.size(property);
  }
  void close() {
    ranks_.resize(frames_.back().begin);
    frames_.pop_back();
    visitor_.end();
  }

  Plans& plans_;
  Visitor& visitor_;
  std::vector<Frame> frames_;
  std::vector<std::uint32_t> ranks_;  // of what is set on all that is open
};

/// Numbers elements in the order of the digest, from 1.
class Numbering {
 public:
  void begin(ConstElement element) {
    if (!element.getClass()) return;
    if (element.getIndex() >= numbers_.size())
      numbers_.resize(std::max<std::size_t>(element.getIndex() + std::size_t{1}, 2 * numbers_.size()));
    numbers_[element.getIndex()] = ++last_;
  }
  void set(ConstElement, meta::Property) {}
  void end() {}
  /// 0 for an element that documents leave out.
  std::uint64_t of(ConstElement element) const {
    return element.getIndex() < numbers_.size() ? numbers_[element.getIndex()] : 0;
  }

 private:
  std::vector<std::uint64_t> numbers_;  // by index
  std::uint64_t last_ = 0;
};

/// Hashes what a walk tells.
class Hashing {
 public:
  explicit Hashing(const Numbering& numbering) : numbering_(numbering) { text("kr0 digest 1"); }

  void number(std::uint64_t value) {
    char bytes[8];
    for (char& byte : bytes) {
      byte = static_cast<char>(value & 0xFF);
      value >>= 8;
    }
    hash_.add({bytes, sizeof bytes});
  }
  void text(std::string_view value) {
    number(value.size());
    hash_.add(value);
  }

  void begin(ConstElement element) {
    const meta::StructuredType type = element.getType();
    hash_.add('E');
    text(type->packageUri());
    text(type->qualifiedName());
    const std::optional<Identity> identity = element.getClass() ? element.getIdentity() : std::nullopt;
    if (!identity || identity->first == "#") return;
    hash_.add('I');
    text(identity->first);
    text(identity->second);
  }

  void set(ConstElement element, meta::Property property) {
    const std::size_t size = element.size(property);
    if (isContained(property) && size == 0) return;  // no format tells it from what is unset
    hash_.add('P');
    text(property->name());
    number(size);
    if (isContained(property)) return;
    for (std::size_t i = 0; i < size; ++i) value(element, property, i);
  }

  void end() { hash_.add('e'); }

  Digest finish() { return {hash_.finish()}; }

 private:
  void value(ConstElement element, meta::Property property, std::size_t i) {
    switch (property->getKind()) {
      case PropertyKind::number:
        return numberValue(element, property, i);
      case PropertyKind::enumeration:
        return literal(meta::Enum(property->getType()), element.getInteger(property, i));
      case PropertyKind::uuid:
        return text(element.getTextForm(property, i));
      case PropertyKind::association:
        return reference(element, property, i);
      default:
        return text(element.getText(property, i));
    }
  }

  void numberValue(ConstElement element, meta::Property property, std::size_t i) {
    const meta::StandardTypeInfo& info = meta::infoOf(property->getStandardType());
    switch (info.kind) {
      case meta::StandardKind::boolean:
        return number(element.getBoolean(property, i) ? 1 : 0);
      case meta::StandardKind::real:
        return number(std::bit_cast<std::uint64_t>(canonical(element.getReal(property, i))));
      case meta::StandardKind::unsignedInteger:
        return number(element.getUnsigned(property, i));
      default:
        return number(static_cast<std::uint64_t>(element.getInteger(property, i)));
    }
  }
  static double canonical(double value) {
    if (std::isnan(value)) return std::bit_cast<double>(std::uint64_t{0x7FF8000000000000});
    return value == 0 ? 0.0 : value;
  }

  void literal(meta::Enum type, std::int64_t value) {
    const meta::EnumLiteral* const found = type->findByNumber(value);
    found != nullptr ? text(found->name) : text(std::to_string(value));
  }

  void reference(ConstElement element, meta::Property property, std::size_t i) {
    if (const ConstElement target = element.getReference(property, i)) {
      hash_.add('R');
      return number(numbering_.of(target));
    }
    const UnresolvedReference texts = *element.getUnresolved(property, i);
    hash_.add(texts.qualifier ? 'Q' : 'U');
    text(texts.targetType);
    text(texts.id1);
    text(texts.id2);
    if (texts.qualifier) text(*texts.qualifier);
  }

  const Numbering& numbering_;
  Sha256 hash_;
};

template <class Visitor>
void walk(const Model& model, Plans& plans, Visitor& visitor) {
  Walk<Visitor> walk(plans, visitor);
  for (const ConstElement root : model.roots()) walk.run(root);
}

}  // namespace

std::string Digest::toText() const {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text.push_back(kDigits[byte >> 4]);
    text.push_back(kDigits[byte & 15]);
  }
  return text;
}

Digest digestOf(const Model& model) {
  Plans plans;
  Numbering numbering;
  walk(model, plans, numbering);
  Hashing hashing(numbering);
  hashing.number(model.roots().size());
  walk(model, plans, hashing);
  return hashing.finish();
}

}  // namespace kr::zero::study
