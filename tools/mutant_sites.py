"""Finds places for mutants in C++ sources, and writes the instrumented source. Used by mutants.py.

A reader of tokens, not a compiler: it relies on the formatting of this tree (clang-format), where an operator has
blanks around it and the "<" of a template has none. What it takes wrongly for an expression does not compile,
and mutants.py drops it then.
"""
import hashlib
import re

TOKEN = re.compile(
    r'(?P<blank>\s+|//[^\n]*|/\*.*?\*/)|(?P<pre>(?<![^\n])[ \t]*#(?:[^\n\\]|\\.|\\\n)*)'
    r'|(?P<str>(?:u8|[uUL])?(?:R"(?P<d>[^(\s]*)\(.*?\)(?P=d)"|"(?:[^"\\\n]|\\.)*"))'
    r"|(?P<chr>'(?:[^'\\\n]|\\.)*')|(?P<num>\.?\d(?:[eEpP][+-]|[\w.]|'\w)*)|(?P<id>[A-Za-z_]\w*)"
    r'|(?P<op><=>|<<=|>>=|->\*|\.\.\.|::|->|\+\+|--|&&|\|\||[-+*/%&|^=!<>]=|<<|.)', re.S)

KEYWORDS = set('return if for while switch case default break continue goto using typedef const constexpr static '
               'auto delete throw new else do try catch struct class enum union void int bool char unsigned signed '
               'long short float double thread_local template static_assert'.split())
HEADERS = {'if', 'for', 'while', 'switch', 'constexpr'}
ASSIGN = {'=', '+=', '-=', '*=', '/=', '%=', '&=', '|=', '^=', '<<=', '>>='}
CONSTANT = {'constexpr', 'static_assert', 'using', 'typedef', 'enum', 'consteval', 'constinit'}
LEFT_ENDS = ASSIGN | {'(', '[', '{', '}', ',', ';', '?', ':', 'return', 'throw', 'case', 'else', 'do', 'co_return'}
RIGHT_ENDS = ASSIGN | {')', ']', '}', ',', ';', '?', ':'}
RELATIONS = {'<': '<=', '<=': '<', '>': '>=', '>=': '>', '==': '!=', '!=': '=='}
LOGIC = {'&&': '||', '||': '&&'}
ARITHMETIC = {'+': '-', '-': '+', '*': '/', '/': '*', '%': '/', '&': '|', '|': '&'}
NUMBER = re.compile(r"(0[xX][\da-fA-F']+|\d[\d']*)([uUlLzZ]*)$")
CONSTANT_NAME = re.compile(
    r'\bconstexpr\s+(?:unsigned char|unsigned int|unsigned long|std::u?int\d+_t|std::size_t|int|long)\s+(\w+)\s*[={]')
OTHER_SYSTEM = re.compile(r'\s*#\s*if(def\s|.*defined\()\s*(_WIN32|_MSC_VER)')
PLAIN_ENUM = re.compile(r'\benum\s*(?:\w+\s*)?(?::\s*[\w: ]+)?\{([^}]*)\}')


class Site:
    """One mutant: `shape` says how it is written into the text between `start` and `end`."""

    def __init__(self, kind, shape, start, end, mutated, line, original, mutant):
        self.kind, self.shape, self.start, self.end = kind, shape, start, end
        self.mutated = mutated      # the text instead, for the shape "expression"
        self.line = line            # from 1
        self.original, self.mutant = original, mutant  # the source line, without and with the change
        self.number = 0             # what FA_MUTANT has to be


