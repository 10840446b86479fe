#include <bit>
#include <charconv>
#include <cmath>
#include <istream>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "JsonText.h"
#include "Names.h"
#include "Pointer.h"
#include "kr/zero/TextHash.h"
#include "kr/zero/json/Json.h"

namespace kr::zero::json {

namespace {

using meta::Property;
using meta::PropertyKind;

/// What the parser of JSON tells, one after the other, becomes a model. References wait until all elements
/// are there.
class Reader {
 public:
  explicit Reader(const io::LoadOptions& options)
      : options_(options),
        registry_(options.registry == nullptr ? meta::MetaRegistry::instance() : *options.registry),
        model_(registry_) {}

  Model take() {
    if (!hasVersion_) fail("it has no \"" + std::string(kVersionKey) + "\", the version of the format");
    for (const Waiting& reference : waiting_) resolve(reference);
    return std::move(model_);
  }

  /// Where reading had come to.
  std::string path() const {
    std::string path;
    for (const Frame& frame : frames_) {
      if (frame.element) path = frame.element.getPath();
      if (frame.property) path += "." + frame.property->name();
    }
    return path;
  }

  // --- Called by the parser

  bool null() {
    if (skipping()) return true;
    Slot slot = slotFor("null");
    if (slot.isItem) fail("a collection has no place for null");
    if (!isHeld(slot.property)) slot.holder.setEmpty(slot.property);  // no child is no child
    return true;
  }
  bool boolean(bool value) {
    if (skipping()) return true;
    Slot slot = slotFor("a Boolean");
    slot.isItem ? slot.holder.addBoolean(slot.property, value) : slot.holder.setBoolean(slot.property, value);
    return true;
  }
  bool number_integer(std::int64_t value) {
    if (skipping()) return true;
    return number(value);
  }
  bool number_unsigned(std::uint64_t value) {
    if (skipping()) return true;
    if (isAt(Place::document, kVersionKey)) {
      if (value != kVersion)
        fail("it has the version " + std::to_string(value) + ", and only 1 is known here");
      return hasVersion_ = true;
    }
    return number(value);
  }
  bool number_float(double value, const std::string&) {
    if (skipping()) return true;
    putReal(slotFor("a number"), value);
    return true;
  }
  bool string(std::string& text) {
    if (skipping()) return true;
    if (frames_.empty()) fail("it is a text");
    Frame& frame = frames_.back();
    switch (frame.place) {
      case Place::packages:
        return requirePackage(text);
      case Place::pair:
        pair_.push_back(std::move(text));
        return true;
      case Place::reference:
        return referenceText(frame, text);
      default:
        break;
    }
    if (frame.place == Place::element && frame.key == kTypeKey) return setType(frame, text);
    putText(slotFor("a text"), text);
    return true;
  }
  bool binary(nlohmann::json::binary_t&) { fail("it holds binary data"); }

  bool start_object(std::size_t) {
    if (skipping(+1)) return true;
    if (frames_.empty()) {
      push({Place::document});
      return true;
    }
    Frame& frame = frames_.back();
    if (frame.place == Place::roots) return startElement({}, {});
    Slot slot = slotFor("an object");
    const PropertyKind kind = slot.property.get()->getKind();
    if (kind == PropertyKind::association) {
      reference_ = {};
      pair_.clear();
      push({Place::reference, slot.holder, slot.property});
      return true;
    }
    if (kind != PropertyKind::composition && kind != PropertyKind::datatype)
      fail("an object is no value of type " + slot.property->getType()->qualifiedName());
    return startElement(slot.holder, slot.property);
  }
  bool key(std::string& key) {
    if (skipping()) return true;
    Frame& frame = frames_.back();
    frame.key = std::move(key);
    if (frame.place == Place::element) findProperty(frame);
    if (frame.place == Place::document && frame.key != kVersionKey && frame.key != kPackagesKey &&
        frame.key != kRootsKey)
      fail("\"" + frame.key + "\" means nothing here");
    return true;
  }
  bool end_object() {
    if (skipping(-1)) return true;
    Frame& frame = frames_.back();
    if (frame.place == Place::element) endElement(frame);
    if (frame.place == Place::reference) endReference(frame);
    frames_.pop_back();
    return true;
  }

