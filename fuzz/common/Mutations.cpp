#include "common/Mutations.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "common/Fuzzing.h"
#include "common/Items.h"
#include "support/Random.h"

/// libFuzzer's own changes, which know nothing of any format.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* bytes, std::size_t size, std::size_t room);

namespace kr::zero::fuzz {

namespace {

using test::DirectBytes;
using test::Random;

bool isDirect(unsigned choice) {
  return kLayout.documents == Documents::direct ||
         (kLayout.documents == Documents::chosen && choice % 2 == 0);
}

// A number on either side of a border.
std::uint64_t anyNumber(Random& random) {
  if (random.percent(30)) return random.below(40);
  return (std::uint64_t{1} << random.below(64)) + random.below(5) - 2;
}

Bytes withWidth(std::uint64_t number, std::size_t width) {
  Bytes bytes;
  for (std::size_t i = 0; i < width; ++i) bytes.push_back(static_cast<std::uint8_t>(number >> (8 * (i % 8))));
  return bytes;
}

/// Changes one document.
class Mutation {
 public:
  Mutation(Bytes document, bool isDirect, Random& random)
      : bytes_(std::move(document)),
        isDirect_(isDirect),
        random_(random),
        items_(isDirect ? itemsOfDirect(bytes_) : itemsOfTagged(bytes_)) {}

  Bytes take() { return std::move(bytes_); }

  /// @return false where there is nothing of the kind that was to be changed.
  bool change() {
    switch (random_.below(9)) {
      case 0:
        return changeWhere(Kind::number, [&](const Item&) { return someNumber(); });
      case 1:
        return changeWhere(Kind::text, [&](const Item& item) { return changedText(item); });
      case 2:
        return changeWhere(Kind::byte, [&](const Item&) { return someByte(); });
      case 3:
        return changeWhere(Kind::fixed, [&](const Item& item) { return someFixed(item); });
      case 4:
        return overwriteWithSame();
      case 5:
        return changeWhere(Kind::whole, [&](const Item& item) { return repeated(item); });
      case 6:
        return changeWhere(Kind::whole, [](const Item&) { return Bytes(); });
      case 7:
        return move();
      default:
        return swap();
    }
  }

  /// Puts a whole of another document in front of one of this.
  bool graft(const Mutation& other) {
    const auto here = some(Kind::whole);
    const auto there = other.some(Kind::whole);
    if (!here || !there) return false;
    replace(here->begin, random_.percent(50) ? here->begin : here->end, other.bytesOf(*there));
    return true;
  }

 private:
  std::optional<Item> some(Kind kind) const {
    std::vector<Item> fitting;
    for (const Item& item : items_)
      if (item.kind == kind) fitting.push_back(item);
    if (fitting.empty()) return std::nullopt;
    return random_.pick(fitting);
  }

  Bytes bytesOf(const Item& item) const { return {at(item.begin), at(item.end)}; }
  Bytes::const_iterator at(std::size_t offset) const {
    return bytes_.begin() + static_cast<std::ptrdiff_t>(offset);
  }

  void replace(std::size_t begin, std::size_t end, const Bytes& by) {
    const auto place = bytes_.erase(at(begin), at(end));
    bytes_.insert(place, by.begin(), by.end());
  }

  template <class Make>
  bool changeWhere(Kind kind, const Make& make) {
    const auto item = some(kind);
    if (!item) return false;
    replace(item->begin, item->end, make(*item));
    return true;
  }

  Bytes someNumber() {
    const std::uint64_t number = anyNumber(random_);
    if (!isDirect_) {
      const std::size_t width = random_.between(1, 8);
      Bytes bytes = withWidth(number, width);
      bytes.insert(bytes.begin(), static_cast<std::uint8_t>((random_.percent(50) ? 0x1F : 0x27) + width));
      return bytes;
    }
    Bytes bytes = DirectBytes().number(number);
    if (random_.percent(15)) {  // a longer form of the same
      bytes.back() |= 0x80;
      bytes.insert(bytes.end(), random_.below(12), 0x80);
      bytes.push_back(0);
    }
    return bytes;
  }

  // Another content, with a length that fits it; now and then one that does not.
  Bytes changedText(const Item& item) {
    const auto other = some(Kind::text);
    if (other && random_.percent(40)) return bytesOf(*other);
    Bytes content = contentOf(item);
    const std::size_t size = content.size();
    content.resize(size + 16);
    content.resize(LLVMFuzzerMutate(content.data(), size, content.size()));
    const std::uint64_t claimed = random_.percent(10) ? anyNumber(random_) : content.size();
    return textOf(content, claimed);
  }

  Bytes contentOf(const Item& item) const {
    Bytes text = bytesOf(item);
    std::size_t head = isDirect_ ? 1 : text[0] == 0x31 ? 9 : 2;
    while (isDirect_ && head < text.size() && text[head - 1] >= 0x80) ++head;
    text.erase(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(std::min(head, text.size())));
    return text;
  }

