// Larger units of the tagged format: which bytes are which unit, and what is left to events.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>

#include "Tagged.h"
#include "kr/zero/io/TreeUnitTarget.h"
#include "modeling/sylvan/EventRecorder.h"
#include "sylvan/StreamBytes.h"
#include "sylvan/UnitRoad.h"

namespace kr::zero::test {
namespace {

using io::TreeValue;
using modeling::sylvan::SylvanEventCode;

std::string showValue(const TreeValue& value) {
  switch (value.kind) {
    case TreeValue::Kind::boolean:
      return value.bits == 0 ? "false" : value.bits == 1 ? "true" : "neither false nor true";
    case TreeValue::Kind::null:
      return "null " + std::to_string(value.bits);
    case TreeValue::Kind::real:
      return "real " + std::to_string(std::bit_cast<double>(value.bits));
    case TreeValue::Kind::unsignedInteger:
      return "unsigned " + std::to_string(value.bits);
    case TreeValue::Kind::signedInteger:
      return "signed " + std::to_string(static_cast<std::int64_t>(value.bits));
    case TreeValue::Kind::text:
      return std::string(value.text);
  }
  return "no kind";
}

/// Writes down each unit with the bytes that are taken when it comes, and takes it unless told not to.
class UnitCalls final : public io::TreeUnitTarget {
 public:
  explicit UnitCalls(const io::tagged::StreamBytes& bytes) : bytes_(bytes) {}

  std::vector<std::string> calls;
  std::vector<std::uint64_t> offsets;
  bool takesAny = true;
  std::string refused;  ///< how the unit begins that is not taken; empty for none
  std::vector<SylvanEventCode> way{SylvanEventCode::startDocument};

  bool takesUnits() const noexcept override { return takesAny; }
  std::vector<SylvanEventCode> listWay() const override { return way; }

  bool openObject(std::string_view type, std::string_view id1, std::string_view id2) override {
    return note({"object", type, id1, id2});
  }
  bool openDatatypeValue() override { return note({"datatype value"}); }
  bool closeStruct() override { return note({"end of struct"}); }
  bool openEntry(std::string_view name) override { return note({"entry", name}); }
  bool closeEntry() override { return note({"end of entry"}); }
  bool openList() override { return note({"list"}); }
  bool closeList() override { return note({"end of list"}); }
  bool addEntry(std::string_view name, const TreeValue& value) override {
    return note({"value of", name, showValue(value)});
  }
  bool addItem(const TreeValue& value) override { return note({"item", showValue(value)}); }
  bool addReference(std::string_view type, std::string_view id1, std::string_view id2,
                    const std::string_view* qualifier) override {
    return note({"reference", type, id1, id2, qualifier == nullptr ? "without qualifier" : *qualifier});
  }

 private:
  bool note(std::initializer_list<std::string_view> words) {
    std::string call;
    for (const std::string_view word : words) (call += call.empty() ? "" : " ") += word;
    if (!refused.empty() && call.starts_with(refused)) return false;
    calls.push_back(call);
    offsets.push_back(bytes_.getOffset());
    return true;
  }

  const io::tagged::StreamBytes& bytes_;
};

/// A stretch of memory that is sent as units.
class UnitRoadTest : public ::testing::Test {
 protected:
  void send(const std::string& bytes) {
    io::BinaryAssembler::StringSource source(bytes);
    memory.forget();
    memory.attach(source, false);
    units.calls.clear();
    units.offsets.clear();
    itemsToSend = io::tagged::UnitRoad(units, transformer).send(memory);
    left = std::string(memory.getNext(), memory.getEnd());
    memory.finish();
  }
  void expectNothingSent(const std::string& bytes) {
    send(bytes);
    EXPECT_EQ(units.calls, std::vector<std::string>()) << toHex(bytes);
    EXPECT_EQ(toHex(left), toHex(bytes));
    EXPECT_EQ(itemsToSend, 1u) << toHex(bytes);
  }

