#!/usr/bin/env python3
"""Holds what the built libraries export to debian/libaccountsettings1.symbols, in which a change of the
interface is seen: every name, its version node, and the release that it came with. The names of the
public nodes must be declared in public headers, and docs/ABI.md must say of each public struct how it
grows.

usage: symbols.py BUILD            says where they differ, and ends with status 1
       symbols.py BUILD --write    writes the list anew
"""
import difflib
import os
import re
import subprocess
import sys

SOURCE = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
LIST = os.path.join(SOURCE, "debian", "libaccountsettings1.symbols")
LIBRARIES = ("libaccountsettings-host", "libaccountsettings")


def exported_by(library):
    """The names that the library exports, each with its node: (name, node)."""
    lines = subprocess.run(["nm", "-D", "-C", "--defined-only", "--with-symbol-versions", library],
                           check=True, capture_output=True, text=True).stdout.splitlines()
    found = set()
    for line in lines:
        name, _, node = line.split(" ", 2)[2].rpartition("@")
        found.add((name.rstrip("@") or node, node))  # the node itself has no other name
    return found


def cached(name):
    """What the build was set up with."""
    with open(os.path.join(BUILD, "CMakeCache.txt"), encoding="utf-8") as file:
        return re.search(rf"^{name}:.*=(.*)$", file.read(), re.M).group(1)


def public_headers():
    with open(os.path.join(SOURCE, "api", "PublicHeaders.cmake"), encoding="utf-8") as file:
        return re.findall(r"\b\w+/\w+\.h\b", file.read())


def public_names():
    """The first names behind `accountsettings::` that public headers declare, and those among them
    that are functions which the libraries must define."""
    names, functions = {"detail"}, set()
    for header in public_headers():
        with open(os.path.join(SOURCE, header), encoding="utf-8") as file:
            text = file.read()
        code = re.sub(r"//.*", "", text)
        names.update(re.findall(r"^(?:class|struct) (?:\[\[nodiscard\]\] )?(\w+)[^;]*$", code, re.M))
        names.update(re.findall(r"\b(\w+|operator==)\(", code))
        if header.startswith("testing/"):
            continue  # those that run the suite define what it asks for
        own = re.sub(r"<[^;{}]*?>", "", without_detail(text))
        functions.update(re.findall(r"^(?:\[\[|\w)[^;{}()]*\b(\w+)\((?=[^{};]*;)", own, re.M))
    return names, functions


def without_detail(text):
    """The header without its comments and what is in the namespace detail."""
    return re.sub(r"^namespace (?:accountsettings::)?detail \{.*?^\}  // namespace|//[^\n]*", "", text,
                  flags=re.M | re.S)


def structs_without_promise():
    """The structs of public headers of which docs/ABI.md does not say whether and how they grow."""
    with open(os.path.join(SOURCE, "docs", "ABI.md"), encoding="utf-8") as file:
        promised = set(re.findall(r"`(\w+)`", file.read()))
    for header in public_headers():
        with open(os.path.join(SOURCE, header), encoding="utf-8") as file:
            for name in re.findall(r"^struct (\w+) \{", without_detail(file.read()), re.M):
                if name not in promised:
                    yield f"docs/ABI.md does not say how the struct {name} of {header} grows"


def listed(version, known):
    """The list as it should be: each name with the release that `known` gives it, else this one."""
    declared, missing = public_names()
    public_functions = set(missing)
    lines, faults = [], list(structs_without_promise())
    for library in LIBRARIES:
        file = f"{library}.so.{version.split('.')[0]}"
        lines += [f"{file} libaccountsettings1 #MINVER#", "* Build-Depends-Package: libaccountsettings-dev"]
        for name, node in sorted(exported_by(os.path.join(BUILD, cached("CMAKE_INSTALL_LIBDIR"), file))):
            key = f"{name}@{node}"
            first = re.search(r"accountsettings::([\w=]+)", name)
            if first and "PRIVATE" not in node and first.group(1) not in declared:
                faults.append(f"{name} stands under {node}, and no public header declares it")
            if first and "PRIVATE" in node and first.group(1) in public_functions:
                faults.append(f"{name} is declared in a public header, and stands under {node}")
            if first:
                missing.discard(first.group(1))
            quoted = f'(c++)"{key}"' if "::" in name else key
            lines.append(f" {quoted} {known.get(quoted, version)}")
    faults += [f"{name}() is declared in a public header, and not exported" for name in sorted(missing)]
    return lines, faults


def main(write):
    old = []
    if os.path.exists(LIST):
        with open(LIST, encoding="utf-8") as file:
            old = file.read().splitlines()
    known = dict(line.strip().rsplit(" ", 1) for line in old if line.startswith(" "))
    lines, faults = listed(cached("CMAKE_PROJECT_VERSION"), known)
    if write:
        with open(LIST, "w", encoding="utf-8") as file:
            file.write("\n".join(lines) + "\n")
    elif lines != old:
        faults += difflib.unified_diff(old, lines, "listed", "exported", lineterm="", n=0)
        faults.append("Where the change is meant: api/symbols.py BUILD --write. See docs/ABI.md.")
    print("\n".join(faults) or f"{len(lines)} lines agree.")
    return 1 if faults else 0


if __name__ == "__main__":
    if len(sys.argv) not in (2, 3) or sys.argv[2:] not in ([], ["--write"]):
        sys.exit(__doc__)
    BUILD = sys.argv[1]
    sys.exit(main(len(sys.argv) == 3))
