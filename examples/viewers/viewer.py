#!/usr/bin/env python3
"""A viewer in Python, standard library only: docs/viewers.md as a program.

It shows alerts on the terminal one after the other. Without a terminal it needs --answer.
Exit codes: 0 ended as asked or by its user, 2 nobody is at a terminal, or the command line makes no sense.
"""
import argparse
import json
import pathlib
import select
import signal
import socket
import sys
import time
from typing import Any, Dict, List, Optional

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
import brevant_bus  # noqa: E402
from brevant_bus import Bus, Received, object_of, objects  # noqa: E402

LOOK_SECONDS = 2.0
BACK_SECONDS = 5.0  # in which a host is back at a server that has started anew
MOST_REMEMBERED = 1000


def harmless(text: Any) -> str:
    """What comes from the bus must not steer the terminal."""
    return "".join(c if c.isprintable() or c == "\n" else "\\x%02x" % ord(c) for c in str(text))


class Alert:
    def __init__(self, request: Received) -> None:
        self.instance = request.name.rpartition(".")[2]
        description = object_of(request.payload)
        self.id = description.get("id")
        if not isinstance(self.id, str):
            raise ValueError("no description of an alert")
        context = description.get("context")
        self.context: Dict[str, Any] = context if isinstance(context, dict) else {}
        seconds = description.get("timeout", 30)
        self.until = time.monotonic() + (min(max(0, seconds), 10**8) if isinstance(seconds, (int, float)) else 30)
        self.actions = [a for a in objects(self.context.get("actions")) if isinstance(a.get("defaultmessage"), dict)]

    def outcome(self, what: str) -> str:
        return "Brevant.Alert.%s.%s.%s" % (self.id, what, self.instance)


class Viewer:
    """Outlives its connections: what is on screen stays there while the server is away."""

    def __init__(self, name: str, answer: Optional[str] = None) -> None:
        self.name = name
        self.answer = answer
        self.bus: Bus
        self.alert: Optional[Alert] = None
        self.host: Optional[str] = None  # that it is registered with
        self.ids: Dict[str, str] = {}  # of the instances that were here, for deletions that come late

    def attach(self, bus: Bus) -> None:
        self.bus = bus
        head = "Brevant.Viewer.%s." % self.name
        bus.on_request(head + "Show.>", self.show)
        bus.on_request(head + "Delete.>", self.delete)
        bus.on_request(head + "Alive", lambda request: bus.reply(request, request.name + ".Response", False))
        bus.settle()

    # After the subscriptions: the host asks for a sign of life, and the broker for alerts, at once.
    def register(self, registered: bool = True) -> None:
        value = {"name": "Brevant/Viewer/" + self.name}
        if registered:
            value.update({"value": json.dumps({"alive": True}), "volatile": True})
        answer = self.bus.request("SETTINGS_MANAGER_%s_PROPERTY" % ("SET" if registered else "REMOVE"),
                                  json.dumps(value))
        if object_of(answer.payload).get("status") is not True:
            raise brevant_bus.BusError("the settings manager refuses")

    def look(self, is_patient: bool = False) -> bool:
        """Registers with a host that does not know it: a new one, or one where it was removed. False: none is there."""
        try:
            status = object_of(self.bus.request("Brevant.Host.Status").payload)
            if self.host is not None and status.get("start") != self.host and self.alert:
                self.end("Failed", [])  # the former host's
            known = [viewer.get("id") for viewer in objects(status.get("viewers"))]
            if status.get("start") != self.host or self.name not in known:
                self.register()
                print("registered as \"%s\"" % self.name, flush=True)
            self.host = status.get("start")
        except brevant_bus.NobodyThere:
            if is_patient:
                return False
            if self.host is not None:
                print("the host is gone; waiting for it", flush=True)
            self.host = None
            if self.alert:
                self.end("Failed", [])
            return False
        except brevant_bus.Disconnected:
            raise
        except brevant_bus.BusError as error:
            print("viewer.py: %s" % error, file=sys.stderr, flush=True)
        return True

    def show(self, request: Received) -> None:
        try:
            alert = Alert(request)
        except ValueError:
            self.bus.reply(request, "Brevant.Alert..Failed." + request.name.rpartition(".")[2])
            return
        if self.alert and self.alert.instance != alert.instance:
            self.end("Failed", [])  # the broker has given it up
        self.alert = alert
        self.ids[alert.instance] = alert.id
        if len(self.ids) > MOST_REMEMBERED:
            del self.ids[next(iter(self.ids))]
        print("\n== %s\n%s" % tuple(harmless(alert.context.get(k, "")) for k in ("title", "defaultcontent")))
        for number, action in enumerate(alert.actions, 1):
            print("[%d] %s" % (number, harmless(action.get("text", ""))))
        sys.stdout.flush()
        self.bus.reply(request, alert.outcome("Shown"))
        if self.answer and self.answer != "timeout":
            self.choose("" if self.answer == "dismiss" else self.answer)

    def delete(self, request: Received) -> None:
        instance = request.name.rpartition(".")[2]
        if self.alert and self.alert.instance == instance:
            print("(withdrawn)", flush=True)
            self.alert = None
        # The plain copy of this reply is what ends the alert.
        self.bus.reply(request, "Brevant.Alert.%s.Dismissed.%s" % (self.ids.get(instance, ""), instance))

    def choose(self, word: str) -> None:
        if not word:
            self.end("Dismissed", objects(self.alert.context.get("dismissalactions")))
            return
        for number, action in enumerate(self.alert.actions, 1):
            if word in (str(number), action.get("id"), action.get("text")):
                self.end("Dismissed", [action["defaultmessage"]])
                return
        print("? a number, or an empty line to dismiss", flush=True)

    def end(self, outcome: str, messages: List[Dict[str, Any]]) -> None:
        for message in messages:
            name, payload = message.get("messagename"), message.get("payload")
            if isinstance(name, str) and isinstance(payload, str):
                self.bus.publish(name, payload)
        self.bus.publish(self.alert.outcome(outcome))
        self.alert = None  # not before: without a connection it stays
        print("(%s)" % outcome, flush=True)

    def step(self, user: Any, wake: Any) -> bool:
        """Until something comes, 2 s at most. False when the terminal has gone."""
        wait = min(LOOK_SECONDS, self.alert.until - time.monotonic()) if self.alert else LOOK_SECONDS
        if user in self.bus.run(wait, [user, wake] if user else [wake]):
            line = user.readline()
            if not line:
                return False
            if self.alert:
                self.choose(line.strip())
        if self.alert and time.monotonic() >= self.alert.until:
            self.end("Dismissed", objects(self.alert.context.get("timeoutactions")))
        return True

    def close(self) -> None:
        try:
            if self.alert:
                self.end("Failed", [])
            self.register(False)
        except brevant_bus.BusError:
            pass
        self.bus.close()


