"""How long nobody watches a show whose service is killed: the recorder has the bus start it again."""

import os
import random
import re
import signal
import statistics
import time

from figure import Figure
from session import PATIENCE, Session, Simulator, wait_for

SEED = 20240306
KILLS = 20
LIMIT = 2  # seconds
NAME = "com.veldrin.KeynoteCaptureService"


def service_process(session):
    reply = session.run("dbus-send", "--print-reply=literal", "--dest=org.freedesktop.DBus", "/",
                        "org.freedesktop.DBus.GetConnectionUnixProcessID", f"string:{NAME}")
    return int(re.search(r"uint32 (\d+)", reply).group(1))


def detections(log):
    """How many services have found the show, as the recorder has heard it."""
    return log.read_text().count('{"event":"startedPresenting"')


def seconds_without(session, log):
    """Kills the service; answers the seconds until the show is seen again."""
    process, seen = service_process(session), detections(log)
    killed = time.monotonic()
    os.kill(process, signal.SIGKILL)
    while detections(log) == seen:
        if time.monotonic() > killed + PATIENCE:
            raise TimeoutError("the service is not there again")
        time.sleep(0.001)
    return time.monotonic() - killed


def measure(programs):
    chance = random.Random(SEED)
    with Session({NAME: programs / "KeynoteCaptureService"}) as session:
        Simulator(session, programs).present()
        log = session.folder / "record.jsonl"
        with open(log, "wb") as lines:
            session.start(programs / "keynote-capture", "record", "--to", session.folder / "captures", "--json",
                          stdout=lines)
        wait_for(lambda: detections(log), "the show")
        times = []
        for _ in range(KILLS):
            time.sleep(0.2 + chance.random())
            times.append(seconds_without(session, log))
    yield Figure("unseen after kill -9 of the service: median", statistics.median(times), LIMIT, 1)
    yield Figure(f"  longest of {KILLS}", max(times), LIMIT, 1)
