"""The meta model that most tests of this folder use."""

import kr0


def library_package() -> kr0.PackageBuilder:
    package = kr0.PackageBuilder("http://example.org/library", "library")
    package.primitive("Isbn")
    package.enumeration("Genre", {"novel": 0, "poetry": 1, "mro": 7})
    package.datatype("Size").property("width", "Real").property("height", "Real")
    item = package.class_("Item", abstract=True)
    item.property("title", "String", required=True)
    book = package.class_("Book", "Item")
    for name, type_name in [
        ("pages", "Integer"), ("tiny", "Integer8"), ("small", "UInteger8"), ("short", "Integer16"),
        ("natural", "UnlimitedNatural"), ("long", "Integer64"), ("huge", "UInteger64"), ("weight", "Real"),
        ("lent", "Boolean"), ("genre", "Genre"), ("published", "DateTime"), ("code", "UUID"), ("isbn", "Isbn"),
        ("size", "Size"), ("type", "String"), ("from", "String"), ("sequel", "Book"),
    ]:
        book.property(name, type_name)
    book.property("language", "String", default="en").property("stars", "Integer", default="3")
    book.property("tags", "String", many=True).property("years", "Integer", many=True, unique=False)
    book.property("genres", "Genre", many=True).property("sizes", "Size", many=True)
    book.property("authors", "Author", many=True, opposite="books")
    book.property("shelf", "Shelf", opposite="books")
    book.property("length", "Integer", derived=True)
    package.class_("Author", "Item").property("books", "Book", many=True, opposite="authors")
    package.class_("Shelf", "Item").property("books", "Book", many=True, opposite="shelf")
    library = package.class_("Library")
    library.property("name", "String").property("items", "Item", many=True, composite=True)
    library.property("best", "Book", composite=True)
    return package
