/// @file
/// Internal: writes units of events in the tagged format, at once.
#pragma once

#include <string>
#include <string_view>

#include "kr/zero/io/BinaryFormatter.h"
#include "modeling/sylvan/SylvanUnitProcessor.h"

namespace kr::zero::io::tagged {

/// The bytes are those that the formatter writes for the events.
class FormatterUnits final : public modeling::sylvan::SylvanUnitProcessor {
 public:
  using SylvanPrimitive = modeling::sylvan::SylvanPrimitive;

  /// @param formatter not owned; must outlive the use of this object.
  explicit FormatterUnits(BinaryFormatter& formatter) : formatter_(formatter), events_(formatter) {}

  void writeEntry(const SylvanPrimitive& name, const SylvanPrimitive& value) override;
  void writeTextEntry(const SylvanPrimitive& name, std::string_view text) override;
  void writePairEntry(const SylvanPrimitive& name, const SylvanPrimitive& first,
                      const SylvanPrimitive& second) override;
  void writePairStruct(const SylvanPrimitive& name, const SylvanPrimitive& value,
                       const SylvanPrimitive& pairName, const SylvanPrimitive& first,
                       const SylvanPrimitive& second) override;

 private:
  /// Whether nobody but the formatter looks at the events.
  bool isAlone() const { return formatter_.grammarChecker_ == nullptr; }

  inline void writeTextEntry(const std::string& key, std::string_view text);

  BinaryFormatter& formatter_;
  modeling::sylvan::UnitsAsEvents events_;
};

}  // namespace kr::zero::io::tagged
