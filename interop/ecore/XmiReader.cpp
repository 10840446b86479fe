#include "XmiReader.h"

#include <algorithm>
#include <deque>
#include <exception>
#include <optional>

#include "Addresses.h"
#include "DeclaredPackages.h"
#include "Errors.h"
#include "Namespaces.h"
#include "Neighbours.h"
#include "ProgressMeter.h"
#include "Values.h"

namespace kr::zero::ecore {

namespace {

/// Takes the next word off a text; empty at the end.
std::string_view takeWord(std::string_view& text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  const std::string_view word = text.substr(0, findBlank(text));
  text.remove_prefix(word.size());
  return word;
}

bool hasChildElement(pugi::xml_node node) {
  for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
    if (child.type() == pugi::node_element) return true;
  return false;
}

/// Number of XML elements below one.
std::size_t countBelow(pugi::xml_node root) {
  std::size_t count = 0;
  for (pugi::xml_node node = root.first_child(); node;) {
    if (node.type() == pugi::node_element) ++count;
    if (node.first_child()) {
      node = node.first_child();
      continue;
    }
    while (!node.next_sibling() && node.parent() != root) node = node.parent();
    node = node.next_sibling();
  }
  return count;
}

std::string inWords(std::size_t count, std::string_view thing) {
  return join(std::to_string(count), " ", thing, count == 1 ? "" : "s");
}

std::string leftOut(std::size_t below) {
  return below == 0 ? "; it is left out"
                    : join("; it is left out with ", inWords(below, "element"), " inside");
}

std::string_view uriOfDocument(std::string_view reference) {
  return reference.substr(0, reference.find('#'));
}

/// The place in a document that a reference names; without one the first root.
std::string_view fragmentOf(std::string_view reference) {
  const std::size_t hash = reference.find('#');
  if (hash == std::string_view::npos || hash + 1 == reference.size()) return "/";
  return reference.substr(hash + 1);
}

/// An attribute of the element that is being looked at.
struct Attribute {
  std::string_view name;
  QName split;
  std::string_view value;
  bool isSpecial;  // it is about the element as such, no feature of it
};

/// What the special attributes of an element say.
struct Special {
  std::string_view type;
  std::string_view id;
  std::string_view uuid;
  std::string_view idref;
  bool isNil = false;
};

enum class TextKind : std::uint8_t {
  fragments,  // words without "#", each a place in this document
  uri,        // one of them may hold a "#", and then a document before it
  href,       // the same without blanks; without "#" it is a document
};

/// A reference whose target may still be to come.
struct Pending {
  Element source;
  const Feature* feature;
  pugi::xml_node node;
  std::string_view text;  // words, each a reference; of an href the one URI
  meta::Class type;       // of the target; empty: not said
  TextKind kind;
};

/// An element of another document that stands here: a child, or a root.
struct Proxy {
  Element container;       // empty: a root
  const Feature* feature;  // of the container
  std::size_t position;    // in the document
  pugi::xml_node node;
  std::string_view href;
};

/// What the documents have in common that are read into one model.
struct Shared {
  const Mapping::Impl& mapping;
  const XmiReadOptions& options;
  XmiContent& content;  // of the first document, with the model of all
  TextSet xmiIds = {};  // that elements have, where there may be several documents
};

/// Reads one document. Its three steps are taken one behind the other, each by all documents.
class Reader {
 public:
  /// @param path of a document that is followed, from the folder of the first one; of that one it is empty.
  Reader(const XmlDocument& document, Shared& shared, Fragments& fragments, std::string path)
      : document_(document),
        shared_(shared),
        mapping_(shared.mapping),
        options_(shared.options),
        progress_(path.empty() ? shared.options.progress : kNoProgress),
        content_(shared.content),
        fragments_(fragments),
        path_(std::move(path)) {}

  /// Of a document that is followed.
  const std::string& path() const noexcept { return path_; }

  void readElements() {
    translating([&] {
      openDocument();
      while (!frames_.empty()) step();
      noteMissingPackages();
    });
  }

  /// Asks for every other document that is named.
  /// @param find gives the elements of the document of a URI, or null where it is not followed.
  void findNeighbours(std::function<Fragments*(std::string_view uri)> find) {
    neighbour_ = std::move(find);
    for (const Proxy& proxy : proxies_) askFor(proxy.node, proxy.href);
    for (const Pending& pending : pending_) {
      if (pending.kind == TextKind::fragments) continue;
      if (pending.kind == TextKind::href) {
        askFor(pending.node, pending.text);
        continue;
      }
      std::string_view text = pending.text;
      for (std::string_view word = takeWord(text); !word.empty(); word = takeWord(text))
        if (word.find('#') != std::string_view::npos) askFor(pending.node, word);
    }
  }

  /// Puts elements of other documents into the places that they have here.
  void placeProxies() {
    translating([&] {
      for (const Proxy& proxy : proxies_) {
        current_ = proxy.node;
        if (!attempt([&] { place(proxy); })) note(kind_, wrong_ + leftOut(0));
      }
    });
  }

  void resolveReferences() {
    translating([&] { resolveAll(); });
  }

 private:
  static inline const Progress kNoProgress;

  struct Frame {
    pugi::xml_node next;  // the child to visit
    Element element;      // empty: the element that holds several roots
    ClassTable* table;
    std::size_t declarations;
  };
  /// What a name meant under the declarations of that time.
  struct NamedClass {
    meta::Class type;
    std::size_t version = 0;
  };

