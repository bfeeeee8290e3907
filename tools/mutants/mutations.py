"""Finds what can be changed in a C++ source: one small change is a mutation. Reads tokens, and
knows by the project's format what is a binary operator and what a template's bracket or a
reference."""

import dataclasses
import re

TOKEN = re.compile(
    r"""
      (?P<blank>\s+|\\\n)
    | (?P<comment>//[^\n]*|/\*.*?\*/)
    | (?P<directive>(?<![^\n])\#(?:[^\n\\]|\\.|\\\n)*)
    | (?P<string>(?:u8|u|U|L)?"(?:[^"\\\n]|\\.)*")
    | (?P<char>(?:u8|u|U|L)?'(?:[^'\\\n]|\\.)+')
    | (?P<number>\d(?:[\w.]|'\w)*)
    | (?P<name>[A-Za-z_]\w*)
    | (?P<operator>::|->|\+\+|--|<<=|>>=|<=>|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|\[\[|\]\]|
                   \.\.\.|.)
    """,
    re.VERBOSE | re.DOTALL)

OTHER_OPERATORS = {
    "==": ["!="], "!=": ["=="], "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="],
    ">=": [">", "<"], "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["*"], "&": ["|"],
    "|": ["&"], "^": ["|"], "<<": [">>"], ">>": ["<<"], "&&": ["||"], "||": ["&&"],
    "+=": ["-=", "="], "-=": ["+=", "="], "*=": ["/="], "/=": ["*="], "%=": ["*="],
    "&=": ["|=", "="], "|=": ["&=", "="], "^=": ["|=", "="], "<<=": [">>="], ">>=": ["<<="],
}
NEGATED = {"==": "!=", "!=": "==", "<": ">=", ">=": "<", ">": "<=", "<=": ">"}
COMPARISONS = set(NEGATED)
ASSIGNMENTS = {"=", "+=", "-=", "*=", "/=", "%=", "&=", "|=", "^=", "<<=", ">>="}
# Beside these a condition, or one operand of "and" and "or", ends.
CONDITION_ENDS = {",", ";", "return", "&&", "||", "?", ":"} | ASSIGNMENTS
OPENING = {"(": ")", "[": "]", "{": "}", "[[": "]]"}
CLOSING = {closing: opening for opening, closing in OPENING.items()}
# No expression starts with these.
DECLARING = set("""return break continue if else for while do switch case default using const
    constexpr auto static throw struct class enum union template namespace public private protected explicit
    static_assert typedef try catch extern inline virtual friend mutable goto EXPORTED""".split())

longest_line = 240
# Calls that only look at what is there, or make what nobody else sees.
LOOKING = set("""anyEntry asDictionary availableDisplay back CFCharacterSetGetPredefined CFNumberCreate CFSTR
    CGDisplayIsBuiltin CGDisplaySerialNumber copyDictionaryProperty copyProperties
    copyStringProperty currentValue data decltype dictionaryEntry empty end find find_last_of get
    getIORegistryPropertyWithService hasPiece hexBytes integerEntry IORegistryGetRootEntry
    isYear25orAbove limited localizedString lowercaseText make_shared makeCFString makeDictionary
    max maximumValue min number numberOrZero regularMonitorName size static_cast stringEntry
    subspan substr textEntry uppercaseText utf16Units value_or""".split())
# Calls that come to the same in any order.
COMMUTING = {"insert", "makeWhenMissing", "set"}
JUMPS = {"return", "break", "continue", "throw", "goto"}


@dataclasses.dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


@dataclasses.dataclass(frozen=True)
class Mutation:
    """The text from `start` to `end` is replaced. `function` is the body around it, first and last
    line; nothing outside of functions."""
    start: int
    end: int
    replacement: str
    function: tuple

    def applied(self, source):
        return source[:self.start] + self.replacement + source[self.end:]

    def lines(self, source):
        """First and last line of what changes, counted from 1."""
        return source.count("\n", 0, self.start) + 1, source.count("\n", 0, self.end) + 1

    def shown(self, source):
        """The lines that change, before and after, each as one line, of which a long one is cut."""
        def line(text):
            text = " ".join(text.split())
            return text if len(text) <= longest_line else f"{text[:longest_line]}…"

        begin = source.rfind("\n", 0, self.start) + 1
        end = source.find("\n", self.end)
        end = len(source) if end < 0 else end
        after = source[begin:self.start] + self.replacement + source[self.end:end]
        return line(source[begin:end]), line(after)