class Source:
    """One file's tokens, its brackets, and what each brace opens."""

    def __init__(self, text):
        self.text = text
        self.tokens = []  # kind, text, start, end
        left_out = False  # of what is compiled on this system
        for match in TOKEN.finditer(text):
            if match.lastgroup == 'pre':
                left_out = OTHER_SYSTEM.match(match.group()) is not None or (
                    left_out and not re.match(r'\s*#\s*(else|endif)', match.group()))
            elif match.lastgroup != 'blank' and not left_out:
                kind = 'str' if match.lastgroup == 'd' else match.lastgroup
                self.tokens.append((kind, match.group(), match.start(), match.end()))
        self.words = [token[1] for token in self.tokens]
        self.match, self.around = {}, []  # bracket to bracket; the innermost open bracket of each token
        self._pair_brackets()
        self.opens = {}      # brace: namespace, type, block, frozen (a constexpr function) or values
        self.first = []      # the first token of the statement that a token is in
        self._name_braces()

    def _pair_brackets(self):
        stack = []
        for i, (kind, word, _, _) in enumerate(self.tokens):
            if kind == 'op' and word in ')]}' and stack:
                self.match[i] = stack.pop()
                self.match[self.match[i]] = i
            self.around.append(stack[-1] if stack else -1)
            if kind == 'op' and word in '([{':
                stack.append(i)

    def _head(self, i):
        """The words before brace `i`, back to the end of the statement before it."""
        words, j = [], i - 1
        while j >= 0 and self.words[j] not in (';', '{', '}'):
            words.append(self.words[j])
            j = self.match.get(j, j) - 1 if self.words[j] in (')', ']') else j - 1
        return words[::-1]

    def _kind_of_brace(self, i):
        head, before = self._head(i), self.words[i - 1] if i else ''
        outer = self.around[i]
        in_code = outer >= 0 and (self.words[outer] != '{' or self.opens[outer] in ('block', 'frozen', 'values'))
        if 'enum' in head:
            return 'values'
        if any(word in head[:2] for word in ('class', 'struct', 'union')) and ')' not in head:
            return 'type'
        trailing_return = any(a == ')' and b == '->' for a, b in zip(head, head[1:]))
        if in_code:
            code = before in (')', ']', 'else', 'do', 'try', ';', '}', ':', 'mutable', 'noexcept') or trailing_return
            code = code or before == '{' and self.opens.get(i - 1) == 'block'
            return 'block' if code else 'values'
        if 'namespace' in head or 'extern' in head:
            return 'namespace'
        if ')' not in head and any(word in head for word in ('class', 'struct', 'union')):
            return 'type'
        if '=' in head and 'operator' not in head or ')' not in head:
            return 'values'
        plain = before in (')', 'const', 'noexcept', 'override', 'final') or trailing_return or before == '}'
        return ('frozen' if 'constexpr' in head else 'block') if plain else 'values'

    def _name_braces(self):
        begin = 0
        starts = {}  # by enclosing bracket
        for i, word in enumerate(self.words):
            if word == '{':
                self.opens[i] = self._kind_of_brace(i)
            outer = self.around[i]
            if self._begins_statement(i, starts):
                starts[outer] = i
            begin = starts.get(outer)
            if begin is None:
                begin = self.first[outer] if outer >= 0 else i
                starts[outer] = begin
            self.first.append(begin)

    def _begins_statement(self, i, starts):
        outer, before = self.around[i], self.words[i - 1] if i else ';'
        if outer >= 0 and (self.words[outer] != '{' or self.opens[outer] == 'values'):
            return False
        if before in ('{', ';', '}', 'else', 'do'):
            return True
        if before == ')':
            return self.words[self.match.get(i - 1, 0) - 1] in HEADERS
        return before == ':' and self.words[starts.get(outer, 0)] in ('case', 'default')

    def runs(self, i):
        """Whether token `i` is code that runs, so that a choice at run time is possible in its place."""
        if any(word in CONSTANT for word in self.words[self.first[i]:i]):
            return False
        outer, scopes = self.around[i], []
        while outer >= 0:
            if self.words[outer] == '{':
                scopes.append(self.opens[outer])
            outer = self.around[outer]
        code = [scope for scope in scopes if scope != 'values']
        return bool(code) and code[0] == 'block' and 'frozen' not in code

    def region(self, i):
        """First and last token of the whole expression that operator `i` is in, or None."""
        first = i
        while first > 0 and self.words[first - 1] not in LEFT_ENDS:
            if self.words[first - 1] in (')', ']'):
                opening = self.match[first - 1]
                if self.words[opening - 1] in HEADERS:
                    break
                first = opening
            elif self.words[first - 1] == '}':
                return None
            else:
                first -= 1
        last = i
        while last + 1 < len(self.words) and self.words[last + 1] not in RIGHT_ENDS:
            last = self.match[last + 1] if self.words[last + 1] in ('(', '[', '{') else last + 1
        words = self.words[first:last + 1]
        if self.words[last + 1] in ASSIGN or self.words[first - 1] == 'case' or ';' in words or not words:
            return None
        return first, last

    def plain(self, first, last, changed=None, change=None):
        """The text of these tokens in one line, without comments, token `changed` replaced by `change`."""
        parts = []
        for i in range(first, last + 1):
            parts.append(change if i == changed else self.words[i])
            if i < last and self.tokens[i + 1][2] > self.tokens[i][3]:
                parts.append(' ')
        return ''.join(parts)


