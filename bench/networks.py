# SPDX-License-Identifier: MIT
"""Networks of bounds without choices: what one costs, per constraint.

  bench/networks.py VORN PLAIN [--sizes N ...] [--repeats R]

makes networks of N variables and 5 N constraints (families/network.py), asks
vorn and the floor of plain_network.cc in turn, R times each, and prints a
Markdown table: the least processor time, per constraint too, the most memory,
and how many times as much it is as the floor's, and per constraint as with the
size before. Both have to answer sat.
"""

import argparse
import os
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "families"))
from network import network  # noqa: E402


def run(command):
    """Processor time in seconds and peak memory in mebibytes."""
    child = subprocess.Popen(command, stdout=subprocess.PIPE)
    answer = child.stdout.read().split()
    _, status, usage = os.wait4(child.pid, 0)
    child.returncode = os.waitstatus_to_exitcode(status)
    if child.returncode != 0 or answer != [b"sat"]:
        sys.exit(f"{command[0]} answers {answer}")
    return usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("vorn")
    parser.add_argument("plain")
    parser.add_argument("--sizes", type=int, nargs="+",
                        default=[10_000, 100_000, 1_000_000])
    parser.add_argument("--repeats", type=int, default=5)
    arguments = parser.parse_args()
    print("| variables | constraints | vorn | a constraint | of the size "
          "before | memory | floor | of the floor |")
    print("|---|---|---|---|---|---|---|---|")
    before = None
    for size in arguments.sizes:
        with tempfile.NamedTemporaryFile("w", suffix=".smt2") as script:
            # In a process of its own: its memory would be part of theirs.
            if os.fork() == 0:
                script.write(network(size, 5 * size).text())
                script.flush()
                os._exit(0)
            if os.wait()[1] != 0:
                sys.exit("no network was made")
            least = [None, None]
            most = 0.0
            for _ in range(arguments.repeats):
                for k, program in enumerate([arguments.vorn, arguments.plain]):
                    seconds, mebibytes = run([program, script.name])
                    if least[k] is None or seconds < least[k]:
                        least[k] = seconds
                    if k == 0:
                        most = max(most, mebibytes)
        each = least[0] / (5 * size) * 1e6
        growth = "-" if before is None else f"{each / before:.2f}"
        before = each
        print(f"| {size:,} | {5 * size:,} | {least[0]:.2f} s | {each:.2f} us | "
              f"{growth} | {most:.0f} MiB | {least[1]:.2f} s | "
              f"{least[0] / least[1]:.2f} |", flush=True)


if __name__ == "__main__":
    main()
