"""What Google Benchmark measures: "ours" and "peer" take turns in random order and are compared."""

import contextlib
import json
import os
import statistics

from figure import Figure
from session import Session, Simulator

#: A command before another one. On one processor a change of thread costs what it needs, and not the time until another
#: processor wakes up, which is longer than a small call and has nothing to do with who makes it.
ONE_PROCESSOR = ("taskset", "--cpu-list", str(min(os.sched_getaffinity(0))))
UNITS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1}


def runs(session, program, repetitions, prefix=()):
    """What the runs of each benchmark in a program told, by its own part of the name. The prefix is a command before
    the program's."""
    report = json.loads(session.run(*prefix, program, "--benchmark_format=json", f"--benchmark_repetitions={repetitions}",
                                    "--benchmark_enable_random_interleaving=true"))
    told = {}
    for each in report["benchmarks"]:
        if each["run_type"] == "iteration":
            told.setdefault(each["run_name"].split("/iterations")[0].split("/")[-1], []).append(each)
    return told


def typical_times(told, clock, typical=statistics.median):
    """The typical seconds of each benchmark."""
    return {name: typical(each[clock] * UNITS[each["time_unit"]] for each in series) for name, series in told.items()}


def times(session, program, repetitions, clock, typical=statistics.median, prefix=()):
    return typical_times(runs(session, program, repetitions, prefix), clock, typical)


def log(programs):
    with Session() as session:
        time = times(session, programs / "LogBenchmark", 60, "cpu_time")
    yield Figure("log line / write(2)", time["ours"], time["peer"], 4)
    with_journal = time.get("ours, with the journal")
    if with_journal:
        yield Figure("log line with journal / write(2)", with_journal, time["peer"])


def journal(programs):
    with Session() as session:
        time = times(session, programs / "JournalBenchmark", 40, "real_time")
    yield Figure("journal line / write(2) and fdatasync(2)", time["ours"], time["peer"], 1.3)


def tick(programs):
    with Session() as session:
        time = times(session, programs / "TickBenchmark", 10, "cpu_time")
    yield Figure("tick, 10,000 images / 20,000 stat(2)", time["ours"], time["peer"], 2)


@contextlib.contextmanager
def on_one_processor():
    """Everything started within runs on one processor, for the reason of `ONE_PROCESSOR`."""
    all_processors = os.sched_getaffinity(0)
    os.sched_setaffinity(0, {min(all_processors)})
    try:
        yield
    finally:
        os.sched_setaffinity(0, all_processors)


def poll(programs):
    """By the best of many series: other processes that run hold a poll up more often than its shorter peer."""
    with on_one_processor(), Session() as session:
        simulator = Simulator(session, programs)
        simulator.present()
        time = times(session, programs / "PollBenchmark", 60, "real_time", min)
    yield Figure("poll / bare round trip", time["ours"], time["peer"], 2.5)
    yield Figure("  its windows and screens alone", time["display"], time["peer"])


def start(programs):
    with Session() as session:
        time = times(session, programs / "StartBenchmark", 60, "real_time")
    yield Figure("start to answer / empty service", time["ours"], time["peer"], 3)


def strings(programs):
    """Bytes a second; each text is 1 MiB."""
    with Session() as session:
        time = times(session, programs / "StringBenchmark", 10, "cpu_time")
    speed = {name: (1 << 20) / seconds for name, seconds in time.items()}
    for name in ("encode", "decode", "query", "query, many names"):
        yield Figure(f"{name} / 200 MB/s", speed[name], 200e6, 1, "B/s", at_least=True)
        yield Figure("  beside memcpy", speed[name], speed["memcpy"], unit="B/s")


def text(programs):
    with Session() as session:
        told = runs(session, programs / "TextBenchmark", 20)
    time = typical_times(told, "cpu_time")
    yield Figure("text of 1,000 slides / libxml2's dump", time["ours"], time["peer"], 2)
    first = told["ours"][0]
    yield Figure("  peak memory / the file", first["peak"], first["size"], 4, "B")


def http(programs):
    with Session() as session:
        time = times(session, programs / "HttpBenchmark", 30, "real_time", prefix=ONE_PROCESSOR)
    yield Figure("call of 1 kB / libcurl's own POST", time["ours"], time["peer"], 1.6)
    yield Figure("upload of 256 MiB / libcurl's own", time["ours, large"], time["peer, large"], 1.3)