def tokens_of(source):
    found = []
    for match in TOKEN.finditer(source):
        if match.lastgroup not in ("blank", "comment", "directive"):
            found.append(Token(match.lastgroup, match[0], match.start(), match.end()))
    return found


def number_before_suffix(text):
    """The value, how to write another one, and the suffix; nothing for what is no integer."""
    match = re.fullmatch(r"(0[xX][0-9A-Fa-f']+|[0-9][0-9']*)(_?[a-zA-Z]\w*)?", text)
    if not match:
        return None
    digits = match[1].replace("'", "")
    hexadecimal = digits[:2] in ("0x", "0X")
    return int(digits, 16 if hexadecimal else 10), "0x{:X}" if hexadecimal else "{}", match[2] or ""


class Finder:
    def __init__(self, source):
        self.source = source
        self.tokens = tokens_of(source)
        self.partner = self.pair_brackets()
        self.inside = self.enclosing_brackets()
        self.skipped = self.tokens_to_skip()
        self.forced = set()
        self.found = []

    def text(self, at):
        return self.tokens[at].text if 0 <= at < len(self.tokens) else ""

    def pair_brackets(self):
        partner, open_ones = {}, []
        for at, token in enumerate(self.tokens):
            if token.kind != "operator":
                continue
            if token.text in OPENING:
                open_ones.append(at)
            elif token.text in CLOSING:
                # Two arrays' brackets can close at once: "]]".
                opening = open_ones.pop()
                if token.text == "]]" and self.text(opening) == "[":
                    partner[open_ones.pop()] = at
                partner[opening] = at
        partner.update({closing: opening for opening, closing in list(partner.items())})
        return partner

    def enclosing_brackets(self):
        """For each token the innermost bracket that is open before it; -1 outside all."""
        inside, open_ones = [], []
        for at, token in enumerate(self.tokens):
            if token.text in CLOSING and token.kind == "operator":
                while open_ones and open_ones[-1] >= self.partner[at]:
                    open_ones.pop()
            inside.append(open_ones[-1] if open_ones else -1)
            if token.text in OPENING and token.kind == "operator":
                open_ones.append(at)
        return inside

    def tokens_to_skip(self):
        """Checks at compile time, attributes, template heads, linkage and names of operators."""
        skipped = set()
        for at, token in enumerate(self.tokens):
            if token.text in ("static_assert", "__attribute__", "noexcept") and self.text(
                    at + 1) == "(":
                skipped.update(range(at, self.partner[at + 1] + 1))
            elif token.text == "[[":
                skipped.update(range(at, self.partner[at] + 1))
            elif token.text == "template":
                depth, end = 0, at + 1
                while True:
                    depth += {"<": 1, ">": -1}.get(self.text(end), 0)
                    if depth == 0:
                        break
                    end += 1
                skipped.update(range(at, end + 1))
            elif token.text in ("operator", "extern"):
                skipped.add(at + 1)
        return skipped

    def is_binary(self, at):
        """A binary operator stands between blanks; a reference, pointer or bracket does not."""
        token = self.tokens[at]
        return (token.kind == "operator" and token.text in OTHER_OPERATORS
                and self.source[token.start - 1].isspace()
                and self.source[token.end:token.end + 1].isspace())

    def is_code(self, opening):
        """Whether a brace opens a block of statements, not a class, a namespace or a list."""
        if self.text(opening) != "{":
            return False
        before = self.text(opening - 1)
        if before in (")", "]", "const", "noexcept", "else", "do", "try", "mutable"):
            return True
        return before in (";", "{", "}", ":") and self.is_code(self.inside[opening])

    def change(self, first, last, replacement):
        outermost, bracket = None, self.inside[first]
        while bracket >= 0:
            if self.is_code(bracket):
                outermost = tuple(self.source.count("\n", 0, self.tokens[brace].start) + 1
                                  for brace in (bracket, self.partner[bracket]))
            bracket = self.inside[bracket]
        self.found.append(Mutation(self.tokens[first].start, self.tokens[last].end, replacement,
                                   outermost))

    def operand(self, at, step, stops):
        """From the token beside an operator to the operand's other end, brackets skipped."""
        end = at
        at += step
        skip_to = OPENING if step > 0 else CLOSING
        stop_at = CLOSING if step > 0 else OPENING
        while 0 <= at < len(self.tokens):
            token = self.tokens[at]
            if token.kind == "operator" and token.text in skip_to:
                at = self.partner[at]
            elif token.text in stops or (token.kind == "operator" and token.text in stop_at):
                break
            end = at
            at += step
        return end

    def find(self):
        places = [at for at in range(len(self.tokens)) if at not in self.skipped]
        for at in places:
            self.force_condition(at)
            self.change_return(at)
        for at in places:
            self.change_operator(at)
            self.change_constant(at)
            self.remove_statement(at)
            self.remove_declaration(at)
            self.swap_statements(at)
        distinct = {}
        for mutation in self.found:
            changed = mutation.applied(self.source)
            if changed != self.source:
                distinct.setdefault(changed, mutation)
        return sorted(distinct.values(), key=lambda mutation: (mutation.start, mutation.end))

    def change_operator(self, at):
        token = self.tokens[at]
        if token.kind != "operator":
            return
        if token.text in ("++", "--"):
            self.change(at, at, {"++": "--", "--": "++"}[token.text])
        elif self.is_binary(at):
            for other in OTHER_OPERATORS[token.text]:
                if other != NEGATED.get(token.text) or not self.is_forced(
                        self.operand(at, -1, CONDITION_ENDS), self.operand(at, 1, CONDITION_ENDS)):
                    self.change(at, at, other)
            if token.text in ("&&", "||"):
                self.drop_operands(at)
            elif token.text == "+":
                self.drop_summand(at)
        elif token.text == "!":
            if not self.is_forced(at, self.operand(at, 1, CONDITION_ENDS)):
                self.change(at, at, "")
        elif token.text == "-" and not self.source[token.end].isspace():
            self.change(at, at, "")

    def drop_operands(self, at):
        neutral = "true" if self.text(at) == "&&" else "false"
        self.change(self.operand(at, -1, CONDITION_ENDS), at - 1, neutral)
        self.change(at + 1, self.operand(at, 1, CONDITION_ENDS), neutral)

    def drop_summand(self, at):
        """For texts, of which none is less than another; constants are changed on their own."""
        end = self.operand(at, 1, {",", ";", "+", "-", "?", ":", "&&", "||"} | COMPARISONS)
        if end > at + 1:
            self.change(at, end, "")

    def change_constant(self, at):
        token = self.tokens[at]
        if token.kind == "number":
            number = number_before_suffix(token.text)
            if number is None:
                return
            value, form, suffix = number
            for other in sorted({value + 1, 0} - {value}):
                self.change(at, at, form.format(other) + suffix)
        elif token.kind == "string":
            self.change(at, at, re.sub(r'".*"', '""', token.text) if '""' not in token.text else
                        token.text.replace('""', '"x"'))
        elif token.kind == "char":
            prefix, content = token.text.split("'", 1)
            plain = len(content) == 2 and content[0] not in "~'\\&[]"
            self.change(at, at, f"{prefix}'{chr(ord(content[0]) + 1) if plain else 'x'}'")
        elif token.text in ("true", "false"):
            self.change(at, at, "false" if token.text == "true" else "true")

    def force(self, first, last):
        """A condition that is forced both ways need not be negated, too."""
        self.change(first, last, "true")
        self.change(first, last, "false")
        self.forced.add((first, last))

    def is_forced(self, first, last):
        return (first, last) in self.forced

    def force_condition(self, at):
        text = self.text(at)
        if text == "?":
            self.force(self.operand(at, -1, CONDITION_ENDS - {"&&", "||"}), at - 1)
        elif text in ("if", "while", "for") and self.text(at + 1) == "(":
            begin, end = at + 2, self.partner[at + 1] - 1
            parts = [begin - 1] + [
                place for place in range(begin, end)
                if self.text(place) == ";" and self.inside[place] == at + 1]
            if text == "for":
                if len(parts) == 3:
                    self.change(parts[1] + 1, parts[2] - 1, "false")
                return
            first = parts[-1] + 1
            declares = (self.text(first) == "const" or
                        [token.kind for token in self.tokens[first:first + 2]] == ["name"] * 2)
            if text == "while":
                if not declares:
                    self.change(first, end, "false")
            elif declares:
                declaration = self.source[self.tokens[first].start:self.tokens[end].end]
                self.change(first, end, f"{declaration}; true")
                self.change(first, end, f"{declaration}; false")
            else:
                self.force(first, end)

    def change_return(self, at):
        if self.text(at) != "return":
            return
        end = self.operand(at, 1, {";"})
        value = self.tokens[at + 1:end + 1]
        words = [token.text for token in value]
        if not value or words in (["nullptr"], ["{", "}"], ["std", "::", "nullopt"],
                                  ["*", "this"], ["IO_OBJECT_NULL"]):
            return
        if len(value) == 1 and (value[0].kind != "name" or words[0] in ("true", "false")):
            return
        outer = [place for place in range(at + 1, end + 1) if self.inside[place] == self.inside[at]]
        is_condition = self.text(at + 1) == "!" or any(
            self.is_binary(place) and self.text(place) in COMPARISONS | {"&&", "||"}
            for place in outer)
        if is_condition and not any(self.text(place) == "?" for place in outer):
            self.force(at + 1, end)
        else:
            self.change(at + 1, end, "{}")

    def starts_statement(self, at):
        if not self.is_code(self.inside[at]):
            return False
        before = self.text(at - 1)
        if before == ")":
            head = self.partner[at - 1] - 1
            return self.text(head) in ("if", "while", "for", "switch")
        if self.text(at) == ";" or self.text(at) in CLOSING:
            return False
        return before in (";", "{", "}", "else", "do") or (
            before == ":" and self.inside[at] == self.inside[at - 1] and
            (self.text(at - 2) == "default" or "case" in
             [token.text for token in self.tokens[at - 5:at]]))

    def remove_statement(self, at):
        """A call, an assignment, a step by one, a jump, a loop over a range; a declaration is
        another matter."""
        if not self.starts_statement(at):
            return
        if self.text(at) in ("break", "continue") or (
                self.text(at) == "for" and ":" in self.words_between(at + 2, self.partner[at + 1])):
            self.change(at, self.statement_end(at), ";")
            return
        if self.text(at) in DECLARING:
            return
        place, calls = at, False
        while self.text(place) in ("*", "++", "--", "::"):
            calls = calls or self.text(place) in ("++", "--")
            place += 1
        if self.tokens[place].kind == "name":
            place += 1
        while True:
            text = self.text(place)
            if text in ("(", "["):
                calls = text == "(" or calls
                place = self.partner[place] + 1
            elif text in ("::", ".", "->") and self.tokens[place + 1].kind == "name":
                place += 2
            elif text in ("++", "--"):
                calls = True
                place += 1
            else:
                break
        text = self.text(place)
        if (text == ";" and calls) or (text in ASSIGNMENTS and place > at):
            self.change(at, self.operand(at - 1, 1, {";"}) + 1, ";")

    def words_between(self, first, end):
        return [token.text for token in self.tokens[first:end]]

    def statement_end(self, at):
        """The last token of the statement that starts here."""
        text = self.text(at)
        if text == "{":
            return self.partner[at]
        if text in ("if", "while", "for", "switch"):
            opening = at + 2 if self.text(at + 1) == "constexpr" else at + 1
            end = self.statement_end(self.partner[opening] + 1)
            return self.statement_end(end + 2) if self.text(end + 1) == "else" else end
        if text == "do":
            return self.operand(self.statement_end(at + 1), 1, {";"}) + 1
        if text == "try":
            end = self.partner[at + 1]
            while self.text(end + 1) == "catch":
                end = self.partner[self.partner[end + 2] + 1]
            return end
        return self.operand(at - 1, 1, {";"}) + 1

    def declared_name(self, at, end):
        """Of a declaration of one variable, such as "const DisplayLock lock(display);"."""
        if self.text(at) in ("return", "using", "static_assert", "throw", "goto"):
            return None
        place = at
        while True:
            if self.text(place) in ("const", "static", "constexpr", "::", "&", "*"):
                place += 1
            elif self.text(place) == "<" and self.tokens[place - 1].kind == "name":
                depth = 0
                while depth or self.text(place) == "<":
                    depth += {"<": 1, ">": -1, ">>": -2}.get(self.text(place), 0)
                    place += 1
            elif self.tokens[place].kind == "name" and self.text(place) not in DECLARING - {"auto"}:
                if self.text(place + 1) in ("=", "(", "{", ";") and place > at and (
                        self.text(place - 1) in ("&", "*", ">", ">>") or
                        self.tokens[place - 1].kind == "name"):
                    return self.text(place)
                place += 1
            else:
                return None
            if place > end:
                return None

    def remove_declaration(self, at):
        """Of what nothing behind it names: what it does as it comes and goes is all its use."""
        if not self.starts_statement(at):
            return
        end = self.statement_end(at)
        name = self.declared_name(at, end)
        if name and name not in self.words_between(end + 1, self.partner[self.inside[at]]):
            self.change(at, end, ";")

    def swap_statements(self, at):
        """With the next one, where the order can matter: both do something, or one does something
        and they name a variable in common. What uses a name that the first one declares can't come
        first."""
        if not self.starts_statement(at) or self.is_branch(at):
            return
        end = self.statement_end(at)
        following = end + 1
        if not self.starts_statement(following):
            return
        last = self.statement_end(following)
        first_words, words = self.words_between(at, end + 1), self.words_between(following, last + 1)
        if first_words[0] in JUMPS | {"case", "default"} or words[0] in JUMPS | {"case", "default"}:
            return
        if self.declared_name(at, end) in words:
            return

        acting = [self.acts(at, end), self.acts(following, last)]
        in_common = self.variables(at, end) & self.variables(following, last)
        if not all(acting) and not (any(acting) and in_common):
            return
        if self.text(at) in COMMUTING and self.text(at) == self.text(following):
            return
        fields = [self.assigned_field(at), self.assigned_field(following)]
        if all(fields) and fields[0] != fields[1]:
            return
        between = self.source[self.tokens[end].end:self.tokens[following].start]
        self.change(at, last, self.source[self.tokens[following].start:self.tokens[last].end] +
                    between + self.source[self.tokens[at].start:self.tokens[end].end])

    def acts(self, first, last):
        """Whether a statement jumps, assigns or calls what may."""
        declared = self.declared_name(first, last)
        for at in range(first, last):
            text, is_name = self.text(at), self.tokens[at].kind == "name"
            if text in JUMPS or text in ("++", "--") or (
                    text in ASSIGNMENTS and self.text(at - 1) != declared):
                return True
            calls = is_name and self.text(at + 1) in ("(", "<")
            if calls and text not in DECLARING | LOOKING | {declared} and (
                    self.text(at + 1) == "(" or self.text(self.template_end(at + 1) + 1) == "("):
                return True
        return False

    def template_end(self, at):
        """The last token of a template's arguments; the token itself where it opens none."""
        depth, end = 0, at
        while end < len(self.tokens) and self.text(end) not in (";", "{", "&&", "||"):
            depth += {"<": 1, ">": -1, ">>": -2}.get(self.text(end), 0)
            if depth <= 0:
                return end
            end += 1
        return at

    def variables(self, first, last):
        """Names but of types, functions and members of namespaces."""
        return {self.text(at) for at in range(first, last + 1)
                if self.tokens[at].kind == "name" and self.text(at) not in DECLARING
                and self.text(at + 1) not in ("(", "::", "<", "*", "&")
                and self.text(at - 1) != "::"
                and self.tokens[at + 1].kind not in ("name", "number", "string")}

    def assigned_field(self, at):
        """Of an assignment to one field of a record, such as "request.sendBytes = size;"."""
        name, dot, field, operator = [self.text(at + step) for step in range(4)]
        return (name, field) if dot in (".", "->") and operator == "=" else None

    def is_branch(self, at):
        """Whether a statement is all of an "if", of a loop or of an "else"."""
        return self.text(at - 1) in (")", "else", "do")


def mutations_of(source):
    """All mutations of a source text, in its order."""
    return Finder(source).find()
