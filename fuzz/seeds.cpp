// Makes inputs for a target to begin with, from the documents that the tests have: kr0_fuzz_seeds TARGET
// FOLDER
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <string>

#include "archive/ArchiveTesting.h"
#include "archive/GoldenArchives.h"
#include "common/Documents.h"
#include "ecore/EcoreTesting.h"
#include "grammar/GrammarTesting.h"
#include "kr/zero/archive/Archive.h"
#include "kr/zero/archive/Packing.h"
#include "kr/zero/json/Json.h"
#include "support/Paths.h"
#include "support/Random.h"
#include "sylvan/Tagged.h"

namespace kr::zero::fuzz {

namespace {

using Seeds = std::vector<std::string>;

std::string textOf(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }
std::string example(const char* name) {
  return test::readFile(test::sourceDir() + "/examples/library/" + name);
}

Seeds direct() {
  Seeds seeds;
  for (const test::GoldenDocument& golden : test::goldenDocuments()) seeds.push_back(textOf(golden.bytes));
  return seeds;
}

Seeds tagged() {
  Seeds seeds;
  for (const test::GoldenDocument& golden : test::goldenDocuments())
    seeds.push_back(textOf(kTagged.write(readGolden(golden.bytes))));
  return seeds;
}

Seeds events() {
  Seeds seeds = tagged();
  for (const test::GoldenTagged& golden : test::goldenTagged()) seeds.push_back(golden.bytes);
  return seeds;
}

// Documents of both formats, with several choices in front of each.
Seeds withChoices(std::size_t choices) {
  Seeds seeds;
  test::Random random(1);
  const auto add = [&](unsigned format, const std::string& document) {
    for (int i = 0; i < 3; ++i) {
      std::string chosen(choices, '\0');
      for (char& choice : chosen) choice = static_cast<char>(random.below(256));
      chosen[0] = static_cast<char>((static_cast<unsigned>(chosen[0]) & 0xFEu) | format);
      seeds.push_back(chosen + document);
    }
  };
  for (const std::string& document : direct()) add(0, document);
  for (const std::string& document : tagged()) add(1, document);
  return seeds;
}

Seeds noise(std::size_t count, std::size_t most) {
  Seeds seeds(count);
  test::Random random(1);
  for (std::string& seed : seeds)
    for (std::size_t n = random.between(1, most); n > 0; --n) seed += static_cast<char>(random.below(256));
  return seeds;
}

Seeds archives() {
  Seeds seeds;
  for (const test::GoldenArchive& golden : test::goldenArchives()) seeds.push_back(golden.join());
  for (const bool isTagged : {false, true}) {
    std::string bytes;
    archive::writeArchive(test::goldenArchiveModel(), bytes, {.tagged = isTagged});
    seeds.push_back(bytes);
  }
  for (const auto packing : {archive::Packing::gzip, archive::Packing::zstandard})
    seeds.push_back(archive::pack("packed, packed, packed as a whole", packing, 9));
  return seeds;
}

Seeds xmi() {
  return {test::nodeDocument("name='a'"),
          test::nodeDocument(
              "xmi:id='_1' name='a&#xA;&lt;b' key='k' count='7' real='1.5E3' when='2020-01-02T03:04:05Z' "
              "color='Green!' numbers='1 2' next='//@nodes.0/@node' others='k2 p:Special x.xmi#//@a #_1'",
              "<tags>t<![CDATA[<]]></tags><isbn xsi:nil='true'/><nodes name='n'><node key='k2'/></nodes>\n"
              "<nodes xsi:type='p:Special' xmi:uuid='u#v' next=\"//@nodes[name='n']\"/>"
              "<anything href='y.xmi#_2'/><others xmi:idref='_1'/>"),
          test::nodeDocument(
              "flag='true' small='-3' big='99999999999' narrow='0.5' digits='1.25' colors='red crimson'",
              "<node><nodes/><nodes/></node><nodes href='x.xmi#/'/><!-- c --><?pi x?>"),
          "<xmi:XMI xmi:version='2.0' xmlns:xmi='http://www.omg.org/XMI' xmlns:p='urn:p'><p:Node/><p:Special "
          "name='s'/></xmi:XMI>"};
}

Seeds ecoreFiles() {
  const std::string type = test::ecoreType("EString");
  const std::string annotated =
      "<eAnnotations source='urn:kr0:binary'><details key='id' value='7'/></eAnnotations>";
  const std::string other = test::packageText(
      "q", "urn:q",
      "<eClassifiers xsi:type='ecore:EClass' name='B' eSuperTypes='a.ecore#//A'>"
      "<eStructuralFeatures xsi:type='ecore:EReference' name='a' eType='ecore:EClass a.ecore#//A' "
      "containment='true' upperBound='-1'/></eClassifiers>");
  const std::string one = test::packageText(
      "p", "urn:p",
      "<eClassifiers xsi:type='ecore:EClass' name='A' abstract='true'><eStructuralFeatures "
      "xsi:type='ecore:EAttribute' name='n' " +
          type + " defaultValueLiteral='x' lowerBound='1'>" + annotated +
          "</eStructuralFeatures></eClassifiers><eClassifiers xsi:type='ecore:EEnum' name='E'><eLiterals "
          "name='x' "
          "value='3'/></eClassifiers><eClassifiers xsi:type='ecore:EDataType' name='D' "
          "instanceClassName='int'/><eSubpackages name='in' nsURI='urn:in' nsPrefix='in'/>");
  return {one, one + "\xFF" + other, example("library.ecore"),
          test::nodeModels().registry ? ecore::writeEcore(*test::nodeModels().mapping, "urn:p") : ""};
}

Seeds jsonDocuments() {
  Seeds seeds;
  for (const test::GoldenDocument& golden : test::goldenDocuments())
    seeds.push_back(json::writeJson(readGolden(golden.bytes)));
  return seeds;
}

// The rule of documents, in letters.
Seeds eventLetters() {
  return {std::string(1, '\0') + std::string(test::emptyDocument),
          std::string(1, '\0') + test::makeRichDocument(),
          std::string(1, '\1') + std::string(test::richObject)};
}

Seeds texts() {
  return {"plain",
          "gr\xC3\xB6\xC3\x9F",
          "\xE5\x90\x8D\xEF\xBF\xBF",
          "\xF0\x9F\x93\x96\xF4\x8F\xBF\xBF",
          "\xED\xA0\x80",
          "\xC0\x80",
          "\xF4\x90\x80\x80",
          std::string("\x00\xD8\x00\xDC\x41\x00", 6)};
}

Seeds numbers() {
  return {"0",
          "-1",
          "127",
          "255",
          "-32768",
          "65535",
          "2147483648",
          "-9223372036854775808",
          "18446744073709551615",
          "true",
          "1.5E3",
          "-INF",
          "NaN",
          "0x10",
          "2010-02-01T05:12:32.125+01:00",
          "00112233-4455-6677-8899-aabbccddeeff",
          "\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x01",
          "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01"};
}

const std::map<std::string, std::function<Seeds()>>& makers() {
  static const std::map<std::string, std::function<Seeds()>> all{
      {"direct", direct},
      {"tagged", tagged},
      {"tagged_events", events},
      {"pieces", [] { return withChoices(kPiecesChoices); }},
      {"failing_allocation", [] { return withChoices(kAllocationChoices); }},
      {"failing_sink", [] { return withChoices(kSinkChoices); }},
      {"throwing_target", [] { return withChoices(kThrowingChoices); }},
      {"long_input", [] { return withChoices(kLongChoices); }},
      {"two_roads", [] { return withChoices(1); }},
      {"grammar", eventLetters},
      {"inspect", [] { return withChoices(1); }},
      {"model", [] { return noise(60, 800); }},
      {"meta_model", [] { return noise(60, 800); }},
      {"archive", archives},
      {"xmi", xmi},
      {"ecore", ecoreFiles},
      {"json", jsonDocuments},
      {"texts", texts},
      {"numbers", numbers},
  };
  return all;
}

}  // namespace

}  // namespace kr::zero::fuzz

int main(int count, char** arguments) {
  const auto& makers = kr::zero::fuzz::makers();
  if (count != 3 || makers.count(arguments[1]) == 0) {
    std::cerr << "usage: kr0_fuzz_seeds TARGET FOLDER\n";
    return 2;
  }
  std::filesystem::create_directories(arguments[2]);
  int number = 0;
  for (const std::string& seed : makers.at(arguments[1])()) {
    std::ofstream file(std::filesystem::path(arguments[2]) / ("seed" + std::to_string(++number)),
                       std::ios::binary);
    file << seed;
  }
  std::cout << number << " seeds for " << arguments[1] << '\n';
}