  // Errors name the line of the XML element that is being looked at.
  /// What a model says of a value, with the place in the document.
  ErrorDetails placed(ErrorDetails details) const {
    details.file = document_.name();
    details.line = document_.lines().lineOf(XmlDocument::offsetOf(current_));
    return details;
  }

  [[noreturn]] void fail(std::string_view what, ProblemKind kind = ProblemKind::other) const {
    kind_ = kind;
    document_.fail(current_, what);
  }

  /// What the model refuses, and nobody tolerates, is an error of the document.
  template <class Work>
  void translating(Work work) const {
    try {
      work();
    } catch (const ModelError& error) {
      throw EcoreError(error.getCode() == ErrorCode::misuse ? ErrorCode::doesNotFit : error.getCode(),
                       placed(error.getDetails()));
    }
  }

  // --- Problems --------------------------------------------------------------------------------

  bool isTolerant() const { return static_cast<bool>(options_.onProblem); }

  /// Does something that may be refused.
  /// @return false where it was and that is tolerated: kind_ and wrong_ then say why.
  template <class Work>
  bool attempt(Work work) {
    if (!isTolerant()) {
      work();
      return true;
    }
    kind_ = ProblemKind::badValue;  // where the model refuses it
    try {
      work();
      return true;
    } catch (const Error& error) {
      const bool isOfDocument =
          error.getCode() == ErrorCode::misuse || error.getCode() == ErrorCode::doesNotFit;
      if (!isOfDocument || isEnding_) throw;
      const ErrorDetails& details = error.getDetails();
      wrong_ = details.path.empty() ? details.problem : join(details.path, ": ", details.problem);
      return false;
    }
  }

  /// Makes or finds an element, likewise: nothing where that was refused. (The result of a call that may
  /// throw is not assigned to an Element: g++ 12 then changes the left side although the call did throw.)
  template <class Get>
  std::optional<Element> attemptElement(Get get) {
    std::optional<Element> result;
    attempt([&] { result.emplace(get()); });
    return result;
  }

  /// Does something with a part of the element, which is left out where it is refused and that is tolerated.
  template <class Work>
  void attemptPart(Work work) {
    if (!attempt(work)) note(kind_, wrong_ + leftOut(0));
  }

  void note(ProblemKind kind, std::string sentence) { noteAt(current_, kind, std::move(sentence)); }

  void noteAt(pugi::xml_node node, ProblemKind kind, std::string sentence) {
    try {
      options_.onProblem({kind, document_.name(), document_.lines().lineOf(XmlDocument::offsetOf(node)),
                          std::move(sentence)});
    } catch (...) {
      isEnding_ = true;
      throw;
    }
  }

  /// Says that the element that was looked at is left out, for the reason that attempt() found.
  void noteLeftOut(pugi::xml_node node) {
    document_.requireDifferentAttributesFrom(node);
    const std::size_t below = countBelow(node);
    if (kind_ != ProblemKind::missingPackage) return note(kind_, wrong_ + leftOut(below));
    MissingPackage& missing = missing_.try_emplace(missingUri_, MissingPackage{node}).first->second;
    missing.elements += below + 1;
  }

  void noteMissingPackages() {
    std::vector<std::pair<std::string, MissingPackage>> all(missing_.begin(), missing_.end());
    std::sort(all.begin(), all.end(), [](const auto& a, const auto& b) {
      return XmlDocument::offsetOf(a.second.first) < XmlDocument::offsetOf(b.second.first);
    });
    for (const auto& [uri, missing] : all)
      noteAt(missing.first, ProblemKind::missingPackage,
             join(sentenceOfMissing({uri}), "; what is of it is left out, ",
                  inWords(missing.elements, "element")));
  }

  static std::string nameOf(const ClassTable& table, const Feature& feature) {
    return join(table.type()->qualifiedName(), ".", feature.name());
  }

  // --- Names -----------------------------------------------------------------------------------

  std::size_t declareNamespaces() {
    if (!hasDeclarations_) return 0;
    std::size_t count = 0;
    for (const Attribute& attribute : attributes_) {
      if (!isNamespaceDeclaration(attribute.name, attribute.split)) continue;
      namespaces_.declare(attribute.split.prefix.empty() ? std::string_view() : attribute.split.local,
                          meaningOf(attribute.value));
      ++count;
    }
    return count;
  }

  /// What a namespace of the document means.
  std::string_view meaningOf(std::string_view uri) {
    if (options_.uriMap.isEmpty()) return uri;
    std::string mapped = options_.uriMap.map(uri);
    return mapped == uri ? uri : *mappedUris_.insert(std::move(mapped)).first;
  }

  /// Packages whose schema is said to lie where something else is meant.
  void readSchemaLocation(std::string_view words) {
    if (options_.uriMap.isEmpty()) return;
    for (std::string_view uri = takeWord(words); !uri.empty(); uri = takeWord(words)) {
      const std::string_view location = uriOfDocument(takeWord(words));
      const std::string_view meaning = meaningOf(location);
      if (meaning != location) packageAtLocation_.emplace(meaningOf(uri), meaning);
    }
  }

  const PackageMapping* findPackage(std::string_view uri) const {
    if (const PackageMapping* package = mapping_.findPackage(uri)) return package;
    const auto located = packageAtLocation_.find(uri);
    return located == packageAtLocation_.end() ? nullptr : mapping_.findPackage(located->second);
  }

