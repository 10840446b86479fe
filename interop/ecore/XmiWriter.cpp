#include "Addresses.h"
#include "ClassTable.h"
#include "Errors.h"
#include "Fragments.h"
#include "Namespaces.h"
#include "ProgressMeter.h"
#include "Values.h"
#include "XmlEscape.h"
#include "kr/zero/ecore/Ecore.h"

namespace kr::zero::ecore {

namespace {

/// Deeper elements are not indented further: a deep model would be mostly blanks.
constexpr std::size_t kDeepestIndent = 100;
constexpr std::string_view kNoCharacter = "the text holds a character that XML does not have";

class Writer {
 public:
  Writer(const Model& model, const Mapping::Impl& mapping, const Progress& progress)
      : model_(model),
        mapping_(mapping),
        tables_(mapping),
        addresses_(model, tables_),
        prefixes_(mapping),
        progress_(progress) {}

  std::string write() {
    const std::vector<ConstElement> roots = model_.getRoots();
    choose(roots);
    if (roots.size() == 1)
      writeElement(roots.front(), rootName_ = qualifiedName(roots.front().getType()));
    else
      writeRoots(roots);
    return finish();
  }

 private:
  struct Frame {
    ConstElement element;
    const ClassTable* table;
    const std::string* name;
    bool isOpen = true;       // the start tag still lacks its ">"
    bool hasText = false;     // holds character data, so blanks count
    std::size_t feature = 0;  // where the values that are elements go on
    std::size_t position = 0;
    std::size_t count = 0;  // of the values of that feature
  };

  [[noreturn]] static void fail(ConstElement element, const Feature& feature, std::string_view what) {
    failToExpress(join(element.getPath(), ".", feature.name()), std::string(what));
  }

  // --- The document ----------------------------------------------------------------------------

  /// Ecore's own documents put URIs into attributes. Documents of packages that have names for XML are plain
  /// XML: they carry what is XMI's only where they need it.
  void choose(const std::vector<ConstElement>& roots) {
    isPlainXml_ = roots.size() == 1;
    for (const ConstElement root : roots) {
      const std::string& uri = root.getType()->packageUri();
      const PackageMapping* package = mapping_.findPackage(uri);
      isPlainXml_ = isPlainXml_ && package != nullptr && package->hasXmlNames;
      isEcore_ = isEcore_ || uri == kEcoreNamespace;
    }
    if (!isPlainXml_) prefixes_.of(kXmiNamespace);
  }

  void writeRoots(const std::vector<ConstElement>& roots) {
    rootName_ = "xmi:XMI";
    body_ = roots.empty() ? "/>\n" : ">\n";
    indent_ = 1;
    for (const ConstElement root : roots) {
      indent();
      const std::string& name = qualifiedName(root.getType());
      body_.append("<").append(name);
      writeElement(root, name);
    }
    if (!roots.empty()) body_.append("</xmi:XMI>\n");
  }

  std::string finish() {
    std::string document = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<";
    document.append(rootName_);
    if (!isPlainXml_) document.append(" ").append(prefixes_.of(kXmiNamespace)).append(":version=\"2.0\"");
    if (!prefixes_.appendDeclarations(document)) failToExpress({}, "the URI of a package has no form in XML");
    return document.append(body_);
  }

  const std::string& qualifiedName(meta::Type type) {
    std::string& known = typeNames_[type.get()];
    if (!known.empty()) return known;
    const std::string& name = mapping_.xmlNameOf(type);
    const std::string& uri = type->packageUri();
    if (mapping_.findPackage(uri) == nullptr || !isXmlName(name))
      failToExpress({}, join("type ", type->qualifiedName(), " has no name in XML"));
    return known = prefixes_.of(uri) + ":" + name;
  }

  const std::string& nameOf(const Feature& feature) {
    std::string& known = featureNames_[&feature];
    if (!known.empty()) return known;
    const std::string_view name = feature.xmlName();
    const std::string& uri = feature.mapping->xmlNamespace;
    if (!isXmlName(name)) failToExpress({}, join("feature ", feature.name(), " has no name in XML"));
    return known = uri.empty() ? std::string(name) : join(prefixes_.of(uri), ":", name);
  }

  void indent() { body_.append(2 * std::min(indent_, kDeepestIndent), ' '); }

  // --- Elements --------------------------------------------------------------------------------

  /// Writes a root whose start tag is begun, and everything below it.
  void writeElement(ConstElement element, const std::string& name) {
    open(element, nullptr, name);
    while (!frames_.empty())
      if (!writeNext()) close();
  }

  void open(ConstElement element, const Feature* holder, const std::string& name) {
    const ClassTable& table = tables_.of(element.getType());
    frames_.push_back({element, &table, &name});
    ++indent_;
    writeType(element, holder);
    writeIdentity(element);
    for (const Feature& feature : table.features()) writeAttribute(element, feature);
    ++written_;
    progress_.step([&] { return static_cast<double>(written_) / static_cast<double>(model_.size() + 1); });
  }

