#!/usr/bin/env python3
"""Changes the code that reads and writes documents in one place at a time, and asks whether a test notices.

All changes stand in one build: a copy of the tree in which each of them is behind a switch (tests/mutation/mutant.h), so
that one mutant costs no more than the tests that reach it. Comparisons are flipped, && and || swapped, numbers shifted by
one, checks and statements dropped. What is a constant for the compiler cannot be switched: it is left as it is, and counted.

    scripts/mutate.py                  all mutants
    scripts/mutate.py --changed main   those of files that differ from a commit
    scripts/mutate.py --sample 300     some, chosen by --seed

tests/mutation/left.txt lists mutants that no test notices, with reasons; any other one is a failure. Those that are
equivalent there do not count in the second of the two shares that are reported: they change nothing that could be noticed.
Ends with "N passed, M failed"; where all were tried, fewer than 95 % noticed of those that change anything fail, too."""

import argparse
import collections
import concurrent.futures
import os
import random
import re
import shutil
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
TREE = os.path.join(ROOT, 'build', 'mutation', 'tree')
BUILD = os.path.join(ROOT, 'build', 'mutation', 'build')
LEFT = os.path.join(ROOT, 'tests', 'mutation', 'left.txt')
FOLDERS = ('errors', 'sylvan', 'values', 'direct', 'grammar')
PROGRAMS = ('errors', 'values', 'direct', 'sylvan', 'grammar', 'roundtrip', 'hostile')
# Tests that are long because they try much, and how much the others that do so try here.
LONG = '*EveryByte*:*EveryPair*:*EveryFailedRequest*:*Depth.*'
FEW = {'KR0_MUTANTS': '500', 'KR0_PAIRS': '50'}
NOT_BUILT = 'ECORE JSON TABLES EVOLUTION COMPARE ARCHIVE STUDY INSPECT TOOL EXAMPLES BENCHMARKS'.split()
LEAST = 95  # of a hundred mutants that change something, so many are noticed
MOST_MILLISECONDS = 1000  # of the processor, for a test that is run for a mutant

TOKEN = re.compile(r'''
    (?P<space>\s+) | (?P<comment>//[^\n]*|/\*.*?\*/) | (?P<directive>\#(?:[^\n]*\\\n)*[^\n]*)
  | (?P<string>R"(?P<mark>\w*)\(.*?\)(?P=mark)"|(?:u8|u|U|L)?"(?:\\.|[^"\\\n])*"|(?:u8|u|U|L)?'(?:\\.|[^'\\\n])*')
  | (?P<number>0[xX][0-9a-fA-F']+[uUlLzZ]*|\d[\d']*(?:\.\d+)?(?:[eE][+-]?\d+)?[uUlLzZfF]*)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<punctuation><=>|<<=|>>=|->\*|\.\.\.|::|->|\+\+|--|<<|<=|>=|==|!=|&&|\|\||\+=|-=|\*=|/=|%=|&=|\|=|\^=|\[\[|\]\]|.)
''', re.X | re.S)

FLIPPED = {'<': ('Less', '<', '>', '<='), '<=': ('LessEqual', '<', '>', '<'), '>': ('Greater', '<', '>', '>='),
           '>=': ('GreaterEqual', '<', '>', '>'), '==': ('Equal', '==', '==', '!='), '!=': ('NotEqual', '==', '==', '==')}
ASSIGNMENTS = {'=', '+=', '-=', '*=', '/=', '%=', '&=', '|=', '^=', '<<=', '>>='}
OPENING, CLOSING = {'(': ')', '[': ']', '{': '}', '[[': ']]'}, {')', ']', '}', ']]'}
# Words with which no statement begins that could be left out.
NOT_DROPPED = set('''return throw if else for while do switch case default break continue goto try catch const constexpr
    constinit auto static using typedef struct class enum union template public private protected namespace friend virtual
    explicit inline extern static_assert static_cast co_return unsigned signed int char bool long short double void requires
    operator delete'''.split())


class Token:
    def __init__(self, kind, text, line):
        self.kind, self.text, self.line = kind, text, line
        self.before = self.after = ''  # what is put around it
        self.blank_before = False      # whether a blank or an end of line stands before it
        self.excluded = False          # a constant for the compiler, or no code

    def __repr__(self):
        return self.text


