"""One line of the table."""

import dataclasses
import typing

SCALES = {"s": [(1, "s"), (1e-3, "ms"), (1e-6, "us")], "B": [(1 << 20, "MiB"), (1 << 10, "KiB")], "": [(1, "")],
          "B/s": [(1e9, "GB/s"), (1e6, "MB/s")]}


def readable(value, unit):
    if value is None:
        return ""
    scale, name = next((each for each in SCALES[unit] if abs(value) >= each[0]), SCALES[unit][-1])
    return f"{value / scale:.3g} {name}".strip()


@dataclasses.dataclass
class Figure:
    """What was measured, what it is held against, and how much of that it may be: at most, or at least."""

    name: str
    ours: float
    peer: float
    limit: typing.Optional[float] = None  # of ours / peer; none for a figure that only explains
    unit: str = "s"
    at_least: bool = False

    @property
    def ratio(self):
        return self.ours / self.peer

    @property
    def ok(self):
        if self.limit is None:
            return None
        return self.ratio >= self.limit if self.at_least else self.ratio <= self.limit

    def columns(self):
        limit = "" if self.limit is None else f"{'>=' if self.at_least else '<='} {self.limit:g}"
        verdict = {None: "", True: "yes", False: "NO"}[self.ok]
        return (self.name, readable(self.ours, self.unit), readable(self.peer, self.unit), f"{self.ratio:.3g}", limit,
                verdict)