  void writeType(ConstElement element, const Feature* holder) {
    if (holder == nullptr || meta::Type(element.getType()) == holder->property->getType()) return;
    beginAttribute(prefixes_.of(kXsiNamespace) + ":type");
    body_.append(qualifiedName(element.getType())).append("\"");
  }

  void writeIdentity(ConstElement element) {
    if (const std::string own = addresses_.ownIdOf(element); !own.empty()) {
      isPlainXml_ = false;
      attribute(element, prefixes_.of(kXmiNamespace) + ":id", own);
    }
    const auto identity = element.getIdentity();
    if (!identity) return;
    isPlainXml_ = false;
    const std::string& xmi = prefixes_.of(kXmiNamespace);
    if (identity->first == "xmi:id") {
      if (isOwnId(identity->second))
        failToExpress(element.getPath(), join("the xmi:id ", inQuotes(identity->second),
                                              " would be forgotten: documents have such ids for themselves"));
      return attribute(element, xmi + ":id", identity->second);
    }
    if (identity->first == "xmi:uuid" && identity->second.find('#') == std::string_view::npos)
      return attribute(element, xmi + ":uuid", identity->second);
    attribute(element, xmi + ":uuid", join(percentEncoded(identity->first), "#", identity->second));
  }

  void close() {
    const Frame& frame = frames_.back();
    --indent_;
    if (frame.isOpen) {
      body_.append("/>\n");
    } else {
      if (!frame.hasText) indent();
      body_.append("</").append(*frame.name).append(">\n");
    }
    frames_.pop_back();
  }

  /// Writes the next value that is an element.
  /// @returns false where there is none left.
  bool writeNext() {
    Frame& frame = frames_.back();
    const std::vector<Feature>& features = frame.table->features();
    for (; frame.feature < features.size(); ++frame.feature, frame.position = 0) {
      const Feature& feature = features[frame.feature];
      if (frame.position == 0) frame.count = countElements(frame.element, feature);
      if (frame.position < frame.count) {
        writeValue(Frame(frame), feature, frame.position++);
        return true;
      }
    }
    return false;
  }

  /// How many values of a feature are written as elements.
  static std::size_t countElements(ConstElement element, const Feature& feature) {
    if (!feature.isStored()) return 0;
    const PropertyState state = element.getState(feature.property);
    if (state == PropertyState::empty) return feature.isPrimitive() && !feature.isMany() ? 1 : 0;
    if (state == PropertyState::unset) return 0;
    const bool isAttribute =
        feature.isAttributeForm() && (!feature.isReference() || !hasHref(element, feature));
    return isAttribute ? 0 : element.size(feature.property);
  }

  void writeValue(const Frame& frame, const Feature& feature, std::size_t position) {
    const ConstElement element = frame.element;
    if (frame.hasText) fail(element, feature, "has no place beside the character data of the element");
    if (feature.mapping->form == XmlForm::content) return writeContent(frame, feature);
    if (frame.isOpen) body_.append(">\n");
    frames_.back().isOpen = false;
    indent();
    const std::string& name = nameOf(feature);
    body_.append("<").append(name);
    if (feature.isChild()) {
      open(element.getElement(feature.property, position), &feature, name);
    } else if (element.getState(feature.property) == PropertyState::empty) {
      body_.append(" ").append(prefixes_.of(kXsiNamespace)).append(":nil=\"true\"/>\n");
    } else if (feature.isReference()) {
      writeReferenceElement(element, feature, position);
    } else {
      body_.append(">");
      characterData(element, feature, valueText(element, feature, position, scratch_));
      body_.append("</").append(name).append(">\n");
    }
  }

  /// The value that is the character data of the element itself.
  void writeContent(const Frame& frame, const Feature& feature) {
    const bool isValue = frame.element.getState(feature.property) == PropertyState::value;
    if (!frame.isOpen || !isValue || frame.count != 1)
      fail(frame.element, feature, "has no form as the character data of the element");
    body_.append(">");
    frames_.back().isOpen = false;
    frames_.back().hasText = true;
    characterData(frame.element, feature, valueText(frame.element, feature, 0, scratch_));
  }

  void characterData(ConstElement element, const Feature& feature, std::string_view text) {
    if (!appendCharacterData(body_, text)) fail(element, feature, kNoCharacter);
  }

  // --- Attributes ------------------------------------------------------------------------------

  void beginAttribute(std::string_view name) { body_.append(" ").append(name).append("=\""); }

  void attribute(ConstElement element, std::string_view name, std::string_view text) {
    beginAttribute(name);
    if (!appendAttributeText(body_, text))
      failToExpress(element.getPath(), join("the ", name, " holds a character that XML does not have"));
    body_.append("\"");
  }

