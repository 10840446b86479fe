// Models as JSON, and nlohmann-json's document in memory (DOM) of the very same text.
#include "kr/zero/json/Json.h"

#include <nlohmann/json.hpp>

#include "ModelContent.h"
#include "Peer.h"

namespace kr::zero::bench {

namespace {

class OfJson : public Peer {
 public:
  explicit OfJson(Traits traits) : Peer(std::move(traits)) { registerLibrary(registry_); }
  std::size_t size() const override { return text_.size(); }

 protected:
  meta::MetaRegistry registry_;
  std::string text_;
};

class Models final : public OfJson {
 public:
  Models() : OfJson({.name = "kr0 JSON", .resolvesReferences = true, .mostElements = kNotTheLargest}) {}
  void load(const Source& source) override { model_.emplace(makeModel(source.content, registry_)); }
  void write() override { text_ = json::writeJson(*model_); }
  void read() override { read_.emplace(json::readJson(text_, {.registry = &registry_})); }
  void drop() override { read_.reset(); }
  bool holds(const Content& content) override { return contentOf(*read_) == content; }

 private:
  std::optional<Model> model_;
  std::optional<Model> read_;
};

class Documents final : public OfJson {
 public:
  Documents() : OfJson({.name = "JSON, nlohmann DOM", .mostElements = kNotTheLargest}) {}
  void load(const Source& source) override {
    written_ = nlohmann::json::parse(json::writeJson(makeModel(source.content, registry_)));
  }
  void write() override { text_ = written_.dump(); }
  void read() override { read_ = nlohmann::json::parse(text_); }
  void drop() override { read_ = nullptr; }
  bool holds(const Content& content) override {
    return contentOf(json::readJson(read_.dump(), {.registry = &registry_})) == content;
  }

 private:
  nlohmann::json written_;
  nlohmann::json read_;
};

}  // namespace

void addJson(Peers& peers) {
  peers.push_back(std::make_unique<Models>());
  peers.push_back(std::make_unique<Documents>());
}

}  // namespace kr::zero::bench