  std::string_view namespaceOf(std::string_view prefix) {
    const std::string_view* uri = namespaces_.find(prefix);
    if (uri != nullptr) return *uri;
    if (prefix.empty()) return {};
    fail(join("the namespace prefix ", inQuotes(prefix), " is not declared"));
  }

  meta::Class classOf(std::string_view name) {
    if (lastClass_ == nullptr || name != lastClassName_) {
      lastClass_ = &classes_[name];
      lastClassName_ = name;
    }
    NamedClass& known = *lastClass_;
    if (known.type && known.version == namespaces_.version()) return known.type;
    known.type = meta::Class(findType(splitQName(name)));
    known.version = namespaces_.version();
    if (!known.type) fail(join(inQuotes(name), " is not a class"), ProblemKind::unknownClass);
    return known.type;
  }

  meta::Type findType(const QName& name) {
    const std::string_view uri = namespaceOf(name.prefix);
    if (uri.empty()) return findTypeAnywhere(name.local);
    const PackageMapping* package = findPackage(uri);
    if (package == nullptr) failMissing(uri);
    const meta::Type type = package->findType(name.local);
    if (!type)
      fail(join("the package with the URI ", inQuotes(uri), " has no class ", inQuotes(name.local)),
           ProblemKind::unknownClass);
    return type;
  }

  /// Says all packages that are missing, or where problems are tolerated the one: the others have their turn.
  [[noreturn]] void failMissing(std::string_view uri) {
    missingUri_ = uri;
    std::vector<std::string> uris{missingUri_};
    if (!isTolerant())
      for (const std::string_view declared : usedNamespaces(document_.root()))
        if (const std::string_view other = meaningOf(declared);
            findPackage(other) == nullptr && std::find(uris.begin(), uris.end(), other) == uris.end())
          uris.emplace_back(other);
    fail(sentenceOfMissing(uris), ProblemKind::missingPackage);
  }

  /// A name without namespace is good where only one package has it.
  meta::Type findTypeAnywhere(std::string_view name) const {
    meta::Type found;
    for (const PackageMapping& package : mapping_.packages) {
      const meta::Type type = package.findType(name);
      if (!type) continue;
      if (found)
        fail(join(inQuotes(name), " has no namespace, and several packages have a class of that name"),
             ProblemKind::unknownClass);
      found = type;
    }
    if (!found) fail(join("no package has a class ", inQuotes(name)), ProblemKind::unknownClass);
    return found;
  }

  // --- Attributes ------------------------------------------------------------------------------

  /// Makes an element the one that is looked at.
  void visit(pugi::xml_node node) {
    current_ = node;
    attributes_.clear();
    hasDeclarations_ = hasPrefixes_ = false;
    for (pugi::xml_attribute it = node.first_attribute(); it; it = it.next_attribute()) {
      const std::string_view name = it.name();
      Attribute& attribute = attributes_.emplace_back(Attribute{name, splitQName(name), it.value(), false});
      attribute.isSpecial = isNamespaceDeclaration(name, attribute.split);
      hasDeclarations_ |= attribute.isSpecial;
      hasPrefixes_ |= !attribute.isSpecial && !attribute.split.prefix.empty();
    }
    document_.requireDifferentAttributes(node);
  }

  /// Reads the special attributes, and marks them as such.
  Special readSpecial() {
    Special special;
    if (!hasPrefixes_) return special;
    for (Attribute& attribute : attributes_) {
      const QName& name = attribute.split;
      if (attribute.isSpecial || name.prefix.empty()) continue;
      attribute.isSpecial = true;
      attemptPart([&] {
        const std::string_view uri = namespaceOf(name.prefix);
        if (uri == kXsiNamespace)
          readSchemaInstance(name.local, attribute.value, special);
        else if (isXmiNamespace(uri))
          readXmi(name.local, attribute.value, special);
        else  // "space" is about blanks, which are kept anyway
          attribute.isSpecial = uri == kXmlNamespace && name.local == "space";
      });
    }
    return special;
  }

  void readSchemaInstance(std::string_view name, std::string_view value, Special& special) {
    if (name == "type") return setOnce(special.type, name, value);
    if (name == "nil") {
      const auto isNil = parseBoolean(value);
      if (!isNil) fail(join(inQuotes(value), " is not a value of xsi:nil"));
      special.isNil = *isNil;
    } else if (name == "schemaLocation") {
      readSchemaLocation(value);
    } else if (name != "noNamespaceSchemaLocation") {
      fail(join("the attribute xsi:", name, " has no meaning in XMI"));
    }
  }

  void readXmi(std::string_view name, std::string_view value, Special& special) const {
    if (name == "type") return setOnce(special.type, name, value);
    if (name == "id") return setOnce(special.id, name, value);
    if (name == "uuid") return setOnce(special.uuid, name, value);
    if (name == "idref") return setOnce(special.idref, name, value);
    if (name != "version") fail(join("the attribute xmi:", name, " cannot be kept in a model"));
  }

  void setOnce(std::string_view& target, std::string_view name, std::string_view value) const {
    if (!target.empty() && target != value) fail(join("the attribute ", inQuotes(name), " is given twice"));
    if (value.empty()) fail(join("the attribute ", inQuotes(name), " is empty"));
    target = value;
  }

