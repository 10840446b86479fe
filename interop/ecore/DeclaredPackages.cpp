#include "DeclaredPackages.h"

#include <algorithm>

#include "Errors.h"
#include "Namespaces.h"
#include "XmlText.h"
#include "kr/zero/ecore/Imperfect.h"

namespace kr::zero::ecore {

namespace {

bool isOfXml(std::string_view uri) {
  return uri == kXsiNamespace || uri == kXmlNamespace || isXmiNamespace(uri);
}

/// The next element in document order, or an empty handle.
pugi::xml_node nextOf(pugi::xml_node node, pugi::xml_node root) {
  if (node.first_child()) return node.first_child();
  while (node != root && !node.next_sibling()) node = node.parent();
  return node == root ? pugi::xml_node() : node.next_sibling();
}

/// Whether a text is a name with the prefix, or has one among its words.
bool mentions(std::string_view text, std::string_view prefix) {
  for (std::size_t at = text.find(prefix); at != text.npos; at = text.find(prefix, at + 1)) {
    const std::size_t end = at + prefix.size();
    if ((at == 0 || isBlank(text[at - 1])) && end < text.size() && text[end] == ':') return true;
  }
  return false;
}

/// Nobody reads more in one sentence, and each is looked for in the whole document.
constexpr std::size_t kMostTold = 32;

struct Declaration {
  std::string_view prefix;
  std::string_view uri;
  bool isUsed = false;
};

void collect(pugi::xml_node node, std::vector<Declaration>& declarations) {
  for (const pugi::xml_attribute attribute : node.attributes()) {
    const std::string_view name = attribute.name();
    const QName split = splitQName(name);
    if (!isNamespaceDeclaration(name, split) || isOfXml(attribute.value())) continue;
    const std::string_view prefix = split.prefix.empty() ? std::string_view() : split.local;
    const auto isSame = [&](const Declaration& known) {
      return known.prefix == prefix && known.uri == attribute.value();
    };
    if (declarations.size() < kMostTold && std::none_of(declarations.begin(), declarations.end(), isSame))
      declarations.push_back({prefix, attribute.value()});
  }
}

bool uses(pugi::xml_node node, std::string_view prefix) {
  if (splitQName(node.name()).prefix == prefix) return true;
  if (prefix.empty()) return false;
  for (const pugi::xml_attribute attribute : node.attributes())
    if (mentions(attribute.value(), prefix)) return true;
  return false;
}

// --- Without reading the document

/// The texts of all attributes of a name, or of all whose names begin with it.
template <class Take>
void forEachAttribute(std::string_view text, std::string_view name, Take take) {
  constexpr std::size_t kLongestName = 1024;
  for (std::size_t at = text.find(name); at != text.npos; at = text.find(name, at + 1)) {
    if (at == 0 || !isBlank(text[at - 1])) continue;
    const std::string_view rest = text.substr(at + name.size());
    const std::size_t equals = rest.substr(0, kLongestName).find('=');
    if (equals == rest.npos) continue;
    const std::string_view value =
        rest.substr(std::min(rest.find_first_not_of(" \t\r\n", equals + 1), rest.size()));
    const bool isName = rest.substr(0, equals).find_first_of("<>\"'/") == rest.npos;
    if (!isName || value.empty() || (value[0] != '"' && value[0] != '\'')) continue;
    const std::size_t close = value.find(value[0], 1);
    if (close != value.npos) take(trimmed(rest.substr(0, equals)), value.substr(1, close - 1));
  }
}

/// The text of an attribute with its references to characters put in, as far as URIs have them.
std::string withoutReferences(std::string_view text) {
  constexpr std::string_view kAmpersand = "&amp;";
  std::string plain(text);
  for (std::size_t at = plain.find(kAmpersand); at != plain.npos; at = plain.find(kAmpersand, at + 1))
    plain.erase(at + 1, kAmpersand.size() - 1);
  return plain;
}

/// URIs, each once, in the order in which they come.
class Uris {
 public:
  void add(std::string_view value) {
    std::string uri = withoutReferences(value);
    if (!uri.empty() && known_.insert(uri).second) uris_.push_back(std::move(uri));
  }
  std::vector<std::string> take() { return std::move(uris_); }

 private:
  TextSet known_;
  std::vector<std::string> uris_;
};

}  // namespace

std::vector<std::string_view> usedNamespaces(pugi::xml_node root) {
  std::vector<Declaration> declarations;
  for (pugi::xml_node node = root; node; node = nextOf(node, root))
    if (node.type() == pugi::node_element) collect(node, declarations);
  for (pugi::xml_node node = root; node; node = nextOf(node, root))
    for (Declaration& declaration : declarations)
      declaration.isUsed = declaration.isUsed || uses(node, declaration.prefix);
  std::vector<std::string_view> uris;
  for (const Declaration& declaration : declarations)
    if (declaration.isUsed && std::find(uris.begin(), uris.end(), declaration.uri) == uris.end())
      uris.push_back(declaration.uri);
  return uris;
}

std::string sentenceOfMissing(const std::vector<std::string>& uris) {
  constexpr std::string_view kAdvice = " in none of the meta models (--meta-path or --map-uri can help)";
  std::string list;
  for (const std::string& uri : uris) list += join(list.empty() ? "" : ", ", inQuotes(uri));
  return uris.size() == 1 ? join("the package with the URI ", list, " is", kAdvice)
                          : join("the packages with the URIs ", list, " are", kAdvice);
}

namespace {

/// A document for a search for texts of ASCII: as it is, unless characters take several bytes there.
class Searchable {
 public:
  Searchable(std::string_view document, std::string_view name) {
    const std::string_view head = document.substr(0, 4);
    const bool isWide =
        head.find('\0') != head.npos || head.starts_with("\xFE\xFF") || head.starts_with("\xFF\xFE");
    if (isWide) decoded_ = decodeXml(std::string(document), name);
    text_ = isWide ? decoded_ : document;
  }
  Searchable(const Searchable&) = delete;
  Searchable& operator=(const Searchable&) = delete;
  std::string_view text() const { return text_; }

 private:
  std::string decoded_;
  std::string_view text_;
};

}  // namespace

std::vector<std::string> declaredNamespaces(std::string_view document, std::string_view name) {
  const Searchable searchable(document, name);
  Uris uris;
  forEachAttribute(searchable.text(), "xmlns", [&](std::string_view prefix, std::string_view uri) {
    if ((prefix.empty() || prefix[0] == ':') && !isOfXml(uri)) uris.add(uri);
  });
  return uris.take();
}

std::vector<std::string> declaredPackages(std::string_view document, std::string_view name) {
  const Searchable searchable(document, name);
  Uris uris;
  forEachAttribute(searchable.text(), "nsURI", [&](std::string_view rest, std::string_view uri) {
    if (rest.empty()) uris.add(uri);
  });
  return uris.take();
}

}  // namespace kr::zero::ecore
