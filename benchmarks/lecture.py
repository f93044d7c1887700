"""What a lecture of 300 slides leaves: how long it takes and how large it is, whether players and a browser read it."""

import json
import pathlib
import shutil
import subprocess
import tempfile
import time
import xml.etree.ElementTree
import xml.sax.saxutils

from browser import Browser
from figure import Figure

SLIDES = 300
SECONDS = 12.345  # between two slides
BEGIN = 3.5  # of the show within the video
FORMATS = ["vtt", "ffmetadata", "matroska", "ogm", "json", "csv"]
HOSTILE = ["a=b; #c \\d --> & <i> \"q\" 'r'", "two\nlines", "שלום עולם", "\U0001F600", "</script><b>", "[CHAPTER]"]
END = "\n"


def title(slide):
    return HOSTILE[slide - 1] if slide <= len(HOSTILE) else f"Topic {slide} of a long lecture"


def one_line(text):
    return " ".join(text.split())


def shell(*command, **options):
    return subprocess.run([str(word) for word in command], check=True, capture_output=True, **options).stdout


def record(folder, slides, seconds):
    """A presentation as `record` leaves it, without the show: over midnight and the end of summer time."""
    show = folder / "lecture"
    show.mkdir()
    steady = lambda at: [int(at * 1e6), int(at * 1e6)]
    entries = [{"event": "showStarted", "steady": steady(0)}]
    entries += [{"event": "slideShown", "slide": slide, "position": slide, "steady": steady((slide - 1) * seconds)}
                for slide in range(1, slides + 1)]
    entries += [{"event": "showEnded", "steady": steady(slides * seconds)},
                {"event": "finished", "images": slides, "missing": []}]
    header = {"timeline": 1, "recordingID": "r", "presentationID": "lecture", "archive": "deck.key",
              "deck": "file:///Waves.odp",
              "clocks": {"wall": "2026-10-24T23:59:30.000000Z", "steady": 0, "boot": "b"}}
    (show / "timeline.jsonl").write_text("".join(json.dumps(line) + END for line in [header, *entries]))
    escape = xml.sax.saxutils.escape
    texts = "".join(f"<Slide><Body>{'A line of text on a slide. ' * 3}</Body><IsSkipped>0</IsSkipped>"
                    f"<Notes>Say this.</Notes><Number>{slide}</Number><Tables/><TextItems/>"
                    f"<Title>{escape(title(slide))}</Title></Slide>" for slide in range(1, slides + 1))
    text = f'<?xml version="1.0" encoding="UTF-16"?><KeynoteInfo version="1"><Slides>{texts}</Slides></KeynoteInfo>'
    (show / "deck.key.key.text.xml").write_bytes(text.encode("utf-16"))
    shell("ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=s=1440x810", "-frames:v", "1", show / "slide.001.jpg")
    for slide in range(2, slides + 1):
        shutil.copy(show / "slide.001.jpg", show / f"slide.{slide:03}.jpg")
    return show


def film(file, seconds):
    """A video with a picture a second, in which browsers can seek."""
    shell("ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", f"testsrc=s=320x180:r=1:d={seconds}", "-c:v", "libvpx",
          "-g", "1", "-deadline", "realtime", "-metadata", "creation_time=2026-10-24T23:59:26.500000Z", file)


def chapters_by_ffmpeg(folder, video, metadata, ending):
    target = folder / f"chapters.{ending}"
    shell("ffmpeg", "-v", "error", "-y", "-i", video, "-i", metadata, "-map_metadata", "1", "-map_chapters", "1",
          *(["-c", "copy"] if ending == "mkv" else ["-c:v", "mpeg4"]), target)
    told = json.loads(shell("ffprobe", "-v", "error", "-show_chapters", "-of", "json", target))["chapters"]
    return [(round(float(each["start_time"]) * 1000), round(float(each["end_time"]) * 1000), each["tags"]["title"])
            for each in told]


def chapters_by_mkvtoolnix(folder, video, chapters):
    target = folder / "merged.mkv"
    shell("mkvmerge", "-q", "-o", target, "--chapters", chapters, video)
    root = xml.etree.ElementTree.fromstring(shell("mkvextract", target, "chapters"))
    def milliseconds(text):
        hours, minutes, seconds = text.split(":")
        return round((int(hours) * 3600 + int(minutes) * 60 + float(seconds)) * 1000)
    return [(milliseconds(atom.findtext("ChapterTimeStart")), milliseconds(atom.findtext("ChapterTimeEnd") or "0:0:0"),
             atom.findtext("ChapterDisplay/ChapterString")) for atom in root.iter("ChapterAtom")]


def differences(wanted, found, count=3):
    """How many chapters are not as they should be, each to the millisecond."""
    return abs(len(wanted) - len(found)) + sum(a[:count] != b[:count] for a, b in zip(wanted, found))


