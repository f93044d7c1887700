"""A session of its own: a bus, a display with a window manager, a home directory, and the processes in it."""

import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time

PATIENCE = 60  # seconds until something that was awaited counts as broken


def wait_for(condition, what, seconds=PATIENCE):
    """The first true answer of the condition."""
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        answer = condition()
        if answer:
            return answer
        time.sleep(0.02)
    raise TimeoutError(f"{what}: not within {seconds} s")


class Session:
    def __init__(self, services=()):
        """The bus starts these services: their programs by name."""
        self._services = dict(services)
        self._processes = []

    def __enter__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="keynote-capture-benchmark-"))
        try:
            self._set_up()
        except BaseException:
            self.__exit__()
            raise
        return self

    def _set_up(self):
        self.environment = {**os.environ, "HOME": str(self.folder), "TMPDIR": str(self.folder), "LC_ALL": "C.UTF-8"}
        for name in ("XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR", "WAYLAND_DISPLAY"):
            self.environment.pop(name, None)
        for name, program in self._services.items():
            file = self.folder / f"share/dbus-1/services/{name}.service"
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(f"[D-BUS Service]\nName={name}\nExec={program}\n")
            self.environment["XDG_DATA_DIRS"] = f"{self.folder}/share:/usr/local/share:/usr/share"
        bus = self.start("dbus-daemon", "--session", "--nofork", "--print-address=1", stdout=subprocess.PIPE)
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = bus.stdout.readline().strip()
        screen = self.start("Xvfb", "-displayfd", "1", "-screen", "0", "1440x900x24", "-nolisten", "tcp",
                            stdout=subprocess.PIPE)
        self.environment["DISPLAY"] = ":" + screen.stdout.readline().strip()
        ready = self.folder / "ready"
        self.start("openbox", "--sm-disable", "--startup", f"touch {ready}")
        wait_for(ready.exists, "the window manager")

    def __exit__(self, *_):
        for process in reversed(self._processes):
            self.end(process)
        shutil.rmtree(self.folder, ignore_errors=True)

    def start(self, *command, **options):
        """Starts a process in a group of its own; its standard error goes to a log file named after it."""
        with open(self.log_of(command[0]), "ab") as log:
            process = subprocess.Popen([str(word) for word in command], env=self.environment, text=True,
                                       start_new_session=True, **{"stdout": log, "stderr": log, **options})
        self._processes.append(process)
        return process

    def run(self, *command):
        """Runs a program and answers its standard output."""
        process = subprocess.run([str(word) for word in command], env=self.environment, text=True, capture_output=True)
        if process.returncode != 0:
            raise RuntimeError(f"{command[0]}: status {process.returncode}\n{process.stderr}")
        return process.stdout

    @staticmethod
    def end(process, patience=10):
        for number in (signal.SIGTERM, signal.SIGKILL):
            try:
                os.killpg(process.pid, number)
                process.wait(patience)
            except (ProcessLookupError, subprocess.TimeoutExpired):
                pass

    def log_of(self, command):
        return self.folder / f"{pathlib.Path(command).name}.log"


class Simulator:
    """A simulated presentation program that follows commands."""

    def __init__(self, session, programs):
        self._process = session.start(programs / "keynote-simulator", "-", stdin=subprocess.PIPE,
                                      stdout=subprocess.PIPE)

    def do(self, line):
        """Gives a command and waits until it is done."""
        self._process.stdin.write(line + "\n")
        self._process.stdin.flush()
        for answer in self._process.stdout:
            if answer.strip() == "ok " + line:
                return
            if not answer.startswith("event "):
                break
        raise RuntimeError(f"the simulator did not do: {line}")

    def present(self):
        for line in ("launch", "open Lecture slides 12", "start"):
            self.do(line)
