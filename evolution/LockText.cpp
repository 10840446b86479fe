// The text of a lock file (docs/formats/lock.md):
//
//     {"kr0-lock": 1, "packages": {URI: {"name": NAME, "types": {NAME: type}}}}
//     type     = {"kind": KIND, "literals": {NUMBER: literal}, "numbers": {NUMBER: property}, "retired":
//     true,
//                 "supertypes": [NAME]}
//     property = {"bounds": "0..1", "kind": KIND, "name": NAME, "retired": true, "type": NAME}
//     literal  = {"name": NAME, "retired": true}

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <unordered_set>

#include "LockContents.h"
#include "kr/zero/TextHash.h"
#include "kr/zero/evolution/JsonTree.h"

namespace kr::zero::evolution {

namespace {

using SortedJson = nlohmann::json;

constexpr int kLockVersion = 1;
constexpr std::size_t kDeepestLock = 7;  // levels of a lock file
constexpr const char* kMark = "kr0-lock";
constexpr std::uint32_t kMostNumber = 16382;

[[noreturn]] void fail(const std::string& what) { throw std::runtime_error(what); }

std::string inQuotes(const std::string& text) { return SortedJson(text).dump(); }

// --- Reading

/// Refuses what is no JSON, nests too deep or has a key twice in an object. (The parser of documents can be
/// told to look for that too, but then takes time that grows with the square of an object's size.)
class Shape {
 public:
  bool null() { return true; }
  bool boolean(bool) { return true; }
  bool number_integer(SortedJson::number_integer_t) { return true; }
  bool number_unsigned(SortedJson::number_unsigned_t) { return true; }
  bool number_float(SortedJson::number_float_t, const std::string&) { return true; }
  bool string(std::string&) { return true; }
  bool binary(SortedJson::binary_t&) { return true; }
  bool start_object(std::size_t) { return open(); }
  bool key(std::string& key) {
    if (!keys_.back().insert(key).second) fail("the key " + inQuotes(key) + " is there twice");
    return true;
  }
  bool end_object() { return close(); }
  bool start_array(std::size_t) { return open(); }
  bool end_array() { return close(); }
  bool parse_error(std::size_t position, const std::string&, const SortedJson::exception& error) {
    if (dynamic_cast<const SortedJson::out_of_range*>(&error) != nullptr)
      fail("it holds a number that is too large");
    fail("it is not JSON from byte " + std::to_string(position) + " on");
  }

 private:
  bool open() {
    if (keys_.size() == kDeepestLock) fail("its values are nested too deep");
    keys_.emplace_back();
    return true;
  }
  bool close() {
    keys_.pop_back();
    return true;
  }

  std::vector<std::unordered_set<std::string, TextHash>> keys_;  // of what is open, innermost last
};

void parse(std::string_view text, SortedJson& into) {
  Shape shape;
  static_cast<void>(SortedJson::sax_parse(text, &shape));
  nlohmann::detail::json_sax_dom_parser<SortedJson> builder(into);
  SortedJson::sax_parse(text, &builder);
}

/// An object of the file, and what to call it.
class Entry {
 public:
  Entry(const SortedJson& json, std::string name) : json_(json), name_(std::move(name)) {
    if (!json.is_object()) fail(name_ + " is no object");
  }

  /// @throws for a key that is none of these.
  void allow(std::initializer_list<const char*> keys) const {
    for (const auto& [key, value] : json_.items())
      if (std::find(keys.begin(), keys.end(), key) == keys.end())
        fail(name_ + " has the unknown key " + inQuotes(key));
  }

  const SortedJson* find(const char* key) const {
    const auto found = json_.find(key);
    return found == json_.end() ? nullptr : &*found;
  }

  std::string text(const char* key) const {
    const SortedJson* const value = find(key);
    if (value == nullptr || !value->is_string() || value->get_ref<const std::string&>().empty())
      fail(name_ + " has no text " + inQuotes(key));
    return *value;
  }

