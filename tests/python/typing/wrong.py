"""What a type checker finds; nobody runs this."""

import kr0

registry = kr0.Registry.from_ecore(17)  # error: arg-type
model = kr0.Model("shelf")  # error: arg-type
model.elements = 3  # error: assignment
length: str = len(model)  # error: assignment
kr0.save("shelf.krb", model)  # error: arg-type
kr0.load("shelf.krb", registry, limit="1 GB")  # error: arg-type
for root in model.roots:
    root.container.path  # error: union-attr
    root.is_removed = True  # error: misc
registry["shelf.Book"].properties  # error: attr-defined
kr0.noSuchName  # error: attr-defined
