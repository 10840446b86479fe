#!/usr/bin/env python3
"""Checks that every hash table whose keys can come from an input is keyed anew in each process.

Whoever writes a document could else choose keys that share one place of a table, and make reading take time by the square.
Tables of texts, and of numbers as documents hold them, name TextHash, NumberHash or a hash made of them; tables of pointers and
of the places of things in memory need not.

    scripts/check_tables.py              checks the sources of this tree
    scripts/check_tables.py --self-check shows that a table with the standard hash is found"""

import os
import re
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
FOLDERS = ('src', 'include', 'interop', 'evolution', 'archive', 'compare', 'study', 'inspect', 'apps')
TABLE = re.compile(r'\bunordered_(?:multi)?(?:map|set)<')
KEYS_OF_INPUT = re.compile(r'(?:std::)?(?:u16|u8)?string(?:_view)?$|(?:fl::)?ustring$|(?:std::)?u?int64_t$|Link$')


def arguments(text, begin):
    """The template's arguments from just behind its "<" on."""
    parts, depth, start = [], 0, begin
    for i in range(begin, len(text)):
        if text[i] in '<(':
            depth += 1
        elif text[i] in '>)' and depth > 0:
            depth -= 1
        elif text[i] == '>' or (text[i] == ',' and depth == 0):
            parts.append(' '.join(text[start:i].split()))
            start = i + 1
            if text[i] == '>':
                break
    return parts


def findings(path, text):
    for table in TABLE.finditer(text):
        parts = arguments(text, table.end())
        if KEYS_OF_INPUT.match(parts[0]) and not any(re.search(r'\w*(?:Text|Number|Link)Hash$', part) for part in parts[1:]):
            yield '%s:%d: a table by %s has no hash of its own process' % (path, text.count('\n', 0, table.start()) + 1, parts[0])


def sources():
    for folder in FOLDERS:
        for where, _, names in os.walk(os.path.join(ROOT, folder)):
            for name in sorted(names):
                if name.endswith(('.h', '.cpp')):
                    yield os.path.join(where, name)


def check():
    count, found = 0, []
    for path in sources():
        with open(path, encoding='utf-8') as file:
            text = file.read()
        count += len(TABLE.findall(text))
        found += findings(os.path.relpath(path, ROOT), text)
    print('\n'.join(found + ['%d tables, %d without' % (count, len(found))]))
    return 1 if found or not count else 0


def self_check():
    for text, expected in (('std::unordered_map<std::string, int> a;', 1),
                           ('std::unordered_set<ustring> a;', 1),
                           ('std::unordered_map<std::string_view,\n    std::vector<int>> a;', 1),
                           ('std::unordered_map<std::uint64_t, std::pair<int, int>> a;', 1),
                           ('std::unordered_map<std::string, std::map<int, TextHash>> a;', 1),
                           ('std::unordered_map<std::string, int, TextHash, std::equal_to<>> a;', 0),
                           ('std::unordered_map<const void*, std::string> a;', 0)):
        if len(list(findings('a.h', text))) != expected:
            sys.exit('not %d findings in: %s' % (expected, text))
    print('tables with the standard hash are found')
    return 0


sys.exit(self_check() if sys.argv[1:] == ['--self-check'] else check())
