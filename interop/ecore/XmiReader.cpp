#include "XmiReader.h"

#include <deque>

#include "Errors.h"
#include "ExternalReferences.h"
#include "NamespaceScope.h"
#include "Namespaces.h"
#include "ProgressMeter.h"
#include "Values.h"

namespace kr::zero::ecore {

namespace {

constexpr std::string_view blanks = " \t\r\n";

/// Takes the next word off a text; empty at the end.
std::string_view takeWord(std::string_view& text) {
  const std::size_t start = text.find_first_not_of(blanks);
  if (start == std::string_view::npos) return {};
  const std::size_t end = std::min(text.find_first_of(blanks, start), text.size());
  const std::string_view word = text.substr(start, end - start);
  text.remove_prefix(end);
  return word;
}

bool isNamespaceDeclaration(std::string_view attribute) {
  return attribute.substr(0, 5) == "xmlns" && (attribute.size() == 5 || attribute[5] == ':');
}

bool hasChildElement(pugi::xml_node node) {
  for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
    if (child.type() == pugi::node_element) return true;
  return false;
}

/// The attributes of an element that say something about the element as such.
struct Special {
  std::string_view type;
  std::string_view id;
  std::string_view uuid;
  std::string_view idref;
  bool isNil = false;
};

/// A reference whose target may still be to come.
struct Pending {
  Element source;
  const Feature* feature;
  pugi::xml_node node;
  std::string_view text;  // words, each a reference; of an href the one URI
  meta::Class type;       // of the target; empty: not said
  bool isHref;
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
      fail(error.what());
    }
    return std::move(content_);
  }

 private:
  struct Frame {
    pugi::xml_node next;  // the child to visit
    Element element;      // empty: the element that holds several roots
    const ClassTable* table;
    std::size_t declarations;
  };

  // Errors name the line of the XML element that is being looked at.
  [[noreturn]] void fail(std::string_view what) const { document_.fail(current_, what); }

  static std::string nameOf(const ClassTable& table, const Feature& feature) {
    return join(table.type()->getQualifiedNameUtf8(), ".", feature.name());
  }

  // --- Names -----------------------------------------------------------------------------------

  std::size_t declareNamespaces(pugi::xml_node node) {
    std::size_t count = 0;
    for (const pugi::xml_attribute attribute : node.attributes()) {
      const std::string_view name = attribute.name();
      if (!isNamespaceDeclaration(name)) continue;
      namespaces_.declare(name.size() == 5 ? std::string_view() : name.substr(6), attribute.value());
      ++count;
    }
    if (count > 0) types_.clear();
    return count;
  }

  void leaveNamespaces(std::size_t count) {
    if (count == 0) return;
    namespaces_.leave(count);
    types_.clear();
  }

  std::string_view namespaceOf(std::string_view prefix) const {
    const std::string_view* uri = namespaces_.find(prefix);
    if (uri != nullptr) return *uri;
    if (prefix.empty()) return {};
    fail(join("the namespace prefix ", inQuotes(prefix), " is not declared"));
  }

  meta::Class classOf(std::string_view name) {
    if (const auto it = types_.find(name); it != types_.end()) return it->second;
    const meta::Type type = findType(splitQName(name));
    const meta::Class found(type);
    if (!found) fail(join(inQuotes(name), " is not a class"));
    types_.emplace(std::string(name), found);
    return found;
  }

