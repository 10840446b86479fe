// Memory that fails in the rooms around the binary formats: Ecore and XMI, JSON, archives, tables, changed
// meta models, comparing, inspecting and counting.
#include <gtest/gtest.h>
#include <kr0/kr0.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "kr/zero/archive/Packing.h"
#include "kr/zero/compare/Merge.h"
#include "kr/zero/ecore/Documentation.h"
#include "kr/zero/ecore/Imperfect.h"
#include "kr/zero/evolution/CarryOver.h"
#include "kr/zero/evolution/DraftMap.h"
#include "kr/zero/evolution/Lock.h"
#include "kr/zero/evolution/SchemaDiff.h"
#include "kr/zero/inspect/Inspect.h"
#include "kr/zero/inspect/Overview.h"
#include "kr/zero/inspect/Salvage.h"
#include "kr/zero/io/DocumentBytes.h"
#include "kr/zero/json/Json.h"
#include "kr/zero/study/Digest.h"
#include "kr/zero/study/Statistics.h"
#include "kr/zero/tables/Database.h"
#include "kr/zero/tables/Tables.h"
#include "resources/Faults.h"
#include "resources/SmallDocuments.h"
#include "support/Paths.h"
#include "support/Reading.h"
#include "support/TaggedReading.h"

namespace kr::zero::test {

namespace {

using ConstModel = std::shared_ptr<const Model>;

const meta::MetaRegistry& small() { return *smallMetaModel().registry; }
const ecore::Mapping& mapping() { return *smallMetaModel().mapping; }

ConstModel makeSharedSmall() { return std::make_shared<const Model>(makeSmall()); }

std::string textOf(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }
std::string roomContentOf(const Model& model) { return textOf(writeDirect(model)); }

std::string roomNamesIn(const meta::MetaRegistry& registry) {
  std::string names;
  for (const meta::PackageInfo& package : registry.getPackages())
    for (const meta::Type type : package.types) names += type->qualifiedName() + ' ';
  return names;
}

std::string join(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all += text + '\n';
  return all;
}

std::string textOf(const std::vector<ecore::EcoreFile>& files) {
  std::string all;
  for (const ecore::EcoreFile& file : files) all += file.name + '\n' + file.text;
  return all;
}

std::shared_ptr<const LoadedEcore> later() {
  return std::make_shared<const LoadedEcore>(loadEcore(laterEcore()));
}

// --- XMI ---------------------------------------------------------------------------------------------

/// A document with a problem of each kind that may be stepped over.
std::string imperfectXmi() {
  return R"(<s:Node xmi:version="2.0" xmlns:xmi="http://www.omg.org/XMI" xmlns:s="urn:s" name="a" strange="1">
 <nodes xmi:id="x" size="many"/><nodes xmi:id="x" next="nowhere"/><parts/></s:Node>)";
}

std::string readImperfect(const std::string& document) {
  std::string problems;
  ecore::XmiReadOptions options;
  options.onProblem = [&](const ecore::Problem& problem) { problems += problem.sentence + '\n'; };
  const Model model = ecore::readXmi(document, "imperfect.xmi", mapping(), options);
  return problems + std::to_string(model.size());
}

// What writes tables takes thousands of requests, and waits for the disk.
constexpr std::uint64_t kStepThroughTables = 17;

// --- tables ------------------------------------------------------------------------------------------

class AsCsv final : public tables::RowTaker {
 public:
  void columns(std::span<const std::string> names) override {
    for (const std::string& name : names) text += name + '\n';
  }
  void row(std::span<const tables::Field> fields) override {
    for (const tables::Field& field : fields) tables::appendCsv(text, field);
  }
  std::string text;
};

// --- inspecting --------------------------------------------------------------------------------------

std::string notesOf(std::string_view document, bool tagged) {
  std::string notes;
  const bool sound = inspect::inspect(document, {.registry = &small(), .tagged = tagged},
                                      [&](const inspect::Note& note) { notes += note.text; });
  return notes + (sound ? "sound" : "damaged");
}

std::string overviewOf(std::string_view document, bool tagged) {
  const inspect::Overview overview = inspect::overviewOf(document, {.registry = &small(), .tagged = tagged});
  return join(overview.packages) + (overview.isSound ? "sound" : "damaged");
}

std::string salvaged(std::string_view document, bool tagged) {
  const inspect::Salvaged saved = inspect::salvage(document, {.registry = &small(), .tagged = tagged});
  std::string text = roomContentOf(saved.model);
  for (const inspect::Loss& loss : saved.losses) text += loss.text + '\n';
  return text;
}

std::string damaged(std::string document) {
  document.replace(document.size() / 2, 3, "\xFF\xFF\xFF");
  return document;
}

/// Calls that give a model as a text, or take one, are the same for both binary formats.
std::string documentOf(bool tagged) {
  const Model model = makeSmall();
  return tagged ? writeTagged(model) : roomContentOf(model);
}

Model makeChanged(const Model& from) {
  Model changed = from.clone();
  Element root = changed.getRoots().at(0);
  root.set("name", "another name");
  root.create("nodes").set("name", "new");
  changed.remove(root.getElement("nodes", 1));
  return changed;
}

std::string differencesOf(const Model& before, const Model& after) {
  std::string text;
  for (const compare::Difference& difference : compare::compareModels(before, after).differences())
    text += difference.sentence() + '\n';
  return text;
}

std::string mergedOf(const Model& base, const Model& ours, const Model& theirs) {
  const compare::MergeResult merged = compare::mergeModels(base, ours, theirs);
  std::string text = roomContentOf(merged.model);
  for (const compare::Conflict& conflict : merged.conflicts) text += conflict.sentence() + '\n';
  return text;
}

}  // namespace

