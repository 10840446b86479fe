#include <bit>
#include <cmath>
#include <limits>
#include <memory>
#include <ostream>
#include <unordered_map>
#include <vector>

#include "JsonText.h"
#include "Names.h"
#include "kr/zero/SetValues.h"
#include "kr/zero/io/SerializeCustomizer.h"
#include "kr/zero/json/Json.h"

namespace kr::zero::json {

namespace {

using cells::Cell;
using meta::Property;
using meta::PropertyKind;
using meta::StandardKind;

constexpr std::uint64_t kMostExact = std::uint64_t{1} << 53;  // from here on not every number is a double
constexpr std::uint64_t kProgressStep = 4096;

bool isHeld(Property property) {
  return property.get()->getKind() == PropertyKind::composition ||
         property.get()->getKind() == PropertyKind::datatype;
}

class ToString final : public PieceTaker {
 public:
  explicit ToString(std::string& text) : text_(text) {}
  void take(std::string_view piece) override { text_ += piece; }

 private:
  std::string& text_;
};

class ToStream final : public PieceTaker {
 public:
  explicit ToStream(std::ostream& stream) : stream_(stream) {}
  void take(std::string_view piece) override {
    stream_.write(piece.data(), static_cast<std::streamsize>(piece.size()));
    if (!stream_.good()) throw Error(ErrorCode::unwritable, "the stream takes no bytes");
  }

 private:
  std::ostream& stream_;
};

std::string escaped(std::string_view text) {
  std::string json;
  ToString taker(json);
  JsonText out(taker);
  out.inside(text);
  out.finish();
  return json;
}

/// Where each written element stands below its container, so that the pointer to it is found from below.
/// Worked out when the first reference asks for it.
class Places {
 public:
  explicit Places(const Model& model) : model_(model) {}

  std::uint32_t of(ConstElement container) const { return places_[container.getIndex()]; }
  /// The same for an element that may not be written.
  /// @param from,property what refers to the element, for the error.
  /// @throws Error for an element that the document does not hold.
  std::uint32_t of(ConstElement element, ConstElement from, Property property) {
    if (places_.empty()) note();
    const std::uint32_t place = find(element);
    if (place == kNowhere)
      throw Error(ErrorCode::inexpressible,
                  {.path = from.getPath() + "." + property->name(),
                   .problem = "refers to " + element.getPath() + ", which is not written"});
    return place;
  }

 private:
  static constexpr std::uint32_t kNowhere = ~std::uint32_t{0};

  std::uint32_t find(ConstElement element) const {
    const std::size_t index = element.getIndex();
    return index < places_.size() ? places_[index] : kNowhere;
  }

  void note() {
    std::uint32_t position = 0;
    for (const ConstElement root : model_.roots()) note(root, position++);
    for (const ConstElement element : model_.elements())
      if (find(element) != kNowhere) noteChildren(element);
  }

  void note(ConstElement element, std::uint32_t position) {
    const std::size_t index = element.getIndex();
    if (index >= places_.size()) places_.resize(index + index / 2 + 1, kNowhere);
    places_[index] = position;
  }

  void noteChildren(ConstElement element) {
    const SetValues set(element);
    for (std::size_t at = 0; at < set.size(); ++at) {
      const Property::Impl& property = *set.property(at).get();
      if (property.getKind() != PropertyKind::composition || !property.isWritten()) continue;
      std::uint32_t position = 0;
      for (const Cell cell : set.cells(at)) note(set.element(cell), position++);
    }
  }

  const Model& model_;
  std::vector<std::uint32_t> places_;  // by index
};

class Writer {
 public:
  Writer(const Model& model, const io::Progress& progress, PieceTaker& taker)
      : model_(model), progress_(progress), out_(taker), places_(model) {}

  void write() {
    out_ << "{\"" << kVersionKey << "\":";
    out_.number(kVersion);
    out_ << ",\"" << kPackagesKey << "\":[";
    std::string_view between;
    for (const std::string& uri : packageUris()) {
      out_ << between;
      out_.quoted(uri);
      between = ",";
    }
    out_ << "],\"" << kRootsKey << "\":[";
    between = {};
    for (const ConstElement root : model_.roots()) {
      out_ << between;
      open(root);
      while (!frames_.empty()) step();
      between = ",";
    }
    out_ << "\n]}\n";
    out_.finish();
  }

 private:
  /// A property as documents name it.
  struct Written {
    Property property;
    std::string key;  // with comma, quotes and colon; empty: the property is not written
    /// The pointer to the container of the element that was referred to last: many stand side by side.
    ConstElement lastContainer = {};
    Property lastContaining = {};
    std::string lastPointer = {};
  };
  struct Plan {
    std::string head;                 // of an element, up to its type
    std::vector<Written> properties;  // by slot
  };

  struct Frame {
    SetValues set;
    Plan* plan;
    std::size_t at = 0;        // of what is set, the one that is next or is being written
    std::size_t position = 0;  // of the child that is next
  };

