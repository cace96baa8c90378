"""How the program refuses to start, and what it takes from its environment, as tables; how it
starts is told in flows/start.txt."""
import re
import unittest

from backend import LIBRARY, STANDIN, Backend, read_file

DB = "TD_USE_MESSAGE_DATABASE"


def invalid(key, text):
    return f"Invalid int value for {key}: '{text}'"


class Start(unittest.TestCase):
    def test_without_a_usable_library(self):
        cases = [("{dir}/td_backend", None, "dlopen('{dir}/libtdjson.so.1.8.61')"),
                 ("./x/../td_backend", None, "dlopen('./x/../libtdjson.so.1.8.61')"),
                 ("/td_backend", None, "dlopen('//libtdjson.so.1.8.61')")]
        # The first, and those that are never called.
        cases += [("{dir}/td_backend", name, f"dlsym('{name}')") for name in
                  ("td_create_client_id", "td_execute", "td_set_log_file_path",
                   "td_set_log_max_file_size")]
        library = (STANDIN / LIBRARY).read_bytes()
        for argv0, missing, detail in cases:
            with self.subTest(detail), Backend(library=False) as run:
                if missing:
                    other = missing.replace("td_", "no_").encode()
                    (run.dir / LIBRARY).write_bytes(library.replace(missing.encode(), other))
                run.argv0 = argv0.format(dir=run.dir)
                run.start()
                self.assertEqual(run.wait_exit(), 3)
                # Behind it comes the loader's own reason.
                self.assertRegex(run.error_lines()[0],
                                 f"^{re.escape(detail.format(dir=run.dir))} failed: .")
                self.assertEqual(run.replies(), ["FATAL failed to load TDLib (dlopen)"])
                self.assertEqual(run.log_lines(), [])

    def test_library_directory_comes_from_the_callers_name(self):
        for name in ("td_backend", ""):
            with Backend(argv0=name) as run:
                run.start()
                self.assertEqual(run.dbg_lines()[2],
                                 f"BACKEND_START pid={run.pid} mode=ui exe_dir=.")
                self.assertEqual(read_file(f"/proc/{run.pid}/comm"), "TDLib UI Lumo\n")

    def test_numbers(self):
        """Four of them are read at each start."""
        cases = [("yes", "bad"), ("0x10", "bad"), ("5 ", "bad"), (" ", "bad"), (" 5", 1), ("+1", 1),
                 ("", 1), ("00", 0), ("9223372036854775808", "bad"), ("9223372036854775807", 1)]
        keys = [f"TD_USE_{name}" for name in ("FILE_DATABASE", "CHAT_INFO_DATABASE",
                                              "MESSAGE_DATABASE", "SECRET_CHATS")]
        for some in (cases[:4], cases[4:8], cases[6:]):
            env = dict(zip(keys, (text for text, _ in some)))
            with self.subTest(some), Backend(env=env) as run:
                run.start()
                told = [1 if said == "bad" else said for _, said in some]
                self.assertEqual(run.error_lines(), [
                    *(invalid(key, text) for key, (text, said) in zip(keys, some) if said == "bad"),
                    "backend: mode=ui raise_rlimits=0 use_file_db=%d use_chat_info_db=%d "
                    "use_message_db=%d use_secret_chats=%d" % tuple(told)])

    def test_without_the_applications_id(self):
        for env, login in (({"TG_API_ID": "0"}, ""), ({"TG_API_ID": "-5"}, ""),
                           ({"TG_API_HASH": ""}, ""),
                           ({"TG_API_ID": "0"}, "TG_API_ID=7\nTG_API_HASH=\n"),
                           ({"TG_API_ID": "abc", "TG_API_HASH": ""}, "")):
            with self.subTest(env), Backend(env=env) as run:
                run.set_env_file("tg_login", login)
                run.start()
                self.assertEqual(run.wait_exit(), 2)
                self.assertEqual(run.replies(), ["FATAL missing TG_API_ID/TG_API_HASH"])
                bad = [invalid("TG_API_ID", "abc")] * 2  # read again
                self.assertEqual(run.error_lines()[:-1], bad if "TG_API_HASH" in env and
                                 "TG_API_ID" in env else [])
                self.assertEqual(read_file(run.log_path), "", "opened after the refusal")

    def test_nobody_reads(self):
        for status, settings in ((0, {}), (2, {"env": {"TG_API_ID": "0"}}), (3, {"library": False})):
            with Backend(unread=True, **settings) as run:
                run.env[DB] = "yes"
                run.start()
                self.assertEqual(run.quit() if status == 0 else run.wait_exit(), status)

    def test_one_backend_per_database(self):
        with Backend() as first:
            first.start()
            with Backend(env={"TDLIB_DB_DIR": str(first.dir / "tdlib-db")}) as second:
                second.start()
                self.assertEqual(second.wait_exit(), 9)
                self.assertEqual(second.replies(), ["FATAL tdlib db locked"])
                busy = f"DB_LOCK busy path={first.dir}/tdlib-db/td_backend.lock err="
                self.assertEqual(second.dbg_lines()[-1][:len(busy)], busy)


if __name__ == "__main__":
    unittest.main()
