#include "MessageContent.h"

#include <utility>

namespace kr::zero::bench {

namespace {

void fill(messages::Item& message, const Item& item, std::uint32_t id) {
  message.set_id(id);
  message.set_title(item.title);
  if (item.isbn) message.set_isbn(*item.isbn);
  if (item.shelf) message.set_shelf(*item.shelf);
  message.set_pages(item.pages);
  if (item.sold) message.set_sold(*item.sold);
  if (item.price) message.set_price(*item.price);
  message.set_available(item.available);
  if (item.genre) message.set_genre(static_cast<messages::Genre>(*item.genre));
  if (item.acquired) message.set_acquired(*item.acquired);
  for (const std::int32_t rating : item.ratings) message.add_ratings(rating);
  for (const std::string& keyword : item.keywords) message.add_keywords(keyword);
  if (item.original) message.set_original(*item.original + 1);
  for (const std::uint32_t target : item.related) message.add_related(target + 1);
}

Item itemOf(const messages::Item& message, std::uint32_t depth) {
  Item item;
  item.depth = depth;
  item.title = message.title();
  if (message.has_isbn()) item.isbn = message.isbn();
  if (message.has_shelf()) item.shelf = message.shelf();
  item.pages = message.pages();
  if (message.has_sold()) item.sold = message.sold();
  if (message.has_price()) item.price = message.price();
  item.available = message.available();
  if (message.has_genre()) item.genre = static_cast<std::uint32_t>(message.genre());
  if (message.has_acquired()) item.acquired = message.acquired();
  item.ratings.assign(message.ratings().begin(), message.ratings().end());
  item.keywords.assign(message.keywords().begin(), message.keywords().end());
  if (message.has_original()) item.original = message.original() - 1;
  for (const std::uint32_t id : message.related()) item.related.push_back(id - 1);
  return item;
}

// Calls visit(message, depth) for every item in document order.
template <class Visit>
void forEachItem(const messages::Catalog& catalog, Visit visit) {
  std::vector<std::pair<const messages::Item*, std::uint32_t>> open;
  for (const messages::Item& top : catalog.items()) {
    open.emplace_back(&top, 0);
    while (!open.empty()) {
      const auto [item, depth] = open.back();
      open.pop_back();
      visit(*item, depth);
      for (int i = item->parts_size(); i-- > 0;) open.emplace_back(&item->parts(i), depth + 1);
    }
  }
}

}  // namespace

messages::Catalog makeMessages(const Content& content) {
  messages::Catalog catalog;
  std::vector<messages::Item*> open;
  std::uint32_t id = 0;
  for (const Item& item : content) {
    open.resize(item.depth);
    messages::Item* message = open.empty() ? catalog.add_items() : open.back()->add_parts();
    fill(*message, item, ++id);
    open.push_back(message);
  }
  return catalog;
}

Content contentOf(const messages::Catalog& catalog) {
  Content content;
  forEachItem(catalog, [&](const messages::Item& message, std::uint32_t depth) {
    content.push_back(itemOf(message, depth));
  });
  return content;
}

}  // namespace kr::zero::bench
