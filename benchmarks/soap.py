"""What a web service call does without the network: reading responses, writing envelopes, packing an attachment."""

import statistics

from figure import Figure
from inprocess import times
from session import Session

ATTACHMENT = 1 << 30
ROUNDS = 3


def measure(programs):
    with Session() as session:
        time = times(session, programs / "SoapBenchmark", 10, "cpu_time")
        rounds = [session.run(programs / "SoapBenchmark", "pack", str(ATTACHMENT)).split() for _ in range(ROUNDS)]
    for name in ("table", "tree", "text"):
        yield Figure(f"read a response, {name} / libxml2", time[f"{name}; ours"], time[f"{name}; push"], 2)
        yield Figure("  beside libxml2 on whole documents", time[f"{name}; ours"], time[f"{name}; pull"])
    for name in ("envelope of 1 MiB", "envelope of 16 MiB"):
        yield Figure(f"{name} / memcpy", time[f"{name}; ours"], time[f"{name}; peer"], 2)
    packing, copying, memory = (statistics.median(map(float, column)) for column in zip(*rounds))
    yield Figure("pack 1 GiB / memcpy", packing, copying, 3)
    yield Figure("  its peak memory / 1 GiB", memory, ATTACHMENT, 2.1, "B")
