#include <memory>
#include <mutex>
#include <utility>

#include "foundation/EnglishCatalog.h"
#include "resource_core/BaseMsgID.h"
#include "text/Utf.h"

namespace resource_core {

namespace {

// Readers hold a share of the look-up while they call it, outside the lock: replacing it neither waits
// for them nor takes it from under them, and a look-up may itself ask for texts.
struct HostLookup {
  std::mutex mutex;
  std::shared_ptr<const MessageLookup> current;
};

// Never destroyed: exceptions are also made while the process ends.
HostLookup& hostLookup() {
  static HostLookup& lookup = *new HostLookup;
  return lookup;
}

std::shared_ptr<const MessageLookup> currentLookup() {
  HostLookup& host = hostLookup();
  const std::lock_guard lock(host.mutex);
  return host.current;
}

// A look-up that fails counts as one that does not know the message: what is being reported matters
// more than the words for it.
std::optional<std::u16string> findHostText(const BaseMsgID& id) {
  const auto lookup = currentLookup();
  if (!lookup) return std::nullopt;
  try {
    return (*lookup)(id);
  } catch (...) {
    return std::nullopt;
  }
}

std::u16string identifierAndArguments(const BaseMsgID& id) {
  std::u16string text = fl::i18n::internal::showAsUtf16(id.getFullIdentifier());
  const char16_t* separator = u": ";
  for (const MsgArgument& argument : id.getArguments()) {
    text += separator;
    text += internal::toText(argument);
    separator = u", ";
  }
  return text;
}

}  // namespace

void setMessageLookup(MessageLookup lookup) {
  auto next = lookup ? std::make_shared<const MessageLookup>(std::move(lookup)) : nullptr;
  HostLookup& host = hostLookup();
  const std::lock_guard lock(host.mutex);
  host.current.swap(next);  // `next` goes after the lock, and with it what the old look-up held
}

std::u16string getMessageText(const BaseMsgID& id) {
  if (auto text = findHostText(id)) return *std::move(text);
  if (auto text = internal::findEnglishText(id)) return *std::move(text);
  return identifierAndArguments(id);
}

}  // namespace resource_core
