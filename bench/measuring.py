"""Runs programs one at a time and tells what each took: processor time, memory, system calls.

Processor time is that of the process and of what it waited for, so that who else uses the machine
counts little. Everything happens in one scratch folder, which goes away at the end.
"""
import collections
import json
import os
import re
import shutil
import subprocess
import tempfile

SETTINGS = "var/mobile/Library/Preferences/com.zelqo.accountsettings.plist"

# What one run took: processor time in seconds and the peak of memory in bytes; `more` holds whatever
# else the program told.
Cost = collections.namedtuple("Cost", "seconds peak more", defaults=({},))


class Failure(Exception):
    """A program that did not end as it should."""


def run(words, good_ends=(0,), environment=None):
    """The cost of a command from its start to its end; what it prints is dropped."""
    with tempfile.TemporaryFile() as errors:
        process = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                   stderr=errors, env=environment)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode not in good_ends:
            errors.seek(0)
            raise Failure(f"{os.path.basename(words[0])} {words[1:2]} ended with "
                          f"{process.returncode}: {errors.read(2000).decode(errors='replace')}")
    return Cost(usage.ru_utime + usage.ru_stime, usage.ru_maxrss * 1024)


def ask(words):
    """The cost that a program of bench/ tells of itself."""
    answer = subprocess.run(words, check=True, capture_output=True, text=True, timeout=600)
    told = json.loads(answer.stdout)
    return Cost(told.pop("seconds"), told.pop("peak"), told)


class Work:
    """A command to be measured. `prepare` is called before each run and `then` after it. A program that
    `tells` prints its own cost, of the part that counts; else it is the whole process's."""

    def __init__(self, name, words, prepare=None, then=None, good_ends=(0,), tells=False):
        self.name, self.words, self.good_ends = name, words, good_ends
        self.prepare, self.then, self.tells = prepare, then, tells

    def measured(self, measure=None):
        """What `measure`, given words and good ends, answers; left out, it is the cost."""
        if self.prepare:
            self.prepare()
        if measure:
            result = measure(self.words, self.good_ends)
        else:
            result = ask(self.words) if self.tells else run(self.words, self.good_ends)
        if self.then:
            self.then()
        return result


class Device:
    """A device root in the scratch folder, whose settings can be put back as they were."""

    def __init__(self, root, settings):
        self.root, self.original = root, settings
        self.settings = os.path.join(root, SETTINGS)
        self.reset()

    def reset(self):
        """Makes the device anew, without anything that a migration left behind."""
        shutil.rmtree(self.root, ignore_errors=True)
        for folder in ("etc", "tmp", os.path.dirname(SETTINGS),
                       "var/shared/Library/Logs/CrashReporter"):
            os.makedirs(os.path.join(self.root, folder))
        for name, line in (("passwd", f"mobile:x:{os.getuid()}:{os.getgid()}::/var/mobile:/bin/sh"),
                           ("group", f"mobile:x:{os.getgid()}:")):
            with open(os.path.join(self.root, "etc", name), "w") as file:
                file.write(line + "\n")
        shutil.copyfile(self.original, self.settings)


FLUSHES = ("fsync", "fdatasync", "sync_file_range", "syncfs")
RENAMES = ("rename", "renameat", "renameat2")


def system_calls(words, good_ends=(0,)):
    """What a command asks of the system, as strace counts it: {"calls": ..., "flushes": ...,
    "renames": ...}; None where there is no strace."""
    strace = shutil.which("strace")
    if strace is None:
        return None
    with tempfile.NamedTemporaryFile("r") as log:
        run([strace, "-f", "-qq", "-o", log.name, *words], good_ends)
        return counted_calls(log)


def counted_calls(log):
    """The counts in the lines of a log of strace."""
    counts = collections.Counter()
    for line in log:
        call = re.match(r"\d+ +(\w+)\(", line)  # a call that is resumed was counted when it began
        if call:
            counts["calls"] += 1
            counts["flushes"] += call[1] in FLUSHES
            counts["renames"] += call[1] in RENAMES
    return counts


CODEC = {"parsed": "accountsettings::readBinary(", "serialized": "accountsettings::writeBinary("}


def codec_work(words, good_ends=(0,)):
    """The instructions that a command spends on reading and on writing binary property lists, as
    callgrind counts them: {"parsed": ..., "serialized": ...}; None where there is no valgrind."""
    valgrind = shutil.which("valgrind")
    if valgrind is None:
        return None
    with tempfile.NamedTemporaryFile("r") as profile:
        run([valgrind, "--quiet", "--tool=callgrind", "--callgrind-out-file=" + profile.name, *words],
            good_ends)
        return inclusive_instructions(profile)


def inclusive_instructions(profile):
    """What calls of the functions in CODEC cost by a profile of callgrind, in which a name is written
    once, "(12) name", and afterwards as "(12)"."""
    names, callee, costs = {}, None, dict.fromkeys(CODEC, 0)
    lines = iter(profile)
    for line in lines:
        function = re.match(r"c?fn=\((\d+)\)(?: (.*))?", line)
        if function:
            if function[2]:
                names[function[1]] = function[2]
            if line.startswith("c"):
                callee = names[function[1]]
        elif line.startswith("calls="):
            cost = int(next(lines).split()[1])
            for work, name in CODEC.items():
                if callee.startswith(name):
                    costs[work] += cost
    return costs


def google_benchmark(program, arguments):
    """{name: [seconds of processor time, ...]} of what a Google Benchmark program measures."""
    answer = subprocess.run([program, "--benchmark_format=json", *arguments], check=True,
                            capture_output=True, text=True)
    units = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1}
    times = collections.defaultdict(list)
    for entry in json.loads(answer.stdout)["benchmarks"]:
        if entry.get("error_occurred"):
            raise Failure(f"{entry['name']}: {entry['error_message']}")
        if entry["run_type"] == "iteration":
            times[entry["run_name"]].append(entry["cpu_time"] * units[entry["time_unit"]])
    return dict(times)


# Reads and writes a file with Python's standard library, in a process of its own.
PLISTLIB = """
import json, plistlib, sys, time
form, path, count = sys.argv[1], sys.argv[2], int(sys.argv[3])
form = {"binary": plistlib.FMT_BINARY, "xml": plistlib.FMT_XML}[form]
data = open(path, "rb").read()
def seconds(work):
    start = time.process_time()
    for _ in range(count):
        result = work()
    return (time.process_time() - start) / count, result
read, tree = seconds(lambda: plistlib.loads(data, fmt=form))
write, _ = seconds(lambda: plistlib.dumps(tree, fmt=form, sort_keys=False))
json.dump({"read": read, "write": write}, sys.stdout)
"""


def plistlib_once(python, form, path, count):
    """{"read": seconds, "write": seconds} of Python's standard library, the mean of `count`."""
    answer = subprocess.run([python, "-c", PLISTLIB, form, path, str(count)], check=True,
                            capture_output=True, text=True)
    return json.loads(answer.stdout)
