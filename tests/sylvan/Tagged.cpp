#include "Tagged.h"

#include <bit>
#include <cmath>
#include <limits>
#include <new>
#include <sstream>
#include <stdexcept>
#include <variant>

#include "kr/zero/io/Errors.h"
#include "modeling/sylvan/EventPrinter.h"
#include "modeling/sylvan/grammar/GrammarException.h"
#include "support/PieceBuf.h"

namespace kr::zero::test {

using modeling::sylvan::EventPrinter;
using modeling::sylvan::EventRecorder;

const std::string littleHeader = fromHex("01 20 01 30 02 6b 72");
const std::string bigHeader = fromHex("01 20 01 30 02 4b 52");

std::string fromHex(const std::string& pairs) {
  std::istringstream in(pairs);
  std::string bytes;
  for (std::string pair; in >> pair;) bytes += static_cast<char>(std::stoul(pair, nullptr, 16));
  return bytes;
}

std::string toHex(const std::string& bytes) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string pairs;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (!pairs.empty()) pairs += ' ';
    pairs += digits[byte >> 4];
    pairs += digits[byte & 15];
  }
  return pairs;
}

std::vector<std::uint8_t> toVector(const std::string& bytes) { return {bytes.begin(), bytes.end()}; }

std::string write(const Produce& produce) {
  std::string bytes;
  io::BinaryFormatter formatter(io::SerializationOutput::toString(bytes));
  produce(formatter);
  return bytes;
}

std::string writeBody(const Produce& produce) {
  const std::string bytes = write([&](Events& to) {
    to.startDocument(nullptr);
    produce(to);
    to.endDocument();
  });
  return bytes.substr(littleHeader.size(), bytes.size() - littleHeader.size() - 1);
}

std::string writeOne(const Primitive& value) {
  return toHex(write([&](Events& to) { to.writePrimitive(value); }));
}

std::string endingOf(const std::function<void()>& call) {
  try {
    call();
    return "success";
  } catch (const io::Error<kr0::io::CorruptInput>&) {
    return "CorruptInput";
  } catch (const io::Error<kr0::io::UstringNotSupported>&) {
    return "UstringNotSupported";
  } catch (const io::Error<kr0::io::IntermediateFormatNotSupported>&) {
    return "IntermediateFormatNotSupported";
  } catch (const modeling::sylvan::grammar::GrammarException&) {
    return "GrammarException";
  } catch (const std::length_error&) {
    return "length_error";
  } catch (const std::bad_alloc&) {
    return "bad_alloc";
  } catch (const std::bad_variant_access&) {
    return "bad_variant_access";
  } catch (const std::ios_base::failure&) {
    return "stream failure";
  } catch (const BufferFailure&) {
    return "BufferFailure";
  } catch (const Thrown&) {
    return "Thrown";
  }
}

Reading read(const std::string& bytes) {
  std::ostringstream events;
  EventPrinter printer(events);
  io::BinaryAssembler assembler(&printer);
  const std::string ending = endingOf([&] { assembler.visitString(bytes); });
  return {ending, events.str()};
}

Reading readBody(const std::string& body, const std::string& header) {
  const Reading whole = read(header + body);
  std::istringstream lines(whole.events);
  Reading inner{whole.ending, {}};
  for (std::string line; std::getline(lines, line);)
    if (line.starts_with("  ")) inner.events += line.substr(2) + '\n';
  return inner;
}

std::string print(const EventRecorder& recorder) {
  std::ostringstream events;
  EventPrinter printer(events);
  recorder.replay(printer);
  return events.str();
}

EventRecorder record(const Produce& produce) {
  EventRecorder recorder;
  produce(recorder);
  return recorder;
}