std::vector<Scenario> ecoreScenarios() {
  const std::string path = temporaryPath("faults.ecore");
  writeFile(path, smallEcore());
  const std::string uri = "urn:s";
  return {
      calling("loadMetaModels",
              [=] {
                meta::MetaRegistry registry;
                ecore::loadMetaModels({path}, registry);
                return roomNamesIn(registry);
              }),
      calling("loadEcoreFiles", [] { return roomNamesIn(*loadEcore(smallEcore()).registry); }),
      calling("loadEcoreFiles with a missing type",
              [] {
                std::string text = smallEcore();
                text.replace(text.find("#//Colour"), 9, "#//Missed");
                std::string problems;
                meta::MetaRegistry registry;
                ecore::MetaModelOptions options;
                options.onProblem = [&](const ecore::Problem& problem) { problems += problem.sentence; };
                ecore::loadEcoreFiles({{"small.ecore", text}}, registry, options);
                return problems + roomNamesIn(registry);
              }),
      calling("describeRegistry",
              [] { return std::to_string(ecore::describeRegistry(small()).use_count()); }),
      calling("idAttributesOf", [] { return std::to_string(ecore::idAttributesOf(mapping()).size()) + "."; }),
      calling("builtInVersionsOf",
              [] {
                return std::to_string(
                    ecore::builtInVersionsOf("http://www.eclipse.org/emf/2002/Ecore").size());
              }),
      calling("closureOf",
              [=] {
                return textOf(ecore::closureOf(mapping(), {uri}, [](const auto&) { return false; }).files);
              }),
      calling("writeEcore from a file", [=] { return ecore::writeEcore(mapping(), uri); }),
      calling("writeEcore with pins", [=] { return ecore::writeEcore(mapping(), uri, true); }),
      calling("writeEcore from a registry",
              [=] { return ecore::writeEcore(*ecore::describeRegistry(small()), uri); }),
      calling("pinMetaModels", [] { return textOf(ecore::pinMetaModels(mapping())); }),
      calling("readDocumentation",
              [] { return std::string(ecore::readDocumentation(mapping()).of(small().findType("s.Node"))); }),
      calling("declaredPackages", [] { return join(ecore::declaredPackages(smallEcore(), "small.ecore")); }),
      calling("declaredNamespaces",
              [] { return join(ecore::declaredNamespaces(imperfectXmi(), "imperfect.xmi")); }),
  };
}

