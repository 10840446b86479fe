/// @file
/// A parse processor and a customizer that write down what a reader asks and tells, and build nothing.
///
///     Recorder recorder(registry);
///     BinaryParseContext(recorder.processor, bytes, span).parseBinary();
///     EXPECT_THAT(recorder.events(), ElementsAre("version 1", "push g.N", ...));
#pragma once

#include <algorithm>
#include <boost/optional.hpp>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "kr/zero/Value.h"
#include "kr/zero/io/ModelTraverser.h"
#include "kr/zero/io/ParseCustomizer.h"
#include "kr/zero/io/ParseProcessor.h"
#include "kr/zero/io/ParsingModelBuilder.h"
#include "kr/zero/meta/Type.h"
#include "kr/zero/ustring.h"

namespace kr::zero::test {

/// What happened, in order. Questions about properties and types begin with "ask".
using Calls = std::vector<std::string>;

class RecordingCustomizer : public io::ParseCustomizer {
 public:
  RecordingCustomizer(const meta::MetaRegistry& registry, Calls& calls)
      : ParseCustomizer(registry), calls_(calls) {}

  bool setPackageUris(const std::vector<ustring>& uris) override {
    std::string call = "packages";
    for (const ustring& uri : uris) call += " " + toUtf8(uri);
    calls_.push_back(call);
    return acceptsPackages;
  }
  meta::Type getMetaClass(const ustring& typeName) override {
    calls_.push_back("ask meta class " + toUtf8(typeName));
    const auto renamed = renamedTypes.find(typeName);
    return ParseCustomizer::getMetaClass(renamed == renamedTypes.end() ? typeName : renamed->second);
  }

  bool acceptsPackages = true;
  std::map<ustring, ustring> renamedTypes;  ///< a type name in documents, and what it means

 private:
  Calls& calls_;
};

class RecordingParseProcessor : public io::ParseProcessor {
 public:
  RecordingParseProcessor(io::ParseCustomizer& customizer, io::ParsingModelBuilder& builder, Calls& calls)
      : ParseProcessor(customizer, builder), calls_(calls) {}

  void reset() override { calls_.push_back("reset"); }
  void setVersion(const ustring& version) override { calls_.push_back("version " + toUtf8(version)); }
  bool push(const ustring& typeName, const ustring& id1, const ustring& id2) override {
    std::string call = "push " + toUtf8(typeName);
    if (!id1.empty() || !id2.empty()) call += " [" + toUtf8(id1) + "|" + toUtf8(id2) + "]";
    calls_.push_back(call);
    typeNames.push_back(&typeName);
    if (pushesLeft-- == 0) return false;
    open_.push_back(meta::StructuredType(ParseProcessor::getCustomizer().getRegistry().findType(typeName)));
    return true;
  }
  void pop(const ustring& name) override {
    calls_.push_back("pop " + toUtf8(name));
    if (!open_.empty()) open_.pop_back();
  }
  io::PropertyCategory getPropertyCategory(const ustring& name) override {
    calls_.push_back("ask category " + toUtf8(name));
    propertyNames.push_back(&name);
    const auto given = categories.find(name);
    if (given != categories.end()) return given->second;
    return io::ModelTraverser().getPropertyCategory(find(name));
  }
  meta::Type getPropertyType(const ustring& name) override {
    calls_.push_back("ask type " + toUtf8(name));
    const auto given = types.find(name);
    return given != types.end() ? given->second : find(name)->getType();
  }
  bool isPropertyOptional(const ustring& name) override {
    calls_.push_back("ask optional " + toUtf8(name));
    return find(name)->isOptional();
  }
  void setValue(const ustring& name, const ustring& text) override {
    calls_.push_back("text " + toUtf8(name) + " = " + toUtf8(text));
  }
  void setVerbatimValue(const ustring& name, const Value& value) override {
    calls_.push_back("value " + toUtf8(name) + " = " + describe(value));
    values.push_back(value);
  }
  void setEmptyValue(const ustring& name) override { calls_.push_back("empty " + toUtf8(name)); }
  void addDeferredReference(const ustring& targetType, const ustring& name, const ustring& id1,
                            const ustring& id2, const boost::optional<ustring>& qualifier) override {
    std::string call = "reference " + toUtf8(name) + " -> " + toUtf8(targetType) + " [" + toUtf8(id1) + "|" +
                       toUtf8(id2) + "]";
    if (qualifier) call += " in " + toUtf8(*qualifier);
    calls_.push_back(call);
  }
  void processDeferred() override { calls_.push_back("process deferred"); }
  void parseCompleted() override { calls_.push_back("completed"); }

  /// "Integer8 -1", "p.Kind 1 (8 bytes)".
  static std::string describe(const Value& value) {
    const meta::Type type = value.getMeta().getType();
    const std::string name = type->qualifiedName();
    if (!value.hasCell()) return name + " none";
    if (kr::zero::internal::isEnumType(type))
      return name + " " + std::to_string(value.get<std::int64_t>()) + " (" +
             std::to_string(value.getWidth()) + " bytes)";
    if (name == "Boolean") return name + (value.get<std::uint8_t>() == 1 ? " true" : " false");
    if (name == "Real") return name + " " + std::to_string(value.get<double>());
    return name + " " + describeInteger(value, name[0] == 'U');
  }

  std::map<ustring, io::PropertyCategory> categories;                ///< instead of those of the meta model
  std::map<ustring, meta::Type> types;                               ///< instead of those of the meta model
  std::size_t pushesLeft = std::numeric_limits<std::size_t>::max();  ///< how many are accepted
  // The very strings that came in; only their addresses may be used.
  std::vector<const ustring*> typeNames;
  std::vector<const ustring*> propertyNames;
  std::vector<Value> values;

 private:
  static std::string describeInteger(const Value& value, bool isUnsigned) {
    switch (value.getWidth()) {
      case 1:
        return isUnsigned ? std::to_string(value.get<std::uint8_t>())
                          : std::to_string(value.get<std::int8_t>());
      case 2:
        return isUnsigned ? std::to_string(value.get<std::uint16_t>())
                          : std::to_string(value.get<std::int16_t>());
      case 4:
        return isUnsigned ? std::to_string(value.get<std::uint32_t>())
                          : std::to_string(value.get<std::int32_t>());
      default:
        return isUnsigned ? std::to_string(value.get<std::uint64_t>())
                          : std::to_string(value.get<std::int64_t>());
    }
  }

  meta::Property find(const ustring& name) const {
    return open_.back()->findProperty(std::u16string_view(name));
  }

  Calls& calls_;
  std::vector<meta::StructuredType> open_;
};

/// The two of them and what they wrote down.
struct Recorder {
  explicit Recorder(const meta::MetaRegistry& registry)
      : customizer(registry, calls), builder(false), processor(customizer, builder, calls) {}

  /// The calls that are no questions.
  Calls events() const {
    Calls events;
    std::copy_if(calls.begin(), calls.end(), std::back_inserter(events),
                 [](const std::string& call) { return call.rfind("ask ", 0) != 0; });
    return events;
  }

  Calls calls;
  RecordingCustomizer customizer;
  io::ParsingModelBuilder builder;
  RecordingParseProcessor processor;
};

}  // namespace kr::zero::test
