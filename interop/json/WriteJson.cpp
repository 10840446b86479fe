#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <limits>
#include <ostream>
#include <unordered_map>
#include <vector>

#include "Names.h"
#include "kr/zero/io/SerializeCustomizer.h"
#include "kr/zero/json/Json.h"

namespace kr::zero::json {

namespace {

using meta::Property;
using meta::PropertyKind;
using meta::StandardKind;

constexpr std::size_t kPiece = std::size_t{1} << 16;
constexpr std::uint64_t kMostExact = std::uint64_t{1} << 53;  // from here on not every number is a double
constexpr std::uint64_t kProgressStep = 4096;

/// Text in pieces for whoever takes them.
template <class Take>
class Out {
 public:
  explicit Out(Take take) : take_(std::move(take)) {}

  Out& operator<<(std::string_view text) {
    text_ += text;
    return *this;
  }
  Out& operator<<(char c) {
    text_ += c;
    return *this;
  }
  void quoted(std::string_view text) {
    text_ += '"';
    inside(text);
    text_ += '"';
  }
  /// What stands between quotes.
  void inside(std::string_view text) {
    std::size_t done = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
      const auto c = static_cast<unsigned char>(text[i]);
      if (c >= 0x20 && c != '"' && c != '\\') continue;
      text_.append(text, done, i - done);
      escape(c);
      done = i + 1;
    }
    text_.append(text, done);
  }
  template <class Number, class... Base>
  void number(Number value, Base... base) {
    std::array<char, 32> digits;
    text_.append(digits.data(),
                 std::to_chars(digits.data(), digits.data() + digits.size(), value, base...).ptr);
  }
  void passOn(bool isEnd = false) {
    if (text_.size() < kPiece && !isEnd) return;
    take_(text_);
    text_.clear();
  }

 private:
  void escape(unsigned char c) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    switch (c) {
      case '"':
      case '\\':
        (text_ += '\\') += static_cast<char>(c);
        return;
      case '\n':
        text_ += "\\n";
        return;
      case '\t':
        text_ += "\\t";
        return;
      default:
        ((text_ += "\\u00") += kDigits[c >> 4]) += kDigits[c & 15];
    }
  }

  Take take_;
  std::string text_;
};

/// Where each element stands below its container, so that the pointer to it is found from below.
class Places {
 public:
  explicit Places(const Model& model) {
    std::uint32_t position = 0;
    for (const ConstElement root : model.roots()) note(root, position++);
    for (const ConstElement element : model.elements()) noteChildren(element);
  }
  std::uint32_t of(ConstElement element) const { return places_[element.getIndex()]; }

 private:
  void note(ConstElement element, std::uint32_t position) {
    const std::size_t index = element.getIndex();
    if (index >= places_.size()) places_.resize(index + index / 2 + 1);
    places_[index] = position;
  }
  void noteChildren(ConstElement element) {
    Property last;
    std::uint32_t position = 0;
    for (const ConstElement child : element.children()) {
      const Property property = child.getContainingProperty();
      position = property == last ? position + 1 : 0;
      last = property;
      note(child, position);
    }
  }

  std::vector<std::uint32_t> places_;
};

template <class Take>
class Writer {
 public:
  Writer(const Model& model, const io::Progress& progress, Take take)
      : model_(model), progress_(progress), out_(std::move(take)), places_(model) {}

