#!/usr/bin/env python3
"""Doxygen input filter: the headers document themselves with brief // comments; this turns
them into Doxygen comments without changing line numbers.

- the comment block right after "#pragma once" describes the file (@file);
- a whole-line // comment documents the declaration below it;
- a trailing // comment documents the declaration on its line, unless it is only a number
  (interface positions such as "// 17" say nothing about the member).
"""

import re
import sys

WHOLE = re.compile(r"^(\s*)//(?![/!])\s?(.*)$")
TRAILING = re.compile(r"^(.*?\S.*?)\s//(?![/!])\s?(.*)$")
# Dividers ("// --- automation interface ---") head a group; they document nothing.
DIVIDER = re.compile(r"^\s*-{2,}")
NUMBER_ONLY = re.compile(r"^\d+(\s*\(.*\))?\s*$")


def text(comment):
    # Comments quote the string table ("<not configured>"): not HTML.
    return comment.replace("<", "\\<").replace(">", "\\>")


def in_string(code):
    # A // inside a string literal is no comment; an odd count of quotes before it means
    # we are inside one.
    return code.count('"') % 2 == 1


def filter_lines(lines):
    out = []
    file_block = False
    for i, line in enumerate(lines):
        if i > 0 and lines[i - 1].startswith("#pragma once") and WHOLE.match(line):
            file_block = True
            m = WHOLE.match(line)
            out.append(f"/** {text(m.group(2))}")
            continue
        if file_block:
            m = WHOLE.match(line)
            if m:
                out.append(f" * {text(m.group(2))}")
                continue
            out[-1] += " @file */"
            file_block = False
        m = WHOLE.match(line)
        if m:
            if DIVIDER.match(m.group(2)) or not m.group(2).strip():
                out.append(line)
            else:
                out.append(f"{m.group(1)}/// {text(m.group(2))}")
            continue
        m = TRAILING.match(line)
        if (m and m.group(2).strip() and not in_string(m.group(1))
                and not NUMBER_ONLY.match(m.group(2))):
            out.append(f"{m.group(1)} ///< {text(m.group(2))}")
            continue
        out.append(line)
    if file_block:
        out[-1] += " @file */"
    return out


def main():
    with open(sys.argv[1], encoding="utf-8") as f:
        lines = f.read().split("\n")
    sys.stdout.write("\n".join(filter_lines(lines)))


if __name__ == "__main__":
    main()
