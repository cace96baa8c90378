#!/usr/bin/env python3
"""Holds every request that the suite has seen against TDLib's schema.

usage: check_requests.py SCHEMA.d.ts REQUEST_LINES_DIR [SOURCE_DIR]

The library ignores members that it does not know, so a misspelt one would go unnoticed there.
With SOURCE_DIR it also fails when the sources hold a request that no test has sent, or when
docs/updates.md does not decide each of the schema's updates as the table of updates does.
"""
import json
import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools"))
import tdlib_types

# The library ignores these two; older ones knew them.
ALLOWED_UNKNOWN = {("setTdlibParameters", "enable_storage_optimizer"),
                   ("setTdlibParameters", "ignore_file_names")}
SOURCE_ROOMS = ("frame", "auth", "commands", "state", "calls", "proxy")


class Checker:
    def __init__(self, schema_path):
        self.types, self.errors = tdlib_types.read(schema_path), []

    def members(self, name):
        """What may be given; None: there is no such type."""
        rows = self.types.objects.get(name + "$Input", self.types.objects.get(name))
        return rows and {member: kind for member, _, kind in rows}

    def names_of(self, kind):
        """The types that a value of this kind may have."""
        kind = kind.removesuffix("$Input")
        classes = self.types.classes
        names = classes.get(kind + "$Input", classes.get(kind, {kind}))
        return {name.removesuffix("$Input") for name in names}

    def value(self, where, kind, value):
        if value is None:
            return
        array = re.fullmatch(r"(?:Readonly)?Array<(.*)>", kind)
        plain = {"number": (int,), "string": (str,), "boolean": (bool,),
                 "number | string": (int, str)}.get(kind.split(" /*")[0])
        if array:
            if not isinstance(value, list):
                return self.errors.append(f"{where}: {value!r} is no array")
            for element in value:
                self.value(where + "[]", array[1], element)
        elif plain:
            if type(value) not in plain:
                self.errors.append(f"{where}: {value!r} is no {kind}")
        else:
            self.object(where, value, self.names_of(kind))

    def object(self, where, value, allowed):
        name = value.get("@type") if isinstance(value, dict) else None
        members = self.members(str(name))
        if name not in allowed or members is None:
            return self.errors.append(f"{where}: {name!r} is none of {sorted(allowed)[:6]}")
        for key, member in value.items():
            if key in ("@type", "@extra") or (name, key) in ALLOWED_UNKNOWN:
                continue
            if key not in members:
                self.errors.append(f"{where}: {name} has no member {key!r}")
            else:
                self.value(f"{name}.{key}", members[key], member)


def check_tables(checker, source):
    for name in ("command", "answer", "update"):
        text = pathlib.Path(source, f"tables/{name}_table.cpp").read_text()
        words = re.findall(r'^    \{"(\w+)"', text, flags=re.M)
        checker.errors += [f"the {name} table has {word} twice"
                           for word in sorted({w for w in words if words.count(w) > 1})]


def check_updates(checker, source):
    table = pathlib.Path(source, "tables/update_table.cpp").read_text()
    decided = re.findall(r"^\| `(update\w+)` \| (both|level 2|no) \| ",
                         pathlib.Path(source, "docs/updates.md").read_text(), flags=re.M)
    followed = {name: "level 2" if level else "both"
                for name, level in re.findall(r'\{"(update\w+)", [^}]*?(, 2)?\}', table)}
    updates = checker.names_of("Update")
    for name, decision in sorted({(n, followed.get(n, "no")) for n in updates} ^ set(decided)):
        checker.errors.append(f"docs/updates.md and the table of updates differ: {name} {decision}")


def main():
    schema_path, lines_dir = sys.argv[1:3]
    checker = Checker(schema_path)
    functions = checker.types.functions
    assert len(functions) > 500, "the schema could not be read"
    sent = set()
    for path in sorted(pathlib.Path(lines_dir).iterdir()):
        for line in path.read_text(errors="replace").splitlines():
            request = json.loads(line, strict=False)
            sent.add(request["@type"])
            checker.object("request", request, functions)
    built = set()
    for room in SOURCE_ROOMS if len(sys.argv) > 3 else ():
        for path in pathlib.Path(sys.argv[3], room).glob("*.cpp"):
            text = path.read_text()
            built |= set(re.findall(r'\{\\"@type\\":\\"(\w+)\\"', text))
            built |= set(re.findall(r'make_id_request\("(\w+)"', text))
    built &= functions
    if len(sys.argv) > 3:
        check_tables(checker, sys.argv[3])
        check_updates(checker, sys.argv[3])
    for error in sorted(set(checker.errors)):
        print(error)
    for name in sorted(built - sent):
        print(f"no test has sent {name}")
    print(f"{len(sent)} kinds of requests sent, {len(built)} built by the sources")
    return 1 if checker.errors or built - sent or not sent else 0


if __name__ == "__main__":
    sys.exit(main())
