# SPDX-License-Identifier: MIT
"""Makes mutants: small, deliberate mistakes in C++ source text.

The text is cut into tokens, and each operator looks at a token and its
neighbours. That relies on the repository's formatting in one way: a binary
operator has space on both sides, and the brackets of a template do not. A
mutant that does not compile is dropped later, so an operator may propose one.

Nothing is proposed in comments, strings, preprocessor lines, assertions, and
the few kinds of line that kNotMutated names.
"""

import collections
import random
import re

# What a mutant is: `start` and `end` cut the file's text, `new` goes there.
Mutant = collections.namedtuple("Mutant", "file start end new operator")

TOKEN = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)
      | (?P<directive>^[ \t]*\#(?:[^\n]*\\\n)*[^\n]*)
      | (?P<string>"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])*')
      | (?P<number>\d[\w'.]*)
      | (?P<word>[A-Za-z_]\w*)
      | (?P<sign><<=|>>=|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|::|\S)
    """,
    re.VERBOSE | re.MULTILINE | re.DOTALL,
)
Token = collections.namedtuple("Token", "kind text start end")

COMPARISONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=",
               "!=": "=="}
ARITHMETIC = {"+": "-", "-": "+", "*": "+", "/": "*", "%": "/", "&": "|",
              "|": "&", "^": "|", ">>": "<<", "<<": ">>", "+=": "-=",
              "-=": "+=", "*=": "+=", "++": "--", "--": "++", "<<=": ">>=",
              ">>=": "<<="}
LOGIC = {"&&": "||", "||": "&&"}
WORDS = {"true": "false", "false": "true", "min": "max", "max": "min",
         "first": "second", "second": "first", "front": "back",
         "back": "front"}

# Declarations without behaviour, hints of how much room to make, and lines
# that only guide the compiler.
NOT_MUTATED = re.compile(
    r"\b(?:static_assert|template|using|friend|alignas|reserve|typename"
    r"|virtual|operator[^\w\s]|atomic_signal_fence)\b|operator\s*[^\w\s(]"
    r"|= (?:default|delete|0);|^\s*namespace"
)
# A type and a name, or a constructor.
DECLARATION = r"[\w:]+(?:<[^;=()]*>)?(?: [*&]*|[*&]+ )\w+\s*(?:[;={(]|$)" \
    r"|[A-Z]\w*\((?:const )?[\w:]+[*&]+ \w+"
# Words that begin a statement which is not an expression.
NOT_EXPRESSIONS = {
    "return", "if", "for", "while", "do", "else", "try", "catch", "case",
    "const", "constexpr", "static", "auto", "std", "using", "friend", "struct",
    "class", "template", "inline", "explicit", "public", "private", "protected",
    "typedef",
    "int", "bool", "virtual", "mutable", "thread_local", "namespace", "assert",
    "static_assert", "enum", "double", "float", "char", "void",
}


def tokens_of(text):
    """The tokens that are code, with assertions left out."""
    tokens = [Token(m.lastgroup, m.group(), m.start(), m.end())
              for m in TOKEN.finditer(text)]
    code = []
    k = 0
    while k < len(tokens):
        token = tokens[k]
        if token.text in ("assert", "static_assert"):
            k = closing(tokens, k + 1) + 1
        elif token.kind not in ("comment", "directive"):
            code.append(token)
        k += 1
    return code


def closing(tokens, k):
    """The index of the bracket that closes the one at index k."""
    depth = 0
    while k < len(tokens):
        if tokens[k].text in "([{" and len(tokens[k].text) == 1:
            depth += 1
        elif tokens[k].text in ")]}" and len(tokens[k].text) == 1:
            depth -= 1
            if depth == 0:
                return k
        k += 1
    return len(tokens) - 1


def line_at(text, position):
    start = text.rfind("\n", 0, position) + 1
    end = text.find("\n", position)
    return text[start:end if end >= 0 else len(text)]


def is_binary(text, token):
    """Whether an operator has an operand, and space, on both sides."""
    return (text[token.start - 1].isspace() and text[token.end].isspace())


def other_numbers(literal):
    match = re.fullmatch(r"(0[xX][0-9a-fA-F]+|\d+)([uUlL]*)", literal)
    if match is None:
        number = re.fullmatch(r"(\d+\.\d+)([fF]?)", literal)
        if number is None:
            return []
        return ["%r%s" % (float(number.group(1)) + 1.0, number.group(2))]
    value = int(match.group(1), 0)
    near = [value + 1] if value == 0 else [value + 1, value - 1]
    return ["%d%s" % (n, match.group(2)) for n in near]


def statement_end(tokens, k):
    """The index of the semicolon that ends the statement at index k."""
    depth = 0
    while k < len(tokens):
        sign = tokens[k].text
        if sign == "{" and depth == 0:
            return None  # A definition, or a brace of the code around.
        if sign in ("(", "[", "{"):
            depth += 1
        elif sign in (")", "]", "}"):
            depth -= 1
            if depth < 0:
                return None
        elif sign == ";" and depth == 0:
            return k
        k += 1
    return None


def begins_statement(tokens, k):
    if k == 0:
        return False
    before = tokens[k - 1].text
    if before in (";", "{", "}", "else"):
        return True
    if before != ")":
        return False
    # Behind the bracket of an if, a for or a while.
    depth = 0
    j = k - 1
    while j >= 0:
        depth += {")": 1, "(": -1}.get(tokens[j].text, 0)
        if depth == 0:
            return tokens[j - 1].text in ("if", "for", "while")
        j -= 1
    return False


def mutants_of(file, text):
    """All mutants of a file, in the order of their places."""
    tokens = tokens_of(text)
    found = []

    def add(start, end, new, operator):
        if not NOT_MUTATED.search(line_at(text, start)):
            found.append(Mutant(file, start, end, new, operator))

    def replace(token, new, operator):
        add(token.start, token.end, new, operator)

    for k, token in enumerate(tokens[:-1]):
        sign = token.text
        following = tokens[k + 1]
        before = tokens[k - 1] if k > 0 else token
        if token.kind == "number":
            for new in other_numbers(sign):
                replace(token, new, "constant")
        elif token.kind == "word":
            if sign in WORDS and "VarMap<" not in line_at(text, token.start):
                replace(token, WORDS[sign], "name")
            elif sign in ("if", "while") and following.text == "(":
                end = closing(tokens, k + 1)
                add(following.end, tokens[end].start,
                    "!(%s)" % text[following.end:tokens[end].start],
                    "condition negated")
            elif sign == "return" and following.text != ";":
                end = statement_end(tokens, k)
                expression = text[following.start:tokens[end].start] if (
                    end) else "{"
                if not re.match(r"\*this|result$|out\b|true|false|nullptr|\{",
                                expression):
                    add(following.start, tokens[end].start,
                        "!(%s)" % expression, "return value")
        elif sign in COMPARISONS and is_binary(text, token):
            replace(token, COMPARISONS[sign], "comparison")
        elif sign in LOGIC and is_binary(text, token):
            replace(token, LOGIC[sign], "logic")
        elif sign in ("++", "--"):
            replace(token, ARITHMETIC[sign], "arithmetic")
        elif sign in ARITHMETIC and is_binary(text, token):
            line = line_at(text, token.start)
            to_stream = sign == "<<" and re.search(
                r"\bout|\btext|logger_|\"|<< *\w+\.", line)
            if not to_stream:
                replace(token, ARITHMETIC[sign], "arithmetic")
        elif sign == "!" and following.kind != "sign":
            replace(token, "", "negation dropped")
        elif sign == "-" and following.kind in ("word", "number"):
            replace(token, "", "sign dropped")
        elif (sign == "[" and following.text not in "]&" and
              (before.kind == "word" or before.text in ")]") and
              before.text != "delete"):
            end = tokens[closing(tokens, k)]
            add(end.start, end.start, " + 1", "index shifted")
        if (begins_statement(tokens, k) and sign not in NOT_EXPRESSIONS and
                (token.kind == "word" or sign in ("*", "++", "--", "("))):
            end = statement_end(tokens, k)
            statement = text[token.start:tokens[end].start] if end else ""
            if statement and not re.match(DECLARATION, statement) and (
                    "reserve(" not in statement):
                add(token.start, tokens[end].start, "", "statement dropped")
    return thinned(text, found)


def thinned(text, found):
    """At most two changes of constants on a line: more of them, as in a table
    of primes, say the same again."""
    kept = []
    on_line = collections.Counter()
    for mutant in found:
        if mutant.operator == "constant":
            line = text.count("\n", 0, mutant.start)
            on_line[line] += 1
            if on_line[line] > 2:
                continue
        kept.append(mutant)
    return kept


class Choice:
    """Shares a number of mutants out among files by their sizes.

    Deterministic: a file's mutants come in an order that only the seed and the
    file's name decide, and the choice is the beginning of it. For a mutant that
    turns out not to count, another() adds the next one of the same file, or of
    some other file if there is none.
    """

    def __init__(self, mutants, sizes, count, seed):
        self.pools = {}
        for mutant in mutants:
            self.pools.setdefault(mutant.file, []).append(mutant)
        for file, pool in self.pools.items():
            random.Random("%d %s" % (seed, file)).shuffle(pool)
        total = sum(sizes[file] for file in self.pools)
        share = {f: count * sizes[f] / total for f in self.pools}
        # Whole shares first, then one more to the files with the largest rests.
        self.taken = {f: min(len(self.pools[f]), int(share[f]))
                      for f in self.pools}
        for _ in range(min(count, len(mutants)) - sum(self.taken.values())):
            self.taken[max(self.open_files(),
                           key=lambda f: share[f] - self.taken[f])] += 1

    def open_files(self):
        return [f for f in sorted(self.pools)
                if self.taken[f] < len(self.pools[f])]

    def chosen(self):
        found = []
        for file in sorted(self.pools):
            found += sorted(self.pools[file][:self.taken[file]],
                            key=lambda m: (m.start, m.end, m.new))
        return found

    def another(self, file):
        """One more mutant, or None."""
        files = self.open_files()
        if not files:
            return None
        if file not in files:
            file = files[0]
        self.taken[file] += 1
        return self.pools[file][self.taken[file] - 1]