  /// @throws Error for two packages that types' names do not tell apart.
  std::vector<std::string> packageUris() const {
    std::vector<std::string> uris;
    std::unordered_map<std::string, std::string> urisByName;
    for (const ustring& wide : io::SerializeCustomizer().getPackageUris(model_)) {
      const std::string& uri = uris.emplace_back(toUtf8(wide));
      const std::string name = model_.getRegistry().findPackageName(uri).value_or(uri);
      const auto [other, isNew] = urisByName.emplace(name, uri);
      if (!isNew && other->second != uri)
        throw Error(ErrorCode::inexpressible, "the packages \"" + other->second + "\" and \"" + uri +
                                                  "\" are both named " + name +
                                                  "; a document tells types by name and cannot hold both");
    }
    return uris;
  }

  Plan& planOf(meta::StructuredType type) {
    const std::size_t index = type->getIndex();
    if (index >= plans_.size()) plans_.resize(index + 1);
    if (plans_[index] == nullptr) plans_[index] = std::make_unique<Plan>(makePlan(type));
    return *plans_[index];
  }

  static Plan makePlan(meta::StructuredType type) {
    Plan plan;
    plan.head = meta::Class(type) ? "\n" : "";
    plan.head.append("{\"").append(kTypeKey).append("\":\"").append(escaped(type->qualifiedName())) += '"';
    for (const Property property : type->getAllProperties()) {
      Written& written = plan.properties.emplace_back();
      written.property = property;
      if (!property->isWritten()) continue;
      written.key = ",\"";
      if (property->name().starts_with(kMark)) written.key += kMark;
      written.key.append(escaped(property->name())).append("\":");
    }
    return plan;
  }

  void open(ConstElement element) {
    Plan& plan = planOf(element.getType());
    out_ << plan.head;
    if (element.getClass()) {
      if (progress_ && ++written_ % kProgressStep == 0 && !progress_(written_))
        throw Error(ErrorCode::cancelled, "writing was cancelled");
      if (const auto identity = element.getIdentity()) {
        out_ << ",\"" << kIdentityKey << "\":";
        pair(identity->first, identity->second);
      }
    }
    frames_.push_back({SetValues(element), &plan});
  }

  void pair(std::string_view first, std::string_view second) {
    out_ << '[';
    out_.quoted(first);
    out_ << ',';
    out_.quoted(second);
    out_ << ']';
  }

  /// Goes on with the innermost element, up to its next child or its end.
  void step() {
    Frame& frame = frames_.back();
    for (; frame.at < frame.set.size(); ++frame.at) {
      Written& written = frame.plan->properties[frame.set.slot(frame.at)];
      if (written.key.empty()) continue;
      if (!isHeld(written.property)) {
        out_ << written.key;
        values(frame, written);
      } else if (frame.position < frame.set.cells(frame.at).size()) {
        return nextChild(frame, written);
      } else {
        endChildren(frame, written);
      }
    }
    out_ << '}';
    frames_.pop_back();
  }

  void nextChild(Frame& frame, const Written& written) {
    if (frame.position != 0)
      out_ << ',';
    else
      out_ << written.key << (written.property->isMany() ? "[" : "");
    open(frame.set.element(frame.set.cells(frame.at)[frame.position++]));  // may move the frame
  }

  void endChildren(Frame& frame, const Written& written) {
    if (frame.position != 0 && written.property->isMany()) out_ << ']';
    frame.position = 0;
  }

  void values(const Frame& frame, Written& written) {
    if (frame.set.isEmpty(frame.at)) {
      out_ << "null";
      return;
    }
    const bool isMany = written.property->isMany();
    if (isMany) out_ << '[';
    const std::span<const Cell> cells = frame.set.cells(frame.at);
    for (std::size_t i = 0; i < cells.size(); ++i) {
      if (i != 0) out_ << ',';
      if (written.property.get()->getKind() == PropertyKind::association)
        reference(frame, written, cells[i]);
      else
        value(frame, written.property, cells[i], i);
    }
    if (isMany) out_ << ']';
  }

  void value(const Frame& frame, Property property, Cell cell, std::size_t position) {
    switch (property.get()->getKind()) {
      case PropertyKind::text:
      case PropertyKind::dateTime:
        return out_.quoted(cells::asText(cell)->view());
      case PropertyKind::number:
        return number(property.get()->getNumberInfo().kind, cell);
      case PropertyKind::enumeration:
        return literal(meta::Enum(property->getType()), static_cast<std::int64_t>(cell));
      default:
        out_.quoted(frame.set.element().getTextForm(property, position));
    }
  }

  void literal(meta::Enum type, std::int64_t number) {
    if (const meta::EnumLiteral* found = type->findByNumber(number)) return out_.quoted(found->name);
    out_ << '"';
    out_.number(number);
    out_ << '"';
  }

