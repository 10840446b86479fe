// A service that reads documents of strangers. The library bounds what a document can cost; this program sets
// the bounds, and reads each document in a process of its own, so that no document can take the service with
// it.

#include <kr0/kr0.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

#include "kr/zero/ecore/Ecore.h"

namespace io = kr::zero::io;

namespace {

constexpr std::uint64_t kMostBytes = 16 << 20;
constexpr std::uint64_t kMostElements = 100'000;
constexpr std::uint64_t kMostLevels = 1'000;
constexpr rlim_t kMostMemory = rlim_t{1} << 30;
constexpr std::chrono::seconds kMostTime(5);

/// Limits that the system holds, for whatever the library does not know of.
void limitThisProcess() {
  const rlimit memory{kMostMemory, kMostMemory};
  ::setrlimit(RLIMIT_AS, &memory);
  const rlimit seconds{kMostTime.count() + 1, kMostTime.count() + 1};
  ::setrlimit(RLIMIT_CPU, &seconds);
}

/// What the service does with a document: here it counts elements, and breaks of the meta model's rules.
std::string answerTo(const std::filesystem::path& path, const kr::zero::meta::MetaRegistry& registry) {
  const auto end = std::chrono::steady_clock::now() + kMostTime;
  const kr::zero::Model model = io::loadModel(
      path, {.registry = &registry,
             .limits = {.bytes = kMostBytes, .elements = kMostElements, .depth = kMostLevels},
             .progress = [end](std::uint64_t) { return std::chrono::steady_clock::now() < end; }});
  return "taken: " + std::to_string(model.size()) + " elements, " +
         std::to_string(kr::zero::validate(model).size()) + " breaks of rules";
}

/// Ends the process that reads: a memory limit may leave too little to put objects away.
[[noreturn]] void answerAndLeave(const std::filesystem::path& path,
                                 const kr::zero::meta::MetaRegistry& registry) {
  limitThisProcess();
  try {
    std::cout << answerTo(path, registry) << std::endl;
    ::_exit(EXIT_SUCCESS);
  } catch (const kr::zero::Error& error) {
    std::cout << "refused: " << error.what() << std::endl;
  } catch (const std::exception& error) {
    std::cout << "failed: " << error.what() << std::endl;
  }
  ::_exit(EXIT_FAILURE);
}

/// Whether the document was taken.
bool serve(const std::filesystem::path& path, const kr::zero::meta::MetaRegistry& registry) {
  std::cout << path.filename().string() << ": " << std::flush;
  const pid_t reader = ::fork();
  if (reader < 0) throw std::system_error(errno, std::generic_category(), "cannot start a process");
  if (reader == 0) answerAndLeave(path, registry);
  int status = 0;
  while (::waitpid(reader, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFSIGNALED(status)) std::cout << "refused: it took too much" << std::endl;
  return WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::cerr << "strangers META.ecore FILE...\n";
    return 2;
  }
  try {
    // The meta model is the service's own: one that a stranger sends can ask for any memory.
    kr::zero::meta::MetaRegistry registry;
    static_cast<void>(kr::zero::ecore::loadMetaModels({argv[1]}, registry));
    int refused = 0;
    for (int i = 2; i < argc; ++i) refused += serve(argv[i], registry) ? 0 : 1;
    return refused == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
  } catch (const std::exception& error) {
    std::cerr << "strangers: " << error.what() << '\n';
    return 2;
  }
}
