#include "hostile/Generators.h"

#include <cstring>

#include "support/Random.h"

namespace kr::zero::test {

namespace {

DirectBytes document() { return DirectBytes().header({"urn:g"}); }

template <class Add>
Bytes repeat(DirectBytes bytes, std::size_t count, const Add& add) {
  for (std::size_t i = 0; i < count; ++i) add(bytes, i);
  return bytes;
}

// One element around what `add` writes for each of the counted items.
template <class Add>
Bytes inElement(std::size_t count, const Add& add) {
  DirectBytes bytes;
  bytes.raw(repeat(document().root("g.N", "k", "1"), count, add)).end();
  return bytes;
}

// A collection of `count` items.
template <class Add>
Bytes collection(std::uint64_t key, std::size_t count, const Add& add) {
  DirectBytes bytes;
  bytes.raw(repeat(document().root("g.N", "k", "1").key(key).number(count), count, add)).end();
  return bytes;
}

std::string digits(std::size_t i) { return std::to_string(i); }

Bytes roots(std::size_t count) {
  return repeat(document(), count, [](DirectBytes& b, std::size_t) { b.root("g.O").end(); });
}

Bytes children(std::size_t count) {
  return inElement(count, [](DirectBytes& b, std::size_t) { b.child(19, "g.N").end(); });
}

Bytes openChildren(std::size_t count) {
  return repeat(document().root("g.N"), count, [](DirectBytes& b, std::size_t) { b.child(18, "g.N"); });
}

Bytes nestedChildren(std::size_t count) {
  DirectBytes bytes;
  bytes.raw(openChildren(count));
  for (std::size_t i = 0; i <= count; ++i) bytes.end();
  return bytes;
}

Bytes childrenWithProperties(std::size_t count) {
  return inElement(count, [](DirectBytes& b, std::size_t) {
    b.child(19, "g.N").key(2).absent().key(3).number(0).key(5).absent().key(8).number(0).key(10).number(0);
    b.key(12).number(0).key(21).number(0).key(23).number(0).end();
  });
}

Bytes emptyDatatypes(std::size_t count) {
  return inElement(count, [](DirectBytes& b, std::size_t) { b.key(17).end(); });
}

Bytes nestedDatatypes(std::size_t count) {
  return inElement(count, [](DirectBytes& b, std::size_t) { b.key(17).key(3).end().end(); });
}

Bytes emptyTexts(std::size_t count) {
  return collection(3, count, [](DirectBytes& b, std::size_t) { b.text(""); });
}

Bytes booleans(std::size_t count) {
  return collection(23, count, [](DirectBytes& b, std::size_t) { b.byte(1); });
}

Bytes smallCollections(std::size_t count) {
  return inElement(count, [](DirectBytes& b, std::size_t) { b.key(23).number(1).byte(1); });
}

Bytes emptyCollectionAgainAndAgain(std::size_t count) {
  return inElement(count, [](DirectBytes& b, std::size_t) { b.key(3).number(0); });
}

Bytes oneLongText(std::size_t count) {
  DirectBytes bytes;
  bytes.raw(document().root("g.N").key(1).text(std::string(count, 'x'))).end();
  return bytes;
}

Bytes oneLongWideText(std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += "\xC3\xA4";
  DirectBytes bytes;
  bytes.raw(document().root("g.N").key(1).text(text)).end();
  return bytes;
}

Bytes packages(std::size_t count) {
  return repeat(DirectBytes().number(1).text("kr").number(count), count,
                [](DirectBytes& b, std::size_t) { b.text("urn:g"); });
}

Bytes emptyReferences(std::size_t count) {
  return collection(21, count, [](DirectBytes& b, std::size_t) { b.reference("", "", ""); });
}

Bytes referencesToOne(std::size_t count) {
  return collection(21, count, [](DirectBytes& b, std::size_t) { b.reference("g.N", "k", "1"); });
}

Bytes referencesOfDifferentTypes(std::size_t count) {
  return collection(21, count, [](DirectBytes& b, std::size_t i) { b.reference("t" + digits(i), "k", "9"); });
}

Bytes forwardReferences(std::size_t count) {
  DirectBytes bytes;
  bytes.raw(
      collection(21, count, [](DirectBytes& b, std::size_t i) { b.reference("g.N", "id", digits(i)); }));
  return repeat(bytes, count, [](DirectBytes& b, std::size_t i) { b.root("g.N", "id", digits(i)).end(); });
}

Bytes localReferences(std::size_t count) {
  const auto reference = [](DirectBytes& b, std::size_t i) { b.reference("g.N", "#", digits(i + 2)); };
  DirectBytes bytes;
  bytes.raw(collection(21, count, reference));
  return repeat(bytes, count, [](DirectBytes& b, std::size_t i) { b.root("g.N", "#", digits(i + 2)).end(); });
}

Bytes oddLocalIdentities(std::size_t count) {
  return repeat(document(), count,
                [](DirectBytes& b, std::size_t i) { b.root("g.N", "#", "x" + digits(i)).end(); });
}

Bytes farLocalIdentities(std::size_t count) {
  return repeat(document(), count,
                [](DirectBytes& b, std::size_t i) { b.root("g.N", "#", digits(8 * i + 60)).end(); });
}

Bytes wrongReferences(std::size_t count) {
  return inElement(count, [](DirectBytes& b, std::size_t) {
    b.child(19, "g.N").key(20).reference("g.Sub", "k", "1").end();
  });
}

Bytes firstPartsOfOneSecondPart(std::size_t count) {
  return repeat(document(), count,
                [](DirectBytes& b, std::size_t i) { b.root("g.N", digits(10000000 + i), "same").end(); });
}

Bytes collidingIdentities(std::size_t count) {
  DirectBytes bytes = document();
  for (const std::string& text : collidingTexts(count)) bytes.root("g.N", "id", text).end();
  return bytes;
}

Bytes collidingFirstParts(std::size_t count) {
  DirectBytes bytes = document();
  for (const std::string& text : collidingTexts(count)) bytes.root("g.N", text, "2").end();
  return bytes;
}

Bytes collidingTypes(std::size_t count) {
  const std::vector<std::string> texts = collidingTexts(count);
  return collection(21, count, [&](DirectBytes& b, std::size_t i) { b.reference(texts[i], "k", "9"); });
}

constexpr std::uint64_t multiplier = 0xC6A4A7935BD1E995u;

// The number that undoes a multiplication by `multiplier`: Newton's iteration doubles the right bits.
constexpr std::uint64_t inverseMultiplier() {
  std::uint64_t inverse = multiplier;
  for (int i = 0; i < 6; ++i) inverse *= 2 - multiplier * inverse;
  return inverse;
}
constexpr std::uint64_t inverse = inverseMultiplier();
static_assert(multiplier * inverse == 1);

std::uint64_t mix(std::uint64_t block) {
  block *= multiplier;
  block ^= block >> 47;
  return block * multiplier;
}
std::uint64_t unmix(std::uint64_t mixed) {
  mixed *= inverse;
  mixed ^= mixed >> 47;
  return mixed * inverse;
}

// Eight printable characters.
std::uint64_t someBlock(Random& random) {
  std::uint64_t block = 0;
  for (int i = 0; i < 8; ++i) block = block << 8 | (0x21 + random.below(0x5E));
  return block;
}

}  // namespace

// A text of two blocks hashes to ((seed ^ mix(a)) * m ^ mix(b)) * m, so that for any first block there is
// a second one that leads to the same hash; it is a text where all its bytes are ASCII.
std::vector<std::string> collidingTexts(std::size_t count) {
  constexpr std::uint64_t seed = 0xC70F6907u ^ 16 * multiplier;
  constexpr std::uint64_t goal = 0x0123456789ABCDEFu;
  constexpr std::uint64_t ascii = 0x8080808080808080u;
  Random random(1);
  std::vector<std::string> texts;
  while (texts.size() < count) {
    const std::uint64_t first = someBlock(random);
    const std::uint64_t second = unmix(goal ^ (seed ^ mix(first)) * multiplier);
    if ((second & ascii) != 0) continue;
    std::string text(16, '\0');
    std::memcpy(text.data(), &first, 8);
    std::memcpy(text.data() + 8, &second, 8);
    texts.push_back(text);
  }
  return texts;
}

const std::vector<Generator>& generators() {
  static const std::vector<Generator> all = {
      {"roots", roots, Ending::success},
      {"children", children, Ending::success},
      {"children that stay open", openChildren, Ending::refused},
      {"nested children", nestedChildren, Ending::success},
      {"children with many properties", childrenWithProperties, Ending::success},
      {"empty datatypes", emptyDatatypes, Ending::success},
      {"nested datatypes", nestedDatatypes, Ending::success},
      {"empty texts", emptyTexts, Ending::success},
      {"booleans", booleans, Ending::success},
      {"collections of one", smallCollections, Ending::success},
      {"one empty collection again and again", emptyCollectionAgainAndAgain, Ending::success},
      {"bytes of one text", oneLongText, Ending::success},
      {"characters of one text", oneLongWideText, Ending::success},
      {"packages", packages, Ending::success},
      {"references of empty texts", emptyReferences, Ending::success},
      {"references to one element", referencesToOne, Ending::success},
      {"references of different types", referencesOfDifferentTypes, Ending::success},
      {"forward references", forwardReferences, Ending::success},
      {"references by number", localReferences, Ending::success},
      {"identities of the document that are no numbers", oddLocalIdentities, Ending::success},
      {"identities of the document with large numbers", farLocalIdentities, Ending::success},
      {"references that say the wrong class", wrongReferences, Ending::refused},
      {"first parts of one second part", firstPartsOfOneSecondPart, Ending::success},
      {"identities with one hash", collidingIdentities, Ending::success},
      {"first parts with one hash", collidingFirstParts, Ending::success},
      {"references of types with one hash", collidingTypes, Ending::success},
  };
  return all;
}

}  // namespace kr::zero::test
