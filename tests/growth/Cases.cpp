#include "growth/Cases.h"

#include <kr/zero/archive/Archive.h>
#include <kr/zero/ecore/Documentation.h>
#include <kr/zero/ecore/Ecore.h>
#include <kr/zero/ecore/Imperfect.h>
#include <kr/zero/evolution/Lock.h>
#include <kr/zero/evolution/SchemaDiff.h>
#include <kr/zero/json/Json.h>

#include <memory>
#include <optional>
#include <stdexcept>

#include "kr/zero/Model.h"
#include "kr/zero/io/BinaryFormats.h"
#include "kr/zero/io/IOFormatProvider.h"
#include "kr/zero/io/ModelFile.h"
#include "kr/zero/meta/MetaRegistry.h"
#include "support/CollidingTexts.h"

namespace kr::zero::growth {

namespace {

using std::to_string;

/// A text for each number, joined.
template <class Make>
std::string joined(std::size_t count, const Make& make) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) all += make(i);
  return all;
}

std::string repeated(const std::string& text, std::size_t count) {
  return joined(count, [&](std::size_t) { return text; });
}

// --- Meta models -------------------------------------------------------------------------------

std::string package(const std::string& contents, const std::string& name = "f") {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ecore:EPackage xmi:version=\"2.0\" "
         "xmlns:xmi=\"http://www.omg.org/XMI\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
         "xmlns:ecore=\"http://www.eclipse.org/emf/2002/Ecore\" name=\"" +
         name + "\" nsURI=\"urn:" + name + "\" nsPrefix=\"" + name + "\">" + contents + "</ecore:EPackage>\n";
}

std::string cls(const std::string& name, const std::string& contents = {}, const std::string& more = {}) {
  return "<eClassifiers xsi:type='ecore:EClass' name='" + name + "'" + more + ">" + contents +
         "</eClassifiers>";
}

std::string attribute(const std::string& name, const std::string& more = {}) {
  return "<eStructuralFeatures xsi:type='ecore:EAttribute' name='" + name +
         "' eType='ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//EString' " + more + "/>";
}

std::string typed(const std::string& kind, const std::string& name, const std::string& type,
                  const std::string& more = {}) {
  return "<eStructuralFeatures xsi:type='ecore:" + kind + "' name='" + name + "' eType='" + type + "' " +
         more + "/>";
}

/// A meta model of one file.
struct MetaModel {
  std::unique_ptr<meta::MetaRegistry> registry = std::make_unique<meta::MetaRegistry>();
  std::shared_ptr<const ecore::Mapping> mapping;
  explicit MetaModel(const std::string& text)
      : mapping(ecore::loadEcoreFiles({{"f.ecore", text}}, *registry)) {}
};

/// "f.N", with every kind of feature that the cases need.
const MetaModel& nodes() {
  static const MetaModel made(package(cls(
      "N",
      attribute("id", "iD='true'") + attribute("s") + attribute("t") + attribute("m", "upperBound='-1'") +
          "<eStructuralFeatures xsi:type='ecore:EAttribute' name='i' upperBound='-1' eType='ecore:EDataType "
          "http://www.eclipse.org/emf/2002/Ecore#//EInt'/>" +
          typed("EReference", "k", "#//N", "upperBound='-1' containment='true'") +
          typed("EReference", "r", "#//N") + typed("EReference", "q", "#//N", "upperBound='-1'"))));
  return made;
}

// --- Models, through all formats ---------------------------------------------------------------

using MakeModel = void (*)(Element root, std::size_t size);

std::vector<Element> childrenOf(Element root, std::size_t count) {
  std::vector<Element> all;
  for (std::size_t i = 0; i < count; ++i) all.push_back(root.create("k"));
  return all;
}

std::vector<Element> chainBelow(Element root, std::size_t count) {
  std::vector<Element> all;
  for (std::size_t i = 0; i < count; ++i) all.push_back(root = root.create("k"));
  return all;
}

void deep(Element root, std::size_t size) { chainBelow(root, size); }

