// Writes models in both formats, reads them back, and prints what the writers wrote. Built twice, against
// different headers: the two programs must print the same.
#include <iostream>
#include <optional>
#include <stdexcept>

#include "support/RandomModel.h"
#include "support/Reading.h"
#include "support/SampleModel.h"
#include "support/TaggedReading.h"

#if KR0_NAMED_CALLS_ONLY && (__has_include("kr/zero/io/BulkEventProcessor.h") || \
                             __has_include("kr/zero/io/BulkParseProcessor.h"))
#error "the headers of the larger units can be seen"
#endif

namespace kr::zero::test {

namespace {

void require(bool holds, const std::string& what) {
  if (!holds) throw std::runtime_error(what);
}

void requireEqual(const Model& model, const Model& again) {
  const std::optional<std::string> difference = findDifference(model, again);
  require(!difference, "another model came back: " + difference.value_or(""));
}

Model readBack(io::Parser& parser, const Bytes& bytes) {
  require(parser.parseByteSequence(bytes), "a document was refused");
  return parser.takeModel();
}

Bytes toBytes(const std::string& text) { return Bytes(text.begin(), text.end()); }

void goThroughDirect(const Model& model) {
  const Bytes bytes = writeDirect(model);
  const Model again = readBack(*makeParser(model.getRegistry()), bytes);
  requireEqual(model, again);
  require(writeDirect(again) == bytes, "other bytes the second time");
  std::cout.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// The tagged format keeps all but the signs of zeros, so models are compared from the second time on.
void goThroughTagged(const Model& model) {
  const std::string bytes = writeTagged(model);
  const Model once = readBack(*makeTaggedParser(model.getRegistry()), toBytes(bytes));
  require(writeTagged(once) == bytes, "other bytes the second time");
  requireEqual(once, readBack(*makeTaggedParser(model.getRegistry()), toBytes(writeTagged(once))));
  std::cout << bytes;
}

// Each document's own way of going wrong, too: cut at every place, the reader says what it says.
void tellHowCutsEnd(const Model& model) {
  const Bytes bytes = writeDirect(model);
  const auto parser = makeParser(model.getRegistry());
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    try {
      static_cast<void>(
          parser->parseByteSequence(Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size))));
    } catch (const std::exception& e) {
      std::cout << e.what();
    }
    std::cout << parser->describeFailure() << '\n';
  }
}

void run() {
  constexpr std::uint64_t kFirstSeed = 20260113;
  constexpr std::uint64_t kModels = 300;
  const Model sample = makeSample();
  goThroughDirect(sample);
  goThroughTagged(sample);
  tellHowCutsEnd(sample);
  for (std::uint64_t seed = kFirstSeed; seed < kFirstSeed + kModels; ++seed) {
    Random random(seed);
    const auto registry = makeRandomRegistry(random);
    const Model model = makeRandomModel(*registry, random);
    goThroughDirect(model);
    goThroughTagged(model);
  }
}

}  // namespace

}  // namespace kr::zero::test

int main() {
  try {
    kr::zero::test::run();
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
