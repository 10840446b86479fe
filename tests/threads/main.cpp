// Threads that share what may be shared: meta models, a mapping, a model that nobody changes. Each has
// parsers and serializers of its own. At first all of them use everything for the first time at once.
//
//     kr0_test_threads SECONDS   ends with "N passed, M failed"
//     kr0_test_threads --race    lets threads race: ThreadSanitizer must say so
#include <kr0/kr0.h>

#include <array>
#include <atomic>
#include <barrier>
#include <chrono>
#include <functional>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "kr/zero/archive/Archive.h"
#include "kr/zero/compare/ModelDiff.h"
#include "kr/zero/ecore/Ecore.h"
#include "kr/zero/inspect/Inspect.h"
#include "kr/zero/json/Json.h"
#include "resources/SmallDocuments.h"

namespace kr::zero::test {
namespace {

constexpr std::size_t kThreads = 8;
using Clock = std::chrono::steady_clock;

void onThreads(const std::function<void(std::size_t)>& work) {
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) threads.emplace_back(work, i);
  for (std::thread& thread : threads) thread.join();
}

bool isSame(const Model& a, const Model& b) { return !findDifference(a, b); }

const meta::MetaRegistry& registry() { return *smallMetaModel().registry; }

bool throughFormat(const Model& model, const ustring& format) {
  std::string bytes;
  io::writeModel(model, bytes, {.format = format});
  return isSame(model, io::readModel(bytes, {.registry = &registry(), .format = format}));
}

bool throughDirect(const Model& model) { return throughFormat(model, io::IOFormatProvider::FORMAT_BINARY); }
bool throughTagged(const Model& model) {
  return throughFormat(model, io::IOFormatProvider::FORMAT_BINARY_KRSYLVAN);
}

bool throughArchive(const Model& model) {
  std::string bytes;
  archive::writeArchive(model, bytes, {.mapping = smallMetaModel().mapping.get(), .level = 1});
  const archive::LoadedArchive own = archive::loadArchive(archive::ArchiveBytes{bytes});
  return own.model.size() == model.size() &&
         isSame(model, archive::loadArchive(archive::ArchiveBytes{bytes}, registry()));
}

bool throughXmi(const Model& model) {
  const ecore::Mapping& mapping = *smallMetaModel().mapping;
  const std::string text = ecore::writeXmi(model, mapping);
  return text == ecore::writeXmi(ecore::readXmi(text, "small.xmi", mapping), mapping);
}

bool throughJson(const Model& model) {
  return isSame(model, json::readJson(json::writeJson(model), {.registry = &registry()}));
}

bool anotherMetaModel(const Model&) {
  const LoadedEcore own = loadEcore(laterEcore());
  return own.registry->findType("s.Node") && ecore::writeEcore(*own.mapping, "urn:s") == laterEcore();
}

/// Reading refuses with texts of the message catalog.
bool refusals(const Model& model) {
  std::string bytes;
  io::writeModel(model, bytes, {.format = io::IOFormatProvider::FORMAT_BINARY});
  bytes.resize(bytes.size() / 2);
  try {
    io::readModel(bytes, {.registry = &registry()});
  } catch (const Error&) {
    return !inspect::inspect(bytes, {.registry = &registry()}, [](const inspect::Note&) {});
  }
  return false;
}

bool reading(const Model& model) {
  std::size_t paths = 0;
  for (const ConstElement element : model.elements()) paths += element.getPath().size();
  const std::vector<ConstElement> referrers = model.getReferrers(model.getRoots().at(0));
  return paths > 0 && validate(model).size() == validate(model.clone()).size() &&
         model.findByIdentity("tree", "1") && compare::compareModels(model, model.clone()).isEmpty() &&
         referrers.size() <= model.size();
}

constexpr std::array kJobs{throughDirect, throughTagged,    throughArchive, throughXmi,
                           throughJson,   anotherMetaModel, refusals,       reading};

class Tally {
 public:
  void count(bool isGood) { ++(isGood ? passed_ : failed_); }
  int report() const {
    std::cout << passed_ << " passed, " << failed_ << " failed" << std::endl;
    return failed_ == 0 && passed_ != 0 ? 0 : 1;
  }

 private:
  std::atomic<std::uint64_t> passed_ = 0;
  std::atomic<std::uint64_t> failed_ = 0;
};

bool run(std::size_t job, const Model& model) {
  try {
    return kJobs[job](model);
  } catch (const std::exception& error) {
    std::cerr << "job " << job << ": " << error.what() << std::endl;
    return false;
  }
}

/// Nothing was used before: each thread begins with another job, in a round each.
void useForTheFirstTime(Tally& tally) {
  std::barrier gate(kThreads);
  onThreads([&](std::size_t thread) {
    for (std::size_t round = 0; round < kJobs.size(); ++round) {
      gate.arrive_and_wait();
      tally.count(run((thread + round) % kJobs.size(), makeSmall()));
    }
  });
}

void shareAModel(Tally& tally, Clock::time_point end) {
  const Model model = makeSmall();
  onThreads([&](std::size_t thread) {
    for (std::size_t job = thread; Clock::now() < end; ++job) tally.count(run(job % kJobs.size(), model));
  });
}

/// What ThreadSanitizer is there for.
int race() {
  int shared = 0;
  onThreads([&](std::size_t) {
    for (int i = 0; i < 1000; ++i) ++shared;
  });
  std::cout << shared << std::endl;
  return 0;
}

}  // namespace
}  // namespace kr::zero::test

int main(int count, char** arguments) {
  using namespace kr::zero::test;
  if (count != 2) return 2;
  if (std::string(arguments[1]) == "--race") return race();
  const auto end = Clock::now() + std::chrono::seconds(std::stoi(arguments[1]));
  Tally tally;
  useForTheFirstTime(tally);
  shareAModel(tally, end);
  return tally.report();
}
