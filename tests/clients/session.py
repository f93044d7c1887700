"""A session bus, a home and programs of a test's own."""
import contextlib
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest

BUILD = pathlib.Path(os.environ["KCS_BUILD"])
CLIENTS = pathlib.Path(__file__).parents[2] / "docs/clients"
DEADLINE = 30
sys.path.insert(0, str(CLIENTS))


class Child:
    """A program whose lines a test reads; its standard error is among them."""

    def __init__(self, *command, environment=None, deadline=DEADLINE):
        self._process = subprocess.Popen([str(word) for word in command], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                         stderr=subprocess.STDOUT, text=True, env=environment, start_new_session=True)
        # Whatever hangs, a test ends.
        self._end = threading.Timer(deadline, self._kill)
        self._end.start()
        self.lines = []

    def wait_for(self, text):
        for line in self._process.stdout:
            self.lines.append(line.rstrip("\n"))
            if text in line:
                return line
        raise AssertionError(f"no {text!r} in {self.lines}")

    def play(self, *commands):
        for command in commands:
            print(command, file=self._process.stdin, flush=True)
            self.wait_for("ok " + command)

    def close_input(self):
        self._process.stdin.close()

    def send(self, number):
        self._process.send_signal(number)

    def interrupt(self):
        """As a terminal does: all that it has started, too."""
        os.killpg(self._process.pid, signal.SIGINT)

    def _kill(self):
        """All of the group, whose number stays taken while one of it lives."""
        with contextlib.suppress(ProcessLookupError):
            os.killpg(self._process.pid, signal.SIGKILL)

    def status(self):
        """As a shell tells it."""
        status = self._process.wait()
        return status if status >= 0 else 128 - status

    def rest(self):
        """The exit status; what was still to be said is among the lines."""
        self.lines += self._process.stdout.read().splitlines()
        return self._process.wait()

    def end(self):
        self._end.cancel()
        self._kill()
        self._process.wait()
        self._process.stdin.close()
        self._process.stdout.close()


class Session(unittest.TestCase):
    services = "/nonexistent"  # what the bus can start

    def setUp(self):
        folder = tempfile.TemporaryDirectory(dir="/tmp")
        self.addCleanup(folder.cleanup)
        self.home = pathlib.Path(folder.name)
        for name in ("DISPLAY", "WAYLAND_DISPLAY", "XDG_RUNTIME_DIR", "XDG_DATA_HOME", "XDG_CONFIG_HOME"):
            os.environ.pop(name, None)
        os.environ.update(HOME=str(self.home), TMPDIR=str(self.home), LC_ALL="C.UTF-8", PYTHONPATH=str(CLIENTS))
        services = f"<servicedir>{self.services}</servicedir>"
        (self.home / "bus.conf").write_text(
            f"<busconfig><type>session</type><listen>unix:dir={self.home}</listen>{services}<policy context='default'>"
            "<allow send_destination='*' eavesdrop='true'/><allow eavesdrop='true'/><allow own='*'/></policy></busconfig>")
        self.bus = self.start("dbus-daemon", f"--config-file={self.home}/bus.conf", "--nofork", "--nopidfile", "--print-address",
                              deadline=300)
        os.environ["DBUS_SESSION_BUS_ADDRESS"] = self.bus.wait_for("unix:").strip()

    def start(self, *command, **arguments):
        child = Child(*command, **arguments)
        self.addCleanup(child.end)
        return child

    def start_service(self):
        service = self.start(BUILD / "bin/KeynoteCaptureService")
        self.wait_until(lambda: subprocess.run(
            ["dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus", "/", "org.freedesktop.DBus.GetNameOwner",
             "string:com.veldrin.KeynoteCaptureService"], capture_output=True).returncode == 0)
        return service

    def launch_program(self):
        program = self.start(BUILD / "bin/keynote-simulator", "-", "--no-window")
        program.play("launch", "open Optics slides 3")
        return program

    def wait_until(self, condition):
        end = time.monotonic() + DEADLINE
        while not condition():
            self.assertLess(time.monotonic(), end)
            time.sleep(0.02)
