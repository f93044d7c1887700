"""A call of a web service, against a plain POST and against a client from the service's own generator."""

import subprocess

from figure import Figure
from inprocess import ONE_PROCESSOR, times
from session import Session


def measure(programs):
    with Session() as session:
        service = session.start(*ONE_PROCESSOR, programs / "lectures-service", stdout=subprocess.PIPE)
        session.environment["LECTURES_URL"] = f"http://127.0.0.1:{service.stdout.readline().strip()}/"
        time = times(session, programs / "SoapCallBenchmark", 40, "real_time", prefix=ONE_PROCESSOR)
    for name, peer, limit in (("POST", "POST by libcurl", 1.3), ("generated", "generated client", 1.5)):
        yield Figure(f"web service call / {peer}", time["ours"], time[name], limit)
        yield Figure("  by a thread that waits for it", time["ours, awaited"], time[name])
