/// @file
/// A parse processor that fails in the middle of a document.
#pragma once

#include <cstddef>

#include "kr/zero/io/ParseProcessor.h"

namespace kr::zero::test {

/// Passes everything on and throws at the n-th call.
class ThrowingProcessor : public io::ParseProcessor {
 public:
  struct Stop {};
  ThrowingProcessor(io::ParseCustomizer& customizer, io::ParsingModelBuilder& builder, std::size_t calls)
      : ParseProcessor(customizer, builder), left_(calls) {}

  void setVersion(const ustring& version) override {
    count();
    ParseProcessor::setVersion(version);
  }
  bool push(const ustring& type, const ustring& id1, const ustring& id2) override {
    count();
    return ParseProcessor::push(type, id1, id2);
  }
  void pop(const ustring& name) override {
    count();
    ParseProcessor::pop(name);
  }
  io::PropertyCategory getPropertyCategory(const ustring& name) override {
    count();
    return ParseProcessor::getPropertyCategory(name);
  }
  meta::Type getPropertyType(const ustring& name) override {
    count();
    return ParseProcessor::getPropertyType(name);
  }
  bool isPropertyOptional(const ustring& name) override {
    count();
    return ParseProcessor::isPropertyOptional(name);
  }
  void setValue(const ustring& name, const ustring& text) override {
    count();
    ParseProcessor::setValue(name, text);
  }
  void setVerbatimValue(const ustring& name, const Value& value) override {
    count();
    ParseProcessor::setVerbatimValue(name, value);
  }
  void setEmptyValue(const ustring& name) override {
    count();
    ParseProcessor::setEmptyValue(name);
  }
  void addDeferredReference(const ustring& type, const ustring& name, const ustring& id1, const ustring& id2,
                            const boost::optional<ustring>& qualifier) override {
    count();
    ParseProcessor::addDeferredReference(type, name, id1, id2, qualifier);
  }
  void processDeferred() override {
    count();
    ParseProcessor::processDeferred();
  }
  void parseCompleted() override {
    count();
    ParseProcessor::parseCompleted();
  }

 private:
  void count() {
    if (left_-- == 0) throw Stop();
  }
  std::size_t left_;
};

}  // namespace kr::zero::test