  void number(StandardKind kind, Cell cell) {
    switch (kind) {
      case StandardKind::boolean:
        out_ << (cell != 0 ? "true" : "false");
        return;
      case StandardKind::real:
        return real(std::bit_cast<double>(cell));
      case StandardKind::unsignedInteger:
        return whole(cell, cell);
      default:
        whole(static_cast<std::int64_t>(cell), static_cast<std::int64_t>(cell) < 0 ? -cell : cell);
    }
  }

  template <class Number>
  void whole(Number value, std::uint64_t magnitude) {
    const bool isText = magnitude >= kMostExact;
    if (isText) out_ << '"';
    out_.number(value);
    if (isText) out_ << '"';
  }

  void real(double value) {
    if (std::isnan(value))
      notANumber(value);
    else if (std::isinf(value))
      out_ << '"' << (value < 0 ? kMinusInfinity : kInfinity) << '"';
    else if (value == 0 && std::signbit(value))
      out_ << "-0.0";  // without the fraction it would be the whole number 0
    else
      out_.number(value);
  }

  /// Binary documents keep every bit of a number; what is not the usual "not a number" tells its own.
  void notANumber(double value) {
    out_ << '"' << kNotANumber;
    const auto bits = std::bit_cast<std::uint64_t>(value);
    if (bits != std::bit_cast<std::uint64_t>(std::numeric_limits<double>::quiet_NaN())) {
      out_ << '(';
      out_.number(bits, 16);
      out_ << ')';
    }
    out_ << '"';
  }

  // --- References

  void reference(const Frame& frame, Written& written, Cell cell) {
    out_ << "{\"" << kReferenceKey << "\":";
    if (frame.set.isUnresolved(frame.at, cell)) {
      missing(frame, written, cell);
    } else {
      out_ << '"';
      pointer(frame, written, frame.set.target(cell));
      out_ << '"';
    }
    out_ << '}';
  }

  void missing(const Frame& frame, const Written& written, Cell cell) {
    const cells::ReferenceTexts* const texts = cells::asUnresolved(cell);
    if (texts == nullptr)
      throw Error(ErrorCode::inexpressible,
                  {.path = frame.set.element().getPath() + "." + written.property->name(),
                   .problem = "the reference was never resolved"});
    pair(texts->id1->view(), texts->id2->view());
    out_ << ",\"" << kTypeKey << "\":";
    out_.quoted(texts->targetType->view());
    if (texts->qualifier == nullptr) return;
    out_ << ",\"" << kQualifierKey << "\":";
    out_.quoted(texts->qualifier->view());
  }

  /// "#/roots/0/books/3"
  void pointer(const Frame& frame, Written& written, ConstElement target) {
    const ConstElement container = target.getContainer();
    const Property containing = target.getContainingProperty();
    const std::uint32_t place = places_.of(target, frame.set.element(), written.property);
    if (!container) {
      out_ << kRootPointer;
      return out_.number(place);
    }
    if (written.lastContainer != container || written.lastContaining != containing) {
      written.lastPointer = pointerInto(container, containing);
      written.lastContainer = container;
      written.lastContaining = containing;
    }
    out_ << written.lastPointer;
    if (!containing->isMany()) return;
    out_ << '/';
    out_.number(place);
  }

  /// What stands before the positions of those in a property.
  std::string pointerInto(ConstElement container, Property containing) {
    std::vector<ConstElement> chain;
    for (ConstElement at = container; at; at = at.getContainer()) chain.push_back(at);
    std::string pointer(kRootPointer);
    pointer += std::to_string(places_.of(chain.back()));
    for (std::size_t i = chain.size() - 1; i-- > 0;) {
      const Property property = chain[i].getContainingProperty();
      appendName(pointer, property);
      if (property->isMany()) (pointer += '/') += std::to_string(places_.of(chain[i]));
    }
    appendName(pointer, containing);
    return pointer;
  }

  static void appendName(std::string& pointer, Property property) {
    pointer += '/';
    std::string name;
    for (const char c : property->name()) {
      if (c == '~')
        name += "~0";
      else if (c == '/')
        name += "~1";
      else
        name += c;
    }
    pointer += escaped(name);
  }

  const Model& model_;
  const io::Progress& progress_;
  JsonText out_;
  Places places_;
  std::vector<std::unique_ptr<Plan>> plans_;  // by the type's index
  std::vector<Frame> frames_;
  std::uint64_t written_ = 0;
};

void write(const Model& model, const io::Progress& progress, PieceTaker& taker) {
  try {
    Writer(model, progress, taker).write();
  } catch (...) {
    rethrowAsError({});
  }
}

}  // namespace

std::string writeJson(const Model& model, const io::Progress& progress) {
  std::string json;
  ToString taker(json);
  write(model, progress, taker);
  return json;
}

void writeJson(const Model& model, std::ostream& stream, const io::Progress& progress) {
  ToStream taker(stream);
  write(model, progress, taker);
}

}  // namespace kr::zero::json