class Mutant:
    def __init__(self, number, file, line, text, change):
        self.number, self.file, self.line, self.text, self.change = number, file, line, text, change
        self.tests = []  # (program, name, milliseconds) of those that reach it
        self.verdict = ''

    def key(self):
        return '%s ~ %s ~ %s' % (self.file, self.text, self.change)


class Source:
    """One file, to be mutated."""

    def __init__(self, file, text, mutants, left_out):
        self.file = file
        self.lines = text.split('\n')
        self.mutants = mutants
        self.left_out = left_out
        self.everything = []  # tokens with blanks and comments
        self.code = []
        line, blank = 1, True
        for match in TOKEN.finditer(text):
            token = Token(match.lastgroup if match.lastgroup != 'mark' else 'string', match.group(), line)
            self.everything.append(token)
            line += token.text.count('\n')
            if token.kind in ('space', 'comment', 'directive'):
                blank = True
                continue
            token.blank_before, blank = blank, False
            self.code.append(token)
        self.partner = self.match_brackets()
        self.bodies = self.find_bodies()
        self.exclude()

    # What is where

    def match_brackets(self):
        partner, open_ = {}, []
        for i, token in enumerate(self.code):
            if token.kind == 'string':
                continue
            if token.text in OPENING:
                open_.append(i)
            elif token.text in CLOSING:
                j = open_.pop()
                partner[i], partner[j] = j, i
        return partner

    def is_operator(self, i):
        """Whether the token stands between blanks, as binary operators do and brackets of templates do not."""
        return self.code[i].blank_before and i + 1 < len(self.code) and self.code[i + 1].blank_before

    def end_of_angles(self, i):
        """The token that closes a template's `<`."""
        depth = 0
        while i < len(self.code):
            text = self.code[i].text
            if text == '<':
                depth += 1
            elif text in ('>', '>>'):
                depth -= len(text)
                if depth <= 0:
                    return i
            elif text in ('(', '[', '{'):
                i = self.partner[i]
            elif text == ';':
                return i
            i += 1
        return i

    def find_bodies(self):
        """The `{` of functions, lambdas and blocks."""
        bodies, scopes, head = set(), [], 0
        for i, token in enumerate(self.code):
            if token.text == '{' and token.kind == 'punctuation':
                is_body = self.is_body(i, head, scopes and scopes[-1] == 'body')
                scopes.append('body' if is_body else self.kind_of_scope(head, i))
                if is_body:
                    bodies.add(i)
                if scopes[-1] != 'list':
                    head = i + 1
            elif token.text == '}' and token.kind == 'punctuation':
                if scopes.pop() != 'list':
                    head = i + 1
            elif token.text == ';':
                head = i + 1
        return bodies

    def kind_of_scope(self, head, i):
        words, depth = set(), 0
        for token in self.code[head:i]:
            depth += (token.text in ('<', '(')) - (token.text in ('>', ')'))
            if depth == 0:
                words.add(token.text)
        return 'type' if words & {'namespace', 'class', 'struct', 'union', 'enum'} else 'list'

    def is_body(self, i, head, inside):
        previous = self.code[i - 1].text if i else ''
        if previous in (')', 'else', 'do', 'try', 'mutable', 'noexcept', 'const', 'override', 'final'):
            return self.kind_of_scope(head, i) != 'type'
        if inside:
            return previous in ('{', '}', ';', ':', ']') or '->' in [t.text for t in self.code[max(head, i - 8):i]]
        texts = [t.text for t in self.code[head:i]]
        if '->' in texts:
            return True
        return previous == '}' and '(' in texts and self.kind_of_scope(head, i) != 'type'

    def exclude(self):
        code = self.code

        def leave(first, last):
            for token in code[first:last + 1]:
                token.excluded = True

        for i, token in enumerate(code):
            text = token.text
            following = code[i + 1].text if i + 1 < len(code) else ''
            if text == '<' and not self.is_operator(i):
                leave(i, self.end_of_angles(i))
            elif text == '[[':
                leave(i, self.partner[i])
            elif text in ('static_assert', 'sizeof', 'alignas', 'decltype', 'noexcept') and following == '(':
                leave(i, self.partner[i + 1])
            elif text == 'constexpr' and i and code[i - 1].text == 'if':
                leave(i, self.partner[i + 1])
            elif text in ('constexpr', 'constinit', 'using', 'typedef', 'concept', 'requires'):
                self.exclude_declaration(i, leave)
            elif text == 'case':
                leave(i, next(j for j in range(i, len(code)) if code[j].text == ':'))
            elif text == 'enum':
                j = next(j for j in range(i, len(code)) if code[j].text in '{;')
                leave(i, self.partner.get(j, j))
            elif text == '[' and i > 1 and code[i - 1].kind == 'word' and not token.blank_before and (
                    code[i - 2].kind == 'word' and code[i - 2].text != 'return' or code[i - 2].text == '>'):
                leave(i, self.partner[i])  # the size of an array
            elif text == '=' and following in ('0', 'default', 'delete') and code[i - 1].text in (')', 'const', 'noexcept'):
                leave(i, i + 1)

    def exclude_declaration(self, i, leave):
        """A constant, an alias or a requirement: up to its end. A function that may be constant is code as any other."""
        code, j = self.code, i + 1
        while j < len(code):
            text = code[j].text
            if text == '<' and not self.is_operator(j):
                j = self.end_of_angles(j)
            elif code[i].text == 'requires' and text in '{;':
                return leave(i, j)
            elif code[i].text in ('constexpr', 'constinit') and text == '(':
                return None
            elif text == ';':
                return leave(i, j)
            elif text in ('{', '='):
                while code[j].text != ';':
                    j = self.partner.get(j, j) if code[j].text in OPENING else j
                    j += 1
                return leave(i, j)
            elif text in OPENING:
                j = self.partner[j]
            j += 1
        return None

    # Mutants

    def add(self, i, change):
        line = self.code[i].line
        mutant = Mutant(len(self.mutants) + 1, self.file, line, self.lines[line - 1].strip(), change)
        self.mutants.append(mutant)
        return mutant.number

    def inside_code(self, i):
        """Whether a token stands in a function's body."""
        return self.depth_of_bodies[i] > 0 and not self.code[i].excluded

    def mutate(self):
        depth, self.depth_of_bodies = 0, []
        for i in range(len(self.code)):
            if i in self.bodies:
                depth += 1
            self.depth_of_bodies.append(depth)
            if i in self.partner and self.partner[i] in self.bodies and self.code[i].text == '}':
                depth -= 1
        self.shift_constants()
        self.flip_comparisons()
        for operator in ('&&', '||'):
            self.swap(operator)
        self.drop_checks()
        self.drop_statements()

    def shift_constants(self):
        for i, token in enumerate(self.code):
            first = i
            if token.kind == 'word' and re.fullmatch(r'k[A-Z]\w*', token.text):
                if i + 1 < len(self.code) and self.code[i + 1].text in ('(', '::', '<', '{', '.', '['):
                    continue
                while first >= 2 and self.code[first - 1].text == '::' and self.code[first - 2].kind == 'word':
                    first -= 2
                before = self.code[first - 1]
                if before.kind == 'word' and before.text not in ('return', 'else', 'case') or before.text in ('.', '->', '::'):
                    continue
                if before.text in ('&', '*') and not self.is_operator(first - 1):
                    continue
            elif token.kind != 'number':
                continue
            if not self.inside_code(i):
                self.left_out['constants'] += 1
                continue
            number = self.add(i, '%s + 1' % ''.join(t.text for t in self.code[first:i + 1]))
            self.code[first].before += 'kr0m::shift(%d, ' % number
            token.after += ')'

    def flip_comparisons(self):
        for i, token in enumerate(self.code):
            if token.kind != 'punctuation' or token.text not in FLIPPED or not self.is_operator(i):
                continue
            if self.code[i - 1].text == 'operator':
                continue
            if not self.inside_code(i):
                self.left_out['comparisons'] += 1
                continue
            name, opening, closing, other = FLIPPED[token.text]
            number = self.add(i, '%s to %s' % (token.text, other))
            token.text = '%s kr0m::%s{%d} %s' % (opening, name, number, closing)
            token.kind = 'changed'

    def operand(self, i, step, ends):
        """The last token of the operand that begins beside token i."""
        j = i + step
        while True:
            text = self.code[j].text
            if j in self.partner and (text in CLOSING) == (step < 0):
                j = self.partner[j]
            elif self.code[j].kind in ('punctuation', 'word') and (
                    text in ends or text in OPENING or text in CLOSING):
                return j - step
            j += step

    def swap(self, operator):
        other = '||' if operator == '&&' else '&&'
        ends = {';', ',', '?', ':', 'return', 'throw', 'case'} | ASSIGNMENTS
        if operator == '&&':
            ends.add('||')
        for i, token in enumerate(self.code):
            if token.kind != 'punctuation' or token.text != operator or not self.is_operator(i):
                continue
            if not self.inside_code(i):
                self.left_out['&& and ||'] += 1
                continue
            first, last = self.operand(i, -1, ends), self.operand(i, 1, ends | {operator})
            number = self.add(i, '%s to %s' % (operator, other))
            # a || b is not (not a and not b), so one negates all three or none. Short ways stay short.
            negated = '(kr0m::on(%d) != static_cast<bool>(' % number
            self.code[first].before = negated * 2 + self.code[first].before
            token.text = ')) %s %s' % (operator, negated)
            token.kind = 'changed'
            self.code[last].after += '))))'

    def drop_checks(self):
        for i, token in enumerate(self.code):
            if token.text != 'if' or token.kind != 'word':
                continue
            if self.code[i + 1].text != '(' or not self.inside_code(i):
                self.left_out['checks'] += 1
                continue
            end = self.partner[i + 1]
            first, j = i + 2, i + 2
            while j < end:
                if self.code[j].text == ';':
                    first = j + 1
                j = self.partner[j] if self.code[j].text in OPENING and self.code[j].kind == 'punctuation' else j
                j += 1
            if any(t.text == '=' for t in self.code[first:end]):
                self.left_out['checks'] += 1
                continue
            number = self.add(i, 'check dropped')
            self.code[first].before = '!kr0m::on(%d) && (' % number + self.code[first].before
            self.code[end].before += ')'

    def drop_statements(self):
        for i, token in enumerate(self.code):
            if not i or self.depth_of_bodies[i] == 0 or token.excluded or not self.begins_statement(i):
                continue
            if token.text in NOT_DROPPED or token.text in ('{', '}', ';', '(') or token.kind not in ('word', 'punctuation'):
                continue
            end = self.end_of_statement(i)
            if end is None or self.is_declaration(i, end):
                continue
            number = self.add(i, 'statement dropped')
            token.before = '{ if (!kr0m::on(%d)) ' % number + token.before
            self.code[end].after += ' }'

    def begins_statement(self, i):
        previous = self.code[i - 1]
        if previous.text == ';':
            return not self.inside_parentheses(i)
        if previous.text == '{':
            return i - 1 in self.bodies
        if previous.text == '}':
            return self.partner[i - 1] in self.bodies and not self.inside_parentheses(i)
        if previous.text == ')' and i - 1 in self.partner:
            head = self.code[self.partner[i - 1] - 1].text
            return head in ('if', 'for', 'while', 'switch')
        return previous.text == 'else'

    def inside_parentheses(self, i):
        """Whether the innermost open bracket is not a brace."""
        depth = 0
        for j in range(i - 1, -1, -1):
            text = self.code[j].text
            if j in self.partner and text in CLOSING:
                depth += 1
            elif j in self.partner and text in OPENING:
                if depth == 0:
                    return text != '{'
                depth -= 1
        return False

    def end_of_statement(self, i):
        j = i
        while j < len(self.code):
            text = self.code[j].text
            if text == ';':
                return j
            if text in CLOSING or text == ':':
                return None
            if j in self.partner:
                j = self.partner[j]
            j += 1
        return None

    def is_declaration(self, i, end):
        """Whether a type stands first: a name, perhaps with a template's arguments, and another name."""
        j = i
        if self.code[j].kind != 'word':
            return False
        while j < end:
            following = self.code[j + 1]
            if following.text == '<' and not self.is_operator(j + 1):
                j = self.end_of_angles(j + 1)
            elif following.text == '::' and self.code[j + 2].kind == 'word':
                j += 2
            else:
                break
        following = self.code[j + 1]
        if following.kind == 'word':
            return True
        return following.text in ('&', '*', '&&') and self.code[j + 2].kind == 'word'

    def text(self):
        body = ''.join(t.before + t.text + t.after for t in self.everything)
        return '#include "mutation/mutant.h"\n' + body


