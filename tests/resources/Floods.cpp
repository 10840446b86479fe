#include "resources/Floods.h"

#include <kr0/kr0.h>

#include <algorithm>

#include "hostile/Generators.h"
#include "kr/zero/archive/Archive.h"
#include "kr/zero/archive/Packing.h"
#include "kr/zero/ecore/Ecore.h"
#include "kr/zero/inspect/Inspect.h"
#include "kr/zero/inspect/Salvage.h"
#include "kr/zero/json/Json.h"
#include "resources/SmallDocuments.h"
#include "support/GoldenDocuments.h"
#include "support/Random.h"
#include "support/TaggedReading.h"

namespace kr::zero::test {

namespace {

using Read = std::function<void(const std::string&)>;

/// One piece again and again between a beginning and an end; "%" in it is the number of the piece.
std::string repeated(const std::string& begin, const std::string& piece, const std::string& end,
                     std::size_t bytes) {
  std::string document = begin;
  document.reserve(bytes + bytes / 8);
  for (std::size_t i = 0; document.size() < bytes; ++i) {
    for (const char c : piece) {
      if (c == '%')
        document += std::to_string(i);
      else
        document += c;
    }
  }
  return document + end;
}

Flood text(std::string reader, std::string name, const std::string& begin, const std::string& piece,
           const std::string& end, Read read, bool isRefused = false) {
  const auto make = [=](std::size_t bytes) {
    Flooded made{repeated(begin, piece, end, bytes), 0};
    made.bytes = made.document.size();
    return made;
  };
  return {std::move(reader), std::move(name), make, std::move(read), isRefused};
}

/// What begins again and again, and ends as often.
Flood nested(std::string reader, std::string name, const std::string& begin, const std::string& opening,
             const std::string& closing, const std::string& end, Read read, bool isRefused = false) {
  const auto make = [=](std::size_t bytes) {
    const std::size_t count = bytes / (opening.size() + closing.size());
    Flooded made{begin, 0};
    for (std::size_t i = 0; i < count; ++i) made.document += opening;
    for (std::size_t i = 0; i < count; ++i) made.document += closing;
    made.document += end;
    made.bytes = made.document.size();
    return made;
  };
  return {std::move(reader), std::move(name), make, std::move(read), isRefused};
}

// --- the binary formats --------------------------------------------------------------------------------

std::string asText(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

/// A document of a generator that has about that many bytes.
std::string generated(const Generator& generator, std::size_t bytes) {
  const std::size_t of100 = generator.make(100).size();
  return asText(generator.make(std::max<std::size_t>(100, bytes * 100 / of100)));
}

Read readBinary(const ustring& format) {
  return [format](const std::string& document) {
    io::readModel(document, {.registry = &goldenRegistry(), .format = format});
  };
}

void readEvents(const std::string& document) {
  modeling::sylvan::NullEventProcessor target;
  io::BinaryAssembler(&target).visitString(document);
}

Read inspecting(bool tagged) {
  return [=](const std::string& document) {
    inspect::inspect(document, {.registry = &goldenRegistry(), .tagged = tagged}, [](const auto&) {});
  };
}

Read salvaging(bool tagged) {
  return [=](const std::string& document) {
    inspect::salvage(document, {.registry = &goldenRegistry(), .tagged = tagged});
  };
}

std::string asTagged(const std::string& direct) {
  return writeTagged(
      io::readModel(direct, {.registry = &goldenRegistry(), .format = io::IOFormatProvider::FORMAT_BINARY}));
}

void addBinary(std::vector<Flood>& to) {
  for (const Generator& generator : generators()) {
    const bool isRefused = generator.ending != Ending::success;
    const auto direct = [&generator](std::size_t bytes) {
      Flooded made{generated(generator, bytes), 0};
      made.bytes = made.document.size();
      return made;
    };
    to.push_back({"direct format", generator.name, direct, readBinary(io::IOFormatProvider::FORMAT_BINARY),
                  isRefused});
    to.push_back({"inspecting", generator.name, direct, inspecting(false)});
    to.push_back({"salvaging", generator.name, direct, salvaging(false)});
    if (isRefused || generator.name == "packages") continue;
    const auto tagged = [&generator](std::size_t bytes) {
      // The same takes three times as many bytes, or more.
      Flooded made{asTagged(generated(generator, bytes / 3)), 0};
      made.bytes = made.document.size();
      return made;
    };
    to.push_back({"tagged format", generator.name, tagged,
                  readBinary(io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN), false});
    to.push_back({"tagged format, events", generator.name, tagged, readEvents});
    to.push_back({"inspecting", generator.name + ", tagged", tagged, inspecting(true)});
    to.push_back({"salvaging", generator.name + ", tagged", tagged, salvaging(true)});
  }
}

/// Bytes of no sense behind a sound beginning: what is tried out for the rest of the document.
void addNoise(std::vector<Flood>& to) {
  for (const bool tagged : {false, true}) {
    const auto make = [=](std::size_t bytes) {
      const std::string head = asText(goldenDocument("several roots"));
      Flooded made{tagged ? asTagged(head) : head, 0};
      Random random(bytes);
      while (made.document.size() < bytes) made.document += static_cast<char>(random.below(256));
      made.bytes = made.document.size();
      return made;
    };
    const std::string name = tagged ? "noise, tagged" : "noise";
    to.push_back({"inspecting", name, make, inspecting(tagged)});
    to.push_back({"salvaging", name, make, salvaging(tagged)});
  }
}

void addEvents(std::vector<Flood>& to) {
  for (const std::string opening : {"\x03", "\x05", "\x07", "\x09\x30\x01x"})
    to.push_back(text("tagged format, events", "open items", taggedHeader, opening, "", readEvents));
}

// --- texts ---------------------------------------------------------------------------------------------

void readXmi(const std::string& document) {
  ecore::readXmi(document, "flood.xmi", *smallMetaModel().mapping);
}

void addXmi(std::vector<Flood>& to) {
  const std::string begin =
      "<s:Node xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\" xmlns:s=\"urn:s\"";
  const std::string end = "</s:Node>";
  const auto add = [&](const std::string& name, const std::string& piece, bool isRefused = false) {
    to.push_back(text("XMI", name, begin + ">", piece, end, readXmi, isRefused));
  };
  add("children", "<nodes/>");
  add("children with a value", "<nodes size='1'/>");
  add("values", "<words/>");
  add("short values", "<words>x</words>");
  add("ids", "<nodes xmi:id='%'/>");
  add("references by path", "<nodes next='/'/>");
  add("references by position", "<nodes next='//@nodes.%'/>");
  add("references by id that lead nowhere", "<nodes next='%'/>", true);
  add("comments", "<!---->");
  add("sections", "<words><![CDATA[]]></words>");
  add("unknown children", "<x/>", true);
  add("blanks", " ");
  add("references of characters", "<words>&#65;&#65;&#65;&#65;</words>");
  to.push_back(nested("XMI", "children inside each other", begin + ">", "<nodes>", "</nodes>", end, readXmi));
  to.push_back(text("XMI", "attributes", begin, " a%=''", "/>", readXmi, true));
  to.push_back(text("XMI", "references to one element", begin + " before='", "/ ", "'/>", readXmi));
  to.push_back(text("XMI", "one long value", begin + " name='", "x", "'/>", readXmi));
  to.push_back(text("XMI", "namespaces", begin, " xmlns:p%='u'", "/>", readXmi));
  to.push_back(text("XMI", "elements that stay open", begin + ">", "<nodes>", "", readXmi, true));
}

void readEcore(const std::string& document) { loadEcore(document, "flood.ecore"); }

void addEcore(std::vector<Flood>& to) {
  const std::string begin =
      "<ecore:EPackage xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\" "
      "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
      "xmlns:ecore=\"http://www.eclipse.org/emf/2002/Ecore\" name=\"f\" nsURI=\"urn:f\" nsPrefix=\"f\">";
  const std::string end = "</ecore:EPackage>";
  const std::string type = "eType='ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//EString'";
  const auto add = [&](const std::string& name, const std::string& piece) {
    to.push_back(text("Ecore", name, begin, piece, end, readEcore));
  };
  add("classes", "<eClassifiers xsi:type='ecore:EClass' name='C%'/>");
  add("subclasses",
      "<eClassifiers xsi:type='ecore:EClass' name='C%'/><eClassifiers xsi:type='ecore:EClass' name='D%' "
      "eSuperTypes='#//C%'/>");
  add("enumerations", "<eClassifiers xsi:type='ecore:EEnum' name='E%'/>");
  add("data types", "<eClassifiers xsi:type='ecore:EDataType' name='T%'/>");
  add("packages", "<eSubpackages name='p%' nsURI='u%' nsPrefix='p%'/>");
  add("annotations", "<eAnnotations/>");
  to.push_back(text("Ecore", "features", begin + "<eClassifiers xsi:type='ecore:EClass' name='C'>",
                    "<eStructuralFeatures xsi:type='ecore:EAttribute' name='f%' " + type + "/>",
                    "</eClassifiers>" + end, readEcore));
  to.push_back(text("Ecore", "literals", begin + "<eClassifiers xsi:type='ecore:EEnum' name='E'>",
                    "<eLiterals name='l%' value='%'/>", "</eClassifiers>" + end, readEcore));
  to.push_back(nested("Ecore", "packages inside each other", begin,
                      "<eSubpackages name='p' nsURI='u' nsPrefix='p'>", "</eSubpackages>", end, readEcore,
                      true));
}

void readJson(const std::string& document) { json::readJson(document, {.registry = &goldenRegistry()}); }

void addJson(std::vector<Flood>& to) {
  const std::string head = "{\"kr0\":1,\"packages\":[\"urn:g\"],\"roots\":[";
  const std::string root = head + "{\"$type\":\"g.N\"";
  const auto add = [&](const std::string& name, const std::string& begin, const std::string& piece,
                       const std::string& end, bool isRefused = false) {
    to.push_back(text("JSON", name, begin, piece, end, readJson, isRefused));
  };
  add("roots", head + "{\"$type\":\"g.O\"}", ",{\"$type\":\"g.O\"}", "]}");
  add("children", root + ",\"kids\":[{}", ",{}", "]}]}");
  add("datatype values", root + ",\"spans\":[{}", ",{}", "]}]}");
  add("texts", root + ",\"tags\":[\"\"", ",\"\"", "]}]}");
  add("Boolean values", root + ",\"flags\":[true", ",true", "]}]}");
  add("numbers", root + ",\"numbers\":[1", ",1", "]}]}");
  add("references", root + ",\"refs\":[{\"$ref\":\"#/roots/0\"}", ",{\"$ref\":\"#/roots/0\"}", "]}]}");
  add("references that lead nowhere", root + ",\"refs\":[{\"$ref\":\"#/roots/9\"}",
      ",{\"$ref\":\"#/roots/9\"}", "]}]}", true);
  add("references out of the document", root + ",\"refs\":[{\"$ref\":[\"a\",\"b\"],\"$type\":\"g.N\"}",
      ",{\"$ref\":[\"a\",\"%\"],\"$type\":\"g.N\"}", "]}]}");
  add("identities", head + "{\"$type\":\"g.N\"}", ",{\"$type\":\"g.N\",\"$id\":[\"a\",\"%\"]}", "]}");
  add("one long text", root + ",\"name\":\"", "x", "\"}]}");
  add("escaped characters", root + ",\"name\":\"", "\\u00e4", "\"}]}");
  add("arrays that stay open", "", "[", "", true);
  add("objects that stay open", "", "{\"a\":", "", true);
  add("packages", "{\"kr0\":1,\"packages\":[\"urn:g\"", ",\"urn:g\"", "],\"roots\":[]}");
  add("a long number", root + ",\"i64\":1", "0", "}]}", true);
  to.push_back(
      nested("JSON", "children inside each other", root, ",\"kid\":{\"name\":\"\"", "}", "}]}", readJson));
}

// --- archives and packed files ---------------------------------------------------------------------------

void addArchives(std::vector<Flood>& to) {
  for (const std::string name : {"roots", "children", "bytes of one text", "references to one element"}) {
    for (const Generator& generator : generators()) {
      if (generator.name != name) continue;
      const auto make = [&generator](std::size_t bytes) {
        const std::string document = generated(generator, bytes);
        const Model model = io::readModel(
            document, {.registry = &goldenRegistry(), .format = io::IOFormatProvider::FORMAT_BINARY});
        Flooded made;
        archive::writeArchive(model, made.document, {.level = archive::kFastestLevel});
        made.bytes = document.size() + made.document.size();
        return made;
      };
      to.push_back({"archives", name, make, [](const std::string& document) {
                      archive::loadArchive(archive::ArchiveBytes{document}, goldenRegistry());
                    }});
    }
  }
  for (const auto packing : {archive::Packing::gzip, archive::Packing::zstandard}) {
    const std::string name = packing == archive::Packing::gzip ? "gzip" : "zstd";
    const auto make = [=](std::size_t bytes) {
      return Flooded{archive::pack(std::string(bytes, '\0'), packing, 1), bytes};
    };
    to.push_back({"packed files", "nothing but zeros, " + name, make,
                  [=](const std::string& document) { archive::unpack(document, packing); }});
  }
}

}  // namespace

const std::vector<Flood>& floods() {
  static const std::vector<Flood> all = [] {
    io::registerBinaryFormats();
    std::vector<Flood> made;
    addBinary(made);
    addNoise(made);
    addEvents(made);
    addXmi(made);
    addEcore(made);
    addJson(made);
    addArchives(made);
    return made;
  }();
  return all;
}

}  // namespace kr::zero::test
