// Makes a batch of documents, whole ones and damaged ones, for tests/oracle/compare.py:
//
//     kr0_oracle_batch INPUTS SEED > batch
#include <xxhash.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "kr/zero/archive/Archive.h"
#include "kr/zero/meta/MetaModelBuilder.h"
#include "kr/zero/study/Digest.h"
#include "oracle/Batch.h"
#include "oracle/Rules.h"
#include "support/GoldenDocuments.h"
#include "support/RandomDamage.h"
#include "support/RandomModel.h"
#include "support/Reading.h"
#include "support/SampleModel.h"
#include "support/TaggedReading.h"

namespace kr::zero::test {

namespace {

Bytes toBytes(std::string_view text) { return {text.begin(), text.end()}; }

std::string hex(const Bytes& bytes) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string out = "x";
  for (const std::uint8_t byte : bytes) out += {digits[byte >> 4], digits[byte & 15]};
  return out;
}

/// What the library says of the documents of one meta model.
class Judge {
 public:
  Judge(const meta::MetaRegistry& registry, const std::vector<meta::PackageDefinition>& definitions)
      : registry_(registry), direct_(makeParser(registry)), tagged_(makeTaggedParser(registry)) {
    std::cout << "M " << metaModelJson(registry, definitions) << '\n';
  }

  void tell(const std::string& name, const std::string& format, const Bytes& bytes) {
    std::cout << "D " << name << ' ' << format << ' ' << hex(bytes) << ' ';
    // Only what is documented is an answer: everything else ends the program.
    if (format == "events")
      tellEvents(bytes);
    else if (const std::optional<Model> model = read(format, bytes))
      std::cout << "accepted " << study::digestOf(*model).toText() << ' ' << contentOf(*model) << '\n';
    else
      std::cout << "refused - -\n";
  }

 private:
  static void tellEvents(const Bytes& bytes) {
    std::string events;
    try {
      events = eventsOf(bytes);
    } catch (const std::exception&) {
      std::cout << "refused - -\n";
      return;
    }
    std::cout << "accepted - " << events << '\n';
  }

  std::optional<Model> read(const std::string& format, const Bytes& bytes) {
    try {
      if (format.starts_with("krz")) return readArchive(format, bytes);
      io::Parser& parser = format == "krb" ? static_cast<io::Parser&>(*direct_) : *tagged_;
      if (parser.parseByteSequence(bytes)) return parser.takeModel();
      return std::nullopt;
    } catch (const std::exception&) {
      return std::nullopt;
    }
  }

  // By the meta model that it brings, or by one that is there.
  std::optional<Model> readArchive(const std::string& format, const Bytes& bytes) {
    const archive::ArchiveBytes archive{{reinterpret_cast<const char*>(bytes.data()), bytes.size()}};
    if (format == "krz-by") return archive::loadArchive(archive, registry_);
    own_ = archive::loadArchive(archive);
    return std::move(own_->model);
  }

  const meta::MetaRegistry& registry_;
  std::optional<archive::LoadedArchive> own_;  // what a model that was read last needs to live
  std::unique_ptr<io::BinaryParser> direct_;
  std::unique_ptr<io::BinaryKRSylvanParser> tagged_;
};

std::string skippable(unsigned number, const std::string& content) {
  std::string frame{static_cast<char>(0x50 + number), '\x2A', '\x4D', '\x18'};
  for (unsigned shift = 0; shift < 32; shift += 8) frame += static_cast<char>(content.size() >> shift & 0xFF);
  return frame + content;
}

/// Archives whose frames stand otherwise, and whose manifests say something else under a checksum that fits.
class ArchiveDamage {
 public:
  ArchiveDamage(const std::string& archive, Random& random) : random_(random) {
    const std::string rest = cutFrame(cutFrame(archive, manifest_), metaModel_);
    document_ = rest;
    manifest_.erase(0, 16);
  }

  Bytes next() {
    std::string manifest = manifest_;
    if (random_.percent(50)) changeDigit(manifest);
    std::vector<std::string> frames = {skippable(0, checked(manifest)), metaModel_, document_};
    for (std::size_t n = random_.below(3); n > 0; --n) move(frames);
    std::string bytes;
    for (const std::string& frame : frames) bytes += frame;
    return toBytes(bytes);
  }

 private:
  static std::string cutFrame(const std::string& bytes, std::string& frame) {
    std::size_t size = 0;
    for (std::size_t i = 0; i < 4; ++i)
      size |= static_cast<std::size_t>(static_cast<std::uint8_t>(bytes[4 + i])) << 8 * i;
    frame = bytes.substr(0, 8 + size);
    return bytes.substr(8 + size);
  }
  static std::string checked(const std::string& manifest) {
    std::uint64_t hash = XXH3_64bits(manifest.data(), manifest.size());
    std::string out;
    for (int i = 0; i < 8; ++i, hash >>= 8) out += static_cast<char>(hash & 0xFF);
    return out + manifest;
  }
  // Not of a fingerprint: that would be an archive of another meta model.
  void changeDigit(std::string& manifest) {
    const std::size_t end = manifest.find("\"packages\"");
    const std::size_t at = manifest.find_first_of("0123456789", random_.below(end - 1));
    if (at < end) manifest[at] = static_cast<char>('0' + random_.below(10));
  }
  void move(std::vector<std::string>& frames) {
    const std::size_t from = random_.below(frames.size());
    const std::size_t to = random_.below(frames.size() + 1);
    const auto place = [&](std::size_t i) { return frames.begin() + static_cast<std::ptrdiff_t>(i); };
    switch (random_.below(5)) {
      case 0:
        frames.insert(place(to), skippable(static_cast<unsigned>(random_.below(16)), "a note"));
        break;
      case 1:
        frames.insert(place(to), std::string(frames[from]));
        break;
      case 2:
        std::swap(frames[from], frames[to % frames.size()]);
        break;
      case 3:
        if (frames.size() > 1) frames.erase(place(from));
        break;
      default:
        frames.back() += "more";
    }
  }