std::vector<Scenario> xmiScenarios() {
  const ConstModel model = makeSharedSmall();
  const std::string document = ecore::writeXmi(*model, mapping());
  const std::string path = temporaryPath("faults.xmi");
  writeFile(path, document);
  return {
      calling("writeXmi", [=] { return ecore::writeXmi(*model, mapping()); }),
      calling("readXmi", [=] { return roomContentOf(ecore::readXmi(document, "small.xmi", mapping())); }),
      calling("readXmiFile", [=] { return roomContentOf(ecore::readXmiFile(path, mapping())); }),
      calling("readXmi with problems", [] { return readImperfect(imperfectXmi()); }),
      calling("readXmi with other documents",
              [=] {
                ecore::XmiReadOptions options;
                options.source = ecore::filesBeside(path);
                return roomContentOf(ecore::readXmiFile(path, mapping(), options));
              }),
      calling("readXmi that is refused",
              [] {
                try {
                  ecore::readXmi(imperfectXmi(), "imperfect.xmi", mapping());
                } catch (const Error& error) {
                  if (error.getCode() == ErrorCode::outOfMemory) throw;
                  return std::string(error.what());
                }
                return std::string("taken");
              }),
  };
}

std::vector<Scenario> jsonScenarios() {
  const ConstModel model = makeSharedSmall();
  const std::string document = json::writeJson(*model);
  return {
      calling("writeJson", [=] { return json::writeJson(*model); }),
      calling(
          "writeJson to a stream",
          [=] {
            std::ostringstream stream;
            json::writeJson(*model, stream);
            return stream.str();
          },
          AlsoThrows::whatFilesMakeOfIt),
      calling("readJson", [=] { return roomContentOf(json::readJson(document, {.registry = &small()})); }),
      calling("readJson from a stream",
              [=] {
                std::istringstream stream(document);
                return roomContentOf(json::readJson(stream, {.registry = &small()}));
              }),
  };
}

std::vector<Scenario> archiveScenarios() {
  const ConstModel model = makeSharedSmall();
  const std::string path = temporaryPath("faults.krz");
  std::string bytes;
  archive::writeArchive(*model, bytes, {.mapping = &mapping(), .level = archive::kFastestLevel});
  writeFile(path, bytes);
  const std::string target = temporaryPath("faults.written.krz");
  const auto reader = [=] { return archive::ArchiveReader(archive::ArchiveBytes{bytes}); };
  std::vector<Scenario> all{
      calling("saveArchive",
              [=] {
                archive::saveArchive(*model, target,
                                     {.mapping = &mapping(), .level = archive::kFastestLevel});
                return contentOfFile(target);
              }),
      calling("writeArchive, tagged and without files",
              [=] {
                std::string written;
                archive::writeArchive(*model, written, {.tagged = true, .level = archive::kFastestLevel});
                return written;
              }),
      calling("loadArchive", [=] { return roomContentOf(archive::loadArchive({.bytes = bytes}).model); }),
      calling("loadArchive from a file", [=] { return roomContentOf(archive::loadArchive(path).model); }),
      calling("loadArchive by a registry",
              [=] { return roomContentOf(archive::loadArchive({.bytes = bytes}, small())); }),
      calling("the parts of an archive",
              [=] {
                std::string text;
                for (const archive::ArchivePart& part : reader().getParts()) text += part.name;
                return text;
              }),
      calling("the manifest", [=] { return reader().getManifestText(); }),
      calling("the meta model of an archive", [=] { return textOf(reader().readMetaModel()); }),
      calling("a ready meta model of an archive",
              [=] { return roomNamesIn(*reader().loadMetaModel().registry); }),
      calling("the document of an archive", [=] { return textOf(reader().readDocument()); }),
      calling("the document of an archive in pieces",
              [=] {
                std::string text;
                reader().readDocument([&](std::string_view piece) { text += piece; });
                return text;
              }),
      calling("a damaged document of an archive",
              [=] {
                const std::string cut = bytes.substr(0, bytes.size() - 20);
                const archive::PartialDocument partial =
                    archive::ArchiveReader(archive::ArchiveBytes{cut}).readPartialDocument();
                return partial.damage + textOf(partial.bytes);
              }),
      calling("fingerprintOf", [] { return archive::fingerprintOf(small(), "urn:s"); }),
  };
  for (const auto packing : {archive::Packing::gzip, archive::Packing::zstandard}) {
    const std::string name = packing == archive::Packing::gzip ? "gzip" : "zstandard";
    const std::string packed = archive::pack(bytes, packing, 1);
    all.push_back(calling("pack, " + name, [=] { return archive::pack(bytes, packing, 1); }));
    all.push_back(calling("unpack, " + name, [=] { return textOf(archive::unpack(packed, packing)); }));
  }
  return all;
}