# The copy of the tree, and its build

def write_if_other(path, text):
    if os.path.exists(path):
        with open(path, encoding='utf-8') as file:
            if file.read() == text:
                return
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, 'w', encoding='utf-8') as file:
        file.write(text)


def tracked_files():
    listed = subprocess.run(['git', 'ls-files', '-z', '--cached', '--others', '--exclude-standard'], cwd=ROOT, check=True,
                            stdout=subprocess.PIPE, text=True).stdout
    return [file for file in listed.split('\0') if file and os.path.isfile(os.path.join(ROOT, file))]


def is_codec(file):
    parts = file.split('/')
    return len(parts) == 3 and parts[0] == 'src' and parts[1] in FOLDERS and file.endswith(('.h', '.cpp'))


def make_tree():
    """(mutants, what was left out)"""
    mutants, left_out, kept = [], collections.Counter(), set()
    for file in tracked_files():
        if file.startswith(('benchmarks/', 'examples/', '.')):
            continue
        kept.add(file)
        with open(os.path.join(ROOT, file), 'rb') as opened:
            text = opened.read().decode('utf-8', 'surrogateescape')
        if is_codec(file):
            source = Source(file, text, mutants, left_out)
            source.mutate()
            text = source.text()
            # Changed code must not be seen as generated from elsewhere, and its lines are those of the original.
            text = text.replace('\n', '\n#line 1\n', 1) if not text.startswith('#pragma') else text
        if file.endswith(('.h', '.cpp', '.txt', '.cmake', '.json', '.in', '.map', '.pc', '.ecore', '.sh')):
            write_if_other(os.path.join(TREE, file), text)
    for program in PROGRAMS:
        with open(os.path.join(ROOT, 'tests', 'mutation', 'listener.cpp'), encoding='utf-8') as listener:
            write_if_other(os.path.join(TREE, 'tests', program, 'mutation_listener.cpp'), listener.read())
    return mutants, left_out