  io::tagged::StreamBytes memory;
  UnitCalls units{memory};
  modeling::sylvan::EventRecorder events;
  io::BinaryKRGrammarTransformer transformer{&events};
  std::string left;
  std::size_t itemsToSend = 0;
};

const std::string typeEntry = "09 30 04 74 79 70 65 30 02 78 78 10 ";
const std::string idEntry = "09 30 02 69 64 05 30 01 78 30 03 78 78 78 06 10 ";
const std::string qualifierEntry = "09 30 09 71 75 61 6c 69 66 69 65 72 30 04 78 78 78 78 10 ";

struct GoldenUnit {
  std::string bytes;  ///< in hex
  std::string call;
};

/// Of these no byte behind is looked at.
const std::vector<GoldenUnit>& goldenUnits() {
  static const std::vector<GoldenUnit> all{
      {"10", "end of entry"},
      {"05", "list"},
      {"06", "end of list"},
      {"04", "end of struct"},
      {"11", "item false"},
      {"12", "item true"},
      {"13", "item signed 0"},
      {"15", "item real 0.000000"},
      {"16", "item null 0"},
      {"30 00", "item "},
      {"30 02 61 62", "item ab"},
      {"31 00 00 00 00 00 00 00 00", "item "},
      {"31 02 00 00 00 00 00 00 00 61 62", "item ab"},
      {"27 ff ff ff ff ff ff ff ff", "item unsigned 18446744073709551615"},
      {"2f 00 00 00 00 00 00 00 80", "item signed -9223372036854775808"},
      {"14 00 00 00 00 00 00 f8 3f", "item real 1.500000"},
      {"09 30 01 61 11 10", "value of a false"},
      {"09 30 00 30 01 62 10", "value of  b"},
      {"09 31 01 00 00 00 00 00 00 00 61 16 10", "value of a null 0"},
      {"09 30 01 61 27 01 00 00 00 00 00 00 80 10", "value of a unsigned 9223372036854775809"},
      {"07 " + typeEntry + "08 03", "object xx  "},
      {"07 " + typeEntry + idEntry + "08 03", "object xx x xxx"},
      {"03 " + typeEntry + idEntry + "04", "reference xx x xxx without qualifier"},
      {"03 " + typeEntry + idEntry + qualifierEntry + "04", "reference xx x xxx xxxx"},
  };
  return all;
}

/// Where the unit stands when its call comes: an entry with its primitive taken, others behind their end.
std::size_t offsetOfCall(const GoldenUnit& unit) {
  return fromHex(unit.bytes).size() - (unit.call.starts_with("value of") ? 1 : 0);
}

TEST_F(UnitRoadTest, EachUnitIsSentWithTheBytesUpToItsCallTaken) {
  for (const GoldenUnit& unit : goldenUnits()) {
    send(fromHex(unit.bytes));
    EXPECT_EQ(units.calls, std::vector{unit.call}) << unit.bytes;
    EXPECT_EQ(units.offsets, std::vector<std::uint64_t>{offsetOfCall(unit)}) << unit.bytes;
    EXPECT_EQ(toHex(left), "") << unit.bytes;
  }
}

TEST_F(UnitRoadTest, UnitsFollowEachOther) {
  for (const GoldenUnit& first : goldenUnits())
    for (const GoldenUnit& second : goldenUnits()) {
      const std::string bytes = fromHex(first.bytes);
      send(bytes + fromHex(second.bytes));
      EXPECT_EQ(units.calls, (std::vector{first.call, second.call}));
      EXPECT_EQ(units.offsets,
                (std::vector<std::uint64_t>{offsetOfCall(first), bytes.size() + offsetOfCall(second)}));
      EXPECT_EQ(toHex(left), "");
    }
}

TEST_F(UnitRoadTest, AUnitThatIsCutIsLeftWhole) {
  units.refused = "datatype value";  // a struct that is cut may be a reference, and is none of these
  for (const GoldenUnit& unit : goldenUnits()) {
    if (unit.call.starts_with("value of")) continue;  // its name may stand alone, behind which a list begins
    const std::string bytes = fromHex(unit.bytes);
    for (std::size_t size = 1; size < bytes.size(); ++size) expectNothingSent(bytes.substr(0, size));
  }
}

TEST_F(UnitRoadTest, AnEntryThatIsCutIsLeftWhole) {
  const std::string bytes = fromHex("09 30 01 61 30 02 62 63 10");
  for (std::size_t size = 1; size + 1 < bytes.size(); ++size) {
    send(bytes.substr(0, size));
    EXPECT_EQ(units.calls, std::vector<std::string>()) << size;
    EXPECT_EQ(left, bytes.substr(0, size));
  }
}

TEST_F(UnitRoadTest, AValueWithoutTheEndOfItsEntryIsLeftWhole) {
  expectNothingSent(fromHex("09 30 01 61 12"));
  expectNothingSent(fromHex("09 30 01 61 12 12 10"));
}

TEST_F(UnitRoadTest, AUnitThatTheTargetDoesNotTakeIsLeftWhole) {
  for (const GoldenUnit& unit : goldenUnits()) {
    units.refused = unit.call;
    const std::string bytes = fromHex(unit.bytes);
    if (!unit.call.starts_with("reference")) {
      expectNothingSent(bytes);
      continue;
    }
    send(bytes);
    EXPECT_EQ(units.calls.front(), "datatype value");
  }
}

TEST_F(UnitRoadTest, WhatIsLeftBeginsBehindTheLastUnitThatWasTaken) {
  units.refused = "list";
  send(fromHex("12 10 05 06"));
  EXPECT_EQ(units.calls, (std::vector<std::string>{"item true", "end of entry"}));
  EXPECT_EQ(toHex(left), "05 06");
}

// Texts are made of x, and nothing else is.
TEST_F(UnitRoadTest, AnObjectOrReferenceWithAnyOtherByteIsLeftWhole) {
  units.refused = "datatype value";
  for (const GoldenUnit& unit : goldenUnits()) {
    if (!unit.call.starts_with("object") && !unit.call.starts_with("reference")) continue;
    const std::string bytes = fromHex(unit.bytes);
    for (std::size_t at = 1; at < bytes.size(); ++at) {
      if (bytes[at] == 'x') continue;
      for (const int change : {0x01, 0x80}) {
        std::string changed = bytes + std::string(20, 'x');
        changed[at] = static_cast<char>(changed[at] ^ change);
        expectNothingSent(changed);
      }
    }
  }
}

TEST_F(UnitRoadTest, IntegersOfEveryWidthAreSentByTheirValue) {
  const std::string bytes = fromHex("01 02 03 04 05 06 07 08");
  const std::uint64_t all = 0x0807060504030201;
  for (unsigned width = 1; width <= 8; ++width) {
    const std::uint64_t magnitude = all & (~std::uint64_t{0} >> (64 - 8 * width));
    const std::string behind = bytes.substr(0, width) + std::string(8, '\x0a');
    send(static_cast<char>(0x20 + width - 1) + behind);
    EXPECT_EQ(units.calls, std::vector{"item unsigned " + std::to_string(magnitude)});
    EXPECT_EQ(left, std::string(8, '\x0a'));
    send(static_cast<char>(0x28 + width - 1) + behind);
    EXPECT_EQ(units.calls, std::vector{"item signed -" + std::to_string(magnitude)});
    EXPECT_EQ(left, std::string(8, '\x0a'));
  }
}

TEST_F(UnitRoadTest, ANumberIsSentWhereEightBytesFollowItsTag) {
  for (const char* tag : {"20", "28"}) {
    const std::string number = fromHex(tag + std::string(" 05"));
    send(number + std::string(7, '\x0a'));
    EXPECT_EQ(units.calls.size(), 1u);
    expectNothingSent(number + std::string(6, '\x0a'));
  }
}

TEST_F(UnitRoadTest, AnEntryIsOpenedBeforeWhatIsNoPrimitive) {
  for (const auto& [behind, call] : std::vector<std::pair<std::string, std::string>>{
           {"10", "end of entry"},
           {"05", "list"},
           {"03", "datatype value"},
           {"07 " + typeEntry + "08 03", "object xx  "},
           {"03 " + typeEntry + idEntry + "04", "reference xx x xxx without qualifier"}}) {
    const std::string start = fromHex("09 30 02 61 62");
    send(start + fromHex(behind));
    EXPECT_EQ(units.calls, (std::vector<std::string>{"entry ab", call}));
    EXPECT_EQ(units.offsets.front(), start.size());
    EXPECT_EQ(toHex(left), "");
  }
}

TEST_F(UnitRoadTest, AStructThatIsNoReferenceBeginsADatatypeValue) {
  const std::string bytes = fromHex("03 " + typeEntry + "09 30 01 61 12 10 04");
  send(bytes);
  EXPECT_EQ(units.calls, (std::vector<std::string>{"datatype value", "value of type xx", "value of a true",
                                                   "end of struct"}));
  EXPECT_EQ(units.offsets, (std::vector<std::uint64_t>{1, 12, 18, 20}));
  EXPECT_EQ(toHex(left), "");
}

TEST_F(UnitRoadTest, AnEntryWhoseNameIsNoTextIsLeft) {
  expectNothingSent(fromHex("09 12 10"));
  expectNothingSent(fromHex("09 12 12 10"));
}

TEST_F(UnitRoadTest, EveryByteThatBeginsNoUnitIsLeft) {
  for (unsigned tag = 0; tag < 256; ++tag) {
    const bool begins =
        (tag >= 0x03 && tag <= 0x06) || (tag >= 0x10 && tag <= 0x16) || (tag >= 0x20 && tag <= 0x30);
    if (!begins) expectNothingSent(static_cast<char>(tag) + std::string(20, '\x12'));
  }
}

TEST_F(UnitRoadTest, NothingIsSentWhereTheTargetTakesNoUnits) {
  units.takesAny = false;
  expectNothingSent(fromHex("12 12"));
}

TEST_F(UnitRoadTest, EventsGoOnWhereTheWayLeads) {
  using Code = SylvanEventCode;
  units.way = {Code::startDocument, Code::startMetadata,   Code::startNamedEntry, Code::writePrimitive,
               Code::endNamedEntry, Code::startNamedEntry, Code::startSequence,   Code::endSequence,
               Code::endNamedEntry, Code::endMetadata,     Code::startSequence};
  send(fromHex("12"));
  EXPECT_EQ(itemsToSend, units.way.size());
  EXPECT_EQ(events.getCount(), 0u);  // the target is there already
  transformer.endSequence();
  transformer.endDocument();
  EXPECT_EQ(print(events), "EndSequence\nEndDocument\n");
}

TEST_F(UnitRoadTest, WhereNothingIsSentTheTransformerStaysWhereItIs) {
  send(fromHex("02"));
  EXPECT_EQ(endingOf([&] { transformer.endSequence(); }), "GrammarException");  // no document has started
}

}  // namespace
}  // namespace kr::zero::test
