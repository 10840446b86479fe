"""Reads archives, as docs/formats/archive.md tells them. libzstd unpacks."""

import ctypes
import ctypes.util
import json
import re

import direct
import hash3
import tagged
from model import Refused, refuse

MANIFEST, META_MODEL, LAST = 0x184D2A50, 0x184D2A51, 0x184D2A5F
DATA = 0xFD2FB528
MOST_WINDOW = 8 << 20
MOST_MANIFEST = 4 << 20
DIGITS = re.compile('[0-9a-f]{32}')

zstd = ctypes.CDLL(ctypes.util.find_library('zstd') or 'libzstd.so.1')
for name in ('ZSTD_findFrameCompressedSize', 'ZSTD_decompress'):
    getattr(zstd, name).restype = ctypes.c_size_t
zstd.ZSTD_findFrameCompressedSize.argtypes = [ctypes.c_char_p, ctypes.c_size_t]
zstd.ZSTD_decompress.argtypes = [ctypes.c_char_p, ctypes.c_size_t, ctypes.c_char_p, ctypes.c_size_t]
zstd.ZSTD_isError.argtypes = [ctypes.c_size_t]


def little(data):
    return int.from_bytes(data, 'little')


def unpack(frame, size):
    """The content of one data frame, which must be as long as that.
    @raises Refused."""
    check_head(frame)
    length = zstd.ZSTD_findFrameCompressedSize(frame, len(frame))
    if zstd.ZSTD_isError(length) or length != len(frame):
        refuse('not one frame')
    room = ctypes.create_string_buffer(max(size, 1))
    got = zstd.ZSTD_decompress(room, size, frame, len(frame))
    if zstd.ZSTD_isError(got) or got != size:
        refuse('damaged, or of another size')
    return room.raw[:size]


def check_head(frame):
    """RFC 8878, 3.1.1.1: content size and checksum must be there, a dictionary must not."""
    if len(frame) < 6 or little(frame[:4]) != DATA:
        refuse('no data frame')
    descriptor = frame[4]
    single = descriptor & 0x20
    if not descriptor & 0x04:
        refuse('no checksum')
    if not (descriptor >> 6 or single):
        refuse('no content size')
    if descriptor & 3:
        refuse('a dictionary')
    if not single:
        base = 1 << (10 + (frame[5] >> 3))
        if base + base // 8 * (frame[5] & 7) > MOST_WINDOW:
            refuse('a large window')


class Archive:
    def __init__(self, data):
        self.manifest = self.meta_model = None
        at = 0
        while True:
            magic = little(data[at:at + 4])
            if len(data) - at < 8:
                refuse('cut')
            if not MANIFEST <= magic <= LAST:
                break
            end = at + 8 + little(data[at + 4:at + 8])
            if end > len(data):
                refuse('cut')
            self.take(magic, data[at + 8:end])
            at = end
        if self.manifest is None:
            refuse('no manifest')
        self.document = data[at:]

    def take(self, magic, content):
        if (magic == MANIFEST) != (self.manifest is None):
            refuse('the manifest stands first, and once')
        if magic == MANIFEST:
            self.manifest = parse_manifest(content)
        elif magic == META_MODEL:
            if self.meta_model is not None:
                refuse('two meta models')
            self.meta_model = content


def parse_manifest(content):
    if not 8 <= len(content) <= MOST_MANIFEST or hash3.hash64(content[8:]) != little(content[:8]):
        refuse('damaged manifest')
    try:
        manifest = json.loads(content[8:])
        if manifest['kr0'] != 1 or manifest['document']['format'] not in ('krb', 'krt'):
            refuse('manifest')
        hashes = [manifest[part]['xxh3'] for part in ('document', 'metaModel')]
        hashes += [package['fingerprint'] for package in manifest['packages']]
        if not all(DIGITS.fullmatch(text) for text in hashes):
            refuse('no hash')
        if not all(p['uri'] and p['name'] for p in manifest['packages']):
            refuse('no package')
        if sum(f['bytes'] for f in manifest['metaModel']['files']) != manifest['metaModel']['bytes']:
            refuse('sizes')
        return manifest
    except (ValueError, KeyError, TypeError):
        refuse('no manifest')


def check_meta_model(archive):
    if archive.meta_model is None:
        refuse('no meta model')
    about = archive.manifest['metaModel']
    content = unpack(archive.meta_model, about['bytes']) if archive.meta_model else b''
    if len(content) != about['bytes'] or hash3.digits128(content) != about['xxh3']:
        refuse('damaged meta model')


def read(data, meta):
    """The Model of an archive that brings a meta model, which is this one.
    @raises Refused, or Other where its packages have other fingerprints."""
    return read_document(Archive(data), meta, check_meta_model)


def read_by(data, meta):
    """The same by a meta model that was there before: the archive's own does not matter then."""
    return read_document(Archive(data), meta, lambda archive: None)


def read_document(archive, meta, check):
    for package in archive.manifest['packages']:
        if package['uri'] not in meta.uris or meta.fingerprint(package['uri']) != package['fingerprint']:
            raise Other(package['uri'])
    check(archive)
    about = archive.manifest['document']
    document = unpack(archive.document, about['bytes'])
    if hash3.digits128(document) != about['xxh3']:
        refuse('damaged document')
    return (direct if about['format'] == 'krb' else tagged).read(document, meta)


class Other(Exception):
    """A package is another one, or unknown."""


__all__ = ['Other', 'Refused', 'read', 'read_by']
