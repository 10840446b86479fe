/// @file
/// What a model holds, in figures.
///
///     const kr::zero::study::Statistics figures = kr::zero::study::gatherStatistics(model);
///     std::cout << figures.elements << " elements, " << figures.texts.count << " texts\n";
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/meta/Type.h"
#include "kr/zero/study/export.h"

namespace kr::zero::study {

/// How a property is used by the instances of a type.
struct PropertyStatistics {
  meta::Property property;   ///< inherited or not
  std::uint64_t set = 0;     ///< instances in which something was said of it, be it that it is empty
  std::uint64_t values = 0;  ///< values, children or references
};

/// The instances of a type: a class, or the datatype of values.
struct TypeStatistics {
  meta::StructuredType type;    ///< not of its subclasses
  std::uint64_t instances = 0;  ///< how many there are
  std::vector<PropertyStatistics>
      properties;  ///< those that are set somewhere, in the order of getAllProperties()
};

/// The references of a model.
struct ReferenceStatistics {
  std::uint64_t resolved = 0;    ///< to elements of the model
  std::uint64_t unresolved = 0;  ///< to what is not there and in no document that they name
  std::uint64_t outside = 0;     ///< into documents that they name
};

/// A text and how often it comes.
struct FrequentText {
  std::string text;         ///< the whole of it
  std::uint64_t count = 0;  ///< how often it is a value
};

/// The values of a model that are texts (all primitives but numbers, Booleans, enumerations and UUIDs).
struct TextStatistics {
  std::uint64_t count = 0;      ///< values
  std::uint64_t bytes = 0;      ///< of all of them, in UTF-8
  std::uint64_t different = 0;  ///< how many are left when each is counted once
  std::uint64_t longest = 0;    ///< bytes of the longest
  std::vector<FrequentText>
      most;  ///< the most frequent ones that come twice or more, most first, then by text
};

/// What a model holds, without what documents do not carry.
struct Statistics {
  std::uint64_t elements = 0;         ///< without datatype values
  std::uint64_t roots = 0;            ///< of them at the top
  std::vector<TypeStatistics> types;  ///< by qualified name
  std::vector<std::uint64_t> depths;  ///< elements with 0, 1, ... elements above them
  ReferenceStatistics references;     ///< all references
  TextStatistics texts;               ///< all texts
};

/// Looks through a whole model once. Time and memory grow with its size.
/// @param frequentTexts how many of the most frequent texts are wanted.
KR0_STUDY_API Statistics gatherStatistics(const Model& model, std::size_t frequentTexts = 10);

}  // namespace kr::zero::study
