"""Reads the tagged format, as docs/formats/tagged.md tells it: bytes to events, and events to a model."""

import metamodel
from model import EMPTY, Element, Model, Reference, checked_text, quoted, real_bits, refuse, text_of

STRUCTURE = {0x03: '{', 0x04: '}', 0x05: '[', 0x06: ']', 0x07: '(', 0x08: ')', 0x10: '.'}


def events(data):
    """[(event, primitive)], a primitive being (kind, value); without one None.
    @raises Refused."""
    return Bytes(data).events()


def shown(events_):
    """Events in one line."""
    return ''.join(event + ('' if primitive is None else shown_primitive(*primitive)) for event, primitive in events_)


def shown_primitive(kind, value):
    if kind == 'string':
        return quoted(value)
    if kind == 'real':
        return real_bits(value)
    if kind == 'boolean':
        return 'true' if value else 'false'
    return 'null' if kind == 'null' else kind + str(value)


class Bytes:
    def __init__(self, data):
        self.data = data
        self.at = 0
        self.order = 'little'

    def take(self, size):
        if size > len(self.data) - self.at:
            refuse('cut')
        self.at += size
        return self.data[self.at - size:self.at]

    def number(self, size):
        return int.from_bytes(self.take(size), self.order)

    def primitive(self, tag):
        if tag in (0x11, 0x12):
            return 'boolean', tag == 0x12
        if tag == 0x13:
            return 's', 0
        if tag == 0x14:
            return 'real', self.number(8)
        if tag == 0x15:
            return 'real', 0
        if tag == 0x16:
            return 'null', None
        if 0x20 <= tag <= 0x27:
            return 'u', self.number(tag - 0x1F)
        if 0x28 <= tag <= 0x2F:
            value = -self.number(tag - 0x27) % (1 << 64)
            return 's', value - (1 << 64) if value >> 63 else value
        if tag in (0x30, 0x31):
            return 'string', self.take(self.number(1 if tag == 0x30 else 8))
        refuse('no tag of a primitive')

    def events(self):
        self.take(1)
        self.primitive(self.take(1)[0])
        if self.primitive(self.take(1)[0]) != ('string', b'kr'):
            self.order = 'big'
        found = [('<', ('null', None))]
        while self.at < len(self.data):
            tag = self.take(1)[0]
            if tag == 0x02:
                found.append(('>', None))
                break
            if tag == 0x09:
                found.append(('=', self.primitive(self.take(1)[0])))
            elif tag in STRUCTURE:
                found.append((STRUCTURE[tag], None))
            else:
                found.append(('+', self.primitive(tag)))
        return found


def read(data, meta):
    """The Model of a document.
    @raises Refused where it is none."""
    return Tree(events(data), meta).read()


class Tree:
    def __init__(self, events_, meta):
        self.events = events_
        self.at = 0
        self.model = Model(meta)

    def next(self):
        return self.events[self.at][0] if self.at < len(self.events) else 'nothing'

    def expect(self, event):
        if self.next() != event:
            refuse('another event')
        self.at += 1
        return self.events[self.at - 1][1]

    def string(self, event='+'):
        kind, value = self.expect(event)
        if kind != 'string':
            refuse('no string')
        return text_of(value)

    def entry(self, name):
        if self.string('=') != name:
            refuse('another entry')

    def strings(self):
        self.expect('[')
        found = []
        while self.next() != ']':
            found.append(self.string())
        self.expect(']')
        return found

    def pair(self):
        found = self.strings()
        if len(found) != 2:
            refuse('no identity')
        return tuple(found)

    # Grammar

    def read(self):
        self.expect('<')
        self.expect('(')
        self.entry('version')
        if self.expect('+') not in (('u', 1), ('s', 1)):
            refuse('version')
        self.expect('.')
        self.entry('packages')
        self.model.use_packages(self.strings())
        self.expect('.')
        self.expect(')')
        self.expect('[')
        while self.next() != ']':
            self.object(None, self.model.roots)
        self.expect(']')
        self.expect('>')
        return self.model.finish()

    def object(self, p, holder):
        self.expect('(')
        self.entry('type')
        type_name = self.string()
        self.expect('.')
        identity = None
        if self.next() == '=':
            self.entry('id')
            identity = self.pair()
            self.expect('.')
        self.expect(')')
        element = self.model.create(type_name, p, identity)
        holder.append(element)
        self.properties(element)

    def properties(self, element):
        self.expect('{')
        while self.next() == '=':
            name = self.string('=')
            p = element.type.by_name.get(name)
            if p is None or p.nothing:
                refuse('no such property')
            if name in element.values and not p.many:
                refuse('a second value of ' + name)
            self.content(element, p)
            self.expect('.')
        self.expect('}')

    def content(self, element, p):
        if p.is_primitive and p.optional and self.events[self.at:self.at + 1] == [('+', ('null', None))]:
            self.at += 1
            element.values[p.name] = EMPTY
            return
        values = element.values.setdefault(p.name, [])
        if not p.many:
            return self.item(p, values)
        self.expect('[')
        while self.next() != ']':
            self.item(p, values)
        self.expect(']')

    def item(self, p, values):
        if p.is_child:
            self.object(p, values)
        elif p.is_datatype:
            values.append(Element(p.type))
            self.properties(values[-1])
        elif p.is_reference:
            values.append(self.reference(p))
        else:
            values.append(self.value(p, *self.expect('+')))

    def reference(self, p):
        parts = {}
        self.expect('{')
        while self.next() == '=':
            name = self.string('=')
            if name not in ('type', 'id', 'qualifier') or name in parts:
                refuse('no part of a reference')
            parts[name] = self.pair() if name == 'id' else self.string()
            self.expect('.')
        self.expect('}')
        if 'type' not in parts or 'id' not in parts:
            refuse('half a reference')
        return self.model.refer(p, Reference(parts['type'], *parts['id'], parts.get('qualifier')))

    def value(self, p, kind, value):
        if p.standard == 'Boolean':
            wanted = kind == 'boolean'
        elif p.standard == 'Real':
            wanted = kind == 'real'
        elif p.standard in metamodel.INTEGERS:
            wanted = kind in 'us' and fits(value, *metamodel.INTEGERS[p.standard])
        else:
            wanted = kind == 'string'
        if not wanted:
            refuse('a value that does not fit')
        if kind != 'string':
            return value
        text = text_of(value)
        if not p.is_enum:
            return checked_text(p, text)
        if text not in p.type.literal_numbers:
            refuse('no literal')
        return p.type.literal_numbers[text]


def fits(value, width, signed):
    low, high = (-(1 << 8 * width - 1), (1 << 8 * width - 1) - 1) if signed else (0, (1 << 8 * width) - 1)
    return low <= value <= high
