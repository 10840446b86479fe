#include "kr/zero/inspect/Overview.h"

#include <optional>
#include <unordered_map>

#include "DirectScan.h"
#include "TaggedScan.h"

namespace kr::zero::inspect {

namespace {

/// Counts what begins, by the name that a document gives its class.
class Counter final : public Listener {
 public:
  explicit Counter(Overview& overview) : overview_(overview) {}

  void onItem(const Item& item) override {
    switch (item.kind) {
      case ItemKind::version:
        overview_.version = item.value.bits;
        return;
      case ItemKind::package:
        overview_.packages.emplace_back(item.value.text);
        return;
      case ItemKind::begin:
        if (item.frame == FrameKind::element) count(item.typeName);
        return;
      default:
        return;
    }
  }
  void onDamage(const Damage&) override {}
  void onDrop() override {}

 private:
  // Most elements are of the class of the one before.
  void count(std::string_view name) {
    if (last_ == nullptr || last_->first != name) {
      auto found = overview_.elements.find(std::string(name));
      if (found == overview_.elements.end()) found = overview_.elements.emplace(std::string(name), 0).first;
      last_ = &*found;
    }
    ++last_->second;
  }

  Overview& overview_;
  std::pair<const std::string, std::size_t>* last_ = nullptr;
};

template <class Scan>
bool readAll(Scan& scan, Reading& reading, const OffsetListener& listener) {
  constexpr std::size_t kStepBytes = std::size_t{1} << 20;
  std::size_t told = 0;
  while (!scan.isDone(reading)) {
    if (!scan.step(reading)) return false;
    if (!listener || reading.at - told < kStepBytes) continue;
    listener(told = reading.at);
  }
  return scan.endsWell(reading);
}

}  // namespace

Overview overviewOf(std::string_view document, const InspectOptions& options,
                    const OffsetListener& listener) {
  Overview overview;
  Counter counter(overview);
  Reading reading;
  reading.listener = &counter;
  std::optional<TypeTable> types;
  if (options.registry != nullptr) types.emplace(*options.registry);
  if (options.tagged) {
    TaggedScan scan(document, types ? &*types : nullptr);
    overview.isCounted = true;
    overview.isSound = scan.readHead(reading) && readAll(scan, reading, listener);
  } else {
    const DirectScan scan(document, types ? &*types : nullptr);
    overview.isCounted = types.has_value();
    overview.isSound = scan.readHead(reading) && (!types || readAll(scan, reading, listener));
  }
  return overview;
}

}  // namespace kr::zero::inspect
