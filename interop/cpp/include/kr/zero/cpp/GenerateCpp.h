/// @file
/// C++ classes for the classes of meta models: typed access in place of access by name.
///
///     kr::zero::meta::MetaRegistry registry;
///     auto mapping = kr::zero::ecore::loadMetaModels({"library.ecore"}, registry);
///     for (const auto& file : kr::zero::cpp::generate(registry,
///     kr::zero::ecore::readDocumentation(*mapping)))
///       write(file.name, file.text);
///
/// docs/generated-code.md says what comes out and how names are made.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kr/zero/ecore/Documentation.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::cpp {

/// The source file that defines every registerIn(); its name is the same for all meta models.
inline constexpr std::string_view kRegistrationFile = "meta_models.kr0.cpp";
/// The namespace around those of the packages, where no other is asked for.
inline constexpr std::string_view kUsualNamespace = "models";

/// A file to be written. All of them belong into one folder.
struct File {
  std::string name;
  std::string text;
};

/// Whether a text is a namespace that code can be generated into: identifiers joined by "::", none of them a
/// keyword or a usual macro, the first neither `std` nor `kr`.
bool isNamespace(std::string_view text);

/// A header per package of the registry, and kRegistrationFile. The same for the same meta model, whatever
/// the machine.
/// @param space a text for which isNamespace() holds.
/// @throws std::invalid_argument for any other.
std::vector<File> generate(const meta::MetaRegistry& registry, const ecore::Documentation& documentation = {},
                           std::string_view space = kUsualNamespace);

}  // namespace kr::zero::cpp