std::vector<Scenario> tableScenarios() {
  const ConstModel model = makeSharedSmall();
  const std::string database = temporaryPath("faults.sqlite");
  std::vector<Scenario> all{
      {"writeSqlite",
       [=]() -> Call {
         return [=] {
           tables::writeSqlite(*model, database);
           return std::to_string(std::filesystem::file_size(database));
         };
       },
       AlsoThrows::whatFilesMakeOfIt, kStepThroughTables},
      {"a database in memory",
       [=]() -> Call {
         return [=] {
           tables::Database made;
           made.add(*model);
           return made.schema();
         };
       },
       AlsoThrows::nothing, kStepThroughTables},
      {"a query",
       [=]() -> Call {
         const auto made = std::make_shared<tables::Database>();
         made->add(*model);
         return [=] {
           AsCsv answer;
           made->query("SELECT name, size FROM Node ORDER BY name", answer);
           return answer.text;
         };
       }},
  };
  for (const auto form : {tables::TextTables::csv, tables::TextTables::ndjson}) {
    const std::string target =
        temporaryPath(form == tables::TextTables::csv ? "faults.csv" : "faults.ndjson");
    const std::string extension = form == tables::TextTables::csv ? ".csv" : ".ndjson";
    const auto write = [=] {
      tables::writeTextTables(*model, target, form);
      return contentOfFile(target + "/Node" + extension);
    };
    all.push_back({"tables in" + extension, [=]() -> Call { return write; }, AlsoThrows::whatFilesMakeOfIt,
                   kStepThroughTables});
  }
  return all;
}

std::vector<Scenario> evolutionScenarios() {
  const ConstModel model = makeSharedSmall();
  const std::shared_ptr<const LoadedEcore> now = later();
  const evolution::ChangeMap map{.rename = {{"s.Node.name", "title"}}};
  const std::string lockText = [] {
    evolution::Lock lock;
    lock.update(small());
    return lock.write();
  }();
  return {
      calling("compareSchemas",
              [=] {
                std::string text;
                for (const auto& change : evolution::compareSchemas(small(), *now->registry))
                  text += change.sentence + '\n';
                return text;
              }),
      calling(
          "carryOver",
          [=] { return roomContentOf(evolution::carryOver(*model, *now->registry, {.map = map}).model); }),
      calling("carryOver that is refused",
              [=] {
                try {
                  evolution::carryOver(*model, *now->registry);
                } catch (const evolution::CarryOverRefused& refused) {
                  return std::string(refused.what());
                }
                return std::string("taken");
              }),
      calling("a report as text",
              [=] {
                return evolution::toText(evolution::carryOver(*model, *now->registry, {.map = map}).report);
              }),
      calling("a report as JSON",
              [=] {
                return evolution::toJson(evolution::carryOver(*model, *now->registry, {.map = map}).report);
              }),
      calling("a change map",
              [=] { return evolution::toJson(evolution::parseChangeMap(evolution::toJson(map))); }),
      calling("draftMap",
              [=] { return evolution::toJson(evolution::draftMap(small(), *now->registry).map); }),
      calling("a lock that is made",
              [] {
                evolution::Lock lock;
                lock.update(small());
                return lock.write();
              }),
      calling("a lock that is checked",
              [=] {
                std::string text;
                for (const auto& finding : evolution::Lock::parse(lockText, "the lock").check(*now->registry))
                  text += finding.sentence + '\n';
                return text;
              }),
  };
}

