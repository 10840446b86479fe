// How the writer of the direct format copies what lies in models: in blocks that may end behind a text but
// not behind what can be read, with type names that belong to the document.
#include <gtest/gtest.h>

#include <algorithm>

#include "direct/BulkBinaryEventProcessor.h"
#include "direct/DirectModel.h"
#include "kr/zero/io/BinarySerializer.h"
#include "support/Reading.h"

#if __has_include(<sys/mman.h>)
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace kr::zero::io {

namespace {

using test::Bytes;
using test::DirectBytes;

/// Answers what a walk would: one text for all cells, and references by the numbers of their targets.
class OneText final : public ValueSource {
 public:
  explicit OneText(std::vector<meta::StructuredType> types) : kept_(std::move(types)) {
    types_ = kept_;
    areByIndex_ = true;
  }
  std::string_view formatText(std::size_t, cells::Cell) override { return text; }
  WrittenReference describe(std::size_t, cells::Cell, bool) override { return reference; }

  std::string_view text;
  WrittenReference reference;

 private:
  std::vector<meta::StructuredType> kept_;
};

ElementIdentity numbered(std::uint32_t number) { return {.number = number, .id1 = {}, .id2 = {}}; }
ElementIdentity named(std::string_view id1, std::string_view id2) {
  return {.number = 0, .id1 = id1, .id2 = id2};
}

/// One document, written by the calls of a walk.
class BlockWriting : public testing::Test {
 protected:
  void begin(OneText& source) {
    processor.startDocument();
    processor.endRegisteredPackages();
    processor.startObjects(source);
  }
  void open(meta::StructuredType type, const ElementIdentity& identity = {}) {
    processor.openObject(BulkEventProcessor::kNoSlot, type, identity);
  }
  void write(meta::StructuredType type, std::string_view property, ValueForm form, cells::Cell cell) {
    const std::size_t count = type->getAllProperties().size();
    std::size_t slot = 0;
    while (type->getAllProperties()[slot]->name() != property) ++slot;
    std::vector<ValueForm> forms(count, ValueForm::none);
    forms[slot] = form;
    const auto entry = static_cast<cells::Entry>(slot);
    EXPECT_EQ(processor.writeValues({&entry, &cell, 1, forms.data()}, 0), 1u);
  }
  Bytes bytes() const {
    const values::ByteBuffer& written = processor.getBytes();
    return {written.data(), written.data() + written.size()};
  }

  BulkBinaryEventProcessor processor;
};

meta::StructuredType typeOf(const meta::MetaRegistry& registry, std::string_view name) {
  return meta::StructuredType(registry.findType(name));
}

std::unique_ptr<meta::MetaRegistry> registryWith(const std::vector<std::string>& names) {
  meta::MetaModelBuilder package("urn:b", "b");
  for (const std::string& name : names) package.classType(name).property("to", name).id(1);
  auto registry = std::make_unique<meta::MetaRegistry>();
  package.registerIn(*registry);
  return registry;
}

}  // namespace

TEST_F(BlockWriting, NumbersOfIdentitiesAreTheirDecimalDigits) {
  const meta::StructuredType type = typeOf(test::directRegistry(), "p.N");
  std::vector<std::uint32_t> numbers{~std::uint32_t{0}, ~std::uint32_t{0} - 1};
  for (std::uint32_t power = 1; power <= 1000000000; power *= 10) {
    for (const std::uint32_t each : {power - 1, power, power + 1, power * 2 - 1, power / 2 * 3})
      numbers.push_back(each);
    if (power == 1000000000) break;
  }
  for (std::uint32_t bit = 1; bit != 0; bit <<= 1) numbers.insert(numbers.end(), {bit - 1, bit});
  for (const std::uint32_t number : numbers) {
    if (number == 0) continue;  // no number
    OneText source({type});
    begin(source);
    open(type, numbered(number));
    EXPECT_EQ(bytes(), DirectBytes().header({}).root("p.N", "#", std::to_string(number)).bytes());
  }
}

TEST_F(BlockWriting, ADocumentHasTheTypesOfItsOwnRegistryWhateverWasLeftOpenBefore) {
  const auto first = registryWith({"One", "Two"});
  const auto second = registryWith({"Three"});
  OneText source({typeOf(*first, "b.One"), typeOf(*first, "b.Two")});
  begin(source);
  open(typeOf(*first, "b.One"));
  const meta::StructuredType three = typeOf(*second, "b.Three");
  OneText other({three});
  begin(other);
  open(three, numbered(1));
  write(three, "to", ValueForm::reference, cells::asReference(0, 0));
  EXPECT_EQ(bytes(),
            DirectBytes().header({}).root("b.Three", "#", "1").key(1).reference("b.Three", "#", "1").bytes());
}

TEST_F(BlockWriting, ReferencesThatAreDescribedHaveTheirTextsOrNumber) {
  const meta::StructuredType type = typeOf(test::directRegistry(), "p.N");
  const DirectBytes begun = DirectBytes().header({}).root("p.N").key(19);
  const auto written = [&](const WrittenReference& reference) {
    OneText source({type});
    source.reference = reference;
    begin(source);
    open(type);
    std::size_t slot = 0;
    while (type->getAllProperties()[slot]->name() != "ref") ++slot;
    std::vector<ValueForm> forms(type->getAllProperties().size(), ValueForm::reference);
    const auto entry = static_cast<cells::Entry>(slot | cells::kUnresolved);
    const cells::Cell cell = 0;
    processor.writeValues({&entry, &cell, 1, forms.data()}, 0);
    return bytes();
  };
  EXPECT_EQ(written({"p.Sub", named("a", "b"), {}, false}),
            DirectBytes(begun).reference("p.Sub", "a", "b").bytes());
  EXPECT_EQ(written({"p.Sub", numbered(10), {}, false}),
            DirectBytes(begun).reference("p.Sub", "#", "10").bytes());
  EXPECT_EQ(written({"p.Sub", named("a", "b"), "q", true}),
            DirectBytes(begun).reference("p.Sub", "q", "a", "b").bytes());
  EXPECT_EQ(written({"p.Sub", named("a", "b"), "", true}),
            DirectBytes(begun).reference("p.Sub", "", "a", "b").bytes());
}

TEST_F(BlockWriting, AReferenceThatIsExplicitlyEmptyIsNotWritten) {
  const auto registry = registryWith({"One"});
  const meta::StructuredType type = typeOf(*registry, "b.One");
  OneText source({type});
  begin(source);
  open(type);
  const Bytes before = bytes();
  const cells::Entry entry = cells::kEmpty;
  const cells::Cell cell = cells::asReference(0, 0);
  const ValueForm form = ValueForm::reference;
  EXPECT_EQ(processor.writeValues({&entry, &cell, 1, &form}, 0), 1u);
  EXPECT_EQ(bytes(), before);
}

TEST_F(BlockWriting, EveryKindOfValueHasItsForm) {
  Model model(test::directRegistry());
  Element n = model.createRoot("p.N");
  n.set("name", "a");
  n.set("nick", "b");
  n.add("tags", "c");
  n.add("tags", "");
  n.set("sure", true);
  n.set("maybe", false);
  for (const bool flag : {true, false}) n.add("flags", flag);
  n.set("size", -2);
  n.set("weight", 7);
  for (const int count : {1, -1}) n.add("counts", count);
  n.setInteger("kind", 1);
  n.setInteger("mustKind", -1);
  n.addInteger("kinds", 1);
  n.set("code", "d");
  n.create("pair").set("x", 5);
  n.create("kid").create("pair").create("inner");
  n.create("kids").setIdentity("i", "k");
  n.setReference("ref", n);
  n.addReference("refs", n);
  n.set("far", "e");
  Element empty = model.createRoot("p.N");
  for (const char* property : {"nick", "maybe", "weight", "kind", "code", "far"}) empty.setEmpty(property);
  Bytes bytes;
  BinarySerializer().serialize(model, SerializationOutput::toByteSequence(bytes));
  DirectBytes expected = DirectBytes().header({"urn:p"}).root("p.N", "#", "1");
  expected.key(1).text("a").key(2).present().text("b").key(3).number(2).text("c").text("");
  expected.key(4).byte(1).key(5).present().byte(2).key(6).number(2).raw({1, 2});
  expected.key(7).fixed(std::int16_t{-2}).key(8).present().fixed(std::int32_t{7});
  expected.key(9).number(2).fixed(std::int16_t{1}).fixed(std::int16_t{-1});
  expected.key(10).present().fixed(std::int32_t{1}).key(11).fixed(std::int32_t{-1});
  expected.key(12).number(1).fixed(std::int32_t{1}).key(13).present().text("d");
  expected.key(15).key(1).fixed(std::int32_t{5}).end();
  expected.child(17, "p.N").key(15).key(2).end().end().end().child(18, "p.N", "i", "k").end();
  expected.key(19).reference("p.N", "#", "1").key(20).number(1).reference("p.N", "#", "1");
  expected.key(300).present().text("e").end().root("p.N");
  for (const std::uint64_t key : {2u, 5u, 8u, 10u, 13u, 300u}) expected.key(key).absent();
  EXPECT_EQ(test::toHex(bytes), test::toHex(expected.end().bytes()));
}

#if __has_include(<sys/mman.h>)

namespace {

/// Memory behind which nothing can be read.
class GuardedPage {
 public:
  GuardedPage() {
    void* const mapped = mmap(nullptr, 2 * size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) return;
    begin_ = static_cast<char*>(mapped);
    if (mprotect(begin_ + size_, size_, PROT_NONE) != 0) ADD_FAILURE() << "no guard";
  }
  ~GuardedPage() {
    if (begin_ != nullptr) munmap(begin_, 2 * size_);
  }
  GuardedPage(const GuardedPage&) = delete;
  GuardedPage& operator=(const GuardedPage&) = delete;

  char* begin() const noexcept { return begin_; }
  char* end() const noexcept { return begin_ + size_; }

 private:
  std::size_t size_ = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  char* begin_ = nullptr;
};

}  // namespace

TEST_F(BlockWriting, ATextIsReadUpToSixteenBytesBehindItsEndAndNoFurther) {
  constexpr std::size_t kReadable = 16;
  const GuardedPage page;
  ASSERT_NE(page.begin(), nullptr);
  std::fill(page.begin(), page.end(), 'x');
  const meta::StructuredType type = typeOf(test::directRegistry(), "p.All");
  for (std::size_t size = 0; size <= 100; ++size) {
    OneText source({type});
    source.text = {page.end() - kReadable - size, size};
    begin(source);
    open(type);
    write(type, "a13", ValueForm::text, 0);
    EXPECT_EQ(bytes(), DirectBytes().header({}).root("p.All").key(13).text(std::string(size, 'x')).bytes());
  }
}

#endif

}  // namespace kr::zero::io
