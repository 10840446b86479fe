// Damaged documents: every byte of the golden ones set to every other value, every pair of bits of their
// first bytes turned over, and random damage. KR0_MUTANTS sets the number of random mutants; builds with
// AddressSanitizer make fewer unless told otherwise.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iostream>

#include "hostile/DamageCheck.h"
#include "support/AllocationMeter.h"
#include "support/Environment.h"
#include "support/GoldenDocuments.h"
#include "support/Random.h"
#include "support/SampleModel.h"

namespace kr::zero::test {

namespace {

constexpr std::size_t smallDocument = 256;

void report(const DamageCheck& check) { std::cout << check.describe() << std::endl; }

// Sets the byte at each of the positions to each other value.
void setEveryByte(const Bytes& document, DamageCheck& check) {
  Bytes mutant = document;
  for (std::size_t i = 0; i < document.size(); ++i) {
    for (unsigned change = 1; change < 256 && !testing::Test::HasFailure(); ++change) {
      mutant[i] = static_cast<std::uint8_t>(document[i] ^ change);
      check.examine(mutant);
    }
    mutant[i] = document[i];
  }
}

void turnBit(Bytes& bytes, std::size_t bit) {
  bytes[bit / 8] = static_cast<std::uint8_t>(bytes[bit / 8] ^ (1u << bit % 8));
}

void turnEveryPairOfBits(const Bytes& document, std::size_t bytes, DamageCheck& check) {
  const std::size_t bits = 8 * std::min(bytes, document.size());
  Bytes mutant = document;
  for (std::size_t a = 0; a < bits; ++a) {
    turnBit(mutant, a);
    for (std::size_t b = a + 1; b < bits && !testing::Test::HasFailure(); ++b) {
      turnBit(mutant, b);
      check.examine(mutant);
      turnBit(mutant, b);
    }
    turnBit(mutant, a);
  }
}

// The bodies of all golden documents in one.
Bytes everythingDocument() {
  Bytes all = goldenDocument("one empty element");
  const std::size_t header = DirectBytes().header({"urn:g"}).bytes().size();
  for (const GoldenDocument& golden : goldenDocuments())
    if (golden.bytes.size() > header)
      all.insert(all.end(), golden.bytes.begin() + static_cast<std::ptrdiff_t>(header), golden.bytes.end());
  return all;
}

// Damages documents at random: one to three of the small operations below.
class RandomDamage {
 public:
  RandomDamage(std::vector<Bytes> documents, std::uint64_t seed)
      : documents_(std::move(documents)), random_(seed) {}

  Bytes next() {
    Bytes bytes = random_.pick(documents_);
    for (std::size_t n = random_.between(1, 3); n > 0; --n) damage(bytes);
    return bytes;
  }

 private:
  using Position = Bytes::iterator;

  void damage(Bytes& bytes) {
    if (bytes.empty()) return;
    switch (random_.below(8)) {
      case 0:
        *somewhere(bytes) = static_cast<std::uint8_t>(random_.below(256));
        break;
      case 1:
        turnBit(bytes, random_.below(bytes.size() * 8));
        break;
      case 2:
        insertRun(bytes, Bytes(random_.between(1, 4), static_cast<std::uint8_t>(random_.below(256))));
        break;
      case 3:
        bytes.resize(random_.below(bytes.size()));
        break;
      case 4:
        duplicateRun(bytes);
        break;
      case 5:
        eraseRun(bytes);
        break;
      case 6:
        splice(bytes);
        break;
      default:
        insertRun(bytes, someNumber());
    }
  }

  Position somewhere(Bytes& bytes) {
    return bytes.begin() + static_cast<std::ptrdiff_t>(random_.below(bytes.size()));
  }

  void insertRun(Bytes& bytes, const Bytes& run) { bytes.insert(somewhere(bytes), run.begin(), run.end()); }

  // Up to 4 bytes, cut at the end of the document.
  std::pair<Position, Position> someRun(Bytes& bytes) {
    const Position begin = somewhere(bytes);
    const auto left = bytes.end() - begin;
    return {begin,
            begin + std::min<std::ptrdiff_t>(left, static_cast<std::ptrdiff_t>(random_.between(1, 4)))};
  }

