#!/usr/bin/env python3
"""Holds the manual page to the program's help: the page's section COMMANDS is what the help of each
command says, in roff.

usage: manual.py TOOL PAGE            says where they differ, and ends with status 1
       manual.py TOOL PAGE --write    writes the section anew
"""
import difflib
import re
import subprocess
import sys

BEGIN, END = ".SH COMMANDS\n", ".SH EXIT STATUS\n"


def help_of(tool, *command):
    return subprocess.run([tool, *command, "--help"], check=True, text=True,
                          stdout=subprocess.PIPE).stdout


def commands_of(tool):
    """Name and summary of each command, in the order of the help."""
    section = help_of(tool).split("\nSubcommands:\n")[1].split("\n\n")[0]
    return re.findall(r"^  (\w+) +(.+)$", section, re.M)


def entries(text, title):
    """The pairs of left and right column in a section of the help."""
    found = re.search(rf"^{title}:\n((?:  .*\n)+)", text, re.M)
    joined = re.sub(r"\n {20,}", "   ", found.group(1)) if found else ""
    return re.findall(r"^  (\S.*?)  +(\S.*)$", joined, re.M)


def examples(text):
    """The pairs of command line and meaning at the end of the help."""
    return re.findall(r"^  (\S.*)\n      (\S.*)$", text.split("\nExamples:\n")[1], re.M)


def escaped(text):
    return text.replace("\\", r"\e").replace("-", r"\-")


def sentence(text, default=""):
    text = text.removesuffix(".") + (f"; {default} where left out." if default else ".")
    return escaped(text)


def option_line(left):
    """The names and the value of an option, and its default."""
    names, _, value = left.removesuffix(" ...").partition(" ")
    value, _, default = value.partition("=")
    line = ", ".join(rf"\fB{escaped(name)}\fR" for name in names.split(","))
    if value:
        line += " " + "|".join(rf"\fI{escaped(word)}\fR" for word in value.split("|"))
    return line, default


def section(tool):
    lines = []
    for name, summary in commands_of(tool):
        text = help_of(tool, name)
        usage = re.search(r"^Usage: accountsettings (.*)$", text, re.M).group(1)
        lines += [f'.SS "{escaped(usage)}"', sentence(summary)]
        for left, right in entries(text, "Positionals"):
            lines += [".TP", f".I {left.split()[0]}", sentence(right)]
        for left, right in entries(text, "Options"):
            if left != "-h,--help":
                line, default = option_line(left)
                lines += [".TP", line, sentence(right, default)]
        for command, meaning in examples(text):
            lines += [".PP", ".EX", escaped(command), ".EE", sentence(meaning)]
    return "".join(line + "\n" for line in lines)


def main(tool, page, *options):
    with open(page, encoding="utf-8") as file:
        before, rest = file.read().split(BEGIN)
    introduction, mark, old = rest.partition(".SS ")
    old, after = (mark + old).split(END)
    new = section(tool)
    if "--write" in options:
        with open(page, "w", encoding="utf-8") as file:
            file.write(before + BEGIN + introduction + new + END + after)
        return 0
    difference = list(difflib.unified_diff(old.splitlines(), new.splitlines(), page,
                                           "the help of the program", lineterm=""))
    print("\n".join(difference))
    if difference:
        print(f"Write the section anew with: docs/manual.py {tool} docs/accountsettings.1.in --write")
    return 1 if difference else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