std::vector<Scenario> compareScenarios() {
  const ConstModel model = makeSharedSmall();
  const auto changed = std::make_shared<const Model>(makeChanged(*model));
  const auto theirs = [&] {
    Model made = model->clone();
    made.getRoots().at(0).set("name", "a third name");
    return std::make_shared<const Model>(std::move(made));
  }();
  return {
      calling("compareModels", [=] { return differencesOf(*model, *changed); }),
      calling("applyDiff",
              [=] {
                return roomContentOf(compare::applyDiff(compare::compareModels(*model, *changed), *model));
              }),
      calling("mergeModels", [=] { return mergedOf(*model, *changed, *theirs); }),
      calling("valueText",
              [=] {
                const ConstElement node = model->getRoots().at(0).getElement("nodes", 0);
                return compare::valueText(node, node.getType()->findProperty("words"));
              }),
  };
}

std::vector<Scenario> inspectScenarios() {
  std::vector<Scenario> all;
  for (const bool tagged : {false, true}) {
    const std::string format = tagged ? ", tagged" : ", direct";
    const std::string document = documentOf(tagged);
    const std::string broken = damaged(document);
    all.push_back(calling("inspect" + format, [=] { return notesOf(document, tagged); }));
    all.push_back(calling("inspect of damage" + format, [=] { return notesOf(broken, tagged); }));
    all.push_back(calling("overviewOf" + format, [=] { return overviewOf(document, tagged); }));
    all.push_back(calling("salvage" + format, [=] { return salvaged(document, tagged); }));
    all.push_back(calling("salvage of damage" + format, [=] { return salvaged(broken, tagged); }));
  }
  return all;
}

std::vector<Scenario> studyScenarios() {
  const ConstModel model = makeSharedSmall();
  return {
      // libcrypto keeps in mind that its first use failed, and its functions then follow a null pointer: it
      // is
      // used before, with memory.
      {"digestOf",
       [=]() -> Call {
         study::digestOf(*model);
         return [=] { return study::digestOf(*model).toText(); };
       }},
      calling("gatherStatistics",
              [=] {
                const study::Statistics statistics = study::gatherStatistics(*model);
                return std::to_string(statistics.elements) + ' ' + statistics.texts.most.at(0).text;
              }),
      calling("measureDirect", [=] { return std::to_string(io::measureDirect(*model).total()); }),
      calling("measureTagged", [=] { return std::to_string(io::measureTagged(*model).total()); }),
  };
}

TEST(Faults, Ecore) { failEachRequest(ecoreScenarios()); }
TEST(Faults, Xmi) { failEachRequest(xmiScenarios()); }
TEST(Faults, Json) { failEachRequest(jsonScenarios()); }
TEST(Faults, Archives) { failEachRequest(archiveScenarios()); }
TEST(Faults, Tables) { failEachRequest(tableScenarios()); }
TEST(Faults, Evolution) { failEachRequest(evolutionScenarios()); }
TEST(Faults, Comparing) { failEachRequest(compareScenarios()); }
TEST(Faults, Inspecting) { failEachRequest(inspectScenarios()); }
TEST(Faults, Counting) { failEachRequest(studyScenarios()); }

TEST(Faults, AreTriedInAHundredScenariosAndMore) {
  std::size_t count = 0;
  for (const auto scenarios :
       {directScenarios, taggedScenarios, fileScenarios, modelScenarios, metaModelScenarios, ecoreScenarios,
        xmiScenarios, jsonScenarios, archiveScenarios, tableScenarios, evolutionScenarios, compareScenarios,
        inspectScenarios, studyScenarios})
    count += scenarios().size();
  EXPECT_GE(count, 100u);
}

}  // namespace kr::zero::test