void deepTargets(Element root, std::size_t size) {
  const auto all = chainBelow(root, size);
  for (std::size_t i = 0; i < size; ++i) Element(all[i]).putReference("r", all[size - 1 - i / 2]);
}

void wide(Element root, std::size_t size) { childrenOf(root, size); }

void forwardReferences(Element root, std::size_t size) {
  const auto all = childrenOf(root, size);
  for (std::size_t i = 0; i < size; ++i) Element(all[i]).putReference("q", all[size - 1 - i]);
}

void oneLongList(Element root, std::size_t size) {
  const auto all = childrenOf(root, size);
  for (const Element& each : all) root.putReference("q", each);
}

void oneName(Element root, std::size_t size) {
  for (Element each : childrenOf(root, size)) each.set("s", "the name that all have");
}

void identities(Element root, std::size_t size) {
  const auto all = childrenOf(root, size);
  for (std::size_t i = 0; i < size; ++i) {
    Element(all[i]).setIdentity("xmi:id", "i" + to_string(i));
    Element(all[i]).putReference("r", all[i / 2]);
  }
}

/// Identities that std::hash cannot tell apart.
void collidingIdentities(Element root, std::size_t size) {
  const auto texts = test::makeCollidingTexts(size);
  const auto all = childrenOf(root, texts.size());
  for (std::size_t i = 0; i < texts.size(); ++i) {
    Element(all[i]).setIdentity("xmi:id", texts[i]);
    Element(all[i]).set("s", texts[i]);
    root.putReference("q", all[i]);
  }
}

void texts(Element root, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) root.add("m", "text " + to_string(i));
}

void numbers(Element root, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) root.add("i", static_cast<std::int32_t>(1000000 + i));
}

void empties(Element root, std::size_t size) {
  for (Element each : childrenOf(root, size)) {
    each.setEmpty("m");
    each.setEmpty("q");
    each.setEmpty("s");
  }
}

void unresolved(Element root, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i)
    root.putUnresolved(
        "q", {.targetType = "f.N", .id1 = "href", .id2 = "//" + to_string(i), .qualifier = "o.xmi"});
}

struct Shape {
  const char* name;
  MakeModel make;
  std::size_t size;
};

constexpr Shape kShapes[] = {
    {"deep", deep, 500},
    {"deepTargets", deepTargets, 500},
    {"wide", wide, 500},
    {"forwardReferences", forwardReferences, 500},
    {"oneLongList", oneLongList, 500},
    {"oneName", oneName, 500},
    {"identities", identities, 500},
    {"collidingIdentities", collidingIdentities, 500},
    {"texts", texts, 1000},
    {"numbers", numbers, 2000},
    {"empties", empties, 300},
    {"unresolved", unresolved, 500},
};

std::shared_ptr<const Model> modelOf(const Shape& shape, std::size_t size) {
  auto model = std::make_shared<Model>(*nodes().registry);
  shape.make(model->createRoot("f.N"), size);
  return model;
}

std::string write(const Model& model, Door door) {
  std::string bytes;
  switch (door) {
    case Door::direct:
      io::writeModel(model, bytes, {.format = io::IOFormatProvider::FORMAT_BINARY});
      break;
    case Door::tagged:
      io::writeModel(model, bytes, {.format = io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN});
      break;
    case Door::json:
      return json::writeJson(model);
    case Door::archive:
      archive::writeArchive(model, bytes);
      break;
    default:
      return ecore::writeXmi(model, *nodes().mapping);
  }
  return bytes;
}

void read(const std::string& bytes, Door door) {
  switch (door) {
    case Door::json:
      json::readJson(bytes, {.registry = nodes().registry.get()});
      break;
    case Door::archive:
      archive::loadArchive(archive::ArchiveBytes{.bytes = bytes}, *nodes().registry);
      break;
    case Door::xmi:
      ecore::readXmi(bytes, "d.xmi", *nodes().mapping);
      break;
    default:
      io::readModel(std::string_view(bytes), {.registry = nodes().registry.get()});
  }
}

