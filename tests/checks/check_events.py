#!/usr/bin/env python3
"""Validates every event line that the suite has produced against docs/events.schema.json.

usage: check_events.py SCHEMA.json EVENT_LINES_DIR [PROTOCOL.md DAY.txt]

The members stand in the order of the definition. With the last two files also: every type that
came up is described in the protocol document, and every type of the schema came up.
Each block "transcript NAME" of the protocol document is what the part NAME of the day says.
"""
import json
import pathlib
import re
import sys

import jsonschema


def check_transcripts(document, day):
    """The parts of the day begin with a comment that names them."""
    parts, part = {}, []
    for line in day.split("\n"):
        if line.startswith("# "):
            part = parts.setdefault(line[2:], [])
        part.append("> quit" if line == "quit" else line)
    for name, block in re.findall(r"^```transcript (\w+)\n(.*?)^```", document, re.S | re.M):
        kind = "= " if name == "replies" else "* "
        told = [line.removeprefix(kind) for line in parts.get(name, [])
                if line.startswith(("> ", kind))]
        if told != block.rstrip("\n").split("\n"):
            yield f"transcript {name} of the protocol document is not what the day says"


def main():
    schema_path, lines_dir = sys.argv[1:3]
    whole = len(sys.argv) > 3
    schema = json.loads(pathlib.Path(schema_path).read_text())
    jsonschema.Draft202012Validator.check_schema(schema)
    validators = {name: jsonschema.Draft202012Validator({"$ref": f"#/$defs/{name}",
                                                         "$defs": schema["$defs"]})
                  for name in schema["properties"]["type"]["enum"]}
    seen, lines, errors = set(), 0, set()
    for path in sorted(pathlib.Path(lines_dir).iterdir()):
        # A text can be cut inside a character, which is no valid UTF-8 any more.
        for line in path.read_bytes().decode("utf-8", "replace").split("\n"):
            if not line:
                continue
            lines += 1
            try:
                event = json.loads(line)
            except ValueError as error:
                errors.add(f"{error}: {line[:300]}")
                continue
            name = event.get("type")
            if name not in validators:
                errors.add(f"no definition of {name!r}: {line[:300]}")
                continue
            seen.add(name)
            for error in validators[name].iter_errors(event):
                errors.add(f"{name}: {error.message}: {line[:300]}")
            members = [*schema["$defs"][name]["properties"], *schema["$defs"]["event"]["properties"]]
            order = [key for key in dict.fromkeys(members) if key in event]
            if list(event) != order:
                errors.add(f"{name}: order is {list(event)}, not {order}")
    if whole:
        document, day = (pathlib.Path(path).read_text() for path in sys.argv[3:5])
        errors |= set(check_transcripts(document, day))
        documented = set(re.findall(r'"type":"(\w+)"', document))
        errors |= {f"{name} is not in the protocol document" for name in seen - documented}
        errors |= {f"no test has produced {name}" for name in validators.keys() - seen}
    for error in sorted(errors)[:100]:
        print(error)
    print(f"{lines} lines of {len(seen)} types, {len(errors)} errors")
    return 1 if errors or not lines else 0


if __name__ == "__main__":
    sys.exit(main())
