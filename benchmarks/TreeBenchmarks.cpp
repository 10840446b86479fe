#include "TreeBenchmarks.h"

#include <benchmark/benchmark.h>

#include <stdexcept>

#include "MessagePackTree.h"
#include "kr/zero/io/BinaryAssembler.h"
#include "kr/zero/io/BinaryFormatter.h"
#include "modeling/sylvan/EventCounter.h"
#include "modeling/sylvan/NullEventProcessor.h"

namespace kr::zero::bench {

namespace {

void format(const TreeEvents& events, std::string& bytes) {
  io::BinaryFormatter formatter(io::SerializationOutput::toString(bytes));
  send(events, formatter);
}

void requireEqual(bool equal, const char* form) {
  if (!equal) throw std::runtime_error(std::string("another tree in ") + form);
}

/// Takes what a CBOR reader finds and does nothing with it, except that it counts.
struct CountingSax {
  using number_integer_t = nlohmann::json::number_integer_t;
  using number_unsigned_t = nlohmann::json::number_unsigned_t;
  using number_float_t = nlohmann::json::number_float_t;
  using string_t = nlohmann::json::string_t;
  using binary_t = nlohmann::json::binary_t;

  std::size_t calls = 0;
  bool null() { return ++calls, true; }
  bool boolean(bool) { return ++calls, true; }
  bool number_integer(number_integer_t) { return ++calls, true; }
  bool number_unsigned(number_unsigned_t) { return ++calls, true; }
  bool number_float(number_float_t, const string_t&) { return ++calls, true; }
  bool string(string_t&) { return ++calls, true; }
  bool binary(binary_t&) { return ++calls, true; }
  bool start_object(std::size_t) { return ++calls, true; }
  bool key(string_t&) { return ++calls, true; }
  bool end_object() { return true; }
  bool start_array(std::size_t) { return ++calls, true; }
  bool end_array() { return true; }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) { return false; }
};

void formatTagged(benchmark::State& state, const Trees& trees) {
  std::string bytes;
  for (auto step : state) format(trees.events, bytes);
  if (bytes != trees.tagged) state.SkipWithError("wrote other bytes");
}

void assembleTagged(benchmark::State& state, const Trees& trees) {
  modeling::sylvan::NullEventProcessor nothing;
  io::BinaryAssembler assembler(&nothing);
  for (auto step : state) assembler.visitString(trees.tagged);
  if (assembler.getByteOffset() != trees.tagged.size()) state.SkipWithError("read less than the document");
}

void writeCbor(benchmark::State& state, const Trees& trees) {
  std::vector<std::uint8_t> bytes;
  for (auto step : state) {
    bytes.clear();
    nlohmann::json::to_cbor(trees.json, bytes);
  }
  if (bytes != trees.cbor) state.SkipWithError("wrote other bytes");
}

void saxParseCbor(benchmark::State& state, const Trees& trees) {
  CountingSax sax;
  for (auto step : state)
    if (!nlohmann::json::sax_parse(trees.cbor, &sax, nlohmann::json::input_format_t::cbor))
      state.SkipWithError("not CBOR");
  if (sax.calls < trees.events.size() / 3) state.SkipWithError("read less than the document");
}

#if KR0_BENCH_HAS_MESSAGE_PACK
void packMessagePack(benchmark::State& state, const Trees& trees) {
  msgpack::sbuffer bytes;
  for (auto step : state) {
    bytes.clear();
    msgpack::packer<msgpack::sbuffer> packer(bytes);
    packTree(trees.events, packer);
  }
  if (std::string_view(bytes.data(), bytes.size()) != trees.messagePack)
    state.SkipWithError("wrote other bytes");
}

void visitMessagePack(benchmark::State& state, const Trees& trees) {
  CountingVisitor visitor;
  for (auto step : state) {
    std::size_t offset = 0;
    msgpack::parse(trees.messagePack.data(), trees.messagePack.size(), offset, visitor);
    if (offset != trees.messagePack.size()) state.SkipWithError("read less than the document");
  }
  if (visitor.calls < trees.events.size() / 3) state.SkipWithError("visited less than the document");
}
#endif

}  // namespace

// The trees hold each name of an entry once per struct, so that a JSON object can hold them.
Trees::Trees(const Model& model) : events(eventsOf(model)), json(toJson(events)) {
  format(events, tagged);
  nlohmann::json::to_cbor(json, cbor);
  modeling::sylvan::EventCounter counter;
  io::BinaryAssembler(&counter).visitString(tagged);
  std::string again;
  io::BinaryFormatter formatter(io::SerializationOutput::toString(again));
  io::BinaryAssembler(&formatter).visitString(tagged);
  requireEqual(again == tagged && counter.getTotal() == events.size(), "the tagged format");
  requireEqual(nlohmann::json::from_cbor(cbor) == json, "CBOR");
#if KR0_BENCH_HAS_MESSAGE_PACK
  msgpack::sbuffer buffer;
  msgpack::packer<msgpack::sbuffer> packer(buffer);
  packTree(events, packer);
  messagePack.assign(buffer.data(), buffer.size());
  requireEqual(nlohmann::json::from_msgpack(messagePack) == json, "MessagePack");
#endif
}

void registerTreeBenchmarks(const Trees& trees) {
  const auto add = [&trees](const char* name, void (*run)(benchmark::State&, const Trees&)) {
    benchmark::RegisterBenchmark(name, [run, &trees](benchmark::State& state) { run(state, trees); });
  };
  add("format tagged events", formatTagged);
  add("write CBOR, nlohmann", writeCbor);
  add("assemble tagged events", assembleTagged);
  add("sax_parse CBOR, nlohmann", saxParseCbor);
#if KR0_BENCH_HAS_MESSAGE_PACK
  add("pack MessagePack", packMessagePack);
  add("visit MessagePack", visitMessagePack);
#endif
}

}  // namespace kr::zero::bench
