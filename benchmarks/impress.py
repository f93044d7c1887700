"""A real office exports a long deck: how much of the time it is busy exporting, and how soon its images are moved."""

import datetime
import pathlib
import re
import shutil

from figure import Figure
from session import Session, wait_for

EXAMPLE = pathlib.Path(__file__).parent.parent / "examples/lecture.fodp"
SLIDES = 200
ADVANCE = 0.5
INTERVAL = 0.25
TICK = 0.5 + 0.1  # interval and leeway with which images are looked for
MINUTES = 60

SETTINGS = """<?xml version="1.0" encoding="UTF-8"?>
<oor:items xmlns:oor="http://openoffice.org/2001/registry">
<item oor:path="/org.openoffice.Office.Common/Misc"><prop oor:name="FirstRun"><value>false</value></prop></item>
<item oor:path="/org.openoffice.Office.Common/Misc"><prop oor:name="ShowTipOfTheDay"><value>false</value></prop></item>
</oor:items>
"""


def write_long_deck(path, slides):
    """The example's pages again and again, each with a name of its own and none of them hidden."""
    text = EXAMPLE.read_text().replace('"page-hidden"', '"page"')
    pages = re.findall(r"<draw:page .*?</draw:page>", text, re.DOTALL)
    head, tail = text[: text.index(pages[0])], text[text.index(pages[-1]) + len(pages[-1]) :]
    repeated = (pages[i % len(pages)].replace('draw:name="', f'draw:name="{i + 1} ', 1) for i in range(slides))
    path.write_text(head + "\n".join(repeated) + tail)


def office(programs, name):
    """The office's program, or an end with a sentence."""
    soffice = shutil.which("soffice")
    if not soffice or not (programs / "keynote-impress").exists():
        raise SystemExit(f"{name}: needs the office and keynote-impress (packages libreoffice-impress, libreoffice-dev)")
    return soffice


def start_office(session, soffice, pipe):
    session.environment["SAL_USE_VCLPLUGIN"] = "gen"
    profile = session.folder / "profile"
    (profile / "user").mkdir(parents=True)
    (profile / "user/registrymodifications.xcu").write_text(SETTINGS)
    session.start(soffice, f"--accept=pipe,name={pipe};urp;", "--norestore", "--nologo", "--nodefault",
                  "--nofirststartwizard", f"-env:UserInstallation={profile.as_uri()}")


def command_time(log):
    """When the service told the program to export, in seconds since 1970."""
    stamp = re.search(r"^(\S+ \S+) Starting export of slide images", log.read_text(), re.MULTILINE).group(1)
    return datetime.datetime.strptime(stamp, "%Y-%m-%d %H:%M:%S.%f%z").timestamp()


def measure(programs):
    soffice = office(programs, "impress")
    with Session() as session:
        deck, captures = (session.folder / name for name in ("long.fodp", "captures"))
        write_long_deck(deck, SLIDES)

        session.start(programs / "KeynoteCaptureService")
        recorder = programs / "keynote-capture"
        session.start(recorder, "record", "--to", captures, "--polling-interval", INTERVAL)
        start_office(session, soffice, session.folder.name)
        bridge = programs / "keynote-impress"
        session.start(bridge, "--pipe", session.folder.name, "--present", deck, "--advance", ADVANCE)

        recorded, bridged = session.log_of(recorder), session.log_of(bridge)
        done = wait_for(lambda: re.search(r"show ended.*", recorded.read_text()), "the end of the show", 10 * MINUTES)
        exported = wait_for(lambda: re.search(r"Exported (\d+) of \d+ slides in (\S+) s, (\S+) %", bridged.read_text()),
                            "the export")
        moved = [path.stat() for path in captures.glob("*/*.jpg")]
        left = [path.stat() for path in session.folder.glob("Library/**/slide/*.jpg")]
        if "in place" not in done.group() or int(exported.group(1)) != SLIDES or len(moved) + len(left) != SLIDES:
            raise RuntimeError(f"{exported.group()} {len(moved)} were moved, {len(left)} not. {done.group()}")

        # The last write to an image is when it appeared, the change of its directory entry is when it was moved.
        last = max(image.st_mtime for image in moved + left)
        in_filter = float(exported.group(2)) * float(exported.group(3)) / 100
        elapsed = last - command_time(next(session.folder.glob(".local/share/*/Veldrin.log")))
        slowest = max(image.st_ctime - image.st_mtime for image in moved)
    yield Figure(f"{SLIDES} slides: in the office / all", in_filter, elapsed, 0.9, at_least=True)
    yield Figure(f"slowest move of {len(moved)} images / tick", slowest, TICK, 1)
