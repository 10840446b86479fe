// What is saved of damaged documents, and what is said of the rest.
#include "kr/zero/inspect/Salvage.h"

#include <gtest/gtest.h>

#include <array>
#include <iostream>
#include <set>

#include "DirectScan.h"
#include "Resume.h"
#include "TaggedScan.h"
#include "inspect/Shelves.h"
#include "support/Environment.h"
#include "support/Reading.h"
#include "support/TaggedReading.h"

namespace kr::zero::test::salvage {

namespace {

using inspect::Salvaged;

std::string_view asText(const Bytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Where each element of a document begins and ends, by its name.
class Extents final : public inspect::Listener {
 public:
  struct Extent {
    std::size_t begin;
    std::size_t end;
  };

  void onItem(const inspect::Item& item) override {
    if (item.kind == inspect::ItemKind::begin) open_.push_back({{}, item.offset});
    if (item.kind == inspect::ItemKind::beginGroup) open_.push_back({{}, item.offset});
    if (item.kind == inspect::ItemKind::value && item.name == "name" && !open_.empty())
      open_.back().name = item.value.text;
    if (item.kind != inspect::ItemKind::end) return;
    if (!open_.back().name.empty())
      extents_.emplace(open_.back().name, Extent{open_.back().begin, item.offset + item.bytes});
    open_.pop_back();
  }
  void onDamage(const inspect::Damage& damage) override { FAIL() << damage.expected << damage.found; }
  void onDrop() override { FAIL(); }

  const std::map<std::string, Extent>& all() const { return extents_; }

 private:
  struct Open {
    std::string name;
    std::size_t begin;
  };
  std::vector<Open> open_;
  std::map<std::string, Extent> extents_;
};

template <class Scan>
std::map<std::string, Extents::Extent> extentsOf(const Bytes& document, const meta::MetaRegistry& registry) {
  inspect::TypeTable types(registry);
  Scan scan(asText(document), &types);
  Extents extents;
  EXPECT_TRUE(inspect::TolerantReader<Scan>(scan, extents).readAll());
  return extents.all();
}

struct Kept {
  std::size_t besides = 0;  ///< elements in whose bytes there is no damage
  std::size_t kept = 0;     ///< of these, with everything as it was
  std::size_t inPlace = 0;  ///< of these, in an element of the same name
  std::size_t changed = 0;  ///< of these, of another class, or with a reference to something else
};

/// Whether an element is of the class that it was, and refers to nothing that it did not refer to.
/// @param sound names of elements in which there is no damage.
bool leadsNowhereElse(ConstElement now, ConstElement before, const std::set<std::string>& sound) {
  if (now.getType() != before.getType()) return false;
  for (const meta::Property property : now.getType()->getAllProperties()) {
    if (property->getKind() != meta::PropertyKind::association) continue;
    std::set<std::string> known;
    for (std::size_t i = 0; i < before.size(property); ++i)
      known.emplace(before.getReference(property, i).getText("name"));
    for (std::size_t i = 0; i < now.size(property); ++i) {
      const ConstElement target = now.getReference(property, i);
      const std::string name(target ? target.getText("name") : "");
      if (sound.contains(name) && !known.contains(name)) return false;
    }
  }
  return true;
}

std::string withoutReferences(ConstElement element) {
  std::string text = element.getType()->qualifiedName();
  for (const meta::Property property : element.getType()->getAllProperties())
    if (meta::isPrimitive(property->getKind()))
      for (std::size_t i = 0; i < element.size(property); ++i)
        text += "; " + property->name() + " " + element.getTextForm(property, i);
  return text;
}

std::string nameOfContainer(ConstElement element) {
  const ConstElement container = element.getContainer();
  return container && container.isSet("name") ? std::string(container.getText("name")) : std::string();
}

class Shelf {
 public:
  explicit Shelf(std::size_t elements) : model_(makeShelves(elements, 7)), elements_(byName(model_)) {}
  const Model& model() const { return model_; }

  Kept compare(const Model& saved, const std::map<std::string, Extents::Extent>& extents, std::size_t from,
               std::size_t to) const {
    Kept kept;
    const auto found = byName(saved);
    std::set<std::string> sound;
    for (const auto& [name, extent] : extents)
      if (extent.begin >= to || from >= extent.end) sound.insert(name);
    kept.besides = sound.size();
    for (const std::string& name : sound) {
      const ConstElement before = elements_.at(name);
      const auto now = found.find(name);
      if (now == found.end()) continue;
      if (!leadsNowhereElse(now->second, before, sound)) ++kept.changed;
      if (withoutReferences(now->second) != withoutReferences(before)) continue;
      ++kept.kept;
      kept.inPlace += nameOfContainer(now->second) == nameOfContainer(before);
    }
    return kept;
  }

 private:
  Model model_;
  std::map<std::string, ConstElement> elements_;
};

constexpr std::size_t kHarmed = 16;

template <class Scan>
void examine(const Bytes& document, bool tagged, Harm how, std::uint64_t rounds) {
  static const Shelf shelf(10000);
  const auto extents = extentsOf<Scan>(document, shelvesRegistry());
  Random random(seedFor("salvage"));
  double worst = 1;
  std::size_t noticed = 0;
  double inPlace = 0;
  for (std::uint64_t i = 0; i < rounds; ++i) {
    const std::size_t at = random.below(document.size() - kHarmed);
    const Bytes damaged = harm(document, how, at, kHarmed, random);
    const Salvaged saved =
        inspect::salvage(asText(damaged), {.registry = &shelvesRegistry(), .tagged = tagged});
    const Kept kept = shelf.compare(saved.model, extents, at, how == Harm::insert ? at + 1 : at + kHarmed);
    const double share = static_cast<double>(kept.kept) / static_cast<double>(kept.besides);
    EXPECT_GE(share, 0.99) << "round " << i << " at byte " << at;
    EXPECT_EQ(kept.changed, 0u) << "round " << i << " at byte " << at;
    worst = std::min(worst, share);
    noticed += !saved.losses.empty();
    inPlace +=
        static_cast<double>(kept.inPlace) / static_cast<double>(kept.besides) / static_cast<double>(rounds);
    if (share < 0.99 || kept.changed != 0)
      for (std::size_t j = 0; j < std::min<std::size_t>(5, saved.losses.size()); ++j)
        std::cerr << saved.losses[j].text << '\n';
  }
  std::cout << "worst share kept " << worst << ", in their place on average " << inPlace << ", noticed in "
            << noticed << " of " << rounds << '\n';
}

Bytes directShelves() { return writeDirect(makeShelves(10000, 7)); }

Bytes taggedShelves() {
  const std::string bytes = writeTagged(makeShelves(10000, 7));
  return {bytes.begin(), bytes.end()};
}

constexpr std::uint64_t kRounds = 12;

}  // namespace

TEST(Salvage, KeepsWhatDoesNotLieAboveOverwrittenBytesOfADirectDocument) {
  examine<inspect::DirectScan>(directShelves(), false, Harm::overwrite,
                               numberFromEnvironment("KR0_HARMS", kRounds));
}
TEST(Salvage, KeepsWhatDoesNotLieAboveMissingBytesOfADirectDocument) {
  examine<inspect::DirectScan>(directShelves(), false, Harm::remove,
                               numberFromEnvironment("KR0_HARMS", kRounds));
}
TEST(Salvage, KeepsWhatDoesNotLieAboveInsertedBytesOfADirectDocument) {
  examine<inspect::DirectScan>(directShelves(), false, Harm::insert,
                               numberFromEnvironment("KR0_HARMS", kRounds));
}
TEST(Salvage, KeepsWhatDoesNotLieAboveOverwrittenBytesOfATaggedDocument) {
  examine<inspect::TaggedScan>(taggedShelves(), true, Harm::overwrite,
                               numberFromEnvironment("KR0_HARMS", kRounds));
}
TEST(Salvage, KeepsWhatDoesNotLieAboveMissingBytesOfATaggedDocument) {
  examine<inspect::TaggedScan>(taggedShelves(), true, Harm::remove,
                               numberFromEnvironment("KR0_HARMS", kRounds));
}
TEST(Salvage, KeepsWhatDoesNotLieAboveInsertedBytesOfATaggedDocument) {
  examine<inspect::TaggedScan>(taggedShelves(), true, Harm::insert,
                               numberFromEnvironment("KR0_HARMS", kRounds));
}

TEST(Salvage, AWholeDocumentIsReadAsTheParserReadsIt) {
  const Model model = makeShelves(300, 3);
  const Bytes document = writeDirect(model);
  const Salvaged saved = inspect::salvage(asText(document), {.registry = &shelvesRegistry()});
  EXPECT_TRUE(saved.losses.empty());
  EXPECT_EQ(writeDirect(saved.model), document);
}

TEST(Salvage, WhatIsSavedCanBeWritten) {
  const Bytes document = writeDirect(makeShelves(300, 3));
  Random random(seedFor("salvage and write"));
  for (int i = 0; i < 100; ++i) {
    const Bytes damaged =
        harm(document, Harm::overwrite, random.below(document.size() - kHarmed), kHarmed, random);
    const Salvaged saved = inspect::salvage(asText(damaged), {.registry = &shelvesRegistry()});
    const Salvaged again =
        inspect::salvage(asText(writeDirect(saved.model)), {.registry = &shelvesRegistry()});
    EXPECT_TRUE(again.losses.empty());
    EXPECT_EQ(again.model.size(), saved.model.size());
  }
}

TEST(Salvage, ADeepDocumentThatIsCutTakesLittleMemoryForItsLosses) {
  Model model(shelvesRegistry());
  Element shelf = model.createRoot("shelves.Shelf");
  for (int depth = 0; depth < 50000; ++depth) shelf = shelf.create("shelves", "shelves.Shelf");
  Bytes document = writeDirect(model);
  document.resize(document.size() - 1000);
  const Salvaged saved = inspect::salvage(asText(document), {.registry = &shelvesRegistry()});
  EXPECT_EQ(saved.model.size(), 50001u);
  std::size_t bytes = 0;
  for (const inspect::Loss& loss : saved.losses) bytes += loss.text.size();
  EXPECT_FALSE(saved.losses.empty());
  EXPECT_LT(bytes, std::size_t{10} << 20);
}

TEST(Salvage, AReferenceLeadsToItsElementWhateverStandsBetween) {
  Model model(shelvesRegistry());
  Element shelf = model.createRoot("shelves.Shelf");
  shelf.set("name", "shelf");
  std::vector<Element> books;
  for (const char* name : {"first", "second", "third"}) {
    books.push_back(shelf.create("books", "shelves.Book"));
    books.back().set("name", name);
    books.back().set("pages", 1);
  }
  books[0].putReference("related", books[1]);
  books[0].putReference("related", books[2]);
  Bytes document = writeDirect(model);
  // All of the second but its end.
  const std::size_t begin = asText(document).find("second") - 20;
  for (std::size_t i = 0; i < 31; ++i) document[begin + i] = 0xEE;
  const Salvaged saved = inspect::salvage(asText(document), {.registry = &shelvesRegistry()});
  const auto names = byName(saved.model);
  ASSERT_TRUE(names.contains("first") && names.contains("third"));
  const ConstElement first = names.at("first");
  ASSERT_GE(first.size("related"), 1u);
  EXPECT_EQ(first.getReference("related", first.size("related") - 1), names.at("third"));
  EXPECT_FALSE(saved.losses.empty());
}

}  // namespace kr::zero::test::salvage