/// What an archive unpacks to counts, too: it is what reading it is about.
std::size_t sizeOf(const Model& model, const std::string& bytes, Door door) {
  return door == Door::archive ? bytes.size() + write(model, Door::direct).size() : bytes.size();
}

void addModels(std::vector<Case>& all) {
  for (const Door door : {Door::direct, Door::tagged, Door::xmi, Door::json, Door::archive})
    for (const Shape& shape : kShapes) {
      // Paths of JSON are as long as their targets are deep; there is a limit instead.
      if (door == Door::json && shape.make == deepTargets) continue;
      const std::string name = std::string(nameOf(door)) + "/" + shape.name;
      all.push_back(
          {name + "/write", door, false, shape.size, [&shape, door](std::size_t size) {
             const auto model = modelOf(shape, size);
             return Work{[model, door] { write(*model, door); }, sizeOf(*model, write(*model, door), door)};
           }});
      all.push_back({name + "/read", door, true, shape.size, [&shape, door](std::size_t size) {
                       const auto model = modelOf(shape, size);
                       const std::string bytes = write(*model, door);
                       return Work{[bytes, door] { read(bytes, door); }, sizeOf(*model, bytes, door)};
                     }});
    }
}

// --- XMI by hand -------------------------------------------------------------------------------

using MakeText = std::string (*)(std::size_t size);

std::string document(const std::string& contents, const std::string& more = {}) {
  return "<f:N xmlns:xmi='http://www.omg.org/XMI' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' "
         "xmlns:f='urn:f' " +
         more + ">" + contents + "</f:N>";
}

std::string referring(std::size_t size, const std::string& contents, std::string (*path)(std::size_t)) {
  return document(contents + "<k q=\"" + joined(size, path) + "\"/>");
}

struct Text {
  const char* name;
  MakeText make;
  std::size_t size;
};

/// Texts that std::hash cannot tell apart: a table that goes by it looks through all of them for each. From
/// kColliding on all have one length up to eight times as many.
constexpr std::size_t kColliding = 1100;

template <class Make>
std::string forColliding(std::size_t count, const Make& make) {
  std::string all;
  for (const std::string& text : test::makeCollidingTexts(count)) all += make(text);
  return all;
}

