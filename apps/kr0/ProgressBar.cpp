#include "ProgressBar.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string_view>

namespace kr::zero::tool {

namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 1s;
constexpr auto kInterval = 100ms;
constexpr std::size_t kWidestName = 40;
constexpr int kBarWidth = 24;
constexpr std::string_view kWipe = "\r\033[K";

void show(std::string_view text) { static_cast<void>(!::write(STDERR_FILENO, text.data(), text.size())); }

}  // namespace

ProgressBar::ProgressBar() {
  if (::isatty(STDERR_FILENO) == 1) drawer_ = std::thread([this] { draw(); });
}

ProgressBar::~ProgressBar() {
  {
    const std::lock_guard lock(mutex_);
    over_ = true;
  }
  wake_.notify_one();
  if (drawer_.joinable()) drawer_.join();
}

void ProgressBar::startStep(std::string what) {
  if (what.size() > kWidestName) what.replace(kWidestName / 2, what.size() - kWidestName, "...");
  const std::lock_guard lock(mutex_);
  what_ = std::move(what);
  fraction_ = -1;
}

std::function<void(double)> ProgressBar::reporter() {
  return [this](double fraction) { fraction_.store(fraction, std::memory_order_relaxed); };
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
  }
  return text + " " + std::to_string(seconds) + " s";
}

}  // namespace kr::zero::tool
