#!/usr/bin/env python3
"""Runs every example of the README, of the manual page and of the help of each command as it is
written, each page in a scratch folder of its own and in the order of the page, and compares what
is printed with what the page shows.

What differs from run to run (dates, new identifiers, sums, the version, the folder) is compared as
such. A later command of the page that names such a value gets the one that was printed.

usage: examples_test.py TOOL SOURCE MANUAL
"""
import difflib
import glob
import os
import re
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
import manual  # noqa: E402 - no file is to be left in the sources

# Commands that cannot run here, and why. An entry that matches no example is a failure.
CANNOT_RUN = {
    "scripts/demo": "builds the project a second time; the test of the demonstration runs the rest of it",
    "scripts/test": "runs this test",
    "cmake --preset release && cmake --build --preset release": "is what made the tested program",
    "cmake --install build/release --prefix /usr/local":
        "writes to this machine; the test of the packages unpacks the same files elsewhere",
    "dpkg-buildpackage -b -us -uc": "builds everything anew; the test of the packages does the rest of it",
}

# Commands that would write to this machine, because they name no other root.
ON_THIS_MACHINE = re.compile(
    r"accountsettings (migrate|restore|set|enable|disable|add|remove)\b(?![^&;|]*--root )")

SHOWN_FOLDER = "/home/anna"
CHANGING = re.compile(
    r"\b(?P<date>20\d\d-\d{1,2}-\d{1,2}(?:[-T :]\d{1,2}){1,3}Z?(?:-\d+)?)"
    r"|\b(?P<sum>[0-9a-f]{64})\b"
    r"|\b(?P<identifier>(?!5A0DE000)[0-9A-F]{8}(?:-[0-9A-F]{4}){3}-[0-9A-F]{12})\b"
    r"|\b(?P<version>1\.\d+\.\d+)\b")


class Example:
    """A command line, the status that the page implies, and its output if the page shows it."""

    def __init__(self, command, output=None, meaning=""):
        status = re.search(r"\bstatus (\d+)", meaning)
        self.command, self.output = command, output
        self.status = int(status.group(1)) if status else 0


def of_readme(text):
    """The commands of blocks marked sh, and those of blocks marked console with their output."""
    found = []
    for language, block in re.findall(r"^```(\w*)\n(.*?)^```$", text, re.M | re.S):
        if language == "sh":
            lines = [line.split("  # ")[0].strip() for line in block.splitlines()]
            found += [Example(line) for line in lines if line]
        elif language == "console":
            for part in re.split(r"^\$ ", block, flags=re.M)[1:]:
                command, _, output = part.partition("\n")
                found.append(Example(command, output.strip("\n")))
        elif language not in ("cpp", "cmake"):  # which the test of the packages builds
            sys.exit(f"README.md: no test knows blocks marked '{language}'")
    if re.search(r"(?<=\n\n)    \S", re.sub(r"^```.*?^```$", "", text, flags=re.M | re.S)):
        sys.exit("README.md: an indented block is tested by nothing; mark it sh or console")
    return found


def of_manual(text):
    found = []
    for block, after in re.findall(r"^\.EX\n(.*?)^\.EE\n(.*?\n)", text + "\n", re.M | re.S):
        commands = block.replace(r"\-", "-").replace(r"\e", "\\").splitlines()
        found += [Example(each, meaning=after) for each in commands]
    return found


def of_help(tool):
    found = []
    for name, _ in manual.commands_of(tool):
        pairs = manual.examples(manual.help_of(tool, name))
        if len(pairs) < 2:
            sys.exit(f"the help of {name} shows {len(pairs)} examples, not two or more")
        found += [Example(command, meaning=meaning) for command, meaning in pairs]
    return found


def stand_ins(text):
    return CHANGING.sub(lambda match: f"<{match.lastgroup}>", text)


class Page:
    """A page whose examples run one after the other in one folder."""

    def __init__(self, name, examples, tool, cannot_run):
        self.name, self.examples, self.cannot_run = name, examples, cannot_run
        self.environment = {"PATH": f"{os.path.dirname(os.path.abspath(tool))}:/usr/bin:/bin", "TZ": "UTC",
                            "LANG": "C.UTF-8"}
        self.printed = {}  # by what the page shows
        self.ran = 0
        self.failures = []

    def fail(self, example, message):
        self.failures.append(f"{self.name}: {example.command}\n{message}")

    def run(self):
        if not self.examples:
            self.failures.append(f"{self.name}: no example was found")
        with tempfile.TemporaryDirectory() as folder:
            folder = os.path.realpath(folder)
            for example in self.examples:
                if example.command in self.cannot_run:
                    self.cannot_run.remove(example.command)
                elif ON_THIS_MACHINE.search(example.command):
                    self.fail(example, "would write to this machine: name a root")
                else:
                    self.run_example(example, folder)

    def run_example(self, example, folder):
        command = CHANGING.sub(lambda match: self.printed.get(match.group(), match.group()),
                               example.command)
        done = subprocess.run(["bash", "-c", command], cwd=folder, env=self.environment, text=True,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, timeout=300, check=False)
        self.ran += 1
        output = done.stdout.replace(folder, SHOWN_FOLDER).strip("\n")
        if done.returncode != example.status:
            self.fail(example, f"ended with status {done.returncode}, not {example.status}:\n{output}")
        if example.output is not None:
            self.compare(example, output)

    def compare(self, example, output):
        shown, printed = stand_ins(example.output), stand_ins(output)
        if shown != printed:
            self.fail(example, "\n".join(difflib.unified_diff(
                example.output.splitlines(), output.splitlines(), "the page", "what was printed",
                lineterm="")))
            return
        for old, new in zip(CHANGING.finditer(example.output), CHANGING.finditer(output)):
            self.printed[old.group()] = new.group()


def missing_paths(source):
    """What the documents name or link to in this project, and is not there."""
    folders = [name for name in os.listdir(source) if os.path.isdir(os.path.join(source, name))
               and name not in ("build", "tmp", "etc", "var")]
    missing = []
    for page in ["README.md", "CHANGELOG.md", *glob.glob("docs/*.md", root_dir=source)]:
        with open(os.path.join(source, page), encoding="utf-8") as file:
            text = file.read()
        named = [path for path in re.findall(r"`([\w.-]+/[\w./-]*)`", text)
                 if path.split("/")[0] in folders]
        named += [os.path.join(os.path.dirname(page), link)
                  for link in re.findall(r"\]\(([\w./-]+)\)", text)]
        missing += [f"{page}: there is no {path}" for path in named
                    if not os.path.exists(os.path.join(source, path))]
    return missing


def text_of(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def main(tool, source, manual_page):
    cannot_run = set(CANNOT_RUN)
    pages = [Page("README.md", of_readme(text_of(os.path.join(source, "README.md"))), tool,
                  cannot_run),
             Page("manual page", of_manual(text_of(manual_page)), tool, cannot_run),
             Page("help", of_help(tool), tool, cannot_run)]
    failures = missing_paths(source)
    for page in pages:
        page.run()
        print(f"{page.name}: {page.ran} of {len(page.examples)} examples ran")
        failures += page.failures
    failures += [f"no page has the example that cannot run: {each}" for each in sorted(cannot_run)]
    for command, reason in CANNOT_RUN.items():
        print(f"not run: {command} ({reason})")
    for failure in failures:
        print(f"FAILED: {failure}\n")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
