/// @file
/// Internal: models as text for people and as JSON for programs.
#pragma once

#include "Files.h"
#include "kr/zero/Model.h"

namespace kr::zero::tool {

/// One line per element and value:
///
///     library.Library #1
///       name = "Riverside"
///       books[0]: library.Book #2
///         genre = novel
///         authors -> #7, #9
///
/// Elements carry their number in document order; references name it. Indentation stops growing
/// at a depth of 40, from where the depth stands in front: the text of a chain of 100,000 elements
/// would otherwise take gigabytes.
void printText(const Model& model, TextOut& out);

/// {"elements": [ELEMENT...]}, an element a line:
///
///     {"class": NAME, "number": N, "identity": [TEXT, TEXT], "properties": {NAME: VALUE...}}
///
/// without "identity" where there is none; a datatype value has "datatype" in place of "class" and
/// "number". A value is a boolean, number, text (enumeration literals by name; numbers that JSON has
/// not, such as NaN, too), null for explicitly empty, an element, {"ref": N} for a reference to element
/// N, {"ref": {"class", "identity", "document"}} for one to an element that is not in the model, or a
/// list of those.
void printJson(const Model& model, TextOut& out);

}  // namespace kr::zero::tool