const Text kDocuments[] = {
    {"pathsByKey",
     [](std::size_t n) {
       return referring(n, joined(n, [](std::size_t i) { return "<k s='" + to_string(i) + "'/>"; }),
                        [](std::size_t i) { return "//@k[s='" + to_string(i) + "'] "; });
     },
     500},
    {"pathsByTwoKeys",
     [](std::size_t n) {
       return referring(n, repeated("<k s='a' t='b'/>", n),
                        [](std::size_t) -> std::string { return "//@k[s='a',t='b'] "; });
     },
     500},
    {"pathsBySetsOfKeys",  // refused from the 17th on
     [](std::size_t n) {
       return referring(n, repeated("<k/>", n),
                        [](std::size_t i) { return "//@k[s='a',t" + to_string(i) + "='b'] "; });
     },
     200},
    {"pathsByPosition",
     [](std::size_t n) {
       return referring(n, repeated("<k/>", n), [](std::size_t i) { return "//@k." + to_string(i) + " "; });
     },
     500},
    {"declarationsAfterTypes",
     [](std::size_t n) {
       return document(joined(n, [](std::size_t i) { return "<k xsi:type='p" + to_string(i) + ":N'/>"; }) +
                           repeated("<k xmlns:z='u'/>", n),
                       joined(n, [](std::size_t i) { return " xmlns:p" + to_string(i) + "='urn:f'"; }));
     },
     300},
    {"attributesInOneElement",
     [](std::size_t n) {
       return document({}, joined(n, [](std::size_t i) { return " xmlns:p" + to_string(i) + "='u'"; }));
     },
     1000},
    {"nestedDeclarations",
     [](std::size_t n) {
       return document(repeated("<k xmlns:a='urn:a' xmlns:b='urn:b'>", n) + repeated("</k>", n));
     },
     300},
    {"piecesOfText", [](std::size_t n) { return document("<s>" + repeated("a<!-- -->", n) + "</s>"); }, 1000},
    {"references", [](std::size_t n) { return document({}, "s='" + repeated("&amp;&#65;", n) + "'"); }, 1000},
    {"words", [](std::size_t n) { return document({}, "q='" + repeated("/ ", n) + "'"); }, 1000},
    {"lines", [](std::size_t n) { return document(repeated("\n<k/>\n", n)); }, 500},
    {"roots",
     [](std::size_t n) {
       return "<xmi:XMI xmlns:xmi='http://www.omg.org/XMI' xmlns:f='urn:f'>" + repeated("<f:N r='/1'/>", n) +
              "</xmi:XMI>";
     },
     500},
    {"hrefs", [](std::size_t n) { return document(repeated("<q href='o.xmi#_1'/>", n)); }, 500},
    // Read with a listener; what is wrong is in every element, and in all below it.
    {"problems", [](std::size_t n) { return document(repeated("<z a='1'><z/></z><k a='1' r='/9'/>", n)); },
     100},
    {"deepProblem", [](std::size_t n) { return document(repeated("<z>", n) + repeated("</z>", n)); }, 1000},
    {"problemsInTheDeep",
     [](std::size_t n) { return document(repeated("<k>", n) + "<z/>" + repeated("<z/></k>", n)); }, 100},
    {"collidingAttributeIds",
     [](std::size_t n) {
       return document(
           forColliding(n, [](const auto& text) { return "<k id='" + text + "' r='" + text + "'/>"; }));
     },
     kColliding},
    {"collidingKeys",
     [](std::size_t n) {
       return document(forColliding(
           n, [](const auto& text) { return "<k s='" + text + "' r=\"//@k[s='" + text + "']\"/>"; }));
     },
     kColliding},
    {"collidingPrefixes",
     [](std::size_t n) {
       return document(forColliding(n, [](const auto& text) { return "<k xsi:type='" + text + ":N'/>"; }),
                       forColliding(n, [](const auto& text) { return " xmlns:" + text + "='urn:f'"; }));
     },
     kColliding},
    {"collidingUnknownPackages",
     [](std::size_t n) {
       return document(
           forColliding(n, [](const auto& text) { return "<k xmlns:p='" + text + "' xsi:type='p:N'/>"; }));
     },
     kColliding},
    {"tiny", [](std::size_t n) { return document(repeated("<k/>", n)); }, 500},
    {"tinyValues", [](std::size_t n) { return document(repeated("<m/>", n)); }, 500},
    {"tinyUnknown",
     [](std::size_t n) {
       return document({}, joined(n, [](std::size_t i) { return "a" + to_string(i) + "='' "; }));
     },
     500},
    {"duplicateIds", [](std::size_t n) { return document(repeated("<k xmi:id='i' r='i'/>", n)); }, 500},
};

void addDocuments(std::vector<Case>& all) {
  for (const Text& text : kDocuments)
    all.push_back(
        {"xmi/" + std::string(text.name) + "/read", Door::xmi, true, text.size, [&text](std::size_t size) {
           const std::string bytes = text.make(size);
           return Work{[bytes] {
                         ecore::readXmi(bytes, "d.xmi", *nodes().mapping,
                                        {.onProblem = [](const ecore::Problem&) {}});
                       },
                       bytes.size()};
         }});
}

// --- JSON by hand ------------------------------------------------------------------------------

std::string jsonRoot(const std::string& properties) {
  return "{\"kr0\":1,\"packages\":[\"urn:f\"],\"roots\":[{\"$type\":\"f.N\"," + properties + "}]}";
}