def run(*command, **options):
    subprocess.run(command, check=True, **options)


def build(jobs):
    # Running off the end of a function that a dropped statement should have ended is noticed.
    flags = '-O1 -g0 -w -Wno-narrowing -fsanitize=return,unreachable -fsanitize-undefined-trap-on-error'
    flags += ' -I' + os.path.join(TREE, 'tests')
    launcher = ['-DCMAKE_CXX_COMPILER_LAUNCHER=ccache'] if shutil.which('ccache') else []
    environment = dict(os.environ, CCACHE_SLOPPINESS='pch_defines,time_macros')
    run('cmake', '-S', TREE, '-B', BUILD, '-G', 'Ninja', '-DCMAKE_BUILD_TYPE=None', '-DCMAKE_CXX_FLAGS=' + flags,
        '-DKR0_BUILD_TESTS=ON', *('-DKR0_BUILD_%s=OFF' % part for part in NOT_BUILT), *launcher,
        stdout=subprocess.DEVNULL, env=environment)
    run('ninja', '-C', BUILD, '-j', str(jobs), *['test_' + program for program in PROGRAMS], env=environment)


def program_path(program):
    return os.path.join(BUILD, 'tests', 'test_' + program)


def find_reached(mutants):
    """Has each test say which mutants it reaches; what takes long is left out."""
    for program in PROGRAMS:
        log = os.path.join(BUILD, 'reached_' + program)
        if os.path.exists(log):
            os.remove(log)
        result = subprocess.run([program_path(program), '--gtest_brief=1', '--gtest_filter=-' + LONG],
                                env=dict(os.environ, **FEW, KR0_MUTANTS_REACHED=log), stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                check=False)
        if result.returncode != 0:
            sys.exit(result.stdout.decode(errors='replace')[-3000:] + '\ntest_%s fails without any mutant' % program)
        with open(log, encoding='utf-8') as lines:
            for line in lines:
                name, milliseconds, *numbers = line.split()
                if int(milliseconds) <= MOST_MILLISECONDS:
                    for number in numbers:
                        mutants[int(number) - 1].tests.append((program, name, int(milliseconds)))


