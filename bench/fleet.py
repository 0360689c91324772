#!/usr/bin/env python3
"""Measures migrations of many devices: how many a second, and what each takes of a processor.

usage: fleet.py TOOL [--devices N], beside which bare_worker was built
"""
import argparse
import collections
import os
import shutil
import subprocess
import sys
import tempfile
import time

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import document  # noqa: E402
import measuring  # noqa: E402

# What one run over all devices took: seconds by the clock, and what it cost.
Run = collections.namedtuple("Run", "seconds cost")
# Goal: devices for each second of a processor.
GOALS = {"without backups": 2000, "with backups": 1000}


class Fleet:
    """Devices of the oldest release with a dozen accounts, made anew for each run."""

    def __init__(self, tool, scratch, count):
        self.tool, self.scratch, self.count = tool, scratch, count
        self.base = os.path.join(scratch, "base")
        self.roots = os.path.join(scratch, "devices")
        self.list = os.path.join(scratch, "list")
        measuring.run([tool, "sample", self.base, "--release", "oldest"])
        with open(self.list, "w") as file:
            file.writelines(os.path.join(self.roots, f"{number:06}") + "\n" for number in range(count))

    def renew(self):
        shutil.rmtree(self.roots, ignore_errors=True)
        os.mkdir(self.roots)
        with open(self.list) as file:
            for root in file:
                shutil.copytree(self.base, root.rstrip("\n"))

    def run(self, words):
        self.renew()
        started = time.monotonic()
        cost = measuring.run(words)
        return Run(time.monotonic() - started, cost)

    def one_run(self, jobs, *more):
        return self.run([self.tool, "migrate", "--roots-from", self.list, "--jobs", str(jobs),
                         "--results", os.path.join(self.scratch, f"results-{time.monotonic_ns()}"), *more])

    def many_starts(self, jobs, *more):
        return self.run(["xargs", "-a", self.list, "-P", str(jobs), "-n", "1", self.tool, "migrate", *more])


# What of a worker is the system's own, whatever the program.
BARE = (("an empty process for each, 1 at a time", "fork"),
        ("the same with a worker's pages of memory", "pages"),
        ("the same with its calls that reach files", "files"))


def bare_rows(tool, scratch, count):
    """What the system alone takes for each device."""
    rows = []
    for title, kind in BARE:
        folder = os.path.join(scratch, "bare-" + kind)
        os.mkdir(folder)
        cost = measuring.run([os.path.join(os.path.dirname(tool), "bare_worker"), folder, str(count), kind])
        rows.append([title, document.number(cost.seconds / count * 1e3),
                     document.number(count / cost.seconds), "", ""])
        shutil.rmtree(folder)
    return rows


def most_roots(tool, scratch, count):
    """The peak of memory where a list names so many devices that are not there."""
    path = os.path.join(scratch, "long-list")
    with open(path, "w") as file:
        file.writelines(f"/srv/devices/of/a/fleet/{number:06}\n" for number in range(count))
    return measuring.run([tool, "show", "--roots-from", path, "--results", os.path.join(scratch, "long")],
                         good_ends=(3,))


def section(tool, scratch, count):
    """The part of the document about many devices."""
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else scratch
    with tempfile.TemporaryDirectory(prefix="accountsettings-fleet-", dir=memory) as folder:
        fleet = Fleet(tool, folder, count)
        rows, clock = [], {}
        for kind, more in (("without backups", ["--no-backup"]), ("with backups", [])):
            for way, measure in (("one run", fleet.one_run), ("a start for each (`xargs`)", fleet.many_starts)):
                for jobs in (1, 2):
                    if kind == "with backups" and measure == fleet.many_starts:
                        continue
                    run = measure(jobs, *more)
                    clock[kind, way, jobs] = run.seconds
                    each = run.cost.seconds / count
                    rows.append([f"{way}, {jobs} at a time, {kind}", document.number(each * 1e3),
                                 document.number(1 / each), f"{GOALS[kind]:,}" if way == "one run" else "",
                                 document.number(count / run.seconds)])
        rows += bare_rows(tool, folder, count)
        many = 100 * 1000
        peak = most_roots(tool, folder, many).peak
    scaled = [document.number(clock[kind, "one run", 1] / clock[kind, "one run", 2])
              for kind in ("without backups", "with backups")]
    return (f"\n## {count:,} devices of a dozen accounts\n\nOf the oldest release, in memory"
            f" (`{os.path.dirname(folder)}`). A processor's time is the system's, the parent's and that of"
            " every worker together; devices a second by the clock depend on what else the machine does.\n\n"
            + document.table(["", "ms of a processor for a device", "devices for a second of a processor",
                              "goal", "devices a second"], rows)
            + f"\nTwo at a time took the clock {scaled[0]} times less than one, with backups {scaled[1]} times (goal"
            f" 1.8). A list of {many:,}"
            f" devices took {document.number(peak / document.MIB)} MiB at most (goal 64).\n")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("tool")
    parser.add_argument("--devices", type=int, default=10000)
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="accountsettings-bench-") as scratch:
        print(section(os.path.abspath(options.tool), scratch, options.devices))


if __name__ == "__main__":
    main()
