"""One run of the real td_backend over the scripted library (tests/standin), step by step.

    with Backend(env={"BACKEND_PROTOCOL": "2"}) as run:
        run.start()                           # to its first wait for TDLib
        run.login()                           # to Ready; forgets what came until then
        run.send_line("resolve ann")          # written, read, handled
        print(run.requests())

Nothing here sleeps or guesses. The program's loop is: commands, follow-ups, one receive call, its
object. Each receive call is reported and waits for the test, so when the next one is reported,
everything before it is done: its requests are here, its lines are written.

Where something takes longer than PATIENCE, or is asked of a program that has ended, these
functions raise Failure and tell what the program has said. A run that is alive at the end of its
`with` is told to quit and must end with 0; a sanitizer's report fails, too.

Texts are UTF-8, and whatever bytes are none come through as Python's surrogate escapes. Every
event line and request is also kept below BUILD/lines, for checks over all of them.
"""
import base64
import ctypes
import fcntl
import mmap
import os
import pathlib
import resource
import select
import signal
import socket
import struct
import subprocess
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / os.environ.get("TD_BUILD", "build/release")
STANDIN = BUILD / "tests/standin"
# Another build of the program, such as a sanitizer's, which has an allocator of its own.
OTHER_PROGRAM = os.environ.get("TD_BACKEND_PROGRAM")
LIBRARY = "libtdjson.so.1.8.61"
TDLIB = os.environ.get("TD_BACKEND_TDLIB", ROOT / "build/tdlib" / LIBRARY)
PATIENCE = 30  # seconds
SOCKET = 198  # or above, so that the program's own descriptors get their usual numbers
PIPE_BYTES = 1 << 20
OK = '{"@type":"ok"}'
PASSED_ON = ("PATH", "TMPDIR", "LD_LIBRARY_PATH", "LSAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS")
REPORTS = ("AddressSanitizer", "LeakSanitizer", "ThreadSanitizer", "runtime error:")

libc = ctypes.CDLL(None, use_errno=True)
records = {}


class Failure(Exception):
    pass


def to_bytes(text):
    return text if isinstance(text, bytes) else text.encode("utf-8", "surrogateescape")


def to_text(raw):
    return bytes(raw).decode("utf-8", "surrogateescape")


def base64_of(text):
    return base64.b64encode(to_bytes(text)).decode()


def read_file(path):
    """The whole file; empty when it cannot be read."""
    try:
        return to_text(pathlib.Path(path).read_bytes())
    except OSError:
        return ""


def write_file(path, text):
    pathlib.Path(path).write_bytes(to_bytes(text))


def record_line(kind, line):
    if kind not in records:
        directory = BUILD / "lines" / kind
        directory.mkdir(parents=True, exist_ok=True)
        records[kind] = (directory / f"{os.getpid()}.jsonl").open("ab")
    records[kind].write(to_bytes(line) + b"\n")


def shared_numbers(path, kind, count):
    """Numbers in a mapped file, which the program under test sees, too."""
    path.write_bytes(struct.pack(kind, 0) * count)
    with path.open("r+b") as file:
        return memoryview(mmap.mmap(file.fileno(), 0)).cast(kind)


def pipe_of_the_program(ours):
    """Both ends; the test's, which is the one with this index, never blocks."""
    ends = os.pipe()
    fcntl.fcntl(ends[ours], fcntl.F_SETPIPE_SZ, PIPE_BYTES)
    os.set_blocking(ends[ours], False)
    return ends


