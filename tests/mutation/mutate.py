# SPDX-License-Identifier: MIT
"""Runs the tests of the core against mutants of it; see tests/mutation/mutate.sh.

A snapshot of the tree is built once: an object for each source file and one
test program of all of them. A mutant of a .cc file costs one compilation, one
link and the tests up to the first failure. A mutant of a header is tried on
the tests that are named after it, with everything they see compiled anew; only
one that gets past them is tried on all tests.

The tests of the mutated file's own folder run first.
"""

import argparse
import collections
import concurrent.futures
import difflib
import fnmatch
import hashlib
import json
import os
import re
import resource
import select
import shutil
import signal
import subprocess
import sys
import threading
import time

import mutants as mutation

FOLDERS = ("numbers", "containers", "services", "dl", "model")
FLAGS = ["-std=c++17", "-O0", "-w", "-D_GLIBCXX_ASSERTIONS"]
LIBRARIES = ["-Wl,--wrap=malloc", "-lgtest_main", "-lgtest", "-lgmpxx", "-lgmp", "-lpthread"]
# Random sequences of calls for each mutant.
ENVIRONMENT = dict(os.environ, VORN_TRACES="40")
ADDRESS_SPACE = 4 << 30

# What the tests for a file begin with, where that is not its own name.
TESTS_FOR = {
    "big_repr": ("q_number",),
    "graph": ("dumps", "failing_memory", "lemma_search", "registration"),
    "node": ("failing_memory", "node"),
}

KILLED, TIMEOUT, SURVIVED, EXPLAINED, INVALID = (
    "killed", "timeout", "survived", "explained", "does not compile")

PRECOMPILED = """
#include <gmpxx.h>
#include <gtest/gtest.h>
#include <algorithm>
#include <deque>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>
"""


def squeeze(text):
    return " ".join(text.split())


def texts_of(mutant, text):
    """The lines that a mutant touches, before and after."""
    start = text.rfind("\n", 0, mutant.start) + 1
    end = text.find("\n", mutant.end)
    old = text[start:end]
    new = text[start:mutant.start] + mutant.new + text[mutant.end:end]
    return squeeze(old), squeeze(new)


def read_explained(path):
    """Blocks of "file:", "line:", "becomes:" and "reason:" lines."""
    entries = []
    with open(path) as lines:
        blocks = re.split(r"\n\s*\n", lines.read())
    for block in blocks:
        block = "\n".join(row for row in block.splitlines()
                          if not row.startswith("#")).strip()
        if not block:
            continue
        fields = {}
        key = None
        for row in block.splitlines():
            match = re.match(r"(file|line|becomes|reason): ?(.*)", row)
            if match:
                key = match.group(1)
                fields[key] = match.group(2).strip()
            elif key:
                fields[key] += " " + row.strip()
        if set(fields) != {"file", "line", "becomes", "reason"}:
            sys.exit("%s: an entry is not complete:\n%s" % (path, block))
        fields["line"] = squeeze(fields["line"])
        fields["becomes"] = squeeze(fields["becomes"])
        entries.append(fields)
    return entries


def explanation(entries, file, old, new):
    for entry in entries:
        if (entry["file"] == file and entry["line"] == old and
                entry["becomes"] in ("*", new)):
            return entry
    return None


def limit_memory():
    resource.setrlimit(resource.RLIMIT_AS, (ADDRESS_SPACE, ADDRESS_SPACE))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def run(command, patience=None, **options):
    """Exit code and output of a command; None as the code if it was silent for
    so many seconds and was ended."""
    process = subprocess.Popen(
        command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT, start_new_session=True, **options)
    output = b""
    while True:
        ready, _, _ = select.select([process.stdout], [], [], patience)
        if not ready:
            os.killpg(process.pid, signal.SIGKILL)
            process.communicate()
            return None, output.decode(errors="replace")
        part = os.read(process.stdout.fileno(), 1 << 16)
        if not part:
            return process.wait(), output.decode(errors="replace")
        output += part


