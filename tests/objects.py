#!/usr/bin/env python3
"""TDLib objects that transcripts, unit tests and fuzzing share: tests/objects.txt, one a line,

    name {"@type":...}

In a transcript `$name` stands for the object, `$name(a,b)` for the object with a and b in the
place of its $1 and $2. An object may be made of others. `$times(3,ab,)` stands for ab,ab,ab,

usage: objects.py COUNT OUT   writes the longest of what TDLib gives in all transcripts, one a line
"""
import pathlib
import re
import sys

HERE = pathlib.Path(__file__).resolve().parent
OBJECTS = dict(line.split(" ", 1) for line in (HERE / "objects.txt").read_text().splitlines()
               if line and line[0] != "#")
NAME = re.compile(r"\$([A-Za-z0-9_]+)")


def take_arguments(text, at):
    """Those in the brackets that open at `at`, and the place behind them. Commas within brackets
    and strings are part of an argument."""
    arguments, depth, quoted = [""], 0, False
    for token in re.finditer(r'\\.|.', text[at + 1:], re.S):
        c = token[0]
        quoted ^= c == '"'
        if not quoted and depth == 0 and c in "),":
            if c == ")":
                return arguments, at + 1 + token.end()
            arguments.append("")
            continue
        if not quoted:
            depth += (c in "({[") - (c in ")}]")
        arguments[-1] += c
    return arguments, len(text)


def expand(text):
    """`text` with every object in the place of its name; other texts behind a "$" stay."""
    out, at = "", 0
    while name := NAME.search(text, at):
        out += text[at:name.start()]
        at, known = name.end(), OBJECTS.get(name[1])
        arguments = []
        if text[at:at + 1] == "(" and (known or name[1] == "times"):
            arguments, at = take_arguments(text, at)
        if known:
            out += expand(re.sub(r"\$([1-9])",
                                 lambda m: "".join(arguments[int(m[1]) - 1:int(m[1])]), known))
        elif name[1] == "times" and arguments:
            out += expand(",".join(arguments[1:])) * int(arguments[0])
        else:
            out += name[0]
    return out + text[at:]


def main():
    given = {expand(text) for path in (HERE / "flows").iterdir()
             for text in re.findall(r"^td(?::\S+)? (.+)$", path.read_text(errors="replace"), re.M)}
    longest = sorted(given, key=lambda text: (-len(text), text))[:int(sys.argv[1])]
    pathlib.Path(sys.argv[2]).write_text("".join(text + "\n" for text in longest))


if __name__ == "__main__":
    main()
