#!/usr/bin/env python3
"""Plays transcripts (tests/README.md) against the real program over the scripted library.

usage: tests/flow_runner.py FILE...

After every step each stream of the program must have said exactly what stands below the step.
With UPDATE=1 in the environment, what it said is written into the file instead. The program is
that of build/release; TD_BUILD names another build tree, TD_BACKEND_PROGRAM another program.
"""
import json
import os
import pathlib
import re
import signal
import sys

from backend import Backend, Failure, base64_of, read_file, to_bytes, to_text, write_file
from objects import expand

OUTPUT = re.compile(r"[L!=*EF|] ")  # how a line begins that says what came
KINDS = "L!=*EF"  # those of which every line is compared
UPDATE = os.environ.get("UPDATE") == "1"


class Step:
    """A step and what follows it; `before` are comments and blank lines, kept as they are."""

    def __init__(self, before, number=0, text=""):
        self.before, self.number, self.text, self.said = before, number, text, []


def read_steps(path):
    steps, before = [], []
    for number, line in enumerate(to_text(pathlib.Path(path).read_bytes()).split("\n")[:-1], 1):
        if OUTPUT.match(line) and steps and not before:
            steps[-1].said.append(line)
        elif not line or line[0] == "#":
            before.append(line)
        else:
            steps.append(Step(before, number, line))
            before = []
    return steps + [Step(before)] * bool(before)


def write_steps(path, steps):
    lines = []
    for step in steps:
        lines += step.before + [step.text] * bool(step.text) + step.said
    pathlib.Path(path).write_bytes(to_bytes("".join(line + "\n" for line in lines)))


# ---- a line in brief

def word_of(line, member):
    """The value of the first such member that is neither object nor array, its blanks as "_". ""
    is none, or one with characters that a brief line cannot hold."""
    found = re.search(rf'"{re.escape(member)}":(?:"([^"]*)|([^"{{\[][^,}}]*))', line)
    word = (found[1] or found[2] or "").replace(" ", "_") if found else ""
    return "" if re.search(r"[,{}\\]", word) else word


def brief(line):
    """A request by its tag, an event by its type, its id or first member, and its generation:
    "open:5", "chat:5", "message:1000:2"."""
    if line[0] == "!":
        return word_of(line, "@extra") or word_of(line, "@type")
    members = re.findall(r',"([^"]*)', line)
    first = "id" if word_of(line, "id") or not members else members[0]
    words = [word_of(line, name) for name in dict.fromkeys(["type", first, "gen"])]
    return ":".join([words[0], *filter(None, words[1:])])


def brief_as(item, line):
    """The same with those members of the line that the item names: "getChats:1[limit:50]"."""
    _, bracket, members = item.partition("[")
    names = [part.split(":")[0] for part in members.split(",")]
    return brief(line) + (bracket and "[" + ",".join(f"{name}:{word_of(line, name)}"
                                                     for name in names) + "]")


# ---- texts

def unescaped(text):
    r"""\n \r \t \0 \\ \xNN, as in C."""
    plain = {b"n": b"\n", b"r": b"\r", b"t": b"\t", b"0": b"\0"}
    return to_text(re.sub(
        rb"\\(?:x([0-9a-f]{2})|(.))",
        lambda m: bytes([int(m[1], 16)]) if m[1] else plain.get(m[2], m[2]), to_bytes(text)))


def escaped(text):
    """What a line of output must not show as it is: control characters, a blank at its end."""
    return re.sub(r"[\x00-\x1f\x7f]| $", lambda m: f"\\x{ord(m[0]):02x}", text)


def without_told_errors(errors, events):
    """Standard error also says each error that an event tells: those lines are none of the file's,
    and one that is missing stands there as "missing"."""
    left = list(errors)
    for event in events:
        if event.startswith('{"type":"td_error",'):
            text = json.loads(event)["json"]
            left.remove(text) if text in left else left.append("missing: " + text)
    return left


def without_log(lines):
    """The log names each command's own words."""
    return [line for line in lines if line[0] != "|"]


