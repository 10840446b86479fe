// Meta model and bytes, both from the input: definitions that may contradict themselves, and damaged
// documents of a random meta model.
#include "common/ModelReader.h"
#include "common/Refusals.h"
#include "support/RandomDamage.h"
#include "support/RandomModel.h"

namespace kr::zero::fuzz {

namespace {

using meta::PackageDefinition;
using meta::PropertyDefinition;
using meta::TypeDefinition;
using test::Random;

std::vector<TypeDefinition*> typesOf(std::vector<PackageDefinition>& packages) {
  std::vector<TypeDefinition*> types;
  for (PackageDefinition& package : packages) {
    for (TypeDefinition& type : package.types) types.push_back(&type);
    for (PackageDefinition& inner : package.packages)
      for (TypeDefinition& type : inner.types) types.push_back(&type);
  }
  return types;
}

void disturbType(TypeDefinition& type, const TypeDefinition& other, Random& random) {
  static const std::vector<TypeDefinition::Kind> kinds{
      TypeDefinition::Kind::primitive, TypeDefinition::Kind::enumeration, TypeDefinition::Kind::datatype,
      TypeDefinition::Kind::classType};
  switch (random.below(6)) {
    case 0:
      type.name = other.name;
      break;
    case 1:
      type.kind = random.pick(kinds);
      break;
    case 2:
      type.supertypes.push_back(other.name);
      break;
    case 3:
      type.properties.insert(type.properties.end(), other.properties.begin(), other.properties.end());
      break;
    case 4:
      type.name = random.percent(50) ? "" : "a.b";
      break;
    default:
      type.isUniversal = !type.isUniversal;
  }
}

void disturbProperty(PropertyDefinition& property, const TypeDefinition& other, Random& random) {
  switch (random.below(9)) {
    case 0:
      property.name = random.percent(50) ? "" : " S";
      break;
    case 1:
      property.type = other.name;
      break;
    case 2:
      property.identifier = static_cast<std::uint32_t>(random.below(20000));
      break;
    case 3:
      property.lower = static_cast<std::uint32_t>(random.next());
      break;
    case 4:
      property.upper = static_cast<std::int32_t>(random.next());
      break;
    case 5:
      property.composite = !property.composite;
      break;
    case 6:
      property.derived = !property.derived;
      break;
    case 7:
      property.opposite = other.properties.empty() ? "no such" : random.pick(other.properties).name;
      break;
    default:
      property.defaultText = std::string(random.below(4), 'x');
  }
}

// All or nothing: what contradicts itself leaves the registry as it was, and takes nothing else's place.
void examineDefinitions(std::vector<PackageDefinition> definitions, Random& random) {
  const std::vector<PackageDefinition> sound = definitions;
  const auto types = typesOf(definitions);
  for (std::size_t n = random.between(1, 3); n > 0; --n) {
    TypeDefinition& type = *random.pick(types);
    const TypeDefinition other = *random.pick(types);
    if (type.properties.empty() || random.percent(40))
      disturbType(type, other, random);
    else
      disturbProperty(type.properties[random.below(type.properties.size())], other, random);
  }
  meta::MetaRegistry registry;
  if (succeeds([&] { registry.add(definitions); })) return;
  require(registry.getPackages().empty(), "a meta model that is refused leaves nothing behind");
  requireSuccess("a registry takes a sound meta model after one that it refused",
                 [&] { registry.add(sound); });
}

}  // namespace

void examine(Input input) {
  Random random(input);
  const Format& format = formatOf(static_cast<unsigned>(random.below(2)));
  const auto definitions = test::makeRandomDefinitions(random);
  if (random.percent(40)) return examineDefinitions(definitions, random);
  meta::MetaRegistry registry;
  registry.add(definitions);
  const Bytes intact = format.write(test::makeRandomModel(registry, random));
  ModelReader reader(format, registry, intact);
  test::RandomDamage damage({intact}, random.next());
  for (int i = 0; i < 4; ++i) reader.examine(damage.next());
}

}  // namespace kr::zero::fuzz
