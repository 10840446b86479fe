// A document is read, and its model written, while one request for memory fails, or all from one on: that
// ends as it would have, or for want of memory, and afterwards the same objects do the same as ever.
#include <ios>
#include <new>

#include "common/Documents.h"
#include "common/Mutations.h"
#include "support/AllocationMeter.h"

namespace kr::zero::fuzz {

const Layout kLayout{.choices = kAllocationChoices, .documents = Documents::chosen};

namespace {

using test::Ending;
using test::FailingAllocations;
using test::Outcome;

FailingAllocations failureOf(const ChosenInput& chosen) {
  return {chosen.number(1), chosen.mode() % 2 == 0 ? 1 : FailingAllocations::allOfThem};
}

void readFailing(io::Parser& parser, const ChosenInput& chosen, const Bytes& document,
                 const Outcome& expected) {
  bool isRead = false;
  bool isShort = false;
  {
    const FailingAllocations faults = failureOf(chosen);
    try {
      isRead = parser.parseByteSequence(document);
    } catch (const std::bad_alloc&) {
      isShort = faults.getFailures() != 0;
    } catch (const std::exception&) {
      // Not read; what it says is compared when there is memory.
    }
  }
  require(isShort || isRead == (expected.ending == Ending::success),
          "without memory reading ends as ever, or for want of it", expected.text.c_str());
}

std::unique_ptr<io::Serializer>& serializerOf(const Format& format) {
  static std::unique_ptr<io::Serializer> all[] = {kDirect.makeSerializer(), kTagged.makeSerializer()};
  return all[&format == &kTagged];
}

void writeFailing(const Format& format, const Model& model, const ChosenInput& chosen,
                  const std::string& expected) {
  io::Serializer& serializer = *serializerOf(format);
  std::string bytes;
  bool isShort = false;
  {
    const FailingAllocations faults = failureOf(chosen);
    try {
      format.write(serializer, model, bytes);
    } catch (const std::bad_alloc&) {
      isShort = true;
    }
  }
  require(isShort || bytes == expected, "without memory writing gives the same bytes, or says so");
  format.write(serializer, model, bytes);
  require(bytes == expected, "a serializer that had no memory writes as ever");
}

}  // namespace

void examine(Input input) {
  const ChosenInput chosen(input, kAllocationChoices);
  const Format& format = chosen.format();
  const Bytes document = chosen.document();
  static const std::unique_ptr<io::Parser> parsers[] = {kDirect.makeParser(test::goldenRegistry()),
                                                        kTagged.makeParser(test::goldenRegistry())};
  io::Parser& parser = *parsers[chosen.choice(0) % 2];
  settle(parser, format);
  const Outcome expected = test::parseBytes(parser, document);
  const Model model = parser.getModelBuilder().takeModel();
  settle(parser, format);
  readFailing(parser, chosen, document, expected);
  settle(parser, format);
  require(test::parseBytes(parser, document) == expected, "a parser that had no memory reads as ever");
  if (expected.ending != Ending::success) return;
  const auto difference = findDifference(parser.takeModel(), model);
  require(!difference, "a parser that had no memory gives the same model", difference.value_or("").c_str());
  std::string written;
  try {
    format.write(*serializerOf(format), model, written);
  } catch (const io::SerializeError&) {
    return;  // a dangling number that is another element's in what would be written
  }
  writeFailing(format, model, chosen, written);
}

}  // namespace kr::zero::fuzz
