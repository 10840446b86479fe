// This library: a model in the direct and in the tagged format.
#include <stdexcept>

#include "ModelContent.h"
#include "Peer.h"
#include "kr/zero/io/BinaryKRSylvanParser.h"
#include "kr/zero/io/BinaryKRSylvanSerializer.h"
#include "kr/zero/io/BinaryParser.h"
#include "kr/zero/io/BinarySerializer.h"

namespace kr::zero::bench {

namespace {

class OfModels : public Peer {
 public:
  explicit OfModels(const char* name) : Peer({.name = name, .resolvesReferences = true}) {
    registerLibrary(registry_);
  }
  void load(const Source& source) override { model_.emplace(makeModel(source.content, registry_)); }
  void drop() override { read_.reset(); }
  bool holds(const Content& content) override { return contentOf(*read_) == content; }

 protected:
  // `parse` calls the parser's entry for the format.
  template <class Parser, class Parse>
  void readWith(Parse parse) {
    Parser parser(std::make_unique<io::ParseCustomizer>(registry_),
                  std::make_unique<io::ParsingModelBuilder>(false));
    if (!parse(parser)) throw std::runtime_error("refused: " + parser.getProblems().front());
    read_.emplace(parser.takeModel());
  }

  meta::MetaRegistry registry_;
  std::optional<Model> model_;
  std::optional<Model> read_;
};

class Direct final : public OfModels {
 public:
  Direct() : OfModels("kr0 direct") {}
  void write() override { serializer_.serialize(*model_, io::SerializationOutput::toByteSequence(bytes_)); }
  std::size_t size() const override { return bytes_.size(); }
  void read() override {
    readWith<io::BinaryParser>([this](io::BinaryParser& parser) { return parser.parseByteSequence(bytes_); });
  }

 private:
  io::BinarySerializer serializer_;
  std::vector<std::uint8_t> bytes_;
};

class Tagged final : public OfModels {
 public:
  Tagged() : OfModels("kr0 tagged") {}
  void write() override { serializer_.serialize(*model_, io::SerializationOutput::toString(bytes_)); }
  std::size_t size() const override { return bytes_.size(); }
  void read() override {
    readWith<io::BinaryKRSylvanParser>([this](io::BinaryKRSylvanParser& parser) {
      return parser.parse(io::ParsingInput::fromString(bytes_));
    });
  }

 private:
  io::BinaryKRSylvanSerializer serializer_;
  std::string bytes_;
};

}  // namespace

void addKr0(Peers& peers) {
  peers.push_back(std::make_unique<Direct>());
  peers.push_back(std::make_unique<Tagged>());
}

}  // namespace kr::zero::bench