  void readAttributes(pugi::xml_node node, Element element, ClassTable& table) {
    for (const Attribute& attribute : attributes_) {
      if (attribute.isSpecial) continue;
      attemptPart([&] {
        const QName& name = attribute.split;
        const Feature* feature = table.findByAttribute(name.local);
        if (feature == nullptr || !isNamespaceOf(table, *feature, name.prefix))
          failUnknown(table, name.local);
        readAttribute(node, element, table, *feature, attribute.value);
      });
    }
  }

  void readAttribute(pugi::xml_node node, Element element, ClassTable& table, const Feature& feature,
                     std::string_view value) {
    if (feature.mapping->isIgnored) return;
    if (feature.isReference()) return deferWords(node, element, feature, value);
    if (feature.isPrimitive()) {
      if (feature.isMany()) return readList(element, table, feature, value);
      return readValue(element, table, feature, value);
    }
    if (!feature.isStored()) failStorage(table, feature);
    if (!isBlank(value))
      fail(
          join("feature ", nameOf(table, feature), " contains elements and cannot be given by an attribute"));
  }

  void readValue(Element element, ClassTable& table, const Feature& feature, std::string_view text) {
    if (!feature.isMany() && element.isSet(feature.property)) giveUpFirst(element, table, feature);
    const std::string wrong = putValue(element, feature, text);
    if (!wrong.empty()) fail(join("feature ", nameOf(table, feature), ": ", wrong), ProblemKind::badValue);
    if (&feature == table.identifier()) noteIdentifier(element, feature, text);
  }

  /// Makes room for the second value of a single one, where that is tolerated.
  void giveUpFirst(Element element, const ClassTable& table, const Feature& feature) {
    const std::string wrong = join("feature ", nameOf(table, feature), " is given twice");
    if (!isTolerant()) fail(wrong);
    note(ProblemKind::badValue, join(wrong, kLastCounts));
    element.unset(feature.property);
  }

  void noteIdentifier(Element element, const Feature& feature, std::string_view text) {
    if (feature.isText())
      fragments_.addAttributeId(text, element);
    else
      fragments_.addAttributeId(element.getTextForm(feature.property), element);
  }

  void readList(Element element, ClassTable& table, const Feature& feature, std::string_view words) {
    if (isBlank(words) && !element.isSet(feature.property)) element.setEmpty(feature.property);
    for (std::string_view word = takeWord(words); !word.empty(); word = takeWord(words))
      attemptPart([&] { readValue(element, table, feature, word); });
  }

  // --- Elements --------------------------------------------------------------------------------

  void openDocument() {
    const pugi::xml_node root = document_.root();
    visit(root);
    const std::size_t declarations = declareNamespaces();
    const QName name = splitQName(root.name());
    if (name.local != "XMI" || !isXmiNamespace(namespaceOf(name.prefix))) return openRoot(root, declarations);
    readSpecial();
    for (const Attribute& attribute : attributes_)
      if (!attribute.isSpecial)
        attemptPart([&] {
          fail(
              join("the attribute ", inQuotes(attribute.split.local), " of the root element has no meaning"));
        });
    frames_.push_back({root.first_child(), {}, nullptr, declarations});
  }

  void openRoot(pugi::xml_node node, std::size_t declarations) {
    const Special special = readSpecial();
    const std::optional<Element> made = attemptElement([&] { return createRoot(node, special); });
    const Element root = made.value_or(Element());
    fragments_.addRoot(root);
    if (!made) noteLeftOut(node);
    if (!root) return namespaces_.leave(declarations);
    open(node, root, special, declarations);
  }

  /// An empty handle for one that is in another document.
  Element createRoot(pugi::xml_node node, const Special& special) {
    const meta::Class type = classOf(special.type.empty() ? std::string_view(node.name()) : special.type);
    const Attribute* href = findHref(type);
    if (href == nullptr) return content_.model.createRoot(type);
    deferRoot(node, *href);
    return {};
  }

  void openChild(const Frame& parent, const Feature& feature, pugi::xml_node node, std::size_t declarations) {
    const Special special = readSpecial();
    const std::optional<Element> made =
        attemptElement([&] { return createChild(parent, feature, node, special); });
    if (!made && feature.isMany()) fragments_.leaveOut(parent.element, feature.property);
    if (!made) noteLeftOut(node);
    if (!made || !*made) return namespaces_.leave(declarations);
    open(node, *made, special, declarations);
  }

  /// An empty handle for one that is in another document.
  Element createChild(const Frame& parent, const Feature& feature, pugi::xml_node node,
                      const Special& special) {
    if (special.isNil) fail(join("feature ", nameOf(*parent.table, feature), " cannot be explicitly empty"));
    meta::StructuredType type(feature.property->getType());
    if (!special.type.empty()) type = classOf(special.type);
    if (isTolerant() && !feature.isMany() && comesAgain(*parent.table, feature, node))
      fail(join("feature ", nameOf(*parent.table, feature), " is given twice", kLastCounts),
           ProblemKind::badValue);
    Element container = parent.element;
    const Attribute* href = findHref(type);
    if (href == nullptr) return container.create(feature.property, type);
    deferChild(parent, feature, node, *href);
    return {};
  }

  /// Whether one of the elements behind this one is for the same feature.
  static bool comesAgain(ClassTable& table, const Feature& feature, pugi::xml_node node) {
    while ((node = node.next_sibling()))
      if (node.type() == pugi::node_element && table.findByElement(splitQName(node.name()).local) == &feature)
        return true;
    return false;
  }

