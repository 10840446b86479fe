#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "foundation/core/except.h"
#include "resource_core/BaseMsgID.h"

namespace {

using foundation::core::except::Exception;
using foundation::core::except::IException;
using foundation::core::except::IMsgIDException;
using foundation::core::except::IUserException;
using resource_core::BaseMsgID;
using resource_core::getMessageText;
using resource_core::setMessageLookup;

struct FileNotFound {};
using FileNotFoundException = Exception<FileNotFound, std::exception, void>;

const std::u16string kFile = u"b\u00FCcher.krb";

BaseMsgID fileNotFound() { return {"kr0:io", "FileNotFound", {kFile}}; }

[[noreturn]] void throwFileNotFound() { throw FileNotFoundException(fileNotFound()); }

template <class Base>
std::string whatCaughtAs() {
  try {
    throwFileNotFound();
  } catch (const Base& error) {
    return error.what();
  }
}

const std::string kText =
    "The file \"b\xC3\xBC"
    "cher.krb\" was not found or cannot be opened.";

TEST(Exceptions, AreCaughtAsThemselvesAndAsEachOfTheirBases) {
  EXPECT_EQ(whatCaughtAs<FileNotFoundException>(), kText);
  EXPECT_EQ(whatCaughtAs<IMsgIDException>(), kText);
  EXPECT_EQ(whatCaughtAs<IUserException>(), kText);
  EXPECT_EQ(whatCaughtAs<IException>(), kText);
  EXPECT_EQ(whatCaughtAs<std::exception>(), kText);
}

TEST(Exceptions, AreCaughtAsBothOfBoostsBases) {
  EXPECT_THROW(throwFileNotFound(), boost::exception);
  EXPECT_THROW(throwFileNotFound(), boost::exception_detail::clone_base);
}

TEST(Exceptions, OfTwoMessagesAreTwoTypes) {
  struct Other {};
  EXPECT_THROW(
      {
        try {
          throwFileNotFound();
        } catch (const Exception<Other, std::exception, void>&) {
          FAIL() << "caught as another message";
        }
      },
      FileNotFoundException);
}

TEST(Exceptions, CarryTheirMessageIdentifier) {
  try {
    throwFileNotFound();
  } catch (const IMsgIDException& error) {
    EXPECT_EQ(error.GetMsgID().getCatalog(), "kr0:io");
    EXPECT_EQ(error.GetMsgID().getIdentifier(), "FileNotFound");
    ASSERT_EQ(error.GetMsgID().getArguments().size(), 1u);
    EXPECT_EQ(std::get<2>(error.GetMsgID().getArguments()[0]), kFile);
    EXPECT_EQ(IMsgIDException::get_error_id(error.GetMsgID()), "kr0:io:FileNotFound");
  }
}

TEST(Exceptions, GiveTheirTextAsUtf16) {
  try {
    throwFileNotFound();
  } catch (const IMsgIDException& error) {
    EXPECT_EQ(error.GetUnicodeMessageTxt(),
              u"The file \"" + kFile + u"\" was not found or cannot be opened.");
  }
}

TEST(Exceptions, AreCopiedAndRethrownAsWhatTheyAre) {
  const FileNotFoundException original(fileNotFound());
  const std::unique_ptr<const boost::exception_detail::clone_base> clone(original.clone());
  try {
    clone->rethrow();
  } catch (const FileNotFoundException& error) {
    EXPECT_EQ(error.what(), kText);
    EXPECT_EQ(error.GetMsgID().getFullIdentifier(), "kr0:io:FileNotFound");
    return;
  }
}

TEST(Exceptions, TextThatIsNotWellFormedIsShownWithReplacements) {
  const FileNotFoundException error(
      BaseMsgID("kr0:io", "FileNotFound", {std::u16string{u'a', 0xD800, u'b'}}));
  EXPECT_STREQ(error.what(),
               "The file \"a\xEF\xBF\xBD"
               "b\" was not found or cannot be opened.");
  const FileNotFoundException trail(
      BaseMsgID("kr0:io", "FileNotFound", {std::u16string{0xDC00, 0xD83D, 0xDE00}}));
  EXPECT_STREQ(trail.what(), "The file \"\xEF\xBF\xBD\xF0\x9F\x98\x80\" was not found or cannot be opened.");
}

TEST(MessageIdentifiers, AreComposedOfCatalogAndIdentifier) {
  EXPECT_EQ(BaseMsgID("kr0:io", "CorruptInput").getFullIdentifier(), "kr0:io:CorruptInput");
  EXPECT_EQ(BaseMsgID("kr0:messages", "X").getFullIdentifier(), "kr0:messages:X");
}

TEST(MessageIdentifiers, OfTheOlderTwoPartFormLoseTheirSuffix) {
  EXPECT_EQ(BaseMsgID("ZENTOR:legacy_two_part", "X").getFullIdentifier(), "ZENTOR:X");
}

TEST(MessageIdentifiers, OfOtherCatalogsKeepASuffixOfThatName) {
  EXPECT_EQ(BaseMsgID("zentor:legacy_two_part", "X").getFullIdentifier(), "zentor:legacy_two_part:X");
  EXPECT_EQ(BaseMsgID("kr0:legacy_two_part", "X").getFullIdentifier(), "kr0:legacy_two_part:X");
  EXPECT_EQ(BaseMsgID("A:ZENTOR:legacy_two_part", "X").getFullIdentifier(), "A:ZENTOR:legacy_two_part:X");
  EXPECT_EQ(BaseMsgID("ZENTOR:legacy_two_part:io", "X").getFullIdentifier(), "ZENTOR:legacy_two_part:io:X");
  EXPECT_EQ(BaseMsgID(":legacy_two_part", "X").getFullIdentifier(), ":legacy_two_part:X");
  EXPECT_EQ(BaseMsgID("ZENTOR", "X").getFullIdentifier(), "ZENTOR:X");
}

TEST(MessageTexts, EveryErrorOfTheCatalogHasAnEnglishSentence) {
  for (const char* identifier : {"CorruptInput", "IntermediateFormatNotSupported", "UstringNotSupported",
                                 "FileNotFound", "StringNotSupportedByParser", "UstringNotSupportedByParser",
                                 "CannotSerialize", "StringNotSupported"}) {
    const std::u16string text = getMessageText(BaseMsgID("kr0:io", identifier, {u"x"}));
    EXPECT_TRUE(text.ends_with(u'.')) << identifier;
    EXPECT_EQ(text.find(u"kr0:io"), text.npos) << identifier;
  }
  EXPECT_EQ(getMessageText(BaseMsgID("kr0:messages", "CannotCastIncompatibleTypes", {u"library.Book"})),
            u"A value of the type \"library.Book\" does not fit the type that is asked for.");
}

TEST(MessageTexts, ArgumentsOfAllKindsArePutInPlace) {
  const auto text = [](resource_core::MsgArgument argument) {
    return getMessageText(BaseMsgID("kr0:io", "FileNotFound", {std::move(argument)}));
  };
  EXPECT_EQ(text(u"w"), u"The file \"w\" was not found or cannot be opened.");
  EXPECT_EQ(text(std::string("n\xC3\xA9")), u"The file \"n\u00E9\" was not found or cannot be opened.");
  EXPECT_EQ(text(-7LL), u"The file \"-7\" was not found or cannot be opened.");
}

TEST(MessageTexts, AMalformedArgumentIsShownWithReplacements) {
  EXPECT_EQ(getMessageText(BaseMsgID("kr0:io", "FileNotFound", {std::string("a\xFF")})),
            u"The file \"a\uFFFD\" was not found or cannot be opened.");
}

TEST(MessageTexts, AnArgumentThatIsMissingLeavesItsPlaceEmpty) {
  EXPECT_EQ(getMessageText(BaseMsgID("kr0:io", "FileNotFound")),
            u"The file \"\" was not found or cannot be opened.");
}

TEST(MessageTexts, AnArgumentIsNotReadAsAPlace) {
  EXPECT_EQ(getMessageText(BaseMsgID("kr0:io", "FileNotFound", {u"{0}"})),
            u"The file \"{0}\" was not found or cannot be opened.");
}

TEST(MessageTexts, AnUnknownMessageGivesIdentifierAndArguments) {
  EXPECT_EQ(getMessageText(BaseMsgID("kr0:io", "Unheard")), u"kr0:io:Unheard");
  EXPECT_EQ(getMessageText(BaseMsgID("kr0:io", "Unheard", {5LL, std::string("a"), u"b"})),
            u"kr0:io:Unheard: 5, a, b");
}

// Takes the look-up away again, whatever a test does.
class MessageLookups : public ::testing::Test {
 protected:
  void TearDown() override { setMessageLookup({}); }
};

TEST_F(MessageLookups, OfAHostComeFirst) {
  setMessageLookup([](const BaseMsgID& id) -> std::optional<std::u16string> {
    return id.getIdentifier() == "FileNotFound"
               ? std::optional(u"Datei fehlt: " + std::get<2>(id.getArguments()[0]))
               : std::nullopt;
  });
  EXPECT_EQ(getMessageText(fileNotFound()), u"Datei fehlt: " + kFile);
  EXPECT_STREQ(FileNotFoundException(fileNotFound()).what(),
               "Datei fehlt: b\xC3\xBC"
               "cher.krb");
}

TEST_F(MessageLookups, ThatDoNotKnowAMessageLeaveItToTheEnglishCatalog) {
  setMessageLookup([](const BaseMsgID&) { return std::nullopt; });
  EXPECT_EQ(getMessageText(BaseMsgID("kr0:io", "CannotSerialize")),
            u"The model could not be written to the output.");
}

TEST_F(MessageLookups, AreTakenAwayByAnEmptyFunction) {
  setMessageLookup([](const BaseMsgID&) { return u"mine"; });
  ASSERT_EQ(getMessageText(BaseMsgID("kr0:io", "CannotSerialize")), u"mine");
  setMessageLookup({});
  EXPECT_EQ(getMessageText(BaseMsgID("kr0:io", "CannotSerialize")),
            u"The model could not be written to the output.");
}

TEST_F(MessageLookups, ThatThrowDoNotHideTheError) {
  setMessageLookup(
      [](const BaseMsgID&) -> std::optional<std::u16string> { throw std::runtime_error("mine"); });
  EXPECT_EQ(whatCaughtAs<FileNotFoundException>(), kText);
}

TEST_F(MessageLookups, MayAskForTextsThemselves) {
  setMessageLookup([](const BaseMsgID& id) -> std::optional<std::u16string> {
    if (id.getIdentifier() != "Outer") return std::nullopt;
    return u"outer of " + getMessageText(BaseMsgID("kr0:io", "Inner"));
  });
  EXPECT_EQ(getMessageText(BaseMsgID("kr0:io", "Outer")), u"outer of kr0:io:Inner");
}

TEST_F(MessageLookups, AreReplacedSafelyWhileOthersRead) {
  std::atomic<bool> stop{false};
  std::atomic<int> foreign{0};
  std::atomic<int> read{0};
  std::vector<std::thread> readers;
  for (int i = 0; i < 4; ++i) {
    readers.emplace_back([&] {
      while (!stop) {
        const std::u16string text = getMessageText(BaseMsgID("kr0:io", "CannotSerialize"));
        if (text != u"The model could not be written to the output." && text != std::u16string(100, u'x'))
          ++foreign;
        ++read;
      }
    });
  }
  for (int i = 0; i < 2000 || read < 2000; ++i) {
    setMessageLookup([text = std::u16string(100, u'x')](const BaseMsgID&) { return text; });
    setMessageLookup({});
  }
  stop = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(foreign, 0);
}

}  // namespace
