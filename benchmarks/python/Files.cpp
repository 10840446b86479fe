// The benchmark's library as files, for programs in other languages, and how long C++ takes to load it.
//
//   kr0_bench_files SIZE FOLDER   writes library.krb, library.pb and library.ecore; prints milliseconds
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "MessageContent.h"
#include "ModelContent.h"
#include "Timing.h"
#include "kr/zero/ecore/Ecore.h"
#include "kr/zero/io/BinaryFormats.h"
#include "kr/zero/io/ModelFile.h"

int main(int argc, char** argv) {
  using namespace kr::zero;
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s SIZE FOLDER\n", argv[0]);
    return 2;
  }
  const std::filesystem::path folder = argv[2];
  io::registerBinaryFormats();
  meta::MetaRegistry registry;
  bench::registerLibrary(registry);
  const bench::Content content = bench::makeContent(std::strtoull(argv[1], nullptr, 10), bench::kLibrarySeed);
  const std::filesystem::path document = folder / "library.krb";
  io::saveModel(bench::makeModel(content, registry), document);
  std::ofstream messages(folder / "library.pb", std::ios::binary);
  bench::makeMessages(content).SerializeToOstream(&messages);
  std::ofstream(folder / "library.ecore")
      << ecore::writeEcore(*ecore::describeRegistry(registry), "http://example.org/library", true);
  std::printf("%.3f\n", bench::medianMilliseconds([&] { (void)io::loadModel(document, registry); }));
}
