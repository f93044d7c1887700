"""Whether the timeline is true: a real office shows a deck whose slides are told by their colour, keys are pressed, the
screen is read 2,000 times a second, and every entry's bounds must hold what the screen did."""

import dataclasses
import pathlib
import random
import statistics
import subprocess
import sys
import time

import impress
from figure import Figure
from session import Session, Simulator, wait_for

SEED = 20240305
SLIDES = 300
VISITS = 520
SHORTEST = 0.06  # seconds; a shorter visit may be missed
SHORT_SHOWS = 6
BLACK = 0
MEDIAN, ALMOST_ALL = 0.025, 0.06  # how wide bounds may be
INTERVAL = 0.25
LONGEST = 240  # seconds of pressing keys

HEAD = """<?xml version="1.0" encoding="UTF-8"?>
<office:document xmlns:office="urn:oasis:names:tc:opendocument:xmlns:office:1.0"
 xmlns:style="urn:oasis:names:tc:opendocument:xmlns:style:1.0"
 xmlns:draw="urn:oasis:names:tc:opendocument:xmlns:drawing:1.0"
 xmlns:fo="urn:oasis:names:tc:opendocument:xmlns:xsl-fo-compatible:1.0"
 xmlns:presentation="urn:oasis:names:tc:opendocument:xmlns:presentation:1.0"
 xmlns:svg="urn:oasis:names:tc:opendocument:xmlns:svg-compatible:1.0"
 xmlns:smil="urn:oasis:names:tc:opendocument:xmlns:smil-compatible:1.0"
 xmlns:anim="urn:oasis:names:tc:opendocument:xmlns:animation:1.0"
 office:version="1.3" office:mimetype="application/vnd.oasis.opendocument.presentation">
<office:styles/><office:automatic-styles>
<style:page-layout style:name="screen"><style:page-layout-properties fo:margin="0cm" fo:page-width="28.8cm"
 fo:page-height="18cm" style:print-orientation="landscape"/></style:page-layout>
<style:style style:name="master" style:family="drawing-page"/>
"""
#: A shape that comes at a click.
ANIMATION = """<draw:rect xml:id="s{0}" draw:id="s{0}" svg:x="10cm" svg:y="8cm" svg:width="4cm" svg:height="2cm"/>
<anim:par presentation:node-type="timing-root"><anim:seq presentation:node-type="main-sequence"><anim:par smil:begin="next">
<anim:par smil:begin="0s"><anim:par smil:begin="0s" smil:fill="hold" presentation:node-type="on-click"
 presentation:preset-class="entrance" presentation:preset-id="ooo-entrance-appear"><anim:set smil:begin="0s"
 smil:dur="0.001s" smil:fill="hold" smil:targetElement="s{0}" smil:attributeName="visibility" smil:to="visible"/>
</anim:par></anim:par></anim:par></anim:seq></anim:par>"""


def colour(slide):
    """Far from those of the office's windows, and another for each slide."""
    return (slide * 0x9E3779) & 0xFFFFFF


def is_hidden(slide):
    return slide % 7 == 5


def write_deck(path, slides):
    """Every seventh slide is hidden, every tenth has an animation."""
    styles, pages = [], []
    for slide in range(1, slides + 1):
        hidden = ' presentation:visibility="hidden"' if is_hidden(slide) else ""
        styles.append(f'<style:style style:name="p{slide}" style:family="drawing-page"><style:drawing-page-properties'
                      f'{hidden} draw:fill="solid" draw:fill-color="#{colour(slide):06x}"'
                      f' presentation:background-visible="true"/></style:style>\n')
        pages.append(f'<draw:page draw:name="S{slide}" draw:style-name="p{slide}" draw:master-page-name="master">'
                     f'{ANIMATION.format(slide) if slide % 10 == 3 else ""}</draw:page>\n')
    path.write_text(HEAD + "".join(styles) + '</office:automatic-styles><office:master-styles><style:master-page '
                    'style:name="master" style:page-layout-name="screen" draw:style-name="master"/></office:master-styles>'
                    "<office:body><office:presentation>" + "".join(pages) +
                    '<presentation:settings presentation:mouse-visible="false"/></office:presentation></office:body>'
                    "</office:document>")