class Stream:
    """Lines that are read as they come."""

    def __init__(self):
        self.fd, self.all, self.taken = -1, bytearray(), 0
        self.stalled = -1  # kept open, never read

    def drain(self):
        try:
            while self.fd >= 0:
                block = os.read(self.fd, 1 << 16)
                if not block:
                    self.close()
                self.all += block
        except BlockingIOError:
            pass

    def close(self):
        for fd in (self.fd, self.stalled):
            if fd >= 0:
                os.close(fd)
        self.fd = self.stalled = -1

    def stall(self):
        """Nothing is read from here on, and the pipe is full."""
        self.drain()
        fd = os.open(f"/proc/self/fd/{self.fd}", os.O_WRONLY | os.O_NONBLOCK)
        for filler in (b"#" * 4096, b"#"):
            try:
                while os.write(fd, filler):
                    pass
            except BlockingIOError:
                pass
        os.close(fd)
        self.fd, self.stalled = -1, self.fd

    def lines(self):
        self.drain()
        end = self.all.rfind(b"\n") + 1
        whole, self.taken = self.all[self.taken:end], max(end, self.taken)
        return to_text(whole).split("\n")[:-1]


class Backend:
    def __init__(self, env=(), **settings):
        # ---- Before start(), where the program runs and what it finds there.
        self.work = tempfile.TemporaryDirectory(prefix="td_backend_test_")
        self.dir = pathlib.Path(self.work.name)
        # What it sees beside PATH and the sanitizers' options. Without BACKEND_EVENTS_FILE all
        # replies go to standard output.
        self.env = {"TDLIB_LOG_FILE": str(self.dir / "backend.log"),
                    "BACKEND_EVENTS_FILE": str(self.dir / "events.jsonl"), **dict(env)}
        self.library = True  # the scripted one is put beside the program
        self.real = False  # the real one behind it, without network: receive_real() asks it
        self.leaks = True  # an address sanitizer looks for them at the end
        self.zlib = False  # what stands for the compression library is put beside the program
        self.argv0 = str(self.dir / "td_backend")  # the executed file stays dir/td_backend
        self.input = None  # the file or directory that is its standard input, if not a pipe
        self.closed = []  # of the descriptors 0, 1 and 2
        self.unread = False  # standard output and error are pipes without a reader
        self.address_space = self.file_bytes = 0  # RLIMIT_AS and RLIMIT_FSIZE
        self.record = True  # False where lines are lost or torn on purpose
        # ---- Afterwards.
        self.pid = 0
        self.running = False
        self.out, self.err = Stream(), Stream()
        self.status = None  # of the end; minus the signal's number when a signal ended it
        self.told = []  # what the library was told at the program's start, in order
        self.last_timeout = ""  # of the receive call
        self._input = -1
        self._process = self._socket = self._clock = None
        self._asked = self._collected = False
        self._client, self._real_object = "", ""
        self._requests = []
        self._taken = {"events": 0, "log": 0, "recorded": 0}
        for name, value in settings.items():
            setattr(self, name, value)

    def __enter__(self):
        return self

    def __exit__(self, kind, *_):
        try:
            if kind is None and self.running and self.quit() != 0:
                self._fail("does not end with 0")
            if kind is None and self.status and not self._collected:
                self._fail("ended unasked")
        finally:
            self.kill()
            self.out.close()
            self.err.close()
            if self._input >= 0:
                os.close(self._input)
            if self._socket:
                self._socket.close()
            self.work.cleanup()

    # ---- before the start

    def hold_clock(self):
        """Both clocks stand still and move by advance_ms() alone. They begin at one million
        milliseconds (monotonic) and at 2023-11-14 22:13:20 UTC (wall)."""
        self._clock = shared_numbers(self.dir / "clock", "q", 2)
        self._clock[0], self._clock[1] = 10 ** 12, 17 * 10 ** 17
        self._preload("held.so", TD_HELD_CLOCK=str(self.dir / "clock"))

    def hold_faults(self, numbers):
        """The program finds these in tests/standin/faults.cpp; returned as it changes them."""
        page = shared_numbers(self.dir / "faults", "i", 5)
        for index, number in enumerate(numbers):
            page[index] = number
        self._preload("faults.so", TD_FAULTS=str(self.dir / "faults"))
        return page

    def set_env_file(self, name, text):
        """The device's file "tg_api" or "tg_login"."""
        folder = self.dir / "accounts/1000/shared/misc/lumo"
        folder.mkdir(parents=True, exist_ok=True)
        write_file(folder / f"{name}.env", text)
        self._preload("held.so", TD_HELD_ACCOUNTS=str(self.dir / "accounts"))

    def _preload(self, library, **env):
        known = [path for path in self.env.get("LD_PRELOAD", "").split(":") if path]
        self.env["LD_PRELOAD"] = ":".join(dict.fromkeys([*known, str(STANDIN / library)]))
        self.env.update(env)

    # ---- the start

    def _environment(self):
        env = {name: os.environ[name] for name in PASSED_ON if name in os.environ}
        # A held clock is loaded before the sanitizer's runtime, which does not mind. The real
        # library is still at work when the program ends; what its threads hold is no leak of ours.
        env["ASAN_OPTIONS"] = (os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0" +
                               (":detect_leaks=0" if self.real or not self.leaks else ""))
        if self.real:
            env["TD_STANDIN_REAL"] = str(TDLIB)
        return {**env, **self.env}

    def _before_the_program(self):
        """In the forked child."""
        libc.prctl(1, signal.SIGKILL)  # when the test ends, this process does, too
        for number in (signal.SIGINT, signal.SIGHUP):
            signal.signal(number, signal.SIG_DFL)
        if self.real:
            leave_the_network()
        for which, limit in ((resource.RLIMIT_FSIZE, self.file_bytes),
                             (resource.RLIMIT_AS, self.address_space)):
            if limit:
                resource.setrlimit(which, (limit, limit))
        for fd in self.closed:
            os.close(fd)

    def start(self):
        """Returns when the program first waits for TDLib, or has ended."""
        (self.dir / "td_backend").symlink_to(OTHER_PROGRAM or BUILD / "td_backend")
        if self.zlib:
            (self.dir / "libz.so.2").symlink_to(STANDIN / "libz.so.2")
        if self.library:
            (self.dir / LIBRARY).symlink_to(STANDIN / LIBRARY)
        if self.env.get("BACKEND_EVENTS_APPEND") == "1":
            self._taken["recorded"] = len(to_bytes(read_file(self.events_path)))
        given, self._input = pipe_of_the_program(1)
        self.out.fd, out = pipe_of_the_program(0)
        self.err.fd, err = pipe_of_the_program(0)
        if self.unread:
            self.out.close()
            self.err.close()
        if self.input:
            os.close(given)
            given = os.open(self.dir / self.input, os.O_RDONLY)
        self._socket, near = socket.socketpair()
        theirs = fcntl.fcntl(near, fcntl.F_DUPFD_CLOEXEC, SOCKET)
        near.close()
        self._process = subprocess.Popen(
            [self.argv0], executable=self.dir / "td_backend", cwd=self.dir, stdin=given, stdout=out,
            stderr=err, env={**self._environment(), "TD_STANDIN_FD": str(theirs)},
            pass_fds=[theirs], preexec_fn=self._before_the_program)
        for fd in (given, out, err, theirs):
            os.close(fd)
        self.running, self.pid = True, self._process.pid
        self._wait_for_ask("start")

    # ---- waiting

    def _fail(self, why):
        end = "" if self.running else f"\nThe program has ended with {self.status}"
        raise Failure(f"{why}{end}\n--- standard output\n{to_text(self.out.all)}"
                      f"\n--- standard error\n{to_text(self.err.all)}"
                      f"\n--- log\n{self._read(self.log_path)}")

    @staticmethod
    def _read(path):
        """Empty for a pipe, which would be waited for."""
        return read_file(path) if path and os.path.isfile(path) else ""

    def _receive(self, size):
        """So many bytes of the library's; fewer when it is gone."""
        try:
            return self._socket.recv(size, socket.MSG_WAITALL) if size else b""
        except ConnectionResetError:
            return b""

    def _next_report(self, what):
        """The kind of the library's next report. None: the program has ended."""
        deadline = time.monotonic() + PATIENCE
        while self.running:
            poll = select.poll()
            for fd in (self._socket.fileno(), self.out.fd, self.err.fd):
                if fd >= 0:
                    poll.register(fd, select.POLLIN)
            ready = {fd for fd, _ in poll.poll(max(0, deadline - time.monotonic()) * 1000)}
            if not ready:
                self._fail(f"nothing happened for {PATIENCE} seconds after: {what}")
            self.out.drain()
            self.err.drain()
            if self._socket.fileno() in ready:
                head = self._receive(5)
                if len(head) == 5:
                    kind, size = struct.unpack("=cI", head)
                    self._take_report(kind, to_text(self._receive(size)))
                    return kind
                self._reap()
        return None

    def _take_report(self, kind, text):
        if kind == b"t":  # told
            self.told.append(text)
            if text.startswith("create "):
                self._client = text[7:]
        elif kind == b"s":  # sent
            client, request = text.split(" ", 1)
            if client != self._client:
                self._fail("sent with another client's id: " + text)
            self._requests.append(request)
            if self.record:
                record_line("requests", request)
        elif kind == b"r":  # what the real library gave
            self._real_object = text
        elif kind == b"a":  # asked
            self.last_timeout = text
        elif kind == b"x":
            self._fail("the program called " + text)

    def _wait_for_ask(self, what):
        kind = None
        while kind not in (b"a", b"d"):  # d: an order that is no answer is done
            kind = self._next_report(what)
            if kind is None:
                return
        self._asked = True
        self._record_events()

    def _reap(self):
        self.status = self._process.wait(PATIENCE)
        self.running = self._asked = False
        self.out.drain()
        self.err.drain()
        self._record_events()

    def _record_events(self):
        if self.record:
            for line in self._file_lines(self.events_path, "recorded"):
                record_line("events", line)

    def _order(self, kind, text, what):
        if not self._asked:
            self._fail("the program does not wait for TDLib, so not possible: " + what)
        self._asked = False
        raw = to_bytes(text)
        try:
            self._socket.sendall(struct.pack("=cI", kind, len(raw)) + raw)
        except OSError:
            pass  # it has ended, as the wait finds out
        self._wait_for_ask(what)

    # ---- Each returns when the program waits for TDLib again, or has ended.

    def feed(self, text):
        """Bytes of any number: also half a line, or thousands of them."""
        raw = memoryview(to_bytes(text))
        what = "input " + to_text(raw[:200])
        while True:
            try:
                raw = raw[os.write(self._input, raw):]
            except BlockingIOError:
                pass
            self._order(b"N", "", what)
            if not raw or not self._asked:
                return

    def send_line(self, line):
        self.feed(line + "\n")

    def deliver(self, text):
        """One object from TDLib."""
        self._order(b"O", text, f"object {text[:200]}")

    def answer(self, text, tag):
        """The same with its tag in the place of the last brace, which is how TDLib answers. The
        tag is inserted as it is."""
        self.deliver(text[:text.rfind("}")] + f',"@extra":"{tag}","@client_id":1}}')

    def idle(self):
        """One receive call that gives nothing, as after its timeout."""
        self._order(b"N", "", "an empty receive call")

    def deliver_auth_state(self, state):
        self.deliver('{"@type":"updateAuthorizationState","authorization_state":{"@type":'
                     f'"authorizationState{state}"}},"@client_id":{self._client}}}')

    def login(self):
        self.deliver_auth_state("WaitTdlibParameters")
        self.answer(OK, "setParams")
        self.deliver_auth_state("Ready")
        self.forget()

    def receive_real(self):
        """Has the real library asked; its object, or an empty text when there was none."""
        self._order(b"G", "", "a receive call of the real library")
        return self._real_object

    def fault(self, name):
        """Commits a fault inside the receive call (names: tests/standin/standin.cpp)."""
        self._order(b"F", name, "fault " + name)
        if self.running:
            self._fail("the program has survived the fault " + name)

    def log_from_tdlib(self, threads, times, level, message):
        """The log callback is called during the receive call, so many times on each of so many
        threads; with 0 threads on the main one."""
        self._order(b"L", f"{threads} {times} {level} {message}", "log line")

    # ---- What came since the last call of the same function.

    def requests(self):
        requests, self._requests = self._requests, []
        return requests

    def _file_lines(self, path, place):
        if not path or not os.path.isfile(path):
            return []
        with open(path, "rb") as file:
            file.seek(self._taken[place])
            whole = file.read().rpartition(b"\n")[0:2]
        self._taken[place] += sum(map(len, whole))
        return to_text(b"".join(whole)).split("\n")[:-1]

    def events(self):
        return self._file_lines(self.events_path, "events")

    def log_lines(self):
        return self._file_lines(self.log_path, "log")

    def dbg_lines(self):
        """The backend's own lines of the log, without their beginning."""
        begin = "[backend] "
        return [line[len(begin):] for line in self.log_lines() if line.startswith(begin)]

    def replies(self):
        return self.out.lines()

    def error_lines(self):
        return self.err.lines()

    def forget(self):
        for take in (self.requests, self.events, self.log_lines, self.replies, self.error_lines):
            take()

    def wait_for_request(self):
        """A request that the program's waking thread sends while the program waits."""
        while not self._requests:
            if self._next_report("waiting for a request") is None:
                self._fail("no request")
        return self._requests.pop(0)

    def _path(self, name):
        value = self.env.get(name)
        return str(self.dir / value) if value else ""

    @property
    def events_path(self):
        return self._path("BACKEND_EVENTS_FILE")

    @property
    def log_path(self):
        return self._path("TDLIB_LOG_FILE")

    # ---- the world around the program

    def advance_ms(self, ms):
        """Moves the held clock. Nothing is handled by that alone."""
        self._clock[0] += ms * 10 ** 6
        self._clock[1] += ms * 10 ** 6

    def write_input(self, text):
        """Without anything being handled."""
        raw = to_bytes(text)
        if os.write(self._input, raw) != len(raw):
            self._fail("standard input is full")

    def close_input(self):
        os.close(self._input)
        self._input = -1

    def signal(self, number):
        if not self.running:
            self._fail("the program has ended, and cannot be sent a signal")
        os.kill(self.pid, number)

    # ---- the ends

    def quit(self):
        self.write_input("quit\n")
        return self.wait_exit()

    def wait_exit(self):
        """The status of the end, after up to three empty receive calls."""
        for _ in range(3):
            if self._asked:
                self.idle()
        if self._asked:
            self._fail("the program should have ended, and still waits for TDLib")
        while self._next_report("waiting for the program's end") is not None:
            pass
        self._collected = True
        if any(report in to_text(self.err.all) for report in REPORTS):
            self._fail("a sanitizer has reported")
        return self.status

    def kill(self):
        """Ends it the hard way, and nothing is expected of it any more."""
        if self.running:
            self._process.kill()
            self._reap()
        self._collected = True


def leave_the_network():
    """Into a namespace with a network of its own, which has no way out."""
    new_network, new_user = 0x40000000, 0x10000000
    user, group = os.getuid(), os.getgid()
    if libc.unshare(new_network) == 0:
        return
    if libc.unshare(new_user | new_network) != 0:
        raise OSError(ctypes.get_errno(), "unshare")
    write_file("/proc/self/setgroups", "deny")
    write_file("/proc/self/uid_map", f"{user} {user} 1")
    write_file("/proc/self/gid_map", f"{group} {group} 1")