  /// The attribute that says that an element is in another document.
  const Attribute* findHref(meta::StructuredType type) {
    const auto href = std::find_if(attributes_.begin(), attributes_.end(),
                                   [](const Attribute& attribute) { return attribute.name == "href"; });
    if (href == attributes_.end() || content_.tables.of(type).findByAttribute("href") != nullptr)
      return nullptr;
    return &*href;
  }

  void deferChild(const Frame& parent, const Feature& feature, pugi::xml_node node, const Attribute& href) {
    if (!options_.source)
      fail(join("feature ", nameOf(*parent.table, feature), " contains an element of another document, ",
                inQuotes(href.value), kNotFollowed));
    requireNothingElse(node, href);
    const std::size_t position = fragments_.leaveOut(parent.element, feature.property);
    proxies_.push_back({parent.element, &feature, position, node, href.value});
  }

  void deferRoot(pugi::xml_node node, const Attribute& href) {
    if (!options_.source)
      fail(join("a root is an element of another document, ", inQuotes(href.value), kNotFollowed));
    requireNothingElse(node, href);
    proxies_.push_back({{}, nullptr, fragments_.roots().size(), node, href.value});
  }

  void requireNothingElse(pugi::xml_node node, const Attribute& href) const {
    const bool hasMore = std::any_of(attributes_.begin(), attributes_.end(), [&](const Attribute& attribute) {
      return !attribute.isSpecial && &attribute != &href;
    });
    if (hasMore || hasChildElement(node))
      fail(join("the element has an href, ", inQuotes(href.value), ", and a content of its own"));
  }

  void open(pugi::xml_node node, Element element, const Special& special, std::size_t declarations) {
    if (path_.empty()) {
      content_.offsets.resize(element.getIndex() + std::size_t{1});
      content_.offsets[element.getIndex()] = XmlDocument::offsetOf(node);
    }
    attemptPart([&] {
      if (!special.idref.empty())
        fail("an element that is contained here cannot have the attribute xmi:idref");
      if (special.isNil) fail("a root element cannot be explicitly empty");
    });
    attemptPart([&] { readIdentity(element, special); });
    ClassTable& table = content_.tables.of(element.getType());
    readAttributes(node, element, table);
    attemptPart([&] { readCharacterData(node, element, table); });
    frames_.push_back({node.first_child(), element, &table, declarations});
  }

  void readIdentity(Element element, const Special& special) {
    if (isOwnId(special.id)) noteXmiId(element, special.id);
    if (!special.id.empty() && !isOwnId(special.id)) {
      setXmiId(element, special.id);
      if (!special.uuid.empty())
        fail("the element has both xmi:id and xmi:uuid, but a model keeps one identity");
    } else if (!special.uuid.empty()) {
      setUuid(element, special.uuid);
    }
  }

  void noteXmiId(Element element, std::string_view id) {
    if (fragments_.addXmiId(id, element)) return;
    const std::string wrong = join("two elements have the xmi:id ", inQuotes(id));
    if (!isTolerant()) fail(wrong, ProblemKind::duplicateId);
    Element before = fragments_.addDuplicateXmiId(id, element);
    if (!isOwnId(id)) before.clearIdentity();
    note(ProblemKind::duplicateId, wrong + ": the one before loses it");
  }

  void setXmiId(Element element, std::string_view id) {
    noteXmiId(element, id);
    // The documents of a model may use the same ids, the elements of a model not.
    const bool isTaken = options_.source && !shared_.xmiIds.emplace(id).second && !path_.empty();
    element.setIdentity(isTaken ? std::string_view(path_) : "xmi:id", id);
  }

  /// Identities that did not come from a document are written as xmi:uuid with a "#" between the parts.
  static void setUuid(Element element, std::string_view uuid) {
    const std::size_t hash = uuid.find('#');
    if (hash == std::string_view::npos || hash == 0 || hash + 1 == uuid.size())
      element.setIdentity("xmi:uuid", uuid);
    else
      element.setIdentity(percentDecoded(uuid.substr(0, hash)), uuid.substr(hash + 1));
  }

  void readCharacterData(pugi::xml_node node, Element element, ClassTable& table) {
    if (table.content() == nullptr || table.content()->mapping->isIgnored) return;
    const std::string text = textOf(node);
    if (!isBlank(text)) readValue(element, table, *table.content(), text);
  }

  void step() {
    Frame& frame = frames_.back();
    const pugi::xml_node node = frame.next;
    if (!node) {
      namespaces_.leave(frame.declarations);
      frames_.pop_back();
      return;
    }
    frame.next = node.next_sibling();
    if (node.type() == pugi::node_element) {
      visit(node);
      progress_.step([&] {
        return 0.7 * static_cast<double>(XmlDocument::offsetOf(node)) / static_cast<double>(document_.size());
      });
      const std::size_t declared = namespaces_.size();
      const Frame around = frame;
      if (!attempt([&] { around.element ? readFeature(around, node) : readRoot(node); })) {
        namespaces_.leave(namespaces_.size() - declared);
        noteLeftOut(node);
      }
    } else if (!isBlank(node.value()) && (frame.table == nullptr || frame.table->content() == nullptr)) {
      attemptPart([&] { fail(join("there is text between the elements: ", inQuotes(node.value()))); });
    }
  }