class Builder:
    """The snapshot and its objects."""

    def __init__(self, root, work, jobs):
        self.jobs = jobs
        self.tree = os.path.join(work, "tree")
        self.objects = os.path.join(work, "objects")
        self.pch = os.path.join(work, "precompiled.h")
        self.patience = None
        for part in ("vorn", "tests"):
            shutil.rmtree(os.path.join(self.tree, part), ignore_errors=True)
            shutil.copytree(os.path.join(root, part),
                            os.path.join(self.tree, part))
        os.makedirs(self.objects, exist_ok=True)
        self.library = self.sources("vorn", ("numbers", "services", "dl"))
        self.tests = self.sources("tests", FOLDERS)

    def sources(self, top, folders):
        found = []
        for folder in folders:
            place = os.path.join(self.tree, top, folder)
            found += ["%s/%s/%s" % (top, folder, name)
                      for name in sorted(os.listdir(place))
                      if name.endswith(".cc")]
        return found

    def headers(self):
        found = []
        for folder in ("numbers", "containers", "services", "dl"):
            place = os.path.join(self.tree, "vorn", folder)
            found += ["vorn/%s/%s" % (folder, name)
                      for name in sorted(os.listdir(place))
                      if name.endswith(".h")]
        return found

    def text(self, file):
        with open(os.path.join(self.tree, file)) as source:
            return source.read()

    def compile(self, source, result, before=()):
        command = ["g++", *FLAGS, *before, "-I", self.tree, "-include",
                   self.pch, "-c", source, "-o", result]
        return run(command)

    def object_of(self, file):
        return os.path.join(self.objects, file.replace("/", "-") + ".o")

    def link(self, objects, program):
        return run(["g++", *objects, "-o", program, *LIBRARIES])

    def prepare(self, work):
        """Compiles everything and runs the tests on what is not mutated, unless
        that was done for the same tree before."""
        digest = hashlib.sha256(repr((FLAGS, LIBRARIES, PRECOMPILED)).encode())
        for place, _, names in sorted(os.walk(self.tree)):
            for name in sorted(names):
                with open(os.path.join(place, name), "rb") as source:
                    digest.update(name.encode() + b"\0" + source.read())
        stamp = os.path.join(work, "built.json")
        if os.path.exists(stamp):
            with open(stamp) as built:
                built = json.load(built)
            if built["digest"] == digest.hexdigest():
                self.patience = built["patience"]
                return
            os.remove(stamp)
        with open(self.pch, "w") as out:
            out.write(PRECOMPILED)
        code, output = run(["g++", *FLAGS, "-x", "c++-header", self.pch, "-o",
                            self.pch + ".gch"])
        if code != 0:
            sys.exit("The precompiled header:\n" + output)

        def build(file):
            return file, self.compile(os.path.join(self.tree, file),
                                      self.object_of(file))

        with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
            for file, (code, output) in pool.map(
                    build, self.library + self.tests):
                if code != 0:
                    sys.exit("%s does not compile:\n%s" % (file, output))
        program = os.path.join(work, "unchanged")
        code, output = self.link(
            [self.object_of(f) for f in self.library + self.tests], program)
        if code != 0:
            sys.exit("The test program does not link:\n" + output)
        start = time.monotonic()
        code, output = run_tests(program, 600)
        seconds = time.monotonic() - start
        if code != 0:
            sys.exit("The tests fail without any mutation:\n" +
                     output[-4000:])
        # gtest says when each test begins and ends.
        slowest = max(int(ms) for ms in re.findall(
            r"^\[       OK \].*\((\d+) ms\)", output, re.MULTILINE)) / 1000
        self.patience = 10 + 5 * slowest
        print("Built; unmutated the tests take %.1f s and the slowest of them "
              "%.1f. With a mutant a test may take %.0f s."
              % (seconds, slowest, self.patience), flush=True)
        with open(stamp, "w") as built:
            json.dump({"digest": digest.hexdigest(),
                       "patience": self.patience}, built)


def run_tests(program, patience):
    return run([program, "--gtest_fail_fast"], patience,
               cwd=os.path.dirname(program), env=ENVIRONMENT,
               preexec_fn=limit_memory)