  Bytes textOf(const Bytes& content, std::uint64_t claimed) {
    if (isDirect_) return DirectBytes().number(claimed).raw(content);
    if (claimed < 256 && random_.percent(85))
      return DirectBytes().byte(0x30).byte(static_cast<unsigned>(claimed)).raw(content);
    return DirectBytes().byte(0x31).raw(withWidth(claimed, 8)).raw(content);
  }

  Bytes someByte() {
    static const std::vector<unsigned> direct{0, 1, 2, 0xDD, 0xEE, 0xFF};
    static const std::vector<unsigned> tagged{0x11, 0x12, 0x13, 0x15, 0x16, 3, 4, 5,
                                              6,    7,    8,    9,    0x10, 2, 1, 0x32};
    return DirectBytes().byte(random_.pick(isDirect_ ? direct : tagged));
  }

  Bytes someFixed(const Item& item) {
    if (isDirect_)
      return withWidth(random_.percent(50) ? anyNumber(random_) : random_.next(), item.end - item.begin);
    return DirectBytes().byte(0x14).raw(withWidth(random_.next(), 8));
  }

  bool overwriteWithSame() {
    static const std::vector<Kind> kinds{Kind::number, Kind::text, Kind::fixed, Kind::whole};
    const Kind kind = random_.pick(kinds);
    const auto from = some(kind);
    const auto to = some(kind);
    if (!from || !to) return false;
    replace(to->begin, to->end, bytesOf(*from));
    return true;
  }

  Bytes repeated(const Item& item) {
    const Bytes once = bytesOf(item);
    Bytes all;
    for (std::size_t times = random_.between(2, random_.percent(10) ? 60 : 3); times > 0; --times)
      all.insert(all.end(), once.begin(), once.end());
    return all;
  }

  bool move() {
    const auto from = some(Kind::whole);
    const auto to = some(Kind::whole);
    if (!from || !to || (to->begin >= from->begin && to->begin < from->end)) return false;
    const Bytes whole = bytesOf(*from);
    const bool isBehind = to->begin >= from->end;
    if (!isBehind) replace(from->begin, from->end, {});
    replace(to->begin, to->begin, whole);
    if (isBehind) replace(from->begin, from->end, {});
    return true;
  }

  bool swap() {
    auto first = some(Kind::whole);
    auto second = some(Kind::whole);
    if (!first || !second) return false;
    if (first->begin > second->begin) std::swap(first, second);
    if (first->end > second->begin) return false;
    const Bytes a = bytesOf(*first);
    const Bytes b = bytesOf(*second);
    replace(second->begin, second->end, a);
    replace(first->begin, first->end, b);
    return true;
  }

  Bytes bytes_;
  bool isDirect_;
  Random& random_;
  std::vector<Item> items_;
};

/// An input in two parts.
struct Parts {
  Bytes choices;
  Bytes document;

  Parts(const std::uint8_t* bytes, std::size_t size)
      : choices(bytes, bytes + std::min(size, kLayout.choices)),
        document(bytes + choices.size(), bytes + size) {
    choices.resize(kLayout.choices);
  }

  bool isDirect() const { return fuzz::isDirect(choices.empty() ? 0 : choices[0]); }

  /// @return the size of the whole; 0 where there is no room for it.
  std::size_t put(std::uint8_t* out, std::size_t room) const {
    if (choices.size() + document.size() > room) return 0;
    std::copy(document.begin(), document.end(), std::copy(choices.begin(), choices.end(), out));
    return choices.size() + document.size();
  }
};

std::size_t mutateBlindly(std::uint8_t* bytes, std::size_t size, std::size_t room, Random& random) {
  const std::size_t choices = std::min(size, kLayout.choices);
  if (choices != 0 && random.percent(40)) {
    LLVMFuzzerMutate(bytes, choices, choices);
    return size;
  }
  if (room <= choices) return size;
  return choices + LLVMFuzzerMutate(bytes + choices, size - choices, room - choices);
}

}  // namespace

}  // namespace kr::zero::fuzz

namespace fuzz = kr::zero::fuzz;

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* bytes, std::size_t size, std::size_t room,
                                               unsigned seed) {
  kr::zero::test::Random random(std::uint64_t{seed});
  if (!random.percent(33)) {
    fuzz::Parts parts(bytes, size);
    fuzz::Mutation mutation(parts.document, parts.isDirect(), random);
    if (mutation.change()) {
      parts.document = mutation.take();
      if (const std::size_t made = parts.put(bytes, room)) return made;
    }
  }
  return fuzz::mutateBlindly(bytes, size, room, random);
}

extern "C" std::size_t LLVMFuzzerCustomCrossOver(const std::uint8_t* first, std::size_t firstSize,
                                                 const std::uint8_t* second, std::size_t secondSize,
                                                 std::uint8_t* out, std::size_t room, unsigned seed) {
  kr::zero::test::Random random(std::uint64_t{seed});
  fuzz::Parts to(first, firstSize);
  const fuzz::Parts from(second, secondSize);
  if (to.isDirect() == from.isDirect()) {
    fuzz::Mutation mutation(to.document, to.isDirect(), random);
    if (mutation.graft({from.document, from.isDirect(), random})) to.document = mutation.take();
  }
  return to.put(out, room);
}