  void writeAttribute(ConstElement element, const Feature& feature) {
    if (!feature.isStored() || feature.isChild()) return;
    const PropertyState state = element.getState(feature.property);
    if (state == PropertyState::unset) return;
    if (state == PropertyState::empty) {
      if (feature.isMany()) attribute(element, nameOf(feature), "");
    } else if (feature.isAttributeForm()) {
      if (feature.isReference())
        writeReferences(element, feature);
      else
        writeSingle(element, feature);
    }
  }

  void writeSingle(ConstElement element, const Feature& feature) {
    beginAttribute(nameOf(feature));
    appendText(element, feature, valueText(element, feature, 0, scratch_));
    body_.push_back('"');
  }

  void appendText(ConstElement element, const Feature& feature, std::string_view text) {
    if (!appendAttributeText(body_, text)) fail(element, feature, kNoCharacter);
  }

  // --- References ------------------------------------------------------------------------------

  /// Whether some target of a reference must be written as an element with an href.
  static bool hasHref(ConstElement element, const Feature& feature) {
    const std::size_t size = element.size(feature.property);
    for (std::size_t i = 0; i < size; ++i)
      if (!element.getReference(feature.property, i) &&
          element.getUnresolved(feature.property, i)->id1 != kAttributeForm)
        return true;
    return false;
  }

  void writeReferences(ConstElement element, const Feature& feature) {
    if (hasHref(element, feature)) return;
    beginAttribute(nameOf(feature));
    const std::size_t size = element.size(feature.property);
    for (std::size_t i = 0; i < size; ++i) {
      if (i > 0) body_.push_back(' ');
      if (const ConstElement target = element.getReference(feature.property, i)) {
        if (isEcore_) body_.push_back('#');
        appendAddress(element, feature, target);
      } else {
        const UnresolvedReference reference = externalReference(element, feature, i);
        if (const meta::Type type = targetType(element, feature, reference))
          body_.append(qualifiedName(type)).append(" ");
        const std::string uri = uriOf(reference);
        if (uri.find_first_of(" \t\r\n") != std::string::npos)
          fail(element, feature, join("the URI ", inQuotes(uri), " holds blanks"));
        appendText(element, feature, uri);
      }
    }
    body_.push_back('"');
  }

  void writeReferenceElement(ConstElement element, const Feature& feature, std::size_t position) {
    if (const ConstElement target = element.getReference(feature.property, position)) {
      // Where one target needs an href all get one: their order is that of the elements.
      beginAttribute("href");
      body_.push_back('#');
      appendAddress(element, feature, target);
    } else {
      const UnresolvedReference reference = externalReference(element, feature, position);
      if (const meta::Type type = targetType(element, feature, reference)) {
        beginAttribute(prefixes_.of(kXsiNamespace) + ":type");
        body_.append(qualifiedName(type)).append("\"");
      }
      beginAttribute("href");
      appendText(element, feature, uriOf(reference));
    }
    body_.append("\"/>\n");
  }

  UnresolvedReference externalReference(ConstElement element, const Feature& feature,
                                        std::size_t position) const {
    auto reference = element.getUnresolved(feature.property, position);
    if (!reference->qualifier || reference->qualifier->empty() ||
        reference->qualifier->find('#') != std::string::npos)
      fail(element, feature,
           join("the element ", inQuotes(reference->id1), ", ", inQuotes(reference->id2),
                " that it refers to is not in the model"));
    return std::move(*reference);
  }

  /// The type to write with a reference, or an empty handle where the feature tells it.
  meta::Type targetType(ConstElement element, const Feature& feature,
                        const UnresolvedReference& reference) const {
    const meta::Type own = feature.property->getType();
    if (reference.targetType == own->qualifiedName()) return {};
    const meta::Type type = mapping_.registry->findType(reference.targetType);
    if (!type) fail(element, feature, join("there is no type ", inQuotes(reference.targetType)));
    return type;
  }

  void appendAddress(ConstElement element, const Feature& feature, ConstElement target) {
    scratch_.clear();
    addresses_.append(scratch_, target);
    appendText(element, feature, scratch_);
  }

  const Model& model_;
  const Mapping::Impl& mapping_;
  ClassTables tables_;
  Addresses addresses_;
  Prefixes prefixes_;
  ProgressMeter progress_;
  bool isEcore_ = false;
  bool isPlainXml_ = false;
  std::string rootName_;  // kept back: the namespaces that follow it are known only at the end
  std::string body_;      // everything after the name of the root element
  std::string scratch_;
  std::vector<Frame> frames_;
  std::size_t indent_ = 0;
  std::size_t written_ = 0;
  std::unordered_map<const meta::Type::Impl*, std::string> typeNames_;
  std::unordered_map<const Feature*, std::string> featureNames_;
};

}  // namespace

std::string writeXmi(const Model& model, const Mapping& mapping, const Progress& progress) {
  try {
    return Writer(model, mapping.impl(), progress).write();
  } catch (...) {
    rethrowAsError({});
  }
}

}  // namespace kr::zero::ecore
