#include "JsonContent.h"

namespace kr::zero::bench {

using nlohmann::json;

namespace {

template <class T>
void put(json& object, const char* name, const std::optional<T>& value) {
  if (value) object[name] = *value;
}

template <class T>
void put(json& object, const char* name, const std::vector<T>& values) {
  if (!values.empty()) object[name] = values;
}

template <class T>
void take(const json& object, const char* name, std::optional<T>& value) {
  if (const auto found = object.find(name); found != object.end()) value = found->get<T>();
}

template <class T>
void take(const json& object, const char* name, std::vector<T>& values) {
  if (const auto found = object.find(name); found != object.end()) values = found->get<std::vector<T>>();
}

json toJson(const Item& item) {
  json object = {{"title", item.title}, {"pages", item.pages}, {"available", item.available}};
  put(object, "isbn", item.isbn);
  put(object, "shelf", item.shelf);
  put(object, "sold", item.sold);
  put(object, "price", item.price);
  put(object, "genre", item.genre);
  put(object, "acquired", item.acquired);
  put(object, "ratings", item.ratings);
  put(object, "keywords", item.keywords);
  put(object, "original", item.original);
  put(object, "related", item.related);
  return object;
}

Item itemOf(const json& object, std::uint32_t depth) {
  Item item;
  item.depth = depth;
  object.at("title").get_to(item.title);
  object.at("pages").get_to(item.pages);
  object.at("available").get_to(item.available);
  take(object, "isbn", item.isbn);
  take(object, "shelf", item.shelf);
  take(object, "sold", item.sold);
  take(object, "price", item.price);
  take(object, "genre", item.genre);
  take(object, "acquired", item.acquired);
  take(object, "ratings", item.ratings);
  take(object, "keywords", item.keywords);
  take(object, "original", item.original);
  take(object, "related", item.related);
  return item;
}

}  // namespace

json makeJson(const Content& content) {
  json catalog = json::array();
  // Only the last object of each level is open, and appending moves only those before it.
  std::vector<json*> open;
  for (const Item& item : content) {
    open.resize(item.depth);
    json& into = open.empty() ? catalog : (*open.back())["parts"];
    into.push_back(toJson(item));
    open.push_back(&into.back());
  }
  return catalog;
}

Content contentOf(const json& catalog) {
  Content content;
  std::vector<std::pair<const json*, std::uint32_t>> open;
  const auto push = [&open](const json& items, std::uint32_t depth) {
    for (auto item = items.rbegin(); item != items.rend(); ++item) open.emplace_back(&*item, depth);
  };
  push(catalog, 0);
  while (!open.empty()) {
    const auto [item, depth] = open.back();
    open.pop_back();
    content.push_back(itemOf(*item, depth));
    if (const auto parts = item->find("parts"); parts != item->end()) push(*parts, depth + 1);
  }
  return content;
}

}  // namespace kr::zero::bench