@dataclasses.dataclass
class Change:
    """What the screen shows from some moment between two readings on."""

    colour: int
    last_old: float
    first_new: float

    def within(self, entry):
        return self.first_new >= entry.earliest and self.last_old <= entry.latest


@dataclasses.dataclass
class Entry:
    event: str
    slide: int
    earliest: float
    latest: float

    @property
    def width(self):
        return self.latest - self.earliest


def read_entries(log):
    """The lines that are complete."""
    for line in log.read_text().splitlines(keepends=True):
        if line.endswith("\n"):
            event, slide, earliest, latest = line.split()
            yield Entry(event, int(slide), int(earliest) / 1e9, int(latest) / 1e9)


def read_changes(log, pixel):
    for line in log.read_text().splitlines(keepends=True):
        if line.endswith("\n"):
            index, *values = map(int, line.split())
            if index == pixel:
                yield Change(values[0], values[1] / 1e9, values[2] / 1e9)


def follow(session, programs):
    """Starts the service and what follows its timeline; answers the entries' file."""
    session.start(programs / "KeynoteCaptureService")
    asked = ("dbus-send", "--print-reply", "--dest=org.freedesktop.DBus", "/", "org.freedesktop.DBus.NameHasOwner",
             "string:com.veldrin.KeynoteCaptureService")
    wait_for(lambda: "true" in session.run(*asked), "the service")
    return start_writing(session, programs / "TimelineFollower", session.folder / "captures")[1]


def start_writing(session, *command):
    """Starts a process that writes lines; answers it and their file."""
    log = session.folder / f"{command[0].name}.lines"
    with open(log, "wb") as lines:
        return session.start(*command, stdin=subprocess.PIPE, stdout=lines), log


class Lecturer:
    """Presses keys in a real office, and waits for what the screen shows."""

    def __init__(self, session, programs):
        self._session = session
        self._keyboard, self.screen = start_writing(session, programs / "ScreenWatcher")
        self._random = random.Random(SEED)

    def press(self, keys):
        self._keyboard.stdin.write(keys + "\n")
        self._keyboard.stdin.flush()

    def open(self, soffice, deck):
        profile = (self._session.folder / "profile").as_uri()
        title = deck.stem
        self._session.start(soffice, f"-env:UserInstallation={profile}", "--norestore", "--nologo", "--nofirststartwizard",
                            deck)
        wait_for(lambda: (deck.parent / f".~lock.{deck.name}#").exists(), f"the deck {title}")
        # A show that begins while the deck's window is still being laid out may stay black.
        time.sleep(5)

    def _colour(self):
        changes = list(read_changes(self.screen, 0))
        return changes[-1].colour if changes else None

    def start(self, slides):
        self._before = self._colour()
        self.press("F5")
        wait_for(lambda: self._colour() == colour(1), "the show")
        self._slides = slides
        time.sleep(1)

    def _jump(self, may_be_hidden=True):
        slide = self._random.randint(1, self._slides - 50)
        if is_hidden(slide) and not may_be_hidden:
            slide += 1
        self.press(" ".join(str(slide)) + " Return")

    def end(self):
        self.press("Escape")
        wait_for(lambda: self._colour() == self._before, "the end of the show")
        time.sleep(1)

    def visits(self):
        return sum(1 for _ in visits_of(list(read_changes(self.screen, 0)), self._slides))

    def wander(self):
        """One step, and a stay of 60 ms and more. Never far enough to leave the show at its end."""
        kind = self._random.random()
        if kind < 0.6:
            self.press(self._random.choice(("space", "Right")))
        elif kind < 0.75:
            self.press(self._random.choice(("Page_Up", "Left")))
        elif kind < 0.95:
            self._jump()
        elif kind < 0.98:
            self.press("Home")
        else:
            self.press("End space")
            time.sleep(0.4)
            self.press("Page_Up")
            time.sleep(0.2)
            # From a hidden slide the show goes on where it was: at its end.
            self._jump(may_be_hidden=False)
        time.sleep(SHORTEST + (0.08 * self._random.random() if kind * 1000 % 10 < 5 else self._random.expovariate(8)))


