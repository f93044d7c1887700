"""Runs the benchmarks and prints how each figure stands against its peer and its limit. run.sh builds and calls this."""

import argparse
import pathlib
import sys

import extract
import impress
import inprocess
import lecture
import polling
import restart
import search
import soap
import soapcall
import truth

MEASUREMENTS = {
    "log": inprocess.log,
    "journal": inprocess.journal,
    "tick": inprocess.tick,
    "poll": inprocess.poll,
    "start": inprocess.start,
    "polling": polling.measure,
    "restart": restart.measure,
    "strings": inprocess.strings,
    "text": inprocess.text,
    "search": search.measure,
    "soap": soap.measure,
    "soapcall": soapcall.measure,
    "extract": extract.measure,
    "http": inprocess.http,
    "impress": impress.measure,
    "lecture": lecture.measure,
    "truth": truth.measure,
}
LONG = {"extract", "impress", "lecture", "truth"}  # only when asked for


def main():
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("--programs", type=pathlib.Path, required=True, help="the folder of the built programs")
    arguments.add_argument("names", nargs="*", metavar="NAME", help=", ".join(MEASUREMENTS))
    options = arguments.parse_args()
    unknown = set(options.names) - set(MEASUREMENTS)
    if unknown:
        arguments.error(f"no measurement {', '.join(sorted(unknown))}; there are {', '.join(MEASUREMENTS)}")

    form = "{:38} {:>14} {:>14} {:>8} {:>8}  {}"
    print(form.format("name", "ours", "peer", "ratio", "limit", "ok"))
    failed = False
    for name in options.names or [name for name in MEASUREMENTS if name not in LONG]:
        for figure in MEASUREMENTS[name](options.programs.resolve()):
            failed |= figure.ok is False
            print(form.format(*figure.columns()), flush=True)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
