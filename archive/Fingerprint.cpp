// What decides the bytes of documents and their meaning, as a text of a fixed form, and its hash.

#include <algorithm>

#include "Hash.h"
#include "kr/zero/archive/Archive.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::archive {

namespace {

/// Texts with their lengths, so that no two descriptions run into each other.
class Description {
 public:
  Description& add(std::string_view text) {
    text_ += std::to_string(text.size()) + ':';
    text_ += text;
    return *this;
  }
  Description& add(std::int64_t number) {
    text_ += std::to_string(number) + ';';
    return *this;
  }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

std::string describe(const meta::EnumLiteral& literal) {
  return Description().add(literal.number).add(literal.name).add(literal.text).text();
}

std::string describe(meta::Property property) {
  Description description;
  description.add(property->getIdentifier()).add(property->name());
  description.add(property->getType()->packageUri());
  description.add(property->getType()->qualifiedName());
  description.add(property->getLower()).add(property->getUpper());
  for (const bool marker : {property->isComposite(), property->isOrdered(), property->isUnique(),
                            property->isDerived(), property->isStatic(), property->isTransient()})
    description.add(marker ? 1 : 0);
  const meta::Property opposite = property->getOpposite();
  description.add(opposite ? std::string_view(opposite->name()) : std::string_view());
  return description.text();
}

std::string describe(meta::Type type);

template <class Items>
void addSorted(Description& description, const Items& items) {
  std::vector<std::string> texts;
  for (const auto& item : items) texts.push_back(describe(item));
  std::sort(texts.begin(), texts.end());
  description.add(static_cast<std::int64_t>(texts.size()));
  for (const std::string& text : texts) description.add(text);
}

std::string describe(meta::Type type) {
  Description description;
  description.add(type->name());
  if (const meta::Enum enumeration(type); enumeration) {
    addSorted(description.add("enum"), enumeration->getLiterals());
  } else if (const meta::Class cls(type); cls) {
    description.add(cls->isAbstract() ? "abstract class" : "class").add(cls->isUniversal() ? 1 : 0);
    for (const meta::Class above : cls->getSupertypes())
      description.add(above->packageUri()).add(above->qualifiedName());
    addSorted(description, cls->getOwnedAttributes());
  } else if (const meta::StructuredType structured(type); structured) {
    addSorted(description.add("datatype"), structured->getOwnedAttributes());
  } else {
    description.add("primitive");
  }
  return description.text();
}

}  // namespace

std::string fingerprintOf(const meta::MetaRegistry& registry, const std::string& packageUri) {
  for (const meta::PackageInfo& package : registry.getPackages()) {
    if (package.uri != packageUri) continue;
    Description description;
    description.add(package.uri).add(package.qualifiedName);
    addSorted(description, package.types);
    return hashOf(description.text());
  }
  throw Error(ErrorCode::misuse, "there is no package with the URI \"" + packageUri + "\"");
}

}  // namespace kr::zero::archive
