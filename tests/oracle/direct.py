"""Reads the direct format, as docs/formats/direct.md tells it: slowly, and one rule after the other."""

import metamodel
from model import EMPTY, Element, Model, Reference, checked_text, refuse, text_of

END = 16383


def read(data, meta):
    """The Model of a document.
    @raises Refused where it is none."""
    return Reader(data, meta).read()


class Reader:
    def __init__(self, data, meta):
        self.data = data
        self.at = 0
        self.model = Model(meta)

    # Units

    def byte(self):
        if self.at == len(self.data):
            refuse('cut')
        self.at += 1
        return self.data[self.at - 1]

    def number(self):
        value = place = 0
        while True:
            byte = self.byte()
            value |= (byte & 0x7F) << (7 * place % 64)
            place += 1
            if byte < 0x80:
                return value & ((1 << 64) - 1)

    def count(self):
        value = self.number()
        if value > len(self.data) - self.at:
            refuse('more than there are bytes')
        return value

    def bytes(self, size):
        if size > len(self.data) - self.at:
            refuse('cut')
        self.at += size
        return self.data[self.at - size:self.at]

    def text(self):
        return text_of(self.bytes(self.count()))

    def fixed(self, width, signed=False):
        return int.from_bytes(self.bytes(width), 'little', signed=signed)

    # Grammar

    def read(self):
        if self.number() != 1:
            refuse('version')
        if self.text() != 'kr':
            refuse('flag')
        self.model.use_packages([self.text() for _ in range(self.count())])
        while self.at < len(self.data):
            if self.number() != 0:
                refuse('no element where one must begin')
            root = self.header(None)
            self.model.roots.append(root)
            self.properties(root)
        return self.model.finish()

    def header(self, p):
        self.number()
        type_name = self.text()
        identity = (self.text(), self.text()) if self.byte() == 1 else None
        return self.model.create(type_name, p, identity)

    def properties(self, element):
        while True:
            key = self.number()
            if key == END:
                return
            p = element.type.by_number.get(key)
            if p is None:
                refuse('no such property')
            if not p.nothing:
                self.content(element, p)

    def content(self, element, p):
        if p.is_child:
            # Whether there is room for a child shows when it has come.
            child = self.header(p)
            element.open(p).append(child)
            self.properties(child)
        elif p.is_datatype:
            part = Element(p.type)
            element.open(p).append(part)
            self.properties(part)
        elif p.many:
            values = element.open(p)
            values += [self.item(p) for _ in range(self.count())]
        elif p.is_primitive and p.optional and self.byte() == 0xEE:
            if p.name in element.values:
                refuse('a second value of ' + p.name)
            element.values[p.name] = EMPTY
        else:
            element.open(p).append(self.item(p))

    def item(self, p):
        return self.reference(p) if p.is_reference else self.value(p)

    def reference(self, p):
        self.number()
        type_name = self.text()
        document = self.text() if self.byte() == 2 else None
        return self.model.refer(p, Reference(type_name, self.text(), self.text(), document))

    def value(self, p):
        if p.is_enum:
            number = self.fixed(4, signed=True)
            if number not in p.type.numbers:
                refuse('no literal')
            return number
        if p.standard == 'Boolean':
            return self.byte() == 1
        if p.standard == 'Real':
            return self.fixed(8)
        if p.standard in metamodel.INTEGERS:
            return self.fixed(*metamodel.INTEGERS[p.standard])
        return checked_text(p, self.text())