  Random& random_;
  std::string manifest_;   // without head and checksum
  std::string metaModel_;  // the frame
  std::string document_;
};

class Batch {
 public:
  Batch(std::size_t inputs, std::uint64_t seed) : inputs_(inputs), random_(seed) {}

  void make() {
    tellKnown();
    tellUnwritten();
    while (told_ < inputs_) tellRandom();
  }

 private:
  void tell(Judge& judge, const std::string& name, const std::string& format, const Bytes& bytes) {
    judge.tell(name + "/" + std::to_string(told_), format, bytes);
    ++told_;
  }

  void tellDamaged(Judge& judge, const std::string& name, const std::string& format,
                   const std::vector<Bytes>& documents, std::size_t count) {
    RandomDamage damage(documents, random_.next());
    for (std::size_t i = 0; i < count; ++i) tell(judge, name, format, damage.next());
  }

  void tellDocuments(Judge& judge, const std::string& name, const std::vector<Bytes>& direct,
                     const std::vector<Bytes>& tagged, std::size_t damaged) {
    for (const Bytes& bytes : direct) tell(judge, name, "krb", bytes);
    for (const Bytes& bytes : tagged) tell(judge, name, "krt", bytes);
    for (const Bytes& bytes : tagged) tell(judge, name, "events", bytes);
    tellDamaged(judge, name + "-damaged", "krb", direct, damaged);
    tellDamaged(judge, name + "-damaged", "krt", tagged, damaged);
    tellDamaged(judge, name + "-damaged", "events", tagged, damaged / 4);
  }

  void ask(Judge& judge, const std::vector<Question>& questions) {
    for (const Question& question : questions) tell(judge, question.name, question.format, question.bytes);
  }

  // The golden documents and the sample, of which most of the damaged ones are.
  void tellKnown() {
    Judge golden(goldenRegistry(), {});
    std::vector<Bytes> direct, tagged;
    for (const GoldenDocument& document : goldenDocuments()) {
      direct.push_back(document.bytes);
      const auto parser = makeParser(goldenRegistry());
      if (parser->parseByteSequence(document.bytes))
        tagged.push_back(toBytes(writeTagged(parser->takeModel())));
    }
    tellDocuments(golden, "golden", direct, tagged, inputs_ / 7);
    ask(golden, goldenQuestions());
    Judge sample(sampleRegistry(), {sampleDefinition()});
    tellDocuments(sample, "sample", {writeDirect(makeSample())}, {toBytes(writeTagged(makeSample()))},
                  inputs_ / 40);
    tellArchives(sample, "sample", makeSample(), inputs_ / 100);
  }

  // Random properties without a value have no number; here they have.
  void tellUnwritten() {
    meta::MetaModelBuilder package("urn:u", "u");
    meta::TypeBuilder& type = package.classType("U");
    type.property("derived", "String").derived().id(1);
    type.property("manyDerived", "U").many().derived().id(2);
    type.property("static", "Integer").isStatic().id(3);
    type.property("transient", "Integer").many().isTransient().id(4);
    type.property("child", "U").composite().isTransient().id(5);
    type.property("kept", "U").id(6);
    meta::MetaRegistry registry;
    package.registerIn(registry);
    Judge judge(registry, {package.definition()});
    ask(judge, questionsOfUnwritten(registry));
    const auto child = DirectBytes().header({"urn:u"}).root("u.U").child(5, "u.U", "a", "b").end();
    tell(judge, "reference-to-transient", "krb", DirectBytes(child).key(6).reference("u.U", "a", "b").end());
  }

  void tellRandom() {
    const std::vector<meta::PackageDefinition> definitions = makeRandomDefinitions(random_);
    meta::MetaRegistry registry;
    registry.add(definitions);
    const Model model = makeRandomModel(registry, random_);
    Judge judge(registry, definitions);
    tellDocuments(judge, "random", {writeDirect(model)}, {toBytes(writeTagged(model))}, 16);
    ask(judge, questionsOfUnwritten(registry));
    tellArchives(judge, "random", model, 2);
  }

  void tellArchives(Judge& judge, const std::string& name, const Model& model, std::size_t damaged) {
    std::string archive;
    try {
      archive::writeArchive(model, archive, {.tagged = random_.percent(50), .level = 1});
    } catch (const Error&) {
      return;  // Ecore cannot say everything that a registry can
    }
    ArchiveDamage frames(archive, random_);
    for (const char* const format : {"krz", "krz-by"}) {
      tell(judge, name, format, toBytes(archive));
      tellDamaged(judge, name + "-damaged", format, {toBytes(archive)}, damaged / 2);
      for (std::size_t i = 0; i < damaged; ++i) tell(judge, name + "-frames", format, frames.next());
    }
  }

  std::size_t inputs_;
  Random random_;
  std::size_t told_ = 0;
};

}  // namespace

}  // namespace kr::zero::test

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: kr0_oracle_batch INPUTS SEED\n";
    return 2;
  }
  std::ios::sync_with_stdio(false);
  kr::zero::test::Batch(std::stoull(argv[1]), std::stoull(argv[2])).make();
  return std::cout.flush() ? 0 : 1;
}
