"""Meta models as docs/formats/direct.md speaks of them: types, properties and their numbers."""

import hash3

# Bytes of a value and whether it has a sign, of the standard types that are whole numbers.
INTEGERS = {
    'Integer8': (1, True), 'UInteger8': (1, False), 'Integer16': (2, True), 'UInteger16': (2, False),
    'Integer': (4, True), 'UnlimitedNatural': (4, False), 'Integer64': (8, True), 'UInteger64': (8, False),
}
TEXTS = {'String', 'StdString', 'JsonValue', 'StringToStringMap', 'ZoArray'}
STANDARD = {'Boolean', 'Real', 'UUID', 'DateTime'} | set(INTEGERS) | TEXTS


class Type:
    def __init__(self, uri, data):
        self.uri = uri
        self.name = data['name']
        self.qualified = data['qualified']
        self.kind = data['kind']
        self.data = data
        self.supertypes = []
        self.universal = data.get('universal', False)
        self.abstract = data.get('abstract', False)
        self.own = []          # properties
        self.above = {self}    # itself and all that it inherits from
        self.literals = data.get('literals', [])
        self.literal_numbers = {}  # by name; the first literal of a name counts
        for literal in self.literals:
            self.literal_numbers.setdefault(literal['name'], literal['number'])
        self.numbers = {literal['number'] for literal in self.literals}

    def conforms_to(self, other):
        return other.universal or other in self.above

    def finish(self):
        """Once the numbers are known: what an element of this type may hold."""
        properties = [p for t in self.above for p in t.own]
        self.properties = properties
        self.by_number = {p.number: p for p in properties if p.number}
        self.by_name = {p.name: p for p in properties}


class Property:
    def __init__(self, owner, data):
        self.owner = owner
        self.data = data
        self.name = data['name']
        self.lower, self.upper = data['lower'], data['upper']
        self.many = self.upper != 1
        self.composite = data['composite']
        self.nothing = data['derived'] or data['static']  # holds no value
        self.transient = data['transient']
        self.number = data['pinned'] or 0

    def finish(self, types):
        self.type = types.get((self.data['uri'], self.data['type']))
        # A type of one's own may be called as a standard one: those have no package.
        self.standard = self.data['type'] if self.data['uri'] == '' else None
        kind = self.type.kind if self.type else 'primitive'
        self.is_enum = kind == 'enum'
        self.is_primitive = kind in ('enum', 'primitive')
        self.is_datatype = kind == 'datatype'
        self.is_child = kind == 'class' and self.composite
        self.is_reference = kind == 'class' and not self.composite
        self.optional = (self.lower, self.upper) == (0, 1)


class MetaModel:
    def __init__(self, packages):
        self.packages = packages
        self.uris = {package['uri'] for package in packages}
        self.types = {}
        ordered = []  # in the order of declaration
        for package in packages:
            for data in package['types']:
                made = Type(package['uri'], data)
                self.types[package['uri'], made.qualified] = made
                ordered.append(made)
        for made in ordered:
            made.supertypes = [self.types[tuple(name)] for name in made.data.get('supertypes', [])]
            made.own = [Property(made, data) for data in made.data.get('properties', [])]
            for p in made.own:
                p.finish(self.types)
        self._inherit(ordered)
        self._number(ordered)
        for made in ordered:
            made.finish()
        # Packages may share a name: the type of a qualified name is the first one.
        self.by_name = {}
        for made in ordered:
            self.by_name.setdefault(made.qualified, made)

    @staticmethod
    def _inherit(types):
        changed = True
        while changed:
            changed = False
            for made in types:
                for supertype in made.supertypes:
                    if not supertype.above <= made.above:
                        made.above |= supertype.above
                        changed = True

    @staticmethod
    def _number(types):
        """The smallest number that no property has that meets this one in some class, in the order of declaration."""
        together = [t.above for t in types]
        for made in types:
            meets = [other for above in together if made in above for other in above]
            for p in made.own:
                if p.number or p.nothing:
                    continue
                taken = {q.number for other in meets for q in other.own}
                while p.number == 0 or p.number in taken:
                    p.number += 1

    def wrong_numbers(self):
        """Properties to which the library gave other numbers than the page says."""
        return [p.owner.qualified + '.' + p.name for t in self.types.values() for p in t.own
                if p.number != p.data['number']]

    def fingerprint(self, uri):
        package = next(p for p in self.packages if p['uri'] == uri)
        types = [self._describe(self.types[uri, data['qualified']]) for data in package['types']]
        return hash3.digits128(_text(uri) + _text(package['name']) + _list(types))

    def _describe(self, t):
        if t.kind == 'enum':
            literals = [_number(l['number']) + _text(l['name']) + _text(l['text']) for l in t.literals]
            return _text(t.name) + _text('enum') + _list(literals)
        if t.kind == 'primitive':
            return _text(t.name) + _text('primitive')
        properties = _list([self._describe_property(p) for p in t.own])
        if t.kind == 'datatype':
            return _text(t.name) + _text('datatype') + properties
        kind = 'abstract class' if t.abstract else 'class'
        supertypes = b''.join(_text(s.uri) + _text(s.qualified) for s in t.supertypes)
        return _text(t.name) + _text(kind) + _number(int(t.universal)) + supertypes + properties

    @staticmethod
    def _describe_property(p):
        data = p.data
        numbers = [p.lower, p.upper] + [
            int(data[flag]) for flag in ('composite', 'ordered', 'unique', 'derived', 'static', 'transient')]
        return (_number(p.number) + _text(p.name) + _text(data['uri']) + _text(data['type']) +
                b''.join(_number(n) for n in numbers) + _text(data['opposite']))


def _text(value):
    encoded = value if isinstance(value, bytes) else value.encode()
    return b'%d:%s' % (len(encoded), encoded)


def _number(value):
    return b'%d;' % value


def _list(items):
    return _number(len(items)) + b''.join(_text(item) for item in sorted(items))