def players(tool, folder, show):
    """Chapters that players read otherwise than they were written, of all programs and formats."""
    video = folder / "video.mkv"
    film(video, int(SLIDES * SECONDS + BEGIN) + 2)
    offset = ["--offset", BEGIN]
    wanted = [(round(1000 * (BEGIN + slide * SECONDS)), round(1000 * (BEGIN + (slide + 1) * SECONDS)),
               one_line(title(slide + 1))) for slide in range(SLIDES)]
    metadata, matroska, ogm = (folder / name for name in ("ffmetadata", "chapters.xml", "chapters.txt"))
    metadata.write_bytes(shell(tool, "export", show, "--format", "ffmetadata", *offset))
    matroska.write_bytes(shell(tool, "export", show, "--format", "matroska", "--video", video))
    ogm.write_bytes(shell(tool, "export", show, "--format", "ogm", *offset))
    yield "ffmpeg, MKV", differences(wanted, chapters_by_ffmpeg(folder, video, metadata, "mkv"))
    # An MP4 holds no time before its first chapter, so that one begins with the video.
    in_mp4 = [(0, *wanted[0][1:]), *wanted[1:]]
    yield "ffmpeg, MP4", differences(in_mp4, chapters_by_ffmpeg(folder, video, metadata, "mp4"))
    yield "mkvmerge, XML, --video", differences(wanted, chapters_by_mkvtoolnix(folder, video, matroska))
    starts = [(start, None, name) for start, _, name in wanted]
    found = [(start, None, name) for start, _, name in chapters_by_mkvtoolnix(folder, video, ogm)]
    yield "mkvmerge, OGM", differences(starts, found)


def failures(folder, show):
    """What a person would find wrong with the page in a browser: clicks, keys, search and a video that follow."""
    page = (show / "index.html").as_uri()
    video = folder / "film.webm"
    film(video, 120)
    wrong = []

    def expect(what, holds):
        if not holds:
            wrong.append(what)

    is_shown = "document.querySelector('[aria-current]').closest('li').id === 'v{}'".format
    with Browser(folder / "profile") as browser:
        browser.open(page + "#t=0:13")
        expect("#t=", browser.wait(is_shown(2)))
        browser.type("#file", str(video))
        expect("video", browser.wait("!document.querySelector('video').hidden"))
        browser.run("arguments[0].value = 3.5; arguments[0].dispatchEvent(new Event('input'))",
                    {"element-6066-11e4-a52e-4f735466cecf": browser.find("#offset")})
        browser.click("#v4 button")
        expect("click", browser.wait(is_shown(4)))
        expect("click moves the video", browser.wait("Math.abs(document.querySelector('video').currentTime - 40.535) < .1"))
        browser.type("#v4 button", "\ue014")
        expect("key", browser.wait(is_shown(5)))
        expect("focus moves", browser.run("return document.activeElement.closest('li').id") == "v5")
        browser.run("document.querySelector('video').currentTime = 20")
        expect("the page follows the video", browser.wait(is_shown(2)))
        browser.type("#v2 button", "p")
        expect("p plays", browser.wait("!document.querySelector('video').paused"))
        browser.type("#v2 button", "p/")
        expect("/ searches", browser.run("return document.activeElement.id") == "search")
        browser.type("#search", "TOPIC 299")
        expect("search", browser.texts("#found") == [f"1 of {SLIDES}"])
        browser.type("#search", "\ue00c")
        expect("Escape", browser.texts("#found") == [""])
        expect("hostile titles stay text", browser.run("return document.querySelectorAll('#visits b').length") == 0)
        strange = [url for url in browser.requests() if not url.startswith((show.as_uri() + "/", "blob:", "data:", "chrome:"))]
        expect(f"asks for {strange}", not strange)
    with Browser(folder / "silent", script=False) as browser:
        browser.open(page)
        expect("without script", len(browser.texts("#visits h3")) == SLIDES)
        expect("texts without script", "Say this." in " ".join(browser.texts("#v9 .text")))
    return wrong


def opening(folder, show):
    """Seconds from asking for the page until it is loaded, the best of five."""
    with Browser(folder / "fresh") as browser:
        times = []
        for _ in range(5):
            browser.open("about:blank")
            browser.open((show / "index.html").as_uri())
            times.append(browser.run("return performance.getEntriesByType('navigation')[0].loadEventEnd") / 1000)
        return min(times)


def measure(programs):
    tool = programs / "keynote-capture"
    with tempfile.TemporaryDirectory(prefix="keynote-capture-benchmark-") as name:
        folder = pathlib.Path(name)
        show = record(folder, SLIDES, SECONDS)
        begin = time.monotonic()
        shell(tool, "recover", folder)
        for form in FORMATS:
            shell(tool, "export", folder, "--format", form)
        yield Figure(f"page, chapters, exports of {SLIDES} slides / 1 s", time.monotonic() - begin, 1.0, 1)
        yield Figure("size of the page / 150 kB", (show / "index.html").stat().st_size, 150_000, 1, "B")
        for player, wrong in players(tool, folder, show):
            yield Figure(f"wrong chapters, {player}", wrong, SLIDES, 0, "")
        yield Figure("page in Chromium, loaded / 1 s", opening(folder, show), 1.0, 1)
        wrong = failures(folder, show)
        yield Figure(" ".join(["faults of the page in Chromium", *wrong]), len(wrong), 1, 0, "")
