// Archives damaged at random, in the file and under their checksums: whatever they are, they are read as the
// model that was written or refused with an Error, in little memory. KR0_MUTANTS sets the number of mutants;
// builds with AddressSanitizer make fewer unless told otherwise.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kr0/kr0.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>

#include "archive/ArchiveTesting.h"
#include "archive/GoldenArchives.h"
#include "archive/MallocMeter.h"
#include "support/Environment.h"
#include "support/Paths.h"
#include "support/RandomDamage.h"
#include "support/Reading.h"

namespace kr::zero::test {

namespace {

constexpr archive::ArchiveLimits kLimits{.bytes = std::uint64_t{1} << 20};
// The limit for each of the two parts, twice as they grow by doubling, what a decompressor keeps, and a model
// of a document at the limit.
constexpr std::size_t kMostMemory = std::size_t{64} << 20;

Bytes bytesOf(const std::string& text) { return {text.begin(), text.end()}; }
std::string textOf(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

/// Reads archives one after another and counts what becomes of them.
class Check {
 public:
  explicit Check(std::string name) : name_(std::move(name)), path_(temporaryPath(name_ + ".krz")) {}

  /// @param mayBeAnother whether the checksums are those of what was damaged, so that another model may come
  /// out.
  void examine(const std::string& bytes, bool mayBeAnother) {
    overwrite(bytes);
    const MallocMeter meter;
    try {
      const archive::LoadedArchive loaded = archive::loadArchive(path_, kLimits);
      if (!mayBeAnother) {
        EXPECT_EQ(findDifference(loaded.model, goldenArchiveModel()), std::nullopt);
      }
      ++endings_["read"];
    } catch (const Error& error) {
      EXPECT_EQ(error.getDetails().file, path_) << error.what();
      EXPECT_NE(error.getCode(), ErrorCode::unknown) << error.what();
      EXPECT_THAT(error.what(), testing::HasSubstr(path_));
      ++endings_[std::string(nameOf(error.getCode()))];
    }
    EXPECT_LE(meter.getPeakBytes(), kMostMemory);
    ++examined_;
    if (testing::Test::HasFailure()) ADD_FAILURE() << "for the bytes " << toHex(bytesOf(bytes));
  }

  std::uint64_t getExamined() const { return examined_; }
  std::uint64_t getCount(const std::string& ending) const {
    const auto found = endings_.find(ending);
    return found == endings_.end() ? 0 : found->second;
  }
  void report() const {
    std::cout << name_ << ": " << examined_ << " mutants:";
    for (const auto& [ending, count] : endings_) std::cout << ' ' << count << ' ' << ending << ';';
    std::cout << std::endl;
  }

 private:
  // In place: a file that is cut to nothing first is written out to the disk when it is closed.
  void overwrite(const std::string& bytes) {
    if (examined_ == 0) writeFile(path_, bytes);
    {
      std::fstream file(path_, std::ios::in | std::ios::out | std::ios::binary);
      file << bytes;
    }
    std::filesystem::resize_file(path_, bytes.size());
  }

  std::string name_;
  std::string path_;
  std::uint64_t examined_ = 0;
  std::map<std::string, std::uint64_t> endings_;
};

std::uint64_t mutants() {
  return numberFromEnvironment("KR0_MUTANTS", underAddressSanitizer() ? 40000 : 200000) / 20;
}

/// A part of both golden archives, as texts to damage.
template <class Get>
RandomDamage damageOf(Get get, const char* purpose) {
  std::vector<Bytes> texts;
  for (const GoldenArchive& golden : goldenArchives())
    texts.push_back(bytesOf(get(ArchiveParts(golden.join()))));
  return RandomDamage(std::move(texts), seedFor(purpose));
}

std::string numberText(std::size_t number) { return "\"bytes\":" + std::to_string(number); }

}  // namespace

TEST(ArchiveRandomDamage, OfTheFileIsFound) {
  Check check("file");
  RandomDamage damage = damageOf([](const ArchiveParts& parts) { return parts.join(); }, "damaged archives");
  while (check.getExamined() < mutants() && !HasFailure()) check.examine(textOf(damage.next()), false);
  check.report();
  EXPECT_GT(check.getCount("damaged"), check.getExamined() / 2);
}

TEST(ArchiveRandomDamage, OfAManifestWithItsChecksumIsFound) {
  Check check("manifest");
  RandomDamage damage =
      damageOf([](const ArchiveParts& parts) { return parts.manifest; }, "damaged manifests");
  ArchiveParts parts(goldenArchives().front().join());
  while (check.getExamined() < mutants() && !HasFailure()) {
    parts.manifest = textOf(damage.next());
    check.examine(parts.join(), false);
  }
  check.report();
  EXPECT_GT(check.getCount("damaged"), check.getExamined() / 2);
}

TEST(ArchiveRandomDamage, OfAMetaModelWithItsChecksumsIsFound) {
  Check check("meta model");
  const auto text = [](const ArchiveParts& parts) { return decompressed(parts.metaModel); };
  RandomDamage damage = damageOf(text, "damaged meta models");
  const ArchiveParts golden(goldenArchives().front().join());
  const std::string before = text(golden);
  while (check.getExamined() < mutants() && !HasFailure()) {
    const std::string after = textOf(damage.next());
    ArchiveParts parts = golden;
    parts.metaModel = compressed(after);
    parts.manifest = replaced(parts.manifest, digitsOf(before), digitsOf(after));
    for (int i = 0; i < 2; ++i)
      parts.manifest =
          replaced(parts.manifest, numberText(before.size()), "\"bytes\": " + std::to_string(after.size()));
    check.examine(parts.join(), true);
  }
  check.report();
  EXPECT_GT(check.getExamined(), check.getCount("read"));
}

TEST(ArchiveRandomDamage, OfADocumentWithItsChecksumsIsFound) {
  Check check("document");
  const auto text = [](const ArchiveParts& parts) { return decompressed(parts.document); };
  RandomDamage damage = damageOf(text, "damaged documents");
  std::vector<ArchiveParts> golden;
  for (const GoldenArchive& each : goldenArchives()) golden.emplace_back(each.join());
  while (check.getExamined() < mutants() && !HasFailure()) {
    const std::string after = textOf(damage.next());
    ArchiveParts parts = golden[check.getExamined() % golden.size()];
    const std::string before = text(parts);
    parts.document = compressed(after);
    parts.manifest = replaced(parts.manifest, digitsOf(before), digitsOf(after));
    parts.manifest = replaced(parts.manifest, numberText(before.size()), numberText(after.size()));
    check.examine(parts.join(), true);
  }
  check.report();
  EXPECT_GT(check.getCount("read"), 0u);
  EXPECT_GT(check.getExamined(), check.getCount("read"));
}

}  // namespace kr::zero::test
