/// @file
/// What must hold for any bytes at all that are given to the reader of the direct format.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "support/Outcome.h"
#include "support/Reading.h"

namespace kr::zero::test {

/// Memory that a parse of n bytes may take at one time: 64 KiB + memoryPerByte x n. Measured over all
/// generators the most expensive bytes take 37 each; see bounds_test.cpp.
constexpr std::size_t memoryFloor = 64 * 1024;
constexpr std::size_t memoryPerByte = 64;
/// The largest single request of a parse of n bytes: the greater of a floor and requestPerByte x n. Models
/// take their memory in chunks of up to 256 KiB.
constexpr std::size_t requestFloor = 256 * 1024;
constexpr std::size_t requestPerByte = 16;

/// Reads documents one after another with one parser and checks each outcome.
class DamageCheck {
 public:
  /// @param intact a document that must read well at any time.
  DamageCheck(const meta::MetaRegistry& registry, Bytes intact);

  /// Reads `bytes`. Adds a Google Test failure where
  /// - the outcome is not a documented one, or more memory was taken than the bytes allow,
  /// - what was read cannot be walked, copied or compared with its copy,
  /// - (now and then) an accepted document cannot be written and read back the same,
  /// - (now and then) the parser does not read the intact document afterwards.
  void examine(const Bytes& bytes);

  std::uint64_t getExamined() const { return examined_; }
  std::uint64_t getCount(Ending ending) const { return census_[static_cast<std::size_t>(ending)]; }
  /// "1000 mutants: 3 success, 900 CorruptInput ..."
  std::string describe() const;

 private:
  Outcome readMeasured(const Bytes& bytes);
  void examineModel(const Model& model, const Outcome& outcome);
  void examineRoundTrip(Model& model);
  void examineParser();

  Bytes intact_;
  std::unique_ptr<io::BinaryParser> parser_;
  std::unique_ptr<io::BinaryParser> second_;
  io::BinarySerializer serializer_;
  Model intactModel_;
  std::uint64_t examined_ = 0;
  std::array<std::uint64_t, endingCount> census_{};
};

}  // namespace kr::zero::test
