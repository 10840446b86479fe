#include "support/GoldenDocuments.h"

#include <stdexcept>

#include "kr/zero/meta/MetaModelBuilder.h"

namespace kr::zero::test {

namespace {

void defineNode(meta::TypeBuilder& n) {
  n.property("name", "String").required().id(1);
  n.property("nick", "String").id(2);
  n.property("tags", "String").many().id(3);
  n.property("flag", "Boolean").required().id(4);
  n.property("maybe", "Boolean").id(5);
  n.property("i8", "Integer8").required().id(6);
  n.property("u16", "UInteger16").id(7);
  n.property("numbers", "Integer").many().id(8);
  n.property("i64", "Integer64").id(9);
  n.property("reals", "Real").many().id(10);
  n.property("kind", "Kind").id(11);
  n.property("kinds", "Kind").many().id(12);
  n.property("code", "Code").id(13);
  n.property("at", "DateTime").id(14);
  n.property("uuid", "UUID").id(15);
  n.property("span", "Span").id(16);
  n.property("spans", "Span").many().id(17);
  n.property("kid", "N").composite().id(18);
  n.property("kids", "N").many().composite().id(19);
  n.property("ref", "N").id(20);
  n.property("refs", "N").many().id(21);
  n.property("mustKind", "Kind").required().id(22);
  n.property("flags", "Boolean").many().id(23);
  n.property("far", "String").id(300);
}

// A line for each thing that a document says; the formatter would give each call its own.
// clang-format off
std::vector<GoldenDocument> makeDocuments() {
  const auto document = [] { return DirectBytes().header({"urn:g"}); };
  const std::uint8_t no = 2, yes = 1;  // booleans
  return {
      {"nothing", DirectBytes().raw({0x01, 0x02, 'k', 'r', 0x00})},
      {"one empty element", document().root("g.N").end()},
      {"an identity", document().root("g.N", "a", "b").end()},
      {"texts", document().root("g.N")
          .key(1).text("a")
          .key(2).present().text("\xC3\xA4")
          .key(13).present().text("")
          .end()},
      {"a key of two bytes", document().root("g.N").key(300).present().text("far").end()},
      {"many texts", document().root("g.N")
          .key(3).number(3).text("a").text("").text("\xF0\x9F\x93\x96")
          .end()},
      {"booleans", document().root("g.N")
          .key(4).byte(no)
          .key(5).present().byte(yes)
          .key(23).number(2).byte(yes).byte(no)
          .end()},
      {"numbers", document().root("g.N")
          .key(6).fixed(std::int8_t{-1})
          .key(7).present().fixed(std::uint16_t{0xFFFE})
          .key(9).present().fixed(std::int64_t{-2})
          .end()},
      {"many numbers", document().root("g.N")
          .key(8).number(2).fixed(std::int32_t{-3}).fixed(std::int32_t{0x12345678})
          .key(10).number(1).fixed(0.1)
          .end()},
      {"enumerations", document().root("g.N")
          .key(11).present().fixed(std::int32_t{1})
          .key(12).number(2).fixed(std::int32_t{-1}).fixed(std::int32_t{0})
          .key(22).fixed(std::int32_t{-1})
          .end()},
      {"explicitly empty", document().root("g.N")
          .key(2).absent()
          .key(3).number(0)
          .key(5).absent()
          .key(8).number(0)
          .key(11).absent()
          .key(12).number(0)
          .key(21).number(0)
          .end()},
      {"date and UUID", document().root("g.N")
          .key(14).present().text("2010-02-01T05:12:32Z")
          .key(15).present().text("00112233-4455-6677-8899-aabbccddeeff")
          .end()},
      {"datatypes", document().root("g.N")
          .key(16)
              .key(1).fixed(1.5)
              .key(3)
                  .key(1).present().text("in")
                  .end()
              .end()
          .key(17).end()
          .key(17)
              .key(2).number(2).fixed(std::int8_t{1}).fixed(std::int8_t{-1})
              .end()
          .end()},
      {"children", document().root("g.N")
          .child(18, "g.Sub")
              .key(1).text("a")
              .child(19, "g.N", "c", "1").end()
              .end()
          .child(19, "g.N").end()
          .child(19, "g.Sub")
              .key(30).present().text("s")
              .end()
          .end()},
      {"references", document()
          .root("g.N", "k", "1")
              .child(19, "g.N", "#", "2").end()
              .key(20).reference("g.N", "k", "1")
              .key(21).number(4)
                  .reference("g.Sub", "#", "3")
                  .reference("g.N", "#", "2")
                  .reference("g.N", "no", "where")
                  .reference("g.Sub", "other.krb", "k", "1")
              .end()
          .root("g.Sub", "#", "3").end()},
      {"several roots", document()
          .root("g.N").key(1).text("a").end()
          .root("g.O").end()
          .root("g.Sub").end()},
  };
}
// clang-format on

}  // namespace

const meta::MetaRegistry& goldenRegistry() {
  static meta::MetaRegistry registry;
  static const bool filled = [] {
    meta::MetaModelBuilder g("urn:g", "g");
    g.enumeration("Kind").literal("zero", 0).literal("one", 1).literal("minus", -1);
    g.primitive("Code");
    g.datatype("Name").property("text", "String").id(1);
    meta::TypeBuilder& span = g.datatype("Span");
    span.property("length", "Real").required().id(1);
    span.property("steps", "Integer8").many().id(2);
    span.property("name", "Name").id(3);
    g.classType("A").abstractType();
    defineNode(g.classType("N").supertype("A"));
    g.classType("Sub").supertype("N").property("extra", "String").id(30);
    g.classType("O").property("o", "Integer").id(1);
    g.registerIn(registry);
    return true;
  }();
  static_cast<void>(filled);
  return registry;
}

const std::vector<GoldenDocument>& goldenDocuments() {
  static const std::vector<GoldenDocument> all = makeDocuments();
  return all;
}

const Bytes& goldenDocument(std::string_view name) {
  for (const GoldenDocument& document : goldenDocuments())
    if (document.name == name) return document.bytes;
  throw std::invalid_argument("no golden document \"" + std::string(name) + "\"");
}

}  // namespace kr::zero::test
