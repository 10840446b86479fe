// Every error of the library: its identifier, its class, and what it leaves on a span.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/exception/exception.hpp>
#include <functional>
#include <ostream>

#include "errors/MessageIds.h"
#include "errors/Raise.h"

namespace kr::zero::io::errors {

namespace {

using foundation::core::except::IException;
using foundation::core::except::IMsgIDException;
using foundation::core::except::IUserException;
using resource_core::BaseMsgID;
using testing::ElementsAre;
using testing::IsEmpty;

struct Message {
  const char* full;
  BaseMsgID id;
  std::function<void()> raise;
  std::function<bool(const std::exception&)> isItsClass;
  bool hasArgument = false;
};

std::ostream& operator<<(std::ostream& out, const Message& message) { return out << message.full; }

template <class Tag>
Message message(const char* full, const BaseMsgID& id, bool hasArgument = false) {
  return {full, id, [id] { raise<Tag>(id); },
          [](const std::exception& e) { return dynamic_cast<const Error<Tag>*>(&e) != nullptr; },
          hasArgument};
}

std::vector<Message> allMessages() {
  return {
      message<kr0::io::CorruptInput>("kr0:io:CorruptInput", corruptInput()),
      message<kr0::io::IntermediateFormatNotSupported>("kr0:io:IntermediateFormatNotSupported",
                                                       intermediateFormatNotSupported()),
      message<kr0::io::UstringNotSupported>("kr0:io:UstringNotSupported", ustringNotSupported()),
      message<kr0::io::FileNotFound>("kr0:io:FileNotFound", fileNotFound(u"a\u00E4"), true),
      message<kr0::io::StringNotSupportedByParser>("kr0:io:StringNotSupportedByParser",
                                                   stringNotSupportedByParser()),
      message<kr0::io::UstringNotSupportedByParser>("kr0:io:UstringNotSupportedByParser",
                                                    ustringNotSupportedByParser()),
      message<kr0::io::CannotSerialize>("kr0:io:CannotSerialize", cannotSerialize()),
      message<kr0::io::StringNotSupported>("kr0:io:StringNotSupported", stringNotSupported()),
      message<kr0::messages::CannotCastIncompatibleTypes>("kr0:messages:CannotCastIncompatibleTypes",
                                                          cannotCastIncompatibleTypes(u"a\u00E4"), true),
  };
}

class MessageTest : public testing::TestWithParam<Message> {};

// Calls `use` with the exception that `raise` throws.
void withRaised(const std::function<void()>& raise, const std::function<void(const std::exception&)>& use) {
  bool caught = false;
  try {
    raise();
  } catch (const std::exception& e) {
    caught = true;
    use(e);
  }
  EXPECT_TRUE(caught);
}

}  // namespace

TEST_P(MessageTest, HasItsFullIdentifier) {
  EXPECT_EQ(IMsgIDException::get_error_id(GetParam().id), GetParam().full);
}

TEST_P(MessageTest, CarriesAUtf16ArgumentOrNone) {
  if (GetParam().hasArgument)
    EXPECT_THAT(GetParam().id.getArguments(), ElementsAre(resource_core::MsgArgument(u"a\u00E4")));
  else
    EXPECT_THAT(GetParam().id.getArguments(), IsEmpty());
}

TEST_P(MessageTest, IsRaisedAsTheClassOfItsTag) {
  withRaised(GetParam().raise, [](const std::exception& e) {
    for (const Message& other : allMessages())
      EXPECT_EQ(other.isItsClass(e), std::string(other.full) == GetParam().full) << other.full;
  });
}

TEST_P(MessageTest, CarriesItsIdentifier) {
  withRaised(GetParam().raise, [](const std::exception& e) {
    const auto& message = dynamic_cast<const IMsgIDException&>(e);
    EXPECT_EQ(message.GetMsgID().getFullIdentifier(), GetParam().full);
    EXPECT_EQ(message.GetMsgID().getArguments(), GetParam().id.getArguments());
  });
}

TEST_P(MessageTest, IsCaughtAsEachOfItsBases) {
  EXPECT_THROW(GetParam().raise(), IMsgIDException);
  EXPECT_THROW(GetParam().raise(), IUserException);
  EXPECT_THROW(GetParam().raise(), IException);
  EXPECT_THROW(GetParam().raise(), boost::exception_detail::clone_base);
  EXPECT_THROW(GetParam().raise(), boost::exception);
  EXPECT_THROW(GetParam().raise(), std::exception);
}

TEST_P(MessageTest, HasOneTextInBothForms) {
  withRaised(GetParam().raise, [](const std::exception& e) {
    const auto& message = dynamic_cast<const IMsgIDException&>(e);
    EXPECT_STRNE(message.what(), "");
    EXPECT_EQ(toUtf8(message.GetUnicodeMessageTxt()), message.what());
    EXPECT_STREQ(e.what(), message.what());
  });
}

INSTANTIATE_TEST_SUITE_P(All, MessageTest, testing::ValuesIn(allMessages()), [](const auto& parameter) {
  const std::string full = parameter.param.full;
  return full.substr(full.rfind(':') + 1);
});

namespace {

// The keys and values of a span, in the order in which they were added.
std::vector<std::string> contextsOf(const log::Span& span) {
  std::vector<std::string> contexts;
  for (const auto& context : span->getContexts()) {
    EXPECT_EQ(context.type, foundation::log::logging_event_types::error);
    contexts.push_back(context.key + " = " + std::get<std::string>(context.value));
  }
  return contexts;
}

struct Recorded {
  std::vector<std::string> contexts;
  std::string error;
  std::string what;
};

template <class Tag>
Recorded raiseOn(const BaseMsgID& id, const std::string& detail) {
  const log::Span span("step");
  try {
    raiseWithSpan<Tag>(id, span, detail);
  } catch (const Error<Tag>& e) {
    return {contextsOf(span), span->getError(), e.what()};
  }
}

}  // namespace

TEST(RaiseWithSpan, AddsDetailThenTextThenTheIdentifier) {
  const Recorded recorded = raiseOn<kr0::io::CorruptInput>(corruptInput(), "Invalid version number");
  EXPECT_THAT(recorded.contexts,
              ElementsAre("error-message = Invalid version number", "exception-message = " + recorded.what));
  EXPECT_EQ(recorded.error, "kr0:io:CorruptInput");
}

TEST(RaiseWithSpan, AddsNoDetailThatIsEmpty) {
  const Recorded recorded = raiseOn<kr0::io::FileNotFound>(fileNotFound(u"a.krb"), "");
  EXPECT_THAT(recorded.contexts, ElementsAre("exception-message = " + recorded.what));
  EXPECT_EQ(recorded.error, "kr0:io:FileNotFound");
}

TEST(RaiseWithSpan, RaisesBothRefusalsOfStrings) {
  const Recorded narrow = raiseOn<kr0::io::StringNotSupportedByParser>(stringNotSupportedByParser(), "n");
  EXPECT_EQ(narrow.error, "kr0:io:StringNotSupportedByParser");
  const Recorded wide = raiseOn<kr0::io::UstringNotSupportedByParser>(ustringNotSupportedByParser(), "w");
  EXPECT_EQ(wide.error, "kr0:io:UstringNotSupportedByParser");
}

TEST(RaiseWithSpan, TellsAListenerInThatOrder) {
  struct Listener : log::SpanListener {
    std::vector<std::string> heard;
    void onOpen(const log::Span::Impl&) override {}
    void onContext(const log::Span::Impl&, const log::Span::Impl::Context& context) override {
      heard.push_back(context.key);
    }
    void onError(const log::Span::Impl& span) override { heard.push_back(span.getError()); }
  };
  const auto listener = std::make_shared<Listener>();
  log::setSpanListener(listener);
  raiseOn<kr0::io::CorruptInput>(corruptInput(), "detail");
  log::setSpanListener(nullptr);
  EXPECT_THAT(listener->heard, ElementsAre("error-message", "exception-message", "kr0:io:CorruptInput"));
}

}  // namespace kr::zero::io::errors
