"""The program over the real TDLib, in a network namespace that has no network: how far it gets
without one. A machine that cannot make such a namespace fails these tests."""
import json
import random
import unittest

from backend import ROOT, Backend, base64_of, read_file, to_text, write_file

SECRET = "dd00112233445566778899aabbccddee"
WAY_TO_THE_PHONE_NUMBER = ["BACKEND_READY client_id=1", "AUTH_STATE WaitTdlibParameters",
                           "AUTH_STATE WaitPhoneNumber", "NEED phone"]
WAITS = ['{"type":"auth_state","state":"WaitTdlibParameters"}',
         '{"type":"auth_state","state":"WaitPhoneNumber"}']


def login_events(run):
    """When the library tells of its connection is its own affair."""
    return [line for line in run.events()
            if line.startswith(('{"type":"auth_state"', '{"type":"need"'))]


def wait_for_event(run, begin):
    """The real library is asked until an event that begins so is written."""
    for _ in range(1000):
        run.receive_real()
        for event in run.events():
            if event.startswith(begin):
                return event
    return "no event " + begin


class LineMaker:
    """Lines of every command, with arguments as their descriptions ask for them, or something else:
    of ten one is random bytes, of ten one is missing."""

    def __init__(self, path):
        self.path, self.random = path, random.Random(1)
        commands = json.loads(read_file(ROOT / "docs/commands.schema.json"))["commands"]
        # Without those that end the session, and the one that takes all memory for a while.
        self.commands = [command for command in commands
                         if command["word"] not in ("quit", "logout", "memtest")]

    def lines(self, count):
        return "".join(self.line(self.random.choice(self.commands)) for _ in range(count))

    def line(self, command):
        words = [command["word"], *map(self.argument, command["arguments"])]
        return " ".join(words).replace("\n", "n") + "\n"

    def argument(self, described):
        kind, either, luck = described["kind"], self.random.random() < 0.5, self.random.random()
        if luck < 0.2:
            return self.bytes() if luck < 0.1 else ""
        if kind in ("id", "int"):
            return "443" if described["name"] == "port" else str(self.random.randrange(9))
        if kind == "choice":
            return self.random.choice(described["choices"])
        if kind == "base64":
            return base64_of(self.path if "path" in described["name"] else
                             "a\u00e9" if either else self.bytes())
        return "text" if either else self.bytes()

    def bytes(self):
        return to_text(self.random.randbytes(self.random.randrange(12)))


class RealLibrary(unittest.TestCase):
    def test_options_are_worked_off_with_commands_between_them(self):
        """Each object of the library is let through one by one."""
        with Backend(real=True, env={"TDLIB_LOG_VERBOSITY": "3"}) as run:
            run.start()
            options, log, pinged_at = 0, [], 20
            while True:
                given = run.receive_real()
                options += given.startswith('{"@type":"updateOption"')
                # After the burst the library is silent; the way there holds pauses of its own.
                if not given and options > pinged_at + 30:
                    break
                if options == pinged_at and not log:
                    run.send_line("ping")
                    log = run.dbg_lines()
                    self.assertEqual(log[-1], "CMD ping", "answered in the middle of the burst")
            log += run.dbg_lines()
            self.assertIn("SEND setTdlibParameters", log)
            self.assertIn("TD_OK setParams", log)
            self.assertEqual(run.replies(), WAY_TO_THE_PHONE_NUMBER)
            self.assertEqual(login_events(run), WAITS + ['{"type":"need","what":"phone"}'])
            self.assertIn("\n[tdlib:3] ", read_file(run.log_path), "the library's own log")

    def test_hub_mode(self):
        with Backend(real=True, env={"TD_BACKEND_MODE": "hub"}) as run:
            run.start()
            log = []
            while "NEED phone" not in log or "TD_OK setParams" not in log:
                run.receive_real()
                log += run.dbg_lines()
            self.assertEqual(login_events(run), WAITS)
            self.assertNotIn("TD_ERROR (see json below)", log)

    def test_lines_of_any_bytes_leave_it_alive(self):
        """The library ends the process when a text that it has to write is not UTF-8."""
        with Backend(real=True, record=False, env={"BACKEND_PROTOCOL": "2"}) as run:
            run.start()
            path = str(run.dir / "sent\u00e9")
            write_file(path, "x")
            maker = LineMaker(path)
            for _ in range(20):
                run.receive_real()
            kinds, reached, answers = set(), 0, []
            states = "PhoneNumber Code Password EmailAddress EmailCode Registration".split()
            for state in ["Wait" + name for name in states] + ["Ready"] * 7:
                run.deliver_auth_state(state)
                run.feed(maker.lines(1000))
                for request in run.requests():
                    reached += 1
                    kinds.add(json.loads(request.encode())["@type"])  # fails where it is no UTF-8
                while given := run.running and run.receive_real():
                    answers.append(given)
            self.assertGreater(reached, 3000)
            self.assertGreater(len(answers), reached / 2)
            self.assertGreater(len(kinds), 55)
            self.assertEqual([text for text in answers if "Failed to parse" in text], [])

    def test_knows_proxies(self):
        """Before the login a proxy is added, listed, switched off and removed. The secret stays out
        of every line, TDLib's own included."""
        with Backend(real=True, env={"TG_API_ID": "1", "TG_API_HASH": "0123456789abcdef" * 2}) as run:
            def told(line, begin):
                run.send_line(line)
                return wait_for_event(run, '{"type":"' + begin)

            run.start()
            wait_for_event(run, WAITS[1])
            none = '{"type":"proxy_state","enabled":false,"count":0}'
            self.assertEqual(told("proxy_get", "proxy_state"), none)
            added = told("proxy_try_mtproto 5 192.0.2.1 443 " + SECRET, "proxy_try_")
            number = json.loads(added).get("proxy_id", 0)
            self.assertGreaterEqual(number, 1)
            self.assertEqual(added, f'{{"type":"proxy_try_added","seq":5,"proxy_id":{number}}}')
            self.assertEqual(told("proxy_get", "proxy_state"),
                             '{"type":"proxy_state","enabled":true,"count":1,'
                             f'"proxy_id":{number},"server":"192.0.2.1","port":443}}')
            run.send_line("proxy_disable")
            self.assertEqual(told("proxy_get", "proxy_state"), none.replace("0", "1"))
            run.send_line(f"proxy_remove {number}")
            self.assertEqual(told("proxy_get", "proxy_state"), none)
            # Sound requests that fail for other reasons: a bad secret, and no network.
            self.assertEqual(told("proxy_try_mtproto 192.0.2.2 80 no_secret", "proxy_try_"),
                             '{"type":"proxy_try_error","seq":1,"code":400,'
                             '"message":"Wrong proxy secret"}')
            self.assertEqual(told("proxy_test_mtproto 192.0.2.1 443 " + SECRET, "proxy_test_"),
                             '{"type":"proxy_test_error","seq":2,"code":400,'
                             '"message":"Network is unreachable"}')
            log = read_file(run.log_path)
            self.assertIn("secret=hex:32", log)
            self.assertNotIn(SECRET, log)


if __name__ == "__main__":
    unittest.main()