  bool isRetired() const {
    const SortedJson* const value = find("retired");
    if (value != nullptr && !value->is_boolean()) fail(name_ + ": \"retired\" is neither true nor false");
    return value != nullptr && value->get<bool>();
  }

  /// The position of a text in a list of names.
  template <class Names>
  std::size_t choice(const char* key, const Names& names) const {
    const std::string chosen = text(key);
    const auto found = std::find(names.begin(), names.end(), chosen);
    if (found == names.end()) fail(name_ + ": " + inQuotes(chosen) + " is no " + key);
    return static_cast<std::size_t>(found - names.begin());
  }

  /// Calls take(key, value) for each entry of the object under a key, where there is one.
  template <class Take>
  void forEach(const char* key, const Take& take) const {
    const SortedJson* const value = find(key);
    if (value == nullptr) return;
    if (!value->is_object()) fail(name_ + ": " + inQuotes(key) + " is no object");
    for (const auto& [inner, json] : value->items()) take(inner, json);
  }

  const std::string& name() const { return name_; }

 private:
  const SortedJson& json_;
  std::string name_;
};

/// A number in the one form that write() gives it.
template <class Number>
Number numberOf(std::string_view text, const std::string& where) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || std::to_string(number) != text)
    fail(where + ": " + inQuotes(std::string(text)) + " is no number");
  return number;
}

void readBounds(const Entry& entry, LockedProperty& property) {
  const std::string bounds = entry.text("bounds");
  const std::size_t dots = bounds.find("..");
  if (dots == std::string::npos) fail(entry.name() + ": " + inQuotes(bounds) + " is no bounds");
  const std::string upper = bounds.substr(dots + 2);
  property.lower = numberOf<std::uint32_t>(std::string_view(bounds).substr(0, dots), entry.name());
  property.upper = upper == "*" ? -1 : numberOf<std::int32_t>(upper, entry.name());
}

LockedProperty readProperty(const Entry& entry) {
  entry.allow({"bounds", "kind", "name", "retired", "type"});
  LockedProperty property;
  property.name = entry.text("name");
  property.type = entry.text("type");
  property.kind = static_cast<meta::PropertyKind>(entry.choice("kind", kPropertyKindNames));
  readBounds(entry, property);
  property.isRetired = entry.isRetired();
  return property;
}

LockedLiteral readLiteral(const Entry& entry) {
  entry.allow({"name", "retired"});
  return {entry.text("name"), entry.isRetired()};
}

LockedType readType(const Entry& entry) {
  entry.allow({"kind", "literals", "numbers", "retired", "supertypes"});
  LockedType type;
  type.kind = static_cast<LockedKind>(entry.choice("kind", kLockedKindNames));
  type.isRetired = entry.isRetired();
  if (const SortedJson* const names = entry.find("supertypes"); names != nullptr) {
    if (!names->is_array()) fail(entry.name() + ": \"supertypes\" is no list");
    for (const SortedJson& name : *names) {
      if (!name.is_string()) fail(entry.name() + ": a supertype is no text");
      type.supertypes.insert(name.get<std::string>());
    }
  }
  entry.forEach("numbers", [&](const std::string& key, const SortedJson& json) {
    const auto number = numberOf<std::uint32_t>(key, entry.name());
    if (number == 0 || number > kMostNumber)
      fail(entry.name() + ": " + inQuotes(key) + " is not a number from 1 to " + std::to_string(kMostNumber));
    type.numbers.emplace(number, readProperty(Entry(json, entry.name() + ' ' + key)));
  });
  entry.forEach("literals", [&](const std::string& key, const SortedJson& json) {
    const auto number = numberOf<std::int32_t>(key, entry.name());
    type.literals.emplace(number, readLiteral(Entry(json, entry.name() + ' ' + key)));
  });
  return type;
}

LockedPackage readPackage(const Entry& entry) {
  entry.allow({"name", "types"});
  LockedPackage package;
  package.name = entry.text("name");
  entry.forEach("types", [&](const std::string& name, const SortedJson& json) {
    package.types.emplace(name, readType(Entry(json, package.name + '.' + name)));
  });
  return package;
}

