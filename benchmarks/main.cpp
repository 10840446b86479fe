// Writes and reads one content in the direct format and in Protocol Buffers, and one tree in the tagged
// format, CBOR and MessagePack, side by side.
//
//   kr0_bench [--json=FILE] [--gate] [--elements=N] [--benchmark_...]
//
// --gate: exit code 1 where a ratio exceeds its limit. Everything else goes to Google Benchmark.

#include <benchmark/benchmark.h>
#include <google/protobuf/arena.h>

#include <charconv>
#include <cstring>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Documents.h"
#include "QuietProcessor.h"
#include "Report.h"
#include "TreeBenchmarks.h"
#include "kr/zero/io/BinaryParser.h"
#include "kr/zero/io/BinarySerializer.h"

namespace kr::zero::bench {

namespace {

constexpr std::uint64_t seed = 20240229;

struct Options {
  std::string json;
  bool gate = false;
  std::size_t elements = 100000;
};

// Both writers keep their buffers from one document to the next, as a program that saves often does.
void writeDirect(benchmark::State& state, const Documents& documents) {
  io::BinarySerializer serializer;
  std::vector<std::uint8_t> bytes;
  for (auto step : state)
    serializer.serialize(documents.model, io::SerializationOutput::toByteSequence(bytes));
  if (bytes != documents.direct) state.SkipWithError("wrote other bytes");
}

void writeProtobuf(benchmark::State& state, const Documents& documents) {
  std::string bytes;
  for (auto step : state) documents.catalog.SerializeToString(&bytes);
  if (bytes != documents.protobuf) state.SkipWithError("wrote other bytes");
}

// A read ends when what was read is gone again: making and dropping belong together.
void readDirect(benchmark::State& state, const Documents& documents) {
  for (auto step : state) {
    Model model = readModel(documents.direct, documents.registry);
    benchmark::DoNotOptimize(model.getRoots().front());
  }
}

void readDriverAlone(benchmark::State& state, const Documents& documents) {
  io::BinaryParser parser(std::make_unique<io::ParseCustomizer>(documents.registry),
                          std::make_unique<io::ParsingModelBuilder>(false));
  io::ParseCustomizer customizer(documents.registry);
  auto processor = std::make_unique<QuietProcessor>(customizer, parser.getModelBuilder());
  const QuietProcessor& quiet = *processor;
  parser.setParseProcessor(std::move(processor));
  for (auto step : state) parser.parseByteSequence(documents.direct);
  if (quiet.getCalls() < 6 * documents.size) state.SkipWithError("walked less than the document");
}

void readProtobufHeap(benchmark::State& state, const Documents& documents) {
  for (auto step : state) {
    messages::Catalog catalog;
    catalog.ParseFromString(documents.protobuf);
    benchmark::DoNotOptimize(catalog.items(0).id());
  }
}

void readProtobufResolved(benchmark::State& state, const Documents& documents) {
  for (auto step : state) {
    messages::Catalog catalog;
    catalog.ParseFromString(documents.protobuf);
    benchmark::DoNotOptimize(resolveReferences(catalog).size());
  }
}

void readProtobufArena(benchmark::State& state, const Documents& documents) {
  for (auto step : state) {
    google::protobuf::Arena arena;
    auto* catalog = google::protobuf::Arena::CreateMessage<messages::Catalog>(&arena);
    catalog->ParseFromString(documents.protobuf);
    benchmark::DoNotOptimize(catalog->items(0).id());
  }
}

void copyBytes(benchmark::State& state, const Documents& documents) {
  std::vector<std::uint8_t> bytes(documents.direct.size());
  for (auto step : state) {
    std::memcpy(bytes.data(), documents.direct.data(), bytes.size());
    benchmark::ClobberMemory();
  }
}

void registerAll(const Documents& documents) {
  const auto add = [&documents](const char* name, void (*run)(benchmark::State&, const Documents&)) {
    benchmark::RegisterBenchmark(name, [run, &documents](benchmark::State& state) { run(state, documents); });
  };
  add("write direct", writeDirect);
  add("write protobuf", writeProtobuf);
  add("read direct", readDirect);
  add("read direct, driver alone", readDriverAlone);
  add("read protobuf heap", readProtobufHeap);
  add("read protobuf heap, references resolved", readProtobufResolved);
  add("read protobuf arena", readProtobufArena);
  add("copy the direct document's bytes", copyBytes);
}

std::size_t toCount(const std::string& digits) {
  std::size_t count = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), count);
  if (error != std::errc() || end != digits.data() + digits.size() || count == 0)
    throw std::runtime_error("--elements wants a number of at least 1");
  return count;
}

// Takes our own options out of the arguments.
Options takeOptions(std::vector<std::string>& arguments) {
  Options options;
  std::erase_if(arguments, [&options](const std::string& argument) {
    if (argument == "--gate") return options.gate = true;
    if (argument.starts_with("--json=")) return options.json = argument.substr(7), true;
    if (argument.starts_with("--elements=")) return options.elements = toCount(argument.substr(11)), true;
    return false;
  });
  return options;
}

void initialize(const std::vector<std::string>& arguments) {
  // Repetitions of all benchmarks are mixed: what slows the machine for a while then slows them all. The
  // strings stay for good, because Google Benchmark keeps pointers to them.
  static std::vector<std::string> all;
  all = {"kr0_bench", "--benchmark_enable_random_interleaving=true", "--benchmark_repetitions=9",
         "--benchmark_min_time=0.3"};
  all.insert(all.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& argument : all) pointers.push_back(argument.data());
  int count = static_cast<int>(pointers.size());
  benchmark::Initialize(&count, pointers.data());
  if (count > 1) throw std::runtime_error(std::string("unknown option ") + pointers[1]);
}

int run(std::vector<std::string> arguments) {
  const Options options = takeOptions(arguments);
  initialize(arguments);
  const std::optional<PeakBytes> peak = measurePeakBytes(options.elements, seed);
  const Documents documents(options.elements, seed);
  const Trees trees(documents.model);
  registerAll(documents);
  registerTreeBenchmarks(trees);
  Collector collector(documents.size);
  benchmark::RunSpecifiedBenchmarks(&collector);
  if (collector.failed()) return 1;
  const Memory memory{measureHeldBytes(documents), peak};
  const std::vector<Comparison> comparisons = compare(collector, documents, memory);
  printTable(std::cout, collector, documents, memory, comparisons);
  if (!options.json.empty()) writeJson(options.json, collector, documents, memory, comparisons);
  bool allHold = true;
  for (const Comparison& comparison : comparisons) allHold = allHold && comparison.holds();
  return options.gate && !allHold ? 1 : 0;
}

}  // namespace

}  // namespace kr::zero::bench

int main(int count, char** arguments) {
  try {
    return kr::zero::bench::run({arguments + 1, arguments + count});
  } catch (const std::exception& error) {
    std::cerr << "kr0_bench: " << error.what() << '\n';
    return 1;
  }
}
