/// @file
/// Internal: reading that goes on behind damage.
///
/// Where a thing cannot be read, what follows is tried out from each place behind it, with each of what is
/// open taken for what it stands in, and with each class for an element that lost its beginning. A wrong
/// guess meets something that cannot stand there within a few bytes; the right one reads to the end of the
/// document, or to the next damage.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "Reading.h"
#include "Stop.h"

namespace kr::zero::inspect {

template <class Scan>
class TolerantReader {
 public:
  TolerantReader(Scan& scan, Listener& listener)
      : scan_(scan), listener_(listener), budget_(kLeastBudget + kBudgetPerByte * scan.bytes().size()) {
    reading_.listener = &listener;
  }

  /// Reads to the end of the bytes.
  /// @return whether there was no damage.
  bool readAll() {
    if (!scan_.readHead(reading_)) {
      reading_.isWhole = false;
      const Damage fault = reading_.fault;
      scan_.passHead(reading_);
      goOn(fault);
    }
    while (!scan_.isDone(reading_))
      if (!scan_.step(reading_)) goOn(reading_.fault);
    if (!isCutOff_ && !scan_.endsWell(reading_)) {
      reading_.isWhole = false;
      const std::size_t end = reading_.at;
      listener_.onDamage({end, 0, end, scan_.missingEnd(), "the end of the bytes", false});
    }
    drop(0);
    return reading_.isWhole;
  }

 private:
  // Trying things out takes time, and damage may be made for it: when that much was read in vain, the rest is
  // lost.
  static constexpr std::uint64_t kLeastBudget = std::uint64_t{1} << 28;
  static constexpr std::uint64_t kBudgetPerByte = 16;
  static constexpr std::uint64_t kCostOfTrial = 8;  // in bytes, beside those that are read
  /// Bytes that make sense and are taken for the whole rest of a document.
  static constexpr std::size_t kFarEnough = std::size_t{1} << 24;
  /// Things that make sense one behind the other: not by chance.
  static constexpr std::size_t kEnoughThings = 16;
  /// How far a better place is looked for behind one that makes sense for a while, and how often that may
  /// take long.
  static constexpr std::size_t kLookFurther = 1024;
  static constexpr std::size_t kLong = 4096;
  static constexpr std::size_t kMostLongTrials = 24;
  static constexpr std::size_t kInnerFrames = 24;
  static constexpr std::size_t kOuterFrames = 4;

  /// Where reading may go on.
  struct Place {
    std::size_t at = 0;
    std::size_t keep = 0;              // frames that stay open
    std::optional<LostFrames> lost{};  // what is open above them, and lost its beginning
    std::size_t reach = 0;
    std::optional<std::int64_t> shift{};
    std::uint64_t elements = 0;
  };
  enum class Verdict { wrong, plausible, right };

  /// What a scan is asked to read.
  struct Outcome {
    Verdict verdict = Verdict::wrong;
    std::size_t reach = 0;
  };

  bool isBudgetLeft() const noexcept { return budget_ != 0; }
  void pay(std::uint64_t bytes) noexcept { budget_ -= std::min(budget_, bytes + kCostOfTrial); }

  /// Reads on until something is wrong.
  Outcome tryOut(Reading& trial) {
    const std::size_t start = trial.at;
    std::size_t things = 0;
    bool isSound = true;
    while (isSound && !scan_.isDone(trial) && trial.at - start < kFarEnough)
      if ((isSound = scan_.step(trial))) ++things;
    pay(trial.at - start);
    if (trial.at - start > kLong) ++longTrials_;
    if (isSound && (trial.at - start >= kFarEnough || scan_.endsWell(trial)))
      return {Verdict::right, trial.at};
    const bool isCut = isSound || scan_.bytes().size() - trial.at < kShortTail;
    if (things >= (isCut ? kFewThings : kEnoughThings)) return {Verdict::plausible, trial.at};
    return {};
  }
  static constexpr std::size_t kShortTail = 64;  // of a document that is cut in the middle of a thing
  static constexpr std::size_t kFewThings = 3;