// --- Writing: a line for each number, so that a change of the meta model is one of few lines.

class Writing {
 public:
  explicit Writing(const Lock::Contents& contents) {
    open(0, "");
    line(1, std::string(inQuotes(kMark)) + ": " + std::to_string(kLockVersion));
    object(1, "packages", contents.packages, [&](const std::string& uri, const LockedPackage& package) {
      open(2, inQuotes(uri) + ": ");
      line(3, "\"name\": " + inQuotes(package.name));
      object(3, "types", package.types,
             [&](const std::string& name, const LockedType& type) { write(name, type); });
      close(2);
    });
    close(0);
    out_ += '\n';
  }

  std::string text() && { return std::move(out_); }

 private:
  void write(const std::string& name, const LockedType& type) {
    open(4, inQuotes(name) + ": ");
    line(5, std::string("\"kind\": \"") + kLockedKindNames[static_cast<std::size_t>(type.kind)] + '"');
    if (!type.literals.empty())
      object(5, "literals", type.literals, [&](std::int32_t number, const LockedLiteral& literal) {
        line(6, '"' + std::to_string(number) + "\": {\"name\": " + inQuotes(literal.name) +
                    retired(literal.isRetired) + '}');
      });
    if (!type.numbers.empty())
      object(5, "numbers", type.numbers, [&](std::uint32_t number, const LockedProperty& property) {
        line(6, '"' + std::to_string(number) + "\": " + textOf(property));
      });
    if (type.isRetired) line(5, "\"retired\": true");
    if (!type.supertypes.empty()) line(5, "\"supertypes\": " + listOf(type.supertypes));
    close(4);
  }

  static std::string textOf(const LockedProperty& property) {
    const std::string bounds = describe(property).substr(property.type.size() + 1);
    return "{\"bounds\": \"" + bounds + "\", \"kind\": \"" +
           kPropertyKindNames[static_cast<std::size_t>(property.kind)] +
           "\", \"name\": " + inQuotes(property.name) + retired(property.isRetired) +
           ", \"type\": " + inQuotes(property.type) + '}';
  }

  static std::string listOf(const std::set<std::string>& names) {
    std::string list;
    for (const std::string& name : names) list += (list.empty() ? "[" : ",") + inQuotes(name);
    return list + ']';
  }

  static std::string retired(bool isRetired) { return isRetired ? ", \"retired\": true" : ""; }

  template <class Map, class Write>
  void object(std::size_t depth, const std::string& key, const Map& map, const Write& write) {
    open(depth, inQuotes(key) + ": ");
    for (const auto& [name, value] : map) write(name, value);
    close(depth);
  }

  void open(std::size_t depth, const std::string& head) {
    line(depth, head + '{');
    isFirst_ = true;
  }
  void close(std::size_t depth) {
    if (!isFirst_) out_ += '\n' + std::string(depth, ' ');
    out_ += '}';
    isFirst_ = false;
  }
  void line(std::size_t depth, const std::string& text) {
    if (!isFirst_) out_ += ',';
    if (depth != 0) out_ += '\n' + std::string(depth, ' ');
    out_ += text;
    isFirst_ = false;
  }

  std::string out_;
  bool isFirst_ = true;  // of the object that is open
};

}  // namespace

Lock::Contents fromText(std::string_view text) {
  JsonTree<SortedJson> tree;
  parse(text, tree.get());
  const SortedJson& json = tree.get();
  const Entry file(json, "the file");
  file.allow({kMark, "packages"});
  const SortedJson* const version = file.find(kMark);
  if (version == nullptr) fail("it has no key \"kr0-lock\"");
  if (*version != kLockVersion) fail("its version is not " + std::to_string(kLockVersion));
  Lock::Contents contents;
  file.forEach("packages", [&](const std::string& uri, const SortedJson& package) {
    contents.packages.emplace(uri, readPackage(Entry(package, "the package " + inQuotes(uri))));
  });
  return contents;
}

std::string toText(const Lock::Contents& contents) { return Writing(contents).text(); }

}  // namespace kr::zero::evolution
