/// @file
/// Internal: references into other documents, as models keep them.
///
/// "books.xmi#//@books.3" becomes the qualifier "books.xmi" and the second part of the identity
/// "//@books.3". The first part tells in which form the document had it, so that writing gives that form
/// back; a reference that did not come from a document keeps its own first part, as in
/// "books.xmi#isbn#12345".
#pragma once

#include <string>
#include <string_view>

#include "kr/zero/Model.h"

namespace kr::zero::ecore {

/// An element with an `href` attribute.
inline constexpr std::string_view hrefForm = "href";
/// A URI in an attribute, Ecore's own habit.
inline constexpr std::string_view attributeForm = "uri";

UnresolvedReference toUnresolved(std::string_view uri, std::string_view form, std::string_view targetType);

/// The URI of a reference that has a qualifier.
std::string uriOf(const UnresolvedReference& reference);

/// A text in which "%", "#" and blanks are percent-encoded.
std::string percentEncoded(std::string_view text);

}  // namespace kr::zero::ecore
