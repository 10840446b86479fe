#!/usr/bin/env python3
"""Reads the documents of a batch (Batch.h tells its form) once more, by readers that were written from the pages of the
formats alone, and tells where they and the library disagree: on whether a document is to be taken, on what it says, on its
digest, on the numbers of properties, on fingerprints.

    kr0_oracle_batch 20000 1 | tests/oracle/compare.py

Ends with "N passed, M failed"; the exit code is 0 only where M is 0 and there were documents of every sort."""

import argparse
import collections
import json
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import archive  # noqa: E402
import direct  # noqa: E402
import metamodel  # noqa: E402
import model  # noqa: E402
import tagged  # noqa: E402

sys.setrecursionlimit(100000)
READERS = {'krb': direct.read, 'krt': tagged.read, 'krz': archive.read, 'krz-by': archive.read_by}


def answer(format_, data, meta):
    """(verdict, digest, content, why)"""
    try:
        if format_ == 'events':
            return 'accepted', '-', tagged.shown(tagged.events(data)), ''
        read = READERS[format_](data, meta)
        return 'accepted', model.digest(read), model.content(read), ''
    except model.Refused as why:
        return 'refused', '-', '-', str(why)
    except archive.Other as package:
        return 'another fingerprint', '-', '-', str(package)


class Comparison:
    def __init__(self, most_shown):
        self.most_shown = most_shown
        self.counts = collections.Counter()
        self.failures = 0

    def fail(self, *lines):
        self.failures += 1
        if self.failures <= self.most_shown:
            print(*lines, sep='\n    ')

    def run(self, lines):
        meta = None
        for line in lines:
            words = line.rstrip('\n').split(' ')
            if words[0] == 'M':
                text = line[2:]
                meta = metamodel.MetaModel(json.loads(text))
                if wrong := meta.wrong_numbers():
                    self.fail('numbers: ' + ', '.join(wrong), text)
            elif words[0] == 'D' and len(words) >= 6:
                self.compare(meta, text, *words[1:6], words[6] if len(words) > 6 else '')
            else:
                self.fail('no line of a batch: ' + line)

    def compare(self, meta, meta_text, name, format_, hexadecimal, verdict, digest, content):
        mine = answer(format_, bytes.fromhex(hexadecimal[1:]), meta)
        self.counts[format_, verdict] += 1
        if mine[:3] == (verdict, digest, content):
            return
        what = next(w for w, a, b in zip(('verdict', 'digest', 'content'), mine, (verdict, digest, content)) if a != b)
        self.fail('%s, %s: another %s' % (name, format_, what), 'bytes ' + hexadecimal[1:],
                  'library: %s %s %s' % (verdict, digest, content), 'here:    %s %s %s (%s)' % mine,
                  'meta model: ' + meta_text.rstrip())

    def finish(self):
        for (format_, verdict), count in sorted(self.counts.items()):
            print('%-6s %-8s %d' % (format_, verdict, count))
        for format_ in (*READERS, 'events'):
            for verdict in ('accepted', 'refused'):
                if not self.counts[format_, verdict]:
                    self.fail('no document of %s that is %s' % (format_, verdict))
        print('%d passed, %d failed' % (max(0, sum(self.counts.values()) - self.failures), self.failures))
        return 0 if self.failures == 0 else 1


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('--show', type=int, default=5, help='how many disagreements to print')
    comparison = Comparison(parser.parse_args().show)
    comparison.run(sys.stdin)
    return comparison.finish()


if __name__ == '__main__':
    sys.exit(main())