  /// One of several roots.
  void readRoot(pugi::xml_node node) {
    const std::size_t declarations = declareNamespaces();
    const QName name = splitQName(node.name());
    if (!isXmiNamespace(namespaceOf(name.prefix))) return openRoot(node, declarations);
    // Tells about the program that wrote the document, nothing about the model.
    if (name.local != "Documentation" && name.local != "documentation")
      fail(join("the element ", inQuotes(node.name()), " cannot be kept in a model"));
    document_.requireDifferentAttributesFrom(node);
    namespaces_.leave(declarations);
  }

  void readFeature(const Frame& frame, pugi::xml_node node) {
    const std::size_t declarations = declareNamespaces();
    ClassTable& table = *frame.table;
    const QName name = splitQName(node.name());
    const Feature* feature = table.findByElement(name.local);
    if (feature == nullptr || !isNamespaceOf(table, *feature, name.prefix)) failUnknown(table, node.name());
    if (!feature->isStored()) failStorage(table, *feature);
    if (feature->isChild() && !feature->mapping->isIgnored)
      return openChild(frame, *feature, node, declarations);
    if (feature->mapping->isIgnored)
      document_.requireDifferentAttributesFrom(node);
    else
      readLeaf(frame.element, table, *feature, node);
    namespaces_.leave(declarations);
  }

  /// A prefix, where there is one, must stand for where the feature comes from.
  bool isNamespaceOf(ClassTable& table, const Feature& feature, std::string_view prefix) {
    if (prefix.empty()) return true;
    const std::string_view uri = namespaceOf(prefix);
    return uri == feature.mapping->xmlNamespace || uri == table.type()->packageUri() ||
           uri == feature.property->getOwner()->packageUri();
  }

  void readLeaf(Element element, ClassTable& table, const Feature& feature, pugi::xml_node node) {
    if (hasChildElement(node)) fail(join("feature ", nameOf(table, feature), " does not contain elements"));
    if (feature.isReference())
      readReferenceElement(element, table, feature, node);
    else
      readValueElement(element, table, feature, node);
  }

  void readValueElement(Element element, ClassTable& table, const Feature& feature, pugi::xml_node node) {
    const Special special = readSpecial();
    for (const Attribute& attribute : attributes_)
      if (!attribute.isSpecial) failAttribute(table, feature, attribute);
    if (!special.type.empty() || !special.id.empty() || !special.uuid.empty() || !special.idref.empty())
      fail(join("a value of feature ", nameOf(table, feature), " has neither a type nor an identity"));
    if (!special.isNil) return readValue(element, table, feature, textOf(node));
    if (feature.isMany() || !feature.property->isOptional())
      fail(join("feature ", nameOf(table, feature), " cannot hold an explicitly empty value"),
           ProblemKind::badValue);
    if (element.isSet(feature.property)) giveUpFirst(element, table, feature);
    element.setEmpty(feature.property);
  }

  [[noreturn]] void failAttribute(ClassTable& table, const Feature& feature,
                                  const Attribute& attribute) const {
    fail(join("the attribute ", inQuotes(attribute.split.local), " has no meaning for feature ",
              nameOf(table, feature)));
  }

  [[noreturn]] void failUnknown(ClassTable& table, std::string_view name) const {
    fail(join("class ", table.type()->qualifiedName(), " has no feature ", inQuotes(name)),
         ProblemKind::unknownFeature);
  }

  [[noreturn]] void failStorage(ClassTable& table, const Feature& feature) const {
    fail(join("feature ", nameOf(table, feature), whyNotStored(feature)), ProblemKind::unknownFeature);
  }

  static std::string whyNotStored(const Feature& feature) {
    switch (feature.mapping->storage) {
      case Storage::featureMap:
        return " is a feature map, which cannot be stored";
      case Storage::featureMapMember:
        return join(" belongs to the feature map ", inQuotes(feature.mapping->group),
                    ", which cannot be stored");
      case Storage::container:
        return " is told by the nesting of the elements and cannot be given";
      case Storage::notSerializable:
        return join(" cannot be stored: values of ", feature.property->getType()->qualifiedName(),
                    " have no text");
      default:
        return " is transient and has no stored value";
    }
  }

  // --- References ------------------------------------------------------------------------------

  void readReferenceElement(Element element, ClassTable& table, const Feature& feature, pugi::xml_node node) {
    const Special special = readSpecial();
    if (special.isNil) fail(join("feature ", nameOf(table, feature), " cannot be explicitly empty"));
    meta::Class type;
    if (!special.type.empty()) type = classOf(special.type);
    std::string_view href;
    for (const Attribute& attribute : attributes_) {
      if (attribute.isSpecial) continue;
      if (attribute.split.local != "href") failAttribute(table, feature, attribute);
      href = attribute.value;
    }
    if (!href.empty()) {
      pending_.push_back({element, &feature, node, href, type, TextKind::href});
    } else if (!special.idref.empty()) {
      pending_.push_back({element, &feature, node, special.idref, type, TextKind::uri});
    } else {
      texts_.push_back(textOf(node));
      if (isBlank(texts_.back())) fail(join("feature ", nameOf(table, feature), " names no target"));
      deferWords(node, element, feature, texts_.back());
    }
  }

  void deferWords(pugi::xml_node node, Element element, const Feature& feature, std::string_view text) {
    if (isBlank(text)) {
      if (feature.isMany() && !element.isSet(feature.property)) element.setEmpty(feature.property);
    } else if (text.find('#') == std::string_view::npos) {
      pending_.push_back({element, &feature, node, text, {}, TextKind::fragments});
    } else {
      deferTypedWords(node, element, feature, text);
    }
  }