  void write() {
    out_ << "{\"" << kVersionKey << "\":";
    out_.number(kVersion);
    out_ << ",\"" << kPackagesKey << "\":[";
    std::string_view between;
    for (const ustring& uri : io::SerializeCustomizer().getPackageUris(model_)) {
      out_ << between;
      out_.quoted(toUtf8(uri));
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
    out_.passOn(true);
  }

 private:
  /// A property as documents name it.
  struct Written {
    Property property;
    std::string key;  // with quotes and colon
  };
  using Properties = std::vector<Written>;

  struct Frame {
    ConstElement element;
    const Properties* properties;
    std::size_t next = 0;      // of the properties, or the one that is being written
    std::size_t position = 0;  // of the child that is next
  };

  const Properties& propertiesOf(meta::StructuredType type) {
    const auto [place, isNew] = properties_.try_emplace(type.get());
    if (isNew)
      for (const Property property : type->getAllProperties())
        if (property->isStored() && !property->isTransient())
          place->second.push_back({property, keyOf(property->name())});
    return place->second;
  }

  static std::string keyOf(const std::string& name) {
    std::string key;
    Out out([&key](const std::string& text) { key = text; });
    out << ",\"";
    if (name.front() == kMark) out << kMark;
    out.inside(name);
    out << "\":";
    out.passOn(true);
    return key;
  }

  void open(ConstElement element) {
    out_.passOn();
    if (element.getClass()) {
      if (progress_ && ++written_ % kProgressStep == 0 && !progress_(written_))
        throw Error(ErrorCode::cancelled, "writing was cancelled");
      out_ << '\n';
    }
    out_ << "{\"" << kTypeKey << "\":";
    out_.quoted(element.getType()->qualifiedName());
    if (const auto identity = element.getClass() ? element.getIdentity() : std::nullopt) {
      out_ << ",\"" << kIdentityKey << "\":";
      pair(identity->first, identity->second);
    }
    frames_.push_back({element, &propertiesOf(element.getType())});
  }

  void pair(std::string_view first, std::string_view second) {
    out_ << '[';
    out_.quoted(first);
    out_ << ',';
    out_.quoted(second);
    out_ << ']';
  }

  void step() {
    Frame& frame = frames_.back();
    if (frame.next == frame.properties->size()) {
      out_ << '}';
      frames_.pop_back();
      return;
    }
    const Written& written = (*frame.properties)[frame.next];
    const PropertyState state = frame.element.getState(written.property);
    if (state == PropertyState::value && isHeld(written.property)) return nextChild(frame, written);
    ++frame.next;
    if (state == PropertyState::unset) return;
    out_ << written.key;
    if (state == PropertyState::empty)
      out_ << "null";
    else
      values(frame.element, written.property);
  }

  static bool isHeld(Property property) {
    return property.get()->getKind() == PropertyKind::composition ||
           property.get()->getKind() == PropertyKind::datatype;
  }

  void nextChild(Frame& frame, const Written& written) {
    const bool isMany = written.property->isMany();
    if (frame.position == frame.element.size(written.property)) {
      if (isMany) out_ << ']';
      frame.position = 0;
      ++frame.next;
      return;
    }
    if (frame.position != 0)
      out_ << ',';
    else
      out_ << written.key << (isMany ? "[" : "");
    open(frame.element.getElement(written.property, frame.position++));
  }

  void values(ConstElement element, Property property) {
    const std::size_t count = element.size(property);
    if (property->isMany()) out_ << '[';
    for (std::size_t i = 0; i < count; ++i) {
      if (i != 0) out_ << ',';
      if (property.get()->getKind() == PropertyKind::association)
        reference(element, property, i);
      else
        value(element, property, i);
    }
    if (property->isMany()) out_ << ']';
  }

  void value(ConstElement element, Property property, std::size_t position) {
    switch (property.get()->getKind()) {
      case PropertyKind::text:
      case PropertyKind::dateTime:
        return out_.quoted(element.getText(property, position));
      case PropertyKind::number:
        return number(element, property, position);
      default:
        out_.quoted(element.getTextForm(property, position));
    }
  }

  void number(ConstElement element, Property property, std::size_t position) {
    switch (property.get()->getNumberInfo().kind) {
      case StandardKind::boolean:
        out_ << (element.getBoolean(property, position) ? "true" : "false");
        return;
      case StandardKind::real:
        return real(element.getReal(property, position));
      case StandardKind::unsignedInteger:
        return whole(element.getUnsigned(property, position), element.getUnsigned(property, position));
      default: {
        const std::int64_t value = element.getInteger(property, position);
        whole(value, value < 0 ? -static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value));
      }
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

  void reference(ConstElement element, Property property, std::size_t position) {
    out_ << "{\"" << kReferenceKey << "\":";
    if (const auto missing = element.getUnresolved(property, position)) {
      pair(missing->id1, missing->id2);
      out_ << ",\"" << kTypeKey << "\":";
      out_.quoted(missing->targetType);
      if (missing->qualifier) {
        out_ << ",\"" << kQualifierKey << "\":";
        out_.quoted(*missing->qualifier);
      }
    } else {
      out_ << '"';
      pointer(element.getReference(property, position));
      out_ << '"';
    }
    out_ << '}';
  }

  /// "#/roots/0/books/3"
  void pointer(ConstElement target) {
    chain_.clear();
    for (ConstElement at = target; at; at = at.getContainer()) chain_.push_back(at);
    out_ << kRootPointer;
    out_.number(places_.of(chain_.back()));
    for (std::size_t i = chain_.size() - 1; i-- > 0;) {
      const Property property = chain_[i].getContainingProperty();
      out_ << '/';
      for (const char c : property->name()) {
        if (c == '~')
          out_ << "~0";
        else if (c == '/')
          out_ << "~1";
        else
          out_.inside({&c, 1});
      }
      if (!property->isMany()) continue;
      out_ << '/';
      out_.number(places_.of(chain_[i]));
    }
  }

  const Model& model_;
  const io::Progress& progress_;
  Out<Take> out_;
  Places places_;
  std::unordered_map<const meta::Type::Impl*, Properties> properties_;
  std::vector<Frame> frames_;
  std::vector<ConstElement> chain_;
  std::uint64_t written_ = 0;
};

template <class Take>
void write(const Model& model, const io::Progress& progress, Take take) {
  try {
    Writer(model, progress, std::move(take)).write();
  } catch (...) {
    rethrowAsError({});
  }
}

}  // namespace

std::string writeJson(const Model& model, const io::Progress& progress) {
  std::string json;
  write(model, progress, [&json](const std::string& piece) { json += piece; });
  return json;
}

void writeJson(const Model& model, std::ostream& stream, const io::Progress& progress) {
  write(model, progress, [&stream](const std::string& piece) {
    stream.write(piece.data(), static_cast<std::streamsize>(piece.size()));
    if (!stream.good()) throw Error(ErrorCode::unwritable, "the stream takes no bytes");
  });
}

}  // namespace kr::zero::json