class Finder:
    """All places for mutants in one file."""

    def __init__(self, text):
        self.text, self.source, self.sites = text, Source(text), []
        self.constants = set(CONSTANT_NAME.findall(text))
        for members in PLAIN_ENUM.findall(text):
            self.constants.update(re.findall(r'(\w+)\s*(?:=[^,]*)?(?:,|$)', re.sub(r'//[^\n]*', '', members).strip()))

    def find(self):
        source = self.source
        for i, (kind, word, _, _) in enumerate(source.tokens):
            if not source.runs(i):
                continue
            if kind == 'op' and self._is_binary(i):
                self._operator(i, word)
            elif kind in ('num', 'chr') or word in ('true', 'false'):
                self._literal(i, kind, word)
            elif word in self.constants:
                self._constant(i, word)
            if word in ('if', 'while') and source.words[i + 1] == '(':
                self._condition(i + 1)
            if source.first[i] == i:
                self._statement(i, word)
        return self.sites

    def _line(self, start, end, change):
        """Number and text of the line at `start`, and the line with what is before `end` changed."""
        begin = self.text.rfind('\n', 0, start) + 1
        stop = self.text.find('\n', start)
        mutant = self.text[begin:start] + change + self.text[min(end, stop):stop]
        return self.text.count('\n', 0, start) + 1, self.text[begin:stop].strip(), mutant.strip()

    def _add(self, kind, shape, first, last, change, changed=None):
        tokens = self.source.tokens
        start, end = tokens[first][2], tokens[last][3]
        token = first if changed is None else changed
        shown = tokens[token]
        if shape == 'expression':
            mutated = self.source.plain(first, last, token, change)
            line, original, mutant = self._line(shown[2], shown[3], change)
        elif shape == 'condition':
            mutated = ''
            line, original, mutant = self._line(start, end, '!(' + self.source.plain(first, last) + ')')
        else:
            mutated = ''
            line, original, mutant = self._line(start, end, '/* ' + self.source.plain(first, last)[:90] + ' */')
        self.sites.append(Site(kind, shape, start, end, mutated, line, original, mutant))

    def _is_binary(self, i):
        _, _, start, end = self.source.tokens[i]
        before = self.source.tokens[i - 1]
        operand = before[0] in ('num', 'str', 'chr') or before[1] in (')', ']') or (
            before[0] == 'id' and before[1] not in KEYWORDS)
        return operand and self.text[start - 1].isspace() and self.text[end].isspace()

    def _operator(self, i, word):
        for kind, table in (('relation', RELATIONS), ('logic', LOGIC), ('arithmetic', ARITHMETIC)):
            if word not in table:
                continue
            region = self.source.region(i)
            if region is None:
                return
            first, last = region
            texts = any(token[0] == 'str' for token in self.source.tokens[first:last + 1])
            if word == '+' and (texts or 'to_string' in self.source.words[first:last + 1]):
                return
            self._add(kind, 'expression', first, last, table[word], i)

    def _literal(self, i, kind, word):
        if self._fixed(i):
            return
        if kind == 'chr':
            if len(word) == 3:
                after = chr(ord(word[1]) + 1)
                self._add('literal', 'expression', i, i, "'" + ('\\' if after in "'\\" else '') + after + "'")
            return
        if word in ('true', 'false'):
            self._add('bool', 'expression', i, i, 'false' if word == 'true' else 'true')
            return
        match = NUMBER.match(word)
        if match:
            value = int(match.group(1).replace("'", ''), 0 if match.group(1)[:2].lower() == '0x' else 10)
            self._add('literal', 'expression', i, i, str(value + 1) + match.group(2))
            if value > 0:
                self._add('literal', 'expression', i, i, str(value - 1) + match.group(2))

    def _constant(self, i, word):
        words = self.source.words
        if words[i - 1] in ('.', '->', '::', '&', 'goto') or self._fixed(i) or words[i + 1] in ('::', '(', '='):
            return
        self._add('constant', 'expression', i, i, 'fa_next(' + word + ')')

    def _fixed(self, i):
        """An index or size alone in brackets, a template's argument, a case label."""
        words, tokens = self.source.words, self.source.tokens
        if words[i - 1] == '[' and words[i + 1] == ']' or words[i - 1] == 'case':
            return True
        after = words[i + 1] == '>' and tokens[i + 1][2] == tokens[i][3]
        return after or words[i - 1] == '<' and tokens[i - 1][3] == tokens[i][2]

    def _condition(self, opening):
        source = self.source
        first, last = opening + 1, source.match[opening] - 1
        words = source.words[first:last + 1]
        if ';' in words or '=' in words or source.words[last + 2] == ';' and source.words[opening - 1] == 'while':
            return
        self._add('negation', 'condition', first, last, '')

    def _statement(self, i, word):
        source = self.source
        words = source.words
        last = i
        while last < len(words) and words[last] not in (';', '}'):
            last = source.match[last] + 1 if words[last] in ('(', '[', '{') else last + 1
        if last >= len(words) or words[last] != ';':
            return
        if word in ('break', 'continue') or word == 'return' and last == i + 1:
            self._add('jump', 'statement', i, last, '')
            return
        if source.tokens[i][0] != 'id' and word not in ('++', '--', '*') or word in KEYWORDS:
            return
        j = i
        while source.tokens[j][0] == 'id' and words[j + 1] == '::':
            j += 2
        if source.tokens[j][0] == 'id' and words[j + 1] not in ASSIGN | {'(', '.', '->', '[', '++', '--'}:
            return
        assigns = any(words[k] in ASSIGN and source.around[k] == source.around[i] for k in range(i, last))
        self._add('assignment' if assigns or word in ('++', '--') else 'call', 'statement', i, last, '')