# Trying

def fails(program, tests, mutant):
    """Whether one of some tests fails, ends the program or takes far too long."""
    # A loop without an end costs the processor's time, and a wait without one the clock's.
    seconds = 2 + sum(milliseconds for _, _, milliseconds in tests) // 100
    command = ['timeout', '-s', 'KILL', str(30 * seconds), program_path(program), '--gtest_brief=1', '--gtest_fail_fast',
               '--gtest_filter=' + ':'.join(name for _, name, _ in tests)]
    limited = ['bash', '-c', 'ulimit -c 0 -v 4194304 -t %d; exec "$@"' % seconds, 'bash'] + command
    return subprocess.run(limited, env=dict(os.environ, **FEW, KR0_MUTANT=str(mutant.number)), stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL, check=False).returncode != 0


def judge(mutant):
    """The quickest tests first, of the program that reaches the mutant most."""
    if not mutant.tests:
        mutant.verdict = 'not reached'
        return mutant
    by_program = collections.defaultdict(list)
    for test in mutant.tests:
        by_program[test[0]].append(test)
    rounds = []
    for program, tests in by_program.items():
        tests.sort(key=lambda test: test[2])
        for start, end in ((0, 40), (40, 400), (400, len(tests))):
            part = tests[start:end]
            if part:
                rounds.append((sum(test[2] for test in part) + 20 * (start > 0), program, part))
    rounds.sort(key=lambda entry: entry[0])
    noticed = any(fails(program, tests, mutant) for _, program, tests in rounds)
    mutant.verdict = 'noticed' if noticed else 'survived'
    return mutant


