#!/usr/bin/env python3
"""Prints a header with its comments as the API documentation reads them: the first comment of the
file belongs to the file and to the class that it names, and any other to the declarations below it
up to the next comment or empty line.   usage: api_comments.py HEADER"""
import re
import sys


def main(path):
    with open(path, encoding="utf-8") as file:
        lines = file.read().splitlines()
    comment, about_file = [], []
    fresh = starts = True  # the comment stands right above; the line starts a declaration
    for number, line in enumerate(lines):
        text = re.match(r" *// ?(.*)", line)
        if text and not text.group(1).startswith("MARK"):
            comment = [text.group(1)] if not fresh or number == 0 else comment + [text.group(1)]
            fresh = True
            if number == len(comment) - 1:
                about_file = comment
            print()
            continue
        named = re.match(r"(?:class|struct) (\w+)\b.*[^;]$", line)
        if not line.strip() or text or line.startswith("#") or line.lstrip().startswith("}"):
            comment, fresh = [], False
        elif starts and (comment or named and about_file[0].split()[0] == named.group(1)):
            print("".join(f"/// {each}\n" for each in comment or about_file), end="")
            fresh = False
        if line.strip():
            starts = line.rstrip()[-1] in ";{}:" or "  // " in line or line.startswith("#")
        if starts and line.rstrip().endswith(("{", ":")):
            comment = []
        print(re.sub(r"([;,]) +// ", r"\1 ///< ", line))
    print("/// \\file\n" + "".join(f"/// {each}\n" for each in about_file))


if __name__ == "__main__":
    main(sys.argv[1])
