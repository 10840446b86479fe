// What decides the bytes of documents and their meaning, as a text of a fixed form, and its hash.
#include "Fingerprint.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>
#include <vector>

#include "Hash.h"
#include "kr/zero/archive/Archive.h"

namespace kr::zero::archive {

namespace {

/// Texts with their lengths, so that no two descriptions run into each other.
class Description {
 public:
  Description& add(std::string_view text) {
    putDigits(static_cast<std::int64_t>(text.size()));
    text_ += ':';
    text_ += text;
    return *this;
  }
  Description& add(std::int64_t number) {
    putDigits(number);
    text_ += ';';
    return *this;
  }
  std::string_view text() const { return text_; }
  std::size_t size() const { return text_.size(); }

 private:
  void putDigits(std::int64_t number) {
    char digits[std::numeric_limits<std::int64_t>::digits10 + 2];
    text_.append(digits, std::to_chars(std::begin(digits), std::end(digits), number).ptr);
  }

  std::string text_;
};

void describe(const meta::EnumLiteral& literal, Description& description) {
  description.add(literal.number).add(literal.name).add(literal.text);
}

void describe(meta::Property property, Description& description) {
  description.add(property->getIdentifier()).add(property->name());
  description.add(property->getType()->packageUri());
  description.add(property->getType()->qualifiedName());
  description.add(property->getLower()).add(property->getUpper());
  for (const bool marker : {property->isComposite(), property->isOrdered(), property->isUnique(),
                            property->isDerived(), property->isStatic(), property->isTransient()})
    description.add(marker ? 1 : 0);
  const meta::Property opposite = property->getOpposite();
  description.add(opposite ? std::string_view(opposite->name()) : std::string_view());
}

void describe(meta::Type type, Description& description);

/// A list: the number of its items and the items as texts, sorted by their bytes.
template <class Items>
void addSorted(Description& description, const Items& items) {
  Description all;
  std::vector<std::size_t> ends;
  for (const auto& item : items) {
    describe(item, all);
    ends.push_back(all.size());
  }
  std::vector<std::string_view> texts;
  std::size_t begin = 0;
  for (const std::size_t end : ends) {
    texts.push_back(all.text().substr(begin, end - begin));
    begin = end;
  }
  std::sort(texts.begin(), texts.end());
  description.add(static_cast<std::int64_t>(texts.size()));
  for (const std::string_view text : texts) description.add(text);
}

void describe(meta::Type type, Description& description) {
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
}

}  // namespace

Fingerprints::Fingerprints(const meta::MetaRegistry& registry) {
  for (meta::PackageInfo& package : registry.getPackages())
    packages_.emplace(package.uri, std::move(package));
}

std::optional<std::string> Fingerprints::find(const std::string& packageUri) const {
  const auto found = packages_.find(packageUri);
  if (found == packages_.end()) return std::nullopt;
  Description description;
  description.add(found->second.uri).add(found->second.qualifiedName);
  addSorted(description, found->second.types);
  return hashOf(description.text());
}

std::string fingerprintOf(const meta::MetaRegistry& registry, const std::string& packageUri) {
  if (auto fingerprint = Fingerprints(registry).find(packageUri)) return *std::move(fingerprint);
  throw Error(ErrorCode::misuse, "there is no package with the URI \"" + packageUri + "\"");
}

}  // namespace kr::zero::archive
