#include "Access.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Limits.h"
#include "MessageContent.h"
#include "ModelContent.h"
#include "Timing.h"
#include "library.kr0.h"

namespace kr::zero::bench {

namespace {

using TypedItem = models::library::Item;

/// One loop over all items, in document order everywhere.
/// @return what the loop read; of a loop that sets, 0.
using Loop = std::function<std::uint64_t()>;

/// What every item has, and no more: what is measured is access, and how far apart the values of large items
/// lie in memory counts less.
Content onlyRequired(Content content) {
  for (Item& item : content) {
    Item made;
    made.title = std::move(item.title);
    made.pages = item.pages;
    made.available = item.available;
    item = std::move(made);
  }
  return content;
}

/// The same content in memory as a model and as messages, each item at hand, and the values to set one behind
/// the other.
class Shelves {
 public:
  explicit Shelves(const Content& content) {
    registerLibrary(registry_);
    model_ = makeModel(content, registry_);
    catalog_ = makeMessages(content);
    for (const Item& item : content) {
      pages_.push_back(item.pages);
      text_ += item.title;
    }
    for (const Item& item : content) {
      const std::size_t start =
          titles_.empty()
              ? 0
              : static_cast<std::size_t>(titles_.back().data() + titles_.back().size() - text_.data());
      titles_.push_back(std::string_view(text_).substr(start, item.title.size()));
    }
    for (const Element element : model_.elements())
      if (const TypedItem item = tryAs<TypedItem>(element)) elements_.push_back(item), items_.push_back(item);
    std::vector<messages::Item*> waiting;
    for (auto it = catalog_.mutable_items()->rbegin(); it != catalog_.mutable_items()->rend(); ++it)
      waiting.push_back(&*it);
    while (!waiting.empty()) {
      messages::Item* const next = waiting.back();
      waiting.pop_back();
      messages_.push_back(next);
      for (auto it = next->mutable_parts()->rbegin(); it != next->mutable_parts()->rend(); ++it)
        waiting.push_back(&*it);
    }
    if (items_.size() != content.size() || messages_.size() != content.size())
      throw std::runtime_error("the items to access are not those that were made");
  }

  /// By system, then by operation.
  std::map<std::string, std::map<std::string, Loop>> loops() {
    return {
        {"kr0 typed", typedLoops()}, {"kr0 by name", loopsByName()}, {"Protocol Buffers", messageLoops()}};
  }

 private:
  std::map<std::string, Loop> typedLoops() {
    return {
        {"get number", [this] { return sum(items_, [](TypedItem item) { return item.getPages(); }); }},
        {"get text", [this] { return sum(items_, [](TypedItem item) { return item.getTitle().size(); }); }},
        {"set number",
         [this] {
           return each(items_, pages_, [](TypedItem item, std::int32_t pages) { item.setPages(pages); });
         }},
        {"set text", [this] {
           return each(items_, titles_, [](TypedItem item, std::string_view title) { item.setTitle(title); });
         }}};
  }
  std::map<std::string, Loop> loopsByName() {
    return {{"get number",
             [this] { return sum(elements_, [](Element item) { return item.getInteger("pages"); }); }},
            {"get text",
             [this] { return sum(elements_, [](Element item) { return item.getText("title").size(); }); }},
            {"set number",
             [this] {
               return each(elements_, pages_,
                           [](Element item, std::int32_t pages) { item.setInteger("pages", pages); });
             }},
            {"set text", [this] {
               return each(elements_, titles_,
                           [](Element item, std::string_view title) { item.setText("title", title); });
             }}};
  }
  std::map<std::string, Loop> messageLoops() {
    return {
        {"get number", [this] { return sum(messages_, [](messages::Item* item) { return item->pages(); }); }},
        {"get text",
         [this] { return sum(messages_, [](messages::Item* item) { return item->title().size(); }); }},
        {"set number",
         [this] {
           return each(messages_, pages_,
                       [](messages::Item* item, std::int32_t pages) { item->set_pages(pages); });
         }},
        {"set text", [this] {
           return each(messages_, titles_, [](messages::Item* item, std::string_view title) {
             item->mutable_title()->assign(title);
           });
         }}};
  }

  template <class Handles, class Get>
  static std::uint64_t sum(const Handles& handles, const Get& get) {
    std::uint64_t total = 0;
    for (const auto& handle : handles) total += static_cast<std::uint64_t>(get(handle));
    return total;
  }
  template <class Handles, class Values, class Set>
  static std::uint64_t each(const Handles& handles, const Values& values, const Set& set) {
    for (std::size_t i = 0; i < handles.size(); ++i) set(handles[i], values[i]);
    return 0;
  }

  meta::MetaRegistry registry_;
  Model model_{registry_};
  messages::Catalog catalog_;
  std::vector<TypedItem> items_;
  std::vector<Element> elements_;
  std::vector<messages::Item*> messages_;
  std::vector<std::int32_t> pages_;
  std::string text_;
  std::vector<std::string_view> titles_;
};

}  // namespace

namespace {

// One run is too short for the clock, and begins with what the loop before left in the caches. Of those that
// set there are fewer: texts that are set by name stay in memory.
std::size_t runsOf(const Side& side) { return std::string_view(side.operation).starts_with("get") ? 10 : 3; }

// As in the other rows, a pair's two sides follow each other, each first in every other round.
void measureOn(const Content& content, const std::string& where, bool isLimited, std::size_t rounds,
               Rows& rows) {
  Shelves shelves(content);
  const auto loops = shelves.loops();
  std::vector<Pairs> pairs(std::size(kAccessLimits));
  for (std::size_t round = 0; round < rounds; ++round) {
    for (std::size_t i = 0; i < pairs.size(); ++i) {
      const Limit& limit = kAccessLimits[i];
      std::uint64_t read[2] = {0, 0};
      double nanoseconds[2] = {0, 0};
      for (const std::size_t which : {round % 2, 1 - round % 2}) {
        const Side& side = which == 0 ? limit.ours : limit.theirs;
        const Loop& loop = loops.at(side.system).at(side.operation);
        nanoseconds[which] = nanosecondsOf([&] { read[which] = loop(); }, runsOf(side));
      }
      if (read[0] != read[1])
        throw std::runtime_error(describe(limit) + ": the two sides read different values");
      pairs[i].add(nanoseconds[0], nanoseconds[1]);
    }
  }
  for (std::size_t i = 0; i < pairs.size(); ++i)
    rows.add(describe(kAccessLimits[i]) + where, pairs[i],
             isLimited ? std::optional(kAccessLimits[i].limit) : std::nullopt);
}

}  // namespace

void measureAccessRows(std::size_t elements, std::size_t rounds, Rows& rows) {
  const Content content = makeContent(elements, kLibrarySeed);
  measureOn(onlyRequired(content), "", true, rounds, rows);
  measureOn(content, ", in large items", false, rounds, rows);
}

}  // namespace kr::zero::bench
