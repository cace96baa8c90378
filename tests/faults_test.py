"""One system call or allocation of a whole day fails: which one, is counted through."""
import errno
import re
import unittest

from backend import ROOT, Backend, read_file
from objects import expand

# As tests/standin/faults.cpp counts them; FAILS takes the error.
NONE, SHORT, TORN, FAILS, MALLOC, MEMORY = range(6)
# The day's first part, as far as the program goes.
DAY = re.findall(r"^(>|td:\S+|td) (.*)$",
                 re.split(r"^== ", read_file(ROOT / "tests/flows/day.txt"), flags=re.M)[1], re.M)


class Day:
    def __init__(self, fault, at, error=0):
        with Backend(record=False) as run:
            run.hold_clock()
            faults = run.hold_faults([fault, error, at])
            run.start()
            for word, text in DAY:
                if not run.running:
                    break
                if word == ">":
                    run.send_line(text)
                elif word == "td":
                    run.deliver(expand(text))
                else:
                    run.answer(expand(text), word[3:])
            self.status = run.quit() if run.running else run.wait_exit()
            self.events = run.events()[1:]  # the first tells the process and the time
            self.replies = run.replies()
            self.log = [line for line in run.log_lines()
                        if str(run.dir) not in line and " pid=" not in line]
            self.writes, self.allocations = faults[3], faults[4]


class Faults(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.whole = Day(NONE, 0)
        assert cls.whole.status == 0 and len(cls.whole.events) > 50

    def lost_lines(self, day, torn):
        """How many of the whole day's lines are missing. Those that are there stand in its order;
        where `torn` allows, one is a beginning."""
        lost = 0
        for lines, whole in ((day.events, self.whole.events), (day.replies, self.whole.replies),
                             (day.log, self.whole.log)):
            rest = iter(whole)
            for line in lines:
                if torn and len(line) == 1:
                    torn = False
                else:
                    self.assertIn(line, rest)  # which goes on behind it
            lost += len(whole) - len(lines)
        return lost

    def test_a_write_that_fails_loses_its_line_alone(self):
        kinds = [(SHORT, 0, 0), (FAILS, errno.EINTR, 0), (FAILS, errno.EAGAIN, 1),
                 (FAILS, errno.ENOSPC, 1), (FAILS, errno.EIO, 1), (TORN, 0, 1)]
        for first, (fault, error, lost) in enumerate(kinds, 1):
            for at in range(first, self.whole.writes + 1, 29):  # others for each kind
                with self.subTest(fault=fault, error=error, at=at):
                    day = Day(fault, at, error)
                    self.assertEqual(day.status, 0)
                    self.assertLessEqual(self.lost_lines(day, fault == TORN), lost)

    def test_memory_that_runs_out(self):
        for at in range(1, self.whole.allocations + 1, self.whole.allocations // 24):
            with self.subTest(at=at):
                # A mapping serves where malloc fails: nobody notices.
                served = Day(MALLOC, at)
                self.assertEqual(served.status, 0)
                self.assertEqual(served.events, self.whole.events)
                out = Day(MEMORY, at)
                self.assertEqual(out.status, 42)
                self.assertEqual(out.allocations, at + 1,
                                 "malloc is asked once, then for the exception")
                self.lost_lines(out, False)


if __name__ == "__main__":
    unittest.main()
