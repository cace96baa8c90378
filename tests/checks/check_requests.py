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

# The library ignores these two; older ones knew them.
ALLOWED_UNKNOWN = {("setTdlibParameters", "enable_storage_optimizer"),
                   ("setTdlibParameters", "ignore_file_names")}
SOURCE_ROOMS = ("frame", "auth", "commands", "state", "calls", "proxy")


def read_schema(path):
    """Objects: name to {member: type text}. Unions: name to names. Both without "$Input"."""
    objects, unions, functions = {}, {}, set()
    text = re.sub(r"/\*.*?\*/", "", pathlib.Path(path).read_text(), flags=re.S)
    for match in re.finditer(r"export type (\w+)(\$Input)? =\s*(\{.*?\n  \}|[^{]*?(?=\n\n|\n  export|\n\}))",
                             text, flags=re.S):
        name, is_input, body = match.groups()
        if body.startswith("{"):
            members = dict(re.findall(r"^\s*(?:readonly )?(\w+)\??:\s*([^,]+),", body, flags=re.M))
            if is_input or name not in objects:
                objects[name] = {k: v.strip() for k, v in members.items() if k != "_"}
            if not is_input and "readonly _:" in body:
                functions.add(name)
        else:
            unions[name] = re.findall(r"(\w+)", body.replace("$Input", ""))
    return objects, unions, functions


class Checker:
    def __init__(self, schema_path):
        self.objects, self.unions, self.functions = read_schema(schema_path)
        self.errors = []

    def names_of(self, type_name):
        names = self.unions.get(type_name)
        if names is None:
            return {type_name}
        return set().union(*(self.names_of(n) if n != type_name else {n} for n in names))

    def value(self, where, type_text, value):
        if value is None:
            return
        array = re.fullmatch(r"(?:Readonly)?Array<(.*)>", type_text)
        plain = {"number": lambda v: isinstance(v, int) and not isinstance(v, bool),
                 "string": lambda v: isinstance(v, str),
                 "boolean": lambda v: isinstance(v, bool),
                 "number | string": lambda v: isinstance(v, (int, str)) and not isinstance(v, bool)}
        if array:
            if not isinstance(value, list):
                return self.errors.append(f"{where}: {value!r} is no array")
            for element in value:
                self.value(where + "[]", array.group(1), element)
        elif type_text in plain:
            if not plain[type_text](value):
                self.errors.append(f"{where}: {value!r} is no {type_text}")
        else:
            self.object(where, value, self.names_of(type_text.replace("$Input", "")))

    def object(self, where, value, allowed):
        name = value.get("@type") if isinstance(value, dict) else None
        if name not in allowed or name not in self.objects:
            return self.errors.append(f"{where}: {name!r} is none of {sorted(allowed)[:6]}")
        for key, member in value.items():
            if key in ("@type", "@extra") or (name, key) in ALLOWED_UNKNOWN:
                continue
            if key not in self.objects[name]:
                self.errors.append(f"{where}: {name} has no member {key!r}")
            else:
                self.value(f"{name}.{key}", self.objects[name][key], member)


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
    updates = {name for name in checker.names_of("Update") if name != "Update"}
    for name, decision in sorted({(n, followed.get(n, "no")) for n in updates} ^ set(decided)):
        checker.errors.append(f"docs/updates.md and the table of updates differ: {name} {decision}")


def main():
    schema_path, lines_dir = sys.argv[1:3]
    checker = Checker(schema_path)
    assert len(checker.functions) > 500, "the schema could not be read"
    sent = set()
    for path in sorted(pathlib.Path(lines_dir).iterdir()):
        for line in path.read_text(errors="replace").splitlines():
            request = json.loads(line, strict=False)
            sent.add(request["@type"])
            checker.object("request", request, checker.functions)
    built = set()
    for room in SOURCE_ROOMS if len(sys.argv) > 3 else ():
        for path in pathlib.Path(sys.argv[3], room).glob("*.cpp"):
            text = path.read_text()
            built |= set(re.findall(r'\{\\"@type\\":\\"(\w+)\\"', text))
            built |= set(re.findall(r'make_id_request\("(\w+)"', text))
    built &= checker.functions
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
