// What becomes of the bytes of a document once they are delivered.
#include <gtest/gtest.h>

#include "direct/BinaryEventProcessor.h"
#include "kr/zero/KeptMemory.h"
#include "kr/zero/io/BinarySerializer.h"
#include "kr/zero/io/Errors.h"
#include "kr/zero/meta/MetaModelBuilder.h"

namespace kr::zero::io {
namespace {

class KeptBytes : public testing::Test {
 protected:
  KeptBytes() {
    meta::MetaModelBuilder package("urn:note", "note");
    package.classType("Note").property("text", "String");
    package.registerIn(registry_);
  }

  Model makeModel(std::size_t size) const {
    Model model(registry_);
    model.createRoot("note.Note").set("text", std::string(size, 'x'));
    return model;
  }
  void write(std::size_t size) {
    std::vector<unsigned char> bytes;
    serializer_.serialize(makeModel(size), SerializationOutput::toByteSequence(bytes));
    EXPECT_GT(bytes.size(), size);
  }
  const values::ByteBuffer& kept() const {
    return static_cast<BinaryEventProcessor&>(serializer_.getEventProcessor()).getBytes();
  }

  meta::MetaRegistry registry_;
  BinarySerializer serializer_;
};

TEST_F(KeptBytes, ThoseOfASmallDocumentStayForTheNext) {
  write(1000);
  const std::size_t capacity = kept().capacity();
  EXPECT_GE(capacity, 1000u);
  write(1000);
  EXPECT_EQ(kept().capacity(), capacity);
}

TEST_F(KeptBytes, ThoseOfALargeDocumentStayToo) {
  write(std::size_t{1} << 20);
  const std::size_t capacity = kept().capacity();
  EXPECT_GT(capacity, std::size_t{1} << 20);
  write(1000);
  EXPECT_EQ(kept().capacity(), capacity);
}

TEST_F(KeptBytes, ADocumentMayBeTakenWhereItWasWritten) {
  std::vector<unsigned char> delivered;
  serializer_.serialize(makeModel(1000), SerializationOutput::toByteSequence(delivered));
  const std::span<const std::uint8_t> inPlace = serializer_.serializeInPlace(makeModel(1000));
  EXPECT_EQ(std::vector<unsigned char>(inPlace.begin(), inPlace.end()), delivered);
  EXPECT_EQ(inPlace.data(), kept().data());
}

TEST_F(KeptBytes, AfterADocumentInPlaceTheNextIsDelivered) {
  Model broken = makeModel(10);
  broken.createRoot("note.Note").setIdentity("a", "b");
  broken.createRoot("note.Note").setIdentity("a", "b");
  EXPECT_THROW(serializer_.serializeInPlace(broken), SerializeError);
  serializer_.serializeInPlace(makeModel(10));
  write(1000);
}

}  // namespace
}  // namespace kr::zero::io
