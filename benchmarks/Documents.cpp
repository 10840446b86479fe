#include "Documents.h"

#include <malloc.h>

#include <memory>
#include <stdexcept>

#include "kr/zero/io/BinaryParser.h"
#include "kr/zero/io/BinarySerializer.h"

namespace kr::zero::bench {

namespace {

void requireEqual(const Content& found, const Content& expected, const char* what) {
  if (found != expected)
    throw std::runtime_error(std::string(what) + " does not hold the content that was made");
}

// What malloc has handed out, its own overhead included; also large blocks, which it maps one by one.
std::size_t heldBytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

template <class Make>
std::size_t measure(Make make) {
  const std::size_t before = heldBytes();
  const auto made = make();
  return heldBytes() - before;
}

}  // namespace

Documents::Documents(std::size_t elementCount, std::uint64_t seed) : size(elementCount), model(registry) {
  const Content content = makeContent(size, seed);
  contentHash = hashOf(content);
  registerLibrary(registry);
  model = makeModel(content, registry);
  catalog = makeMessages(content);
  requireEqual(contentOf(model), content, "the model");
  requireEqual(contentOf(catalog), content, "the messages");
  io::BinarySerializer().serialize(model, io::SerializationOutput::toByteSequence(direct));
  catalog.SerializeToString(&protobuf);
  requireEqual(contentOf(readModel(direct, registry)), content, "the model read back");
  messages::Catalog again;
  again.ParseFromString(protobuf);
  requireEqual(contentOf(again), content, "the messages read back");
}

Model readModel(const std::vector<std::uint8_t>& bytes, const meta::MetaRegistry& registry) {
  io::BinaryParser parser(std::make_unique<io::ParseCustomizer>(registry),
                          std::make_unique<io::ParsingModelBuilder>(false));
  if (!parser.parseByteSequence(bytes)) throw std::runtime_error("refused: " + parser.getProblems().front());
  return parser.takeModel();
}

HeldBytes measureHeldBytes(const Documents& documents) {
  HeldBytes held;
  held.model = measure([&] { return readModel(documents.direct, documents.registry); });
  const auto readMessages = [&] {
    auto catalog = std::make_unique<messages::Catalog>();
    catalog->ParseFromString(documents.protobuf);
    return catalog;
  };
  held.messages = measure(readMessages);
  held.messagesAndTargets = measure([&] {
    auto catalog = readMessages();
    auto targets = resolveReferences(*catalog);
    targets.shrink_to_fit();
    return std::pair(std::move(catalog), std::move(targets));
  });
  return held;
}

}  // namespace kr::zero::bench
