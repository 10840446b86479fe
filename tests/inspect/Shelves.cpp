#include "inspect/Shelves.h"

namespace kr::zero::test {

namespace {

std::unique_ptr<meta::MetaRegistry> makeRegistry() {
  auto registry = std::make_unique<meta::MetaRegistry>();
  meta::MetaModelBuilder types("http://www.example.org/shelves", "shelves");
  types.enumeration("Genre").literal("novel", 0).literal("poetry", 1).literal("travel", 2);
  auto& named = types.classType("Named").abstractType();
  named.property("name", "String").required();
  auto& shelf = types.classType("Shelf").supertype("shelves.Named");
  shelf.property("width", "Real");
  shelf.property("shelves", "shelves.Shelf").many().composite();
  shelf.property("books", "shelves.Book").many().composite();
  auto& book = types.classType("Book").supertype("shelves.Named");
  book.property("genre", "shelves.Genre");
  book.property("pages", "Integer").required();
  book.property("inPrint", "Boolean");
  book.property("ratings", "Integer8").many();
  book.property("sequel", "shelves.Book");
  book.property("related", "shelves.Book").many();
  book.property("chapters", "shelves.Chapter").many().composite();
  book.property("note", "String");
  types.classType("AudioBook").supertype("shelves.Book").property("minutes", "Integer");
  auto& chapter = types.classType("Chapter").supertype("shelves.Named");
  chapter.property("lines", "Integer16");
  types.registerIn(*registry);
  return registry;
}

class ShelfMaker {
 public:
  ShelfMaker(Model& model, std::uint64_t seed) : model_(model), random_(seed) {}

  void make(std::size_t elements) {
    std::vector<Element> shelves{named(model_.createRoot("shelves.Shelf"))};
    while (count_ < elements) {
      Element shelf = random_.pick(shelves);
      if (random_.percent(10)) {
        shelves.push_back(named(shelf.create("shelves", "shelves.Shelf")));
        if (random_.percent(50)) shelves.back().set("width", static_cast<double>(random_.below(999)) / 8);
      } else {
        makeBook(shelf);
      }
    }
    for (Element book : books_) refer(book);
  }

 private:
  Element named(Element element) {
    element.set("name", "element " + std::to_string(++count_));
    return element;
  }
  void makeBook(Element shelf) {
    Element book = named(shelf.create("books", random_.percent(20) ? "shelves.AudioBook" : "shelves.Book"));
    books_.push_back(book);
    book.set("pages", static_cast<int>(random_.below(2000)));
    if (random_.percent(60)) book.set("genre", static_cast<int>(random_.below(3)));
    if (random_.percent(60)) book.set("inPrint", random_.percent(50));
    for (std::size_t i = random_.below(4); i > 0; --i)
      book.add("ratings", static_cast<int>(random_.below(6)));
    if (random_.percent(30)) book.set("note", std::string(random_.below(300), 'n'));
    if (random_.percent(10)) book.setIdentity("isbn", std::to_string(count_));
    for (std::size_t i = random_.below(5); i > 0; --i)
      named(book.create("chapters", "shelves.Chapter")).set("lines", static_cast<int>(random_.below(500)));
  }
  void refer(Element book) {
    if (random_.percent(40)) book.putReference("sequel", random_.pick(books_));
    for (std::size_t i = random_.below(3); i > 0; --i) book.putReference("related", random_.pick(books_));
  }

  Model& model_;
  Random random_;
  std::size_t count_ = 0;
  std::vector<Element> books_;
};

void appendReferences(std::string& text, ConstElement element, meta::Property property) {
  for (std::size_t i = 0; i < element.size(property); ++i) {
    const ConstElement target = element.getReference(property, i);
    text += target ? " -> " + std::string(target.getText("name")) : " -> ?";
  }
}

}  // namespace

const meta::MetaRegistry& shelvesRegistry() {
  static const std::unique_ptr<meta::MetaRegistry> registry = makeRegistry();
  return *registry;
}

Model makeShelves(std::size_t elements, std::uint64_t seed) {
  Model model(shelvesRegistry());
  ShelfMaker(model, seed).make(elements);
  return model;
}

Bytes harm(Bytes document, Harm harm, std::size_t at, std::size_t bytes, Random& random) {
  const auto place = document.begin() + static_cast<std::ptrdiff_t>(at);
  const auto end = place + static_cast<std::ptrdiff_t>(bytes);
  if (harm == Harm::remove) return document.erase(place, end), document;
  if (harm == Harm::insert) document.insert(place, bytes, 0);
  for (std::size_t i = 0; i < bytes; ++i) document[at + i] = static_cast<std::uint8_t>(random.next());
  return document;
}

std::string contentOf(ConstElement element) {
  std::string text = element.getType()->qualifiedName();
  for (const meta::Property property : element.getType()->getAllProperties()) {
    text += "; " + property->name();
    if (meta::isPrimitive(property->getKind()))
      for (std::size_t i = 0; i < element.size(property); ++i) text += " " + element.getTextForm(property, i);
    if (property->getKind() == meta::PropertyKind::association) appendReferences(text, element, property);
  }
  return text;
}

std::map<std::string, ConstElement> byName(const Model& model) {
  std::map<std::string, ConstElement> found;
  for (const ConstElement element : model.elements())
    if (element.isSet("name")) found.emplace(element.getText("name"), element);
  return found;
}

}  // namespace kr::zero::test