class Worker:
    """A scratch folder for one mutant after the other."""

    def __init__(self, builder, place):
        self.builder = builder
        self.place = place
        shutil.rmtree(place, ignore_errors=True)
        os.makedirs(place)

    def ordered_tests(self, file):
        """All tests, those of the file's name first, then its folder's."""
        _, folder, name = file.split("/")
        stem = name.rsplit(".", 1)[0]
        stems = TESTS_FOR.get(stem, (stem,))

        def rank(test):
            _, test_folder, test_name = test.split("/")
            if test_folder != folder:
                return 2
            return 0 if test_name.startswith(stems) else 1
        return sorted(self.builder.tests, key=rank), [
            t for t in self.builder.tests if rank(t) == 0]

    def judge(self, objects):
        program = os.path.join(self.place, "mutant")
        code, output = self.builder.link(objects, program)
        if code != 0:
            return INVALID, output
        code, output = run_tests(program, self.builder.patience)
        if code is None:
            return TIMEOUT, ""
        if code == 0:
            return SURVIVED, ""
        begun = re.findall(r"^\[ RUN      \] (\S+)", output, re.MULTILINE)
        return KILLED, "%s, exit code %d" % (begun[-1] if begun else "start",
                                             code)

    def run(self, mutant):
        text = self.builder.text(mutant.file)
        changed = text[:mutant.start] + mutant.new + text[mutant.end:]
        overlay = os.path.join(self.place, "overlay")
        shutil.rmtree(overlay, ignore_errors=True)
        source = os.path.join(overlay, mutant.file)
        os.makedirs(os.path.dirname(source))
        with open(source, "w") as out:
            out.write(changed)
        if mutant.file.endswith(".cc"):
            return self.run_source(mutant.file, source)
        return self.run_header(mutant.file, overlay)

    def run_source(self, file, source):
        result = os.path.join(self.place, "mutant.o")
        code, output = self.builder.compile(source, result)
        if code != 0:
            return INVALID, output
        objects = [self.builder.object_of(f)
                   for f in self.builder.library if f != file]
        tests, _ = self.ordered_tests(file)
        return self.judge([result] + objects +
                          [self.builder.object_of(t) for t in tests])

    def run_header(self, file, overlay):
        include = ["-I", overlay]
        # The library as one file, which is compiled in a third of the time.
        whole = os.path.join(self.place, "library.cc")
        with open(whole, "w") as out:
            for source in self.builder.library:
                out.write('#include "%s"\n' % source)
        library = os.path.join(self.place, "library.o")
        code, output = self.builder.compile(whole, library, include)
        if code != 0:
            return INVALID, output
        tests, named = self.ordered_tests(file)
        support = [t for t in tests if not t.endswith("_test.cc")]
        built = {}

        def compile_tests(wanted):
            for test in wanted:
                if test in built:
                    continue
                name = test.replace("/", "-") + ".o"
                built[test] = os.path.join(self.place, name)
                code, output = self.builder.compile(
                    os.path.join(self.builder.tree, test), built[test],
                    include)
                if code != 0:
                    return output
            return None

        for wanted in (named + [t for t in support
                                if t.startswith("tests/numbers/")], tests):
            errors = compile_tests(wanted)
            if errors is not None:
                return INVALID, errors
            verdict, detail = self.judge(
                [library] + [built[test] for test in wanted])
            if verdict != SURVIVED:
                return verdict, detail
        return verdict, detail


def identity(mutant, text):
    key = "%s %s %d %d %s" % (mutant.file,
                              hashlib.sha256(text.encode()).hexdigest(),
                              mutant.start, mutant.end, mutant.new)
    return hashlib.sha256(key.encode()).hexdigest()[:16]


def diff_of(mutant, text):
    changed = text[:mutant.start] + mutant.new + text[mutant.end:]
    rows = difflib.unified_diff(text.splitlines(), changed.splitlines(),
                                mutant.file, mutant.file, lineterm="", n=2)
    return "\n".join(rows)


def table(title, results, key):
    rows = {}
    for result in results:
        rows.setdefault(result[key], []).append(result["verdict"])
    out = ["| %s | killed | of | explained |" % title, "|---|---|---|---|"]
    for name in sorted(rows):
        verdicts = rows[name]
        killed = sum(v in (KILLED, TIMEOUT) for v in verdicts)
        explained = verdicts.count(EXPLAINED)
        out.append("| %s | %d | %d | %d |" % (
            name, killed, len(verdicts) - explained, explained))
    return "\n".join(out)


def write_report(path, results, options, stale, seconds):
    valid = [r for r in results if r["verdict"] != INVALID]
    count = {v: sum(r["verdict"] == v for r in results)
             for v in (KILLED, TIMEOUT, SURVIVED, EXPLAINED, INVALID)}
    killed = count[KILLED] + count[TIMEOUT]
    judged = killed + count[SURVIVED]
    score = 100.0 * killed / judged if judged else 0.0
    summary = (
        "%d of %d mutants killed (%.1f%%): %d by a test, %d by running out of "
        "time. %d survived, %d more are explained as equivalent, %d did not "
        "compile and count for nothing." % (
            killed, judged, score, count[KILLED], count[TIMEOUT],
            count[SURVIVED], count[EXPLAINED], count[INVALID]))
    out = ["# Mutation report", "", summary, "",
           "Seed %d; %.1f s of work for a mutant on average." % (
               options.seed,
               sum(r["seconds"] for r in results) / max(1, len(results))),
           "", table("operator", valid, "operator"), "",
           table("file", valid, "file"), "", "## Survivors", ""]
    for verdict, title in ((SURVIVED, None), (TIMEOUT, "## Out of time"),
                           (EXPLAINED, "## Explained")):
        if title:
            out += [title, ""]
        for result in results:
            if result["verdict"] != verdict:
                continue
            out.append("`%s:%d` (%s)" % (result["file"], result["line"],
                                         result["operator"]))
            if verdict == EXPLAINED:
                out[-1] += ": " + result["detail"]
            out += ["", "```diff", result["diff"], "```", ""]
    if stale:
        out += ["## Explanations that match no line", ""]
        out += ["- %s: `%s`" % (e["file"], e["line"]) for e in stale]
    with open(path, "w") as report:
        report.write("\n".join(out) + "\n")
    print(summary)
    print("The report is %s (%.0f s in all)" % (path, seconds))
    return count[SURVIVED]


