#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares commands that answer SMT-LIB scripts, question by question.

    compare.py --contestant NAME=COMMAND --contestant NAME=COMMAND [FILE ...]

A contestant is a command line to which the name of a script is added. All are
asked each question in turn before the next question, so that a machine that
gets slower or faster meanwhile treats them alike. Questions are those of
questions.txt, job-shop tables at their optimum and one below (--tables), and
the scripts named. The report is Markdown; the first contestant is the one that
the others are compared with.

Time is processor time, user and system, of the whole command; with --clock, time
by the clock. At the limit, or after three times the limit by the clock, it gets
SIGTERM, so that it may still
print its statistics, and soon after SIGKILL.

A search is luck, most of all a short one. With --seed-option each repeat asks
with a seed of its own; with --short only questions that all answered faster
than that at first are repeated, which is where luck would decide a ratio, and
only until a seed is not answered: such a question counts as unanswered.

Each run is written to a file at once, and --resume takes from there what has
been measured before with the same program, options, script and limit.

The exit status is 1 if two verdicts contradict each other or a verdict
contradicts the :status of its script, or if a command fails.
"""

import argparse
import collections
import hashlib
import math
import os
import pathlib
import re
import resource
import select
import shlex
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent

# Times below this are mostly starting and ending, so ratios take them for it.
FLOOR = 0.01
# Seconds a command has to end by itself after the limit.
GRACE = 2
# Stands for the seed in a command.
SEED = "{seed}"
COUNTERS = ["conflicts", "decisions", "implied literals"]
ANSWERS = ["sat", "unsat"]

Question = collections.namedtuple("Question", "name family path status digest")
Contestant = collections.namedtuple("Contestant", "name command digest")
Run = collections.namedtuple(
    "Run", "contestant question repeat limit program script verdict seconds "
    "conflicts decisions implied")


def digest(*parts):
    total = hashlib.sha256()
    for part in parts:
        total.update(part if isinstance(part, bytes) else str(part).encode())
        total.update(b"\0")
    return total.hexdigest()[:16]


# ---- Questions -------------------------------------------------------------


def read_question(name, family, path):
    text = path.read_bytes()
    status = re.search(rb"\(set-info\s+:status\s+(sat|unsat)\s*\)", text)
    return Question(name, family, path, status and status[1].decode(),
                    digest(text))


def generated(name, family, words, cache):
    """The question that a generator writes; made only if it is not there."""
    generator, arguments = HERE / words[0], words[1:]
    sources = [generator, HERE / "script.py"]
    for table in map(pathlib.Path, arguments):
        if table.is_file():
            sources += [table, table.with_name("optima.tsv")]
    key = digest(*arguments, *(s.read_bytes() for s in sources if s.exists()))
    path = cache / f"{name}-{key}.smt2"
    if not path.exists():
        part = path.with_suffix(".part")
        with part.open("wb") as out:
            subprocess.run([sys.executable, "-B", generator, *arguments],
                           stdout=out, check=True)
        part.rename(path)
    return read_question(name, family, path)


def listed_questions(listing):
    """Name, family and generator with arguments, for each row of a list."""
    for line in listing.read_text().splitlines():
        words = line.split("#")[0].split()
        if words:
            yield words[0], pathlib.Path(words[1]).stem, words[1:]


def table_questions(folder):
    for row in (folder / "optima.tsv").read_text().splitlines()[1:]:
        fields = row.split()
        table = folder / f"{fields[0]}.txt"
        if fields[4] == "optimal" and table.exists():
            for k in [int(fields[3]), int(fields[3]) - 1]:
                yield (f"{fields[0]}-{k}", "tables",
                       ["job_shop.py", str(table), str(k)])


# ---- Runs ------------------------------------------------------------------


def read_contestant(text):
    name, equals, line = text.partition("=")
    command = shlex.split(line)
    program = command and shutil.which(command[0])
    if not equals or not program:
        sys.exit(f"compare.py: not NAME=COMMAND, or no such command: {text}")
    command[0] = program
    return Contestant(name, command, digest(
        *command[1:], pathlib.Path(program).read_bytes()))


def children_seconds():
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def process_seconds(pid):
    """Processor time of a process that runs, or of one that waits for us."""
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2]
    return sum(map(int, fields.split()[11:13])) / os.sysconf("SC_CLK_TCK")


def watch(process, limit, by_clock):
    """Waits for the end. Returns whether the limit was enforced."""
    stopped = None
    begin = time.monotonic()
    ended = os.pidfd_open(process.pid)
    while not select.select([ended], [], [], 0.05)[0]:
        now = time.monotonic()
        # A command that sleeps uses no processor time and must end as well.
        used = now - begin if by_clock else process_seconds(process.pid)
        if stopped is None and (used >= limit or
                                now - begin > 3 * limit + GRACE):
            stopped = now
            os.killpg(process.pid, signal.SIGTERM)
        elif stopped is not None and now - stopped > GRACE:
            os.killpg(process.pid, signal.SIGKILL)
    os.close(ended)
    process.wait()
    return stopped is not None


def run(contestant, question, repeat, limit, by_clock):
    seconds_now = time.monotonic if by_clock else children_seconds
    before = seconds_now()
    command = [part.replace(SEED, str(repeat)) for part in contestant.command]
    with tempfile.TemporaryFile("w+") as out:
        process = subprocess.Popen([*command, question.path],
                                   stdin=subprocess.DEVNULL, stdout=out,
                                   stderr=subprocess.STDOUT,
                                   start_new_session=True)
        try:
            stopped = watch(process, limit, by_clock)
        except BaseException:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()
            raise
        seconds = seconds_now() - before
        out.seek(0)
        text = out.read()
    said = re.findall(r"^(?:sat|unsat|unknown)$", text, re.MULTILINE)
    if stopped or seconds >= limit:
        verdict = "timeout"
    elif process.returncode == 0 and said:
        verdict = said[0]
    else:
        verdict = "error"
        print(f"compare.py: {contestant.name} failed on {question.name}, exit "
              f"status {process.returncode}:\n{text[-500:]}", file=sys.stderr)
    rows = dict(re.findall(r"^; (.*): (\S+)$", text, re.MULTILINE))
    return Run(contestant.name, question.name, repeat, limit, contestant.digest,
               question.digest, verdict, round(seconds, 3),
               *(rows.get(counter, "-") for counter in COUNTERS))


class Record:
    """The file of runs: one row for each, appended as it ends."""

    def __init__(self, path, resume):
        self._known = {}
        head = "\t".join(Run._fields) + "\n"
        text = path.read_text() if path.exists() else ""
        # A row that was being written when the machine stopped has no end.
        whole = text[:text.rfind("\n") + 1] or head
        if not whole.startswith(head):
            sys.exit(f"compare.py: {path} is no record of runs")
        if whole != text:
            path.write_text(whole)
        for line in whole.splitlines()[1:] if resume else []:
            old = Run(*line.split("\t"))
            old = old._replace(repeat=int(old.repeat), limit=float(old.limit),
                               seconds=float(old.seconds))
            self._known[self._key(old)] = old
        self._file = path.open("a")

    @staticmethod
    def _key(run):
        return run.contestant, run.program, run.script, run.repeat, run.limit

    def known(self, contestant, question, repeat, limit):
        found = self._known.get(
            (contestant.name, contestant.digest, question.digest, repeat,
             limit))
        return found and found._replace(question=question.name)

    def add(self, run):
        self._file.write("\t".join(map(str, run)) + "\n")
        self._file.flush()


def measure(questions, contestants, record, options):
    """A list of runs for each question and contestant."""
    runs = collections.defaultdict(list)
    for done, question in enumerate(questions, 1):
        is_short = True
        for repeat in range(options.repeats):
            if not is_short:
                break
            for contestant in contestants:
                one = record.known(contestant, question, repeat, options.limit)
                if not one:
                    one = run(contestant, question, repeat, options.limit,
                              options.clock)
                    record.add(one)
                print(f"{done}/{len(questions)} {question.name} "
                      f"{contestant.name}: {one.verdict}, {one.seconds} s",
                      file=sys.stderr)
                runs[question.name, contestant.name].append(one)
                if options.short is not None and (
                        one.verdict not in ANSWERS or
                        repeat == 0 and one.seconds >= options.short):
                    is_short = False
    return runs


# ---- Report ----------------------------------------------------------------


def mean_count(counts):
    if "-" in counts:
        return "-"
    return str(round(statistics.mean(map(int, counts))))


def representative(runs, take):
    """The fastest run, or the middle one; unanswered ones come last. Or the
    mean, if all were answered, else one that was not."""
    runs = sorted(runs, key=lambda r: (r.verdict not in ANSWERS, r.seconds))
    if take == "mean":
        if runs[-1].verdict not in ANSWERS:
            return runs[-1]
        return runs[0]._replace(
            seconds=round(statistics.mean(r.seconds for r in runs), 3),
            **{field: mean_count([getattr(r, field) for r in runs])
               for field in ["conflicts", "decisions", "implied"]})
    return runs[0] if take == "minimum" else runs[(len(runs) - 1) // 2]


def find_contradictions(questions, contestants, runs):
    """The names of questions with verdicts that contradict, and a line each."""
    for question in questions:
        said = {c.name: sorted({r.verdict for r in runs[question.name, c.name]
                                if r.verdict in ANSWERS}) for c in contestants}
        verdicts = set().union(*said.values())
        if question.status:
            verdicts.add(question.status)
        if len(verdicts) > 1:
            claims = [f"{name} says {' and '.join(words)}"
                      for name, words in said.items() if words]
            if question.status:
                claims.append(f"its :status is {question.status}")
            yield question.name, f"{question.name}: {', '.join(claims)}"


def geometric_mean(ratios):
    if not ratios:
        return "-"
    return f"{math.exp(sum(map(math.log, ratios)) / len(ratios)):.2f}"


def processor():
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return "unknown processor"


def report(questions, contestants, runs, contradictions, options):
    chosen = {key: representative(value, options.take)
              for key, value in runs.items()}

    def fault(question, contestant):
        verdict = chosen[question.name, contestant.name].verdict
        if verdict not in ANSWERS or question.name not in contradictions:
            return ""
        if not question.status:
            return " DISPUTED"
        return "" if verdict == question.status else " WRONG"

    def solved(question, contestant):
        return (chosen[question.name, contestant.name].verdict in ANSWERS and
                not fault(question, contestant))

    def seconds(question, contestant):
        return max(chosen[question.name, contestant.name].seconds, FLOOR)

    how = (f"{options.take} of {options.repeats} runs each"
           if options.repeats > 1 else "one run each")
    if options.seed_option:
        how += f", the first with {options.seed_option} 0, then 1, 2, ..."
    if options.short is not None:
        how += (f", but one run for what a contestant did not answer within "
                f"{options.short:g} s at first")
    kind = "by the clock" if options.clock else "of processor time"
    yield (f"Seconds {kind}, {how}, limit {options.limit:g} s; "
           f"{processor()}.")
    yield ""
    heads = [f"{c.name} | s | conflicts | decisions | implied literals"
             for c in contestants]
    yield f"| question | {' | '.join(heads)} |"
    yield "|---" * (1 + 5 * len(contestants)) + "|"
    for question in questions:
        cells = [question.name]
        for c in contestants:
            one = chosen[question.name, c.name]
            cells += [one.verdict + fault(question, c), f"{one.seconds:.3f}",
                      one.conflicts, one.decisions, one.implied]
        yield f"| {' | '.join(cells)} |"
    yield ""

    yield "| contestant | solved | PAR2 score, s |"
    yield "|---|---|---|"
    for c in contestants:
        answered = [q for q in questions if solved(q, c)]
        score = (sum(chosen[q.name, c.name].seconds for q in answered) +
                 2 * options.limit * (len(questions) - len(answered)))
        yield (f"| {c.name} | {len(answered)} of {len(questions)} | "
               f"{score:.1f} |")
    yield ""
    yield ("The score is the sum of seconds, with twice the limit for what was "
           "not answered.")

    first = contestants[0]
    families = list(dict.fromkeys(q.family for q in questions))
    for c in contestants[1:]:
        both = [q for q in questions if solved(q, c) and solved(q, first)]
        ratio = {q.name: seconds(q, c) / seconds(q, first) for q in both}
        yield ""
        yield (f"Time of {c.name} over time of {first.name}, geometric mean "
               f"over what both answered (less than {FLOOR} s counts as "
               f"{FLOOR} s):")
        yield ""
        yield "| family | both answered | ratio |"
        yield "|---|---|---|"
        for family in [None, *families]:
            members = [ratio[q.name] for q in both
                       if family in (None, q.family)]
            yield (f"| {family or 'all'} | {len(members)} | "
                   f"{geometric_mean(members)} |")
        won = [q.name for q in questions
               if solved(q, c) and not solved(q, first)]
        lost = [q.name for q in questions
                if solved(q, first) and not solved(q, c)]
        yield ""
        yield f"- answered only by {c.name}: {', '.join(won) or 'none'}"
        yield f"- answered only by {first.name}: {', '.join(lost) or 'none'}"
        if ratio:
            worst = max(ratio, key=ratio.get)
            yield (f"- worst ratio of {c.name}: {ratio[worst]:.2f}, on {worst}")


def pattern(text):
    try:
        return re.compile(text)
    except re.error as problem:
        raise argparse.ArgumentTypeError(str(problem)) from problem


def arguments():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("files", nargs="*", type=pathlib.Path, metavar="FILE",
                        help="scripts to ask as well")
    parser.add_argument("--contestant", action="append", default=[],
                        metavar="NAME=COMMAND", help="two or more of these")
    parser.add_argument("--questions", type=pathlib.Path,
                        default=HERE / "questions.txt", metavar="FILE")
    parser.add_argument("--tables", type=pathlib.Path, action="append",
                        default=[], metavar="FOLDER",
                        help="job-shop tables, with optima.tsv beside them")
    parser.add_argument("--only", type=pattern, default="", metavar="REGEX",
                        help="questions with such a part in their name")
    parser.add_argument("--limit", type=float, default=20, metavar="SECONDS")
    parser.add_argument("--clock", action="store_true",
                        help="time by the clock, for commands with threads; "
                             "on a machine with nothing else to do")
    parser.add_argument("--repeats", type=int, default=1, metavar="N")
    parser.add_argument("--take", choices=["minimum", "median", "mean"],
                        default="minimum", help="of repeats")
    parser.add_argument("--seed-option", metavar="OPTION",
                        help="option with which commands take a seed")
    parser.add_argument("--short", type=float, metavar="SECONDS",
                        help="repeat only what all answer faster than this")
    parser.add_argument("--cache", type=pathlib.Path,
                        default=ROOT / "build" / "families", metavar="FOLDER",
                        help="where generated scripts are kept")
    parser.add_argument("--runs", type=pathlib.Path, metavar="FILE",
                        help="TSV of runs (default: runs.tsv in the cache)")
    parser.add_argument("--resume", action="store_true",
                        help="do not repeat what stands in the TSV")
    parser.add_argument("--output", type=pathlib.Path, metavar="FILE",
                        help="the report (default: standard output)")
    options = parser.parse_args()
    if len(options.contestant) < 2:
        parser.error("at least two contestants are needed")
    if options.repeats < 1 or options.limit <= 0:
        parser.error("--repeats and --limit must be positive")
    return options


def main():
    options = arguments()
    seed = f" {options.seed_option} {SEED}" if options.seed_option else ""
    contestants = [read_contestant(text + seed) for text in options.contestant]
    if len({c.name for c in contestants}) < len(contestants):
        sys.exit("compare.py: two contestants have one name")
    options.cache.mkdir(parents=True, exist_ok=True)
    wanted = options.only.search
    made = list(listed_questions(options.questions))
    for folder in options.tables:
        made += table_questions(folder)
    questions = [generated(*one, options.cache) for one in made
                 if wanted(one[0])]
    questions += [read_question(path.name, "files", path)
                  for path in options.files if wanted(path.name)]
    names = [q.name for q in questions]
    if len(set(names)) < len(names) or not names:
        sys.exit("compare.py: no question, or two with one name")

    record = Record(options.runs or options.cache / "runs.tsv", options.resume)
    runs = measure(questions, contestants, record, options)
    contradictions = dict(find_contradictions(questions, contestants, runs))
    lines = report(questions, contestants, runs, contradictions, options)
    text = "".join(f"{line}\n" for line in lines)
    if options.output:
        options.output.write_text(text)
    else:
        print(text, end="")
    for line in contradictions.values():
        print(f"WRONG: {line}", file=sys.stderr)
    failed = any(r.verdict == "error" for rs in runs.values() for r in rs)
    return 1 if contradictions or failed else 0


if __name__ == "__main__":
    sys.exit(main())
