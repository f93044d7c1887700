"""The service's own consumption while it polls: real processes, a program that presents and a host that records."""

import contextlib
import re
import time

from figure import Figure
from session import Session, Simulator, wait_for

MIB = 1 << 20
SECONDS = 60
SHORT_INTERVAL = 0.05


def memory(process, kind):
    """Bytes of a kind of memory, as the kernel sums it up."""
    text = open(f"/proc/{process.pid}/smaps_rollup").read()
    return 1024 * int(re.search(rf"^{kind}:\s+(\d+) kB$", text, re.MULTILINE).group(1))


def processor_time(process):
    """Seconds of all threads, to the nanosecond: the clock of another process."""
    return time.clock_gettime((~process.pid << 3) | 2)


@contextlib.contextmanager
def recording(programs, *options):
    """A service that polls a program in the middle of a show."""
    with Session() as session:
        service = session.start(programs / "KeynoteCaptureService")
        Simulator(session, programs).present()
        recorder = programs / "keynote-capture"
        session.start(recorder, "record", "--to", session.folder / "captures", *options)
        log = session.log_of(recorder)
        wait_for(lambda: re.search(r"slide +1\b", log.read_text()), "the first slide")
        time.sleep(2)
        yield session, service


def calls(session, seconds):
    """The calls that everybody on the bus makes in this time."""
    monitor = session.start("dbus-monitor", "--profile")
    log = session.log_of("dbus-monitor")
    wait_for(lambda: log.stat().st_size, "the monitor")
    time.sleep(0.5)
    before = log.read_text()
    time.sleep(seconds)
    after = log.read_text()
    session.end(monitor)
    return sum(line.startswith("mc") for line in after[len(before):].splitlines())


def measure(programs):
    with recording(programs) as (session, service):
        start, used = time.monotonic(), processor_time(service)
        time.sleep(SECONDS)
        used, elapsed = processor_time(service) - used, time.monotonic() - start
        yield Figure("polling every 0.25 s: CPU / one core", used, elapsed, 0.005)
        yield Figure("polling: PSS / 1 MiB", memory(service, "Pss"), MIB, 16, "B")
        seconds = 10
        yield Figure("polling: calls on the bus / polls", calls(session, seconds), seconds / 0.25, 2, "")
    with recording(programs, "--polling-interval", SHORT_INTERVAL) as (session, service):
        before = memory(service, "Anonymous")
        time.sleep(1000 * SHORT_INTERVAL)
        yield Figure("memory of its own 1,000 polls later", memory(service, "Anonymous"), before, 1.01, "B")
