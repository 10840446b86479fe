// A model is written to a stream that fails at some byte: all bytes before come in order, the failure shows,
// and the same serializer then writes as ever.
#include <ios>
#include <ostream>

#include "common/Documents.h"
#include "common/Mutations.h"
#include "support/PieceBuf.h"

namespace kr::zero::fuzz {

const Layout kLayout{.choices = kSinkChoices, .documents = Documents::chosen};

namespace {

using test::FailingOutputBuf;

/// Whether the failure came out as an exception.
bool writeThrows(io::Serializer& serializer, const Model& model, std::ostream& stream) {
  try {
    serializer.serialize(model, io::SerializationOutput::toStream(stream));
    return false;
  } catch (const std::ios_base::failure&) {
  } catch (const test::BufferFailure&) {
  }
  return true;
}

}  // namespace

void examine(Input input) {
  const ChosenInput chosen(input, kSinkChoices);
  const Format& format = chosen.format();
  const auto parser = format.makeParser(test::goldenRegistry());
  if (test::parseBytes(*parser, chosen.document()).ending != test::Ending::success) return;
  const Model model = parser->takeModel();
  const auto serializer = format.makeSerializer();
  std::string expected;
  try {
    format.write(*serializer, model, expected);
  } catch (const io::SerializeError&) {
    return;  // a dangling number that is another element's in what would be written
  }

  const auto mode = static_cast<FailingOutputBuf::Mode>(chosen.mode() % 4);
  const std::size_t good = chosen.number(1) % (expected.size() + 1);
  const bool fails = (mode == FailingOutputBuf::Mode::refuses || mode == FailingOutputBuf::Mode::throws) &&
                     good < expected.size();
  FailingOutputBuf buffer(good, mode);
  std::ostream stream(&buffer);
  const bool isLoud = chosen.mode() / 4 % 2 != 0;
  if (isLoud) stream.exceptions(std::ios_base::badbit);
  const bool thrown = writeThrows(*serializer, model, stream);
  const std::string taken(buffer.getTaken().begin(), buffer.getTaken().end());
  if (fails) {
    require(stream.bad(), "a failure shows in the stream");
    require(thrown || !isLoud, "a failure comes out where the stream says so");
    require(taken == expected.substr(0, good), "all bytes before the failure come, and none behind it");
  } else {
    require(taken == expected, "all bytes come");
  }

  std::string again;
  format.write(*serializer, model, again);
  require(again == expected, "a serializer whose output failed writes as ever");
}

}  // namespace kr::zero::fuzz
