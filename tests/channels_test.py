"""The channels where a transcript does not reach: lines of many threads and of any length, a full
events file, and readers that come late, stall or go away."""
import json
import os
import signal
import unittest

from backend import Backend, Stream, read_file, record_line, to_text, write_file

ERROR = '{"@type":"error","code":500,"message":"no\\tidea","@client_id":1}'
ERROR_EVENT = '{"type":"td_error","json":' + json.dumps(ERROR) + "}"
BIG_ERROR = '{"@type":"error","code":1,"message":"' + "x" * 9000 + '"}'


class Fifo:
    """A pipe with a name, of which nobody reads before open_reader() or read_all()."""

    def __init__(self, run, name, variable):
        self.path, self.reader = str(run.dir / name), None
        os.mkfifo(self.path)
        run.env[variable] = self.path

    def open_reader(self):
        self.reader = self.reader or os.open(self.path, os.O_RDONLY | os.O_NONBLOCK)

    def read_all(self):
        self.open_reader()
        return to_text(os.read(self.reader, 1 << 20))


class Channels(unittest.TestCase):
    def test_lines_of_many_threads_stay_whole(self):
        with Backend() as run:
            run.start()
            run.forget()
            run.log_from_tdlib(8, 500, 1, "m" * 300)
            self.assertEqual(run.log_lines(), ["[tdlib:1] " + "m" * 300] * 4000)

    def test_long_lines(self):
        """A line has 2047 bytes with its line feed; a longer one ends there, in a NUL."""
        with Backend() as run:
            run.env["TDLIB_LOG_MIRROR_FILE"] = run.log_path  # which is then written once
            run.start()
            for size in (2036, 2037, 5000):
                before = len(read_file(run.log_path))
                run.log_from_tdlib(1, 1, 2, "m" * size)
                full = "[tdlib:2] " + "m" * size + "\n"
                self.assertEqual(read_file(run.log_path)[before:],
                                 full if len(full) <= 2047 else full[:2047] + "\0")

    def test_events_file_is_put_aside_when_it_is_full(self):
        with Backend(record=False) as run:
            path, aside = run.events_path, run.events_path + ".1"
            run.env["TD_BACKEND_MODE"] = "hub"  # "backend_run" does not pass
            run.env["BACKEND_EVENTS_MAX_BYTES"] = "250"
            write_file(aside, "older")
            write_file(path, "")
            os.chmod(path, 0o600)
            run.start()
            for _ in range(2):
                run.deliver(ERROR)  # 104 bytes with its line feed
            self.assertEqual(read_file(aside), "older")
            run.deliver(ERROR)
            line = ERROR_EVENT + "\n"
            self.assertEqual(read_file(aside), line * 3 + '{"type":"events_rotated"}\n')
            record_line("events", '{"type":"events_rotated"}')  # it went with its file
            self.assertEqual(read_file(path), "")
            self.assertEqual(os.stat(path).st_mode & 0o777, 0o600)
            # Where it cannot be put aside it is written on.
            os.unlink(aside)
            os.mkdir(aside)
            run.forget()
            for _ in range(9):
                run.deliver(ERROR)
            self.assertEqual(read_file(path), 9 * line)
            failed = f"EVENTS_ROTATE failed path={path} err=Is a directory"
            self.assertEqual(run.dbg_lines().count(failed), 1)

    def test_files_that_may_not_grow(self):
        with Backend(record=False, file_bytes=300) as run:
            run.start()
            for _ in range(9):
                run.deliver(ERROR)
            self.assertEqual(len(read_file(run.events_path)), 300)
            run.deliver_auth_state("WaitPhoneNumber")
            self.assertEqual(run.replies()[-1], "NEED phone")

    def test_last_events_stay_in_place(self):
        """Whoever waits for a run's last event finds it where the reader is, numbered."""
        for last in ("goodbye", "backend_fatal"):
            with Backend(record=False, env={"BACKEND_PROTOCOL": "2",
                                            "BACKEND_EVENTS_MAX_BYTES": "1"}) as run:
                run.start()
                run.feed("#1 ping\n")
                self.assertEqual(
                    read_file(run.events_path + ".1"),
                    '{"type":"command_end","cmd":1,"command":"ping","ok":true,"seq":7}\n'
                    '{"type":"events_rotated","seq":8}\n')
                if last == "goodbye":
                    self.assertEqual(run.quit(), 0)
                else:
                    run.fault("segv")
                    self.assertEqual(run.wait_exit(), 128 + signal.SIGSEGV)
                event, = map(json.loads, run.events())
                self.assertEqual((event["type"], event["seq"]), (last, 9))

    def test_fifos_without_a_reader(self):
        """Neither hangs the start, what comes before there is a reader is lost, and a reader that
        stalls or goes away holds up nothing."""
        with Backend(record=False) as run:
            events = Fifo(run, "events.fifo", "BACKEND_EVENTS_FILE")
            log = Fifo(run, "log.fifo", "TDLIB_LOG_FILE")
            run.env["TDLIB_LOG_MIRROR_FILE"] = str(run.dir / "mirror.log")
            run.env["BACKEND_EVENTS_MAX_BYTES"] = "1"
            run.start()
            run.deliver(ERROR)
            self.assertIn(f"\n[backend] FIFO_WAIT no reader path={events.path}\n",
                          read_file(run.dir / "mirror.log"))
            events.open_reader()
            log.open_reader()
            run.deliver(ERROR)
            first, rest = events.read_all().split("\n", 1)
            self.assertEqual(first[:22], '{"type":"backend_run",')
            self.assertEqual(rest, ERROR_EVENT + "\n")
            self.assertIn("EVENTS_OPEN path=" + events.path, log.read_all())
            run.feed("state\n" * 10000)  # 400 KB of events, 200 KB of log
            run.deliver_auth_state("WaitPhoneNumber")
            self.assertEqual(run.replies()[-1], "NEED phone")
            os.close(events.reader)
            os.close(log.reader)
            run.feed("state\nping\n")

    def test_torn_lines_stand_alone(self):
        """In a pipe that was full, at the end of an older file, before the last words of a run that
        crashes."""
        with Backend(record=False) as run:
            events = Fifo(run, "events.fifo", "BACKEND_EVENTS_FILE")
            events.open_reader()
            write_file(run.log_path, "torn")
            run.start()
            self.assertEqual(read_file(run.log_path)[:15], "torn\n[backend] ")
            for _ in range(10):
                run.deliver(BIG_ERROR)
            self.assertEqual(events.read_all()[-1], "x")
            run.deliver(ERROR)
            self.assertEqual(events.read_all(), f"\n{ERROR_EVENT}\n")
            for _ in range(10):
                run.deliver(BIG_ERROR)
            self.assertEqual(events.read_all()[-1], "x")
            run.fault("abort")
            self.assertEqual(events.read_all()[:24], '\n{"type":"backend_fatal"')
            self.assertEqual(run.wait_exit(), 134)

    def test_what_is_lost_is_counted(self):
        """The second level counts what a late or full pipe has lost, in a gap of that size."""
        with Backend(record=False, env={"BACKEND_PROTOCOL": "2"}) as run:
            fifo = Fifo(run, "events.fifo", "BACKEND_EVENTS_FILE")
            run.start()
            for _ in range(3):
                run.send_line("state")
            fifo.open_reader()
            run.send_line("#1 ping")
            text = fifo.read_all()
            for _ in range(10):
                run.deliver(BIG_ERROR)
            text += fifo.read_all()
            self.assertEqual(text[-1], "x")
            run.send_line("#2 ping")
            self.assertEqual(run.quit(), 0)
            text += fifo.read_all()
        types, last, lost = [], 0, 0
        for line in text.splitlines():
            if line[-1] != "}":
                continue  # the torn one, alone on its line
            event = json.loads(line)
            if event["type"] == "events_lost":
                lost += event["count"]
                last += event["count"]
                record_line("events", line)
            last += 1
            self.assertEqual(event["seq"], last)
            if types[-1:] != [event["type"]]:
                types.append(event["type"])
        self.assertEqual(types, ["hello", "backend_run", "events_lost", "command_end", "td_error",
                                 "events_lost", "command_end", "goodbye"])
        self.assertGreater(lost, 4, "backend_ready, three states, and what the pipe did not hold")

    def test_reply_reader_that_stalls_or_goes_away(self):
        for happens in (Stream.stall, Stream.close):
            with Backend(env={"BACKEND_EVENTS_FILE": ""}) as run:
                run.start()
                happens(run.out)
                run.feed("ping\n" * 5000)
                run.login()
                run.send_line("ping")
                self.assertEqual(run.dbg_lines(), ["CMD ping"])

    def test_descriptors_closed_at_the_start(self):
        """A file opened later must not take the number of a missing one."""
        for mask in range(1, 8):
            closed = [fd for fd in range(3) if mask >> fd & 1]
            with self.subTest(closed), Backend(closed=closed,
                                               env={"BACKEND_LOG_STDERR": "1"}) as run:
                run.start()
                run.deliver(ERROR)  # to standard output, standard error, log and events
                self.assertEqual(run.events()[2:], [ERROR_EVENT])
                self.assertEqual([line for line in run.log_lines() if line[:10] != "[backend] "], [])
                self.assertEqual(run.replies() == [], 1 in closed)
                self.assertEqual(run.error_lines() == [], 2 in closed)
                self.assertEqual(read_file(run.dir / "tdlib-db/td_backend.lock"), "")
                run.deliver_auth_state("Closed")
                self.assertEqual(run.wait_exit(), 0)


if __name__ == "__main__":
    unittest.main()