  bool start_array(std::size_t) {
    if (skipping(+1)) return true;
    if (frames_.empty()) fail("it is an array");
    if (isAt(Place::document, kPackagesKey)) {
      push({Place::packages});
    } else if (isAt(Place::document, kRootsKey)) {
      push({Place::roots});
    } else if (isAt(Place::element, kIdentityKey) || isAt(Place::reference, kReferenceKey)) {
      pair_.clear();
      push({Place::pair});
    } else {
      Slot slot = slotFor("an array");
      if (slot.isItem || !slot.property->isMany())
        fail("an array is no value of property \"" + slot.property->name() + "\"");
      push({Place::list, slot.holder, slot.property});
    }
    return true;
  }
  bool end_array() {
    if (skipping(-1)) return true;
    const Frame frame = std::move(frames_.back());
    frames_.pop_back();
    if (frame.place == Place::pair) endPair();
    if (frame.place == Place::list && frame.items == 0 && !isHeld(frame.property))
      Element(frame.element).setEmpty(frame.property);
    return true;
  }

  bool parse_error(std::size_t position, const std::string&, const nlohmann::json::exception& error) {
    const std::string text = error.what();
    const std::size_t place = text.find(": ");
    throw Error(ErrorCode::damaged, {.file = options_.name,
                                     .byteOffset = position,
                                     .path = path(),
                                     .problem = "it is not well-formed JSON" +
                                                (place == text.npos ? std::string() : text.substr(place))});
  }

 private:
  enum class Place { document, packages, roots, element, list, reference, pair };

  /// An object or array that is open.
  struct Frame {
    Place place;
    Element element = {};    // of a list or reference the one that holds it; may not be there yet
    Property property = {};  // that the key names, or that holds the list or reference
    std::string key = {};
    Element holder = {};            // of an element
    Property holdingProperty = {};  // of an element
    std::size_t items = 0;          // of a list
  };

  /// Where a value goes.
  struct Slot {
    Element holder;
    Property property;
    bool isItem;  // of a collection
  };

  /// The texts of the reference that is being read.
  struct OpenReference {
    std::string pointer;
    std::string type;
    std::optional<std::string> qualifier;
  };

  /// A reference to what may come later.
  struct Waiting {
    Element holder;
    Property property;
    std::string pointer;  // empty: the target is in no document of ours
    std::size_t missing = 0;
  };

  [[noreturn]] void fail(const std::string& problem) const {
    throw Error(ErrorCode::doesNotFit, {.file = options_.name, .path = path(), .problem = problem});
  }

  void push(Frame frame) { frames_.push_back(std::move(frame)); }

  bool isAt(Place place, std::string_view key) const {
    return !frames_.empty() && frames_.back().place == place && frames_.back().key == key;
  }

  /// Whether what comes belongs to a property that is left out.
  /// @param step +1 for what opens, -1 for what closes.
  bool skipping(int step = 0) {
    if (!isSkipping_) return false;
    skipDepth_ += static_cast<std::size_t>(step);
    if (skipDepth_ == 0) isSkipping_ = false;
    return true;
  }

  static bool isHeld(Property property) {
    const PropertyKind kind = property.get()->getKind();
    return kind == PropertyKind::composition || kind == PropertyKind::datatype;
  }

  // --- Elements

  bool startElement(Element holder, Property property) {
    if (++depth_ > options_.limits.depth)
      throw Error(ErrorCode::overLimit,
                  {.file = options_.name,
                   .path = path(),
                   .problem = "elements lie deeper than " + std::to_string(options_.limits.depth)});
    Frame frame{Place::element};
    frame.holder = holder;
    frame.holdingProperty = property;
    push(std::move(frame));
    return true;
  }

  bool setType(Frame& frame, const std::string& name) {
    if (frame.element) fail("\"$type\" comes before all properties");
    make(frame, typeNamed(name));
    return true;
  }

  meta::StructuredType typeNamed(const std::string& name) {
    meta::StructuredType& type = types_[name];
    if (!type) type = meta::StructuredType(registry_.findType(toUstring(name), packages_));
    if (!type) fail("there is no type \"" + name + "\" with properties");
    return type;
  }

  /// The element of a frame; one without a type has that of the property which holds it.
  Element& elementOf(Frame& frame) {
    if (!frame.element) {
      if (!frame.holder) fail("an element begins with \"$type\"");
      make(frame, meta::StructuredType(frame.holdingProperty->getType()));
    }
    return frame.element;
  }

  void make(Frame& frame, meta::StructuredType type) {
    if (!frame.holder) {
      const meta::Class rootClass(type);
      if (!rootClass) fail("a value of the datatype " + type->qualifiedName() + " is no root");
      frame.element = model_.createRoot(rootClass);
    } else {
      frame.element = frame.holder.create(frame.holdingProperty, type);
    }
    if (!frame.element.getClass()) return;
    if (!early_.empty()) frame.element.setIdentity(early_[0], early_[1]);
    early_.clear();
    if (++elements_ > options_.limits.elements)
      throw Error(ErrorCode::overLimit,
                  {.file = options_.name,
                   .problem = "it has more than " + std::to_string(options_.limits.elements) + " elements"});
    if (options_.progress && elements_ % kProgressStep == 0 && !options_.progress(elements_))
      throw Error(ErrorCode::cancelled, {.file = options_.name, .problem = "reading was cancelled"});
  }

