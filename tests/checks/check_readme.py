#!/usr/bin/env python3
"""Runs the client that README.md shows, as it stands, over a library that floods.

usage: check_readme.py README.md PROGRAM LIBRARY
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile


def state(name):
    return ('{"@type":"updateAuthorizationState","authorization_state":'
            '{"@type":"authorizationState%s"},"@client_id":1}\n' % name)


def main():
    readme, program, library = sys.argv[1:4]
    client = re.search(r"```python\n(.*?)```", pathlib.Path(readme).read_text(), re.S).group(1)
    with tempfile.TemporaryDirectory() as work:
        backend = shutil.copy(program, os.path.join(work, "td_backend"))
        shutil.copy(library, os.path.join(work, "libtdjson.so.1.8.61"))
        objects = pathlib.Path(work, "objects")
        objects.write_text(state("WaitPhoneNumber") + state("Ready"))
        run = subprocess.run(
            [sys.executable, "-c", client, backend], input="+15550100\n", text=True,
            capture_output=True, timeout=120, check=False,
            env={**os.environ, "TMPDIR": work, "TD_FLOOD": str(objects),
                 "TD_FLOOD_END": "null"})
    print(run.stdout, run.stderr)
    assert run.returncode == 0, run.returncode
    assert "phone? " in run.stdout and "logged in\n" in run.stdout
    return 0


if __name__ == "__main__":
    sys.exit(main())
