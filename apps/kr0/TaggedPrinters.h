/// @file
/// Internal: tagged documents as text for people and as JSON for programs, without any meta model.
#pragma once

#include "Documents.h"
#include "Files.h"

namespace kr::zero::tool {

/// As printText does, as far as the document tells: what is no number, truth value or null stands in
/// quotes, identities are those of the document, and references name the identity of their target.
void printTaggedText(const Document& document, TextOut& out);

/// As printJson does, as far as the document tells: a datatype value is {"properties": {...}}, and a
/// reference {"ref": {"class", "identity", "document"}}.
void printTaggedJson(const Document& document, TextOut& out);

}  // namespace kr::zero::tool
