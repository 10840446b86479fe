#include "Inputs.h"

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

#include "Errors.h"
#include "Visible.h"

namespace kr::zero::tool {

namespace {

using Look = std::function<void(const InputOptions& input, std::size_t position, TextOut& out)>;

ExitCode lookAtOne(const InputsOptions& inputs, std::size_t position, const Look& look, TextOut& out) {
  try {
    look(inputs.at(position), position, out);
    out.flush();
    return exitDone;
  } catch (const ReaderGone&) {
    throw;
  } catch (...) {
    out.flush();
    return complain(std::current_exception());
  }
}

ExitCode lookInTurn(const InputsOptions& inputs, const Look& look) {
  ExitCode worst = exitDone;
  for (std::size_t i = 0; i < inputs.paths.size(); ++i) {
    TextOut out;
    worst = worseOf(worst, lookAtOne(inputs, i, look, out));
  }
  return worst;
}

// What one document came to, kept until those before it are printed.
struct Result {
  bool isThere = false;
  std::string text = {};
  std::exception_ptr failure = {};
};

// Threads that take one document after the other, and one, the caller's, that prints. They never run further
// ahead of the printing than there are threads, or everything would be in memory where the first one is
// large.
class SideBySide {
 public:
  SideBySide(const InputsOptions& inputs, const Look& look)
      : inputs_(inputs), look_(look), results_(inputs.paths.size()) {}

  ExitCode run() {
    const std::size_t count = std::min(results_.size(), static_cast<std::size_t>(inputs_.jobs));
    {
      std::vector<std::jthread> threads;
      const AtEnd stop{*this};  // before the threads are waited for, on every way out
      for (std::size_t i = 0; i < count; ++i) threads.emplace_back([this] { work(); });
      for (std::size_t i = 0; i < results_.size(); ++i) print(i);
    }
    return worst_;
  }

 private:
  struct AtEnd {
    SideBySide& all;
    ~AtEnd() { all.end(); }
  };

  void end() {
    const std::lock_guard lock(mutex_);
    next_ = results_.size();
    changed_.notify_all();
  }

  void work() {
    for (std::unique_lock lock(mutex_);;) {
      const auto mayStart = [this] {
        return next_ >= results_.size() || next_ < printed_ + 2 * static_cast<std::size_t>(inputs_.jobs);
      };
      changed_.wait(lock, mayStart);
      if (next_ >= results_.size()) return;
      const std::size_t mine = next_++;
      lock.unlock();
      Result result = lookAt(mine);
      lock.lock();
      results_[mine] = std::move(result);
      changed_.notify_all();
    }
  }

  Result lookAt(std::size_t position) const {
    Result result{.isThere = true};
    TextOut out(result.text);
    try {
      look_(inputs_.at(position), position, out);
    } catch (...) {
      result.failure = std::current_exception();
    }
    out.flush();
    return result;
  }

  void print(std::size_t position) {
    Result result;
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [&] { return results_[position].isThere; });
      result = std::move(results_[position]);
      printed_ = position + 1;
      changed_.notify_all();
    }
    writeOutput("-", result.text);
    if (result.failure) worst_ = worseOf(worst_, complain(result.failure));
  }

  const InputsOptions& inputs_;
  const Look& look_;
  std::vector<Result> results_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t next_ = 0;     // the first that nobody has taken
  std::size_t printed_ = 0;  // how many are
  ExitCode worst_ = exitDone;
};

}  // namespace

void addHeading(const InputsOptions& inputs, const InputOptions& input, TextOut& out) {
  if (!inputs.isOne()) out << asName(inputName(input.path)) << ":\n";
}

void forEachInput(const InputsOptions& inputs, const Look& look) {
  if (inputs.isOne()) {
    TextOut out;
    try {
      look(inputs.at(0), 0, out);
    } catch (const ReaderGone&) {
      throw;
    } catch (...) {
      out.flush();
      throw;
    }
    return out.flush();
  }
  const ExitCode worst = inputs.jobs == 1 ? lookInTurn(inputs, look) : SideBySide(inputs, look).run();
  if (worst != exitDone) throw AlreadyTold(worst);
}

void forEachInput(const InputsOptions& inputs,
                  const std::function<void(const InputOptions& input, TextOut& out)>& look) {
  forEachInput(inputs, [&](const InputOptions& input, std::size_t, TextOut& out) { look(input, out); });
}

}  // namespace kr::zero::tool
