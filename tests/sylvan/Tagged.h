/// @file
/// Short ways between tree events and bytes of the tagged format.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "kr/zero/io/BinaryAssembler.h"
#include "kr/zero/io/BinaryFormatter.h"
#include "modeling/sylvan/EventRecorder.h"

namespace kr::zero::test {

using Events = modeling::sylvan::SylvanEventProcessor<void>;
using Primitive = modeling::sylvan::SylvanPrimitive;
using Produce = std::function<void(Events&)>;

inline Primitive u(std::uint64_t value) { return value; }
inline Primitive s(std::int64_t value) { return value; }
inline Primitive text(std::string value) { return value; }

/// The header that every document of the library has: 01, version 1, "kr".
extern const std::string littleHeader;
/// The same with the marker "KR".
extern const std::string bigHeader;

/// "01 20 ff" as three bytes.
std::string fromHex(const std::string& pairs);
/// Three bytes as "01 20 ff".
std::string toHex(const std::string& bytes);
std::vector<std::uint8_t> toVector(const std::string& bytes);

/// What a formatter writes to a string for these events.
std::string write(const Produce& produce);
/// What it writes between the header and the end of a document.
std::string writeBody(const Produce& produce);
/// Hex of writePrimitive alone.
std::string writeOne(const Primitive& value);

/// How a call ended: "success", or the name of the error that it may end in. Other exceptions pass.
std::string endingOf(const std::function<void()>& call);

/// The events of a document as EventPrinter prints them, and how reading ended.
struct Reading {
  std::string ending;
  std::string events;
};
Reading read(const std::string& bytes);
/// The events behind startDocument: only the lines in the document, less two spaces each.
Reading readBody(const std::string& body, const std::string& header = littleHeader);

std::string print(const modeling::sylvan::EventRecorder& recorder);
modeling::sylvan::EventRecorder record(const Produce& produce);

/// Passes events on to another processor and throws Thrown in place of the n-th (from 0).
class Thrown {};
class ThrowingAt : public Events {
 public:
  ThrowingAt(Events& target, std::size_t index) : target_(target), index_(index) {}

  void startDocument(const Primitive& value) override { count(), target_.startDocument(value); }
  void endDocument() override { count(), target_.endDocument(); }
  void startStruct() override { count(), target_.startStruct(); }
  void endStruct() override { count(), target_.endStruct(); }
  void startNamedEntry(const Primitive& name) override { count(), target_.startNamedEntry(name); }
  void endNamedEntry() override { count(), target_.endNamedEntry(); }
  void startSequence() override { count(), target_.startSequence(); }
  void endSequence() override { count(), target_.endSequence(); }
  void startMetadata() override { count(), target_.startMetadata(); }
  void endMetadata() override { count(), target_.endMetadata(); }
  void writePrimitive(const Primitive& value) override { count(), target_.writePrimitive(value); }

 private:
  void count() {
    if (index_-- == 0) throw Thrown();
  }

  Events& target_;
  std::size_t index_;
};

/// A document written by hand.
struct GoldenTagged {
  std::string name;
  std::string bytes;
  Produce produce;  ///< the events that it reads as
  bool isWritten;   ///< whether these events are written as these bytes
};
const std::vector<GoldenTagged>& goldenTagged();

}  // namespace kr::zero::test