  /// Words with URIs among them: the word before a URI may be the type of its target, and prefixes have
  /// their meaning only here.
  void deferTypedWords(pugi::xml_node node, Element element, const Feature& feature, std::string_view text) {
    std::string_view word = takeWord(text);
    while (!word.empty()) {
      const std::string_view next = takeWord(text);
      const bool isType = word.find('#') == std::string_view::npos &&
                          word.find(':') != std::string_view::npos &&
                          next.find('#') != std::string_view::npos;
      attemptPart([&] {
        pending_.push_back({element, &feature, node, isType ? next : word,
                            isType ? classOf(word) : meta::Class(), TextKind::uri});
      });
      word = isType ? takeWord(text) : next;
    }
  }

  void resolveAll() {
    for (std::size_t i = 0; i < pending_.size(); ++i) {
      const Pending& pending = pending_[i];
      current_ = pending.node;
      if (pending.kind == TextKind::href)
        attemptPart([&] { resolve(pending, pending.text); });
      else
        resolveWords(pending);
      progress_.step(
          [&] { return 0.7 + 0.3 * static_cast<double>(i) / static_cast<double>(pending_.size()); });
    }
  }

  void resolveWords(const Pending& pending) {
    std::string_view text = pending.text;
    for (std::string_view word = takeWord(text); !word.empty(); word = takeWord(text))
      attemptPart([&] { resolve(pending, word); });
  }

  void resolve(const Pending& pending, std::string_view word) {
    const Feature& feature = *pending.feature;
    Element source = pending.source;
    if (!feature.isMany() && source.isSet(feature.property))
      giveUpFirst(source, content_.tables.of(source.getType()), feature);
    const std::size_t hash = pending.kind == TextKind::fragments ? std::string_view::npos : word.find('#');
    const bool isHref = pending.kind == TextKind::href;
    const bool isExternal = isHref ? hash != 0 : hash != std::string_view::npos && hash > 0;
    const std::string_view form = isHref ? kHrefForm : kAttributeForm;
    if (!isExternal) return putFound(pending, fragments_, hash == 0 ? word.substr(1) : word, {}, form);
    Fragments* neighbour = neighbour_ ? neighbour_(uriOfDocument(word)) : nullptr;
    if (neighbour != nullptr)
      return putFound(pending, *neighbour, fragmentOf(word), uriOfDocument(word), form);
    putUnresolved(pending, word, form);
  }

  /// A reference to an element of one of the documents that are read; one that leads nowhere stays what it
  /// is, where that is tolerated.
  void putFound(const Pending& pending, Fragments& place, std::string_view fragment, std::string_view uri,
                std::string_view form) {
    const meta::Property property = pending.feature->property;
    Element source = pending.source;
    const Fragments::Result result = place.find(fragment, &place == &fragments_ ? source : Element());
    if (result.outcome == Fragments::Outcome::found) return source.putReference(property, result.element);
    const std::string reference = join("the reference ", inQuotes(fragment), " of feature ",
                                       nameOf(content_.tables.of(source.getType()), *pending.feature));
    if (result.outcome == Fragments::Outcome::tooManyKeys)
      fail(join(reference, " leads into a list by more than ", std::to_string(Fragments::kMostKeys),
                " keys, those of each set counted once"),
           ProblemKind::missingTarget);
    if (result.outcome == Fragments::Outcome::ambiguous) {
      const std::string wrong = reference + " could mean several elements: that id occurs more than once";
      if (!isTolerant()) fail(wrong, ProblemKind::duplicateId);
      note(ProblemKind::duplicateId, join(wrong, "; it leads to ", result.element.getPath()));
      return source.putReference(property, result.element);
    }
    const std::string wrong = reference + " leads nowhere";
    if (!isTolerant()) fail(wrong, ProblemKind::missingTarget);
    note(ProblemKind::missingTarget, wrong + "; it stays unresolved");
    putUnresolved(pending, join(uri.empty() ? ownUri() : std::string(uri), "#", fragment), form);
  }

  void putUnresolved(const Pending& pending, std::string_view uri, std::string_view form) {
    const meta::Property property = pending.feature->property;
    const meta::Type type = pending.type ? meta::Type(pending.type) : property->getType();
    Element source = pending.source;
    source.putUnresolved(property, toUnresolved(uri, form, type->qualifiedName()));
  }

  /// What other documents of the folder call this one.
  std::string ownUri() const {
    const std::string& name = document_.name();
    return percentEncoded(std::string_view(name).substr(name.rfind('/') + 1));
  }

  // --- Other documents -------------------------------------------------------------------------

  /// Has a document read that an element names.
  void askFor(pugi::xml_node node, std::string_view reference) {
    const std::string_view uri = uriOfDocument(reference);
    if (uri.empty()) return;
    current_ = node;
    try {
      neighbour_(uri);
    } catch (const Error& error) {
      if (!isTolerant() || error.getCode() == ErrorCode::overLimit ||
          error.getCode() == ErrorCode::outOfMemory)
        throw;
      note(ProblemKind::missingTarget, join(error.what(), "; what leads there stays unresolved"));
    }
  }