  meta::Type findType(const QName& name) const {
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

  Special readSpecial(pugi::xml_node node) const {
    Special special;
    for (const pugi::xml_attribute attribute : node.attributes()) {
      const QName name = splitQName(attribute.name());
      if (name.prefix.empty() || name.prefix == "xmlns") continue;
      const std::string_view uri = namespaceOf(name.prefix);
      if (uri == xsiNamespace)
        readSchemaInstance(name.local, attribute.value(), special);
      else if (isXmiNamespace(uri))
        readXmi(name.local, attribute.value(), special);
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

  /// Calls `visit(name, value)` for every attribute that is not about the element as such.
  template <class Visit>
  void forEachAttribute(pugi::xml_node node, Visit&& visit) const {
    for (const pugi::xml_attribute attribute : node.attributes()) {
      const std::string_view name = attribute.name();
      const QName split = splitQName(name);
      if (isNamespaceDeclaration(name)) continue;
      if (!split.prefix.empty()) {
        const std::string_view uri = namespaceOf(split.prefix);
        if (uri == xsiNamespace || isXmiNamespace(uri)) continue;
        if (uri == xmlNamespace && split.local == "space") continue;  // about blanks, which are kept anyway
      }
      visit(split, std::string_view(attribute.value()));
    }
  }

  void readAttributes(pugi::xml_node node, Element element, const ClassTable& table) {
    forEachAttribute(node, [&](const QName& name, std::string_view value) {
      const Feature* feature = table.findByAttribute(name.local);
      if (feature == nullptr || !isNamespaceOf(table, *feature, name.prefix))
        refuseUnknown(table, name.local);
      readAttribute(node, element, table, *feature, value);
    });
  }

  void readAttribute(pugi::xml_node node, Element element, const ClassTable& table, const Feature& feature,
                     std::string_view value) {
    if (feature.mapping->isIgnored) return;
    if (feature.kind == FeatureKind::reference) return deferWords(node, element, feature, value);
    if (isPrimitive(feature.kind)) {
      if (feature.isMany) return readList(element, table, feature, value);
      return readValue(element, table, feature, value);
    }
    if (feature.kind == FeatureKind::none) refuseStorage(table, feature);
    if (!isBlank(value))
      fail(
          join("feature ", nameOf(table, feature), " contains elements and cannot be given by an attribute"));
  }

  void readValue(Element element, const ClassTable& table, const Feature& feature, std::string_view text) {
    if (!feature.isMany && element.isSet(feature.property))
      fail(join("feature ", nameOf(table, feature), " is given twice"));
    const std::string wrong = putValue(element, feature, text);
    if (!wrong.empty()) fail(join("feature ", nameOf(table, feature), ": ", wrong));
    if (&feature == table.identifier()) noteIdentifier(element, feature, text);
  }

  void noteIdentifier(Element element, const Feature& feature, std::string_view text) {
    if (feature.kind == FeatureKind::text)
      content_->fragments.addAttributeId(text, element);
    else
      content_->fragments.addAttributeId(element.getTextForm(feature.property), element);
  }

  void readList(Element element, const ClassTable& table, const Feature& feature, std::string_view words) {
    if (isBlank(words) && !element.isSet(feature.property)) element.setEmpty(feature.property);
    for (std::string_view word = takeWord(words); !word.empty(); word = takeWord(words))
      readValue(element, table, feature, word);
  }

  // --- Elements --------------------------------------------------------------------------------

  void openDocument() {
    const pugi::xml_node root = current_ = document_.root();
    const std::size_t declarations = declareNamespaces(root);
    const QName name = splitQName(root.name());
    if (name.local == "XMI" && isXmiNamespace(namespaceOf(name.prefix))) {
      readSpecial(root);
      forEachAttribute(root, [this](const QName& attribute, std::string_view) {
        fail(join("the attribute ", inQuotes(attribute.local), " of the root element has no meaning"));
      });
      frames_.push_back({root.first_child(), {}, nullptr, declarations});
    } else {
      openRoot(root, declarations);
    }
  }

  void openRoot(pugi::xml_node node, std::size_t declarations) {
    const Special special = readSpecial(node);
    const meta::Class type = classOf(special.type.empty() ? std::string_view(node.name()) : special.type);
    open(node, content_->model.createRoot(type), special, declarations);
  }

  void openChild(const Frame& parent, const Feature& feature, pugi::xml_node node, std::size_t declarations) {
    const Special special = readSpecial(node);
    const std::string name = nameOf(*parent.table, feature);
    if (special.isNil) fail(join("feature ", name, " cannot be explicitly empty"));
    meta::StructuredType type(feature.property->getType());
    if (!special.type.empty()) type = classOf(special.type);
    if (node.attribute("href") && content_->tables.of(type).findByAttribute("href") == nullptr)
      fail(join("feature ", name, " contains an element of another document, ",
                inQuotes(node.attribute("href").value()), ", which is not supported"));
    Element container = parent.element;
    open(node, container.create(feature.property, type), special, declarations);
  }

  void open(pugi::xml_node node, Element element, const Special& special, std::size_t declarations) {
    content_->offsets.resize(element.getIndex() + std::size_t{1});
    content_->offsets[element.getIndex()] = XmlDocument::offsetOf(node);
    if (!special.idref.empty()) fail("an element that is contained here cannot have the attribute xmi:idref");
    if (special.isNil) fail("a root element cannot be explicitly empty");
    readIdentity(element, special);
    const ClassTable& table = content_->tables.of(element.getType());
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

  void readCharacterData(pugi::xml_node node, Element element, const ClassTable& table) {
    if (table.content() == nullptr || table.content()->mapping->isIgnored) return;
    const std::string text = textOf(node);
    if (!isBlank(text)) readValue(element, table, *table.content(), text);
  }

  void step() {
    Frame& frame = frames_.back();
    const pugi::xml_node node = frame.next;
    if (!node) {
      leaveNamespaces(frame.declarations);
      frames_.pop_back();
      return;
    }
    frame.next = node.next_sibling();
    if (node.type() == pugi::node_element) {
      current_ = node;
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
    const std::size_t declarations = declareNamespaces(node);
    const QName name = splitQName(node.name());
    if (!isXmiNamespace(namespaceOf(name.prefix))) return openRoot(node, declarations);
    // Tells about the program that wrote the document, nothing about the model.
    if (name.local != "Documentation" && name.local != "documentation")
      fail(join("the element ", inQuotes(node.name()), " cannot be kept in a model"));
    leaveNamespaces(declarations);
  }

  void readFeature(const Frame& frame, pugi::xml_node node) {
    const std::size_t declarations = declareNamespaces(node);
    const ClassTable& table = *frame.table;
    const QName name = splitQName(node.name());
    const Feature* feature = table.findByElement(name.local);
    if (feature == nullptr || !isNamespaceOf(table, *feature, name.prefix)) refuseUnknown(table, node.name());
    if (feature->kind == FeatureKind::none) refuseStorage(table, *feature);
    if (feature->kind == FeatureKind::child && !feature->mapping->isIgnored)
      return openChild(frame, *feature, node, declarations);
    if (!feature->mapping->isIgnored) readLeaf(frame.element, table, *feature, node);
    leaveNamespaces(declarations);
  }

  /// A prefix, where there is one, must stand for where the feature comes from.
  bool isNamespaceOf(const ClassTable& table, const Feature& feature, std::string_view prefix) const {
    if (prefix.empty()) return true;
    const std::string_view uri = namespaceOf(prefix);
    return uri == feature.mapping->xmlNamespace || uri == table.type()->getPackageUriUtf8() ||
           uri == feature.property->getOwner()->getPackageUriUtf8();
  }

  void readLeaf(Element element, const ClassTable& table, const Feature& feature, pugi::xml_node node) {
    if (hasChildElement(node)) fail(join("feature ", nameOf(table, feature), " does not contain elements"));
    if (feature.kind == FeatureKind::reference)
      readReferenceElement(element, table, feature, node);
    else
      readValueElement(element, table, feature, node);
  }

  void readValueElement(Element element, const ClassTable& table, const Feature& feature,
                        pugi::xml_node node) {
    const Special special = readSpecial(node);
    refuseAttributes(table, feature, node);
    if (!special.type.empty() || !special.id.empty() || !special.uuid.empty() || !special.idref.empty())
      fail(join("a value of feature ", nameOf(table, feature), " has neither a type nor an identity"));
    if (!special.isNil) return readValue(element, table, feature, textOf(node));
    if (feature.isMany || !feature.property->isOptional())
      fail(join("feature ", nameOf(table, feature), " cannot hold an explicitly empty value"));
    if (element.isSet(feature.property)) fail(join("feature ", nameOf(table, feature), " is given twice"));
    element.setEmpty(feature.property);
  }

  void refuseAttributes(const ClassTable& table, const Feature& feature, pugi::xml_node node) const {
    forEachAttribute(node, [&](const QName& name, std::string_view) {
      fail(join("the attribute ", inQuotes(name.local), " has no meaning for feature ",
                nameOf(table, feature)));
    });
  }

  [[noreturn]] void refuseUnknown(const ClassTable& table, std::string_view name) const {
    fail(join("class ", table.type()->getQualifiedNameUtf8(), " has no feature ", inQuotes(name)));
  }

  [[noreturn]] void refuseStorage(const ClassTable& table, const Feature& feature) const {
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
        fail(join(name, " cannot be stored: values of ", feature.property->getType()->getQualifiedNameUtf8(),
                  " have no text"));
      default:
        fail(join(name, " is transient and has no stored value"));
    }
  }

  // --- References ------------------------------------------------------------------------------

  void readReferenceElement(Element element, const ClassTable& table, const Feature& feature,
                            pugi::xml_node node) {
    const Special special = readSpecial(node);
    if (special.isNil) fail(join("feature ", nameOf(table, feature), " cannot be explicitly empty"));
    meta::Class type;
    if (!special.type.empty()) type = classOf(special.type);
    std::string_view href;
    forEachAttribute(node, [&](const QName& name, std::string_view value) {
      if (name.local != "href")
        fail(join("the attribute ", inQuotes(name.local), " has no meaning for feature ",
                  nameOf(table, feature)));
      href = value;
    });
    if (!href.empty()) {
      pending_.push_back({element, &feature, node, href, type, true});
    } else if (!special.idref.empty()) {
      pending_.push_back({element, &feature, node, special.idref, type, false});
    } else {
      texts_.push_back(textOf(node));
      if (isBlank(texts_.back())) fail(join("feature ", nameOf(table, feature), " names no target"));
      deferWords(node, element, feature, texts_.back());
    }
  }

  void deferWords(pugi::xml_node node, Element element, const Feature& feature, std::string_view text) {
    if (isBlank(text)) {
      if (feature.isMany && !element.isSet(feature.property)) element.setEmpty(feature.property);
    } else if (text.find('#') == std::string_view::npos) {
      pending_.push_back({element, &feature, node, text, {}, false});
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
      pending_.push_back(
          {element, &feature, node, isType ? next : word, isType ? classOf(word) : meta::Class(), false});
      word = isType ? takeWord(text) : next;
    }
  }

  void resolveAll() {
    for (std::size_t i = 0; i < pending_.size(); ++i) {
      const Pending& pending = pending_[i];
      current_ = pending.node;
      if (pending.isHref)
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
    if (!feature.isMany && source.isSet(feature.property))
      fail(join("feature ", nameOf(content_->tables.of(source.getType()), feature), " is given twice"));
    const std::size_t hash = word.find('#');
    const bool isExternal = pending.isHref ? hash != 0 : hash != std::string_view::npos && hash > 0;
    if (isExternal) {
      const meta::Type type = pending.type ? meta::Type(pending.type) : feature.property->getType();
      source.putUnresolved(feature.property, toUnresolved(word, pending.isHref ? hrefForm : attributeForm,
                                                          type->getQualifiedNameUtf8()));
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
  TextMap<meta::Class> types_;  // by the name in the document, under the declarations in force
  std::vector<Frame> frames_;
  std::vector<Pending> pending_;
  std::deque<std::string> texts_;  // of references given as character data
  pugi::xml_node current_;
};

}  // namespace

std::unique_ptr<XmiContent> readContent(const XmlDocument& document, const Mapping::Impl& mapping,
                                        const Progress& progress) {
  return Reader(document, mapping, progress).read();
}

}  // namespace kr::zero::ecore