  void endElement(Frame& frame) {
    static_cast<void>(elementOf(frame));
    --depth_;
  }

  /// The identity of an element, which may come before its type, or of what a reference means.
  void endPair() {
    if (pair_.size() != 2) fail("an identity has two parts, not " + std::to_string(pair_.size()));
    Frame& frame = frames_.back();
    if (frame.place == Place::reference) return;
    if (frame.element)
      frame.element.setIdentity(pair_[0], pair_[1]);
    else
      early_ = std::move(pair_);
  }

  void findProperty(Frame& frame) {
    frame.property = {};
    if (frame.key == kTypeKey || frame.key == kIdentityKey) return;
    std::string_view name = frame.key;
    if (name.starts_with(kMark)) {
      name.remove_prefix(1);
      if (!name.starts_with(kMark)) fail("\"" + frame.key + "\" means nothing here");
    }
    const Element& element = elementOf(frame);
    frame.property = element.getType()->findProperty(name);
    if (frame.property && frame.property->isStored() && !frame.property->isTransient()) return;
    const std::string problem =
        "type " + element.getType()->qualifiedName() + " has no property \"" + std::string(name) + "\"";
    if (!options_.skipped) fail(problem);
    options_.skipped(element.getPath() + ": " + problem);
    frame.property = {};
    isSkipping_ = true;
    skipDepth_ = 0;
  }

  /// Where the value that comes now goes.
  /// @param what it is, for errors.
  Slot slotFor(const char* what) {
    if (frames_.empty()) fail(std::string("it is ") + what);
    Frame& frame = frames_.back();
    const bool isItem = frame.place == Place::list;
    if ((!isItem && frame.place != Place::element) || !frame.property)
      fail(std::string(what) + " has no place here");
    if (isItem) ++frame.items;
    return {frame.element, frame.property, isItem};
  }

  // --- Values

  template <class Number>
  bool number(Number value) {
    Slot slot = slotFor("a number");
    const meta::Property::Impl& property = *slot.property.get();
    if (property.getKind() == PropertyKind::number &&
        property.getNumberInfo().kind == meta::StandardKind::real)
      putReal(slot, static_cast<double>(value));
    else if constexpr (std::is_signed_v<Number>)
      slot.isItem ? slot.holder.addInteger(slot.property, value)
                  : slot.holder.setInteger(slot.property, value);
    else
      slot.isItem ? slot.holder.addUnsigned(slot.property, value)
                  : slot.holder.setUnsigned(slot.property, value);
    return true;
  }

  static void putReal(Slot slot, double value) {
    slot.isItem ? slot.holder.addReal(slot.property, value) : slot.holder.setReal(slot.property, value);
  }

  static void putText(Slot slot, const std::string& text) {
    const meta::Property::Impl& property = *slot.property.get();
    if (property.getKind() == PropertyKind::text || property.getKind() == PropertyKind::dateTime) {
      slot.isItem ? slot.holder.addText(slot.property, text) : slot.holder.setText(slot.property, text);
      return;
    }
    if (property.getKind() == PropertyKind::number &&
        property.getNumberInfo().kind == meta::StandardKind::real)
      if (const auto value = specialReal(text)) return putReal(slot, *value);
    slot.isItem ? slot.holder.addTextForm(slot.property, text) : slot.holder.setTextForm(slot.property, text);
  }

  static std::optional<double> specialReal(std::string_view text) {
    using Limits = std::numeric_limits<double>;
    if (text == kInfinity) return Limits::infinity();
    if (text == kMinusInfinity) return -Limits::infinity();
    if (text == kNotANumber) return Limits::quiet_NaN();
    if (!text.starts_with(kNotANumber) || !text.ends_with(')')) return std::nullopt;
    std::uint64_t bits = 0;
    const char* const begin = text.data() + kNotANumber.size() + 1;
    const char* const end = text.data() + text.size() - 1;
    const auto [behind, error] = std::from_chars(begin, end, bits, 16);
    const double value = std::bit_cast<double>(bits);
    if (error != std::errc() || behind != end || !std::isnan(value)) return std::nullopt;
    return value;
  }

  bool requirePackage(const std::string& uri) {
    if (!registry_.hasPackage(uri)) fail("the package \"" + uri + "\" is not known; give its meta model");
    packages_.push_back(toUstring(uri));
    return true;
  }

  // --- References

