"""How the program ends when it cannot go on: faults on its own and on TDLib's threads, exceptions,
memory exhaustion; what it leaves in each channel and on disk."""
import mmap
import platform
import re
import resource
import unittest

from backend import Backend, Stream, read_file

# Name, signal, the report's first line up to the pc, whether the pc lies in the library's code.
FAULTS = [("abort", 6, r"SIGABRT\) code=-6 addr=0xH", False),
          ("segv", 11, r"SIGSEGV\) code=1 addr=0x10", True),
          ("bus", 7, r"SIGBUS\) code=2 addr=0xH", True),
          ("fpe", 8, r"SIGFPE\) code=1 addr=0xH", True),
          ("ill", 4, r"SIGILL\) code=\d+ addr=0xH", True),
          ("stack_overflow", 11, r"SIGSEGV\) code=1 addr=0xH", True),
          ("in_malloc", 11, r"SIGSEGV\) code=1 addr=0x20", False),
          ("thread_segv", 11, r"SIGSEGV\) code=1 addr=0x10", True),
          ("trap", 5, r"SIGTRAP\) code=-6 addr=0xH", False),
          ("in_a_handler", 11, r"SIGSEGV\) code=1 addr=0x10", True),
          ("call_null", 11, r"SIGSEGV\) code=1 addr=0x0", False)]
if platform.machine() != "x86_64":  # where a division by zero does not trap
    del FAULTS[3]
LIBRARY_CODE = 16 << 20  # of the scripted library, at most


def expression(text):
    """H is a number in hexadecimal digits."""
    return re.compile(text.replace("H", "[0-9a-f]+"))


def number_after(text, key):
    """The hexadecimal number behind the first `key`, 0 when there is none."""
    found = expression(re.escape(key) + "(H)").search(text) if key in text else None
    return int(found[1], 16) if found else 0


def started(**settings):
    run = Backend(**settings)
    run.env["TDLIB_LOG_MIRROR_FILE"] = "mirror.log"
    run.start()
    run.forget()
    return run


