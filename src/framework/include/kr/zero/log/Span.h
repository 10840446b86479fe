/// @file
/// Spans: what an operation was called, what is known about it, and the error it ended with.
///
/// Spans form a tree. A span is a cheap handle; copies share the same span. Nothing is printed unless
/// a host sets a listener.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "foundation/log/logging_event_types.h"
#include "kr/zero/export.h"

namespace kr::zero::log {

/// A handle of what is known about an operation; never empty.
class KR0_FRAMEWORK_API Span {
 public:
  class Impl;

  /// A new root span.
  explicit Span(std::string name);

  ///@{
  /// The span itself.
  Impl* operator->() const noexcept { return impl_.get(); }
  Impl& operator*() const noexcept { return *impl_; }
  ///@}

 private:
  friend class Impl;
  explicit Span(std::shared_ptr<Impl> impl) : impl_(std::move(impl)) {}
  std::shared_ptr<Impl> impl_;
};

/// The span itself. Not safe for use from several threads at once: a span belongs to one operation.
class KR0_FRAMEWORK_API Span::Impl {
 public:
  /// A fact.
  struct Context {
    foundation::log::logging_event_types type;        ///< how grave
    std::string key;                                  ///< what it is about
    std::variant<std::string, std::u16string> value;  ///< what is so
  };

  /// Of that name, without a parent.
  explicit Impl(std::string name) : name_(std::move(name)) {}

  /// Opens a child named after a step of this operation. The parent keeps it.
  Span openChild(std::string name);

  /// Adds a fact. A key may occur more than once; the newest counts.
  /// @tparam T std::string or std::u16string.
  template <class T>
  void addContext(const foundation::log::logging_event_types& type, const std::string& key, const T& value) {
    add(Context{type, key, value});
  }

  /// Stores the full textual identifier of the error that ends the operation.
  void recordError(const std::string& fullIdentifier);

  /// The name of the operation or step.
  const std::string& getName() const noexcept { return name_; }
  /// The facts, oldest first.
  const std::vector<Context>& getContexts() const noexcept { return contexts_; }
  /// The steps, oldest first.
  const std::vector<Span>& getChildren() const noexcept { return children_; }
  /// Empty while no error is recorded.
  const std::string& getError() const noexcept { return error_; }

  /// The newest value under a key of this span as UTF-8, or null where there is none.
  const std::string* findContext(std::string_view key) const;
  /// The same, looked for in this span and all below it, newest child first.
  const std::string* findContextBelow(std::string_view key) const;

 private:
  void add(Context context);

  std::string name_;
  std::vector<Context> contexts_;
  std::vector<std::string> narrow_;  // contexts_[i].value as UTF-8
  std::vector<Span> children_;
  std::string error_;
};

/// Hears of every span in the process.
class KR0_FRAMEWORK_API SpanListener {
 public:
  virtual ~SpanListener();
  /// A span was opened as another one's child.
  virtual void onOpen(const Span::Impl& span) = 0;
  /// A fact was added.
  virtual void onContext(const Span::Impl& span, const Span::Impl::Context& context) = 0;
  /// An error was recorded.
  virtual void onError(const Span::Impl& span) = 0;
};

/// Sets the process's listener; none by default, a null pointer takes it away.
/// Threads: safe at any time; the listener itself is called from whichever thread works.
KR0_FRAMEWORK_API void setSpanListener(std::shared_ptr<SpanListener> listener);

/// Writes each call as a line to standard error.
KR0_FRAMEWORK_API std::shared_ptr<SpanListener> makeStderrSpanListener();

}  // namespace kr::zero::log
