#include "Access.h"

#include <cstdint>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
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

/// The same content in memory three times, each item at hand.
class Shelves {
 public:
  explicit Shelves(std::size_t elements) : content_(makeContent(elements, kLibrarySeed)) {
    registerLibrary(registry_);
    model_ = makeModel(content_, registry_);
    catalog_ = makeMessages(content_);
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
    if (items_.size() != content_.size() || messages_.size() != content_.size())
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
         [this] { return each(items_, [](TypedItem item, const Item& of) { item.setPages(of.pages); }); }},
        {"set text",
         [this] { return each(items_, [](TypedItem item, const Item& of) { item.setTitle(of.title); }); }}};
  }
  std::map<std::string, Loop> loopsByName() {
    return {{"get number",
             [this] { return sum(elements_, [](Element item) { return item.getInteger("pages"); }); }},
            {"get text",
             [this] { return sum(elements_, [](Element item) { return item.getText("title").size(); }); }},
            {"set number",
             [this] {
               return each(elements_,
                           [](Element item, const Item& of) { item.setInteger("pages", of.pages); });
             }},
            {"set text", [this] {
               return each(elements_, [](Element item, const Item& of) { item.setText("title", of.title); });
             }}};
  }
  std::map<std::string, Loop> messageLoops() {
    return {
        {"get number", [this] { return sum(messages_, [](messages::Item* item) { return item->pages(); }); }},
        {"get text",
         [this] { return sum(messages_, [](messages::Item* item) { return item->title().size(); }); }},
        {"set number",
         [this] {
           return each(messages_, [](messages::Item* item, const Item& of) { item->set_pages(of.pages); });
         }},
        {"set text", [this] {
           return each(messages_, [](messages::Item* item, const Item& of) { item->set_title(of.title); });
         }}};
  }

  template <class Handles, class Get>
  static std::uint64_t sum(const Handles& handles, const Get& get) {
    std::uint64_t total = 0;
    for (const auto& handle : handles) total += static_cast<std::uint64_t>(get(handle));
    return total;
  }
  template <class Handles, class Set>
  std::uint64_t each(const Handles& handles, const Set& set) const {
    for (std::size_t i = 0; i < handles.size(); ++i) set(handles[i], content_[i]);
    return 0;
  }

  Content content_;
  meta::MetaRegistry registry_;
  Model model_{registry_};
  messages::Catalog catalog_;
  std::vector<TypedItem> items_;
  std::vector<Element> elements_;
  std::vector<messages::Item*> messages_;
};

}  // namespace

// As in the other rows, a pair's two sides follow each other, each first in every other round.
void measureAccessRows(std::size_t elements, std::size_t rounds, Rows& rows) {
  constexpr std::size_t kRuns = 10;  // one is too short for the clock
  Shelves shelves(elements);
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
        nanoseconds[which] = nanosecondsOf([&] { read[which] = loop(); }, kRuns);
      }
      if (read[0] != read[1])
        throw std::runtime_error(describe(limit) + ": the two sides read different values");
      pairs[i].add(nanoseconds[0], nanoseconds[1]);
    }
  }
  for (std::size_t i = 0; i < pairs.size(); ++i)
    rows.add(describe(kAccessLimits[i]), pairs[i], kAccessLimits[i].limit);
}

}  // namespace kr::zero::bench
