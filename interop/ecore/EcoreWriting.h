/// @file
/// Internal: the two ways to write a package as an .ecore file.
#pragma once

#include <string>
#include <string_view>

#include "MappingImpl.h"
#include "PinPlan.h"
#include "kr/zero/meta/MetaRegistry.h"

namespace kr::zero::ecore {

/// From the registry: the root package of that URI with all packages in it.
/// What Ecore has no words for stands in annotations: datatypes, standard types beyond its own, markers.
/// @throws EcoreError for a text that XML cannot hold.
std::string generateEcore(const meta::MetaRegistry& registry, std::string_view packageUri,
                          bool pinIdentifiers);

/// From the file that it came from: its text, with an annotation for every stored feature that has none yet,
/// and for the last number of a class where the plan has one. Everything else stays as it was, to the blank.
std::string pinIdentifiers(const SourceDocument& source, const Mapping::Impl& mapping, const PinPlan& plan);

}  // namespace kr::zero::ecore
