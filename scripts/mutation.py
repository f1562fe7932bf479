"""Small changes of C++ sources ("mutants") that a test has to notice: finds the places, chooses among them by a seed,
and knows the list of changes that no test can notice. mutants.py makes them and runs the tests.

Only code is changed: no comment, text, preprocessor line, assertion or argument of a log entry. Memory orders are left
alone: on x86 each load acquires and each store releases, so that no test can see them; ThreadSanitizer does. So are
durations and sizes of buffers, as a wait that is a millisecond longer and a buffer that has a byte more are no faults.
A change never adds or removes a line, so that the lines which log entries report stay.
"""
import bisect
import collections
import hashlib
import math
import os
import re

TOKEN = re.compile(r'''
    (?P<comment> //[^\n]* | /\*.*?\*/ )
  | (?P<directive> ^[ \t]*\#(?:\\\n|[^\n])* )
  | (?P<text> (?:u8|[uUL])?R"(?P<fence>[^()\\ ]{0,16})\(.*?\)(?P=fence)" | (?:u8|[uUL])?"(?:\\.|[^"\\\n])*"
            | (?:u8|[uUL])?'(?:\\.|[^'\\\n])+' )
  | (?P<word> [A-Za-z_]\w* )
  | (?P<number> \.?\d(?:[eEpP][+-]|'?[\w.])* )
  | (?P<sign> ->\*? | \+\+ | -- | <=> | <<=? | >>= | <= | >= | == | != | && | \|\| | [-+*/%&|^]= | :: | [^\s] )
''', re.VERBOSE | re.DOTALL | re.MULTILINE)

Token = collections.namedtuple('Token', 'kind text start end')
# before and after: the lines that change, as they stand in a diff. number: among changes that are else the same.
Change = collections.namedtuple('Change', 'file line operator function start end new before after number')


class Operator(collections.namedtuple('Operator', 'name what')):
    """A kind of change, and what --list-operators says of it."""


OPERATORS = (
    Operator('relation', '< <= > >= for one another, == for != and != for =='),
    Operator('logic', '&& for || and || for &&'),
    Operator('constant', 'true for false and false for true'),
    Operator('arithmetic', '+ for -, - for +, * for /, / for *; the same for += -= *= /='),
    Operator('step', '++ for -- and -- for ++'),
    Operator('number', 'a number that is one more, or one less'),
    Operator('negation', 'a ! removed'),
    Operator('call', 'a call removed whose result nobody uses'),
    Operator('return', 'return {} for any other result'),
    Operator('condition', 'if (true) and if (false) for any other condition, while (false)'),
)

SIGNS = {
    'relation': {'<': ('<=', '>='), '<=': ('<', '>'), '>': ('>=', '<='), '>=': ('>', '<'), '==': ('!=',),
                 '!=': ('==',)},
    'logic': {'&&': ('||',), '||': ('&&',)},
    'arithmetic': {'+': ('-',), '-': ('+',), '*': ('/',), '/': ('*',), '+=': ('-=',), '-=': ('+=',), '*=': ('/=',),
                   '/=': ('*=',)},
}
# What stands in their brackets is no code that a test has to notice.
QUIET = {'static_assert', 'assert', 'alignas', 'M_TRACE', 'M_TRACE_AT', 'M_ERRLOG', 'M_ERRTRACE', 'M_ASSERT',
         'M_ASSERT_AT', 'MAssert_Failed', 'DumpToMErrLog'}
# Removed as a whole these are noticed: hosts search their logs for the entries.
ENTRIES = {'M_ERRLOG', 'M_ERRTRACE', 'DumpToMErrLog'}
KEYWORDS = {'return', 'if', 'for', 'while', 'do', 'switch', 'case', 'default', 'else', 'throw', 'delete', 'new',
            'using', 'typedef', 'goto', 'break', 'continue', 'sizeof', 'co_return', 'co_await', 'co_yield',
            'static_assert', 'public', 'private', 'protected', 'try', 'catch', 'operator', 'namespace', 'decltype',
            'noexcept'}
DURATION_TYPES = {'nanoseconds', 'microseconds', 'milliseconds', 'seconds', 'minutes'}
DURATION_NAME = re.compile(r'^_?[a-z]\w*(Ns|Us|Ms|S|Seconds|Milliseconds)$')
BEFORE_NAMES = {'template', 'inline', 'export', 'static', 'constexpr', 'typedef', 'extern', 'public', 'private',
                'protected', ':'}
CLOSER = {'(': ')', '[': ']', '{': '}'}