class Flow:
    """One program's run: the lines from "==" to the next "=="."""

    def __init__(self, logs_in, leaks):
        self.run = Backend(leaks=leaks)
        self.run.hold_clock()
        self.started = False
        self.logs_in = logs_in  # before the first step
        self.shown = []  # of files, by the step

    def set(self, word, rest):
        """What is set before the start, and files, which may also come later. False: neither."""
        run = self.run
        name, _, value = rest.partition(" ")
        path = str(run.dir / unescaped(name))
        if word == "file":
            write_file(path, unescaped(value))
        elif word == "fifo":
            os.mkfifo(path)
        elif word == "directory":
            os.makedirs(path)
        elif word == "link":
            os.symlink(value, path)
        elif self.started:
            return False
        elif word == "env" and rest.startswith("-"):
            del run.env[rest[1:]]
        elif word == "env":
            run.env.update((key, unescaped(text)) for key, text in
                           (one.split("=", 1) for one in rest.split(" ; ")))
        elif word == "hub":
            run.env["TD_BACKEND_MODE"] = "hub"
        elif word == "without" and rest == "login":
            self.logs_in = False
        elif word == "without":
            del run.env["BACKEND_EVENTS_FILE"]
        elif word in ("tg_api", "tg_login"):
            run.set_env_file(word, unescaped(rest))
        elif word == "zlib":
            run.zlib = True
        elif word == "input":
            run.input = rest
        else:
            return False
        return True

    def act(self, word, rest):
        run = self.run
        if word == ">":
            run.send_line(rest)
        elif word == ">>":
            run.feed(unescaped(rest))
        elif word == "write":
            run.write_input(unescaped(rest))
        elif word == "td":
            run.deliver(rest)
        elif word.startswith("td:"):
            run.answer(rest, word[3:])
        elif word == "cuts":
            # Nothing is known of what each beginning tells, but that it is told as the schema says.
            for size in range(0, len(to_bytes(rest)), 7):
                run.deliver(to_text(to_bytes(rest)[:size]))
            run.forget()
            run.deliver(rest)
        elif word == "state":
            run.deliver_auth_state(rest)
        elif word == "login":
            run.login()
        elif word == "idle":
            run.idle()
        elif word == "clock":
            run.advance_ms(int(rest))
            run.idle()
        elif word == "after":
            self.act("clock", str(int(rest) - 1))
            if without_log(self.said()):
                raise Failure("too early")
            self.act("clock", "1")
        elif word == "later":
            run.advance_ms(int(rest))
        elif word == "log":
            run.log_from_tdlib(0, 1, rest[0], unescaped(rest[2:]))
        elif word == "thread_log":
            run.log_from_tdlib(1, 1, rest[0], rest[2:])
        elif word == "show":
            self.shown += read_file(run.dir / rest).splitlines()
        elif word == "close_input":
            run.close_input()
            run.idle()
        elif word == "signal":
            run.signal(signal.Signals[rest])
        elif word == "exit":
            if run.wait_exit() != int(rest):
                raise Failure(f"the exit status is {run.status}")
        elif word == "quit":
            run.write_input("quit\n")
            self.act("exit", "0")
        else:
            raise Failure("no such step: " + word)

    def play_parts(self, text, same):
        """A step that stands for several, "each a ; b ; td c": all must say the same. With "all"
        they say it together."""
        lines = None
        for part in text.split(" ; "):
            word, blank, rest = part.partition(" ")
            if word.startswith("td") or word in ("clock", "later") or (word == "state" and blank):
                self.act(word, rest)
            else:
                self.run.feed(unescaped(part) + "\n")
            now = self.said()
            if same and lines is not None and without_log(now) != without_log(lines):
                raise Failure("says something else: " + part)
            lines = (lines or []) + [line for line in now
                                     if not same or lines is None or line[0] == "|"]
        return lines

    def play_usage(self, text):
        """"usage ping|pong <id> : x ; 5x": each command alone and with each is told its usage."""
        usage, colon, wrong = text.partition(" : ")
        commands, blank, arguments = usage.partition(" ")
        for command in commands.split("|"):
            for words in ["", *(" " + words for words in wrong.split(" ; ") if colon)]:
                self.run.feed(unescaped(command + words) + "\n")
                if without_log(self.said()) != [f"= ERR usage {command}{blank}{arguments}"]:
                    raise Failure("is not told its usage: " + command + words)
        return []

    def play(self, text):
        """What comes with the step, in the order L ! = * E F |."""
        text = expand(text).replace("$DIR", str(self.run.dir))
        text = re.sub(r"\$64\(([^)]*)\)", lambda m: base64_of(unescaped(m[1])), text)
        word, _, rest = text.partition(" ")
        if self.set(word, rest):
            return []
        told = []
        if not self.started:
            self.started = True
            self.run.start()
            if word == "start":
                told = ["L " + call for call in self.run.told]
            else:
                self.run.forget()
                if self.logs_in:
                    self.run.login()
        if word in ("each", "all"):
            return self.play_parts(rest, word == "each")
        if word == "usage":
            return self.play_usage(rest)
        if word != "start":
            self.act(word, rest)
        return told + self.said()

    def said(self):
        run, shown = self.run, self.shown
        self.shown = []
        lines, events = [], run.events()
        errors = without_told_errors(run.error_lines(), events)
        for mark, some in zip("!=*EF|", (run.requests(), run.replies(), events, errors, shown,
                                         run.log_lines())):
            for line in some:
                line = line.replace(str(run.dir), "$DIR")
                line = re.sub(rf'(pid=|"pid":){run.pid}\b', r"\1$PID", line)
                lines.append(f"{mark} {escaped(line)}")
        return lines

    def end(self):
        if self.run.running:
            self.act("quit", "")
        self.run.__exit__(None)

    def abandon(self):
        self.run.kill()
        self.run.__exit__(Failure)


