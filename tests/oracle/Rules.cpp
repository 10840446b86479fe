#include "oracle/Rules.h"

#include <initializer_list>
#include <string>
#include <string_view>

namespace kr::zero::test {

namespace {

/// Writes documents of the tagged format by hand. Knows nothing of models and shares no code with the
/// library.
class TaggedBytes {
 public:
  TaggedBytes() { add({0x01, 0x20, 0x01}).text("kr"); }
  TaggedBytes& add(std::initializer_list<unsigned> bytes) {
    for (const unsigned byte : bytes) bytes_.push_back(static_cast<std::uint8_t>(byte));
    return *this;
  }
  TaggedBytes& text(std::string_view value) {
    add({0x30, static_cast<unsigned>(value.size())});
    bytes_.insert(bytes_.end(), value.begin(), value.end());
    return *this;
  }
  TaggedBytes& name(std::string_view value) { return add({0x09}).text(value); }
  TaggedBytes& end() { return add({0x10}); }
  TaggedBytes& entry(std::string_view key, std::string_view value) { return name(key).text(value).end(); }
  TaggedBytes& entry(std::string_view key, std::initializer_list<unsigned> value) {
    return name(key).add(value).end();
  }
  TaggedBytes& pair(std::string_view first, std::string_view second) {
    return name("id").add({0x05}).text(first).text(second).add({0x06}).end();
  }
  TaggedBytes& header(std::string_view uri) {
    add({0x07}).entry("version", {0x20, 0x01}).name("packages").add({0x05});
    return text(uri).add({0x06}).end().add({0x08, 0x05});
  }
  TaggedBytes& object(std::string_view type) { return add({0x07}).entry("type", type).add({0x08, 0x03}); }
  Bytes finish() { return add({0x06, 0x02}).bytes_; }
  Bytes finishObject() { return add({0x04}).finish(); }

 private:
  Bytes bytes_;
};

class Questions {
 public:
  void ask(const std::string& name, const Bytes& bytes) { all_.push_back({name, "krb", bytes}); }
  void askTagged(const std::string& name, const Bytes& bytes) {
    all_.push_back({name, "krt", bytes});
    all_.push_back({name, "events", bytes});
  }
  std::vector<Question> take() { return std::move(all_); }

