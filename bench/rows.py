"""What is compared with what, and what is to be reached.

A row's figures are medians of one run of its subject's program, so that subject and floor have met the same
machine. Times are in seconds.
"""
from dataclasses import dataclass, field
from typing import Callable, Optional


def duration(seconds):
    for unit, size in (("ns", 1e-9), ("us", 1e-6), ("ms", 1e-3)):
        if seconds < 999.5 * size:
            return f"{seconds / size:.3g} {unit}"
    return f"{seconds:.3g} s"


def rate(seconds):
    return f"{1 / seconds:,.0f}/s"


def number(count):
    return f"{count:.2f}".rstrip("0").rstrip(".")


def kibibytes(count):
    return f"{count / 1024:.2f} KiB"


@dataclass
class Row:
    subject: str
    what: str  # empty: as in the row above
    figure: str  # a measurement's name
    beside: str = ""
    floor: dict = field(default_factory=dict)  # measurements, and how often each counts
    at_most: Optional[float] = None  # times the floor; without a floor, the figure itself
    at_least: Optional[float] = None  # times as fast as the floor
    show: Callable = duration
    profile: str = ""  # the benchmark whose profile explains the row; all of "accept" share one of their own
    why: str = ""  # what the rest of the way to the target is made of, while it is not reached

    def judge(self, measured):
        """The row's cells, and whether it is reached (None: it has no target, or its peer was left out). None
        when the figure itself was left out."""
        if self.figure not in measured:
            return None
        figure = measured[self.figure]
        here = bool(self.floor) and self.floor.keys() <= measured.keys()
        floor = sum(count * measured[name] for name, count in self.floor.items()) if here else 0
        beside, ratio, target, reached = "", "", "", None
        if self.floor:
            beside = f"{self.beside}: {self.show(floor) if here else 'left out'}"
        if here:
            ratio = f"{floor / figure:.2f} times as fast" if self.at_least else f"{figure / floor:.2f}"
        if self.at_least:
            target = f"at least {self.at_least:g} times as fast"
            reached = floor >= self.at_least * figure if here else None
        elif self.at_most is not None and self.floor:
            target = f"at most {self.at_most:g}"
            reached = figure <= self.at_most * floor if here else None
        elif self.at_most is not None:
            target = f"at most {self.show(self.at_most)}" if self.at_most else "none"
            reached = figure <= self.at_most
        return (self.what, self.show(figure), beside, ratio, target), reached


def publish(manner, count):
    return Row("bus", f"publish to {count:,} by {manner}", f"{manner}/{count}",
               f"one hand-over, {count:,} call{'s' if count > 1 else ''}", {f"calls/{count}": 1}, at_most=2,
               profile=f"{manner}/{count}")


ROWS = [
    Row("accept", "accept, 10 waiting", "accept/10", "hand-over and back, parse, write",
        {"hand-over": 1, "parse": 1, "write": 1}, at_most=1.5),
    Row("accept", "", "accept/10", "dunst, 10 waiting", {"dunst/10": 1}),
    Row("accept", "accept, 4 at once", "accept by 4", "dunst, 4 in flight", {"dunst by 4": 1}, at_least=10,
        show=rate),
    Row("accept", "accept, 10,000 waiting", "accept/10000", "10 waiting", {"accept/10": 1}, at_most=1.1),
    Row("accept", "accept, 100,000 waiting", "accept/100000", "10 waiting", {"accept/10": 1}, at_most=1.1),
    Row("syscalls", "accept: calls of the file system", "file", at_most=0, show=number),
    Row("syscalls", "accept: gettid", "gettid", at_most=0, show=number),
    Row("syscalls", "accept: futex", "futex", at_most=6, show=number),
    Row("syscalls", "accept: other system calls", "other", show=number),
    Row("cycle", "cycle: show, shown, dismissed, next", "cycle", "3 hand-overs and back, 2 parses, 2 writes",
        {"hand-over": 3, "parse": 2, "write": 2}, at_most=1.5, profile="cycle"),
    Row("bus", "request and reply", "request", "hand-over and back", {"hand-over": 1}, at_most=1.3,
        profile="request"),
    Row("bus", "", "request", "dbus-daemon", {"dbus-daemon": 1}, at_least=3, profile="request"),
    Row("bus", "", "request", "nats-server", {"nats": 1}),
    *(publish(manner, count) for count in (1, 50, 1000) for manner in ("exact", "pattern")),
    Row("patterns", "a name against 1,000 patterns", "patterns", "1,000 prefixes", {"prefixes": 1}, at_most=5,
        profile="patterns"),
    Row("patterns", "a name of 1,000,000 characters", "long name", at_most=0.010, profile="long name"),
    Row("json", "description read and written", "description", "RapidJSON's parse and write",
        {"parse": 1, "write": 1}, at_most=1.5, profile="description"),
    Row("log", "log record to the file", "record", "flock, fstat, write, unlock", {"system calls": 1},
        at_most=1.5, profile="record"),
    Row("log", "", "record", "spdlog, of one process", {"spdlog": 1}),
    Row("log", "log call below the threshold", "below threshold", at_most=2e-9, profile="below threshold"),
    Row("memory", "waiting alert, beyond its text", "usual texts:beyond", at_most=2048, show=kibibytes),
    Row("memory", "the same with small texts", "small texts:beyond", at_most=2048, show=kibibytes),
    Row("lifecycle", "module, from load to unload", "module", at_most=0.020, profile="module"),
    Row("lifecycle", "destroyed with 100,000 waiting", "destroy", at_most=0.100),
    Row("nats", "between processes: accept", "server:accept", "raw request and reply", {"server:raw": 1}, at_most=2.5),
    Row("nats", "between processes: cycle", "server:cycle", "raw request and reply", {"server:raw": 1}, at_most=5),
    Row("nats", "between processes: each alert of four products'", "server:flow", "raw request and reply",
        {"server:raw": 1}),
    Row("nats", "1,000 handles on one connection", "server:handles", at_most=0.100),
]