  void duplicateRun(Bytes& bytes) {
    const auto [begin, end] = someRun(bytes);
    const Bytes run(begin, end);
    bytes.insert(begin, run.begin(), run.end());
  }

  void eraseRun(Bytes& bytes) {
    const auto [begin, end] = someRun(bytes);
    bytes.erase(begin, end);
  }

  // The rest of another document in place of this one's.
  void splice(Bytes& bytes) {
    const Bytes& other = random_.pick(documents_);
    bytes.erase(somewhere(bytes), bytes.end());
    bytes.insert(bytes.end(), other.begin() + static_cast<std::ptrdiff_t>(random_.below(other.size())),
                 other.end());
  }

  // A base-128 number of the sort that lengths and counts should not be.
  Bytes someNumber() {
    const std::uint64_t around = std::uint64_t{1} << random_.below(64);
    return DirectBytes().number(around + random_.below(5) - 2);
  }

  std::vector<Bytes> documents_;
  Random random_;
};

}  // namespace

TEST(Damage, TheMeterWatches) { ASSERT_TRUE(AllocationMeter::isWatching()); }

TEST(Damage, EveryByteOfEverySmallDocumentMayHoldAnyValue) {
  DamageCheck check(goldenRegistry(), goldenDocument("references"));
  for (const GoldenDocument& golden : goldenDocuments()) {
    ASSERT_LE(golden.bytes.size(), smallDocument) << golden.name;
    setEveryByte(golden.bytes, check);
    ASSERT_FALSE(HasFailure()) << golden.name;
  }
  report(check);
  EXPECT_GT(check.getExamined(), 150000u);
  EXPECT_GT(check.getCount(Ending::success), 1000u);
  EXPECT_GT(check.getCount(Ending::corruptInput), 1000u);
  EXPECT_GT(check.getCount(Ending::refused), 1000u);
  EXPECT_GT(check.getCount(Ending::unknownProperty), 1000u);
  EXPECT_GT(check.getCount(Ending::numberCutShort), 0u);
  EXPECT_GT(check.getCount(Ending::valueError), 0u);
}

TEST(Damage, EveryByteOfALargerDocumentMayHoldAnyValue) {
  if (underAddressSanitizer()) GTEST_SKIP() << "for builds without AddressSanitizer: takes too long here";
  const Bytes document = everythingDocument();
  ASSERT_LE(document.size(), 1024u);
  DamageCheck check(goldenRegistry(), document);
  setEveryByte(document, check);
  report(check);
  EXPECT_GT(check.getExamined(), 100000u);
}

TEST(Damage, EveryPairOfBitsOfTheFirst16BytesMayTurnOver) {
  DamageCheck check(goldenRegistry(), goldenDocument("children"));
  const std::size_t bytes = underAddressSanitizer() ? 8 : 16;
  for (const GoldenDocument& golden : goldenDocuments()) {
    turnEveryPairOfBits(golden.bytes, bytes, check);
    ASSERT_FALSE(HasFailure()) << golden.name;
  }
  report(check);
  EXPECT_GT(check.getExamined(), underAddressSanitizer() ? 20000u : 100000u);
}

TEST(Damage, RandomDamageToSmallDocumentsIsFound) {
  const std::uint64_t mutants =
      numberFromEnvironment("KR0_MUTANTS", underAddressSanitizer() ? 40000 : 400000);
  std::vector<Bytes> documents;
  for (const GoldenDocument& golden : goldenDocuments()) documents.push_back(golden.bytes);
  documents.push_back(everythingDocument());
  RandomDamage damage(std::move(documents), seedFor("random damage to small documents"));
  DamageCheck check(goldenRegistry(), goldenDocument("datatypes"));
  while (check.getExamined() < mutants && !HasFailure()) check.examine(damage.next());
  report(check);
}

TEST(Damage, RandomDamageToTheSampleModelIsFound) {
  const std::uint64_t mutants =
      numberFromEnvironment("KR0_MUTANTS", underAddressSanitizer() ? 10000 : 100000) / 4;
  const Bytes sample = writeDirect(makeSample());
  RandomDamage damage({sample}, seedFor("random damage to the sample model"));
  DamageCheck check(sampleRegistry(), sample);
  while (check.getExamined() < mutants && !HasFailure()) check.examine(damage.next());
  report(check);
}

}  // namespace kr::zero::test