def serve(viewer: Viewer, bus: Bus, stop: List[bool], user: Any, wake: Any) -> None:
    """Until it is to end; Disconnected when the connection is lost."""
    viewer.attach(bus)
    # Until the host is back as well nobody would hear an outcome.
    until = time.monotonic() + BACK_SECONDS
    while not stop and time.monotonic() < until and not viewer.look(True):
        bus.run(0.25, [wake])
    looked = time.monotonic() if viewer.host is not None else 0.0
    while not stop:
        if time.monotonic() - looked >= LOOK_SECONDS:
            viewer.look()
            looked = time.monotonic()
        if not viewer.step(user, wake):
            stop.append(True)
    viewer.close()


def main() -> int:
    parser = argparse.ArgumentParser(description="Shows alerts on this terminal.",
                                     epilog="Example: viewer.py --id console --answer 1")
    parser.add_argument("--id", default="python", help="how alerts name it, usually python")
    parser.add_argument("--answer", metavar="dismiss|timeout|ACTION",
                        help="answers by itself; an action by its number, id or text")
    brevant_bus.add_options(parser)
    arguments = parser.parse_args()
    user = None if arguments.answer else sys.stdin
    if user and not user.isatty():
        print("viewer.py: nobody is at a terminal: --answer says what is to become of alerts", file=sys.stderr)
        return 2
    stop: List[bool] = []
    wake, waker = socket.socketpair()
    waker.setblocking(False)
    signal.set_wakeup_fd(waker.fileno())
    for number in (signal.SIGTERM, signal.SIGINT):
        signal.signal(number, lambda *_: stop.append(True))
    viewer = Viewer(arguments.id, arguments.answer)
    said = None
    while not stop:
        try:
            bus = Bus("viewer.py", brevant_bus.find("viewer", arguments))
            said = None
            serve(viewer, bus, stop, user, wake)
        except brevant_bus.BadAddress as error:
            print("viewer.py: %s" % error, file=sys.stderr)
            return 2
        except brevant_bus.BusError as error:
            if str(error) != said:
                said = str(error)
                print("viewer.py: %s; trying on" % said, file=sys.stderr, flush=True)
            select.select([wake], [], [], 0.25)
    return 0


if __name__ == "__main__":
    sys.exit(main())
