#include "kr/zero/log/Span.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace kr::zero::log {
namespace {

using foundation::log::logging_event_types;

TEST(Spans, HoldTheirNameAndNothingElseAtFirst) {
  const Span span("parse");
  EXPECT_EQ(span->getName(), "parse");
  EXPECT_TRUE(span->getContexts().empty());
  EXPECT_TRUE(span->getChildren().empty());
  EXPECT_EQ(span->getError(), "");
}

TEST(Spans, CopiesShareTheSameSpan) {
  const Span span("parse");
  const Span copy = span;
  copy->addContext(logging_event_types::info, "key", std::string("value"));
  ASSERT_NE(span->findContext("key"), nullptr);
  EXPECT_EQ(*span->findContext("key"), "value");
}

TEST(Spans, KeepTheirChildrenInOrder) {
  const Span span("parse");
  span->openChild("first");
  span->openChild("second")->addContext(logging_event_types::info, "key", std::string("value"));
  ASSERT_EQ(span->getChildren().size(), 2u);
  EXPECT_EQ(span->getChildren()[0]->getName(), "first");
  EXPECT_EQ(*span->getChildren()[1]->findContext("key"), "value");
}

TEST(Spans, AChildOutlivesItsParent) {
  const Span child = Span("parse")->openChild("step");
  child->recordError("kr0:io:CorruptInput");
  EXPECT_EQ(child->getError(), "kr0:io:CorruptInput");
}

TEST(Spans, KeepContextsWithTypeAndOrder) {
  const Span span("parse");
  span->addContext(logging_event_types::warning, "a", std::string("1"));
  span->addContext(logging_event_types::error, "b", std::u16string(u"2"));
  ASSERT_EQ(span->getContexts().size(), 2u);
  EXPECT_EQ(span->getContexts()[0].type, logging_event_types::warning);
  EXPECT_EQ(span->getContexts()[0].key, "a");
  EXPECT_EQ(std::get<std::string>(span->getContexts()[0].value), "1");
  EXPECT_EQ(std::get<std::u16string>(span->getContexts()[1].value), u"2");
}

TEST(Spans, TheNewestValueOfAKeyCounts) {
  const Span span("parse");
  span->addContext(logging_event_types::info, "key", std::string("old"));
  span->addContext(logging_event_types::info, "key", std::string("new"));
  span->addContext(logging_event_types::info, "other", std::string("x"));
  EXPECT_EQ(*span->findContext("key"), "new");
}

TEST(Spans, AKeyThatWasNeverAddedIsNotFound) {
  const Span span("parse");
  span->openChild("step")->addContext(logging_event_types::info, "below", std::string("x"));
  EXPECT_EQ(span->findContext("key"), nullptr);
  EXPECT_EQ(span->findContext("below"), nullptr);
  EXPECT_EQ(span->findContextBelow("key"), nullptr);
}

TEST(Spans, WideValuesAreFoundAsUtf8) {
  const Span span("parse");
  span->addContext(logging_event_types::info, "file-name", std::u16string(u"b\u00FCcher"));
  EXPECT_EQ(*span->findContext("file-name"),
            "b\xC3\xBC"
            "cher");
}

TEST(Spans, MalformedValuesAreFoundWithReplacements) {
  const Span span("parse");
  span->addContext(logging_event_types::info, "wide", std::u16string{u'a', 0xD800});
  span->addContext(logging_event_types::info, "narrow", std::string("a\xFF"));
  EXPECT_EQ(*span->findContext("wide"), "a\xEF\xBF\xBD");
  EXPECT_EQ(*span->findContext("narrow"), "a\xEF\xBF\xBD");
  EXPECT_EQ(std::get<std::string>(span->getContexts()[1].value), "a\xFF");
}

TEST(Spans, OnlySurrogatesThatStandAloneAreReplaced) {
  const std::string smile = "\xF0\x9F\x98\x80";
  const std::string replaced = "\xEF\xBF\xBD";
  const auto shown = [](std::u16string value) {
    const Span span("parse");
    span->addContext(logging_event_types::info, "wide", value);
    return *span->findContext("wide");
  };
  EXPECT_EQ(shown({0xD83D, 0xDE00, 0xD83D}), smile + replaced);
  EXPECT_EQ(shown({0xDE00, 0xD83D, 0xDE00}), replaced + smile);
  EXPECT_EQ(shown({0xD83D, 0xD83D, 0xDE00}), replaced + smile);
  EXPECT_EQ(shown({0xD83D, 0xDE00, 0xDE00, u'a'}), smile + replaced + "a");
}

TEST(Spans, TheOwnValueIsFoundBeforeThoseBelow) {
  const Span span("parse");
  span->openChild("step")->addContext(logging_event_types::info, "key", std::string("below"));
  EXPECT_EQ(*span->findContextBelow("key"), "below");
  span->addContext(logging_event_types::info, "key", std::string("own"));
  EXPECT_EQ(*span->findContextBelow("key"), "own");
}

TEST(Spans, BelowTheNewestChildIsAskedFirstWithAllBelowIt) {
  const Span span("parse");
  span->openChild("old")->addContext(logging_event_types::info, "key", std::string("old"));
  span->openChild("new")->openChild("deep")->addContext(logging_event_types::info, "key",
                                                        std::string("deep"));
  EXPECT_EQ(*span->findContextBelow("key"), "deep");
}

class Recorder : public SpanListener {
 public:
  std::vector<std::string> calls;
  void onOpen(const Span::Impl& span) override { calls.push_back("open " + span.getName()); }
  void onContext(const Span::Impl& span, const Span::Impl::Context& context) override {
    calls.push_back(span.getName() + " " + context.key + "=" + *span.findContext(context.key));
  }
  void onError(const Span::Impl& span) override {
    calls.push_back(span.getName() + " failed " + span.getError());
  }
};

class SpanListeners : public ::testing::Test {
 protected:
  void TearDown() override { setSpanListener(nullptr); }
};

TEST_F(SpanListeners, HearOfEverySpanContextAndError) {
  const auto recorder = std::make_shared<Recorder>();
  setSpanListener(recorder);
  const Span span("parse");
  const Span child = span->openChild("step");
  child->addContext(logging_event_types::error, "error-message", std::string("cut short"));
  child->recordError("kr0:io:CorruptInput");
  EXPECT_EQ(recorder->calls,
            (std::vector<std::string>{"open parse", "open step", "step error-message=cut short",
                                      "step failed kr0:io:CorruptInput"}));
}

TEST_F(SpanListeners, HearNothingOnceTakenAway) {
  const auto recorder = std::make_shared<Recorder>();
  setSpanListener(recorder);
  setSpanListener(nullptr);
  const Span span("parse");
  EXPECT_TRUE(recorder->calls.empty());
  EXPECT_EQ(recorder.use_count(), 1);
}

TEST_F(SpanListeners, ThatThrowDoNotDisturbTheOperation) {
  class Throwing : public SpanListener {
    void onOpen(const Span::Impl&) override { throw std::runtime_error("open"); }
    void onContext(const Span::Impl&, const Span::Impl::Context&) override {
      throw std::runtime_error("context");
    }
    void onError(const Span::Impl&) override { throw std::runtime_error("error"); }
  };
  setSpanListener(std::make_shared<Throwing>());
  const Span span("parse");
  const Span child = span->openChild("step");
  child->addContext(logging_event_types::info, "key", std::string("value"));
  child->recordError("X");
  EXPECT_EQ(*child->findContext("key"), "value");
  EXPECT_EQ(child->getError(), "X");
}

TEST_F(SpanListeners, AreReplacedSafelyWhileSpansAreOpened) {
  class Counter : public SpanListener {
    void onOpen(const Span::Impl& span) override { EXPECT_EQ(span.getName(), "parse"); }
    void onContext(const Span::Impl&, const Span::Impl::Context&) override {}
    void onError(const Span::Impl&) override {}
  };
  std::vector<std::thread> workers;
  for (int i = 0; i < 4; ++i) {
    workers.emplace_back([] {
      for (int n = 0; n < 2000; ++n) Span("parse")->recordError("X");
    });
  }
  for (int i = 0; i < 2000; ++i) setSpanListener(i % 2 == 0 ? std::make_shared<Counter>() : nullptr);
  for (std::thread& worker : workers) worker.join();
}

TEST_F(SpanListeners, TheOneForStandardErrorWritesALineForEachCall) {
  setSpanListener(makeStderrSpanListener());
  ::testing::internal::CaptureStderr();
  const Span span("parse");
  span->addContext(logging_event_types::info, "file-name", std::u16string(u"b\u00FCcher"));
  span->recordError("kr0:io:CorruptInput");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "open parse\n"
            "info parse file-name = b\xC3\xBC"
            "cher\n"
            "failed parse kr0:io:CorruptInput\n");
}

TEST_F(SpanListeners, TheOneForStandardErrorLetsNoControlCharactersThrough) {
  setSpanListener(makeStderrSpanListener());
  ::testing::internal::CaptureStderr();
  Span("parse")->addContext(logging_event_types::warning, "name", std::string("a \nb\x1B[2J\x7F"));
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "open parse\nwarning parse name = a \\x0ab\\x1b[2J\\x7f\n");
}

}  // namespace
}  // namespace kr::zero::log
