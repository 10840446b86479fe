// Real models of others go through reading and writing unchanged.

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>

#include "EcoreTesting.h"
#include "support/Paths.h"
#include "support/Reading.h"
#include "support/TaggedReading.h"

namespace kr::zero::test {
namespace {

struct RealModel {
  const char* path;
  std::vector<std::string> metaModels;
  std::size_t elements;  ///< 0: not counted by others
};

std::string unpacked(const std::string& path) {
  const std::string command = "xz -dc '" + path + "'";
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  std::string bytes;
  char piece[1 << 16];
  for (std::size_t count; (count = fread(piece, 1, sizeof piece, pipe.get())) > 0;)
    bytes.append(piece, count);
  return bytes;
}

bool isPacked(std::string_view path) { return path.substr(path.size() - 3) == ".xz"; }

class RealModels : public testing::TestWithParam<RealModel> {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists(path())) GTEST_SKIP() << path() << " is not on this machine";
    if (isPacked(path()) && std::system("xz --version > /dev/null") != 0) GTEST_SKIP() << "xz is missing";
  }
  static std::string path() { return modelsDir() + "/" + GetParam().path; }
  static std::string document() { return isPacked(path()) ? unpacked(path()) : readFile(path()); }
};

TEST_P(RealModels, ReadWriteAndReadAgainAsTheSameModel) {
  const MetaModels models = loadFiles(GetParam().metaModels);
  const Model first = models.read(document());
  const Model second = models.read(models.write(first));
  EXPECT_EQ(findDifference(first, second), std::nullopt);
  EXPECT_GT(first.size(), 1u);
  if (GetParam().elements != 0) {
    EXPECT_EQ(first.size(), GetParam().elements);
  }
}

TEST_P(RealModels, AreWrittenTheSameTwice) {
  const MetaModels models = loadFiles(GetParam().metaModels);
  const std::string once = models.write(models.read(document()));
  EXPECT_EQ(models.write(models.read(once)), once);
}

Model readDirect(const MetaModels& models, const Bytes& bytes) {
  const auto parser = makeParser(*models.registry);
  EXPECT_TRUE(parser->parseByteSequence(bytes));
  return parser->takeModel();
}

Model readTagged(const MetaModels& models, const std::string& bytes) {
  const auto parser = makeTaggedParser(*models.registry);
  EXPECT_TRUE(parser->parse(io::ParsingInput::fromString(bytes)));
  return parser->takeModel();
}

// None of these models holds a negative zero, the one thing that the tagged format does not keep.
TEST_P(RealModels, GoThroughBothBinaryFormatsByteForByte) {
  const MetaModels models = loadFiles(GetParam().metaModels);
  const Bytes direct = writeDirect(models.read(document()));
  const std::string tagged = writeTagged(readDirect(models, direct));
  const Model again = readTagged(models, tagged);
  EXPECT_TRUE(writeDirect(again) == direct);
  EXPECT_TRUE(writeTagged(again) == tagged);
  std::cout << GetParam().path << ": " << direct.size() << " bytes direct, " << tagged.size() << " tagged"
            << std::endl;
}

const std::vector<std::string> ecore = {"ecore/Ecore.ecore"};

INSTANTIATE_TEST_SUITE_P(
    All, RealModels,
    testing::Values(
        RealModel{"archimate/Archisurance.archimate", {"archimate/archimate.ecore"}, 1075},
        RealModel{"archimate/archimate.ecore", ecore, 0}, RealModel{"ecore/Ecore.ecore", ecore, 0},
        RealModel{"ecore/GenModel.ecore", ecore, 0}, RealModel{"ecore/XMLType.ecore", ecore, 0},
        RealModel{"ecore/XSD.ecore", ecore, 0}, RealModel{"ecore/extlibrary.ecore", ecore, 0},
        RealModel{"fhir/fhir.ecore", ecore, 0},
        RealModel{"modisco/Bug_318638.kdm", {"modisco/kdm.ecore"}, 3916},
        RealModel{"modisco/Bugzilla.ecore", ecore, 0}, RealModel{"modisco/ClassicModels.ecore", ecore, 0},
        RealModel{"modisco/RelationalDBContent.ecore", ecore, 0},
        RealModel{"modisco/completeModel.javaxmi", {"modisco/java.ecore"}, 1377},
        RealModel{"modisco/java.ecore", ecore, 0}, RealModel{"modisco/kdm.ecore", ecore, 0},
        RealModel{"modisco/test001_java.xmi", {"modisco/java.ecore"}, 1219},
        RealModel{"modisco/test001_kdm.xmi", {"modisco/kdm.ecore"}, 2181},
        RealModel{"modisco/webapp30.ecore", ecore, 0}, RealModel{"neoemf/Java.ecore", ecore, 0},
        RealModel{"neoemf/Sample.ecore", ecore, 0},
        RealModel{"neoemf/sampleStandard.xmi", {"neoemf/Java.ecore"}, 659},
        RealModel{"neoemf/sampleWithId.xmi", {"neoemf/Java.ecore"}, 659},
        RealModel{"palladio/pcm.ecore", ecore, 0}, RealModel{"pivot/Pivot.ecore", ecore, 0},
        RealModel{"railway/railway-repair-1.xmi", {"railway/railway.ecore"}, 742},
        RealModel{"railway/railway-repair-64.xmi.xz", {"railway/railway.ecore"}, 0},
        RealModel{"railway/railway-repair-8.xmi", {"railway/railway.ecore"}, 11500},
        RealModel{"railway/railway-ttc-1.xmi", {"railway/railway-ttc.ecore"}, 1311},
        RealModel{"railway/railway-ttc.ecore", ecore, 0}, RealModel{"railway/railway.ecore", ecore, 0},
        RealModel{"social/initial-1.xmi", {"social/social_network.ecore"}, 1275},
        RealModel{"social/initial-16.xmi", {"social/social_network.ecore"}, 15133},
        RealModel{"social/initial-4.xmi", {"social/social_network.ecore"}, 4351},
        RealModel{"social/social_network.ecore", ecore, 0}, RealModel{"jdtast/JDTAST.ecore", ecore, 0},
        RealModel{"jdtast/set0.xmi.xz", {"jdtast/JDTAST.ecore"}, 69680}),
    [](const testing::TestParamInfo<RealModel>& real) {
      std::string name = real.param.path;
      for (char& c : name)
        if (isalnum(static_cast<unsigned char>(c)) == 0) c = '_';
      return name;
    });