class Crash(unittest.TestCase):
    def expect_true_addresses(self, log, event, name, in_library):
        """The bases that the log has told at the start are those of the report, and the relative
        addresses are what is left of the pc, which a call of a null function does not have."""
        backend = number_after(log, "MODULE_BASE backend base=0x")
        tdjson = number_after(log, "MODULE_BASE tdjson base=0x")
        pc = number_after(event, '"pc":"0x')
        self.assertEqual(number_after(event, '"backend_base":"0x'), backend)
        self.assertEqual(number_after(event, '"tdjson_base":"0x'), tdjson)
        self.assertEqual(number_after(event, '"pc_rel_backend":"0x'), max(pc - backend, 0))
        self.assertEqual(number_after(event, '"pc_rel_tdjson":"0x'), max(pc - tdjson, 0))
        self.assertEqual(pc == 0, name == "call_null")
        if in_library:
            self.assertTrue(0 <= pc - tdjson < LIBRARY_CODE, log)

    def test_faults_are_reported_in_every_channel(self):
        for name, sig, what, in_library in FAULTS:
            # In hub mode, too: the event goes past its filter.
            with self.subTest(name), started(env={"TD_BACKEND_MODE": "hub"}) as run:
                run.fault(name)
                self.assertEqual(run.wait_exit(), 128 + sig)
                log = read_file(run.log_path)
                self.assertRegex(log[log.find("FATAL"):], expression(
                    rf"^FATAL signal={sig} \({what}( pc=0xH)?\nFATAL ctx:( pc=0xH)?( lr=0xH)? sp=0xH"
                    r"( pc_rel_backend=0xH pc_rel_tdjson=0xH)?( r[0-3]=0xH){4}\n\Z"))
                self.assertEqual(run.error_lines(), run.log_lines())
                self.assertEqual(read_file(run.dir / "mirror.log"), log)
                event, = run.events()
                self.assertRegex(event, expression(
                    rf'^{{"type":"backend_fatal","kind":"signal","sig":{sig},"code":-?\d+,'
                    r'"addr":"0xH",("pc":"0xH",)?("lr":"0xH",)?"sp":"0xH","backend_base":"0xH",'
                    r'("pc_rel_backend":"0xH",)?"tdjson_base":"0xH"(,"pc_rel_tdjson":"0xH")?}$'))
                self.expect_true_addresses(log, event, name, in_library)
                self.assertEqual(run.replies(), [])

    def test_channels_that_are_not_there(self):
        for missing, settings in (("events", {"env": {"BACKEND_EVENTS_FILE": ""}}),
                                  ("errors", {"closed": [2]}),
                                  ("log", {"env": {"TDLIB_LOG_FILE": "/dev/full"}})):
            with self.subTest(missing), started(**settings) as run:
                run.fault("segv")
                self.assertEqual(run.wait_exit(), 139)
                self.assertEqual(len(run.log_lines()), 0 if missing == "log" else 2)
                self.assertEqual(len(run.error_lines()), 0 if missing == "errors" else 2)
                self.assertEqual(len(run.events()), 0 if missing == "events" else 1)
                self.assertIn("\nFATAL ctx: ", read_file(run.dir / "mirror.log"))
                self.assertEqual(run.replies(), [])

    def test_errors_that_nobody_reads(self):
        for happens in (Stream.stall, Stream.close):
            with started() as run:
                happens(run.err)
                run.fault("segv")
                self.assertEqual(run.wait_exit(), 139)
                self.assertEqual((len(run.log_lines()), len(run.events())), (2, 1))

    def test_a_second_fault_in_the_report_ends_with_its_own_number(self):
        with started() as run:
            run.fault("in_the_report")
            self.assertEqual(run.wait_exit(), 139)
            self.assertEqual(run.error_lines() + run.log_lines() + run.events(), [])

    def test_terminate_and_escaped_exceptions(self):
        told = '{"type":"backend_fatal","kind":"terminate"}'
        for fault, status, line, everywhere in (  # in the logs and the events, too
                ("thread_throw", 45, "FATAL terminate: x", True),
                ("terminate", 45, "FATAL terminate: no current exception", True),
                ("noexcept_throw_int", 45, "FATAL terminate: non-std exception", True),
                ("noexcept_throw_null_what", 45, "FATAL terminate: (null)", True),
                ("terminate_in_handler", 45, "FATAL terminate: handled", True),
                ("throw_bad_alloc", 42, "FATAL bad_alloc: std::bad_alloc", False),
                ("throw_runtime_error", 43, "FATAL exception: x", False),
                ("throw_null_what", 43, "FATAL exception: (null)", False),
                ("throw_int", 44, "FATAL unknown exception", False)):
            with self.subTest(fault), started() as run:
                run.fault(fault)
                self.assertEqual(run.wait_exit(), status)
                self.assertEqual(run.error_lines(), [line])
                self.assertEqual(run.log_lines(), [line] * everywhere)
                self.assertEqual(read_file(run.dir / "mirror.log"), read_file(run.log_path))
                self.assertEqual(run.events(), [told] * everywhere)
                self.assertEqual(run.replies(), [])

    def test_a_long_exception_is_cut(self):
        with started() as run:
            run.fault("noexcept_throw_long")
            self.assertEqual(run.wait_exit(), 45)
            self.assertEqual(read_file(run.log_path)[-495:], "w" * 494 + "\0")

    def test_an_endless_line_ends_with_the_report(self):
        limit, chunk = 96 << 20, "x" * (32 << 10)
        for mode in ("ui", "hub"):  # without and with mapped allocations
            with started(env={"TD_BACKEND_MODE": mode}, address_space=limit) as run:
                run.send_line("ping")
                run.forget()
                fed = 0
                while run.running and fed < limit:
                    run.feed(chunk)
                    fed += len(chunk)
                self.assertLess(fed, limit)
                self.assertEqual(run.wait_exit(), 42)
                self.assertRegex("\n".join(run.error_lines()), expression(
                    rf"^td_backend: OOM \(operator new\) size=\d+ pid={run.pid} errno=12 ra0=0xH "
                    r"obj=\S+ off=0xH sym=\S+ ra1=\(nil\) obj=\? off=0 sym=\?\n"
                    r"td_backend: /proc/self/pmap summary \(OOM\) stacks=[1-9]\d* bytes=[1-9]\d* "
                    r"heaps=[1-9]\d* bytes=[1-9]\d*\n"
                    r"td_backend: /proc/self/vmstat begin \(OOM\)\nName:(.|\n)*\n"
                    r"VmPeak:(.|\n)*\nThreads:(.|\n)*\n"
                    r"td_backend: /proc/self/vmstat end\nFATAL bad_alloc: std::bad_alloc$"))
                self.assertEqual(run.log_lines() + run.events() + run.replies(), [])
                with Backend(env={"TDLIB_DB_DIR": str(run.dir / "tdlib-db")}) as after:
                    after.start()  # finds the database's lock free
                    self.assertEqual(after.replies(), ["BACKEND_READY client_id=1"])

    def test_memtest(self):
        for enough, result in ((True, "OK"), (False, "FAIL errno=12 (Cannot allocate memory)")):
            with started() as run:
                if not enough:
                    pages = int(read_file(f"/proc/{run.pid}/statm").split()[0])
                    limit = pages * mmap.PAGESIZE + (64 << 10)
                    resource.prlimit(run.pid, resource.RLIMIT_AS, (limit, limit))
                run.send_line("memtest a 'b' c")
                sizes = (131072, 262144, 323584, 585728, 1048576, 2097152)
                self.assertEqual(run.dbg_lines(), ["MEMTEST begin arg='a 'b' c'", *(
                    f"MEMTEST {kind} size={size} {result}"
                    for size in sizes for kind in ("mmap ", "malloc")), "MEMTEST end", "CMD memtest"])
                self.assertEqual(run.replies(), ["MEMTEST_DONE"])

    def test_every_allocation_mapped(self):
        """With the least threshold the table fills up, and malloc takes over."""
        with Backend(env={"TD_MMAP_LARGE_ALLOC": "1", "TD_MMAP_LARGE_THRESHOLD": "1"}) as run:
            run.start()
            run.login()
            for user in range(1, 301):
                run.deliver('{"@type":"updateUser","user":{"@type":"user","id":%d,'
                            '"first_name":"A","last_name":"B"}}' % user)
            self.assertEqual(len(run.events()), 300)


if __name__ == "__main__":
    unittest.main()
