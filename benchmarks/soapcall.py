"""A call of a web service, against a plain POST and against a client from the service's own generator."""

import statistics
import subprocess

from figure import Figure
from inprocess import runs, typical_times
from session import Session


def measure(programs):
    """The calls pass between threads, which other work on the machine hides; so the best series is told as well."""
    with Session() as session:
        service = session.start(programs / "lectures-service", stdout=subprocess.PIPE)
        session.environment["LECTURES_URL"] = f"http://127.0.0.1:{service.stdout.readline().strip()}/"
        told = runs(session, programs / "SoapCallBenchmark", 40)
    time = typical_times(told, "real_time", statistics.median)
    best = typical_times(told, "real_time", min)
    for name, peer, limit in (("POST", "POST by libcurl", 1.3), ("generated", "generated client", 1.5)):
        yield Figure(f"web service call / {peer}", time["ours"], time[name], limit)
        yield Figure("  best series", best["ours"], best[name])