/// The URI of a file's first package; its name where it has none.
std::string firstPackageUri(const std::string& path) {
  const std::string text = readFile(modelsDir() + "/" + path);
  const std::size_t start = text.find("<ecore:EPackage");
  const std::string tag = text.substr(start, text.find('>', start) - start);
  for (const char* attribute : {" nsURI=\"", "nsURI=\"", " name=\""})
    if (const std::size_t at = tag.find(attribute); at != std::string::npos) {
      const std::size_t value = tag.find('"', at) + 1;
      return tag.substr(value, tag.find('"', value) - value);
    }
  return {};
}

/// Every meta model of the folder whose types are all in the folder.
class RealMetaModels : public testing::TestWithParam<std::vector<std::string>> {
 protected:
  void SetUp() override {
    if (!haveModels()) GTEST_SKIP() << modelsDir() << " is not on this machine";
  }
};

TEST_P(RealMetaModels, AreTakenIntoARegistry) {
  const MetaModels models = loadFiles(GetParam());
  EXPECT_FALSE(models.registry->getPackages().empty());
}

TEST_P(RealMetaModels, KeepTheirNumbersWhenPinned) {
  const MetaModels models = loadFiles(GetParam());
  std::vector<NamedText> pinned;
  for (const std::string& path : GetParam())
    pinned.emplace_back(path, ecore::writeEcore(*models.mapping, firstPackageUri(path), true));
  const MetaModels again = loadTexts(pinned);
  std::size_t compared = 0;
  for (const meta::PackageInfo& package : models.registry->getPackages())
    for (const meta::Type type : package.types)
      if (const meta::Class classType(type); classType)
        for (const meta::Property property : classType->getAllProperties()) {
          const meta::Property other = again.property(type->qualifiedName(), property->name());
          ASSERT_TRUE(other) << type->qualifiedName() << "." << property->name();
          EXPECT_EQ(other->getIdentifier(), property->getIdentifier());
          ++compared;
        }
  EXPECT_GT(compared, 0u);
}

using Paths = std::vector<std::string>;
INSTANTIATE_TEST_SUITE_P(
    All, RealMetaModels,
    testing::Values(Paths{"archimate/archimate.ecore"}, Paths{"ecore/Ecore.ecore"},
                    Paths{"ecore/GenModel.ecore", "ecore/Ecore.ecore"},
                    Paths{"ecore/XMLType.ecore", "ecore/Ecore.ecore"}, Paths{"ecore/XSD.ecore"},
                    Paths{"ecore/extlibrary.ecore"}, Paths{"jdtast/JDTAST.ecore"},
                    Paths{"modisco/Bugzilla.ecore"}, Paths{"modisco/ClassicModels.ecore"},
                    Paths{"modisco/RelationalDBContent.ecore"}, Paths{"modisco/java.ecore"},
                    Paths{"modisco/kdm.ecore"}, Paths{"modisco/webapp30.ecore"}, Paths{"neoemf/Sample.ecore"},
                    Paths{"pivot/Pivot.ecore"}, Paths{"railway/railway-ttc.ecore"},
                    Paths{"railway/railway.ecore"}, Paths{"social/social_network.ecore"}));

}  // namespace
}  // namespace kr::zero::test
