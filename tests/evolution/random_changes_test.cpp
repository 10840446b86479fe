// Random changes of random meta models: no document does worse than is said, and what is silently wrong is an
// error of a lock.
#include <gtest/gtest.h>

#include <algorithm>

#include "SchemaReading.h"
#include "kr/zero/evolution/Lock.h"
#include "support/Environment.h"
#include "support/RandomModel.h"

namespace kr::zero::test {
namespace {

using evolution::DocumentFormat;
using evolution::Effect;
using evolution::Effects;
using evolution::Lock;
using meta::MetaRegistry;
using meta::PackageDefinition;
using meta::PropertyDefinition;
using meta::TypeDefinition;

/// Changes definitions in one place, consistently or not.
class Change {
 public:
  Change(std::vector<PackageDefinition>& packages, Random& random) : random_(random) {
    std::vector<PackageDefinition*> waiting;
    for (PackageDefinition& package : packages) waiting.push_back(&package);
    while (!waiting.empty()) {
      PackageDefinition& package = *waiting.back();
      waiting.pop_back();
      for (TypeDefinition& type : package.types) types_.push_back(&type);
      for (PackageDefinition& nested : package.packages) waiting.push_back(&nested);
    }
  }

  void make() {
    TypeDefinition& type = *random_.pick(types_);
    switch (type.kind) {
      case TypeDefinition::Kind::enumeration:
        return changeLiterals(type.literals);
      case TypeDefinition::Kind::classType:
        if (random_.percent(20)) return changeClass(type);
        return changeProperties(type.properties);
      case TypeDefinition::Kind::datatype:
        return changeProperties(type.properties);
      default:
        return;
    }
  }

 private:
  std::string newName() { return "n" + std::to_string(random_.below(1000000)); }
  std::string standardType() {
    return meta::kStandardTypes[random_.between(1, meta::kStandardTypes.size() - 1)].name;
  }
  void setBounds(PropertyDefinition& property) {
    static const std::vector<std::pair<std::uint32_t, std::int32_t>> bounds = {
        {0, 1}, {1, 1}, {0, -1}, {1, -1}, {0, 2}};
    std::tie(property.lower, property.upper) = random_.pick(bounds);
  }

  void changeLiterals(std::vector<meta::EnumLiteral>& literals) {
    if (literals.empty()) return;
    meta::EnumLiteral& literal = literals[random_.below(literals.size())];
    meta::EnumLiteral& other = literals[random_.below(literals.size())];
    switch (random_.below(5)) {
      case 0:
        return std::swap(literal.number, other.number);
      case 1:
        return std::swap(literal.text, other.text);
      case 2:
        literal.name = newName();
        return;
      case 3:
        literal.number = static_cast<std::int32_t>(random_.below(20));
        return;
      default:
        literals.erase(literals.begin() + (&literal - literals.data()));
    }
  }

  void changeClass(TypeDefinition& type) {
    if (random_.percent(50))
      type.isAbstract = !type.isAbstract;
    else if (!type.supertypes.empty())
      type.supertypes.erase(type.supertypes.begin());
  }

  void changeProperties(std::vector<PropertyDefinition>& properties) {
    if (properties.empty() || random_.percent(20)) {
      PropertyDefinition added;
      added.name = newName();
      added.type = standardType();
      setBounds(added);
      properties.insert(
          properties.begin() + static_cast<std::ptrdiff_t>(random_.below(properties.size() + 1)), added);
      return;
    }
    PropertyDefinition& property = properties[random_.below(properties.size())];
    switch (random_.below(8)) {
      case 0:
        properties.erase(properties.begin() + (&property - properties.data()));
        return;
      case 1:
        property.name = newName();
        return;
      case 2:
        property.type = standardType();
        property.composite = false;
        property.defaultText.reset();
        return;
      case 3:
        return setBounds(property);
      case 4:
        return std::swap(property, properties[random_.below(properties.size())]);
      case 5:
        property.identifier = static_cast<std::uint32_t>(random_.between(1, 30));
        return;
      case 6:
        property.composite = !property.composite;
        return;
      default:
        return mark(property);
    }
  }

  void mark(PropertyDefinition& property) {
    bool PropertyDefinition::*const markers[] = {&PropertyDefinition::derived, &PropertyDefinition::isStatic,
                                                 &PropertyDefinition::isTransient,
                                                 &PropertyDefinition::unique, &PropertyDefinition::ordered};
    bool& marker = property.*markers[random_.below(std::size(markers))];
    marker = !marker;
  }

  Random& random_;
  std::vector<TypeDefinition*> types_;
};

/// Whether definitions are consistent.
bool registers(const std::vector<PackageDefinition>& definitions, MetaRegistry& registry) {
  try {
    registry.add(definitions);
    return true;
  } catch (const meta::MetaError&) {
    return false;
  }
}

std::vector<std::string> errorsOf(const Lock& lock, const MetaRegistry& registry) {
  std::vector<std::string> errors;
  for (const evolution::LockFinding& finding : lock.check(registry))
    if (finding.isError) errors.push_back(finding.sentence);
  return errors;
}

}  // namespace

TEST(RandomChanges, DoNoWorseThanIsSaid) {
  const std::uint64_t seeds = numberFromEnvironment("KR0_SCHEMA_CHANGES", 100);
  std::size_t compared = 0;
  std::size_t noticed = 0;
  for (std::uint64_t seed = 0; seed < seeds; ++seed) {
    Random random(seed);
    std::vector<PackageDefinition> definitions = makeRandomDefinitions(random);
    MetaRegistry before;
    before.add(definitions);
    std::vector<PackageDefinition> changed = definitions;
    for (std::size_t count = random.between(1, 3); count-- > 0;) Change(changed, random).make();
    MetaRegistry after;
    if (!registers(changed, after)) continue;
    const Model model = makeRandomModel(before, random);
    const WrittenModel written(model);
    const auto changes = evolution::compareSchemas(before, after);
    const Effects said = worstOf(changes);
    const Effects met = written.effectsWith(after);
    ++compared;
    if (met.worst() != Effect::nothing) ++noticed;
    std::string sentences;
    for (const auto& change : changes) sentences += '\n' + change.subject + ": " + change.sentence;
    for (const DocumentFormat format : {DocumentFormat::krb, DocumentFormat::krt, DocumentFormat::xmi}) {
      // Bytes that are taken for others may happen to fit.
      if (format == DocumentFormat::krb && said.krb >= Effect::refused) continue;
      EXPECT_LE(met.of(format), said.of(format)) << nameOf(format) << ", seed " << seed << sentences;
    }
    Lock lock;
    lock.update(before);
    if (said.krb == Effect::wrong) {
      EXPECT_FALSE(errorsOf(lock, after).empty()) << "seed " << seed << sentences;
    }
    lock.update(after);
    EXPECT_EQ(errorsOf(Lock::parse(lock.write(), "books.lock"), after), std::vector<std::string>())
        << "seed " << seed;
  }
  EXPECT_GT(compared, seeds / 3);
  EXPECT_GT(noticed, seeds / 20);
}

}  // namespace kr::zero::test
