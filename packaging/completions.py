#!/usr/bin/env python3
"""Holds the completions of bash, zsh and fish to the program's help, from which they are written.

usage: completions.py TOOL FOLDER            says where they differ, and ends with status 1
       completions.py TOOL FOLDER --write    writes them anew
"""
import difflib
import os
import re
import sys
from collections import namedtuple

sys.dont_write_bytecode = True
sys.path.append(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "docs"))
import manual  # noqa: E402

PATHS = {"PATH", "ROOT", "DIR", "FILE", "OLD", "NEW"}

# `short` is empty where there is none; `value` is empty, FILE, DIR, a|b|c or another word.
Option = namedtuple("Option", "short long value meaning")
Command = namedtuple("Command", "name meaning options takes_path")


def options_of(text, title):
    found = []
    for left, meaning in manual.entries(text, title):
        names, _, value = left.removesuffix(" ...").partition(" ")
        long = names.split(",")[-1]
        found.append(Option(names.removesuffix(long).strip(","), long, value.partition("=")[0], meaning))
    return found


def commands_of(tool):
    for name, meaning in manual.commands_of(tool):
        text = manual.help_of(tool, name)
        positionals = {left.split()[0] for left, _ in manual.entries(text, "Positionals")}
        options = [each for each in options_of(text, "Options") if each.long != "--help"]
        yield Command(name, meaning, options, bool(positionals & PATHS))


def common_of(tool):
    return options_of(manual.help_of(tool, "migrate"), "Common options") + [
        Option("-h", "--help", "", "Print this help message and exit")]


def names(options):
    return [name for each in options for name in (each.long, each.short) if name]


def choices(option):
    return " ".join(option.value.split("|")) if "|" in option.value else ""


def bash(commands, common):
    every = [option for command in commands for option in command.options] + common
    files = "|".join(sorted(set(names([each for each in every if each.value == "FILE"]))))
    words = " ".join(command.name for command in commands)
    lines = ["# Completion of accountsettings(1) for bash.", "_accountsettings() {",
             "  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} command=\"\" each",
             "  for each in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do", "    case $each in",
             f"      {words.replace(' ', '|')}) command=$each; break ;;", "    esac", "  done",
             "  COMPREPLY=()", "  case $previous in",
             "    --root) mapfile -t COMPREPLY < <(compgen -d -- \"$word\"); return ;;",
             f"    {files})", "      mapfile -t COMPREPLY < <(compgen -f -- \"$word\"); return ;;",
             "  esac", "  case $command:$previous in"]
    for command in commands:
        for option in filter(choices, command.options):
            pattern = "|".join(f"{command.name}:{name}" for name in names([option]))
            lines += [f"    {pattern})",
                      f"      mapfile -t COMPREPLY < <(compgen -W \"{choices(option)}\" -- \"$word\"); return ;;"]
    lines += ["  esac", f"  local common=\"{' '.join(names(common))}\" words=\"\"",
              "  case $command in", f"    \"\") words=\"{words} --version --help\" ;;"]
    for command in commands:
        lines += [f"    {command.name}) words=\"{' '.join(names(command.options) + ['$common'])}\" ;;"]
    paths = "|".join(command.name for command in commands if command.takes_path)
    return lines + ["  esac", "  mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$word\")",
                    "  if [[ $word != -* ]]; then", "    case $command in", f"      {paths})",
                    "        local path",
                    "        while IFS= read -r path; do COMPREPLY+=(\"$path\"); done < <(compgen -f -- \"$word\") ;;",
                    "    esac", "  fi", "}",
                    "complete -o filenames -F _accountsettings accountsettings"]


def zsh_quoted(text):
    return re.sub(r"([\[\]:])", r"\\\1", text).replace("'", r"'\''")


def zsh_options(options):
    for option in options:
        value = {"": "", "FILE": ":file:_files", "DIR": ":directory:_directories"}.get(
            option.value, f":value:({choices(option)})" if choices(option) else f":{option.value.lower()}:")
        for name in names([option]):
            yield f"'{name}[{zsh_quoted(option.meaning)}]{value}'"


def zsh(commands, common):
    lines = ["#compdef accountsettings", "# Completion of accountsettings(1) for zsh.", "",
             "_accountsettings() {", "  local -a common commands", "  common=("]
    lines += [f"    {each}" for each in zsh_options(common)] + ["  )", "  commands=("]
    lines += [f"    '{each.name}:{zsh_quoted(each.meaning)}'" for each in commands]
    lines += ["  )", "  if (( CURRENT == 2 )); then", "    _describe command commands",
              "    _arguments '--version[Print the version]' '--help[Print help]'", "    return", "  fi",
              "  local command=$words[2]", "  shift words", "  (( CURRENT-- ))", "  case $command in"]
    for command in commands:
        arguments = ["$common", *zsh_options(command.options)]
        arguments += ["'*:path:_files'"] if command.takes_path else []
        lines += [f"    {command.name})",
                  "      _arguments " + " \\\n        ".join(arguments) + " ;;"]
    return lines + ["  esac", "}", "", "_accountsettings \"$@\""]


def fish_option(condition, option):
    short = f" -s {option.short[1:]}" if option.short else ""
    value = {"": "", "FILE": " -r -F", "DIR": " -x -a '(__fish_complete_directories)'"}.get(
        option.value, f" -x -a '{choices(option)}'" if choices(option) else " -x")
    meaning = option.meaning.replace("\\", "\\\\").replace("'", "\\'")
    return f"complete -c accountsettings{condition}{short} -l {option.long[2:]}{value} -d '{meaning}'"


def fish(commands, common):
    none = ' -n "not __fish_seen_subcommand_from $commands"'
    lines = ["# Completion of accountsettings(1) for fish.",
             f"set -l commands {' '.join(command.name for command in commands)}",
             "complete -c accountsettings -f",
             fish_option(none, Option("", "--version", "", "Print the version"))]
    lines += [f"complete -c accountsettings{none} -a {each.name} -d '{each.meaning}'" for each in commands]
    lines += [fish_option("", each) for each in common]
    for command in commands:
        condition = f" -n '__fish_seen_subcommand_from {command.name}'"
        lines += [fish_option(condition, each) for each in command.options]
        if command.takes_path:
            lines.append(f"complete -c accountsettings{condition} -F")
    return lines


def main(tool, folder, *arguments):
    commands, common = list(commands_of(tool)), common_of(tool)
    different = False
    for name, write in (("accountsettings.bash", bash), ("_accountsettings", zsh),
                        ("accountsettings.fish", fish)):
        path = os.path.join(folder, name)
        new = "".join(f"{line}\n" for line in write(commands, common))
        if "--write" in arguments:
            with open(path, "w", encoding="utf-8") as file:
                file.write(new)
            continue
        with open(path, encoding="utf-8") as file:
            old = file.read()
        for line in difflib.unified_diff(old.splitlines(), new.splitlines(), path,
                                         "the help of the program", lineterm=""):
            different = True
            print(line)
    if different:
        print(f"Write them anew with: packaging/completions.py {tool} packaging/completions --write")
    return 1 if different else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
