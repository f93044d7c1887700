"""The search for installed programs: its time against find(1) on the same file systems, and its memory."""

import os
import pathlib
import re
import subprocess
import tempfile
import time

from figure import Figure

ROUNDS = 7
FEW, MANY = 10_000, 200_000
FILES_PER_DIRECTORY = 20
LOCAL = "btrfs,exfat,ext2,ext3,ext4,f2fs,overlay,squashfs,tmpfs,vfat,xfs"


def environment(home):
    """Without a session bus, whose programs would be asked first."""
    kept = {name: value for name, value in os.environ.items() if not name.startswith(("DBUS_", "XDG_"))}
    return {**kept, "HOME": str(home), "LC_ALL": "C.UTF-8"}


def seconds(command, home):
    start = time.monotonic()
    subprocess.run(command, env=environment(home), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)
    return time.monotonic() - start


def peak_memory(command, home):
    """The most bytes that the process ever had in memory, as the kernel told last before its end."""
    process = subprocess.Popen(command, env=environment(home), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    peak = 0
    while process.poll() is None:
        status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
        told = re.search(r"^VmHWM:\s+(\d+) kB$", status, re.MULTILINE)
        peak = max(peak, 1024 * int(told.group(1))) if told else peak
    return peak


def fill(tree, files):
    """Half of the files in one directory, the others in small ones, as in a folder of pictures beside a source tree."""
    wide = tree / "wide"
    wide.mkdir(parents=True)
    for number in range(files):
        folder = wide if number % 2 else tree / f"{number // 4000}" / f"{number // (2 * FILES_PER_DIRECTORY)}"
        if number % (2 * FILES_PER_DIRECTORY) == 0:
            folder.mkdir(parents=True)
        (folder / f"picture-{number}.jpg").touch()


def measure(programs):
    tool = [str(programs / "keynote-capture"), "keynotes"]
    mounts = subprocess.run(["findmnt", "-rno", "TARGET", "-t", LOCAL], capture_output=True, text=True, check=True)
    find = ["find", *mounts.stdout.split(), "-xdev", "-type", "d", "-name", "*.app"]
    with tempfile.TemporaryDirectory(prefix="keynote-capture-benchmark-") as folder:
        home = pathlib.Path(folder)
        rounds = [(seconds(tool, home), seconds(find, home)) for _ in range(ROUNDS)]
        ours, theirs = (min(times) for times in zip(*rounds[1:]))  # the first one warms the cache
        yield Figure("search of the computer / find", ours, theirs, 1.3)
        peaks = {}
        for files in (FEW, MANY):
            fill(home / str(files), files)
            command = [*tool, "--root", str(home / str(files))]
            peaks[files] = max(peak_memory(command, home) for _ in range(ROUNDS))
        yield Figure(f"memory at {MANY:,} files / {FEW:,}", peaks[MANY], peaks[FEW], 1.25, "B")
