"""Holds what the world writes against TDLib's schema, and its answers before a login against the
real library's.
usage: texts_test.py schema TYPES WORLD TEXTS   at least TEXTS texts of four seeds are valid
       texts_test.py real REAL WORLD            the same requests, the same answers
       texts_test.py nonsense TYPES WORLD       requests of any shape from many threads
"""
import ctypes
import json
import os
import random
import re
import subprocess
import sys
import tempfile
import threading

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../tools"))
import tdlib_types


class Schema:
    def __init__(self, path):
        types = tdlib_types.read(path)
        self.members = {name: rows for name, rows in types.objects.items() if "$" not in name}
        self.classes = types.classes

    def value(self, value, kind, where):
        if kind.startswith("Array<"):
            assert isinstance(value, list), where
            for one in value:
                self.value(one, kind[6:-1], where)
        elif kind == "number":
            assert type(value) in (int, float), where
        elif kind.startswith("string"):
            assert isinstance(value, str), where
        elif kind == "boolean":
            assert isinstance(value, bool), where
        else:
            self.object(value, kind, where)

    def object(self, value, kind, where, more=()):
        names = list(value)
        assert names[0] == "@type", where
        name = value["@type"]
        assert name in self.members, f"{where}: no type {name}"
        assert kind in (None, name) or name in self.classes.get(kind, ()), f"{where}: {name} is no {kind}"
        at = 1
        for member, optional, inner in self.members[name]:
            if at < len(names) and names[at] == member:
                self.value(value[member], inner, where + "." + member)
                at += 1
            else:
                assert optional, f"{where}: {name} without {member}, or out of order"
        rest = [n for n in names[at:] if n not in more]
        assert not rest, f"{where}: {name} with {rest}, or out of order"

    def check(self, text):
        assert text.isascii() and '"@client_id":1}' == text[-15:], text[-40:]
        value = json.loads(text)
        self.object(value, None, value["@type"], ("@extra", "@client_id"))
        return value


class Library:
    def __init__(self, path):
        self.api = ctypes.CDLL(path)
        self.api.td_receive.restype = ctypes.c_char_p
        self.api.td_receive.argtypes = [ctypes.c_double]
        self.api.td_set_log_verbosity_level(0)
        self.client = self.api.td_create_client_id()
        self.asked = 0

    def send(self, request):
        self.api.td_send(self.client, request)

    def receive(self, timeout):
        text = self.api.td_receive(timeout)
        return text.decode() if text else None

    # All texts up to the answer, which is the last of them.
    def ask(self, request):
        self.asked += 1
        self.send(json.dumps({**request, "@extra": self.asked}).encode())
        while True:
            text = self.receive(10)
            assert text, request
            yield text
            if f'"@extra":{self.asked},' in text[-60:]:
                return


def parameters(directory):
    return {"@type": "setTdlibParameters", "database_directory": directory, "files_directory": directory,
            "api_id": 1, "api_hash": "x", "system_language_code": "en", "device_model": "d",
            "application_version": "1"}


def text_content(text):
    return {"@type": "inputMessageText", "text": {"@type": "formattedText", "text": text}}