def choose(sites, quota, seed, path):
    """`quota` of one file's sites: the kinds in turn, within a kind in the order of a hash. An unchanged line
    keeps its place in that order whatever changes elsewhere in the file."""
    seen, kinds = {}, {}
    for site in sites:
        key = (site.kind, site.original, site.mutant)
        seen[key] = seen.get(key, 0) + 1
        name = '\0'.join((str(seed), path, *key, str(seen[key])))
        kinds.setdefault(site.kind, []).append((hashlib.sha256(name.encode()).hexdigest(), site))
    queues = [sorted(queue, key=lambda entry: entry[0]) for queue in kinds.values()]
    queues.sort(key=lambda queue: queue[0][0])
    chosen = []
    while len(chosen) < quota and any(queues):
        for queue in queues:
            if queue and len(chosen) < quota:
                chosen.append(queue.pop(0)[1])
    return chosen


def instrument(text, sites):
    """`text` with every site's choice written in, its lines where they were."""
    ranks = {'statement': 0, 'condition': 1, 'expression': 2}
    return _write(text, 0, len(text), sorted(sites, key=lambda s: (s.start, -s.end, ranks[s.shape])))


def _write(text, start, end, sites):
    parts, at = [], start
    while sites:
        site = sites[0]
        inner = [other for other in sites[1:] if other.end <= site.end]
        sites = [other for other in sites[1:] if other.start >= site.end]
        parts.append(text[at:site.start])
        body = _write(text, site.start, site.end, inner)
        if site.shape == 'expression':
            parts.append(f'(fa_on({site.number}) ? ({site.mutated}) : ({body}))')
        elif site.shape == 'condition':
            parts.append(f'fa_on({site.number}) != static_cast<bool>({body})')
        else:
            parts.append(f'{{ if (!fa_on({site.number})) {{ {body} }} }}')
        at = site.end
    parts.append(text[at:end])
    return ''.join(parts)