  void place(const Proxy& proxy) {
    const std::string_view uri = uriOfDocument(proxy.href);
    const std::string element = join("the element of another document, ", inQuotes(proxy.href), ",");
    Fragments* neighbour = uri.empty() ? &fragments_ : neighbour_(uri);
    if (neighbour == nullptr)
      fail(join(element, " is in no document of this folder that could be read"), ProblemKind::missingTarget);
    const Element target = neighbour->find(fragmentOf(proxy.href)).element;
    if (!target) fail(join(element, " is not there"), ProblemKind::missingTarget);
    if (target.getContainer()) fail(join(element, " is contained elsewhere"));
    if (!proxy.container) return fragments_.setRoot(proxy.position, target);
    const meta::Property property = proxy.feature->property;
    Element container = proxy.container;
    container.adopt(property, target, fragments_.placeOf(container, property, proxy.position));
    fragments_.fill(container, property, proxy.position);
  }

  /// A package that is in none of the meta models.
  struct MissingPackage {
    pugi::xml_node first;  // element of it
    std::size_t elements = 0;
  };

  static constexpr std::string_view kLastCounts = ", and the last one counts";
  static constexpr std::string_view kNotFollowed = ", and other documents are read only with --follow";

  const XmlDocument& document_;
  Shared& shared_;
  const Mapping::Impl& mapping_;
  const XmiReadOptions& options_;
  ProgressMeter progress_;
  XmiContent& content_;  // of all documents, but for its fragments
  Fragments& fragments_;
  const std::string path_;
  std::function<Fragments*(std::string_view uri)> neighbour_;
  NamespaceScope namespaces_;
  std::unordered_map<std::string_view, NamedClass, TextHash> classes_;  // by the name in the document
  // The one that was asked for last: documents repeat themselves.
  NamedClass* lastClass_ = nullptr;
  std::string_view lastClassName_;
  std::vector<Frame> frames_;
  std::deque<Pending> pending_;    // grows without moving, which costs much with this many
  std::deque<std::string> texts_;  // of references given as character data
  std::vector<Proxy> proxies_;
  // What URIs of the document mean.
  TextSet mappedUris_;
  std::unordered_map<std::string_view, std::string_view, TextHash> packageAtLocation_;
  // What was wrong last, where it is tolerated.
  mutable ProblemKind kind_ = ProblemKind::other;
  std::string wrong_;
  std::string missingUri_;
  TextMap<MissingPackage> missing_;
  bool isEnding_ = false;  // the listener said so
  // The element that is looked at, and its attributes.
  pugi::xml_node current_;
  std::vector<Attribute> attributes_;
  bool hasDeclarations_ = false;
  bool hasPrefixes_ = false;  // beside those of declarations
};

/// The documents that are read into one model: the first, and what it leads to.
class Documents {
 public:
  Documents(const XmlDocument& first, const Mapping::Impl& mapping, const XmiReadOptions& options)
      : content_(std::make_unique<XmiContent>(first, mapping)),
        shared_{mapping, options, *content_},
        neighbours_(first.name(), options.uriMap) {
    readers_.push_back(std::make_unique<Reader>(first, shared_, content_->fragments, std::string()));
    followed_.emplace(neighbours_.first(), &content_->fragments);
  }

  std::unique_ptr<XmiContent> read() {
    if (!shared_.options.source) {
      readers_.front()->readElements();
    } else {
      for (std::size_t i = 0; i < readers_.size(); ++i) {  // which grow meanwhile
        readers_[i]->readElements();
        findNeighbours(*readers_[i]);
      }
      for (const auto& reader : readers_) reader->placeProxies();
    }
    for (const auto& reader : readers_) reader->resolveReferences();
    return std::move(content_);
  }

 private:
  struct Followed {
    XmlDocument document;
    Fragments fragments;
  };

  void findNeighbours(Reader& reader) {
    const std::string& from = reader.path().empty() ? neighbours_.first() : reader.path();
    reader.findNeighbours([this, &from, known = TextMap<Fragments*>()](std::string_view uri) mutable {
      const auto [entry, isNew] = known.try_emplace(std::string(uri), nullptr);
      if (isNew) entry->second = find(from, uri);
      return entry->second;
    });
  }

  /// The elements of the document that a URI means; null where it is not followed.
  Fragments* find(std::string_view from, std::string_view uri) {
    const auto path = neighbours_.pathOf(from, uri);
    if (!path) return nullptr;
    const auto [entry, isNew] = followed_.try_emplace(*path, nullptr);
    if (isNew) entry->second = open(*path);  // what cannot be read is not asked for again
    return entry->second;
  }

  Fragments* open(const std::string& path) {
    const std::string name = neighbours_.nameOf(path);
    std::string text = decodeXml(shared_.options.source(path), name);
    documents_.push_back(std::unique_ptr<Followed>(new Followed{
        XmlDocument(std::move(text), name, shared_.mapping.hasContent), Fragments(content_->tables)}));
    Followed& followed = *documents_.back();
    readers_.push_back(std::make_unique<Reader>(followed.document, shared_, followed.fragments, path));
    return &followed.fragments;
  }

  std::unique_ptr<XmiContent> content_;
  Shared shared_;
  Neighbours neighbours_;
  std::vector<std::unique_ptr<Followed>> documents_;
  std::vector<std::unique_ptr<Reader>> readers_;
  TextMap<Fragments*> followed_;  // by path; null where it cannot be read
};

}  // namespace

std::unique_ptr<XmiContent> readContent(const XmlDocument& document, const Mapping::Impl& mapping,
                                        const XmiReadOptions& options) {
  return Documents(document, mapping, options).read();
}

}  // namespace kr::zero::ecore
