"""Random commands to the program over the world, with faults: after each round what the program
has told equals what the world's store says. Seeds differ in level and mode: odd ones speak level
2, and every second pair is in hub mode.
usage: model_test.py PROGRAM WORLD FIRST_SEED SEEDS COMMANDS
"""
import base64
import json
import os
import random
import subprocess
import sys
import tempfile
import time

WORLD_CHAT = 1002
ROUND = 25  # commands between two looks at the store
FAULTS = ["error {} 400 NOT_NOW", "late {} 2", "twice {}"]
FAULTY = ["getChat", "getChatHistory", "getUser", "getSupergroup", "getChats", "addMessageReaction",
          "sendMessage", "editMessageText", "deleteMessages", "viewMessages", "pinChatMessage",
          "joinChat", "messages.sendMessage", "getBasicGroup", "getCurrentState"]
STEERING = ["edit", "delete", "react", "read elsewhere", "flood 7", "say Ann good morning",
            "say Family who is there", "rename Anna", "offline 2", "proxy down", "call",
            "kick Our street", "say Bob @robin_reed look", "say Family @robin_reed look"]


def b64(text):
    return base64.b64encode(text.encode()).decode()


class Told:
    """What the events say, as a client would keep it."""

    def __init__(self):
        self.chats, self.messages, self.pins = {}, {}, {}
        self.notified, self.standing, self.stored = {}, {}, set()

    def event(self, e):
        kind, chat = e["type"], e.get("chat_id")
        row = self.chats.setdefault(e["id"] if kind == "chat" else chat, {}) if kind == "chat" or chat else {}
        if kind == "chat":
            row.update(unread=e.get("unread_count", 0), order=e.get("order", 0), last=e.get("last_message_id", 0),
                       outbox=e.get("last_read_outbox_message_id", 0), title=e["title"])
            if e["muted_known"]:
                row["muted"] = e["muted"]
            if "seq" in e:
                row.update(inbox=e.get("last_read_inbox_message_id", 0), mentions=e.get("unread_mention_count", 0))
        elif kind == "chat_unread":
            row["unread"] = e["unread_count"]
            if "seq" in e:
                row["inbox"] = e["last_read_inbox_message_id"]
        elif kind == "chat_mentions":
            row["mentions"] = e["unread_mention_count"]
        elif kind == "chat_title":
            row["title"] = e["title"]
        elif kind in ("chat_notify", "chat_mute_toggled"):
            row["muted"] = e["muted"]
        elif kind == "message_pinned":
            self.pins[chat, e["id"]] = e["pinned"]
        elif kind == "hub_notify_message":
            self.notified[chat, e["message_id"]] = True
            self.standing[chat] = e["message_id"]
            if chat == WORLD_CHAT and e["text"] == "Stored.":
                self.stored.add(e["message_id"])
        elif kind == "hub_notify_withdrawn":
            self.standing.pop(chat, None)
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
            if chat == WORLD_CHAT and e["text"] == "Stored." and kind == "message_new":
                self.stored.add(e["id"])
        elif kind == "message_update" and (chat, e["id"]) in self.messages:
            self.messages[chat, e["id"]]["text"] = e["text"]
        elif kind == "message_reactions" and (chat, e["id"]) in self.messages:
            self.messages[chat, e["id"]]["reactions"] = e["reactions"]
        elif kind == "message_send_succeeded":
            self.messages.pop((chat, e["old_id"]), None)
        elif kind == "messages_deleted":
            for one in e["message_ids"]:
                self.messages.pop((chat, one), None)
                self.pins.pop((chat, one), None)
                if row.get("last") == one:  # when there is another, it is told next
                    row["last"] = 0
        elif kind in ("history_cleared", "chat_deleted"):
            row["last"] = 0


