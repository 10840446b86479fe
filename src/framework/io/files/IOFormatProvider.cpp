#include "kr/zero/io/IOFormatProvider.h"

#include <map>
#include <mutex>
#include <string>
#include <utility>

namespace kr::zero::io {

namespace {

using Format = IOFormatProvider::Format;

struct Table {
  std::mutex mutex;
  std::map<ustring, std::shared_ptr<const Format>> formats;
};

// Made when first asked for, as formats register from static initialisers of other libraries; never
// destroyed, as models may be saved while the process ends.
Table& table() {
  static Table& instance = *new Table;
  return instance;
}

std::shared_ptr<const Format> findFormat(const ustring& name) {
  Table& known = table();
  const std::lock_guard lock(known.mutex);
  const auto found = known.formats.find(name);
  if (found == known.formats.end()) {
    throw std::invalid_argument("no format \"" + toUtf8(name) + "\" is registered");
  }
  return found->second;
}

/// The name of the first format that `matches` accepts.
template <class Matches>
ustring findName(Matches matches) {
  Table& known = table();
  const std::lock_guard lock(known.mutex);
  for (const auto& [name, format] : known.formats)
    if (matches(*format)) return name;
  return {};
}

}  // namespace

// The first statics of this library to be set up: static initialisers here and in libraries above use it.
// Without memory for a name of fifteen letters no program begins.
// NOLINTBEGIN(cert-err58-cpp)
[[gnu::init_priority(101)]] const ustring IOFormatProvider::FORMAT_BINARY = u"BINARY";
[[gnu::init_priority(101)]] const ustring IOFormatProvider::FORMAT_BINARY_KRSYLVAN = u"BINARY_KRSYLVAN";
// NOLINTEND(cert-err58-cpp)

void IOFormatProvider::registerFormat(const ustring& name, Format format) {
  if (!format.makeSerializer || !format.makeParser) {
    throw std::invalid_argument("format \"" + toUtf8(name) + "\" needs both a serializer and a parser");
  }
  auto next = std::make_shared<const Format>(std::move(format));
  Table& known = table();
  const std::lock_guard lock(known.mutex);
  known.formats[name].swap(next);  // an old one goes after the lock
}

std::vector<ustring> IOFormatProvider::getFormatNames() {
  Table& known = table();
  const std::lock_guard lock(known.mutex);
  std::vector<ustring> names;
  for (const auto& entry : known.formats) names.push_back(entry.first);
  return names;
}

ustring IOFormatProvider::findBySuffix(std::string_view path) {
  return findName([&](const Format& f) { return !f.suffix.empty() && path.ends_with(f.suffix); });
}

ustring IOFormatProvider::findByContent(std::string_view bytes) {
  return findName([&](const Format& f) { return !f.beginning.empty() && bytes.starts_with(f.beginning); });
}

IOFormatProvider::Format IOFormatProvider::getFormat(const ustring& name) { return *findFormat(name); }

// The factories run outside the lock: they may look formats up themselves.
std::unique_ptr<Serializer> IOFormatProvider::createSerializer(const ustring& name) {
  return findFormat(name)->makeSerializer();
}

std::unique_ptr<Parser> IOFormatProvider::createParser(const ustring& name,
                                                       const meta::MetaRegistry& registry) {
  return findFormat(name)->makeParser(registry);
}

}  // namespace kr::zero::io