@dataclasses.dataclass
class Verdict:
    """What the screen did, held against what the timeline tells."""

    shown: int = 0
    found: int = 0
    wrong: int = 0
    told: int = 0
    ends: int = 0
    true_ends: int = 0


def visits_of(changes, slides):
    """The screen's visits as pairs: change, and seconds until the next."""
    numbers = {colour(slide): slide for slide in range(1, slides + 1)}
    for this, following in zip(changes, changes[1:]):
        if this.colour in numbers:
            yield numbers[this.colour], this, following.last_old - this.first_new


def judge(changes, entries, slides):
    """Both are in order, so each entry belongs to the next visit that it fits."""
    verdict = Verdict()
    visits = [visit for visit in visits_of(changes, slides)]
    entered = [entry for entry in entries if entry.event == "slideShown"]
    found = set()
    following = 0
    for entry in entered:
        fitting = next((i for i in range(following, len(visits))
                        if visits[i][0] == entry.slide and visits[i][1].within(entry)), None)
        if fitting is None:
            near = [(number, change.last_old - entry.earliest, change.first_new - entry.latest, stay)
                    for number, change, stay in visits if abs(change.first_new - entry.latest) < 0.5]
            print(f"  false: {entry}; on the screen: {near}", file=sys.stderr)
            verdict.wrong += 1
        else:
            found.add(fitting)
            following = fitting + 1
    long = {i for i, (_, _, stay) in enumerate(visits) if stay >= SHORTEST}
    for i in sorted(long - found):
        print(f"  not told: {visits[i]}", file=sys.stderr)
    verdict.shown, verdict.found, verdict.told = len(long), len(long & found), len(entered)
    judge_ends(changes, entries, slides, verdict)
    return verdict


def judge_ends(changes, entries, slides, verdict):
    """The first and the last pixel of each show. Its end screen is black, and so is a screen before anything is drawn."""
    slide_colours = {colour(slide) for slide in range(1, slides + 1)}
    edges = {"showStarted": [], "showEnded": []}
    shows = False
    for change in changes:
        if change.colour in slide_colours and not shows:
            edges["showStarted"].append(change)
        elif change.colour not in slide_colours | {BLACK} and shows:
            edges["showEnded"].append(change)
        shows = change.colour in slide_colours or shows and change.colour == BLACK
    for event, seen in edges.items():
        told = [entry for entry in entries if entry.event == event]
        verdict.ends += max(len(seen), len(told))
        for change, entry in zip(seen, told):
            if change.within(entry):
                verdict.true_ends += 1
            else:
                print(f"  false: {entry}; on the screen: {change.last_old - entry.earliest:.4f}, "
                      f"{change.first_new - entry.latest:.4f}", file=sys.stderr)