def live(schema, world, seed, texts):
    os.environ.update(WORLD_SEED=str(seed), WORLD_LOGIN="ready", WORLD_RATE="20", WORLD_SPEED="50")
    library, dice = Library(world), random.Random(seed)
    types, count, chats = set(), 0, []

    def see(text):
        nonlocal count
        value = schema.check(text)
        count += 1
        types.add(value["@type"])
        for message in value.get("messages", []):
            types.add(message["content"]["@type"])
        return value

    def ask(kind, **members):
        for text in library.ask({"@type": kind, **members}):
            value = see(text)
        return value

    with tempfile.TemporaryDirectory() as directory:
        ask(**{"kind": "setTdlibParameters", **{k: v for k, v in parameters(directory).items() if k[0] != "@"}})
        for archive in ("chatListMain", "chatListArchive"):
            chats += ask("getChats", chat_list={"@type": archive}, limit=1000)["chat_ids"]
        for chat in chats:
            older = 0
            while count < texts:
                page = ask("getChatHistory", chat_id=chat, from_message_id=older, limit=100).get("messages")
                if not page or page[-1]["id"] < 1 << 20 or len(page) == 1 and older:
                    break
                older = page[-1]["id"]
                if older >> 20 > 5000:
                    break
        while count < texts:
            chat = dice.choice(chats)
            history = ask("getChatHistory", chat_id=chat, from_message_id=0, limit=dice.randint(1, 100))
            for message in history.get("messages", [])[:3]:
                place = {"chat_id": chat, "message_id": message["id"]}
                reaction = {"@type": "reactionTypeEmoji", "emoji": "\U0001f44d"}
                ask("addMessageReaction", **place, reaction_type=reaction)
                ask("getMessageThread", **place)
                ask("getMessageThreadHistory", **place, limit=9)
                ask("getMessageProperties", **place)
                ask("pinChatMessage", **place)
                ask("editMessageText", **place, input_message_content=text_content("a \u20ac \U0001f600"))
            ask("searchChatMessages", chat_id=chat, query="the", limit=20)
            ask("sendMessage", chat_id=chat, input_message_content=text_content(f"hello {count}"))
            ask("getUserFullInfo", user_id=dice.randint(1001, 1020))
            ask("getSupergroupFullInfo", supergroup_id=dice.randint(5010, 5022))
            ask("getBasicGroupFullInfo", basic_group_id=dice.randint(5010, 5030))
            ask("downloadFile", file_id=dice.randint(1, 90), priority=1)
            protocol = {"@type": "callProtocol", "min_layer": 65, "max_layer": 92}
            ask("createCall", user_id=dice.randint(1001, 1012), protocol=protocol)
            ask("getCurrentState")
            for _ in range(400):
                text = library.receive(0)
                if text is None:
                    break
                see(text)
    contents = {t for t in types if t.startswith("message")} & schema.classes["MessageContent"]
    missing = schema.classes["MessageContent"] - contents
    print(f"seed {seed}: {count} texts, {len(types)} kinds, contents not seen: {sorted(missing)}")
    assert not missing


def texts(world):
    library, found = Library(world), []
    with tempfile.TemporaryDirectory() as directory:
        for request in (parameters(directory), {"@type": "getChats", "limit": 99}):
            found += library.ask(request)
        for chat in json.loads(found[-1])["chat_ids"]:
            found += library.ask({"@type": "getChatHistory", "chat_id": chat, "limit": 50})
    return found


