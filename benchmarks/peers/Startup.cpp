// Start-up: small programs, run again and again.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "Measure.h"
#include "MessageContent.h"
#include "ModelContent.h"
#include "kr/zero/io/BinarySerializer.h"

namespace kr::zero::bench {

namespace {

constexpr std::size_t kElements = 8;
constexpr std::size_t kRepetitions = 61;

struct Program {
  const char* system;
  std::string path;
  std::string document;
  bool resolves;
  std::vector<double> milliseconds;
};

void writeDocuments(const std::string& direct, const std::string& protobuf) {
  const Content content = makeContent(kElements, 1);
  meta::MetaRegistry registry;
  registerLibrary(registry);
  std::vector<std::uint8_t> bytes;
  io::BinarySerializer().serialize(makeModel(content, registry),
                                   io::SerializationOutput::toByteSequence(bytes));
  std::ofstream(direct, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  std::ofstream stream(protobuf, std::ios::binary);
  makeMessages(content).SerializeToOstream(&stream);
}

double run(Program& program) {
  char* arguments[] = {program.path.data(), program.document.data(), nullptr};
  const auto start = std::chrono::steady_clock::now();
  pid_t child = 0;
  int status = 0;
  if (posix_spawn(&child, program.path.c_str(), nullptr, nullptr, arguments, environ) != 0 ||
      waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
    throw std::runtime_error(program.path + " failed");
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

Results measureStartup(const std::string& folder) {
  const std::string direct = folder + "/startup.direct";
  const std::string protobuf = folder + "/startup.protobuf";
  writeDocuments(direct, protobuf);
  std::vector<Program> programs = {
      {"kr0 direct", folder + "/kr0_bench_startup_kr0", direct, true, {}},
      {"Protocol Buffers, heap", folder + "/kr0_bench_startup_protobuf", protobuf, false, {}},
      {"floor: empty C++ program", folder + "/kr0_bench_startup_nothing", direct, false, {}},
  };
  for (std::size_t i = 0; i < kRepetitions; ++i)
    for (Program& program : programs) program.milliseconds.push_back(run(program));
  Results results;
  for (const Program& program : programs)
    results.push_back(resultOf(program.milliseconds, {"start-up, 1 KB document", program.system, "read", 0, 0,
                                                      0, "ms", program.resolves, true}));
  for (const Program& program : programs) std::filesystem::remove(program.document);
  return results;
}

}  // namespace kr::zero::bench