  bool referenceText(const Frame& frame, std::string& text) {
    if (frame.key == kReferenceKey)
      reference_.pointer = std::move(text);
    else if (frame.key == kTypeKey)
      reference_.type = std::move(text);
    else if (frame.key == kQualifierKey)
      reference_.qualifier = std::move(text);
    else
      fail("\"" + frame.key + "\" means nothing in a reference");
    return true;
  }

  void endReference(Frame& frame) {
    Waiting waiting{frame.element, frame.property, std::move(reference_.pointer)};
    if (!pair_.empty()) {
      waiting.pointer.clear();
      waiting.missing = missing_.size();
      missing_.push_back({reference_.type, pair_[0], pair_[1], reference_.qualifier});
    } else if (waiting.pointer.empty()) {
      fail("a reference has a \"" + std::string(kReferenceKey) + '"');
    }
    waiting_.push_back(std::move(waiting));
  }

  void resolve(const Waiting& reference) {
    Element holder = reference.holder;
    if (reference.pointer.empty())
      return holder.putUnresolved(reference.property, missing_[reference.missing]);
    const Element target = follow(model_, reference.pointer);
    if (!target)
      throw Error(ErrorCode::doesNotFit,
                  {.file = options_.name,
                   .path = holder.getPath() + "." + reference.property->name(),
                   .problem = "the reference \"" + reference.pointer + "\" leads to no element"});
    holder.putReference(reference.property, target);
  }

  const io::LoadOptions& options_;
  const meta::MetaRegistry& registry_;
  Model model_;
  std::vector<ustring> packages_;  // that the document lists
  std::unordered_map<std::string, meta::StructuredType, TextHash> types_;
  std::vector<Frame> frames_;
  std::vector<std::string> pair_;   // of the identity that is being read
  std::vector<std::string> early_;  // identity of an element that is not there yet
  OpenReference reference_;
  std::vector<Waiting> waiting_;
  std::vector<UnresolvedReference> missing_;
  std::uint64_t depth_ = 0;
  std::uint64_t elements_ = 0;
  bool hasVersion_ = false;
  bool isSkipping_ = false;
  std::size_t skipDepth_ = 0;
};

/// The bytes of a stream, counted.
class CountedBytes {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = char;

  CountedBytes() = default;
  CountedBytes(std::streambuf& buffer, const io::LoadOptions& options)
      : buffer_(&buffer), options_(&options) {}

  char operator*() const { return std::char_traits<char>::to_char_type(buffer_->sgetc()); }
  CountedBytes& operator++() {
    if (++count_ > options_->limits.bytes)
      throw Error(ErrorCode::overLimit, {.file = options_->name,
                                         .problem = "the document has more than " +
                                                    std::to_string(options_->limits.bytes) + " bytes"});
    buffer_->sbumpc();
    return *this;
  }
  friend bool operator==(const CountedBytes& a, const CountedBytes& b) { return a.isAtEnd() == b.isAtEnd(); }

 private:
  bool isAtEnd() const {
    return buffer_ == nullptr ||
           std::char_traits<char>::eq_int_type(buffer_->sgetc(), std::char_traits<char>::eof());
  }

  std::streambuf* buffer_ = nullptr;
  const io::LoadOptions* options_ = nullptr;
  std::uint64_t count_ = 0;
};

template <class Iterator>
Model read(io::LoadOptions options, Iterator begin, Iterator end) {
  if (options.name.empty()) options.name = "the document";
  Reader reader(options);
  try {
    nlohmann::json::sax_parse(begin, end, &reader);
    return reader.take();
  } catch (const ModelError& error) {
    // What a model refuses is the document's fault here.
    ErrorDetails details = error.getDetails();
    details.file = options.name;
    std::throw_with_nested(Error(ErrorCode::doesNotFit, std::move(details)));
  } catch (...) {
    rethrowAsError({.file = options.name, .path = reader.path()});
  }
}

}  // namespace

Model readJson(std::string_view text, const io::LoadOptions& options) {
  if (text.size() > options.limits.bytes)
    throw Error(ErrorCode::overLimit,
                {.file = options.name.empty() ? "the document" : options.name,
                 .problem = "the document has more than " + std::to_string(options.limits.bytes) + " bytes"});
  return read(options, text.begin(), text.end());
}

Model readJson(std::istream& stream, const io::LoadOptions& options) {
  return read(options, CountedBytes(*stream.rdbuf(), options), CountedBytes());
}

bool looksLikeJson(std::string_view beginning) {
  const std::size_t first = beginning.find_first_not_of(" \t\r\n");
  if (first == beginning.npos || beginning[first] != '{') return false;
  const std::size_t key = beginning.find_first_not_of(" \t\r\n", first + 1);
  return key != beginning.npos && beginning[key] == '"';
}

}  // namespace kr::zero::json