  void begin(std::size_t at, std::size_t keep) {
    trial_.at = at;
    trial_.open.share(reading_.open, keep);
    if (keep != 0) trial_.open.change().nextSlot = 0;
    trial_.elements = reading_.elements;
    trial_.hasEnded = false;
    trial_.isStrict = true;
    trial_.isWhole = false;
    trial_.shift.reset();
    trial_.mostShift = kAnyShift;
  }

  /// Tries a place with what is open.
  /// @return whether the search is over.
  bool tryPlace(std::size_t at, std::size_t keep, const std::optional<LostFrames>& lost,
                std::optional<Place>& best) {
    begin(at, keep);
    if (lost) {
      pushLost(*lost, trial_);
    }
    const Outcome outcome = tryOut(trial_);
    if (outcome.verdict == Verdict::wrong ||
        (best && outcome.verdict != Verdict::right && outcome.reach <= best->reach))
      return false;
    // Two classes that do equally well are none that is known.
    best = Place{at, keep, lost, outcome.reach, trial_.shift, reading_.elements};
    return outcome.verdict == Verdict::right;
  }

  /// Calls with the number of frames that stay, from the most likely on.
  template <class Call>
  bool anyKeep(Call call) {
    const std::size_t depth = reading_.open.size();
    const std::size_t lowestInner = depth > kInnerFrames ? depth - kInnerFrames : 0;
    for (std::size_t keep = depth + 1; keep-- > lowestInner;)
      if (call(keep)) return true;
    for (std::size_t keep = std::min(lowestInner, kOuterFrames); keep-- > 0;)
      if (call(keep)) return true;
    return false;
  }

  bool tryLost(std::size_t at, std::size_t keep, std::optional<Place>& best) {
    proposals_.clear();
    scan_.proposeLost(at, keep == 0 ? nullptr : &reading_.open.at(keep - 1), proposals_);
    return tryFrames(at, keep, proposals_, best);
  }

  /// Tries a place with each of some frames above what stays.
  bool tryFrames(std::size_t at, std::size_t keep, const std::vector<LostFrames>& proposals,
                 std::optional<Place>& best) {
    std::optional<Place> found;
    bool isRight = false;
    for (const LostFrames& proposal : proposals) {
      std::optional<Place> place;
      const bool isThisRight = tryPlace(at, keep, proposal, place);
      if (!place || (found && !isThisRight && place->reach <= found->reach)) continue;
      // What the property says comes before what inherits from it.
      if (isRight && !isDeclared(proposal.outer)) continue;
      found = place;
      isRight = isThisRight;
    }
    if (!found || (best && !isRight && found->reach <= best->reach)) return false;
    best = found;
    return isRight;
  }

  std::optional<Place> findPlace(std::size_t from, const Damage& damage) {
    std::vector<LostFrames> heads;
    if (scan_.knowsTypes()) scan_.proposeHeads(damage, heads);
    std::optional<Place> best;
    longTrials_ = 0;
    if (!scan_.canTell()) return best;
    for (std::size_t at = from; at < scan_.bytes().size() && isBudgetLeft(); ++at) {
      if (best && (at - best->at > kLookFurther || longTrials_ > kMostLongTrials)) break;
      if (anyKeep([&](std::size_t keep) { return tryPlace(at, keep, std::nullopt, best); })) break;
      if (tryFrames(at, reading_.open.size(), heads, best)) break;
      if (anyKeep([&](std::size_t keep) { return tryLost(at, keep, best); })) break;
    }
    return best;
  }

  void drop(std::size_t keep) {
    for (; reading_.open.size() > keep; reading_.open.pop()) listener_.onDrop();
  }

