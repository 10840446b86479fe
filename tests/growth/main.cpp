// Growth of work and memory.
//
//   kr0_growth list               the names of all cases
//   kr0_growth run K N [PART]     every N-th case from the K-th on of those whose names have the part, at
//   four
//                                 sizes with their seconds, each twice as large as the one before; a profiler
//                                 counts what growthOfWork costs. KR0_GROWTH_SHARE=4 begins at a quarter of
//                                 the size
//   kr0_growth memory [PART]      the memory that reading takes at a large size, against bounds
//
// scripts/growth.sh counts instructions by valgrind, for time on a machine with other work says nothing.
#include <cstdlib>
#include <ctime>
#include <functional>
#include <iostream>
#include <map>
#include <pugixml.hpp>

#include "growth/Cases.h"
#include "support/AllocationMeter.h"

/// What is counted: its name is known to the script.
extern "C" __attribute__((noinline)) void growthOfWork(const kr::zero::growth::Work& work);
extern "C" void growthOfWork(const kr::zero::growth::Work& work) {
  work.run();
  asm volatile("" ::: "memory");  // the call stays one of its own
}

namespace kr::zero::growth {

namespace {

constexpr int kDoublings = 3;

void list() {
  for (const Case& each : cases()) std::cout << each.name << '\n';
}

std::vector<Case> casesWith(std::string_view part) {
  std::vector<Case> some;
  for (const Case& each : cases())
    if (each.name.find(part) != std::string::npos) some.push_back(each);
  return some;
}

void run(std::size_t first, std::size_t step, std::string_view part) {
  const std::vector<Case> some = casesWith(part);
  for (std::size_t i = first; i < some.size(); i += step) {
    const Case& each = some[i];
    each.prepare(each.size).run();  // what is made once for all is there then
    for (int doubling = 0; doubling <= kDoublings; ++doubling) {
      const std::size_t size = each.size << doubling;
      const Work work = each.prepare(size);
      const std::clock_t start = std::clock();
      growthOfWork(work);
      const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
      std::cout << each.name << ' ' << size << ' ' << seconds << std::endl;
    }
  }
}

/// Most bytes of memory that are live at one time for each byte of a document that is read, beyond kFloor.
struct Bound {
  Door door;
  double perByte;
};
constexpr Bound kBounds[] = {{Door::direct, 16}, {Door::tagged, 16}, {Door::xmi, 32},
                             {Door::ecore, 96},  {Door::json, 24},   {Door::archive, 16}};
constexpr std::size_t kFloor = std::size_t{256} << 10;

double boundOf(Door door) {
  for (const Bound& bound : kBounds)
    if (bound.door == door) return bound.perByte;
  return 0;
}

/// @returns the number of cases that take more than they may.
int measureMemory(std::string_view part) {
  // The XML parser's trees are counted with all else.
  pugi::set_memory_management_functions([](std::size_t size) { return ::operator new(size, std::nothrow); },
                                        [](void* block) { ::operator delete(block); });
  if (!test::AllocationMeter::isWatching()) {
    std::cout << "nothing is measured here: something else counts allocations\n";
    return 1;
  }
  std::map<Door, double> most;
  int tooMuch = 0;
  for (const Case& each : casesWith(part)) {
    const bool isAboutTime = each.name.find("colliding") != std::string::npos;
    if (!each.isReading || isAboutTime) continue;
    const Work work = each.prepare(each.size << 5);
    work.run();  // what is made once for all is there then
    const test::AllocationMeter meter;
    work.run();
    const double peak = static_cast<double>(meter.getPeakBytes());
    const double perByte = peak / static_cast<double>(work.bytes);
    const bool isFine =
        peak <= static_cast<double>(kFloor) + boundOf(each.door) * static_cast<double>(work.bytes);
    std::cout << (isFine ? "fine      " : "TOO MUCH  ") << each.name << ": " << work.bytes << " bytes, "
              << perByte << " bytes live for each" << std::endl;
    most[each.door] = std::max(most[each.door], perByte);
    if (!isFine) ++tooMuch;
  }
  for (const auto& [door, perByte] : most)
    std::cout << nameOf(door) << ": at most " << perByte << ", bound " << boundOf(door) << '\n';
  return tooMuch;
}

}  // namespace

}  // namespace kr::zero::growth

int main(int count, char** arguments) {
  using namespace kr::zero::growth;
  const std::string_view verb = count > 1 ? arguments[1] : "";
  if (verb == "list" && count == 2) return list(), 0;
  const auto argument = [&](int at) { return count > at ? arguments[at] : ""; };
  if (verb == "memory" && count <= 3) return measureMemory(argument(2)) == 0 ? 0 : 1;
  if (verb == "run" && (count == 4 || count == 5)) {
    run(std::strtoul(argument(2), nullptr, 10), std::strtoul(argument(3), nullptr, 10), argument(4));
    return 0;
  }
  std::cerr << "usage: kr0_growth list | run FIRST STEP [PART] | memory [PART]\n";
  return 2;
}
