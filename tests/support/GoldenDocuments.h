/// @file
/// Small documents of the direct format written by hand, together every form that the format has.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kr/zero/meta/MetaRegistry.h"
#include "support/DirectBytes.h"

namespace kr::zero::test {

/// The meta model of the golden documents: package "g" (URI "urn:g") with the classes N, Sub (an N) and
/// O, and an abstract class A. All identifiers are pinned; see GoldenDocuments.cpp.
const meta::MetaRegistry& goldenRegistry();

struct GoldenDocument {
  std::string name;
  Bytes bytes;
};

/// Each is what the library writes for the model that it reads from it, byte for byte.
const std::vector<GoldenDocument>& goldenDocuments();

/// The golden document of that name.
const Bytes& goldenDocument(std::string_view name);

}  // namespace kr::zero::test
