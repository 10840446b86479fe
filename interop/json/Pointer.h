/// @file
/// Internal: how a reference names an element of its document: a JSON Pointer (RFC 6901) as a fragment,
/// "#/roots/0/books/3".
#pragma once

#include <string_view>

#include "kr/zero/Model.h"

namespace kr::zero::json {

/// The element that a pointer leads to, or an empty handle.
Element follow(Model& model, std::string_view pointer);

}  // namespace kr::zero::json
