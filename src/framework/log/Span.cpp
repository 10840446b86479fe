#include "kr/zero/log/Span.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "log/Listener.h"
#include "text/Utf.h"

namespace kr::zero::log {

namespace {

std::string toUtf8(const std::variant<std::string, std::u16string>& value) {
  return std::visit([](const auto& text) { return fl::i18n::internal::showAsUtf8(text); }, value);
}

}  // namespace

Span::Span(std::string name) : impl_(std::make_shared<Impl>(std::move(name))) {
  internal::tellListener([this](SpanListener& listener) { listener.onOpen(*impl_); });
}

Span Span::Impl::openChild(std::string name) {
  Span child(std::make_shared<Impl>(std::move(name)));
  children_.push_back(child);
  internal::tellListener([&child](SpanListener& listener) { listener.onOpen(*child); });
  return child;
}

void Span::Impl::add(Context context) {
  narrow_.resize(contexts_.size());  // drops what an add that ran out of memory left behind
  narrow_.push_back(toUtf8(context.value));
  contexts_.push_back(std::move(context));
  internal::tellListener([this](SpanListener& listener) { listener.onContext(*this, contexts_.back()); });
}

void Span::Impl::recordError(const std::string& fullIdentifier) {
  error_ = fullIdentifier;
  internal::tellListener([this](SpanListener& listener) { listener.onError(*this); });
}

const std::string* Span::Impl::findContext(std::string_view key) const {
  const auto found = std::find_if(contexts_.rbegin(), contexts_.rend(),
                                  [key](const Context& context) { return context.key == key; });
  if (found == contexts_.rend()) return nullptr;
  return &narrow_[static_cast<std::size_t>(contexts_.rend() - found) - 1];
}

const std::string* Span::Impl::findContextBelow(std::string_view key) const {
  std::vector<const Impl*> open{this};
  while (!open.empty()) {
    const Impl& span = *open.back();
    open.pop_back();
    if (const std::string* value = span.findContext(key)) return value;
    for (const Span& child : span.children_) open.push_back(child.impl_.get());  // newest on top
  }
  return nullptr;
}

}  // namespace kr::zero::log
