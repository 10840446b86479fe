#include "hostile/DamageCheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "support/AllocationMeter.h"

namespace kr::zero::test {

namespace {

Model readIntact(io::BinaryParser& parser, const Bytes& intact) {
  const Outcome outcome = parseBytes(parser, intact);
  if (outcome.ending != Ending::success) throw std::logic_error("the intact document: " + outcome.text);
  return parser.takeModel();
}

/// Transient properties that bytes hold are read and kept, and not written again.
void forgetTransientValues(Model& model) {
  std::vector<std::pair<Element, meta::Property>> held;
  for (const Element element : model.elements())
    for (const meta::Property property : element.getType()->getAllProperties())
      if (property->isTransient() && element.isSet(property)) held.emplace_back(element, property);
  for (auto& [element, property] : held)
    if (!element.isRemoved()) element.unset(property);
}

}  // namespace

DamageCheck::DamageCheck(const meta::MetaRegistry& registry, Bytes intact)
    : intact_(std::move(intact)),
      parser_(makeParser(registry)),
      second_(makeParser(registry)),
      intactModel_(readIntact(*parser_, intact_)) {}

void DamageCheck::examine(const Bytes& bytes) {
  const Outcome outcome = readMeasured(bytes);
  ++census_[static_cast<std::size_t>(outcome.ending)];
  ++examined_;
  EXPECT_TRUE(isDocumentedForBytes(outcome.ending)) << outcome;
  Model model = parser_->getModelBuilder().takeModel();
  examineModel(model, outcome);
  if (outcome.ending == Ending::success && getCount(Ending::success) % 8 == 1) examineRoundTrip(model);
  if (examined_ % 64 == 0) examineParser();
  if (testing::Test::HasFailure()) ADD_FAILURE() << "for the bytes " << toHex(bytes);
}

Outcome DamageCheck::readMeasured(const Bytes& bytes) {
  const AllocationMeter meter;
  Outcome outcome = parseBytes(*parser_, bytes);
  EXPECT_LE(meter.getPeakBytes(), memoryFloor + memoryPerByte * bytes.size());
  EXPECT_LE(meter.getLargestRequest(), memoryFloor + requestPerByte * bytes.size());
  return outcome;
}

void DamageCheck::examineModel(const Model& model, const Outcome& outcome) {
  std::size_t elements = 0;
  for (const ConstElement element : model.elements())
    if (element.getType()) ++elements;
  EXPECT_EQ(elements, model.size());
  const Model copy = model.clone();
  EXPECT_EQ(copy.size(), model.size());
  if (outcome.ending == Ending::success) {
    EXPECT_EQ(findDifference(model, copy), std::nullopt);
  }
}

void DamageCheck::examineRoundTrip(Model& model) {
  forgetTransientValues(model);
  Bytes first;
  try {
    serializer_.serialize(model, io::SerializationOutput::toByteSequence(first));
  } catch (const io::SerializeError& e) {
    // A dangling number of the damaged document that is an element's in the one that is written.
    EXPECT_NE(std::string(e.what()).find("which is written with that number"), std::string::npos) << e.what();
    return;
  }
  EXPECT_EQ(parseBytes(*second_, first), (Outcome{Ending::success, {}}));
  const Model again = second_->takeModel();
  EXPECT_EQ(findDifference(model, again), std::nullopt);
  Bytes secondBytes;
  serializer_.serialize(again, io::SerializationOutput::toByteSequence(secondBytes));
  EXPECT_EQ(toHex(secondBytes), toHex(first));
}

void DamageCheck::examineParser() {
  EXPECT_EQ(parseBytes(*parser_, intact_), (Outcome{Ending::success, {}}));
  EXPECT_EQ(findDifference(intactModel_, parser_->takeModel()), std::nullopt);
}

std::string DamageCheck::describe() const {
  std::string text = std::to_string(examined_) + " mutants:";
  for (std::size_t i = 0; i < endingCount; ++i)
    if (census_[i] != 0)
      text += " " + std::to_string(census_[i]) + " " + nameOf(static_cast<Ending>(i)) + ";";
  return text;
}

}  // namespace kr::zero::test