def tokens_of(text):
    return [Token(match.lastgroup if match.lastgroup != 'fence' else 'text', match[0], match.start(), match.end())
            for match in TOKEN.finditer(text)]


class Source:
    """One source or header: its tokens without comments, which bracket closes which, and where functions are."""

    def __init__(self, name, text):
        self.name, self.text = name, text
        self.tokens = [token for token in tokens_of(text) if token.kind not in ('comment', 'directive')]
        self.partner = self._partners()
        self.quiet = self._quiet()
        self.function = self._functions()
        self.starts = [0] + [match.end() for match in re.finditer('\n', text)]

    def _partners(self):
        partner, waiting = {}, []
        for index, token in enumerate(self.tokens):
            if token.kind != 'sign':
                continue
            if token.text in CLOSER:
                waiting.append(index)
            elif token.text in CLOSER.values() and waiting and CLOSER[self.tokens[waiting[-1]].text] == token.text:
                partner[index] = waiting.pop()
                partner[partner[index]] = index
        return partner

    def _quiet(self):
        quiet = set()
        for index, token in enumerate(self.tokens):
            if token.text in QUIET and self.is_text(index + 1, '('):
                quiet.update(range(index, self.partner.get(index + 1, index) + 1))
        return quiet

    def _functions(self):
        """The name of the function around each token; None outside of all, as in declarations and tables."""
        names, scopes, begin, resumed = [], [(None, 0)], 0, {}
        for index, token in enumerate(self.tokens):
            current = scopes[-1][0]
            names.append(current)
            if token.kind != 'sign':
                continue
            if token.text == '{':
                resumed[self.partner.get(index)] = begin
                scopes.append((current or self._named_by(begin, index), begin))
                begin = index + 1
            elif token.text == '}':
                if len(scopes) > 1:
                    scopes.pop()
                # A member that is set in braces, and more to come: still the same declaration.
                goes_on = any(self.is_text(index + 1, sign) for sign in (',', '{'))
                begin = resumed.get(index, index + 1) if goes_on and not scopes[-1][0] else index + 1
                names[-1] = scopes[-1][0]
            elif token.text == ';':
                begin = index + 1
        return names

    def _named_by(self, begin, end):
        """The function that begins with these tokens; None for a class, a name space or a table."""
        index = begin
        while index < end and self.tokens[index].text in BEFORE_NAMES:
            index += 1
            if index < end and self.tokens[index].text == '<' and self.tokens[index - 1].text == 'template':
                depth = 0
                while index < end:
                    depth += {'<': 1, '>': -1}.get(self.tokens[index].text, 0)
                    index += 1
                    if depth == 0:
                        break
        if index >= end or self.tokens[index].text in ('namespace', 'class', 'struct', 'union', 'enum'):
            return None
        for place in range(index, end):
            if self.tokens[place].text == '=' and not self.is_text(place - 1, 'operator'):
                return None
            if self.tokens[place].text == '(' and place > index:
                named = self.tokens[place - 1]
                return named.text if named.kind == 'word' else 'operator' + named.text
        return None

    def is_text(self, index, text):
        return 0 <= index < len(self.tokens) and self.tokens[index].text == text

    def line_of(self, offset):
        return bisect.bisect_right(self.starts, offset)

    def is_spaced(self, index):
        """An operator between two values, by how the formatter sets it: no bracket of a template, no pointer."""
        token = self.tokens[index]
        before = self.text[token.start - 1:token.start]
        after = self.text[token.end:token.end + 1]
        return before.isspace() and after.isspace() and not self.is_text(index - 1, 'template')

    def statement_around(self, index):
        first = index
        while first > 0 and self.tokens[first - 1].text not in (';', '}') and not (
                self.is_text(first - 1, '{') and self.partner.get(first - 1, 0) > index and
                self.is_text(first - 2, ')')):
            first -= 1
        last = index
        while last < len(self.tokens) and self.tokens[last].text != ';':
            last += 1
        return self.tokens[first:last]

    def begins_statement(self, index):
        if index == 0:
            return False
        before = self.tokens[index - 1]
        if before.text in (';', '{', '}', 'else', 'do'):
            return True
        if before.text == ')' and index - 1 in self.partner:
            opening = self.partner[index - 1]
            return self.tokens[opening - 1].text in ('if', 'for', 'while', 'constexpr', 'switch')
        return before.text == ':' and self._ends_label(index - 1)

    def _ends_label(self, index):
        while index > 0 and self.tokens[index].text not in (';', '{', '}', '?'):
            index -= 1
            if self.tokens[index].text in ('case', 'default'):
                return True
        return False


