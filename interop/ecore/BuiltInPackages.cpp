#include "BuiltInPackages.h"

#include <algorithm>

#include "Namespaces.h"
#include "WholeEcore.h"
#include "kr/zero/ecore/Ecore.h"
#include "kr/zero/meta/MetaModelBuilder.h"

namespace kr::zero::ecore {

namespace {

constexpr BuiltInType kEcoreTypes[] = {
    {"EBigDecimal"},
    {"EBigInteger"},
    {"EBoolean", "Boolean"},
    {"EBooleanObject", "Boolean"},
    {"EByte", "Integer8"},
    {"EByteArray"},
    {"EByteObject", "Integer8"},
    {"EChar"},
    {"ECharacterObject"},
    {"EDate", "DateTime"},
    {"EDiagnosticChain", nullptr, false},
    {"EDouble", "Real"},
    {"EDoubleObject", "Real"},
    {"EEList", nullptr, false},
    {"EEnumerator", nullptr, false},
    {"EFeatureMap", nullptr, false},
    {"EFeatureMapEntry", nullptr, false},
    {"EFloat", "Real"},
    {"EFloatObject", "Real"},
    {"EInt", "Integer"},
    {"EIntegerObject", "Integer"},
    {"EInvocationTargetException", nullptr, false},
    {"EJavaClass"},
    {"EJavaObject"},
    {"ELong", "Integer64"},
    {"ELongObject", "Integer64"},
    {"EMap", nullptr, false},
    {"EResource", nullptr, false},
    {"EResourceSet", nullptr, false},
    {"EShort", "Integer16"},
    {"EShortObject", "Integer16"},
    {"EString", "String"},
    {"ETreeIterator", nullptr, false},
};

// The data types of XML schemas. All of them are texts by nature.
constexpr BuiltInType kXmlTypes[] = {
    {"AnySimpleType"},
    {"AnyURI"},
    {"Base64Binary"},
    {"Boolean"},
    {"BooleanObject"},
    {"Byte"},
    {"ByteObject"},
    {"Date"},
    {"DateTime"},
    {"Decimal"},
    {"Double"},
    {"DoubleObject"},
    {"Duration"},
    {"ENTITIES"},
    {"ENTITIESBase"},
    {"ENTITY"},
    {"Float"},
    {"FloatObject"},
    {"GDay"},
    {"GMonth"},
    {"GMonthDay"},
    {"GYear"},
    {"GYearMonth"},
    {"HexBinary"},
    {"ID"},
    {"IDREF"},
    {"IDREFS"},
    {"IDREFSBase"},
    {"Int"},
    {"IntObject"},
    {"Integer"},
    {"Language"},
    {"Long"},
    {"LongObject"},
    {"NCName"},
    {"NMTOKEN"},
    {"NMTOKENS"},
    {"NMTOKENSBase"},
    {"NOTATION"},
    {"Name"},
    {"NegativeInteger"},
    {"NonNegativeInteger"},
    {"NonPositiveInteger"},
    {"NormalizedString"},
    {"PositiveInteger"},
    {"QName"},
    {"Short"},
    {"ShortObject"},
    {"String"},
    {"Time"},
    {"Token"},
    {"UnsignedByte"},
    {"UnsignedByteObject"},
    {"UnsignedInt"},
    {"UnsignedIntObject"},
    {"UnsignedLong"},
    {"UnsignedShort"},
    {"UnsignedShortObject"},
};

constexpr BuiltInType kXmlNamespaceTypes[] = {{"LangType"}};

constexpr BuiltInPackage kPackages[] = {
    {kEcoreNamespace.data(), "Ecore.ecore", "ecore", kEcoreTypes},
    {"http://www.eclipse.org/emf/2003/XMLType", "XMLType.ecore", "type", kXmlTypes},
    {kXmlNamespace.data(), "XMLNamespace.ecore", "namespace", kXmlNamespaceTypes},
};

}  // namespace

const BuiltInType* BuiltInPackage::findDataType(std::string_view typeName) const {
  const auto found = std::find_if(dataTypes.begin(), dataTypes.end(),
                                  [&](const BuiltInType& type) { return type.name == typeName; });
  return found == dataTypes.end() ? nullptr : &*found;
}

bool BuiltInPackage::hasClass(std::string_view className) const {
  return uri == kEcoreNamespace && (className == "EObject" || className == "EStringToStringMapEntry");
}

bool BuiltInPackage::wholeHasClass(std::string_view className) const {
  static const meta::PackageDefinition whole = wholeEcore();
  return uri == kEcoreNamespace &&
         std::any_of(whole.types.begin(), whole.types.end(), [&](const meta::TypeDefinition& type) {
           return type.kind == meta::TypeDefinition::Kind::classType && type.name == className;
         });
}

meta::PackageDefinition BuiltInPackage::definition() const {
  meta::MetaModelBuilder builder(uri, name);
  for (const BuiltInType& type : dataTypes)
    if (type.standardType == nullptr) builder.primitive(type.name);
  if (uri == kEcoreNamespace) {
    builder.classType("EObject");
    auto& entry = builder.classType("EStringToStringMapEntry");
    for (const char* part : {"key", "value"}) entry.property(part, "String");
  }
  meta::PackageDefinition package = builder.definition();
  for (meta::TypeDefinition& type : package.types) type.isUniversal = type.name == "EObject";
  return package;
}

const BuiltInPackage* findBuiltInPackage(std::string_view uri) {
  for (const BuiltInPackage& package : kPackages)
    if (package.uri == uri) return &package;
  return nullptr;
}

std::vector<meta::PackageDefinition> builtInVersionsOf(std::string_view packageUri) {
  std::vector<meta::PackageDefinition> versions;
  if (const BuiltInPackage* const package = findBuiltInPackage(packageUri))
    versions.push_back(package->definition());
  if (packageUri == kEcoreNamespace) versions.push_back(wholeEcore());
  return versions;
}

const BuiltInPackage* findBuiltInFile(std::string_view file) {
  for (const BuiltInPackage& package : kPackages)
    if (package.file == file) return &package;
  return nullptr;
}

}  // namespace kr::zero::ecore
