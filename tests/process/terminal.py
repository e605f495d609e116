"""A terminal with a screen: runs a program on a pseudo-terminal and renders what it draws."""

import fcntl
import os
import select
import struct
import subprocess
import termios
import threading
import time

import pyte

from support import PATIENCE


class Terminal:
    """The program's standard output, error and input are the terminal, which is its controlling one."""

    def __init__(self, command, directory, columns=80, rows=24, environment=None):
        self._screen = pyte.HistoryScreen(columns, rows, history=1000)
        self._stream = pyte.ByteStream(self._screen)
        self._lock = threading.Lock()  # guards the screen and what was received
        self._received = b""
        self._hung_up = False
        self._master, slave = os.openpty()
        self._set_size(columns, rows)

        def take_terminal():
            os.setsid()
            fcntl.ioctl(slave, termios.TIOCSCTTY, 0)

        environment = {**os.environ, "TERM": "xterm", **(environment or {})}
        environment = {name: value for name, value in environment.items() if value is not None}
        self.process = subprocess.Popen(
            command, cwd=directory, env=environment, stdin=slave, stdout=slave, stderr=slave, preexec_fn=take_terminal
        )
        os.close(slave)
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        while not self._hung_up:
            if not select.select([self._master], [], [], 0.1)[0]:
                continue
            try:
                data = os.read(self._master, 65536)
            except OSError:  # nobody has the other side open
                return
            if not data:
                return
            with self._lock:
                self._received += data
                self._stream.feed(data)

    def _set_size(self, columns, rows):
        fcntl.ioctl(self._master, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))

    def resize(self, columns, rows, wrap=False):
        """As another size of the window. Some terminals cut rows that are too long then, others wrap them."""
        with self._lock:
            above_cursor = [row.rstrip() for row in self._screen.display[: self._screen.cursor.y]]
            self._screen.resize(rows, columns)
            if wrap:
                self._screen.reset()
                for row in above_cursor:
                    pieces = [row[at : at + columns] for at in range(0, max(1, len(row)), columns)]
                    self._stream.feed("".join(piece + "\r\n" for piece in pieces).encode())
            self._set_size(columns, rows)

    def rows(self):
        """What the screen shows, without blanks at the ends of rows and without empty rows at its end."""
        with self._lock:
            rows = [row.rstrip() for row in self._screen.display]
        while rows and not rows[-1]:
            rows.pop()
        return rows

    def colours(self):
        """The colours of everything on the screen that is no blank."""
        with self._lock:
            return {
                character.fg
                for row in self._screen.buffer.values()
                for character in row.values()
                if character.data.strip()
            }

    def received(self):
        with self._lock:
            return self._received

    def wait_until(self, condition):
        """Waits until a condition on the rows holds; returns the rows."""
        deadline = time.monotonic() + PATIENCE
        while True:
            rows = self.rows()
            if condition(rows):
                return rows
            if time.monotonic() > deadline:
                raise AssertionError("the screen never was as expected:\n" + "\n".join(rows))
            time.sleep(0.02)

    def press(self, keys):
        os.write(self._master, keys)

    def hang_up(self):
        """Closes the terminal, as its window does."""
        self._hung_up = True
        self._reader.join(timeout=PATIENCE)
        os.close(self._master)

    def end(self):
        status = self.process.wait(timeout=PATIENCE)
        self._reader.join(timeout=PATIENCE)
        return status

    def dispose(self):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait(timeout=PATIENCE)
        self._reader.join(timeout=PATIENCE)
        if not self._hung_up:
            os.close(self._master)