# Each yields (first token, last token, new text).

def signs(name):
    table = SIGNS[name]

    def find(source):
        for index, token in enumerate(source.tokens):
            if token.kind != 'sign' or token.text not in table or not source.is_spaced(index):
                continue
            joins_texts = any(near.kind == 'text' for near in source.tokens[index - 1:index + 2])
            if not (joins_texts and name == 'arithmetic'):
                for new in table[token.text]:
                    yield index, index, new
    return find


def constants(source):
    for index, token in enumerate(source.tokens):
        if token.kind == 'word' and token.text in ('true', 'false'):
            yield index, index, 'false' if token.text == 'true' else 'true'


def steps(source):
    for index, token in enumerate(source.tokens):
        if token.text in ('++', '--') and not source.is_text(index - 1, 'operator'):
            yield index, index, '--' if token.text == '++' else '++'


def one_off(text):
    """The number that is one more, and the one that is one less if there is one; none for what is no plain number."""
    match = re.match(r"^(0[xX][\da-fA-F']+|\d[\d']*)([uUlLzZ]*)$", text)
    if match:
        digits = match[1].replace("'", '')
        hexadecimal = digits[:2] in ('0x', '0X')
        if not hexadecimal and len(digits) > 1 and digits[0] == '0':
            return ()
        value = int(digits, 16 if hexadecimal else 10)
        nearest = (near for near in (value + 1, value - 1) if near >= 0)
        return tuple((hex(near) if hexadecimal else str(near)) + match[2] for near in nearest)
    match = re.match(r"^(\d+)(\.\d+)$", text)
    return (str(int(match[1]) + 1) + match[2],) if match else ()


def is_pure(source, index):
    """The 0 of a function without a body."""
    return source.is_text(index - 1, '=') and source.tokens[index - 2].text in (')', 'const', 'noexcept')


def is_size(source, index):
    """Of an array or among the arguments of a template."""
    before = source.tokens[index - 1].text
    if source.is_text(index + 1, '>') and before in ('<', ','):
        return not source.is_spaced(index + 1)
    return before == '[' and source.is_text(index + 1, ']') and source.is_text(index + 2, ';')


def is_duration(source, index):
    for token in source.statement_around(index):
        if token.kind == 'word' and (token.text in DURATION_TYPES or token.text.startswith('k') and
                                     DURATION_NAME.match(token.text) and token.end < source.tokens[index].start):
            return True
    return False


def numbers(source):
    for index, token in enumerate(source.tokens):
        if token.kind != 'number' or is_pure(source, index):
            continue
        if not is_size(source, index) and not is_duration(source, index):
            for new in one_off(token.text):
                yield index, index, new


def negations(source):
    for index, token in enumerate(source.tokens):
        if token.text == '!':
            yield index, index, ''


def end_of_call(source, index):
    """The closing bracket of a statement that is one call, or calls of calls' results; None for any other."""
    if source.is_text(index, '::'):
        index += 1
    if index >= len(source.tokens) or source.tokens[index].kind != 'word' or source.tokens[index].text in KEYWORDS:
        return None
    index += 1
    while index < len(source.tokens):
        text = source.tokens[index].text
        if text in ('.', '->', '::'):
            index += 2
        elif text in ('(', '[') and index in source.partner:
            index = source.partner[index] + 1
        elif text == ';':
            return index - 1 if source.is_text(index - 1, ')') else None
        else:
            return None
    return None


def calls(source):
    for index, token in enumerate(source.tokens):
        if not source.function[index] or not source.begins_statement(index) or token.text in QUIET - ENTRIES:
            continue
        last = end_of_call(source, index)
        if last is not None:
            yield index, last, ''


def returns(source):
    for index, token in enumerate(source.tokens):
        if token.text != 'return' or source.is_text(index + 1, ';'):
            continue
        last = index + 1
        while last < len(source.tokens) and source.tokens[last].text != ';':
            last = source.partner.get(last, last) + 1 if source.tokens[last].text in CLOSER else last + 1
        value = source.tokens[index + 1:last]
        if ''.join(each.text for each in value) not in ('false', '0', 'nullptr', 'std::nullopt', '{}', '""'):
            yield index + 1, last - 1, '{}'


def conditions(source):
    for index, token in enumerate(source.tokens):
        if token.text not in ('if', 'while') or not source.is_text(index + 1, '(') or index + 1 not in source.partner:
            continue
        first, last = index + 2, source.partner[index + 1] - 1
        for place in range(first, last):
            if source.tokens[place].text == ';':
                first = place + 1
        if first <= last and not (first == last and source.tokens[first].text in ('true', 'false')):
            for new in ('true', 'false') if token.text == 'if' else ('false',):
                yield first, last, new