const Text kJson[] = {
    {"tiny", [](std::size_t n) { return jsonRoot("\"k\":[" + repeated("{},", n) + "{}]"); }, 500},
    {"tinyNumbers", [](std::size_t n) { return jsonRoot("\"i\":[" + repeated("1,", n) + "1]"); }, 1000},
    {"tinyTexts", [](std::size_t n) { return jsonRoot("\"m\":[" + repeated("\"\",", n) + "\"\"]"); }, 1000},
    {"tinyReferences",
     [](std::size_t n) {
       return jsonRoot("\"q\":[" + repeated("{\"$ref\":\"#/roots/0\"},", n) + "{\"$ref\":\"#/roots/0\"}]");
     },
     500},
    {"openLists", [](std::size_t n) { return jsonRoot("\"x\":" + repeated("[", n)); }, 1000},
    {"collidingTypes",  // none of which is there; what does not exist ends it
     [](std::size_t n) {
       return jsonRoot("\"k\":[" +
                       forColliding(n, [](const auto& text) { return "{\"$type\":\"f." + text + "\"},"; }) +
                       "{}]");
     },
     kColliding},
};

void addJson(std::vector<Case>& all) {
  for (const Text& text : kJson)
    all.push_back(
        {"json/" + std::string(text.name) + "/read", Door::json, true, text.size, [&text](std::size_t size) {
           const std::string bytes = text.make(size);
           return Work{[bytes] {
                         try {
                           read(bytes, Door::json);
                         } catch (const Error&) {  // some are none
                         }
                       },
                       bytes.size()};
         }});
}

// --- Ecore -------------------------------------------------------------------------------------

/// A chain of `length` classes C0, C1, ... in which each inherits from the one before.
std::string chainOfClasses(std::size_t length, const std::string& first = {}, const std::string& each = {}) {
  return joined(length, [&](std::size_t i) {
    return i == 0 ? cls("C0", first)
                  : cls("C" + to_string(i), each, " eSuperTypes='#//C" + to_string(i - 1) + "'");
  });
}