 private:
  std::vector<Question> all_;
};

DirectBytes golden() { return DirectBytes().header({"urn:g"}); }
DirectBytes node() { return golden().root("g.N"); }
TaggedBytes taggedGolden() { return TaggedBytes().header("urn:g"); }
TaggedBytes taggedNode() { return taggedGolden().object("g.N"); }

void askOfIdentities(Questions& q) {
  q.ask("empty-identity", golden().root("g.N", "", "").end().root("g.N", "", "").end());
  q.ask("half-identity", golden().root("g.N", "a", "").end());
  q.ask("other-half", golden().root("g.N", "", "a").end());
  q.ask("identity-twice", golden().root("g.N", "a", "b").end().root("g.O", "a", "b").end());
  q.ask("own-numbers", golden().root("g.N", "#", "7").end().root("g.N", "#", "1").end());
  q.ask("number-that-is-no-number", golden().root("g.N", "#", "x").key(20).reference("g.N", "#", "x").end());
  q.ask("number-twice", golden().root("g.N", "#", "1").end().root("g.N", "#", "1").end());
  q.ask("half-number", golden().root("g.N", "#", "").end());
}

void askOfReferences(Questions& q) {
  q.ask("to-nothing", node().key(20).reference("g.N", "", "").end());
  q.ask("to-half", node().key(20).reference("g.N", "a", "").end());
  q.ask("to-unknown-type", node().key(20).reference("g.X", "a", "b").end());
  q.ask("to-no-type", node().key(20).reference("", "a", "b").end());
  q.ask("to-wrong-type-elsewhere", node().key(20).reference("g.O", "a", "b").end());
  q.ask("to-abstract-type", node().key(20).reference("g.A", "a", "b").end());
  q.ask("to-datatype", node().key(20).reference("g.Span", "a", "b").end());
  q.ask("to-empty-document", node().key(20).reference("g.N", "", "a", "b").end());
  q.ask("to-number", node().key(20).reference("g.N", "#", "1").end());
  q.ask("to-number-elsewhere", node().key(20).reference("g.N", "x", "#", "1").end());
  q.ask("supertype-said",
        golden().root("g.N").key(20).reference("g.N", "s", "1").end().root("g.Sub", "s", "1").end());
  q.ask("subtype-said",
        golden().root("g.N").key(20).reference("g.Sub", "s", "1").end().root("g.N", "s", "1").end());
  q.ask("unfit", golden().root("g.N").key(20).reference("g.O", "o", "1").end().root("g.O", "o", "1").end());
  q.ask("twice", node().key(20).reference("g.N", "a", "b").key(20).reference("g.N", "a", "b").end());
  q.ask("in-pieces",
        node().key(21).number(0).key(21).number(1).reference("g.N", "a", "b").key(21).number(0).end());
  q.ask("same-twice", golden()
                          .root("g.N", "a", "b")
                          .key(21)
                          .number(2)
                          .reference("g.N", "a", "b")
                          .reference("g.N", "a", "b")
                          .end());
}

void askOfValues(Questions& q) {
  q.ask("empty-twice", node().key(2).absent().key(2).absent().end());
  q.ask("empty-then-value", node().key(2).absent().key(2).present().text("a").end());
  q.ask("value-then-empty", node().key(2).present().text("a").key(2).absent().end());
  q.ask("value-twice", node().key(1).text("a").key(1).text("a").end());
  q.ask("datatype-twice", node().key(16).end().key(16).end().end());
  q.ask("child-twice", node().child(18, "g.N").end().child(18, "g.N").end().end());
  q.ask("values-in-pieces",
        node().key(3).number(1).text("a").key(1).text("n").key(3).number(1).text("b").end());
  q.ask("numbers-in-pieces",
        node().key(8).number(1).fixed(1).key(8).number(0).key(8).number(1).fixed(2).end());
  q.ask("other-mark", node().key(2).byte(0).text("a").end());
  q.ask("other-boolean",
        node().key(4).byte(0).key(5).present().byte(0xFF).key(23).number(2).byte(0).byte(3).end());
  q.ask("upper-case-uuid", node().key(15).present().text("00112233-4455-6677-8899-AABBCCDDEEFF").end());
  for (const char* const at : {"2010-02-01",
                               "0000-02-29T23:59Z",
                               "2010-02-29",
                               "1900-02-29",
                               "2000-02-29",
                               "+12010-12-31",
                               "-0001-01-01T00:00:60",
                               "2010-02-01T24:00:00",
                               "2010-02-01T10",
                               "2010-02-01T10:00:00.",
                               "2010-02-01T10:00:00.1234567890",
                               "2010-02-01T10:00:00,5",
                               "2010-02-01T10:00+0530",
                               "2010-02-01T10:00-24:00",
                               "2010-02-01Z",
                               "2010-02-01 10:00",
                               "201-02-01",
                               "1234567890-01-01",
                               "2010-04-31",
                               "2010-02-01T10:00+05:",
                               "2010-02-01t10:00z",
                               "",
                               "2010-02-01T23:59:60Z"})
    q.ask("date-time", node().key(14).present().text(at).end());
  for (const std::int32_t literal : {-2, -1, 0, 1, 2}) q.ask("literal", node().key(22).fixed(literal).end());
}

// Each place of a DateTime and of a UUID with each of the characters that such texts are made of, or none.
void askOfForms(Questions& q) {
  const auto ask = [&q](std::uint64_t key, const std::string& text, std::string_view characters) {
    for (std::size_t at = 0; at < text.size(); ++at) {
      for (const char other : characters) {
        std::string changed = text;
        changed[at] = other;
        q.ask("form", node().key(key).present().text(changed).end());
      }
      q.ask("form", node().key(key).present().text(text.substr(0, at)).end());
      q.ask("form", node().key(key).present().text(text.substr(0, at) + text.substr(at + 1)).end());
    }
    q.ask("form", node().key(key).present().text(text + characters.front()).end());
  };
  ask(14, "2012-02-29T23:59:60.123456789+23:59", "0123456789+-:.TZ");
  ask(15, "00112233-4455-6677-8899-aabbccddeeff", "0g-F");
}

void askOfShape(Questions& q) {
  q.ask("long-numbers", DirectBytes().raw({0x81, 0x80, 0x00, 0x82, 0x80, 0x00, 'k', 'r', 0x80, 0x00}));
  q.ask("longest-number", DirectBytes().raw({0x81, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80,
                                             0x80, 0x80, 0x80, 0x80, 0x80, 0x00, 2,    'k',  'r',  0}));
  // The 65th bit counts as the lowest again: a group at place 64 is shifted by 64 * 7 modulo 64.
  Bytes wrapped(64, 0x80);
  wrapped.push_back(0x01);
  q.ask("wrapped-number", DirectBytes().raw(wrapped).raw({2, 'k', 'r', 0}));
  q.ask("high-endian", DirectBytes().raw({1, 2, 'K', 'R', 0}));
  q.ask("other-version", DirectBytes().raw({2, 2, 'k', 'r', 0}));
  q.ask("package-twice", DirectBytes().header({"urn:g", "urn:g"}).root("g.N").end());
  q.ask("no-package", DirectBytes().header({}).root("g.N").end());
  q.ask("unknown-package", DirectBytes().header({"urn:h"}));
  q.ask("root-in-element", node().root("g.N").end().end());
  q.ask("root-in-datatype", node().key(16).root("g.N").end().end().end());
  q.ask("child-without-key", node().child(1, "g.N").end().end());
  q.ask("abstract-root", golden().root("g.A").end());
  q.ask("datatype-root", golden().root("g.Span").end());
  q.ask("enumeration-root", golden().root("g.Kind").end());
  q.ask("standard-root", golden().root("String").end());
  q.ask("unfit-child", node().child(18, "g.O").end().end());
  q.ask("end-alone", golden().end());
  q.ask("end-twice", node().end().end());
  q.ask("other-header", golden().raw({0, 5}).text("g.N").byte(0xFF).end());
  q.ask("number-cut-at-end", DirectBytes(node()).key(9).present().raw({1, 2, 3, 4, 5, 6, 7, 8}));
}

void askTaggedOfShape(Questions& q) {
  const auto objects = [](TaggedBytes bytes) { return bytes.add({0x05}).object("g.N").finishObject(); };
  q.askTagged("plain", taggedNode().finishObject());
  q.askTagged("bytes-behind", [] {
    Bytes bytes = taggedNode().finishObject();
    bytes.push_back(0xFF);
    return bytes;
  }());
  q.askTagged("no-end", [] {
    Bytes bytes = taggedNode().finishObject();
    bytes.pop_back();
    return bytes;
  }());
  q.askTagged("no-metadata", objects(TaggedBytes()));
  q.askTagged("version-alone", objects(TaggedBytes().add({0x07}).entry("version", {0x20, 0x01}).add({0x08})));
  q.askTagged("packages-alone",
              objects(TaggedBytes().add({0x07}).name("packages").add({0x05, 0x06}).end().add({0x08})));
  for (const unsigned version : {0x11U, 0x12U, 0x13U, 0x15U, 0x16U})
    q.askTagged("version", objects(TaggedBytes()
                                       .add({0x07})
                                       .entry("version", {version})
                                       .name("packages")
                                       .add({0x05, 0x06})
                                       .end()
                                       .add({0x08})));
  for (const unsigned version : {0U, 1U, 2U})
    q.askTagged("version", objects(TaggedBytes()
                                       .add({0x07})
                                       .entry("version", {0x20, version})
                                       .name("packages")
                                       .add({0x05, 0x06})
                                       .end()
                                       .add({0x08})));
  q.askTagged("signed-version", objects(TaggedBytes()
                                            .add({0x07})
                                            .entry("version", {0x28, 0xFF})
                                            .name("packages")
                                            .add({0x05, 0x06})
                                            .end()
                                            .add({0x08})));
  q.askTagged("text-version", objects(TaggedBytes()
                                          .add({0x07})
                                          .entry("version", "1")
                                          .name("packages")
                                          .add({0x05, 0x06})
                                          .end()
                                          .add({0x08})));
  q.askTagged(
      "one-package",
      objects(
          TaggedBytes().add({0x07}).entry("version", {0x20, 0x01}).entry("packages", "urn:g").add({0x08})));
  q.askTagged("more-metadata", objects(TaggedBytes()
                                           .add({0x07})
                                           .entry("version", {0x20, 0x01})
                                           .name("packages")
                                           .add({0x05, 0x06})
                                           .end()
                                           .entry("more", "x")
                                           .add({0x08})));
  q.askTagged("type-alone",
              TaggedBytes(taggedGolden()).add({0x07}).entry("type", "g.N").add({0x08}).finish());
  q.askTagged("identity-alone", taggedGolden().add({0x07}).pair("a", "b").add({0x08, 0x03}).finishObject());
  q.askTagged("three-parts", taggedGolden()
                                 .add({0x07})
                                 .entry("type", "g.N")
                                 .name("id")
                                 .add({0x05})
                                 .text("a")
                                 .text("b")
                                 .text("c")
                                 .add({0x06})
                                 .end()
                                 .add({0x08, 0x03})
                                 .finishObject());
  q.askTagged("one-part", taggedGolden()
                              .add({0x07})
                              .entry("type", "g.N")
                              .name("id")
                              .add({0x05})
                              .text("a")
                              .add({0x06})
                              .end()
                              .add({0x08, 0x03})
                              .finishObject());
  for (const char* const part : {"", "a"})
    q.askTagged(
        "empty-identity",
        taggedGolden().add({0x07}).entry("type", "g.N").pair(part, "").add({0x08, 0x03}).finishObject());
}

void askTaggedOfValues(Questions& q) {
  const auto entry = [&](const char* name, std::initializer_list<unsigned> value) {
    q.askTagged(name, taggedNode().entry(name, value).finishObject());
  };
  const std::initializer_list<std::initializer_list<unsigned>> values = {
      {0x11},
      {0x12},
      {0x13},
      {0x15},
      {0x16},
      {0x20, 0x01},
      {0x20, 0x80},
      {0x28, 0x01},
      {0x28, 0x80},
      {0x28, 0x81},
      {0x30, 0x00},
      {0x30, 0x03, 'o', 'n', 'e'},
      {0x30, 0x01, '1'},
      {0x05, 0x06},
      {0x05, 0x16, 0x06},
      {0x05, 0x13, 0x06},
      {0x05, 0x12, 0x06},
      {0x05, 0x05, 0x06, 0x06},
      {0x03, 0x04},
      {0x05, 0x03, 0x04, 0x06},
      {},
      {0x13, 0x13},
      {0x2F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
      {0x27, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F}};
  for (const char* const name :
       {"name",  "nick", "tags", "flag", "maybe", "i8",    "u16", "numbers", "i64", "reals", "kind",
        "kinds", "code", "at",   "uuid", "span",  "spans", "kid", "kids",    "ref", "refs",  "nothing"})
    for (const auto& value : values) entry(name, value);
  q.askTagged("entry-twice", taggedNode().entry("name", "a").entry("name", "a").finishObject());
  q.askTagged("list-twice",
              taggedNode().entry("tags", {0x05, 0x06}).entry("tags", {0x05, 0x06}).finishObject());
  q.askTagged("null-twice", taggedNode().entry("nick", {0x16}).entry("nick", {0x16}).finishObject());
  q.askTagged("children-twice",
              taggedNode().entry("kids", {0x05, 0x06}).entry("kids", {0x05, 0x06}).finishObject());
  q.askTagged("no-name", taggedNode().add({0x09, 0x20, 0x01, 0x16, 0x10}).finishObject());
}

void askTaggedOfReferences(Questions& q) {
  const auto ask = [&](const char* name, TaggedBytes reference) {
    q.askTagged(name, reference.add({0x04}).end().finishObject());
  };
  const auto reference = [] { return taggedNode().name("ref").add({0x03}); };
  ask("nothing", reference());
  ask("type-alone", reference().entry("type", "g.N"));
  ask("id-alone", reference().pair("a", "b"));
  ask("any-order", reference().entry("qualifier", "x").pair("a", "b").entry("type", "g.N"));
  ask("empty-qualifier", reference().entry("qualifier", "").pair("a", "b").entry("type", "g.N"));
  ask("null-qualifier", reference().entry("qualifier", {0x16}).pair("a", "b").entry("type", "g.N"));
  ask("type-twice", reference().entry("type", "g.N").entry("type", "g.N").pair("a", "b"));
  ask("id-twice", reference().entry("type", "g.N").pair("a", "b").pair("a", "b"));
  ask("more", reference().entry("type", "g.N").pair("a", "b").entry("more", "x"));
  ask("empty-id", reference().entry("type", "g.N").pair("", ""));
  ask("half-id", reference().entry("type", "g.N").pair("a", ""));
  ask("unknown-type", reference().entry("type", "g.X").pair("a", "b"));
  ask("wrong-type", reference().entry("type", "g.O").pair("a", "b"));
  ask("three-parts", reference()
                         .entry("type", "g.N")
                         .name("id")
                         .add({0x05})
                         .text("a")
                         .text("b")
                         .text("c")
                         .add({0x06})
                         .end());
}

}  // namespace

std::vector<Question> goldenQuestions() {
  Questions questions;
  for (const auto ask : {askOfIdentities, askOfReferences, askOfValues, askOfForms, askOfShape,
                         askTaggedOfShape, askTaggedOfValues, askTaggedOfReferences})
    ask(questions);
  return questions.take();
}

std::vector<Question> questionsOfUnwritten(const meta::MetaRegistry& registry) {
  Questions questions;
  for (const meta::PackageInfo& package : registry.getPackages())
    for (const meta::Type type : package.types) {
      const meta::Class aClass{type};
      if (!aClass || aClass->isAbstract()) continue;
      const DirectBytes root = DirectBytes().header({package.uri}).root(type->qualifiedName());
      for (const meta::Property p : aClass->getAllProperties()) {
        if (p->isWritten()) continue;
        if (p->getIdentifier() != 0) {
          questions.ask("unwritten", DirectBytes(root).key(p->getIdentifier()).end());
          questions.ask("unwritten", DirectBytes(root).key(p->getIdentifier()).number(0).end());
          questions.ask("unwritten", DirectBytes(root).key(p->getIdentifier()).absent().end());
        }
        for (const auto& value : {std::initializer_list<unsigned>{0x16}, {0x05, 0x06}, {}})
          questions.askTagged("unwritten", TaggedBytes()
                                               .header(package.uri)
                                               .object(type->qualifiedName())
                                               .entry(p->name(), value)
                                               .finishObject());
      }
    }
  return questions.take();
}

}  // namespace kr::zero::test