def main():
    parser = argparse.ArgumentParser(prog="tests/mutation/mutate.sh")
    parser.add_argument("--count", type=int, default=300)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--sample", action="store_true",
                        help="20 mutants of a fixed seed")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--files", default="*", metavar="GLOB",
                        help="only files of this name, vorn/dl/* say")
    parser.add_argument("--resume", action="store_true",
                        help="keep the results for files that are the same")
    parser.add_argument("--list", action="store_true",
                        help="only show the mutants")
    options = parser.parse_args()
    if options.sample:
        options.count, options.seed = 20, 1

    start = time.monotonic()
    here = os.path.dirname(os.path.abspath(__file__))
    root = os.path.dirname(os.path.dirname(here))
    work = os.path.join(root, "build", "mutation")
    os.makedirs(work, exist_ok=True)
    builder = Builder(root, work, options.jobs)
    entries = read_explained(os.path.join(here, "equivalent.txt"))

    everything = []
    sizes = {}
    texts = {}
    stale = list(entries)
    for file in sorted(builder.library + builder.headers()):
        texts[file] = builder.text(file)
        found = mutation.mutants_of(file, texts[file])
        for mutant in found if stale else []:
            entry = explanation(stale, file, *texts_of(mutant, texts[file]))
            if entry is not None:
                stale.remove(entry)
        if fnmatch.fnmatch(file, options.files):
            everything += found
            sizes[file] = len(texts[file].splitlines())
    choice = mutation.Choice(everything, sizes, options.count, options.seed)
    chosen = choice.chosen()
    print("%d of %d possible mutants" % (len(chosen), len(everything)),
          flush=True)
    if options.list:
        for mutant in chosen:
            old, new = texts_of(mutant, texts[mutant.file])
            print("%s (%s)\n  - %s\n  + %s" % (mutant.file, mutant.operator,
                                               old, new))
        return 0

    record = os.path.join(work, "results.jsonl")
    known = {}
    if options.resume and os.path.exists(record):
        with open(record) as rows:
            for row in rows:
                result = json.loads(row)
                known[result["id"]] = result
    else:
        open(record, "w").close()

    builder.prepare(work)
    results = []
    todo = collections.deque(chosen)
    lock = threading.Lock()

    def judge(worker, mutant):
        text = texts[mutant.file]
        name = identity(mutant, text)
        old, new = texts_of(mutant, text)
        entry = explanation(entries, mutant.file, old, new)
        # What survived is tried again, on the tests as they are now.
        if name in known and known[name]["verdict"] in (KILLED, TIMEOUT,
                                                        INVALID):
            return known[name]
        begin = time.monotonic()
        if entry is not None:
            verdict, detail = EXPLAINED, entry["reason"]
        else:
            verdict, detail = worker.run(mutant)
        return {
            "id": name, "file": mutant.file,
            "line": text.count("\n", 0, mutant.start) + 1,
            "operator": mutant.operator, "verdict": verdict,
            "detail": detail[:2000], "diff": diff_of(mutant, text),
            "change": "%s -> %s" % (old, new),
            "seconds": time.monotonic() - begin}

    def work_off(number):
        worker = Worker(builder, os.path.join(work, "worker%d" % number))
        while True:
            with lock:
                if not todo:
                    return
                mutant = todo.popleft()
            result = judge(worker, mutant)
            with lock:
                results.append(result)
                if result["verdict"] in (INVALID, EXPLAINED):
                    other = choice.another(mutant.file)
                    if other is not None:
                        todo.append(other)
                with open(record, "a") as out:
                    out.write(json.dumps(result) + "\n")
                print("%4d left  %-16s %5.1f s  %s:%d  %s  [%s]" % (
                    len(todo), result["verdict"], result["seconds"],
                    mutant.file, result["line"], mutant.operator,
                    result["change"]), flush=True)

    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        for future in [pool.submit(work_off, n) for n in range(options.jobs)]:
            future.result()
    results.sort(key=lambda r: (r["file"], r["line"], r["change"]))
    survived = write_report(os.path.join(work, "report.md"), results,
                            options, stale, time.monotonic() - start)
    return 1 if survived else 0


if __name__ == "__main__":
    sys.exit(main())
