"""The shell blocks of the documents, run with an installed tree, and the links between what is installed.

A comment before a block says what it needs: `<!-- test: NEED ARGUMENT; interrupt after: TEXT; status N ... -->`.

    plain               nothing but the bus and the programs; also without a comment
    lecture             a show of two slides is presented and recorded while the block runs
    capture DIRECTORY   a recording lies there
    deck FILE           a saved deck of eight slides lies there, and a program that can open it runs
    program NAME        a presentation program of that name can be started
    source tree         what a checkout has, built already
    output              no commands, but what the last block has printed
    skip: REASON        it is not run

`interrupt after` presses Ctrl-C when that is printed. In a `console` block each `$ ` begins a command, which has a status of
its own, and what follows is its output. Of outputs the words are compared, not numbers, paths and identifiers; "…" is anything.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "clients"))
from session import BUILD, Session

SOURCE = pathlib.Path(__file__).parents[2]
# What is to be run at least; a reader of documents that finds nothing would pass.
BLOCKS, LINKS = 12, 60
BLOCK = re.compile(r"(?:^<!-- test: (?P<need>.*?) -->\n)?^```(?P<language>\w*)\n(?P<text>.*?)^```$", re.M | re.S)


def documents(root):
    return [root / "README.md", *sorted((root / "docs").glob("*.md"))]


def parsed(comment):
    """The need and its argument, when to interrupt, and the statuses."""
    need, *more = (comment or "plain").split("; ")
    options = dict(option.split(" after: " if "after" in option else " ", 1) for option in more)
    return need, options.get("interrupt"), [int(status) for status in options.get("status", "0").split()]


def pattern(shown):
    """A line as it may have been printed."""
    shown = re.sub(r"(?<![\w.])[/~]\S+|[0-9A-F]{4,}(-[0-9A-F]{4,})*(-…)?|[\d.,:]*\d", "…", shown)
    return r"\s+".join(".*".join(map(re.escape, word.split("…"))) for word in shown.split())


class Documents(Session):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(dir="/tmp")
        cls.addClassCleanup(folder.cleanup)
        cls.prefix = pathlib.Path(folder.name) / "prefix"
        subprocess.run([os.environ["CMAKE"], "--install", BUILD, "--prefix", cls.prefix], check=True, stdout=subprocess.DEVNULL)
        cls.services = cls.prefix / "share/dbus-1/services"
        cls.documents = next((cls.prefix / "share/doc").iterdir())
        os.environ["XDG_DATA_DIRS"] = f"{cls.prefix}/share"
        os.environ["PATH"] = f"{cls.prefix}/bin:{cls.prefix}/libexec/keynote-capture:{BUILD}/bin:{os.environ['PATH']}"

    def setUp(self):
        super().setUp()
        (self.home / "work").mkdir()
        os.chdir(self.home / "work")
        self.addCleanup(os.chdir, "/")
        shutil.copytree(SOURCE / "examples", "examples")

    def test_every_shell_block_does_what_is_shown(self):
        ran, printed = 0, ""
        for document in documents(SOURCE):
            for block in BLOCK.finditer(document.read_text()):
                need, interrupt, statuses = parsed(block["need"])
                if need == "output":
                    self.compare(block["text"], printed)
                elif block["language"] in ("sh", "console") and not need.startswith("skip: "):
                    with self.subTest(f"{document.name}: {block['text']}"):
                        printed = self.run_block(need, block, interrupt, statuses)
                        ran += 1
                    self.doCleanups()
                    self.setUp()
        self.assertGreaterEqual(ran, BLOCKS)

    def run_block(self, need, block, interrupt, statuses):
        kind, _, argument = need.partition(" ")
        follow = getattr(self, "need_" + kind)(argument)
        if block["language"] == "sh":
            return self.run_commands(block["text"], statuses[0], interrupt, follow)
        commands = re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", block["text"], re.M)
        for (command, shown), status in zip(commands, statuses * len(commands) if len(statuses) == 1 else statuses, strict=True):
            self.compare(shown, self.run_commands(command, status))
        return ""

    def run_commands(self, commands, status, interrupt=None, follow=None):
        child = self.start("bash", "-euc", commands, deadline=200)
        child.close_input()
        if interrupt:
            child.wait_for("")
            follow()
            child.wait_for(interrupt)
            child.interrupt()
        child.rest()
        printed = "\n".join(child.lines)
        self.assertEqual(child.status(), status, printed)
        return printed

    def compare(self, shown, printed):
        """Each line that is shown was printed, in their order."""
        rest = printed
        for line in filter(str.strip, shown.splitlines()):
            found = re.search(pattern(line), rest)
            self.assertTrue(found, f"{line!r} ({pattern(line)}) is not in\n{rest}")
            rest = rest[found.end():]

    def need_plain(self, _):
        pass

    def need_lecture(self, _):
        recorder = self.start("keynote-capture", "record", "--to", self.home / "other", "--recording-id", "lecture-12")
        program = self.launch_program()
        recorder.wait_for("program found")

        def follow():
            program.play("start")
            recorder.wait_for("slide 1")
            program.play("slide 2")
            recorder.wait_for("slide 2")
            program.play("stop")
        return follow

    def need_capture(self, directory):
        follow = self.need_lecture("")
        self.run_commands(f"keynote-capture record --to {directory}", 0, "all slide images", follow)

    def need_deck(self, name):
        pathlib.Path(name).touch()
        self.launch_program().play(f"deck Sound file {os.getcwd()}/{name} slides 8")

    def need_program(self, name):
        path = self.home / "bin" / name
        path.parent.mkdir()
        path.write_text("#!/bin/sh\nexec keynote-simulator --no-window examples/lecture.simulation\n")
        path.chmod(0o755)
        os.environ["PATH"] = f"{path.parent}:{os.environ['PATH']}"
        return lambda: None

    def need_source(self, _):
        shutil.copy(SOURCE / "run.sh", ".")
        pathlib.Path("build").mkdir()
        pathlib.Path("build/run").symlink_to(BUILD)
        os.environ["KCS_BUILT"] = "1"

    def test_links_lead_somewhere(self):
        checked = 0
        for document in documents(SOURCE) + documents(self.documents):
            text = re.sub(r"```.*?```", "", document.read_text(), flags=re.S)
            for target in re.findall(r"\]\((?!https?:)([^)\s]+)\)", text):
                with self.subTest(f"{document}: {target}"):
                    path, _, anchor = target.partition("#")
                    file = document.parent / path if path else document
                    self.assertTrue(file.exists())
                    self.assertTrue(not anchor or anchor in self.anchors(file))
                    checked += 1
        self.assertGreaterEqual(checked, LINKS)

    @staticmethod
    def anchors(document):
        return {re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-")
                for title in re.findall(r"^#+ (.*)$", document.read_text(), re.M)}


if __name__ == "__main__":
    unittest.main()