const Text kMetaModels[] = {
    {"classes",
     [](std::size_t n) {
       return joined(n, [n](std::size_t i) {
         return cls("C" + to_string(i), typed("EReference", "r", "#//C" + to_string((i * 7 + 1) % n)));
       });
     },
     100},
    {"properties",
     [](std::size_t n) {
       return cls("C", joined(n, [](std::size_t i) { return attribute("a" + to_string(i)); }));
     },
     200},
    {"literals",
     [](std::size_t n) {
       return "<eClassifiers xsi:type='ecore:EEnum' name='E'>" +
              joined(n,
                     [](std::size_t i) {
                       return "<eLiterals name='l" + to_string(i) + "' value='" + to_string(i) + "'/>";
                     }) +
              "</eClassifiers>";
     },
     300},
    {"supertypes",
     [](std::size_t n) {
       return joined(n, [](std::size_t i) { return cls("C" + to_string(i)); }) +
              cls("Z", {}, " eSuperTypes='" + joined(n, [](std::size_t i) {
                             return "#//C" + to_string(i) + " ";
                           }) + "'");
     },
     300},
    {"chainOfClasses", [](std::size_t n) { return chainOfClasses(n, attribute("a")); }, 200},
    {"oppositesBelowAChain",
     [](std::size_t n) {
       const std::string last = to_string(n - 1);
       return chainOfClasses(n, joined(n,
                                       [](std::size_t i) {
                                         const std::string number = to_string(i);
                                         return typed("EReference", "b" + number, "#//A",
                                                      "eOpposite='#//A/a" + number + "'");
                                       })) +
              cls("A", joined(n, [&](std::size_t i) {
                    const std::string number = to_string(i);
                    return typed("EReference", "a" + number, "#//C" + last,
                                 "eOpposite='#//C0/b" + number + "'");
                  }));
     },
     150},
    {"boundsOfATypeParameter",
     [](std::size_t n) {
       return cls("C", "<eTypeParameters name='T'>" + repeated("<eBounds eClassifier='#//C'/>", n) +
                           "</eTypeParameters>") +
              joined(n, [](std::size_t i) {
                return cls("D" + to_string(i),
                           "<eStructuralFeatures xsi:type='ecore:EReference' name='r'><eGenericType "
                           "eTypeParameter='#//C/T'/></eStructuralFeatures>");
              });
     },
     150},
    {"defaultsAmongManyLiterals",
     [](std::size_t n) {
       return "<eClassifiers xsi:type='ecore:EEnum' name='E'>" +
              joined(n,
                     [](std::size_t i) {
                       return "<eLiterals name='l" + to_string(i) + "' value='" + to_string(i) + "'/>";
                     }) +
              "</eClassifiers>" + joined(n, [n](std::size_t i) {
                return cls("C" + to_string(i), typed("EAttribute", "a", "#//E",
                                                     "defaultValueLiteral='l" + to_string(n - 1) + "'"));
              });
     },
     150},
    {"packages",
     [](std::size_t n) {
       return joined(n, [](std::size_t i) {
         return "<eSubpackages name='s" + to_string(i) + "' nsURI='u" + to_string(i) + "' nsPrefix='p'>" +
                cls("C") + "</eSubpackages>";
       });
     },
     200},
    {"longName",
     [](std::size_t n) {
       return cls(std::string(n, 'C')) +
              joined(n / 10, [](std::size_t i) { return cls("D" + to_string(i)); });
     },
     2000},
    {"collidingClasses",
     [](std::size_t n) {
       const std::string one = test::makeCollidingTexts(n).back();
       return forColliding(
           n, [&](const auto& text) { return cls(text, typed("EReference", "r", "#//" + one)); });
     },
     kColliding},
    {"collidingProperties",
     [](std::size_t n) {
       return cls("C", forColliding(n, [](const auto& text) { return attribute(text); }));
     },
     kColliding},
    {"collidingLiterals",
     [](std::size_t n) {
       return "<eClassifiers xsi:type='ecore:EEnum' name='E'>" +
              forColliding(n, [](const auto& text) { return "<eLiterals name='" + text + "'/>"; }) +
              "</eClassifiers>";
     },
     kColliding},
    {"collidingPackages",
     [](std::size_t n) {
       return forColliding(n, [](const auto& text) {
         return "<eSubpackages name='" + text + "' nsURI='" + text + "' nsPrefix='" + text + "'>" + cls("C") +
                "</eSubpackages>";
       });
     },
     kColliding},
    // What is kept with each class may be as long as names may be.
    {"longNames",
     [](std::size_t n) {
       return "<eSubpackages name='" + std::string(490, 'P') + "' nsURI='" + std::string(512, 'u') + "'>" +
              joined(n, [](std::size_t i) { return cls("C" + to_string(i)); }) + "</eSubpackages>";
     },
     200},
    {"annotations",
     [](std::size_t n) {
       return cls("C", "<eAnnotations source='x'>" + repeated("<details key='a' value='b'/>", n) +
                           "</eAnnotations>" +
                           joined(n, [](std::size_t i) { return attribute("a" + to_string(i)); }));
     },
     200},
    {"nestedAnnotations",
     [](std::size_t n) {
       return "<eAnnotations source='x'>" + repeated("<contents xsi:type='ecore:EAnnotation'>", n) +
              repeated("</contents>", n) + "</eAnnotations>";
     },
     500},
};

/// Loading it; some are refused.
void load(const std::string& text) {
  meta::MetaRegistry registry;
  try {
    ecore::loadEcoreFiles({{"f.ecore", text}}, registry);
  } catch (const Error&) {
  }
}

/// A meta model whose classes refer to as many of another one that the registry knows before.
Work referringToKnown(std::size_t size) {
  const std::string known =
      package(joined(size, [](std::size_t i) { return cls("C" + to_string(i)); }), "known");
  const std::string text =
      package(cls("A", joined(size, [](std::size_t i) {
                    return typed("EReference", "r" + to_string(i), "urn:known#//C" + to_string(i));
                  })));
  return {[known, text] {
            meta::MetaRegistry registry;
            ecore::loadEcoreFiles({{"known.ecore", known}}, registry);
            ecore::loadEcoreFiles({{"f.ecore", text}}, registry);
          },
          known.size() + text.size()};
}

const Text& metaModelCalled(std::string_view name) {
  for (const Text& text : kMetaModels)
    if (text.name == name) return text;
  throw std::logic_error("no meta model " + std::string(name));
}

