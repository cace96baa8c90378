"""The main loop where a transcript does not reach: signals, many lines, long lines, memory, and
waiting until something happens. The rest is in flows/loop.txt."""
import re
import signal
import unittest

from backend import OK, OTHER_PROGRAM, ROOT, Backend, read_file, write_file
from objects import expand

WAKE = '{"@type":"testCallEmpty","@extra":"wake"}'


def without_events(**settings):
    """A run whose replies are all seen; its first one is taken."""
    run = Backend(**settings)
    del run.env["BACKEND_EVENTS_FILE"]
    run.start()
    run.forget()
    return run


def status_of(run, name):
    text = read_file(f"/proc/{run.pid}/status")
    return text.partition(name + ":")[2].split()[0]


def resident_kib(run):
    """A sanitizer's allocator keeps what is freed: such a run counts nothing."""
    return 0 if OTHER_PROGRAM else int(status_of(run, "VmRSS"))


class Loop(unittest.TestCase):
    def test_signals_end_the_run(self):
        """Like "quit" but for the reply; a second signal as the system does."""
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            with without_events() as run:
                run.signal(number)
                run.deliver_auth_state("WaitPhoneNumber")
                self.assertEqual(run.wait_exit(), 0)
                self.assertEqual(run.replies(), ["AUTH_STATE WaitPhoneNumber", "NEED phone"])
        with without_events() as run:
            run.signal(signal.SIGHUP)
            # Its handler has run when SIGTERM is no longer caught.
            while int(status_of(run, "SigCgt"), 16) >> (signal.SIGTERM - 1) & 1:
                pass
            run.signal(signal.SIGTERM)
            self.assertEqual(run.wait_exit(), -signal.SIGTERM)

    def test_thousands_of_commands_in_one_go(self):
        with without_events() as run:
            pings = [i * i % 7 < 3 for i in range(20000)]
            run.feed("".join("ping\n" if ping else f"word{i}\r\n" for i, ping in enumerate(pings)))
            self.assertEqual(run.replies(),
                             ["PONG" if ping else "ERR unknown_command" for ping in pings])

    def test_endless_line_and_objects(self):
        with without_events() as run:
            before = resident_kib(run)
            for c in '{["':
                run.deliver(c * (1 << 20))
            run.feed("x" * (24 << 20))
            self.assertEqual(run.replies(), [])
            run.feed("\nping\n")
            self.assertEqual(run.replies(), ["ERR unknown_command", "PONG"])
            run.idle()
            self.assertLess(resident_kib(run) - before, 12 << 10)

    @unittest.skipIf(OTHER_PROGRAM, "a sanitizer's allocator keeps what is freed")
    def test_bursts_leave_no_memory(self):
        """What a burst needs is taken in portions, and given back when it is over."""
        with Backend(env={"TDLIB_LOG_FILE": "", "BACKEND_EVENTS_FILE": ""}) as run:
            run.input = str(run.dir / "input")
            write_file(run.input, "\n" * ((4 << 20) + 5) + "ping\n" * 100000)
            run.start()
            before = resident_kib(run)
            portions = 1
            while run.last_timeout == "0.000000":
                run.idle()
                portions += 1
            self.assertEqual(portions, 5, "1 MiB at once")
            self.assertEqual(run.last_timeout, "0.200000")
            run.out.close()
            run.deliver('{"@type":"error","message":"' + "x" * (33 << 20) + '"}')
            run.idle()
            self.assertLess(resident_kib(run) - before, 2 << 10)
            run.kill()

    # ---- waiting until something happens

    def test_input_and_signals_wake(self):
        with without_events(env={"BACKEND_WAKE_ON_INPUT": "1"}, record=False) as run:
            self.assertEqual(run.last_timeout, "60.000000")
            for _ in range(3):
                run.write_input("ping\nping\n")
                self.assertEqual(run.wait_for_request(), WAKE)
                run.write_input("ping\n")
                run.answer(OK, "wake")
                self.assertEqual(run.replies(), ["PONG", "PONG", "PONG"])
            run.close_input()
            self.assertEqual(run.wait_for_request(), WAKE)
            for answer in (OK, '{"@type":"error","code":500}'):
                run.answer(answer, "wake")
            self.assertEqual(run.requests(), [], "closed input wakes once")
            self.assertEqual(run.replies(), ['TD_ERROR {"@type":"error","code":500,"@extra":"wake",'
                                             '"@client_id":1}'], "one answer a wake")
            run.forget()
            run.signal(signal.SIGTERM)
            self.assertEqual(run.wait_for_request(), WAKE)
            run.answer(OK, "wake")
            self.assertEqual(run.wait_exit(), 0)
            self.assertEqual(run.dbg_lines(), [])

    def test_waits_until_the_next_deadline(self):
        with Backend(env={"BACKEND_WAKE_ON_INPUT": "1"}, record=False) as run:
            run.hold_clock()
            run.start()
            run.login()
            for sender in (5, 6):
                run.deliver(expand(f'{{"@type":"updateNewMessage","message":$text(9,1,{sender},x)}}'))
            get_six = '{"@type":"getUser","user_id":6,"@extra":"getUser:6"}'
            self.assertNotEqual(run.requests()[-1], get_six, "one user at a time")
            self.assertEqual(run.last_timeout, "0.060000")
            run.advance_ms(60)
            run.idle()
            self.assertEqual(run.requests(), [get_six])
            self.assertEqual(run.last_timeout, "60.000000")
            run.close_input()
            run.deliver_auth_state("Closed")
            self.assertEqual(run.wait_exit(), 0)

    def test_every_end_says_goodbye(self):
        version = re.search(r"VERSION ([0-9.]+) LANG", read_file(ROOT / "CMakeLists.txt"))[1]
        ends = {"quit": lambda run: run.write_input("#3 quit\n"),
                "input_ended": lambda run: run.close_input(),
                "signal": lambda run: run.signal(signal.SIGTERM),
                "closed": lambda run: run.deliver_auth_state("Closed")}
        for reason, end in ends.items():
            for mode in ("ui", "hub"):
                with self.subTest(reason=reason, mode=mode), Backend(env={
                        "TD_BACKEND_MODE": mode, "BACKEND_PROTOCOL": "2",
                        "BACKEND_EXIT_ON_EOF": "1"}) as run:
                    run.start()
                    run.send_line("#9 code 12345")  # waits for its state to the end
                    end(run)
                    self.assertEqual(run.wait_exit(), 0)
                    events = run.events()
                    self.assertEqual(
                        [events[0], *events[-2:]],
                        [f'{{"type":"hello","protocol":2,"version":"{version}","mode":"{mode}",'
                         '"seq":1}',
                         '{"type":"command_end","cmd":9,"command":"code","ok":false,'
                         f'"error":"closed","seq":{len(events) - 1}}}',
                         f'{{"type":"goodbye","reason":"{reason}","seq":{len(events)}}}'])


if __name__ == "__main__":
    unittest.main()