def try_all(chosen, jobs, seconds):
    """Those that there was time for."""
    end = time.monotonic() + seconds
    tried = []

    def within_time(mutant):
        return judge(mutant) if time.monotonic() < end else mutant

    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        for mutant in pool.map(within_time, chosen):
            if mutant.verdict:
                tried.append(mutant)
                if len(tried) % 200 == 0:
                    print('%d of %d tried' % (len(tried), len(chosen)), flush=True)
    return tried


# The report

def read_left():
    """Why mutants of each kind are left, one reason for each of them."""
    known = collections.defaultdict(list)
    if os.path.exists(LEFT):
        with open(LEFT, encoding='utf-8') as lines:
            for line in lines:
                if line.strip() and not line.startswith('#'):
                    *key, reason = line.strip().split(' ~ ', 3)
                    known[' ~ '.join(key)].append(reason)
    return known


def explain(tried):
    """Mutants that no test noticed, each with the reason that is listed, or None."""
    known = read_left()
    missed = [mutant for mutant in tried if mutant.verdict != 'noticed']
    return [(mutant, known[mutant.key()].pop(0) if known[mutant.key()] else None) for mutant in missed]


def report(tried, explained, chosen, left_out):
    table = collections.defaultdict(collections.Counter)
    for mutant in tried:
        table[mutant.file][mutant.verdict] += 1
    for mutant, reason in explained:
        table[mutant.file]['equivalent'] += (reason or '').startswith('equivalent')
    columns = ('noticed', 'survived', 'not reached', 'equivalent')
    row = '%-42s' + ' %11s' * (1 + len(columns))
    print(row % (('file', 'mutants') + columns))
    total = collections.Counter()
    for file, counts in sorted(table.items()):
        total.update(counts)
        print(row % ((file, sum(counts.values()) - counts['equivalent']) + tuple(counts[column] for column in columns)))
    noticed = total['noticed']
    print('%d mutants, %d noticed (%.1f %%), %d survived, %d not reached; %d had no time' % (
        len(tried), noticed, 100 * noticed / max(1, len(tried)), total['survived'], total['not reached'],
        len(chosen) - len(tried)))
    different = len(tried) - total['equivalent']
    print('%d change nothing that can be noticed; of the other %d, %d are noticed (%.1f %%)' % (
        total['equivalent'], different, noticed, 100 * noticed / max(1, different)))
    print('left as they are, since they are constants for the compiler: ' +
          ', '.join('%d %s' % (count, what) for what, count in sorted(left_out.items())))
    return 100 * noticed / max(1, different)


