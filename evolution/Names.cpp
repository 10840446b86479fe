// What effects, formats and kinds of change are called.
#include <array>

#include "kr/zero/evolution/SchemaDiff.h"

namespace kr::zero::evolution {

namespace {

constexpr std::array kEffects{"nothing", "incomplete", "refused", "wrong"};
constexpr std::array kFormats{"krb", "krt", "xmi", "krz"};
constexpr std::array kKinds{
    "packageAdded",        "packageRemoved",        "packageRenamed",     "packageUriChanged",
    "typeAdded",           "typeRemoved",           "typeRenamed",        "typeKindChanged",
    "classMadeAbstract",   "classMadeConcrete",     "supertypesChanged",  "propertyAdded",
    "propertyRemoved",     "propertyRenamed",       "propertyRenumbered", "numberReused",
    "propertyTypeChanged", "propertyBoundsChanged", "containmentChanged", "storageChanged",
    "propertyMoved",       "orderedChanged",        "uniqueChanged",      "defaultChanged",
    "oppositeChanged",     "literalAdded",          "literalRemoved",     "literalRenamed",
    "literalRenumbered",   "literalTextChanged"};
static_assert(kKinds.size() == static_cast<std::size_t>(ChangeKind::literalTextChanged) + 1);

}  // namespace

std::string_view nameOf(Effect effect) noexcept { return kEffects[static_cast<std::size_t>(effect)]; }
std::string_view nameOf(DocumentFormat format) noexcept { return kFormats[static_cast<std::size_t>(format)]; }
std::string_view nameOf(ChangeKind kind) noexcept { return kKinds[static_cast<std::size_t>(kind)]; }

}  // namespace kr::zero::evolution
