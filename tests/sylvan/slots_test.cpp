// The order of virtual operations is part of the interfaces: a host that brings a framework of its own and
// this library find each other's operations by their slots.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "Tagged.h"
#include "kr/zero/io/ParsingInput.h"
#include "kr/zero/io/SerializationOutput.h"
#include "kr/zero/io/Sink.h"
#include "modeling/sylvan/NullEventProcessor.h"

namespace kr::zero::test {
namespace {

using Input = io::ParsingInput::Visitor;
using Output = io::SerializationOutput::Visitor;
using Source = io::BinaryAssembler::Source;

static_assert(std::has_virtual_destructor_v<Events>);
static_assert(std::is_copy_assignable_v<Events>);

TEST(EventProcessors, AreCopiedWithoutTheirInterfaceStandingInTheWay) {
  struct Counting : modeling::sylvan::NullEventProcessor {
    int starts = 0;
    void startStruct() override { ++starts; }
  };
  Counting first;
  first.startStruct();
  Counting second(first);
  second.startStruct();
  first = second;
  EXPECT_EQ(first.starts, 2);
}

#if defined(__GXX_ABI_VERSION) && defined(__x86_64__)

// Here a pointer to a virtual operation is one more than its offset in the table, which begins with the two
// forms of the destructor.
template <class Operation>
std::size_t slotOf(Operation operation) {
  std::size_t words[2];
  static_assert(sizeof(operation) == sizeof(words));
  std::memcpy(words, &operation, sizeof(words));
  return (words[0] - 1) / sizeof(void*);
}

TEST(Slots, OfEventProcessorsStandInTheirOrder) {
  EXPECT_EQ(slotOf(&Events::startDocument), 2u);
  EXPECT_EQ(slotOf(&Events::endDocument), 3u);
  EXPECT_EQ(slotOf(&Events::startStruct), 4u);
  EXPECT_EQ(slotOf(&Events::endStruct), 5u);
  EXPECT_EQ(slotOf(&Events::startNamedEntry), 6u);
  EXPECT_EQ(slotOf(&Events::endNamedEntry), 7u);
  EXPECT_EQ(slotOf(&Events::startSequence), 8u);
  EXPECT_EQ(slotOf(&Events::endSequence), 9u);
  EXPECT_EQ(slotOf(&Events::startMetadata), 10u);
  EXPECT_EQ(slotOf(&Events::endMetadata), 11u);
  EXPECT_EQ(slotOf(&Events::writePrimitive), 12u);
}

TEST(Slots, OfSinksStandInTheirOrder) {
  EXPECT_EQ(slotOf(&io::Sink::write), 2u);
  EXPECT_EQ(slotOf(&io::Sink::writeByte), 3u);
  EXPECT_EQ(slotOf(&io::Sink::flush), 4u);
}

TEST(Slots, OfSourcesStandInTheirOrder) {
  EXPECT_EQ(slotOf(&Source::isEmpty), 2u);
  EXPECT_EQ(slotOf(&Source::stream), 3u);
}

TEST(Slots, OfOutputsVisitorsStandInTheirOrder) {
  EXPECT_EQ(slotOf(&Output::visitFile), 2u);
  EXPECT_EQ(slotOf(&Output::visitStream), 3u);
  EXPECT_EQ(slotOf(&Output::visitString), 4u);
  EXPECT_EQ(slotOf(&Output::visitUString), 5u);
  EXPECT_EQ(slotOf(&Output::visitIntermediateFormat), 6u);
  EXPECT_EQ(slotOf(&Output::visitLittleEndianByteSequence), 7u);
  EXPECT_EQ(slotOf(&Output::visitValue), 8u);
}

TEST(Slots, OfInputsVisitorsStandInTheirOrder) {
  EXPECT_EQ(slotOf(&Input::visitFile), 2u);
  EXPECT_EQ(slotOf(&Input::visitStream), 3u);
  EXPECT_EQ(slotOf(&Input::visitString), 4u);
  EXPECT_EQ(slotOf(&Input::visitUString), 5u);
  EXPECT_EQ(slotOf(&Input::visitIntermediateFormat), 6u);
  EXPECT_EQ(slotOf(&Input::visitLittleEndianByteSequence), 7u);
  EXPECT_EQ(slotOf(&Input::visitValue), 8u);
}

#endif

}  // namespace
}  // namespace kr::zero::test
