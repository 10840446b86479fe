#include "ModelContent.h"

#include "kr/zero/meta/MetaModelBuilder.h"

namespace kr::zero::bench {

namespace {

// The properties of an item, looked up once: programs that make many elements do the same.
struct ItemProperties {
  explicit ItemProperties(const meta::MetaRegistry& registry)
      : type(registry.findType(std::string_view("library.Item"))) {}

  meta::Property find(std::string_view name) const { return type->findProperty(name); }

  meta::StructuredType type;
  meta::Property title = find("title");
  meta::Property isbn = find("isbn");
  meta::Property shelf = find("shelf");
  meta::Property pages = find("pages");
  meta::Property sold = find("sold");
  meta::Property price = find("price");
  meta::Property available = find("available");
  meta::Property genre = find("genre");
  meta::Property acquired = find("acquired");
  meta::Property ratings = find("ratings");
  meta::Property keywords = find("keywords");
  meta::Property original = find("original");
  meta::Property related = find("related");
  meta::Property parts = find("parts");
};

void fillValues(Element element, const Item& item, const ItemProperties& in) {
  element.setText(in.title, item.title);
  if (item.isbn) element.setText(in.isbn, *item.isbn);
  if (item.shelf) element.setText(in.shelf, *item.shelf);
  element.setInteger(in.pages, item.pages);
  if (item.sold) element.setInteger(in.sold, *item.sold);
  if (item.price) element.setReal(in.price, *item.price);
  element.setBoolean(in.available, item.available);
  if (item.genre) element.setInteger(in.genre, *item.genre);
  if (item.acquired) element.setText(in.acquired, *item.acquired);
  for (const std::int32_t rating : item.ratings) element.addInteger(in.ratings, rating);
  for (const std::string& keyword : item.keywords) element.addText(in.keywords, keyword);
}

void fillReferences(Element element, const Item& item, const ItemProperties& in,
                    const std::vector<Element>& elements) {
  if (item.original) element.setReference(in.original, elements[*item.original]);
  for (const std::uint32_t target : item.related) element.addReference(in.related, elements[target]);
}

std::optional<std::string> textOf(ConstElement element, meta::Property property) {
  if (!element.isSet(property)) return std::nullopt;
  return std::string(element.getText(property));
}

Item itemOf(ConstElement element, const ItemProperties& in) {
  Item item;
  item.title = element.getText(in.title);
  item.isbn = textOf(element, in.isbn);
  item.shelf = textOf(element, in.shelf);
  item.pages = static_cast<std::int32_t>(element.getInteger(in.pages));
  if (element.isSet(in.sold)) item.sold = element.getInteger(in.sold);
  if (element.isSet(in.price)) item.price = element.getReal(in.price);
  item.available = element.getBoolean(in.available);
  if (element.isSet(in.genre)) item.genre = static_cast<std::uint32_t>(element.getInteger(in.genre));
  item.acquired = textOf(element, in.acquired);
  for (std::size_t i = 0; i < element.size(in.ratings); ++i)
    item.ratings.push_back(static_cast<std::int32_t>(element.getInteger(in.ratings, i)));
  for (std::size_t i = 0; i < element.size(in.keywords); ++i)
    item.keywords.emplace_back(element.getText(in.keywords, i));
  return item;
}

}  // namespace

void registerLibrary(meta::MetaRegistry& registry) {
  meta::MetaModelBuilder library("http://example.org/library", "library");
  auto& genre = library.enumeration("Genre");
  for (std::uint32_t i = 0; i < kGenreCount; ++i) genre.literal(kGenreNames[i], static_cast<std::int32_t>(i));
  auto& item = library.classType("Item");
  item.property("title", "String").required();
  item.property("isbn", "String");
  item.property("shelf", "StdString");
  item.property("pages", "Integer").required();
  item.property("sold", "Integer64");
  item.property("price", "Real");
  item.property("available", "Boolean").required();
  item.property("genre", "Genre");
  item.property("acquired", "DateTime");
  item.property("ratings", "Integer").many().nonUnique();
  item.property("keywords", "String").many().nonUnique();
  item.property("original", "Item");
  item.property("related", "Item").many();
  item.property("parts", "Item").many().composite();
  library.classType("Catalog").property("items", "Item").many().composite();
  library.registerIn(registry);
}

Model makeModel(const Content& content, const meta::MetaRegistry& registry) {
  const ItemProperties in(registry);
  Model model(registry);
  Element catalog = model.createRoot("library.Catalog");
  const meta::Property items = catalog.getType()->findProperty(std::string_view("items"));
  std::vector<Element> elements, open;
  for (const Item& item : content) {
    open.resize(item.depth);
    Element element = open.empty() ? catalog.create(items) : open.back().create(in.parts);
    fillValues(element, item, in);
    elements.push_back(element);
    open.push_back(element);
  }
  for (std::size_t i = 0; i < content.size(); ++i) fillReferences(elements[i], content[i], in, elements);
  return model;
}

Content contentOf(const Model& model) {
  const ItemProperties in(model.getRegistry());
  Content content;
  std::vector<ConstElement> elements;
  std::vector<std::uint32_t> positions(model.size());
  const auto range = model.elements();
  for (auto it = range.begin(); it != range.end(); ++it) {
    if (it.getDepth() == 0) continue;  // the catalog
    positions[(*it).getIndex()] = static_cast<std::uint32_t>(content.size());
    elements.push_back(*it);
    content.push_back(itemOf(*it, in));
    content.back().depth = static_cast<std::uint32_t>(it.getDepth() - 1);
  }
  for (std::size_t i = 0; i < content.size(); ++i) {
    const ConstElement element = elements[i];
    if (const ConstElement target = element.getReference(in.original))
      content[i].original = positions[target.getIndex()];
    for (std::size_t j = 0; j < element.size(in.related); ++j)
      content[i].related.push_back(positions[element.getReference(in.related, j).getIndex()]);
  }
  return content;
}

}  // namespace kr::zero::bench
