"""What happens when the error stream is a terminal: colour, and none when it is not wanted."""
import os
import pty
import re
import signal
import subprocess
import threading
import time
import unittest

import support
from support import *


def run_at_terminal(arguments, cwd, env=None, meanwhile=None, typed=None):
    """The exit code, standard output, and what the terminal that is the error stream showed. `typed` stands ready at
    the terminal, which is the input then too."""
    master, slave = pty.openpty()
    if typed is not None:
        os.write(master, typed)
    environment = dict(os.environ, TERM="xterm")
    environment.update(env or {})
    if not (env or {}).get("NO_COLOR"):
        environment.pop("NO_COLOR", None)
    process = subprocess.Popen([support.TOOL, *arguments], cwd=cwd, env=environment, stdin=subprocess.DEVNULL if typed is None else slave,
                               stdout=subprocess.PIPE, stderr=slave)
    os.close(slave)
    if meanwhile:
        meanwhile(process)
    shown = b""
    while True:
        try:
            piece = os.read(master, 4096)
        except OSError:
            break
        if not piece:
            break
        shown += piece
    out = process.stdout.read()
    process.stdout.close()
    os.close(master)
    return process.wait(60), out, shown


class Terminal(ToolTest):
    def test_messages_are_coloured_on_a_terminal(self):
        code, out, shown = run_at_terminal(["info", "missing.stl"], self.folder)
        self.assertEqual((code, out), (INPUT, b""))
        self.assertIn(b"\033[1;31merror:\033[0m", shown)

    def test_no_color_and_dumb_terminals_are_honoured(self):
        for env in ({"NO_COLOR": "1"}, {"TERM": "dumb"}):
            _, _, shown = run_at_terminal(["info", "missing.stl"], self.folder, env)
            self.assertNotIn(b"\033", shown)
            self.assertIn(b"trqprep: error: missing.stl:", shown)

    def test_the_person_at_the_terminal_is_asked(self):
        vent = "1 2 3 0 0 1 2\n"
        for typed, exit, left in ((b"n\n", NO, vent), (b"\n", NO, vent), (b"y\n", DONE, None)):
            self.write("box.stl", binary_stl(box_facets((10, 10, 10))))
            self.write("box.V_D", vent)
            with self.subTest(typed):
                code, _, shown = run_at_terminal(["vents", "remove", "box.stl", "--all"], self.folder, typed=typed)
                self.assertEqual(code, exit, shown)
                self.assertIn(b"[y/N]", shown)
                file = self.path("box.V_D")
                self.assertEqual(file.read_text() if file.exists() else None, left)
        # Without a terminal on both sides nobody is asked, nor when --yes was given.
        self.write("box.V_D", vent)
        code, _, shown = run_at_terminal(["vents", "remove", "box.stl", "--all"], self.folder)
        self.assertEqual((code, b"[y/N]" in shown), (NO, False))
        code, _, shown = run_at_terminal(["vents", "remove", "box.stl", "--all", "--yes"], self.folder, typed=b"n\n")
        self.assertEqual((code, b"[y/N]" in shown), (DONE, False))

    def test_short_work_shows_no_progress(self):
        self.write("box.stl", binary_stl(box_facets()))
        code, _, shown = run_at_terminal(["info", "box.stl"], self.folder)
        self.assertEqual((code, shown), (DONE, b""))

    def hold(self, seconds):
        """The picture goes into a pipe that nobody reads for a while: the work lasts that long."""
        os.mkfifo(self.path("pipe"))
        self.write("box.stl", binary_stl(box_facets()))

        def meanwhile(process):
            time.sleep(seconds)
            threading.Thread(target=self.path("pipe").read_bytes, daemon=True).start()
        return run_at_terminal(["place", "box.stl,copies=2", "--svg", "pipe"], self.folder, meanwhile=meanwhile)

    def test_long_work_shows_progress_that_is_cleared_in_the_end(self):
        code, _, shown = self.hold(4)
        self.assertEqual(code, DONE, shown)
        shares = [int(share) for share in re.findall(rb"(\d+)% ", shown)]
        self.assertTrue(shares, shown)
        self.assertEqual(shares, sorted(shares))
        self.assertTrue(shown.endswith(b"\r\033[K"), shown)

    def test_there_is_no_progress_off_a_terminal(self):
        os.mkfifo(self.path("pipe"))
        self.write("box.stl", binary_stl(box_facets()))
        reader = threading.Timer(2.5, self.path("pipe").read_bytes)
        reader.start()
        result = self.good("place", "box.stl,copies=2", "--svg", "pipe")
        reader.join()
        self.assertEqual(result.err, "")

    def test_an_interruption_clears_the_progress(self):
        os.mkfifo(self.path("pipe"))
        self.write("box.stl", binary_stl(box_facets()))

        def meanwhile(process):
            time.sleep(3)
            process.send_signal(signal.SIGINT)
        code, _, shown = run_at_terminal(["place", "box.stl,copies=2", "--svg", "pipe"], self.folder, meanwhile=meanwhile)
        self.assertEqual(code, INTERRUPTED)
        self.assertIn(b"[INTERRUPTED]", shown)


if __name__ == "__main__":
    unittest.main()
