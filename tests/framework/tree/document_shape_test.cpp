// The parts that every tree document has alike, as TreeDocument.h lists them, are what the writer sends.
#include <gtest/gtest.h>

#include <span>

#include "framework/tree/TreeEventTesting.h"
#include "kr/zero/io/TreeDocument.h"

namespace kr::zero::io {

namespace {

using Code = modeling::sylvan::SylvanEventCode;

/// Events without what they carry, but the names of entries.
class Shape final : public test::TreeTarget {
 public:
  void startDocument(const test::Primitive& name) override { add(Code::startDocument), name_ = textOf(name); }
  void endDocument() override { add(Code::endDocument); }
  void startStruct() override { add(Code::startStruct); }
  void endStruct() override { add(Code::endStruct); }
  void startNamedEntry(const test::Primitive& name) override { add(Code::startNamedEntry, textOf(name)); }
  void endNamedEntry() override { add(Code::endNamedEntry); }
  void startSequence() override { add(Code::startSequence); }
  void endSequence() override { add(Code::endSequence); }
  void startMetadata() override { add(Code::startMetadata); }
  void endMetadata() override { add(Code::endMetadata); }
  void writePrimitive(const test::Primitive&) override { add(Code::writePrimitive); }

  const std::string& getName() const { return name_; }
  std::string getText() const { return text_; }

  static std::string textOf(std::span<const tree::Step> steps) {
    Shape shape;
    for (const tree::Step& step : steps) shape.add(step.event, step.entry);
    return shape.text_;
  }

 private:
  static std::string textOf(const test::Primitive& text) { return std::get<std::string>(text); }
  void add(Code event, std::string_view entry = {}) {
    text_.append(getName(event)).append(" ").append(entry).append("\n");
  }
  static std::string_view getName(Code event) { return modeling::sylvan::getName(event); }

  std::string name_;
  std::string text_;
};

Shape shapeOf(const Model& model) {
  Shape shape;
  sendEvents(model, shape);
  return shape;
}

class TreeDocumentShape : public ::testing::Test, protected test::LibraryFixture {};

}  // namespace

TEST_F(TreeDocumentShape, BeginsWithTheHead) {
  const Shape shape = shapeOf(model);
  EXPECT_EQ(shape.getName(), tree::kName);
  EXPECT_EQ(shape.getText(), Shape::textOf(tree::kHead) + "StartSequence \nEndSequence \nEndDocument \n");
}

TEST_F(TreeDocumentShape, AnObjectBeginsWithItsMetadata) {
  model.createRoot("library.Book");
  EXPECT_NE(shapeOf(model).getText().find("StartSequence \n" + Shape::textOf(tree::kObjectMetadata) +
                                          "StartStruct \nEndStruct \n"),
            std::string::npos);
}

TEST_F(TreeDocumentShape, AReferenceTakesItsSteps) {
  Element book = model.createRoot("library.Book");
  book.putUnresolved("sequel", {"library.Book", "x", "y", "other"});
  EXPECT_NE(shapeOf(model).getText().find("StartNamedEntry sequel\nStartStruct \n" +
                                          Shape::textOf(tree::kReference) + "EndNamedEntry \n"),
            std::string::npos);
}

TEST_F(TreeDocumentShape, AReferenceWithoutQualifierLeavesItsStepsOut) {
  Element book = model.createRoot("library.Book");
  book.putReference("sequel", book);
  const std::span<const tree::Step> steps(tree::kReference);
  EXPECT_NE(shapeOf(model).getText().find("StartNamedEntry sequel\nStartStruct \n" +
                                          Shape::textOf(steps.first(tree::kQualifierStep)) +
                                          "EndStruct \nEndNamedEntry \n"),
            std::string::npos);
}

}  // namespace kr::zero::io
