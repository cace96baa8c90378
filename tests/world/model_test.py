"""Random commands to the program over the world, with faults: after each round what the program
has told equals what the world's store says.
usage: model_test.py PROGRAM WORLD FIRST_SEED SEEDS COMMANDS
"""
import base64
import json
import os
import random
import re
import subprocess
import sys
import tempfile
import time

WORLD_CHAT = 1002
ROUND = 25  # commands between two looks at the store
FAULTS = ["error {} 400 NOT_NOW", "late {} 2", "twice {}"]
FAULTY = ["getChat", "getChatHistory", "getUser", "getSupergroup", "getChats", "addMessageReaction",
          "sendMessage", "editMessageText", "deleteMessages", "viewMessages", "pinChatMessage",
          "joinChat", "messages.sendMessage"]
STEERING = ["edit", "delete", "react", "read elsewhere", "flood 7", "say Ann good morning",
            "say Family who is there", "rename Anna", "offline 2", "proxy down", "call"]


def b64(text):
    return base64.b64encode(text.encode()).decode()


class Told:
    """What the events say, as a client would keep it."""

    def __init__(self):
        self.chats, self.messages, self.stored = {}, {}, 0

    def event(self, e):
        kind, chat = e["type"], e.get("chat_id")
        row = self.chats.setdefault(e["id"] if kind == "chat" else chat, {}) if kind == "chat" or chat else {}
        if kind == "chat":
            row.update(unread=e.get("unread_count", 0), order=e.get("order", 0), last=e.get("last_message_id", 0),
                       outbox=e.get("last_read_outbox_message_id", 0))
        elif kind == "chat_unread":
            row["unread"] = e["unread_count"]
        elif kind == "chat_position":
            row["order"] = e["order"]
        elif kind == "chat_last_message":
            row["last"] = e["message_id"]
        elif kind == "chat_read_outbox":
            row["outbox"] = e["last_read_outbox_message_id"]
        elif kind in ("message", "message_new"):
            message = {"type": e["content_type"], "text": e["text"]}
            if "reactions" in e:
                message["reactions"] = e["reactions"]
            self.messages[chat, e["id"]] = message
            self.stored += chat == WORLD_CHAT and e["text"] == "Stored." and kind == "message_new"
        elif kind == "message_update" and (chat, e["id"]) in self.messages:
            self.messages[chat, e["id"]]["text"] = e["text"]
        elif kind == "message_reactions" and (chat, e["id"]) in self.messages:
            self.messages[chat, e["id"]]["reactions"] = e["reactions"]
        elif kind == "message_send_succeeded":
            self.messages.pop((chat, e["old_id"]), None)
        elif kind == "messages_deleted":
            for one in e["message_ids"]:
                self.messages.pop((chat, one), None)
                if row.get("last") == one:  # when there is another, it is told next
                    row["last"] = 0
        elif kind in ("history_cleared", "chat_deleted"):
            row["last"] = 0


