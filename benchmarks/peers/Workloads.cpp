#include "Workloads.h"

#include <random>

namespace kr::zero::bench {

namespace {

// The standard fixes this generator's numbers, unlike those of its distributions.
using Random = std::mt19937_64;

std::uint32_t below(Random& random, std::size_t bound) {
  return static_cast<std::uint32_t>(random() % bound);
}

// Every item is the only part of the one before.
void chain(Content& content) {
  for (std::size_t i = 0; i < content.size(); ++i) content[i].depth = static_cast<std::uint32_t>(i);
}

std::string sentence(Random& random, std::size_t words) {
  constexpr const char* some[] = {"the",    "harbour", "was",  "quiet",  "à",
                                  "minuit", "größer",  "than", "letters"};
  std::string text;
  while (words-- > 0) text.append(some[below(random, std::size(some))]).append(words > 0 ? " " : ".");
  return text;
}

// About 600 bytes of text per item, no lists of numbers and no references.
void preferTexts(Content& content) {
  Random random(kLibrarySeed);
  for (Item& item : content) {
    item.title = sentence(random, 40);
    item.shelf = sentence(random, 20);
    item.keywords.clear();
    for (int i = 0; i < 8; ++i) item.keywords.push_back(sentence(random, 5));
    item.ratings.clear();
    item.original.reset();
    item.related.clear();
  }
}

// 64 numbers per item, of all lengths and both signs.
void preferNumbers(Content& content) {
  Random random(kLibrarySeed);
  for (Item& item : content) {
    item.isbn.reset();
    item.shelf.reset();
    item.acquired.reset();
    item.keywords.clear();
    item.original.reset();
    item.related.clear();
    item.ratings.clear();
    for (int i = 0; i < 64; ++i)
      item.ratings.push_back(
          static_cast<std::int32_t>(static_cast<std::uint32_t>(random()) >> below(random, 32)) *
          (i % 2 == 0 ? 1 : -1));
  }
}

// 13 references per item, half of them within a hundred items.
void preferReferences(Content& content) {
  Random random(kLibrarySeed);
  for (std::size_t i = 0; i < content.size(); ++i) {
    Item& item = content[i];
    item.isbn.reset();
    item.shelf.reset();
    item.acquired.reset();
    item.keywords.clear();
    item.ratings.clear();
    item.original = below(random, content.size());
    item.related.clear();
    // Steps between targets keep them apart: the property holds each once.
    std::size_t near = i;
    for (std::size_t step = 0; step < 6; ++step) {
      near = (near + 1 + below(random, 15)) % content.size();
      item.related.push_back(static_cast<std::uint32_t>(near));
    }
    const std::size_t rest = content.size() - 200;
    std::size_t far = 100;
    for (std::size_t step = 0; step < 6; ++step) {
      far += 1 + below(random, rest / 6 - 1);
      item.related.push_back(static_cast<std::uint32_t>((i + far) % content.size()));
    }
  }
}

}  // namespace

const std::vector<Workload>& workloads() {
  static const std::vector<Workload> all = {
      {"library, 1,000", 1000, 9},
      {"library, 10,000", 10000, 9},
      {"library, 100,000", 100000, 7},
      {"library, 1,000,000", 1000000, 3},
      {"deep, 100,000 levels", 100000, 5, chain},
      {"texts, 20,000", 20000, 7, preferTexts},
      {"numbers, 20,000", 20000, 7, preferNumbers},
      {"references, 50,000", 50000, 7, preferReferences},
      {"tree events, 100,000 elements", 100000, 7, nullptr, true},
  };
  return all;
}

Content contentFor(const Workload& workload) {
  Content content = makeContent(workload.elements, kLibrarySeed);
  if (workload.change) workload.change(content);
  return content;
}

}  // namespace kr::zero::bench