def with_an_office(programs):
    soffice = impress.office(programs, "truth")
    if not (programs / "ScreenWatcher").exists():
        raise SystemExit("truth: needs to press keys (package libxcb-xtest0-dev)")
    with Session() as session:
        log = follow(session, programs)
        impress.start_office(session, soffice, session.folder.name)
        session.start(programs / "keynote-impress", "--pipe", session.folder.name)
        bridged = session.log_of("keynote-impress")
        wait_for(lambda: "Attached" in bridged.read_text(), "the bridge")
        lecturer = Lecturer(session, programs)
        short, long = session.folder / "short.fodp", session.folder / "long.fodp"
        write_deck(short, 3)
        write_deck(long, SLIDES)
        lecturer.open(soffice, short)
        for _ in range(SHORT_SHOWS):
            lecturer.start(3)
            lecturer.press("space")
            time.sleep(0.5)
            lecturer.end()
        lecturer.open(soffice, long)
        lecturer.start(SLIDES)
        # The copy of the deck is stored first, for which the office stands still.
        time.sleep(3)
        deadline = time.monotonic() + LONGEST
        while lecturer.visits() < VISITS and time.monotonic() < deadline:
            for _ in range(20):
                lecturer.wander()
        time.sleep(1)
        lecturer.end()
        wait_for(lambda: sum(entry.event == "showEnded" for entry in read_entries(log)) == SHORT_SHOWS + 1,
                 "the timeline's last entry")
        entries = list(read_entries(log))
        verdicts = [judge(list(read_changes(lecturer.screen, pixel)), entries, SLIDES) for pixel in (0, 1)]
    for name, verdict in zip(("first", "last"), verdicts):
        yield Figure(f"{name} pixel: visits told / shown 60 ms", verdict.found, verdict.shown, 1, "", at_least=True)
        yield Figure("  told, but not within bounds / told", verdict.wrong, verdict.told, 0, "")
        yield Figure("  starts and ends within bounds / all", verdict.true_ends, verdict.ends, 1, "", at_least=True)
    # The slide with which a show starts has the bounds of the start.
    starts = {entry.earliest for entry in entries if entry.event == "showStarted"}
    widths = sorted(entry.width for entry in entries if entry.event == "slideShown" and entry.earliest not in starts)
    yield Figure("visits that the screen showed / 500", verdicts[0].shown, 500, 1, "", at_least=True)
    yield Figure("bounds of a visit: median", statistics.median(widths), MEDIAN, 1)
    yield Figure("bounds of a visit: 99 %", widths[int(0.99 * len(widths))], ALMOST_ALL, 1)
    for event in ("showStarted", "showEnded"):
        of_event = [entry.width for entry in entries if entry.event == event]
        yield Figure(f"bounds of {event}: median", statistics.median(of_event), MEDIAN, 1)
        yield Figure(f"bounds of {event}: widest", max(of_event), ALMOST_ALL, 1)


def by_polls_alone(programs):
    """A program that tells no times: the polls bound what happened, no wider than an interval and two round trips."""
    steps, trips, delays = [], [], []
    chance = random.Random(SEED)
    with Session() as session:
        log = follow(session, programs)
        simulator = Simulator(session, programs)
        for line in ("launch", "fault lacks-times", f"open Lecture slides {SLIDES}"):
            simulator.do(line)
        time.sleep(1)

        def do(event, slide, line):
            before = time.monotonic()
            simulator.do(line)
            steps.append((event, slide, before, time.monotonic()))
            trips.append(steps[-1][3] - before)
            pause = 0.3 + 0.3 * chance.random()
            time.sleep(pause)
            delays.append(time.monotonic() - steps[-1][3] - pause)

        do("showStarted", 0, "start")
        for i in range(60):
            do("slideShown", 2 + i, f"slide {2 + i}")
        do("showEnded", 0, "stop")
        wait_for(lambda: any(entry.event == "showEnded" for entry in read_entries(log)), "the timeline's last entry")
        entries = [entry for entry in read_entries(log) if (entry.event, entry.slide) != ("slideShown", 1)]
    true = sum(entry.event == event and entry.slide == slide and entry.earliest <= after and before <= entry.latest
               for entry, (event, slide, before, after) in zip(entries, steps))
    yield Figure("polls alone: entries that are true / all", true, max(len(steps), len(entries)), 1, "", at_least=True)
    # A poll that is due waits for a processor, as whoever sleeps.
    yield Figure("  widest / interval and two round trips", max(entry.width for entry in entries),
                 INTERVAL + 2 * max(trips) + max(delays), 1)


def measure(programs):
    yield from by_polls_alone(programs)
    yield from with_an_office(programs)
