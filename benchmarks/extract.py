"""Extracting a deck of a hundred slides through the service, against the office's own batch export of the same pages."""

import shutil
import statistics
import subprocess
import time

import impress
from figure import Figure
from session import Session, wait_for

SLIDES = 100
ROUNDS = 3
PEER = impress.pathlib.Path(__file__).parent / "export_peer.py"
PYTHON = "/usr/bin/python3"  # the one that the office's bridge to Python is made for


def measure(programs):
    soffice = impress.office(programs, "extract")
    if subprocess.run([PYTHON, "-c", "import uno"], capture_output=True).returncode != 0:
        raise SystemExit("extract: the peer needs the package python3-uno")
    with Session() as session:
        pipe = session.folder.name
        impress.start_office(session, soffice, pipe)
        session.start(programs / "KeynoteCaptureService")
        bridge = programs / "keynote-impress"
        session.start(bridge, "--pipe", pipe)
        wait_for(lambda: pipe_answers(session, pipe), "the office")

        ours, peers, exports = [], [], []
        for number in range(ROUNDS + 1):
            folder = session.folder / f"extract-{number}"
            folder.mkdir()
            deck = folder / "long.fodp"
            impress.write_long_deck(deck, SLIDES)
            begin = time.monotonic()
            session.run(programs / "keynote-capture", "extract", deck)
            elapsed = time.monotonic() - begin
            if len(list(folder.glob("slide.*.jpg"))) != SLIDES:
                raise RuntimeError("not every image arrived")
            (folder / "peer").mkdir()
            peer, export = map(float, session.run(PYTHON, PEER, pipe, deck, folder / "peer").split())
            if number > 0:  # the first round warms both up
                ours.append(elapsed), peers.append(peer), exports.append(export)
    yield Figure(f"extract {SLIDES} slides / load and export", statistics.median(ours), statistics.median(peers), 1.15)
    yield Figure("of the peer: its export alone", statistics.median(exports), statistics.median(peers))


def pipe_answers(session, pipe):
    """The bridge says on the bus that the office answers."""
    names = session.run("dbus-send", "--session", "--dest=org.freedesktop.DBus", "--print-reply",
                        "/org/freedesktop/DBus", "org.freedesktop.DBus.ListNames")
    return "Keynote.instance" in names
