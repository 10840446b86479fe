#include "XmiReader.h"

#include <algorithm>
#include <deque>

#include "Errors.h"
#include "Namespaces.h"
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

class Reader {
 public:
  Reader(const XmlDocument& document, const Mapping::Impl& mapping, const Progress& progress)
      : document_(document),
        mapping_(mapping),
        progress_(progress),
        content_(std::make_unique<XmiContent>(document, mapping)) {}

  std::unique_ptr<XmiContent> read() {
    try {
      openDocument();
      while (!frames_.empty()) step();
      resolveAll();
    } catch (const ModelError& error) {
      throw EcoreError(error.getCode() == ErrorCode::misuse ? ErrorCode::doesNotFit : error.getCode(),
                       placed(error.getDetails()));
    }
    return std::move(content_);
  }

 private:
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

  [[noreturn]] void fail(std::string_view what) const { document_.fail(current_, what); }

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
                          attribute.value);
      ++count;
    }
    return count;
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
    if (!known.type) fail(join(inQuotes(name), " is not a class"));
    return known.type;
  }

  meta::Type findType(const QName& name) {
    const std::string_view uri = namespaceOf(name.prefix);
    if (uri.empty()) return findTypeAnywhere(name.local);
    const PackageMapping* package = mapping_.findPackage(uri);
    if (package == nullptr)
      fail(join("the package with the URI ", inQuotes(uri), " is in none of the meta models"));
    const meta::Type type = package->findType(name.local);
    if (!type) fail(join("the package with the URI ", inQuotes(uri), " has no class ", inQuotes(name.local)));
    return type;
  }

  /// A name without namespace is good where only one package has it.
  meta::Type findTypeAnywhere(std::string_view name) const {
    meta::Type found;
    for (const PackageMapping& package : mapping_.packages) {
      const meta::Type type = package.findType(name);
      if (!type) continue;
      if (found)
        fail(join(inQuotes(name), " has no namespace, and several packages have a class of that name"));
      found = type;
    }
    if (!found) fail(join("no package has a class ", inQuotes(name)));
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
  }

  /// Reads the special attributes, and marks them as such.
  Special readSpecial() {
    Special special;
    if (!hasPrefixes_) return special;
    for (Attribute& attribute : attributes_) {
      const QName& name = attribute.split;
      if (attribute.isSpecial || name.prefix.empty()) continue;
      const std::string_view uri = namespaceOf(name.prefix);
      attribute.isSpecial = true;
      if (uri == kXsiNamespace)
        readSchemaInstance(name.local, attribute.value, special);
      else if (isXmiNamespace(uri))
        readXmi(name.local, attribute.value, special);
      else  // "space" is about blanks, which are kept anyway
        attribute.isSpecial = uri == kXmlNamespace && name.local == "space";
    }
    return special;
  }

  void readSchemaInstance(std::string_view name, std::string_view value, Special& special) const {
    if (name == "type") return setOnce(special.type, name, value);
    if (name == "nil") {
      const auto isNil = parseBoolean(value);
      if (!isNil) fail(join(inQuotes(value), " is not a value of xsi:nil"));
      special.isNil = *isNil;
    } else if (name != "schemaLocation" && name != "noNamespaceSchemaLocation") {
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
      const QName& name = attribute.split;
      const Feature* feature = table.findByAttribute(name.local);
      if (feature == nullptr || !isNamespaceOf(table, *feature, name.prefix)) failUnknown(table, name.local);
      readAttribute(node, element, table, *feature, attribute.value);
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
    if (!feature.isMany() && element.isSet(feature.property))
      fail(join("feature ", nameOf(table, feature), " is given twice"));
    const std::string wrong = putValue(element, feature, text);
    if (!wrong.empty()) fail(join("feature ", nameOf(table, feature), ": ", wrong));
    if (&feature == table.identifier()) noteIdentifier(element, feature, text);
  }

  void noteIdentifier(Element element, const Feature& feature, std::string_view text) {
    if (feature.isText())
      content_->fragments.addAttributeId(text, element);
    else
      content_->fragments.addAttributeId(element.getTextForm(feature.property), element);
  }

  void readList(Element element, ClassTable& table, const Feature& feature, std::string_view words) {
    if (isBlank(words) && !element.isSet(feature.property)) element.setEmpty(feature.property);
    for (std::string_view word = takeWord(words); !word.empty(); word = takeWord(words))
      readValue(element, table, feature, word);
  }

  // --- Elements --------------------------------------------------------------------------------

  void openDocument() {
    const pugi::xml_node root = document_.root();
    visit(root);
    const std::size_t declarations = declareNamespaces();
    const QName name = splitQName(root.name());
    if (name.local == "XMI" && isXmiNamespace(namespaceOf(name.prefix))) {
      readSpecial();
      for (const Attribute& attribute : attributes_)
        if (!attribute.isSpecial)
          fail(
              join("the attribute ", inQuotes(attribute.split.local), " of the root element has no meaning"));
      frames_.push_back({root.first_child(), {}, nullptr, declarations});
    } else {
      openRoot(root, declarations);
    }
  }

  void openRoot(pugi::xml_node node, std::size_t declarations) {
    const Special special = readSpecial();
    const meta::Class type = classOf(special.type.empty() ? std::string_view(node.name()) : special.type);
    open(node, content_->model.createRoot(type), special, declarations);
  }

  void openChild(const Frame& parent, const Feature& feature, pugi::xml_node node, std::size_t declarations) {
    const Special special = readSpecial();
    if (special.isNil) fail(join("feature ", nameOf(*parent.table, feature), " cannot be explicitly empty"));
    meta::StructuredType type(feature.property->getType());
    if (!special.type.empty()) type = classOf(special.type);
    const auto href = std::find_if(attributes_.begin(), attributes_.end(),
                                   [](const Attribute& attribute) { return attribute.name == "href"; });
    if (href != attributes_.end() && content_->tables.of(type).findByAttribute("href") == nullptr)
      fail(join("feature ", nameOf(*parent.table, feature), " contains an element of another document, ",
                inQuotes(href->value), ", which is not supported"));
    Element container = parent.element;
    open(node, container.create(feature.property, type), special, declarations);
  }

  void open(pugi::xml_node node, Element element, const Special& special, std::size_t declarations) {
    content_->offsets.resize(element.getIndex() + std::size_t{1});
    content_->offsets[element.getIndex()] = XmlDocument::offsetOf(node);
    if (!special.idref.empty()) fail("an element that is contained here cannot have the attribute xmi:idref");
    if (special.isNil) fail("a root element cannot be explicitly empty");
    readIdentity(element, special);
    ClassTable& table = content_->tables.of(element.getType());
    readAttributes(node, element, table);
    readCharacterData(node, element, table);
    frames_.push_back({node.first_child(), element, &table, declarations});
  }

  void readIdentity(Element element, const Special& special) {
    if (!special.id.empty() && !special.uuid.empty())
      fail("the element has both xmi:id and xmi:uuid, but a model keeps one identity");
    if (!special.id.empty()) {
      element.setIdentity("xmi:id", special.id);
      if (!content_->fragments.addXmiId(special.id, element))
        fail(join("two elements have the xmi:id ", inQuotes(special.id)));
    } else if (!special.uuid.empty()) {
      setUuid(element, special.uuid);
    }
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
      if (frame.element)
        readFeature(Frame(frame), node);
      else
        readRoot(node);
    } else if (!isBlank(node.value()) && (frame.table == nullptr || frame.table->content() == nullptr)) {
      fail(join("there is text between the elements: ", inQuotes(node.value())));
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
    if (!feature->mapping->isIgnored) readLeaf(frame.element, table, *feature, node);
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
      fail(join("feature ", nameOf(table, feature), " cannot hold an explicitly empty value"));
    if (element.isSet(feature.property)) fail(join("feature ", nameOf(table, feature), " is given twice"));
    element.setEmpty(feature.property);
  }

  [[noreturn]] void failAttribute(ClassTable& table, const Feature& feature,
                                  const Attribute& attribute) const {
    fail(join("the attribute ", inQuotes(attribute.split.local), " has no meaning for feature ",
              nameOf(table, feature)));
  }

  [[noreturn]] void failUnknown(ClassTable& table, std::string_view name) const {
    fail(join("class ", table.type()->qualifiedName(), " has no feature ", inQuotes(name)));
  }

  [[noreturn]] void failStorage(ClassTable& table, const Feature& feature) const {
    const std::string name = join("feature ", nameOf(table, feature));
    switch (feature.mapping->storage) {
      case Storage::featureMap:
        fail(join(name, " is a feature map, which cannot be stored"));
      case Storage::featureMapMember:
        fail(join(name, " belongs to the feature map ", inQuotes(feature.mapping->group),
                  ", which cannot be stored"));
      case Storage::container:
        fail(join(name, " is told by the nesting of the elements and cannot be given"));
      case Storage::notSerializable:
        fail(join(name, " cannot be stored: values of ", feature.property->getType()->qualifiedName(),
                  " have no text"));
      default:
        fail(join(name, " is transient and has no stored value"));
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
      pending_.push_back({element, &feature, node, isType ? next : word,
                          isType ? classOf(word) : meta::Class(), TextKind::uri});
      word = isType ? takeWord(text) : next;
    }
  }

  void resolveAll() {
    for (std::size_t i = 0; i < pending_.size(); ++i) {
      const Pending& pending = pending_[i];
      current_ = pending.node;
      if (pending.kind == TextKind::href)
        resolve(pending, pending.text);
      else
        resolveWords(pending);
      progress_.step(
          [&] { return 0.7 + 0.3 * static_cast<double>(i) / static_cast<double>(pending_.size()); });
    }
  }

  void resolveWords(const Pending& pending) {
    std::string_view text = pending.text;
    for (std::string_view word = takeWord(text); !word.empty(); word = takeWord(text)) resolve(pending, word);
  }

  void resolve(const Pending& pending, std::string_view word) {
    const Feature& feature = *pending.feature;
    Element source = pending.source;
    if (!feature.isMany() && source.isSet(feature.property))
      fail(join("feature ", nameOf(content_->tables.of(source.getType()), feature), " is given twice"));
    const std::size_t hash = pending.kind == TextKind::fragments ? std::string_view::npos : word.find('#');
    const bool isHref = pending.kind == TextKind::href;
    const bool isExternal = isHref ? hash != 0 : hash != std::string_view::npos && hash > 0;
    if (isExternal) {
      const meta::Type type = pending.type ? meta::Type(pending.type) : feature.property->getType();
      source.putUnresolved(feature.property,
                           toUnresolved(word, isHref ? kHrefForm : kAttributeForm, type->qualifiedName()));
    } else {
      source.putReference(feature.property, find(pending, hash == 0 ? word.substr(1) : word));
    }
  }

  Element find(const Pending& pending, std::string_view fragment) {
    const Fragments::Result result = content_->fragments.find(fragment);
    if (result.outcome == Fragments::Outcome::found) return result.element;
    const std::string reference =
        join("the reference ", inQuotes(fragment), " of feature ",
             nameOf(content_->tables.of(pending.source.getType()), *pending.feature));
    if (result.outcome == Fragments::Outcome::ambiguous)
      fail(join(reference, " could mean several elements: that id occurs more than once"));
    fail(join(reference, " leads nowhere"));
  }

  const XmlDocument& document_;
  const Mapping::Impl& mapping_;
  ProgressMeter progress_;
  std::unique_ptr<XmiContent> content_;
  NamespaceScope namespaces_;
  std::unordered_map<std::string_view, NamedClass, TextHash> classes_;  // by the name in the document
  // The one that was asked for last: documents repeat themselves.
  NamedClass* lastClass_ = nullptr;
  std::string_view lastClassName_;
  std::vector<Frame> frames_;
  std::deque<Pending> pending_;    // grows without moving, which costs much with this many
  std::deque<std::string> texts_;  // of references given as character data
  // The element that is looked at, and its attributes.
  pugi::xml_node current_;
  std::vector<Attribute> attributes_;
  bool hasDeclarations_ = false;
  bool hasPrefixes_ = false;  // beside those of declarations
};

}  // namespace

std::unique_ptr<XmiContent> readContent(const XmlDocument& document, const Mapping::Impl& mapping,
                                        const Progress& progress) {
  return Reader(document, mapping, progress).read();
}

}  // namespace kr::zero::ecore
