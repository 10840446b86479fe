/// @file
/// Internal: access to parts of a BinaryFormatter that its users do not see.
#pragma once

#include <exception>
#include <memory>
#include <string>
#include <utility>

#include "kr/zero/io/BinaryFormatter.h"
#include "sylvan/GrammarChecker.h"

namespace kr::zero::io::tagged {

struct FormatterInternals {
  /// From now on every event is checked against a rule of the grammar, and it is the grammar's blackboard
  /// that says what the formatter is in. The bytes of a document that fits the rule stay the same.
  /// @param ruleName a rule of KRGrammar; one that does not exist raises std::out_of_range at the first
  /// event.
  static void attachGrammarChecker(BinaryFormatter& formatter, std::string ruleName) {
    attachGrammarChecker(formatter, [name = std::move(ruleName), &blackboard = formatter.blackboard_] {
      return grammar::KRGrammar::getInstance().getProcessor(name, blackboard);
    });
  }
  static void attachGrammarChecker(BinaryFormatter& formatter, GrammarChecker::Begin begin) {
    formatter.grammarChecker_ = std::make_unique<GrammarChecker>(std::move(begin));
  }
  /// Writes to `sink` from now on: in pieces where its class says that it may be, else byte by byte. A host
  /// with a framework of its own brings sinks of its own, which have the names of ours.
  template <class SinkClass>
  static void setSink(BinaryFormatter& formatter, std::unique_ptr<SinkClass> sink) {
    formatter.sink_ = std::move(sink);
    formatter.takesPieces_ = requires { requires SinkClass::kTakesBytesAsTheyCome; };
    formatter.string_ = nullptr;
    formatter.stream_ = nullptr;
  }
  /// Whether a document was started.
  static bool hasBegun(const BinaryFormatter& formatter) { return formatter.hasBegun_; }
  /// Ends writing to a file; other sinks have nothing to close.
  /// @throws std::ios_base::failure where the last bytes cannot be written.
  static void closeFile(BinaryFormatter& formatter) {
    if (auto* const file = dynamic_cast<FileSink*>(formatter.sink_.get())) file->close();
  }
  /// Closes the file of a document that failed, and forgets what is open.
  static void abandon(BinaryFormatter& formatter) noexcept {
    formatter.reset();
    try {
      closeFile(formatter);
    } catch (const std::exception&) {
      // The failure that is on its way came first.
    }
  }
  static grammar::KRGrammar::Blackboard& getBlackboard(BinaryFormatter& formatter) {
    return formatter.blackboard_;
  }
};

}  // namespace kr::zero::io::tagged