/// Something done with a meta model that is loaded.
Case withMetaModel(const char* what, const char* name, void (*run)(const MetaModel&)) {
  const Text& text = metaModelCalled(name);
  return {std::string("ecore/") + name + "/" + what, Door::ecore, false, text.size,
          [&text, run](std::size_t size) {
            const std::string bytes = package(text.make(size));
            const auto made = std::make_shared<const MetaModel>(bytes);
            return Work{[made, run] { run(*made); }, bytes.size()};
          }};
}

constexpr std::size_t kLongestLock = std::size_t{16} << 20;

/// An element of every class, as XMI, JSON and in the direct format.
void writeAll(const MetaModel& model) {
  Model instances(*model.registry);
  for (const meta::PackageInfo& info : model.registry->getPackages())
    for (const meta::Type type : info.types) instances.createRoot(meta::Class(type));
  ecore::writeXmi(instances, *model.mapping);
  json::writeJson(instances);
  std::string bytes;
  io::writeModel(instances, bytes);
}

void addMetaModels(std::vector<Case>& all) {
  for (const Text& text : kMetaModels)
    all.push_back({"ecore/" + std::string(text.name) + "/read", Door::ecore, true, text.size,
                   [&text](std::size_t size) {
                     const std::string bytes = package(text.make(size));
                     return Work{[bytes] { load(bytes); }, bytes.size()};
                   }});
  all.push_back({"ecore/referencesToKnown/read", Door::ecore, true, 150, referringToKnown});
  const auto pin = [](const MetaModel& model) { ecore::pinMetaModels(*model.mapping); };
  for (const char* name : {"classes", "properties", "chainOfClasses", "annotations", "packages",
                           "collidingClasses", "collidingProperties", "collidingPackages"})
    all.push_back(withMetaModel("pin", name, pin));  // each stands in one line
  const auto generate = [](const MetaModel& model) {
    ecore::writeEcore(*ecore::describeRegistry(*model.registry), "urn:f", true);
  };
  for (const char* name :
       {"classes", "properties", "literals", "supertypes", "packages", "collidingLiterals"})
    all.push_back(withMetaModel("generate", name, generate));
  const auto close = [](const MetaModel& model) {
    ecore::closureOf(*model.mapping, {"urn:f"}, [](const std::string&) { return false; });
  };
  const auto compare = [](const MetaModel& model) {
    meta::MetaRegistry none;
    evolution::compareSchemas(*model.registry, *model.registry);
    evolution::compareSchemas(*model.registry, none);
    evolution::compareSchemas(none, *model.registry);
  };
  const auto lock = [](const MetaModel& model) {
    evolution::Lock made;
    made.update(*model.registry);
    const std::string text = made.write();
    if (text.size() < kLongestLock) evolution::Lock::parse(text, "lock.json").check(*model.registry);
  };
  const auto document = [](const MetaModel& model) { ecore::readDocumentation(*model.mapping); };
  for (const char* name : {"packages", "collidingPackages"}) {
    all.push_back(withMetaModel("close", name, close));
    all.push_back(withMetaModel("document", name, document));
    all.push_back(withMetaModel("writeAll", name, writeAll));
  }
  for (const char* name :
       {"classes", "packages", "collidingClasses", "collidingProperties", "collidingPackages"}) {
    all.push_back(withMetaModel("compare", name, compare));
    all.push_back(withMetaModel("lock", name, lock));
  }
}

std::vector<Case> makeCases() {
  io::registerBinaryFormats();
  std::vector<Case> all;
  addModels(all);
  addDocuments(all);
  addJson(all);
  addMetaModels(all);
  return all;
}

}  // namespace

const std::vector<Case>& cases() {
  static const std::vector<Case> all = makeCases();
  return all;
}

const char* nameOf(Door door) {
  constexpr const char* kNames[] = {"direct", "tagged", "xmi", "ecore", "json", "archive"};
  return kNames[static_cast<std::size_t>(door)];
}

}  // namespace kr::zero::growth
