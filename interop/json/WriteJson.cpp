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
#include "kr/zero/TextHash.h"
#include "kr/zero/io/SerializeCustomizer.h"
#include "kr/zero/json/Json.h"

namespace kr::zero::json {

namespace {

using cells::Cell;
using meta::Property;
using meta::PropertyKind;
using meta::StandardKind;

constexpr std::uint64_t kMostExact = std::uint64_t{1} << 53;  // from here on not every number is a double

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

/// A property as documents name it.
struct Written {
  Property property;
  std::string key;      // with comma, quotes and colon; empty: the property is not written
  std::string pointer;  // of a composition: "/books/", or "/address" where there is one at most
};

/// What documents say of every element of a type.
struct Plan {
  std::string head;                 // of an element, up to its type
  std::vector<Written> properties;  // by slot
};

/// As a name stands in a JSON Pointer.
std::string asToken(const std::string& name) {
  std::string token;
  for (const char c : name) {
    if (c == '~')
      token += "~0";
    else if (c == '/')
      token += "~1";
    else
      token += c;
  }
  return escaped(token);
}

Written describe(Property property) {
  Written written{property, {}, {}};
  if (!property->isWritten()) return written;
  written.key = ",\"";
  if (property->name().starts_with(kMark)) written.key += kMark;
  written.key.append(escaped(property->name())).append("\":");
  if (property.get()->getKind() == PropertyKind::composition)
    written.pointer = "/" + asToken(property->name()) + (property->isMany() ? "/" : "");
  return written;
}

/// Plans, each made when its type is met first. They stay where they are.
class Plans {
 public:
  const Plan& of(meta::StructuredType type) {
    const std::size_t index = type->getIndex();
    if (index >= plans_.size()) plans_.resize(index + 1);
    if (plans_[index] == nullptr) plans_[index] = make(type);
    return *plans_[index];
  }

 private:
  static std::unique_ptr<Plan> make(meta::StructuredType type) {
    auto plan = std::make_unique<Plan>();
    plan->head = meta::Class(type) ? "\n" : "";
    plan->head.append("{\"").append(kTypeKey).append("\":\"").append(escaped(type->qualifiedName())) += '"';
    for (const Property property : type->getAllProperties()) plan->properties.push_back(describe(property));
    return plan;
  }

  std::vector<std::unique_ptr<Plan>> plans_;  // by the type's index
};

/// Where each written element stands below its container, so that the pointer to it is found from below, and
/// without a look at any element. Worked out when the first reference asks for it.
class Places {
 public:
  struct Place {
    const std::string* pointer = nullptr;  // into the container's property; null: this is a root, or nowhere
    std::uint32_t container = kNowhere;    // index
    std::uint32_t position = kNowhere;
  };
  static constexpr std::uint32_t kNowhere = ~std::uint32_t{0};

  Places(const Model& model, Plans& plans) : model_(model), plans_(plans) {}

  /// @param index of an element; one that is not written is nowhere.
  const Place& of(std::uint32_t index) {
    if (places_.empty()) note();
    return index < places_.size() ? places_[index] : nowhere_;
  }

 private:
  void note() {
    std::uint32_t position = 0;
    for (const ConstElement root : model_.roots()) place(root).position = position++;
    for (const ConstElement element : model_.elements())
      if (place(element).position != kNowhere) noteChildren(element);
  }

  Place& place(ConstElement element) {
    const std::size_t index = element.getIndex();
    if (index >= places_.size()) places_.resize(index + index / 2 + 1);
    return places_[index];
  }

  void noteChildren(ConstElement element) {
    const Plan& plan = plans_.of(element.getType());
    const std::uint32_t container = element.getIndex();
    const SetValues set(element);
    for (std::size_t at = 0; at < set.size(); ++at) {
      const Written& written = plan.properties[set.slot(at)];
      if (written.pointer.empty()) continue;
      std::uint32_t position = 0;
      for (const Cell cell : set.cells(at))
        place(set.element(cell)) = {&written.pointer, container, position++};
    }
  }

  const Model& model_;
  Plans& plans_;
  std::vector<Place> places_;  // by index
  const Place nowhere_;
};

class Writer {
 public:
  Writer(const Model& model, const io::Progress& progress, PieceTaker& taker)
      : model_(model), progress_(progress), out_(taker), places_(model, plans_) {}

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
  struct Frame {
    SetValues set;
    const Plan* plan;
    std::size_t at = 0;        // of what is set, the one that is next or is being written
    std::size_t position = 0;  // of the child that is next
  };

  /// @throws Error for two packages that types' names do not tell apart.
  std::vector<std::string> packageUris() const {
    std::vector<std::string> uris;
    std::unordered_map<std::string, std::string, TextHash> urisByName;
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

  void open(ConstElement element) {
    const Plan& plan = plans_.of(element.getType());
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
      const Written& written = frame.plan->properties[frame.set.slot(frame.at)];
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

  void values(const Frame& frame, const Written& written) {
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

  void reference(const Frame& frame, const Written& written, Cell cell) {
    out_ << "{\"" << kReferenceKey << "\":";
    if (frame.set.isUnresolved(frame.at, cell)) {
      missing(frame, written, cell);
    } else {
      pointer(frame, written, cell);
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

  /// "#/roots/0/books/3", in quotes.
  void pointer(const Frame& frame, const Written& written, Cell cell) {
    chain_.clear();
    for (std::uint32_t index = cells::targetIndex(cell); index != Places::kNowhere;
         index = chain_.back().container)
      chain_.push_back(places_.of(index));
    if (chain_.back().position == Places::kNowhere)
      throw Error(ErrorCode::inexpressible,
                  {.path = frame.set.element().getPath() + "." + written.property->name(),
                   .problem = "refers to " + frame.set.target(cell).getPath() + ", which is not written"});
    ++pointers_;
    if (chain_.size() > kLongChain) countLong(frame, written);
    out_ << '"' << kRootPointer;
    out_.number(chain_.back().position);
    for (std::size_t i = chain_.size() - 1; i-- > 0;) {
      out_ << *chain_[i].pointer;
      if (chain_[i].pointer->back() == '/') out_.number(chain_[i].position);
    }
    out_ << '"';
  }

  /// A pointer is as long as its target is deep, so a deep model could become a document as large as its
  /// square.
  void countLong(const Frame& frame, const Written& written) {
    constexpr std::uint64_t kFree = std::uint64_t{1} << 26;
    constexpr std::uint64_t kMostMean = 4096;  // far above that of models that are not made to be deep
    for (std::size_t i = chain_.size() - 1; i-- > 0;) longPointerBytes_ += chain_[i].pointer->size();
    if (longPointerBytes_ > kFree && (longPointerBytes_ - kFree) / kMostMean > pointers_)
      throw Error(
          ErrorCode::inexpressible,
          {.path = frame.set.element().getPath() + "." + written.property->name(),
           .problem = "references lead to elements so deep that the paths to them would be most of the "
                      "document, more than " +
                      std::to_string(kMostMean) + " bytes for each reference"});
  }

  static constexpr std::size_t kLongChain = 50;

  const Model& model_;
  const io::Progress& progress_;
  JsonText out_;
  Plans plans_;
  Places places_;
  std::vector<Frame> frames_;
  std::vector<Places::Place> chain_;  // from an element up to its root
  std::uint64_t written_ = 0;
  std::uint64_t pointers_ = 0;
  std::uint64_t longPointerBytes_ = 0;
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
