"""TDLib's schema as tools/tdlib brings it, build/tdlib/tdlib-types.d.ts, taken apart.

    types = read("build/tdlib/tdlib-types.d.ts")
    types.objects["message"]            [("id", False, "number"), ...]: member, optional, type text
    types.objects["inputFileId$Input"]  the same of what is only given to TDLib
    types.classes["MessageContent"]     {"messageText", ...}
    types.functions                     {"getMe", ...}, which are among the objects, too
"""
import collections
import re

Types = collections.namedtuple("Types", "objects classes functions")


def read(path):
    with open(path, encoding="utf-8") as file:
        text = re.sub(r"/\*\*.*?\*/", "", file.read(), flags=re.S)
    objects, classes = {}, {}
    for name, body in re.findall(r"export type ([a-z]\w*(?:\$Input)?) = \{\n(.*?)\n  \}", text, re.S):
        rows = re.findall(r"^\s+(?:readonly )?(\w+)(\??): (.*?),?$", body, re.M)
        objects[name] = [(member, mark == "?", kind.replace(" | null", ""))
                         for member, mark, kind in rows if member != "_"]
    for name, body in re.findall(
            r"export type ([A-Z]\w*(?:\$Input)?) =((?:\s*\|? ?[a-z]\w*(?:\$Input)?)+)\n", text):
        classes[name] = set(re.findall(r"[a-z]\w*(?:\$Input)?", body))
    results = text[text.index("$FunctionResultByName"):]
    return Types(objects, classes, set(re.findall(r"^    (\w+): [A-Z]\w+,$", results, re.M)))