  void goOn(Damage damage) {
    reading_.isWhole = false;
    // A place from which nothing could be read is none.
    const bool isSame = damage.offset == lastDamage_;
    lastDamage_ = damage.offset;
    const std::optional<Place> place = findPlace(damage.offset + (isSame ? 1 : 0), damage);
    const std::size_t until = place ? place->at : scan_.bytes().size();
    damage.goesOn = place.has_value();
    mostShift_ = place && place->shift ? *place->shift - 1 : kAnyShift;
    const std::size_t alone = firstAlone(damage.offset, until);
    damage.bytes = alone - damage.offset;
    listener_.onDamage(damage);
    if (place) drop(place->keep);
    readAlone(alone, until);
    reading_.at = until;
    isCutOff_ = !place;
    if (place && place->lost) pushLost(*place->lost, reading_);
  }

  /// Whether an element is of the very class that its property asks for.
  static bool isDeclared(const Frame& frame) {
    return frame.property != nullptr && frame.property->getType().get() == frame.type;
  }

  static void pushLost(const LostFrames& lost, Reading& reading) {
    pushLost(lost.outer, reading);
    if (lost.inner) pushLost(*lost.inner, reading);
  }
  static void pushLost(const Frame& lost, Reading& reading) {
    const bool isElement = lost.kind == FrameKind::element;
    if (isElement) ++reading.elements;
    if (reading.listener != nullptr)
      reading.listener->onItem({.kind = isElement ? ItemKind::begin : ItemKind::beginGroup,
                                .offset = reading.at,
                                .frame = lost.kind,
                                .property = lost.property,
                                .name = lost.property == nullptr ? lost.name : lost.property->name(),
                                .type = lost.type,
                                .typeName = isElement ? lost.type->qualifiedName() : std::string_view(),
                                .isWithoutHead = true});
    reading.open.push(lost);
  }

  /// Where a whole element lies between two places; `until` where there is none.
  std::size_t firstAlone(std::size_t from, std::size_t until) {
    for (; from < until && isBudgetLeft(); ++from)
      if (standsAlone(from, until)) return from;
    return until;
  }

  bool standsAlone(std::size_t at, std::size_t until) {
    if (!scan_.canTell()) return false;
    begin(at, 0);
    trial_.mostShift = mostShift_;
    bool isSound = scan_.stepAlone(trial_);
    while (isSound && !trial_.open.empty() && trial_.at < until) isSound = scan_.step(trial_);
    pay(trial_.at - at);
    return isSound && trial_.open.empty() && trial_.at <= until;
  }

  /// Tells of whole elements among bytes that make no sense otherwise.
  /// @param from the first.
  void readAlone(std::size_t from, std::size_t until) {
    for (std::size_t at = from; at < until;) {
      Reading alone;
      Relay relay(listener_);
      alone.at = at;
      alone.listener = &relay;
      scan_.stepAlone(alone);
      while (!alone.open.empty()) scan_.step(alone);
      reading_.elements += alone.elements;
      const std::size_t next = firstAlone(alone.at, until);
      if (next != alone.at)
        listener_.onDamage({alone.at, next - alone.at, alone.at, "an element", "something else", true});
      at = next;
    }
  }

  /// Says of the first element that it stands alone.
  class Relay final : public Listener {
   public:
    explicit Relay(Listener& target) : target_(target) {}
    void onItem(const Item& item) override {
      Item told = item;
      told.isAlone = isFirst_;
      isFirst_ = false;
      target_.onItem(told);
    }
    void onDamage(const Damage& damage) override { target_.onDamage(damage); }
    void onDrop() override { target_.onDrop(); }

   private:
    Listener& target_;
    bool isFirst_ = true;
  };

  Scan& scan_;
  Listener& listener_;
  Reading reading_;
  Reading trial_;
  std::vector<LostFrames> proposals_;
  std::uint64_t budget_;
  std::size_t longTrials_ = 0;
  std::size_t lastDamage_ = std::numeric_limits<std::size_t>::max();
  std::int64_t mostShift_ = kAnyShift;  // of elements that stand alone
  bool isCutOff_ = false;               // the rest could not be read
};

}  // namespace kr::zero::inspect
