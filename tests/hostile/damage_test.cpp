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
#include "support/RandomDamage.h"
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