class Run:
    def __init__(self, program, world, seed):
        self.directory = tempfile.TemporaryDirectory()
        place = self.directory.name
        os.symlink(os.path.realpath(program), place + "/td_backend")
        os.symlink(os.path.realpath(world), place + "/libtdjson.so.1.8.61")
        settings = {"TDLIB_DB_DIR": "db", "TDLIB_FILES_DIR": "files", "BACKEND_EVENTS_FILE": place + "/events",
                    "BACKEND_PROTOCOL": str(1 + seed % 2), "TD_BACKEND_MODE": "hub" if seed & 2 else "ui", "WORLD_LOGIN": "ready", "WORLD_SPEED": "100",
                    "WORLD_RATE": "0.2", "WORLD_SEED": str(seed), "BACKEND_WAKE_ON_INPUT": "1"}
        self.process = subprocess.Popen([place + "/td_backend"], stdin=subprocess.PIPE, cwd=place,
                                        env={**os.environ, **settings}, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL)
        self.events, self.at, self.told, self.log = place + "/events", 0, Told(), []
        self.level2, self.hub = seed % 2 == 1, seed & 2 == 2
        # What there was at the beginning, and the chats whose notifications depend on when.
        self.first, self.unsteady = {}, set()

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

    def read_store(self):
        before, path = len(self.told.stored), self.directory.name + "/store"
        while True:  # a fault may meet this one, too
            self.steer(f"store {path}")
            if self.until(lambda _: len(self.told.stored) > before, 5):
                break
        chats, messages = {}, {}
        for line in map(json.loads, open(path, encoding="utf-8")):
            chat = line["chat"]
            order = [int(p["order"]) for p in chat["positions"] if p["list"]["@type"] == "chatListMain"]
            chats[chat["id"]] = {
                "title": chat["title"], "order": sum(order), "unread": chat["unread_count"],
                "mentions": chat["unread_mention_count"], "inbox": chat["last_read_inbox_message_id"],
                "outbox": chat["last_read_outbox_message_id"], "last": chat.get("last_message", {}).get("id", 0),
                "muted": chat["notification_settings"]["mute_for"] > 0, "outside": line["outside"]}
            for message in line["newest"]["messages"]:
                content = message["content"]
                reactions = message.get("interaction_info", {}).get("reactions", {}).get("reactions", [])
                messages[chat["id"], message["id"]] = {
                    "outgoing": message["is_outgoing"], "pinned": message["is_pinned"],
                    "text": content["text"]["text"] if content["@type"] == "messageText" else None,
                    "reactions": [f"{r['type']['emoji']}{r['total_count']}{'*' if r['is_chosen'] else ''}"
                                  for r in reactions]}
        return chats, messages

    def compare(self):
        chats, messages = self.read_store()
        wrong, oldest = [], {chat: one for chat, one in messages}
        self.unsteady |= {chat for chat, row in chats.items() if row["muted"] or row["outside"]}
        for chat, told in self.told.chats.items():
            # Of a group that the account is not in only the place is told, and a hub is not told
            # what happened meanwhile.
            for key, value in told.items():
                if chat == WORLD_CHAT or (chats[chat]["outside"] and key != "order"):
                    continue
                if self.hub and chat in self.unsteady:
                    continue
                if value != chats[chat][key]:
                    wrong.append(f"chat {chat}: {key} is told as {value}, and is {chats[chat][key]}")
        for (chat, one), told in self.told.messages.items():
            if chat == WORLD_CHAT or one < oldest.get(chat, 1 << 62):
                continue
            if (chat, one) not in messages:
                wrong.append(f"message {chat} {one} is shown, and gone")
                continue
            true = messages[chat, one]
            if true["text"] and told["text"][:900] != true["text"][:900]:
                wrong.append(f"message {chat} {one}: {told['text']!r} is shown, and is {true['text']!r}")
            shown = [f"{r['emoji']}{r['count']}{'*' if r['chosen'] else ''}" for r in told.get("reactions", [])]
            if shown != true["reactions"]:
                wrong.append(f"message {chat} {one}: reactions {shown}, and are {true['reactions']}")
        for (chat, one), true in messages.items():
            if self.told.pins.get((chat, one), true["pinned"]) != true["pinned"]:
                wrong.append(f"message {chat} {one}: pinned is {true['pinned']}")
            new = one > self.first.get(chat, 1 << 62) and not true["outgoing"]
            if new and chat not in self.unsteady and (chat, one) not in self.told.notified:
                wrong.append(f"message {chat} {one}: nobody was notified")
        for chat, one in self.told.standing.items():
            row = chats[chat]
            gone = one >= oldest.get(chat, 1 << 62) and (chat, one) not in messages
            if self.level2 and chat != WORLD_CHAT and (gone or row["outside"] or row["muted"] or row["inbox"] >= one):
                wrong.append(f"the notification of {chat} {one} still stands")
        return wrong

    def command(self, dice):
        chat = dice.choice(list(self.first))
        known = [m for c, m in [*self.told.messages, *self.told.notified] if c == chat] or [1 << 20]
        one = dice.choice(known[-8:])
        emoji = dice.choice("\U0001f44d\U0001f525")
        return dice.choice([
            "chats 100", f"open {chat}", f"open {chat}", f"close {chat}", f"history {chat} 40",
            f"history_more {chat} {one} 20", f"send64 {chat} {b64('hello ' + str(dice.random()))}",
            f"send64 {chat} {one} {b64('and this')}", f"edit64 {chat} {one} {b64(str(dice.random()))}",
            f"delete {chat} all {one}", f"react {chat} {one} {emoji} add", f"react {chat} {one} {emoji} remove",
            f"read {chat} {max(known)}", f"pin {chat} {one}", f"forward {chat} {dice.choice(list(self.first))} {one}",
            f"join {chat}", f"chat_info {chat}", f"history_newer {chat} {one}", "chats_more 9",
            dice.choice([f"leave {chat}", f"clear_history {chat}", f"delete_chat {chat}", "resync", "ping", "ping",
                         f"send_again {chat} {one}", "ping" if chat == WORLD_CHAT else f"mute_toggle {chat}"]),
            f"send64 {WORLD_CHAT} {b64(dice.choice(STEERING))}",
            f"send64 {WORLD_CHAT} {b64(dice.choice(FAULTS).format(dice.choice(FAULTY)))}"])


def play(program, world, seed, commands):
    run, dice = Run(program, world, seed), random.Random(seed)
    try:
        run.until(lambda e: e["type"] == "auth_state" and e["state"] == "Ready")
        run.say("chats 100")
        run.first = {chat: row["last"] for chat, row in run.read_store()[0].items()}
        for _ in range(commands // ROUND):
            for _ in range(ROUND):
                run.say(run.command(dice))
            for attempt in range(6):  # what is answered late may still be on its way
                wrong = run.compare()
                if not wrong:
                    break
                if not run.level2:  # there, a row that waited for a verdict is written as it was
                    run.told.chats.clear()
                    run.say("chats 100")
            if wrong:
                print(f"seed {seed}, level {1 + run.level2}, {'hub' if run.hub else 'ui'}:", *wrong[:8], "commands:",
                      *run.log[-ROUND - 9:], sep="\n  ")
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
