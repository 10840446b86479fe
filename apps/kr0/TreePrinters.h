/// @file
/// Internal: trees as text for people and as JSON for programs.
#pragma once

#include <functional>

#include "Files.h"
#include "Tree.h"

namespace kr::zero::tool {

/// Leads a visitor through what is to be printed.
using Walk = std::function<void(TreeVisitor&)>;

/// One line per element and value:
///
///     library.Library #1
///       name = "Riverside"
///       books[0]: library.Book #2
///         genre = novel
///         authors -> #7, #9
///
/// Elements carry their number; references name it, or else type and identity of their target. Indentation
/// stops growing at a depth of 40, from where the depth stands in front: the text of a chain of 100,000
/// elements would otherwise take gigabytes.
///
/// With stable names these stand for numbers, and no positions are printed:
///
///     library.Library /library
///       books: library.Book [title="Moby Dick"]
///       authors -> /library/authors[name="Herman Melville"]
void printText(const Walk& walk, TextOut& out, Naming naming = Naming::numbers);

/// {"elements": [ELEMENT...]}, an element a line:
///
///     {"class": NAME, "number": N, "identity": [TEXT, TEXT], "properties": {NAME: VALUE...}}
///
/// without "identity" where there is none; a datatype value has "datatype", or nothing, in place of "class"
/// and "number". A value is a boolean, number, text (enumeration literals by name; numbers that JSON has
/// not, such as NaN, too), null for explicitly empty, an element, {"ref": N} for a reference to element
/// N, {"ref": {"class", "identity", "document"}} for one to an element that is not known, or a list of those.
/// With stable names these are texts in the place of numbers: "name" of an element, "ref" a path.
void printJson(const Walk& walk, TextOut& out, Naming naming = Naming::numbers);

}  // namespace kr::zero::tool
