"""A call of a web service, against a plain POST and against a client from the service's own generator."""

import os
import statistics
import subprocess

from figure import Figure
from inprocess import runs, typical_times
from session import Session


def measure(programs):
    """Client and service share a processor: so a change of thread costs what it needs, and not the time until another
    processor wakes up, which is longer than a call and has nothing to do with the client."""
    one_processor = ("taskset", "--cpu-list", str(min(os.sched_getaffinity(0))))
    with Session() as session:
        service = session.start(*one_processor, programs / "lectures-service", stdout=subprocess.PIPE)
        session.environment["LECTURES_URL"] = f"http://127.0.0.1:{service.stdout.readline().strip()}/"
        told = runs(session, programs / "SoapCallBenchmark", 40, one_processor)
    time = typical_times(told, "real_time", statistics.median)
    for name, peer, limit in (("POST", "POST by libcurl", 1.3), ("generated", "generated client", 1.5)):
        yield Figure(f"web service call / {peer}", time["ours"], time[name], limit)
        yield Figure("  by a thread that waits for it", time["ours, awaited"], time[name])
