"""Models in memory, with what both formats say of identities and references, their content in one line, and their
digest (docs/formats/digest.md)."""

import hashlib
import re
import struct

import metamodel

EMPTY = 'explicitly empty'


class Refused(Exception):
    """The document is not to be taken."""


def refuse(why):
    raise Refused(why)


class Element:
    def __init__(self, type_, identity=None):
        self.type = type_
        self.identity = identity  # two texts, or None
        self.values = {}          # by name of the property: EMPTY, or a list

    def open(self, p):
        """The list of a property's values, to be added to."""
        held = self.values.setdefault(p.name, [])
        if held == EMPTY or (held and not p.many):
            refuse('a second value of ' + p.name)
        return held


class Reference:
    def __init__(self, type_name, first, second, document=None):
        self.type_name, self.first, self.second, self.document = type_name, first, second, document
        self.target = None


def text_of(data):
    try:
        return data.decode('utf-8')
    except UnicodeDecodeError:
        refuse('not UTF-8')


class Model:
    def __init__(self, meta):
        self.meta = meta
        self.roots = []
        self.references = []  # (property, Reference)
        self.identities = {}

    def use_packages(self, uris):
        for uri in uris:
            if uri not in self.meta.uris:
                refuse('unknown package ' + uri)

    def create(self, type_name, p, identity):
        """A root, or a child to be held by the property p."""
        found = self.meta.by_name.get(type_name)
        if found is None or found.kind != 'class' or found.abstract:
            refuse('no class to make elements of: ' + type_name)
        if p is not None and not found.conforms_to(p.type):
            refuse(type_name + ' does not fit ' + p.name)
        if identity is not None:
            if identity == ('', ''):
                identity = None
            elif '' in identity:
                refuse('half an identity')
        element = Element(found, identity)
        if identity is not None:
            if identity in self.identities:
                refuse('two elements of one identity')
            self.identities[identity] = element
        return element

    def refer(self, p, reference):
        self.references.append((p, reference))
        return reference

    def finish(self):
        """Finds the targets of references."""
        for p, reference in self.references:
            if reference.document is not None:
                continue
            target = self.identities.get((reference.first, reference.second))
            if target is None:
                continue
            if target.type.qualified != reference.type_name:
                refuse('a reference to another type than it says')
            if not target.type.conforms_to(p.type):
                refuse('a reference that does not fit')
            reference.target = target
        return self


# Values

UUID = re.compile('[0-9a-fA-F]{8}(-[0-9a-fA-F]{4}){3}-[0-9a-fA-F]{12}')
DATE_TIME = re.compile(
    r'([+-]?\d{4,9})-(\d\d)-(\d\d)(T(\d\d):(\d\d)(:(\d\d)(\.\d{1,9})?)?(Z|[+-](\d\d)(:?(\d\d))?)?)?', re.ASCII)


def is_date_time(text):
    match = DATE_TIME.fullmatch(text)
    if not match:
        return False
    year, month, day, hour, minute, second, offset_hour, offset_minute = (
        int(match[group] or 0) for group in (1, 2, 3, 5, 6, 8, 11, 13))
    leap = year % 4 == 0 and (year % 100 != 0 or year % 400 == 0)
    days = [31, 29 if leap else 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31]
    return (1 <= month <= 12 and 1 <= day <= days[month - 1] and hour <= 23 and minute <= 59 and second <= 60 and
            offset_hour <= 23 and offset_minute <= 59)


def checked_text(p, text):
    """A primitive's text, of a type that travels as text; that of a UUID as it is written."""
    if p.standard == 'UUID':
        if not UUID.fullmatch(text):
            refuse('no UUID: ' + text)
        return text.lower()
    if p.standard == 'DateTime' and not is_date_time(text):
        refuse('no DateTime: ' + text)
    return text


# What a model says, in one line of ASCII

PLAIN = {c: chr(c) for c in range(0x21, 0x7F) if chr(c) not in '"\\'}


