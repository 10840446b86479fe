// Any bytes for the reader of tree events, without any meta model: what it hands on can be written, and is
// then read as the same events.
#include <sstream>
#include <stdexcept>
#include <string>

#include "common/Fuzzing.h"
#include "common/MemoryUse.h"
#include "common/Mutations.h"
#include "hostile/DamageCheck.h"
#include "kr/zero/io/BinaryAssembler.h"
#include "kr/zero/io/BinaryFormatter.h"
#include "kr/zero/io/Errors.h"
#include "modeling/sylvan/EventRecorder.h"
#include "modeling/sylvan/NullEventProcessor.h"
#include "sylvan/NaiveReader.h"

namespace kr::zero::fuzz {

const Layout kLayout{.choices = 0, .documents = Documents::tagged};

namespace {

using modeling::sylvan::EventRecorder;
using Events = modeling::sylvan::SylvanEventProcessor<void>;

/// Whether the bytes are a document to its end mark. What is documented for others is caught.
/// @param isReserved gets whether a text asked for more memory than there are bytes.
bool read(const std::string& bytes, Events& events, bool& isReserved) {
  io::BinaryAssembler assembler(&events);
  isReserved = false;
  try {
    io::ParsingInput::fromString(bytes).visitInput(assembler);
    return assembler.hasEnded();
  } catch (const io::Error<kr0::io::CorruptInput>&) {
    require(*assembler.getErrorDetail() != '\0', "it is said what is wrong");
    isReserved = assembler.getErrorDetail() == std::string("String cut short");
  } catch (const std::length_error&) {
    isReserved = true;
  } catch (const std::bad_alloc&) {
    isReserved = true;
  }
  require(assembler.getByteOffset() <= bytes.size(), "no more bytes are taken than there are");
  return false;
}

void readMeasured(const std::string& bytes) {
  modeling::sylvan::NullEventProcessor nobody;
  const MemoryUse use;
  bool isReserved = false;
  read(bytes, nobody, isReserved);
  // The input is copied, and the largest text lies in a buffer that grew to it.
  use.requireBounded(bytes.size(), {.floor = test::memoryFloor,
                                    .perByte = 4,
                                    .largest = test::memoryFloor,
                                    .largestPerByte = 2,
                                    .reserved = isReserved ? use.getLargestRequest() : 0});
}

// Reads as peek() and get() for each byte would.
void requireSameAsNaive(const std::string& bytes, bool isWhole, const EventRecorder& events) {
  EventRecorder expected;
  bool ended = true;
  std::istringstream stream(bytes);
  try {
    test::NaiveReader(stream, expected).readDocument();
  } catch (const test::NaiveCorrupt&) {
    ended = false;
  } catch (const std::length_error&) {
    ended = false;
  }
  require(events == expected, "the events are those that the plainest reader finds");
  require(ended || !isWhole, "no document is whole that the plainest reader refuses");
}

std::string write(const EventRecorder& events) {
  std::string bytes;
  io::BinaryFormatter formatter(io::SerializationOutput::toString(bytes));
  events.replay(formatter);
  return bytes;
}

}  // namespace

void examine(Input input) {
  const std::string bytes(input.begin(), input.end());
  readMeasured(bytes);
  EventRecorder events;
  bool isReserved = false;
  const bool isWhole = read(bytes, events, isReserved);
  requireSameAsNaive(bytes, isWhole, events);
  if (!isWhole) return;
  const std::string written = write(events);
  EventRecorder again;
  require(read(written, again, isReserved), "what was written is a document");
  require(write(again) == written, "writing again gives the same bytes");
}

}  // namespace kr::zero::fuzz
