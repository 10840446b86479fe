#include <cstdio>

#include "kr/zero/log/Span.h"

namespace kr::zero::log {

namespace {

const char* nameOf(foundation::log::logging_event_types type) {
  switch (type) {
    case foundation::log::logging_event_types::info:
      return "info";
    case foundation::log::logging_event_types::warning:
      return "warning";
    case foundation::log::logging_event_types::error:
      return "error";
  }
  return "unknown";
}

// What was read from a document must not be able to end the line or to steer a terminal.
std::string withoutControls(std::string_view text) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7F) {
      out += c;
    } else {
      out += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 0xF]};
    }
  }
  return out;
}

// One call per line keeps the lines of several threads apart.
void writeLine(const std::string& line) { (void)std::fputs((line + "\n").c_str(), stderr); }

class StderrSpanListener final : public SpanListener {
 public:
  void onOpen(const Span::Impl& span) override { writeLine("open " + withoutControls(span.getName())); }

  void onContext(const Span::Impl& span, const Span::Impl::Context& context) override {
    const std::string* value = span.findContext(context.key);
    writeLine(std::string(nameOf(context.type)) + " " + withoutControls(span.getName()) + " " +
              withoutControls(context.key) + " = " + withoutControls(*value));
  }

  void onError(const Span::Impl& span) override {
    writeLine("failed " + withoutControls(span.getName()) + " " + withoutControls(span.getError()));
  }
};

}  // namespace

std::shared_ptr<SpanListener> makeStderrSpanListener() { return std::make_shared<StderrSpanListener>(); }

}  // namespace kr::zero::log