namespace {

Produce inDocument(const Produce& body) {
  return [body](Events& to) {
    to.startDocument(nullptr);
    body(to);
    to.endDocument();
  };
}

Produce each(const std::vector<Primitive>& values) {
  return inDocument([values](Events& to) {
    for (const Primitive& value : values) to.writePrimitive(value);
  });
}

GoldenTagged written(const std::string& name, const std::string& body, const Produce& produce) {
  return {name, littleHeader + fromHex(body) + fromHex("02"), produce, true};
}

GoldenTagged readOnly(const std::string& name, const std::string& bytes, const Produce& produce) {
  return {name, bytes, produce, false};
}

void produceModelLike(Events& to) {
  to.startMetadata();
  to.startNamedEntry(text("version"));
  to.writePrimitive(u(1));
  to.endNamedEntry();
  to.endMetadata();
  to.startSequence();
  to.startStruct();
  to.startNamedEntry(text("a"));
  to.writePrimitive(true);
  to.endNamedEntry();
  to.endStruct();
  to.endSequence();
}

std::vector<GoldenTagged> makeWritten() {
  const std::string byteString(255, 'x');
  const std::string longString(256, 'y');
  const auto hexOf = [](const std::string& bytes) { return toHex(bytes); };
  return {
      {"headerOnly", littleHeader, [](Events& to) { to.startDocument(nullptr); }, true},
      written("empty", "", inDocument([](Events&) {})),
      written("modelLike",
              "07 09 30 07 76 65 72 73 69 6f 6e 20 01 10 08 "  // version
              "05 03 09 30 01 61 12 10 04 06",                 // a sequence of one struct
              inDocument(produceModelLike)),
      written("sequence", "05 21 2c 01 06", inDocument([](Events& to) {
                to.startSequence();
                to.writePrimitive(u(300));
                to.endSequence();
              })),
      written("metadata", "07 09 30 01 78 28 01 10 08", inDocument([](Events& to) {
                to.startMetadata();
                to.startNamedEntry(text("x"));
                to.writePrimitive(s(-1));
                to.endNamedEntry();
                to.endMetadata();
              })),
      written("struct", "03 09 30 01 61 12 10 04", inDocument([](Events& to) {
                to.startStruct();
                to.startNamedEntry(text("a"));
                to.writePrimitive(true);
                to.endNamedEntry();
                to.endStruct();
              })),
      written("plain", "11 12 13 15 16", each({false, true, s(0), 0.0, nullptr})),
      written("reals",
              "14 00 00 00 00 00 00 f0 3f "  // 1.0
              "14 00 00 00 00 00 00 f0 ff "  // -infinity
              "14 01 00 00 00 00 00 f8 7f "  // a NaN with a payload
              "14 01 00 00 00 00 00 00 80",  // the largest negative one
              each({1.0, -std::numeric_limits<double>::infinity(), std::bit_cast<double>(0x7FF8000000000001u),
                    -std::numeric_limits<double>::denorm_min()})),
      written("unsigned",
              "20 01 20 ff 21 00 01 21 ff ff 22 00 00 01 23 ff ff ff ff 24 00 00 00 00 01 "
              "25 ff ff ff ff ff ff 26 ff ff ff ff ff ff ff 27 00 00 00 00 00 00 00 01 "
              "27 ff ff ff ff ff ff ff ff",
              each({u(1), u(255), u(256), u(65535), u(65536), u(0xFFFFFFFF), u(0x100000000),
                    u(0xFFFFFFFFFFFF), u(0xFFFFFFFFFFFFFF), u(0x100000000000000), u(0xFFFFFFFFFFFFFFFF)})),
      written("signed", "28 01 28 ff 29 00 01 2f ff ff ff ff ff ff ff 7f 2f 00 00 00 00 00 00 00 80",
              each({s(-1), s(-255), s(-256), s(-std::numeric_limits<std::int64_t>::max()),
                    s(std::numeric_limits<std::int64_t>::min())})),
      written("strings", "30 00 30 03 61 00 ff", each({text(""), text(std::string("a\0\xFF", 3))})),
      written("longestShortString", "30 ff " + hexOf(byteString), each({text(byteString)})),
      written("shortestLongString", "31 00 01 00 00 00 00 00 00 " + hexOf(longString),
              each({text(longString)})),
      written("unbalanced", "04 10 06 08 03", inDocument([](Events& to) {
                to.endStruct();
                to.endNamedEntry();
                to.endSequence();
                to.endMetadata();
                to.startStruct();
              })),
      written("names", "09 12 10 09 20 05 10 09 16 10", inDocument([](Events& to) {
                for (const Primitive& name : {Primitive(true), u(5), Primitive(nullptr)}) {
                  to.startNamedEntry(name);
                  to.endNamedEntry();
                }
              })),
  };
}

std::vector<GoldenTagged> makeReadOnly() {
  const std::string end = fromHex("02");
  return {
      readOnly("bigEndian",
               bigHeader + fromHex("21 01 00 2a 01 02 03 14 3f f0 00 00 00 00 00 00 "
                                   "31 00 00 00 00 00 00 00 02 61 62 02"),
               each({u(256), s(-0x010203), 1.0, text("ab")})),
      readOnly("widerThanNeeded",
               littleHeader + fromHex("23 05 00 00 00 20 00 28 00 31 01 00 00 00 00 00 00 00 61 02"),
               each({u(5), u(0), s(0), text("a")})),
      readOnly("negativeZeroReal", littleHeader + fromHex("14 00 00 00 00 00 00 00 80 02"), each({-0.0})),
      readOnly("wrappedNegative", littleHeader + fromHex("2f ff ff ff ff ff ff ff ff 02"), each({s(1)})),
      readOnly("primitiveInStruct", littleHeader + fromHex("03 12 04 02"), inDocument([](Events& to) {
                 to.startStruct();
                 to.writePrimitive(true);
                 to.endStruct();
               })),
      readOnly("afterTheEnd", littleHeader + fromHex("12 02 ff ff"), each({true})),
      readOnly("otherFirstByte", fromHex("7f 20 01 30 02 6b 72 02"), inDocument([](Events&) {})),
      readOnly("otherVersion", fromHex("01 30 01 39 30 02 6b 72 02"), inDocument([](Events&) {})),
      readOnly("markerIsNoString", fromHex("01 20 01 13 21 01 00 02"), each({u(256)})),
  };
}

}  // namespace

const std::vector<GoldenTagged>& goldenTagged() {
  static const std::vector<GoldenTagged> documents = [] {
    std::vector<GoldenTagged> all = makeWritten();
    for (GoldenTagged& document : makeReadOnly()) all.push_back(std::move(document));
    return all;
  }();
  return documents;
}

}  // namespace kr::zero::test