# Every request of four threads has one answer, whatever its shape, and two receive them; the same
# seed gives the same texts.
def nonsense(schema, world):
    def value(dice, depth=0):
        kind = dice.choice(list(schema.members))
        return dice.choice([
            dice.choice([0, -1, 1.5, 1 << 20, 2**31, -(2**63), 2**64, 10**30, True, None, "", "\ud800", "a" * 5000]),
            dice.choice([1002, 1003, -5010, -1000000005012, -1000000005017, -1999999992992]),
            [value(dice, depth + 1) for _ in range(dice.randrange(4 - depth))] if depth < 4 else 5,
            {"@type": kind, **{m[0]: value(dice, depth + 1) for m in schema.members[kind]}} if depth < 4 else 7])

    def ask(thread):
        dice = random.Random(thread)
        for i in range(200):
            kind = dice.choice(asked if i % 2 else kinds)
            words = " ".join(dice.choice(["say", "error", "late", "kick", "flood", "nan", "-1", "Ann"]) for _ in range(3))
            steer = {"@type": "sendMessage", "chat_id": 1002, "input_message_content": text_content(words)}
            shape = {"@type": kind, **{m[0]: value(dice) for m in schema.members[kind]}}
            request = json.dumps({**(shape if i % 9 else steer), "@extra": 200 * thread + i})
            library.send(request.encode(errors="surrogatepass"))

    def hear():
        while True:
            done = not any(thread.is_alive() for thread in threads[:4])
            text = library.receive(0.1)
            if text is None and done:
                return
            answers.append(json.loads(text or "{}").get("@extra"))

    os.environ.update(WORLD_LOGIN="ready", WORLD_RATE="0")
    same = [subprocess.check_output([sys.executable, __file__, "texts", world]) for _ in range(2)]
    assert same[0] == same[1] and len(same[0]) > 100000, "the same seed, other texts"
    kinds = [kind for kind in schema.members if kind not in ("close", "destroy", "logOut")]
    asked = [kind for kind in re.findall(r'"@type":"([a-z]\w+)"', REQUESTS) if kind in schema.members]
    library, answers = Library(world), []
    with tempfile.TemporaryDirectory() as directory:
        list(library.ask(parameters(directory)))
        os.mkdir(directory + "/photos")  # the disk is full when the first file is to be written
        os.symlink("/dev/full", directory + "/photos/file_8009.bmp")
        told = list(library.ask({"@type": "downloadFile", "file_id": 1, "priority": 1}))
        while '"is_downloading_active":true' in told[-1]:
            told.append(library.receive(5))
        assert '"is_downloading_completed":false' in told[-1], told[-1]
        threads = [threading.Thread(target=ask, args=(n,)) for n in range(4)]
        threads += [threading.Thread(target=hear) for _ in range(2)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        assert '"@type":"ok"' in list(library.ask({"@type": "close"}))[-1]
        assert '"code":500' in list(library.ask({"@type": "getMe"}))[-1]
    assert sorted(one for one in answers if one is not None) == list(range(800))


# Requests, rightly and wrongly formed; every one that the program sends is asked without members, too,
# but for those whose answers depend on the machine, end the run or, offline, never come.
REQUESTS = r"""
nonsense
[]
{}
{"a":1}
{"@type":1}
{"@type":"getMe"
{"@type":"getMe"} x
{"@type":"getMe","a":[1,}
{"@type":"getMe","a":tru}
{"@type":"getMe" "a"}
{"@type":"getMe","a"}
{"@type":"notThere"}
{"@type":"getMe","no_such_member":[1,{"a":null}]}
{"@type":"getChat","chat_id":"x"}
{"@type":"getChat","chat_id":true}
{"@type":"getChat","chat_id":1.5}
{"@type":"getChat","chat_id":"12"}
{"@type":"getChats","limit":99999999999}
{"@type":"getChats","chat_list":{"@type":"chatListMain"},"limit":5}
{"@type":"loadChats","chat_list":null,"limit":5}
{"@type":"setOption","name":"online","value":5}
{"@type":"setOption","name":7,"value":null}
{"@type":"setOption","name":"online","value":{"@type":"proxyTypeHttp"}}
{"@type":"setOption","name":"online","value":{"@type":"optionValueBoolean","value":true}}
{"@type":"setOption","name":"online","value":{"@type":"optionValueString","value":"x"}}
{"@type":"setOption","name":"nix","value":{"@type":"optionValueBoolean","value":true}}
{"@type":"checkAuthenticationCode","code":"1"}
{"@type":"checkAuthenticationPassword","password":"1"}
{"@type":"setAuthenticationEmailAddress","email_address":"a"}
{"@type":"checkAuthenticationEmailCode","code":null}
{"@type":"checkAuthenticationEmailCode","code":{"@type":"emailAddressAuthenticationCode","code":"1"}}
{"@type":"registerUser","first_name":"a"}
{"@type":"setAuthenticationPhoneNumber","phone_number":""}
{"@type":"setAuthenticationPhoneNumber","phone_number":["1"]}
{"@type":"setAuthenticationPhoneNumber","phone_number":"\ud83d"}
{"@type":"sendMessage","chat_id":1,"input_message_content":{"@type":"inputMessageText"}}
{"@type":"sendMessage","chat_id":1,"input_message_content":{"text":5}}
{"@type":"deleteMessages","chat_id":1,"message_ids":5}
{"@type":"deleteMessages","chat_id":1,"message_ids":["a"]}
{"@type":"deleteMessages","chat_id":1,"message_ids":[1,"3"],"revoke":"true"}
{"@type":"optimizeStorage","size":"x"}
{"@type":"getChatHistory","chat_id":1,"limit":1}
{"@type":"downloadFile","file_id":1,"priority":1}
{"@type":"setNetworkType","type":{"@type":"networkTypeWiFi"}}
{"@type":"addProxy","proxy":{"@type":"proxy","server":"192.0.2.1","port":443,"type":{"@type":"proxyTypeMtproto","secret":"ee"}}}
{"@type":"addProxy","proxy":{"@type":"proxy","server":"","port":443,"type":{"@type":"proxyTypeMtproto","secret":"dd0123456789abcdef0123456789abcdef"}}}
{"@type":"addProxy","proxy":{"@type":"proxy","server":"a","port":0,"type":{"@type":"proxyTypeMtproto","secret":"dd0123456789abcdef0123456789abcdef"}}}
{"@type":"addProxy","proxy":{"@type":"proxy","server":"192.0.2.1","port":443,"type":{"@type":"proxyTypeMtproto","secret":"dd0123456789abcdef0123456789abcdef"}},"enable":true}
{"@type":"enableProxy","proxy_id":77}
{"@type":"removeProxy","proxy_id":77}
"""
UNLIKE = ["close", "getCurrentState", "getStorageStatisticsFast", "logOut", "pingProxy", "requestQrCodeAuthentication",
          "setTdlibParameters"]


# The answers to all requests, first without parameters (but for what the real library keeps
# until it has them), then with them.
def answers(path):
    library, found, keys = Library(path), {}, []

    def ask(request):
        key = str(len(keys))
        keys.append(request)
        library.send(request.replace("{", '{"@extra":"' + key + '",', 1).encode())
        while key not in found:
            text = library.receive(5)
            value = json.loads(text) if text else {"@type": "silence"}
            if not value["@type"].startswith("update"):
                value.pop("@client_id", None)
                found[value.get("@extra", key)] = json.dumps(value)

    with tempfile.TemporaryDirectory() as directory:
        schema = os.path.join(os.path.dirname(__file__), "../../world/schema.inc")
        names = re.findall(r'^"(\w+)=\(\)', open(schema, encoding="utf-8").read(), re.M)
        requests = [line for line in REQUESTS.split("\n") if line]
        requests += [f'{{"@type":"{name}"}}' for name in names if name not in UNLIKE]
        for request in requests:
            if not re.search("Option|Network|Prox|Proxy", request):
                ask(request)
        ask(json.dumps({**parameters(directory), "api_id": 0}))
        ask(json.dumps(parameters(directory)))
        for request in requests:
            ask(request)
        ask(json.dumps(parameters(directory)))
    return [(request, found[str(key)]) for key, request in enumerate(keys)]


def main():
    if sys.argv[1] == "schema":
        schema = Schema(sys.argv[2])
        for seed in (1, 2, 3, 4):
            child = os.fork()  # a library of its own for each seed
            if child == 0:
                live(schema, sys.argv[3], seed, int(sys.argv[4]) // 4)
                os._exit(0)
            assert os.waitpid(child, 0)[1] == 0
    elif sys.argv[1] == "nonsense":
        nonsense(Schema(sys.argv[2]), sys.argv[3])
    elif sys.argv[1] == "texts":
        print(*texts(sys.argv[2]), sep="\n")
    elif sys.argv[1] == "real":
        both = []
        for path in sys.argv[2:4]:
            child = ["unshare", "-rn", sys.executable, __file__, "answers", path]
            both.append(json.loads(subprocess.run(child, check=True, stdout=subprocess.PIPE).stdout))
        wrong = [(request, real, world) for (request, real), (_, world) in zip(*both) if real != world]
        for request, real, world in wrong:
            print(request, "\n  real ", real, "\n  world", world)
        print(len(both[0]), "requests compared")
        assert not wrong and len(both[0]) == len(both[1]) > 150
    else:
        print(json.dumps(answers(sys.argv[2])), flush=True)
        os._exit(0)  # the library has threads that know of no end


main()
