// Real models in our two binary formats and in XMI. run.sh calls it twice, with EMF in between:
//
//   kr0_bench_real prepare LIST WORK        checks that every form gives the model back, and leaves in WORK
//                                           for EMF the number of elements and the model written as XMI
//   kr0_bench_real measure LIST WORK JSON   measures, then prints all figures with those of EMF
//   kr0_bench_real gate LIST JSON [TO FROM]  the gate's rows of real models; EMF hears at TO and answers at
//   FROM.
//                                           Exit code 1 where a limit is exceeded

#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "Archives.h"
#include "Figures.h"
#include "Forms.h"
#include "RealRows.h"
#include "Report.h"
#include "Timing.h"

namespace kr::zero::bench {

namespace {

void requireEqual(const Model& model, const Model& again, const RealModel& real, const char* form) {
  if (const std::optional<std::string> difference = findDifference(model, again))
    throw std::runtime_error(real.name + ": another model from the " + form + ": " + *difference);
}

void prepare(const RealModel& real, const std::string& workFolder, Figures& figures) {
  const LoadedModel loaded(real);
  Bytes direct;
  std::string tagged;
  writeDirect(loaded.model, direct);
  writeTagged(loaded.model, tagged);
  const Model again = readDirect(direct, loaded.registry);
  requireEqual(loaded.model, again, real, "direct format");
  requireEqual(loaded.model, readTagged(tagged, loaded.registry), real, "tagged format");
  writeFile(pathOfReturned(workFolder, real), ecore::writeXmi(again, *loaded.mapping));
  figures.add(real.name, referenceSystem, "elements", static_cast<double>(loaded.model.size()));
}

// A read ends when what was read is gone again; writers keep the buffer from one run to the next.
void measureDirect(const LoadedModel& loaded, const std::string& name, Figures& figures) {
  Bytes bytes;
  figures.add(name, referenceSystem, "write", medianMilliseconds([&] { writeDirect(loaded.model, bytes); }));
  figures.add(name, referenceSystem, "read", medianMilliseconds([&] { readDirect(bytes, loaded.registry); }));
  figures.add(name, referenceSystem, "bytes", static_cast<double>(bytes.size()));
}

void measureTagged(const LoadedModel& loaded, const std::string& name, Figures& figures) {
  const char* system = "kr0 tagged";
  std::string bytes;
  figures.add(name, system, "write", medianMilliseconds([&] { writeTagged(loaded.model, bytes); }));
  figures.add(name, system, "read", medianMilliseconds([&] { readTagged(bytes, loaded.registry); }));
  figures.add(name, system, "bytes", static_cast<double>(bytes.size()));
}

void measureXmi(const LoadedModel& loaded, const std::string& name, Figures& figures) {
  const char* system = "kr0 XMI";
  std::string bytes;
  figures.add(name, system, "write",
              medianMilliseconds([&] { bytes = ecore::writeXmi(loaded.model, *loaded.mapping); }));
  figures.add(name, system, "read",
              medianMilliseconds([&] { ecore::readXmi(loaded.document, name, *loaded.mapping); }));
  figures.add(name, system, "bytes", static_cast<double>(loaded.document.size()));
}

void measureDom(const LoadedModel& loaded, const std::string& name, Figures& figures) {
  const char* system = "pugixml DOM";
  figures.add(name, system, "read", medianMilliseconds([&] { parseDom(loaded.document); }));
  figures.add(name, system, "bytes", static_cast<double>(loaded.document.size()));
}

void measure(const RealModel& real, Figures& figures) {
  const LoadedModel loaded(real);
  measureDirect(loaded, real.name, figures);
  measureTagged(loaded, real.name, figures);
  measureXmi(loaded, real.name, figures);
  measureDom(loaded, real.name, figures);
  measureArchives(loaded, real.name, figures);
}

void prepareAll(const std::vector<RealModel>& models, const std::string& workFolder) {
  Figures figures;
  for (const RealModel& model : models) prepare(model, workFolder, figures);
  figures.save(workFolder + "/kr0.tsv");
}

void measureAll(const std::vector<RealModel>& models, const std::string& workFolder,
                const std::string& json) {
  Figures figures;
  figures.load(workFolder + "/kr0.tsv");
  for (const RealModel& model : models) measure(model, figures);
  const std::string emf = workFolder + "/emf.tsv";
  if (std::filesystem::exists(emf)) figures.load(emf);
  printTable(std::cout, models, figures);
  if (!json.empty()) writeJson(json, models, figures);
}

int run(const std::vector<std::string>& arguments) {
  if (arguments.size() == 3 && arguments[0] == "prepare") {
    prepareAll(readList(arguments[1]), arguments[2]);
    return 0;
  }
  if (arguments.size() == 4 && arguments[0] == "measure") {
    measureAll(readList(arguments[1]), arguments[2], arguments[3]);
    return 0;
  }
  if ((arguments.size() == 3 || arguments.size() == 5) && arguments[0] == "gate") {
    std::optional<EmfProcess> emf;
    if (arguments.size() == 5) emf.emplace(arguments[3], arguments[4]);
    Rows rows(std::cout);
    const std::vector<RealModel> models = readList(arguments[1]);
    measureRealRows(models, emf ? &*emf : nullptr, rows);
    measureArchiveRows(models, rows);
    if (!arguments[2].empty()) rows.writeJson(arguments[2]);
    return rows.hold() ? 0 : 1;
  }
  std::cerr
      << "usage: kr0_bench_real prepare LIST WORK | measure LIST WORK JSON | gate LIST JSON [TO FROM]\n";
  return 2;
}

}  // namespace

}  // namespace kr::zero::bench

int main(int count, char** arguments) {
  try {
    return kr::zero::bench::run({arguments + 1, arguments + count});
  } catch (const std::exception& error) {
    std::cerr << "kr0_bench_real: " << error.what() << '\n';
    return 1;
  }
}