def quoted(value):
    data = value if isinstance(value, bytes) else value.encode()
    return '"' + ''.join(PLAIN.get(c) or '\\%02x' % c for c in data) + '"'


def real_bits(value):
    return 'r%016x' % value


def in_order(element, transient=True):
    """(property, values) of what is set, by name: but for children and datatype values, of which none is not said."""
    for name in sorted(element.values, key=str.encode):
        p = element.type.by_name[name]
        if p.transient and not transient:
            continue
        values = element.values[name]
        values = [] if values == EMPTY else values
        if values or p.is_primitive or p.is_reference:
            yield p, values


def numbers_of(model, transient):
    """Places of elements in the order in which they are told."""
    numbers = {}

    def visit(element):
        if element.type.kind == 'class':
            numbers[element] = len(numbers) + 1
        for p, values in in_order(element, transient):
            if p.is_child or p.is_datatype:
                for value in values:
                    visit(value)

    for root in model.roots:
        visit(root)
    return numbers


def content(model):
    numbers = numbers_of(model, True)
    out = []

    def show(element):
        out.append('(' + quoted(element.type.uri) + quoted(element.type.qualified))
        if element.identity and element.identity[0] != '#':
            out.append('#' + quoted(element.identity[0]) + quoted(element.identity[1]))
        for p, values in in_order(element):
            out.append(';' + quoted(p.name) + '=')
            for value in values:
                if p.is_child or p.is_datatype:
                    show(value)
                else:
                    out.append(shown(p, value))
        out.append(')')

    def shown(p, value):
        if p.is_reference:
            if value.target:
                return '@%d' % numbers[value.target]
            document = '' if value.document is None else quoted(value.document)
            return '?' + quoted(value.type_name) + quoted(value.first) + quoted(value.second) + document
        if p.is_enum:
            return '!%d' % value
        if p.standard == 'Boolean':
            return '+true' if value else '+false'
        if p.standard == 'Real':
            return '+' + real_bits(value)
        return '+%d' % value if p.standard in metamodel.INTEGERS else quoted(value)

    for root in model.roots:
        show(root)
    return ''.join(out)


def digest(model):
    """What is transient does not count."""
    numbers = numbers_of(model, False)
    digest_ = hashlib.sha256()

    def number(value):
        digest_.update((value & ((1 << 64) - 1)).to_bytes(8, 'little'))

    def text(value):
        encoded = value.encode()
        number(len(encoded))
        digest_.update(encoded)

    def show(element):
        digest_.update(b'E')
        text(element.type.uri)
        text(element.type.qualified)
        if element.identity and element.identity[0] != '#':
            digest_.update(b'I')
            text(element.identity[0])
            text(element.identity[1])
        for p, values in in_order(element, False):
            digest_.update(b'P')
            text(p.name)
            number(len(values))
            for value in values:
                show_value(p, value)
        digest_.update(b'e')

    def show_value(p, value):
        if p.is_child or p.is_datatype:
            show(value)
        elif p.is_reference:
            show_reference(value)
        elif p.is_enum:
            name = next((l['name'] for l in p.type.literals if l['number'] == value), str(value))
            text(name)
        elif p.standard == 'Real':
            number(one_zero_one_nan(value))
        elif p.standard == 'Boolean' or p.standard in metamodel.INTEGERS:
            number(int(value))
        else:
            text(value)

    def show_reference(reference):
        if reference.target:
            digest_.update(b'R')
            number(numbers.get(reference.target, 0))
            return
        digest_.update(b'U' if reference.document is None else b'Q')
        texts = [reference.type_name, reference.first, reference.second]
        for value in texts + ([] if reference.document is None else [reference.document]):
            text(value)

    text('kr0 digest 1')
    number(len(model.roots))
    for root in model.roots:
        show(root)
    return digest_.hexdigest()


def one_zero_one_nan(bits):
    value = struct.unpack('<d', bits.to_bytes(8, 'little'))[0]
    if value != value:
        return 0x7FF8000000000000
    return bits if value else 0