def renew_left(tried):
    """Takes out of the list what is noticed by now, and adds what is not listed, to be explained."""
    missed = collections.Counter(mutant.key() for mutant in tried if mutant.verdict != 'noticed')
    files = {mutant.file for mutant in tried}
    kept = []
    with open(LEFT, encoding='utf-8') as lines:
        for line in lines:
            key = ' ~ '.join(line.strip().split(' ~ ', 3)[:3])
            if line.startswith('#') or not line.strip() or key.split(' ~ ')[0] not in files:
                kept.append(line)
            elif missed[key] > 0:
                missed[key] -= 1
                kept.append(line)
    kept += ['%s ~ open: not looked at\n' % key for key in sorted(missed.elements())]
    with open(LEFT, 'w', encoding='utf-8') as file:
        file.writelines(kept)


def count_open():
    """Listed mutants that nobody has explained."""
    with open(LEFT, encoding='utf-8') as lines:
        return sum(' ~ open: ' in line for line in lines)


def is_commit(name):
    return subprocess.run(['git', 'rev-parse', '-q', '--verify', name + '^{commit}'], cwd=ROOT, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL, check=False).returncode == 0


def changed_files(base):
    listed = subprocess.run(['git', 'diff', '--name-only', base], cwd=ROOT, check=True, stdout=subprocess.PIPE, text=True).stdout
    return set(listed.split())


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('--changed', metavar='COMMIT', help='only files that differ from this commit')
    parser.add_argument('--sample', type=int, metavar='N', help='only so many mutants')
    parser.add_argument('--seed', type=int, default=1)
    parser.add_argument('--files', metavar='TEXT', help='only files whose path holds this')
    parser.add_argument('--seconds', type=float, default=float('inf'), help='for trying mutants')
    parser.add_argument('--jobs', type=int, default=os.cpu_count() or 2)
    parser.add_argument('--list', action='store_true', help='print the mutants, and try none')
    parser.add_argument('--renew', action='store_true', help='write the list of those that are left anew, where all were tried')
    options = parser.parse_args()

    if options.changed and not is_commit(options.changed):
        print('there is no commit %s to compare with\n0 passed, 0 failed, 1 skipped' % options.changed)
        return 0
    mutants, left_out = make_tree()
    chosen = list(mutants)
    if options.changed:
        changed = changed_files(options.changed)
        chosen = [mutant for mutant in chosen if mutant.file in changed]
    if options.files:
        chosen = [mutant for mutant in chosen if options.files in mutant.file]
    if options.sample is not None or options.seconds != float('inf'):
        print('seed %d' % options.seed)
        random.Random(options.seed).shuffle(chosen)
        chosen = chosen[:options.sample]
    if options.list:
        for mutant in chosen:
            print(mutant.number, mutant.key(), sep=' ~ ')
        return 0
    if not chosen:
        print('nothing that could be mutated has changed\n0 passed, 0 failed, 1 skipped')
        return 0
    build(options.jobs)
    find_reached(mutants)
    tried = try_all(chosen, options.jobs, options.seconds)
    explained = explain(tried)
    share = report(tried, explained, chosen, left_out)
    print('%d mutants are listed without a reason' % count_open())
    if options.renew and options.sample is None and options.seconds == float('inf'):
        renew_left(tried)
    fresh = [mutant for mutant, reason in explain(tried) if reason is None]
    for mutant in fresh:
        print('%s:%d: %s: %s: %s' % (mutant.file, mutant.line, mutant.verdict, mutant.text, mutant.change))
    too_few = len(tried) == len(mutants) and share < LEAST
    if too_few:
        print('fewer than %d %% are noticed' % LEAST)
    print('%d passed, %d failed' % (len(tried) - len(fresh), len(fresh) + too_few))
    return 1 if fresh or too_few else 0


if __name__ == '__main__':
    sys.exit(main())