# ---- what the file says and what came

class Item:
    """A line, or one of several that a line of the file names together."""

    def __init__(self, text, is_brief=False, joined=False):
        self.text, self.is_brief, self.joined = text, is_brief, joined

    def form(self, line):
        return brief_as(self.text, line) if self.is_brief else line[2:]


def items_of(lines, kind):
    """"! a b" are two requests by what brief() says of them, "= a ; b" are two lines."""
    items = []
    for line in lines:
        text = line[2:]
        if line[0] != kind:
            continue
        if kind in "!*" and text[:1] == "{":
            items.append(Item(text))
            continue
        for index, part in enumerate(text.split(" " if kind in "!*" else " ; ")):
            items.append(Item(part, kind in "!*", index > 0))
    return items


def in_form(got, items, kind):
    """What came, in the form that the file has for it; "?" at the end is all that follows."""
    lines = []
    rest = Item("?", True, True) if items and items[-1].text == "?" else Item("")
    for index, line in enumerate(got):
        item = items[index] if index < len(items) else rest
        if item.joined and lines:
            lines[-1] += (" " if item.is_brief else " ; ") + item.form(line)
        else:
            lines.append(f"{kind} {item.form(line)}")
    return lines


def compare(expected, now):
    """What is wrong, and the lines that UPDATE writes. Of the log only those that the step names
    must be there, in their order; all others must be the same."""
    kept, wrong = [], []
    for kind in KINDS:
        want = items_of(expected, kind)
        got = [line for line in now if line[0] == kind]
        for index in range(max(len(want), len(got))):
            item = want[index] if index < len(want) else None
            line = got[index] if index < len(got) else None
            if item and line and item.text == item.form(line):
                continue
            if item:
                wrong.append(f"  expected {kind} {item.text}")
            if line:
                wrong.append(f"  got      {line}")
        kept += in_form(got, want, kind)
    log = [line[2:] for line in now if line[0] == "|"]
    left = list(log)
    for line in expected:
        if line[0] != "|":
            continue
        if line == "| ?":  # all that the log has got, with UPDATE
            kept += ["| " + text[10:] for text in log if text.startswith("[backend] ")]
        else:
            kept.append(line)
        for part in line[2:].split(" ; "):
            text = part if part[0] == "[" else "[backend] " + part
            if text in left:
                left = left[left.index(text) + 1:]
            else:
                wrong += ["  not in the log: " + part] + ["    | " + other for other in log]
    return wrong, kept


def play_run(path, steps, logs_in, leaks):
    """True when all went as the file says. The first step is the run's title."""
    flow, good = Flow(logs_in, leaks), True

    def tell(step, *wrong):
        print(f"{path}:{step.number}: {steps[0].text}", "  " + step.text, *wrong, sep="\n")

    step = steps[0]
    try:
        for step in steps[1:]:
            wrong, kept = compare(step.said, flow.play(step.text))
            if UPDATE:
                step.said = kept
            elif wrong:
                tell(step, *wrong)
                good = False
        flow.end()
    except Failure as failure:
        tell(step, failure)
        flow.abandon()
        good = False
    return good


def play_file(path):
    steps = read_steps(path)
    starts = [i for i, step in enumerate(steps) if step.text.startswith("==")]
    logs_in = any(step.text == "login" for step in steps[:starts[0]])
    # Looking for leaks takes longer than the rest of most runs. Fuzzing's replay of these steps
    # looks, too; here a file's last run does.
    good = [play_run(path, [step for step in steps[start:end] if step.text], logs_in,
                     leaks=end is None)
            for start, end in zip(starts, [*starts[1:], len(steps)])]
    if UPDATE:
        write_steps(path, steps)
    return all(good)


if __name__ == "__main__":
    sys.exit(0 if len(sys.argv) > 1 and all([play_file(path) for path in sys.argv[1:]]) else 1)
