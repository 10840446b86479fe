#include "SchemaPairs.h"

#include <algorithm>
#include <iterator>
#include <ostream>
#include <stdexcept>

namespace kr::zero::test {

namespace {

using evolution::ChangeKind;
using evolution::Effect;
using evolution::Effects;
using meta::MetaModelBuilder;
using meta::MetaRegistry;
using meta::TypeBuilder;
using DefineOne = std::function<void(MetaModelBuilder&)>;

constexpr Effect kNothing = Effect::nothing;
constexpr Effect kIncomplete = Effect::incomplete;
constexpr Effect kRefused = Effect::refused;
constexpr Effect kWrong = Effect::wrong;
constexpr Effects kAllNothing{};
constexpr Effects kAllIncomplete{kIncomplete, kIncomplete, kIncomplete, kIncomplete};
constexpr Effects kAllRefused{kRefused, kRefused, kRefused, kRefused};

std::function<void(MetaRegistry&)> package(const std::string& uri, const std::string& name,
                                           DefineOne define) {
  return [=](MetaRegistry& registry) {
    MetaModelBuilder builder(uri, name);
    define(builder);
    builder.registerIn(registry);
  };
}

std::function<void(MetaRegistry&)> books(DefineOne define) {
  return package("urn:books", "books", std::move(define));
}

/// A class "Book" with what is given; the other classes first.
std::function<void(MetaRegistry&)> book(std::function<void(TypeBuilder&)> define) {
  return books([define](MetaModelBuilder& builder) { define(builder.classType("Book")); });
}

/// A class "Book" with one property "value", number 1.
std::function<void(MetaRegistry&)> value(const std::string& type, std::uint32_t lower, std::int32_t upper) {
  return books([=](MetaModelBuilder& builder) {
    builder.enumeration("Color").literal("red", 0).literal("blue", 1);
    builder.enumeration("Tone").literal("dark", 0).literal("light", 1);
    builder.primitive("Isbn");
    builder.classType("Page").property("text", "String");
    builder.classType("Note").supertype("Page");
    builder.classType("Book").property("value", type).id(1).bounds(lower, upper);
  });
}

std::function<void(Model&)> oneBook(std::function<void(Element)> fill) {
  return [fill](Model& model) { fill(model.createRoot("books.Book")); };
}

template <class T>
std::function<void(Model&)> bookWith(T given) {
  return oneBook([given](Element book) { book.set("value", given); });
}

std::function<void(Model&)> bookWithText(const std::string& form) {
  return oneBook([form](Element book) { book.setTextForm("value", form); });
}

// --- Properties that come, go and change places ---------------------------------------------------

void appendPlaces(std::vector<SchemaPair>& pairs) {
  const auto title = [](Element book) { book.set("title", "Moby Dick"); };
  const auto names = [](TypeBuilder& type, std::uint32_t first, std::uint32_t last) {
    type.property("firstName", "String").id(first);
    type.property("lastName", "String").id(last);
  };
  const auto herman = oneBook([](Element person) {
    person.set("firstName", "Herman");
    person.set("lastName", "Melville");
  });
  pairs.push_back({"orderOfDeclarationWithPins", book([=](TypeBuilder& type) { names(type, 1, 2); }),
                   book([](TypeBuilder& type) {
                     type.property("lastName", "String").id(2);
                     type.property("firstName", "String").id(1);
                   }),
                   herman, ChangeKind::propertyAdded, "", kAllNothing});
  pairs.push_back({"orderOfDeclarationWithoutPins",
                   book([](TypeBuilder& type) {
                     type.property("firstName", "String");
                     type.property("lastName", "String");
                   }),
                   book([](TypeBuilder& type) {
                     type.property("lastName", "String");
                     type.property("firstName", "String");
                   }),
                   herman,
                   ChangeKind::propertyRenumbered,
                   "books.Book.lastName",
                   {kWrong, kNothing, kNothing, kNothing}});
  pairs.push_back({"numbersSwapped",
                   book([=](TypeBuilder& type) { names(type, 1, 2); }),
                   book([=](TypeBuilder& type) { names(type, 2, 1); }),
                   herman,
                   ChangeKind::propertyRenumbered,
                   "books.Book.firstName",
                   {kWrong, kNothing, kNothing, kNothing}});
  pairs.push_back({"numberMovedToAFreeOne",
                   book([=](TypeBuilder& type) { names(type, 1, 2); }),
                   book([=](TypeBuilder& type) { names(type, 1, 3); }),
                   herman,
                   ChangeKind::propertyRenumbered,
                   "books.Book.lastName",
                   {kRefused, kNothing, kNothing, kNothing}});
  pairs.push_back({"propertyRemoved", book([=](TypeBuilder& type) { names(type, 1, 2); }),
                   book([](TypeBuilder& type) { type.property("firstName", "String").id(1); }), herman,
                   ChangeKind::propertyRemoved, "books.Book.lastName", kAllRefused});
  const auto before = book([](TypeBuilder& type) { type.property("title", "String").id(1); });
  pairs.push_back({"propertyAdded", before, book([](TypeBuilder& type) {
                     type.property("title", "String").id(1);
                     type.property("isbn", "String").id(2);
                   }),
                   oneBook(title), ChangeKind::propertyAdded, "books.Book.isbn", kAllNothing});
  pairs.push_back({"requiredPropertyAdded", before, book([](TypeBuilder& type) {
                     type.property("title", "String").id(1);
                     type.property("isbn", "String").id(2).required();
                   }),
                   oneBook(title), ChangeKind::propertyAdded, "books.Book.isbn", kAllIncomplete});
  pairs.push_back({"requiredPropertyWithADefaultAdded", before, book([](TypeBuilder& type) {
                     type.property("title", "String").id(1);
                     type.property("isbn", "String").id(2).required().defaultText("none");
                   }),
                   oneBook(title), ChangeKind::propertyAdded, "books.Book.isbn", kAllNothing});
  const auto untitled = book([](TypeBuilder& type) { type.property("name", "String").id(1); });
  pairs.push_back({"propertyRenamedWithoutAWord",
                   before,
                   untitled,
                   oneBook(title),
                   ChangeKind::numberReused,
                   "books.Book.title",
                   {kWrong, kRefused, kRefused, kRefused}});
  pairs.push_back({"propertyRenamed",
                   before,
                   untitled,
                   oneBook(title),
                   ChangeKind::propertyRenamed,
                   "books.Book.title",
                   {kNothing, kRefused, kRefused, kRefused},
                   {{"books.Book.title", "name"}}});
  pairs.push_back({"numberReusedForAnotherWidth", before,
                   book([](TypeBuilder& type) { type.property("pages", "Integer").id(1); }), oneBook(title),
                   ChangeKind::numberReused, "books.Book.title", kAllRefused});
  pairs.push_back({"propertyInsertedWithoutPins",
                   book([](TypeBuilder& type) { type.property("title", "String"); }),
                   book([](TypeBuilder& type) {
                     type.property("isbn", "String");
                     type.property("title", "String");
                   }),
                   oneBook(title),
                   ChangeKind::propertyRenumbered,
                   "books.Book.title",
                   {kWrong, kNothing, kNothing, kNothing}});
  pairs.push_back({"partsOfADatatypeSwapped",
                   books([](MetaModelBuilder& builder) {
                     auto& size = builder.datatype("Size");
                     size.property("width", "Integer").id(1).required();
                     size.property("height", "Integer").id(2).required();
                     builder.classType("Book").property("size", "Size").id(1);
                   }),
                   books([](MetaModelBuilder& builder) {
                     auto& size = builder.datatype("Size");
                     size.property("width", "Integer").id(2).required();
                     size.property("height", "Integer").id(1).required();
                     builder.classType("Book").property("size", "Size").id(1);
                   }),
                   oneBook([](Element book) {
                     Element size = book.create("size");
                     size.set("width", 12);
                     size.set("height", 19);
                   }),
                   ChangeKind::propertyRenumbered,
                   "books.Size.width",
                   {kWrong, kNothing, kNothing, kNothing}});
}

// --- Types of values ------------------------------------------------------------------------------

void appendTypes(std::vector<SchemaPair>& pairs) {
  const auto add = [&](const std::string& name, const std::string& before, const std::string& after,
                       std::function<void(Model&)> fill, const Effects& effects) {
    pairs.push_back({name, value(before, 1, 1), value(after, 1, 1), std::move(fill),
                     ChangeKind::propertyTypeChanged, "books.Book.value", effects});
  };
  constexpr std::int64_t kNoReal = (std::int64_t{1} << 53) + 1;
  add("numberWidened", "Integer16", "Integer", bookWith(300), {kRefused, kNothing, kNothing, kNothing});
  add("numberNarrowed", "Integer", "Integer8", bookWith(300), kAllRefused);
  add("numberMadeReal", "Integer", "Real", bookWith(300), {kRefused, kRefused, kNothing, kNothing});
  add("longNumberMadeReal", "Integer64", "Real", bookWith(kNoReal), {kWrong, kRefused, kWrong, kRefused});
  add("realMadeNumber", "Real", "Integer64", bookWith(0.5), {kWrong, kRefused, kRefused, kRefused});
  add("signDropped", "Integer", "UnlimitedNatural", bookWith(-1), {kWrong, kRefused, kRefused, kRefused});
  add("booleanMadeNumber", "Boolean", "Integer8", bookWith(false), {kWrong, kRefused, kRefused, kRefused});
  add("numberMadeBoolean", "Integer8", "Boolean", bookWith(7), {kWrong, kRefused, kRefused, kRefused});
  add("numberMadeText", "Integer", "String", bookWith(300), {kRefused, kRefused, kNothing, kRefused});
  add("textMadeNumber", "String", "Integer", bookWith("many"), kAllRefused);
  add("literalMadeText", "Color", "String", bookWithText("blue"), {kRefused, kNothing, kNothing, kRefused});
  add("textMadeLiteral", "String", "Color", bookWith("green"), kAllRefused);
  add("literalMadeNumber", "Color", "Integer", bookWithText("blue"), {kWrong, kRefused, kRefused, kRefused});
  add("numberMadeLiteral", "Integer", "Color", bookWith(1), {kWrong, kRefused, kRefused, kRefused});
  add("anotherEnumeration", "Color", "Tone", bookWithText("blue"), {kWrong, kRefused, kRefused, kRefused});
  add("uuidMadeText", "UUID", "String", bookWithText("00112233-4455-6677-8899-aabbccddeeff"), kAllNothing);
  add("textMadeDate", "String", "DateTime", bookWith("yesterday"), kAllRefused);
  add("dateMadeText", "DateTime", "String", bookWithText("1851-10-18"), kAllNothing);
  add("textMadeOwnPrimitive", "String", "Isbn", bookWith("0141"), kAllNothing);
  pairs.push_back(
      {"classMadeNumber", value("Page", 0, 1), value("Integer", 0, 1),
       [](Model& model) { model.createRoot("books.Book").set("value", model.createRoot("books.Page")); },
       ChangeKind::propertyTypeChanged, "books.Book.value", kAllRefused});
  pairs.push_back(
      {"targetWidened", value("Note", 0, 1), value("Page", 0, 1),
       [](Model& model) { model.createRoot("books.Book").set("value", model.createRoot("books.Note")); },
       ChangeKind::propertyTypeChanged, "books.Book.value", kAllNothing});
  pairs.push_back(
      {"targetNarrowed", value("Page", 0, 1), value("Note", 0, 1),
       [](Model& model) { model.createRoot("books.Book").set("value", model.createRoot("books.Page")); },
       ChangeKind::propertyTypeChanged, "books.Book.value", kAllRefused});
}

// --- Bounds ---------------------------------------------------------------------------------------

void appendBounds(std::vector<SchemaPair>& pairs) {
  const auto add = [&](const std::string& name, std::function<void(MetaRegistry&)> before,
                       std::function<void(MetaRegistry&)> after, std::function<void(Model&)> fill,
                       const Effects& effects) {
    pairs.push_back({name, std::move(before), std::move(after), std::move(fill),
                     ChangeKind::propertyBoundsChanged, "books.Book.value", effects});
  };
  const auto two = oneBook([](Element book) {
    book.add("value", "one");
    book.add("value", "two");
  });
  const auto empty = oneBook([](Element book) { book.setEmpty("value"); });
  add("textMadeMany", value("String", 1, 1), value("String", 0, -1), bookWith("Moby Dick"),
      {kRefused, kRefused, kWrong, kNothing});
  add("numberMadeMany", value("Integer", 1, 1), value("Integer", 0, -1), bookWith(300),
      {kRefused, kRefused, kNothing, kNothing});
  add("optionalNumberMadeMany", value("Integer", 0, 1), value("Integer", 0, -1), empty,
      {kRefused, kRefused, kRefused, kNothing});
  add("manyMadeSingle", value("String", 0, -1), value("String", 0, 1), two, kAllRefused);
  add("optionalMadeRequired", value("String", 0, 1), value("String", 1, 1), empty, kAllRefused);
  add("requiredMadeOptional", value("String", 1, 1), value("String", 0, 1), bookWith("Moby Dick"),
      {kRefused, kNothing, kNothing, kNothing});
  add("moreAskedFor", value("String", 0, -1), value("String", 3, -1), two, kAllIncomplete);
  add("fewerAllowed", value("Integer", 0, -1), value("Integer", 0, 2), oneBook([](Element book) {
        for (const int number : {1, 2, 3}) book.add("value", number);
      }),
      kAllIncomplete);
  add("moreAllowed", value("String", 0, 2), value("String", 0, 5), two, kAllNothing);
  add("referenceMadeMany", value("Page", 0, 1), value("Page", 0, -1),
      [](Model& model) { model.createRoot("books.Book").set("value", model.createRoot("books.Page")); },
      {kRefused, kRefused, kNothing, kNothing});
  add(
      "referenceMadeRequired", value("Page", 0, 1), value("Page", 1, 1),
      [](Model& model) { model.createRoot("books.Book"); }, kAllIncomplete);
}

// --- Containment ----------------------------------------------------------------------------------

std::function<void(MetaRegistry&)> pages(bool composite, std::int32_t upper) {
  return books([=](MetaModelBuilder& builder) {
    builder.classType("Page").property("text", "String").id(1);
    auto& property = builder.classType("Book").property("pages", "Page").id(1).bounds(0, upper);
    if (composite) property.composite();
  });
}

void appendContainment(std::vector<SchemaPair>& pairs) {
  const auto contained = [](std::size_t count) {
    return oneBook([count](Element book) {
      for (std::size_t i = 0; i < count; ++i) book.create("pages").set("text", "Call me Ishmael.");
    });
  };
  const auto referred = [](Model& model) {
    Element book = model.createRoot("books.Book");
    Element page = model.createRoot("books.Page");
    page.set("text", "Call me Ishmael.");
    book.add("pages", page);
  };
  const std::string subject = "books.Book.pages";
  pairs.push_back({"childMadeMany",
                   pages(true, 1),
                   pages(true, -1),
                   contained(1),
                   ChangeKind::propertyBoundsChanged,
                   subject,
                   {kNothing, kRefused, kNothing, kNothing}});
  pairs.push_back({"childrenMadeSingle", pages(true, -1), pages(true, 1), contained(2),
                   ChangeKind::propertyBoundsChanged, subject, kAllRefused});
  pairs.push_back({"childrenMadeReferences", pages(true, -1), pages(false, -1), contained(2),
                   ChangeKind::containmentChanged, subject, kAllRefused});
  pairs.push_back({"referencesMadeChildren", pages(false, -1), pages(true, -1), referred,
                   ChangeKind::containmentChanged, subject, kAllRefused});
  const auto notes = [](const char* type, bool isAbstract) {
    return books([=](MetaModelBuilder& builder) {
      auto& page = builder.classType("Page");
      if (isAbstract) page.abstractType();
      page.property("text", "String").id(1);
      builder.classType("Note").supertype("Page");
      builder.classType("Book").property("pages", type).id(1).many().composite();
    });
  };
  // XMI leaves the class of such a child to the meta model.
  pairs.push_back({"childClassWidened",
                   notes("Note", false),
                   notes("Page", false),
                   contained(2),
                   ChangeKind::propertyTypeChanged,
                   subject,
                   {kNothing, kNothing, kWrong, kNothing}});
  pairs.push_back({"childClassWidenedToAnAbstractOne",
                   notes("Note", true),
                   notes("Page", true),
                   contained(2),
                   ChangeKind::propertyTypeChanged,
                   subject,
                   {kNothing, kNothing, kRefused, kNothing}});
}

// --- Markers --------------------------------------------------------------------------------------

void appendMarkers(std::vector<SchemaPair>& pairs) {
  const auto add = [&](const std::string& name, std::function<void(meta::PropertyBuilder&)> before,
                       std::function<void(meta::PropertyBuilder&)> after, std::function<void(Model&)> fill,
                       ChangeKind kind, const Effects& effects) {
    const auto with = [](std::function<void(meta::PropertyBuilder&)> mark) {
      return book([mark](TypeBuilder& type) { mark(type.property("value", "String")); });
    };
    pairs.push_back({name, with(before), with(after), std::move(fill), kind, "books.Book.value", effects});
  };
  const auto plain = [](meta::PropertyBuilder&) {};
  const auto many = [](meta::PropertyBuilder& property) { property.many(); };
  const auto twice = oneBook([](Element book) {
    book.add("value", "whale");
    book.add("value", "whale");
  });
  add(
      "madeDerived", plain, [](auto& p) { p.derived(); }, bookWith("whale"), ChangeKind::storageChanged,
      kAllRefused);
  add(
      "madeStatic", plain, [](auto& p) { p.isStatic(); }, bookWith("whale"), ChangeKind::storageChanged,
      kAllRefused);
  add("madeTransient", plain, [](auto& p) { p.isTransient(); }, bookWith("whale"), ChangeKind::storageChanged,
      {kNothing, kNothing, kRefused, kNothing});
  add(
      "derivedMadeStored", [](auto& p) { p.derived(); }, [](auto& p) { p.required(); },
      oneBook([](Element) {}), ChangeKind::storageChanged, kAllIncomplete);
  add(
      "madeUnordered", many, [](auto& p) { p.many().unordered(); },
      oneBook([](Element book) { book.add("value", "whale"); }), ChangeKind::orderedChanged, kAllNothing);
  add(
      "madeUnique", [](auto& p) { p.many().nonUnique(); }, many, twice, ChangeKind::uniqueChanged,
      kAllIncomplete);
  add(
      "madeNonUnique", many, [](auto& p) { p.many().nonUnique(); },
      oneBook([](Element book) { book.add("value", "whale"); }), ChangeKind::uniqueChanged, kAllNothing);
  add(
      "defaultChanged", [](auto& p) { p.defaultText("whale"); }, [](auto& p) { p.defaultText("shark"); },
      oneBook([](Element) {}), ChangeKind::defaultChanged, kAllNothing);
  add(
      "defaultOfARequiredOneRemoved", [](auto& p) { p.required().defaultText("whale"); },
      [](auto& p) { p.required(); }, oneBook([](Element) {}), ChangeKind::defaultChanged, kAllIncomplete);
  const auto friends = [](bool areOpposite) {
    return book([=](TypeBuilder& type) {
      auto& before = type.property("prequel", "Book").id(1);
      auto& after = type.property("sequel", "Book").id(2);
      if (!areOpposite) return;
      before.opposite("sequel");
      after.opposite("prequel");
    });
  };
  const auto oneSided = [](Model& model) {
    model.createRoot("books.Book").set("sequel", model.createRoot("books.Book"));
  };
  pairs.push_back({"oppositeAdded", friends(false), friends(true), oneSided, ChangeKind::oppositeChanged,
                   "books.Book.sequel", kAllIncomplete});
  pairs.push_back({"oppositeRemoved", friends(true), friends(false),
                   [](Model& model) {
                     Element first = model.createRoot("books.Book");
                     Element second = model.createRoot("books.Book");
                     first.set("sequel", second);
                     if (!second.isSet("prequel")) second.set("prequel", first);
                   },
                   ChangeKind::oppositeChanged, "books.Book.sequel", kAllNothing});
}

// --- Literals -------------------------------------------------------------------------------------

void appendLiterals(std::vector<SchemaPair>& pairs) {
  const auto colors = [](std::vector<meta::EnumLiteral> literals) {
    return books([literals](MetaModelBuilder& builder) {
      auto& color = builder.enumeration("Color");
      for (const meta::EnumLiteral& literal : literals)
        color.literal(literal.name, literal.number, literal.text);
      builder.classType("Book").property("color", "Color").id(1);
    });
  };
  const auto blue = oneBook([](Element book) { book.setTextForm("color", "blue"); });
  const auto before = colors({{"red", "", 0}, {"blue", "", 1}});
  const auto add = [&](const std::string& name, std::vector<meta::EnumLiteral> after, ChangeKind kind,
                       const std::string& subject, const Effects& effects) {
    pairs.push_back({name, before, colors(std::move(after)), blue, kind, subject, effects});
  };
  const std::string subject = "books.Color.blue";
  add("literalAdded", {{"red", "", 0}, {"blue", "", 1}, {"green", "", 2}}, ChangeKind::literalAdded,
      "books.Color.green", kAllNothing);
  add("literalRemoved", {{"red", "", 0}}, ChangeKind::literalRemoved, subject, kAllRefused);
  add("literalsInAnotherOrder", {{"blue", "", 1}, {"red", "", 0}}, ChangeKind::literalAdded, "", kAllNothing);
  add("literalsRenumbered", {{"red", "", 1}, {"blue", "", 0}}, ChangeKind::literalRenumbered, subject,
      {kWrong, kNothing, kNothing, kNothing});
  add("literalMovedToAFreeNumber", {{"red", "", 0}, {"blue", "", 5}}, ChangeKind::literalRenumbered, subject,
      {kRefused, kNothing, kNothing, kNothing});
  add("literalSharesItsNumber", {{"red", "", 0}, {"green", "", 1}, {"blue", "", 1}},
      ChangeKind::literalRenumbered, subject, {kWrong, kWrong, kRefused, kRefused});
  add("literalRenamedWithoutAWord", {{"red", "", 0}, {"navy", "", 1}}, ChangeKind::literalRemoved, subject,
      {kWrong, kRefused, kRefused, kRefused});
  pairs.push_back({"literalRenamed",
                   before,
                   colors({{"red", "", 0}, {"navy", "", 1}}),
                   blue,
                   ChangeKind::literalRenamed,
                   subject,
                   {kNothing, kRefused, kRefused, kRefused},
                   {{subject, "navy"}}});
  add("literalGotAnotherText", {{"red", "", 0}, {"blue", "azure", 1}}, ChangeKind::literalTextChanged,
      subject, kAllNothing);
  pairs.push_back({"literalLostItsText",
                   colors({{"red", "", 0}, {"blue", "azure", 1}}),
                   before,
                   blue,
                   ChangeKind::literalTextChanged,
                   subject,
                   {kNothing, kNothing, kRefused, kNothing}});
  pairs.push_back({"literalTextsSwapped",
                   colors({{"red", "r", 0}, {"blue", "b", 1}}),
                   colors({{"red", "b", 0}, {"blue", "r", 1}}),
                   blue,
                   ChangeKind::literalTextChanged,
                   subject,
                   {kNothing, kNothing, kWrong, kNothing}});
}

// --- Classes --------------------------------------------------------------------------------------

void appendClasses(std::vector<SchemaPair>& pairs) {
  const auto titled = [](TypeBuilder& type) { type.property("title", "String").id(1); };
  const auto moby = oneBook([](Element book) { book.set("title", "Moby Dick"); });
  const auto before = book(titled);
  pairs.push_back({"classAdded", before, books([=](MetaModelBuilder& builder) {
                     titled(builder.classType("Book"));
                     builder.classType("Atlas");
                   }),
                   moby, ChangeKind::typeAdded, "books.Atlas", kAllNothing});
  pairs.push_back({"classRemoved", before,
                   books([](MetaModelBuilder& builder) { builder.classType("Atlas"); }), moby,
                   ChangeKind::typeRemoved, "books.Book", kAllRefused});
  pairs.push_back({"classRenamed",
                   before,
                   books([=](MetaModelBuilder& builder) { titled(builder.classType("Volume")); }),
                   moby,
                   ChangeKind::typeRenamed,
                   "books.Book",
                   kAllRefused,
                   {{"books.Book", "books.Volume"}}});
  pairs.push_back({"classMadeAbstract", before, book([=](TypeBuilder& type) { titled(type.abstractType()); }),
                   moby, ChangeKind::classMadeAbstract, "books.Book", kAllRefused});
  pairs.push_back({"classMadeConcrete", books([=](MetaModelBuilder& builder) {
                     builder.classType("Named").abstractType();
                     titled(builder.classType("Book").supertype("Named"));
                   }),
                   books([=](MetaModelBuilder& builder) {
                     builder.classType("Named");
                     titled(builder.classType("Book").supertype("Named"));
                   }),
                   moby, ChangeKind::classMadeConcrete, "books.Named", kAllNothing});
  pairs.push_back({"abstractClassRemoved", books([=](MetaModelBuilder& builder) {
                     builder.classType("Named").abstractType();
                     titled(builder.classType("Book"));
                   }),
                   before, moby, ChangeKind::typeRemoved, "books.Named", kAllNothing});
  pairs.push_back({"primitiveRemoved", books([=](MetaModelBuilder& builder) {
                     builder.primitive("Isbn");
                     titled(builder.classType("Book"));
                   }),
                   before, moby, ChangeKind::typeRemoved, "books.Isbn", kAllNothing});
  pairs.push_back({"classMadeEnumeration", before, books([](MetaModelBuilder& builder) {
                     builder.enumeration("Book").literal("Moby Dick", 0);
                   }),
                   moby, ChangeKind::typeKindChanged, "books.Book", kAllRefused});
  const auto shelf = [=](bool inherits) {
    return books([=](MetaModelBuilder& builder) {
      builder.classType("Item");
      auto& book = builder.classType("Book");
      titled(book);
      if (inherits) book.supertype("Item");
      builder.classType("Shelf").property("items", "Item").id(1).many().composite();
    });
  };
  pairs.push_back({"supertypeAdded", shelf(false), shelf(true), moby, ChangeKind::supertypesChanged,
                   "books.Book", kAllNothing});
  pairs.push_back({"supertypeRemoved", shelf(true), shelf(false),
                   [](Model& model) {
                     model.createRoot("books.Shelf").create("items", "books.Book").set("title", "Moby Dick");
                   },
                   ChangeKind::supertypesChanged, "books.Book", kAllRefused});
  const auto named = [=](bool above, std::uint32_t number) {
    return books([=](MetaModelBuilder& builder) {
      auto& item = builder.classType("Item").abstractType();
      auto& book = builder.classType("Book").supertype("Item");
      (above ? item : book).property("title", "String").id(number);
    });
  };
  pairs.push_back({"propertyMovedUp", named(false, 1), named(true, 1), moby, ChangeKind::propertyMoved,
                   "books.Book.title", kAllNothing});
  pairs.push_back({"propertyMovedDown", named(true, 1), named(false, 1), moby, ChangeKind::propertyMoved,
                   "books.Item.title", kAllNothing});
  pairs.push_back({"propertyMovedWithAnotherNumber",
                   named(false, 1),
                   named(true, 2),
                   moby,
                   ChangeKind::propertyRenumbered,
                   "books.Book.title",
                   {kRefused, kNothing, kNothing, kNothing}});
}

// --- Packages -------------------------------------------------------------------------------------

void appendPackages(std::vector<SchemaPair>& pairs) {
  const DefineOne define = [](MetaModelBuilder& builder) {
    builder.classType("Book").property("title", "String").id(1);
  };
  const auto moby = oneBook([](Element book) { book.set("title", "Moby Dick"); });
  const auto before = books(define);
  pairs.push_back({"packageUriChanged",
                   before,
                   package("urn:books:2", "books", define),
                   moby,
                   ChangeKind::packageUriChanged,
                   "urn:books",
                   {kRefused, kRefused, kRefused, kNothing}});
  pairs.push_back({"packageRenamed",
                   before,
                   package("urn:books", "tomes", define),
                   moby,
                   ChangeKind::packageRenamed,
                   "urn:books",
                   {kRefused, kRefused, kNothing, kRefused}});
  pairs.push_back({"packageRemoved", before, package("urn:music", "music", define), moby,
                   ChangeKind::packageRemoved, "urn:books", kAllRefused});
  pairs.push_back({"packageAdded", before,
                   [=](MetaRegistry& registry) {
                     before(registry);
                     package("urn:music", "music", define)(registry);
                   },
                   moby, ChangeKind::packageAdded, "urn:music", kAllNothing});
}

std::vector<SchemaPair> makePairs() {
  std::vector<SchemaPair> pairs;
  for (const auto append : {appendPlaces, appendTypes, appendBounds, appendContainment, appendMarkers,
                            appendLiterals, appendClasses, appendPackages})
    append(pairs);
  return pairs;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const SchemaPair& pair) { return out << pair.name; }

const std::vector<SchemaPair>& schemaPairs() {
  static const std::vector<SchemaPair> pairs = makePairs();
  return pairs;
}

const SchemaPair& schemaPair(std::string_view name) {
  const auto& pairs = schemaPairs();
  const auto found =
      std::find_if(pairs.begin(), pairs.end(), [&](const SchemaPair& pair) { return pair.name == name; });
  if (found == pairs.end()) throw std::out_of_range("no pair " + std::string(name));
  return *found;
}

}  // namespace kr::zero::test
