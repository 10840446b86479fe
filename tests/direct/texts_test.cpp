// Texts of every length, by the larger units and by the named calls: copied in blocks, looked at in blocks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "direct/DirectModel.h"
#include "kr/zero/io/BinarySerializer.h"
#include "kr/zero/io/Errors.h"
#include "support/DirectBytes.h"
#include "support/NamedRoad.h"

namespace kr::zero::io {

namespace {

using test::Bytes;

Bytes documentOf(const std::string& text) { return test::inN().number(1).text(text).end(); }

Model modelOf(const std::string& text) {
  Model model(test::directRegistry());
  model.createRoot("p.N").setText("name", text);
  return model;
}

template <class Serializer>
Bytes written(const Model& model) {
  Bytes bytes;
  Serializer().serialize(model, SerializationOutput::toByteSequence(bytes));
  return bytes;
}

void expectBothWays(const std::string& text) {
  const Bytes document = documentOf(text);
  EXPECT_EQ(written<BinarySerializer>(modelOf(text)), document) << text.size();
  EXPECT_EQ(written<test::NamedDirectSerializer>(modelOf(text)), document) << text.size();
  const auto parser = test::directParser();
  ASSERT_TRUE(parser->parseByteSequence(document)) << text.size();
  EXPECT_EQ(parser->takeModel().getRoots().front().getText("name"), text) << text.size();
}

}  // namespace

TEST(DirectTexts, AsciiOfAnyLengthComesBack) {
  std::string text;
  for (int size = 0; size <= 300; ++size) {
    expectBothWays(text);
    text.push_back(static_cast<char>(1 + size % 127));
  }
}

TEST(DirectTexts, AnyOtherCharacterComesBackWhereverItStands) {
  for (std::size_t size = 0; size <= 36; ++size)
    for (std::size_t at = 0; at <= size; ++at)
      for (const char* other : {"\xC3\xBC", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"}) {
        std::string text(size, 'x');
        text.insert(at, other);
        expectBothWays(text);
      }
}

TEST(DirectTexts, AByteThatIsNoTextIsFoundWhereverItStands) {
  for (std::size_t size = 1; size <= 40; ++size)
    for (std::size_t at = 0; at < size; ++at) {
      std::string text(size, 'x');
      text[at] = '\xFF';
      const auto parser = test::directParser();
      EXPECT_THROW(static_cast<void>(parser->parseByteSequence(documentOf(text))),
                   Error<kr0::io::CorruptInput>)
          << size << " " << at;
      EXPECT_THAT(parser->describeFailure(), testing::HasSubstr("Text is not well-formed UTF-8"));
    }
}

}  // namespace kr::zero::io
