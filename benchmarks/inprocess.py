"""What Google Benchmark measures: "ours" and "peer" take turns in random order, and their medians are compared."""

import json

from figure import Figure
from session import Session, Simulator

UNITS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1}


def medians(session, program, repetitions, clock):
    """The median seconds of each benchmark in a program, by the first word of its name."""
    report = json.loads(session.run(program, "--benchmark_format=json", f"--benchmark_repetitions={repetitions}",
                                    "--benchmark_enable_random_interleaving=true"))
    return {
        each["run_name"].split("/iterations")[0].split("/")[-1]: each[clock] * UNITS[each["time_unit"]]
        for each in report["benchmarks"] if each.get("aggregate_name") == "median"
    }


def log(programs):
    with Session() as session:
        time = medians(session, programs / "LogBenchmark", 60, "cpu_time")
    yield Figure("log line / write(2)", time["ours"], time["peer"], 4)
    with_journal = time.get("ours, with the journal")
    if with_journal:
        yield Figure("log line with journal / write(2)", with_journal, time["peer"])


def tick(programs):
    with Session() as session:
        time = medians(session, programs / "TickBenchmark", 10, "cpu_time")
    yield Figure("tick, 10,000 images / 20,000 stat(2)", time["ours"], time["peer"], 2)


def poll(programs):
    with Session() as session:
        simulator = Simulator(session, programs)
        simulator.present()
        time = medians(session, programs / "PollBenchmark", 60, "real_time")
    yield Figure("poll / bare round trip", time["ours"], time["peer"], 2.5)
    yield Figure("  its windows and screens alone", time["display"], time["peer"])


def start(programs):
    with Session() as session:
        time = medians(session, programs / "StartBenchmark", 60, "real_time")
    yield Figure("start to answer / empty service", time["ours"], time["peer"], 3)