FINDERS = {'relation': signs('relation'), 'logic': signs('logic'), 'constant': constants,
           'arithmetic': signs('arithmetic'), 'step': steps, 'number': numbers, 'negation': negations, 'call': calls,
           'return': returns, 'condition': conditions}


def shown(code):
    """Lines as a diff has them: without comments, and joined, as a formatter may break them anew."""
    for token in reversed(tokens_of(code)):
        if token.kind == 'comment':
            code = code[:token.start] + code[token.end:]
    return ' '.join(code.split())


def changes_of(name, text):
    """Every change of a source, in the order of operators and places."""
    source = Source(name, text)
    counted, found = collections.Counter(), []
    for operator in OPERATORS:
        for first, last, new in FINDERS[operator.name](source):
            whole_entry = operator.name == 'call' and (first in source.quiet or last in source.quiet)
            if not whole_entry and any(index in source.quiet for index in (first, last)):
                if operator.name not in ('condition', 'return'):
                    continue
            start, end = source.tokens[first].start, source.tokens[last].end
            new += '\n' * text.count('\n', start, end)
            line_start = text.rfind('\n', 0, start) + 1
            line_end = (text + '\n').index('\n', end)
            before = shown(text[line_start:line_end])
            after = shown(text[line_start:start] + new + text[end:line_end])
            function = source.function[first] or ''
            key = (operator.name, function, before, after)
            found.append(Change(name, source.line_of(start), operator.name, function, start, end, new, before, after,
                                counted[key]))
            counted[key] += 1
    return found


def changed(text, change):
    return text[:change.start] + change.new + text[change.end:]


def identity(change):
    """What a change is, wherever its line and its file stand now."""
    return '|'.join((os.path.basename(change.file), change.function, change.operator, change.before, change.after,
                     str(change.number)))


def rank(seed, change):
    return hashlib.sha256(f'{seed}|{identity(change)}'.encode()).digest()


def order_by_seed(changes, seed):
    """All changes in the order of a lottery that the seed and each change's own text decide: an edit elsewhere leaves
    the order of the rest. Of several changes at one place the first one stands for all."""
    places, drawn = set(), []
    for change in sorted(changes, key=lambda each: (rank(seed, each), each.file, each.start)):
        place = (change.file, change.start)
        if place not in places:
            places.add(place)
            drawn.append(change)
    return drawn


def shares(places, count):
    """How many of count changes each folder gets: by the square root of its places, so that small ones get enough."""
    weights = {folder: math.sqrt(number) for folder, number in places.items() if number > 0}
    total = sum(weights.values())
    exact = {folder: count * weight / total for folder, weight in weights.items()}
    share = {folder: min(int(part), places[folder]) for folder, part in exact.items()}
    rest = sorted(exact, key=lambda each: (int(exact[each]) - exact[each], each))
    while sum(share.values()) < min(count, sum(places.values())):
        for folder in rest:
            if sum(share.values()) < count and share[folder] < places[folder]:
                share[folder] += 1
    return share


def entry_of(change):
    """As the list has it, and as a survivor is shown."""
    where = f'{os.path.basename(change.file)}, {change.function}' if change.function else os.path.basename(change.file)
    return f'{where}: {change.operator}\n- {change.before}\n+ {change.after}\n'


Equivalent = collections.namedtuple('Equivalent', 'key why line')


class ListError(Exception):
    """The list of equivalent changes is wrong; says where."""


def equivalents_of(text, limit=20):
    """The entries of a list: blocks of where, -, + and Why:, with empty lines between; # begins a comment."""
    entries, block, begun = [], [], 0
    for number, line in enumerate(text.split('\n') + [''], 1):
        if line.startswith('#'):
            continue
        if line.strip():
            begun = begun if block else number
            block.append(line)
        elif block:
            head, why = '\n'.join(block[:3]) + '\n', ' '.join(part.strip() for part in block[3:])
            if len(block) < 4 or block[1][:2] != '- ' or block[2][:2] != '+ ' or not re.match(r'Why: \S', why):
                raise ListError(f'line {begun}: an entry has four lines: FILE, FUNCTION: OPERATOR; - …; + …; Why: …')
            entries.append(Equivalent(head, why[len('Why: '):], begun))
            block = []
    if len(entries) > limit:
        raise ListError(f'{len(entries)} entries: at most {limit} are allowed; write tests for the others')
    return entries
