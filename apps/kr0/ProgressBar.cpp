#include "ProgressBar.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string_view>

#include "Manner.h"
#include "Visible.h"

namespace kr::zero::tool {

namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 1s;
constexpr auto kInterval = 100ms;
constexpr std::size_t kWidestName = 40;
constexpr int kBarWidth = 24;
constexpr std::string_view kWipe = "\r\033[K";

// By any bar.
std::atomic_flag isShown;

void show(std::string_view text) { static_cast<void>(!::write(STDERR_FILENO, text.data(), text.size())); }

}  // namespace

ProgressBar::ProgressBar() {
  const Manner& wanted = manner();
  if (wanted.isQuiet || wanted.isTalkative || ::isatty(STDERR_FILENO) != 1) return;
  if (!isShown.test_and_set()) drawer_ = std::thread([this] { draw(); });
}

ProgressBar::~ProgressBar() {
  {
    const std::lock_guard lock(mutex_);
    over_ = true;
  }
  wake_.notify_one();
  if (!drawer_.joinable()) return;
  drawer_.join();
  isShown.clear();
}

void ProgressBar::startStep(std::string what) {
  sayStep(what);
  if (what.size() > kWidestName) what.replace(kWidestName / 2, what.size() - kWidestName, "...");
  const std::lock_guard lock(mutex_);
  what_ = asOneLine(what);
  begun_ = std::chrono::steady_clock::now();
  fraction_ = -1;
  elements_ = 0;
}

std::function<void(double)> ProgressBar::reporter() {
  return [this](double fraction) { fraction_.store(fraction, std::memory_order_relaxed); };
}

std::function<bool(std::uint64_t)> ProgressBar::counter(std::uint64_t total) {
  if (!drawer_.joinable()) return {};
  return [this, total](std::uint64_t elements) {
    elements_.store(elements, std::memory_order_relaxed);
    if (total != 0)
      fraction_.store(static_cast<double>(elements) / static_cast<double>(total), std::memory_order_relaxed);
    return true;
  };
}

void ProgressBar::draw() {
  const auto start = std::chrono::steady_clock::now();
  std::unique_lock lock(mutex_);
  if (wake_.wait_for(lock, kPatience, [this] { return over_; })) return;
  do {
    const auto elapsed = std::chrono::steady_clock::now() - start;
    show(line(static_cast<int>(std::chrono::duration_cast<std::chrono::seconds>(elapsed).count())));
  } while (!wake_.wait_for(lock, kInterval, [this] { return over_; }));
  show(kWipe);
}

// How long the step will still take, if it goes on as it went. Too early that would only be noise.
std::string ProgressBar::rest(double fraction) const {
  constexpr double kEarly = 0.02;
  if (fraction < kEarly || fraction >= 1) return {};
  const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - begun_;
  const double seconds = spent.count() / fraction * (1 - fraction);
  return ", about " + std::to_string(static_cast<long>(std::ceil(seconds))) + " s left";
}

std::string ProgressBar::line(int seconds) {
  std::string text(kWipe);
  text += what_;
  const double fraction = fraction_.load(std::memory_order_relaxed);
  if (fraction >= 0) {
    const double bounded = std::min(fraction, 1.0);
    const int filled = static_cast<int>(bounded * kBarWidth);
    text += " [" + std::string(static_cast<std::size_t>(filled), '#') +
            std::string(static_cast<std::size_t>(kBarWidth - filled), ' ') + "] " +
            std::to_string(static_cast<int>(bounded * 100)) + " %";
  } else if (const std::uint64_t elements = elements_.load(std::memory_order_relaxed); elements != 0) {
    text += ", " + std::to_string(elements) + " elements,";
  }
  return text + " " + std::to_string(seconds) + " s" + rest(fraction);
}

}  // namespace kr::zero::tool
