/// @file
/// What must hold for any bytes that the readers of models are given.
#pragma once

#include <memory>
#include <string>

#include "common/Fuzzing.h"
#include "common/MemoryUse.h"
#include "kr/zero/Model.h"
#include "kr/zero/io/Parser.h"
#include "kr/zero/io/Serializer.h"
#include "support/Outcome.h"

namespace kr::zero::fuzz {

/// One of the two binary formats.
struct Format {
  const char* name;
  std::unique_ptr<io::Parser> (*makeParser)(const meta::MetaRegistry& registry);
  std::unique_ptr<io::Serializer> (*makeSerializer)();
  bool (*isDocumented)(test::Ending ending);

  /// Writes to memory, in place of what is there.
  void write(io::Serializer& serializer, const Model& model, std::string& bytes) const;
  /// The same with a fresh serializer.
  Bytes write(const Model& model) const;
};

extern const Format kDirect;
extern const Format kTagged;

/// Chooses one of the two.
inline const Format& formatOf(unsigned choice) { return choice % 2 == 0 ? kDirect : kTagged; }

/// What reading that may take; a text's length that was reserved on a document's word counts extra.
MemoryBound boundOfReading(const io::Parser& parser, test::Ending ending, const MemoryUse& use);

/// Reads documents one after another with one parser.
class ModelReader {
 public:
  /// @param intact a document that must read well at any time, as the library writes it.
  ModelReader(const Format& format, const meta::MetaRegistry& registry, Bytes intact);

  /// Reads `bytes`, in memory that they allow, to a documented end. What was read can be looked at and
  /// copied; a whole document is written, read and written again to the same bytes; then the intact document
  /// reads well.
  /// @return how it ended.
  test::Outcome examine(const Bytes& bytes);

 private:
  test::Outcome readMeasured(const Bytes& bytes);
  void examineModel(const Model& model, bool isWhole);
  void examineRoundTrip(const Model& model);

  const Format& format_;
  Bytes intact_;
  std::unique_ptr<io::Parser> parser_;
  std::unique_ptr<io::Parser> second_;
};

}  // namespace kr::zero::fuzz