class Run:
    def __init__(self, program, world, seed, protocol):
        self.directory = tempfile.TemporaryDirectory()
        place = self.directory.name
        os.symlink(os.path.realpath(program), place + "/td_backend")
        os.symlink(os.path.realpath(world), place + "/libtdjson.so.1.8.61")
        settings = {"TDLIB_DB_DIR": "db", "TDLIB_FILES_DIR": "files", "BACKEND_EVENTS_FILE": place + "/events",
                    "BACKEND_PROTOCOL": str(protocol), "WORLD_LOGIN": "ready", "WORLD_SPEED": "100",
                    "WORLD_RATE": "0.2", "WORLD_SEED": str(seed), "BACKEND_WAKE_ON_INPUT": "1"}
        self.process = subprocess.Popen([place + "/td_backend"], stdin=subprocess.PIPE, cwd=place,
                                        env={**os.environ, **settings}, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL)
        self.events, self.at, self.told, self.log = place + "/events", 0, Told(), []

    def say(self, line):
        self.log.append(line)
        self.process.stdin.write(line.encode() + b"\n")
        self.process.stdin.flush()

    # Reads events until `done` says so of one.
    def until(self, done, seconds=60):
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            assert self.process.poll() is None, "the program is gone"
            if not os.path.exists(self.events):
                continue
            with open(self.events, "rb") as file:
                file.seek(self.at)
                lines = file.read().split(b"\n")[:-1]
            for line in lines:
                self.at += len(line) + 1
                event = json.loads(line.decode(errors="replace"))  # long texts are cut at a byte
                self.told.event(event)
                if done(event):
                    return True
            time.sleep(0.005)
        assert seconds < 60, "nothing came in a minute"
        return False

    def steer(self, words):
        self.say(f"send64 {WORLD_CHAT} {b64(words)}")

    def compare(self):
        before, path = self.told.stored, self.directory.name + "/store"
        while True:  # a fault may meet this one, too
            self.steer(f"store {path}")
            if self.until(lambda _: self.told.stored > before, 5):
                break
        wrong, messages, oldest = [], {}, {}
        for line in open(path, encoding="utf-8", errors="surrogateescape"):
            words = line.split(" ")
            chat = int(words[1])
            if words[0] == "chat":
                row = dict(w.strip().split("=") for w in words[2:])
                for key, value in self.told.chats.get(chat, {}).items():
                    # Of a group that the account is not in (3: left, 4: banned) only the place is told.
                    if chat == WORLD_CHAT or key != "order" and row["standing"] in "34":
                        continue
                    if str(value) != row[key]:
                        wrong.append(f"chat {chat}: {key} is told as {value}, and is {row[key]}")
            else:
                _, _, one, _, _, kind, rest = line.rstrip("\n").split(" ", 6)
                text, end = json.JSONDecoder().raw_decode(rest)
                messages[chat, int(one)] = kind, text, rest[end:].split()
                oldest[chat] = int(one)
        for (chat, one), told in self.told.messages.items():
            if chat == WORLD_CHAT or chat not in oldest or one < oldest[chat]:
                continue
            if (chat, one) not in messages:
                wrong.append(f"message {chat} {one} is shown, and gone")
                continue
            kind, text, reactions = messages[chat, one]
            if kind == "messageText" and told["text"][:900] != text[:900]:
                wrong.append(f"message {chat} {one}: {told['text']!r} is shown, and is {text!r}")
            shown = [f"{r['emoji']}{r['count']}{'*' if r['chosen'] else ''}" for r in told.get("reactions", [])]
            if shown != reactions:
                wrong.append(f"message {chat} {one}: reactions {shown}, and are {reactions}")
        return wrong

    def command(self, dice):
        chat = dice.choice(list(self.told.chats) or [WORLD_CHAT])
        known = [m for c, m in self.told.messages if c == chat] or [1 << 20]
        one = dice.choice(known[-8:])
        emoji = dice.choice("\U0001f44d\U0001f525")
        return dice.choice([
            "chats 100", f"open {chat}", f"open {chat}", f"close {chat}", f"history {chat} 40",
            f"history_more {chat} {one} 20", f"send64 {chat} {b64('hello ' + str(dice.random()))}",
            f"send64 {chat} {one} {b64('and this')}", f"edit64 {chat} {one} {b64(str(dice.random()))}",
            f"delete {chat} all {one}", f"react {chat} {one} {emoji} add", f"react {chat} {one} {emoji} remove",
            f"read {chat} {max(known)}", f"pin {chat} {one}", f"forward {chat} {dice.choice(list(self.told.chats) or [1])} {one}",
            f"join {chat}", f"leave {chat}" if dice.random() < 0.1 else "ping", f"mute_toggle {chat}",
            f"clear_history {chat}" if dice.random() < 0.1 else "ping", f"chat_info {chat}",
            f"send64 {WORLD_CHAT} {b64(dice.choice(STEERING))}",
            f"send64 {WORLD_CHAT} {b64(dice.choice(FAULTS).format(dice.choice(FAULTY)))}"])


def play(program, world, seed, commands):
    run, dice = Run(program, world, seed, 1 + seed % 2), random.Random(seed)
    try:
        run.until(lambda e: e["type"] == "connection_state" and e["state"] == "ready")
        run.say("chats 100")
        run.until(lambda e: e["type"] == "chats_end")
        for _ in range(commands // ROUND):
            for _ in range(ROUND):
                run.say(run.command(dice))
            for attempt in range(3):  # what is answered late may still be on its way
                wrong = run.compare()
                if not wrong:
                    break
            if wrong:
                print(f"seed {seed}, protocol {1 + seed % 2}:", *wrong[:8], "commands:", *run.log[-ROUND - 4:], sep="\n  ")
                return 1
        print(f"seed {seed}: {commands} commands, {run.at} bytes of events, all as the store has it", flush=True)
        return 0
    finally:
        run.process.kill()
        run.process.wait()
        run.directory.cleanup()


def main():
    program, world = sys.argv[1:3]
    first, seeds, commands = map(int, sys.argv[3:6])
    sys.exit(sum(play(program, world, seed, commands) for seed in range(first, first + seeds)) > 0)


main()
