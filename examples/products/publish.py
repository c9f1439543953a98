#!/usr/bin/env python3
"""A product in Python, standard library only: publishes one alert and tells what becomes of it.

Exit codes: 0 chosen, 10 dismissed, or timed out without a message that says so, 11 timed out, 12 suppressed,
13 failed, 14 withdrawn, 15 lost with its host, 16 its outcome was missed, 2 the file or the command line makes
no sense, 3 no host, 1 anything else.
"""
import argparse
import json
import pathlib
import sys
import time
from typing import Any, Dict, Optional, Tuple

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
import brevant_bus  # noqa: E402
from brevant_bus import Bus, Received, object_of, objects  # noqa: E402

LOOK_SECONDS = 2.0
MOST_LISTED = 500  # alerts in a host's status
WORDS = {"Dismissed": 10, "Failed": 13, "Deleted": 14}
CODES = {0: "chosen", 10: "dismissed", 11: "timed out", 12: "suppressed", 13: "failed", 14: "withdrawn",
         15: "lost with its host", 16: "its outcome was missed while the bus was away"}


def say(text: str) -> None:
    print("publish.py: " + text, file=sys.stderr, flush=True)


class Alert:
    """Follows one alert, over connections that come and go."""

    def __init__(self, description: Dict[str, Any], instance: str) -> None:
        self.id = description["id"]
        self.instance = instance
        self.code: Optional[int] = None
        self.choice: Optional[Tuple[str, str]] = None
        # What a viewer publishes, name and payload: other alerts may use the same names.
        self.messages: Dict[Optional[Tuple[str, str]], int] = {}
        context = description.get("context")
        context = context if isinstance(context, dict) else {}
        for action in objects(context.get("actions")):
            tied = [option.get("message") for option in objects(action.get("options"))]
            self.expect(0, [action.get("defaultmessage"), *tied])
        self.expect(11, context.get("timeoutactions"))
        self.expect(10, context.get("dismissalactions"))

    def expect(self, code: int, messages: Any) -> None:
        for message in objects(messages):
            name, payload = message.get("messagename"), message.get("payload")
            if isinstance(name, str) and isinstance(payload, str):
                self.messages.setdefault((name, payload), code)

    def follow(self, bus: Bus) -> None:
        for word, code in WORDS.items():
            name = "" if word == "Deleted" else self.id
            bus.on_message("Brevant.Alert.%s.%s.%s" % (name, word, self.instance), lambda _, c=code: self.end(c))
        for name in sorted({name for name, _ in self.messages}):
            bus.on_message(name, self.heard)
        bus.settle()

    # The choice's message comes before the outcome.
    def heard(self, message: Received) -> None:
        if (message.name, message.payload) in self.messages:
            self.choice = self.choice or (message.name, message.payload)

    def end(self, code: int) -> None:
        if self.code is None:
            self.code = self.messages.get(self.choice, 10) if code == 10 else code

    def told(self) -> int:
        print("instance %s: %s" % (self.instance, CODES[self.code]),
              *(["%s %r" % self.choice] if self.code == 0 else []), flush=True)
        return self.code


class Product:
    def __init__(self, options: argparse.Namespace) -> None:
        self.options = options
        self.host: Optional[str] = None
        self.is_away = False
        self.has_missed = False  # perhaps: there was no connection for a while
        self.bus = self.connect()

    def connect(self) -> Bus:
        return Bus("publish.py", brevant_bus.find("product", self.options))

    def status(self) -> Dict[str, Any]:
        """The host's; empty when it does not answer."""
        try:
            status = object_of(self.bus.request("Brevant.Host.Status").payload)
            self.is_away = False
            return status
        except brevant_bus.NobodyThere:
            if not self.is_away and not self.has_missed:
                say("the host is gone; waiting for it")
            self.is_away = not self.has_missed  # after a break the host may take longer to be back
        except brevant_bus.Disconnected:
            raise
        except brevant_bus.BusError:
            pass
        return {}

    def publish(self, description: Dict[str, Any]) -> int:
        instance = self.bus.request("Brevant.Alert.GetId").payload
        self.host = self.status().get("start")
        description["instanceId"] = instance
        try:
            self.bus.request("Brevant.Host.StandIn", description["product"])
        except brevant_bus.Disconnected:
            raise
        except brevant_bus.BusError:
            pass  # a host without an example plugin
        alert = Alert(description, instance)
        alert.follow(self.bus)
        answer = self.bus.request("Brevant.Alert.Show." + instance, json.dumps(description), 100).name
        if ".Suppressed." in answer:
            alert.end(12)
        looked = time.monotonic()
        while alert.code is None:
            try:
                self.bus.run(LOOK_SECONDS)
                if time.monotonic() - looked >= LOOK_SECONDS:
                    self.look(alert)
                    looked = time.monotonic()
            except brevant_bus.Disconnected as error:
                say("%s; waiting for it" % error)
                self.reconnect(alert)
        return alert.told()

    def look(self, alert: Alert) -> None:
        status = self.status()
        self.bus.run(0)  # what has come before it
        if not status:
            return
        if self.host and status.get("start") != self.host:
            alert.end(15)
        alerts = objects(status.get("alerts"))
        if self.has_missed and len(alerts) < MOST_LISTED and all(a.get("instance") != alert.instance for a in alerts):
            alert.end(16)
        self.has_missed = False

    def reconnect(self, alert: Alert) -> None:
        self.has_missed = True
        while True:
            try:
                self.bus.close()
                self.bus = self.connect()
                alert.follow(self.bus)
                self.look(alert)
                return
            except brevant_bus.BusError:
                time.sleep(0.25)


def main() -> int:
    parser = argparse.ArgumentParser(description="Publishes an alert and tells what becomes of it.",
                                     epilog="Example: publish.py examples/alert.json")
    parser.add_argument("file", help="the alert's description; - for standard input")
    brevant_bus.add_options(parser)
    arguments = parser.parse_args()
    try:
        text = sys.stdin.read() if arguments.file == "-" else pathlib.Path(arguments.file).read_text("utf-8")
    except (OSError, UnicodeDecodeError) as error:
        say("%s: %s" % (arguments.file, error))
        return 2
    description = object_of(text)
    if not all(isinstance(description.get(member), str) for member in ("id", "product")):
        say(arguments.file + ": no description of an alert, an object with an id and a product")
        return 2
    try:
        return Product(arguments).publish(description)
    except brevant_bus.BadAddress as error:
        say(str(error))
        return 2
    except (brevant_bus.NobodyThere, brevant_bus.Disconnected) as error:
        say("no host: %s" % error)
        return 3
    except brevant_bus.BusError as error:
        say(str(error))
        return 1
    except KeyboardInterrupt:
        return 16


if __name__ == "__main__":
    sys.exit(main())
