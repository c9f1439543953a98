#!/usr/bin/env python3
"""A viewer in Python, standard library only: docs/viewers.md as a program.

It shows alerts on the terminal one after the other. Without a terminal it needs --answer.
Exit codes: 0 ended as asked, 2 nobody is at a terminal.
"""
import argparse
import json
import pathlib
import select
import signal
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
import brevant_bus  # noqa: E402

LOOK_SECONDS = 2.0


def harmless(text):
    """What comes from the bus must not steer the terminal."""
    return "".join(c if c.isprintable() or c == "\n" else "\\x%02x" % ord(c) for c in str(text))


def objects(value):
    return [each for each in value if isinstance(each, dict)] if isinstance(value, list) else []


class Alert:
    def __init__(self, instance, text):
        self.instance = instance
        description = json.loads(text)
        self.id = description["id"]
        context = description.get("context")
        self.context = context if isinstance(context, dict) else {}
        seconds = description.get("timeout", 30)
        self.seconds = seconds if isinstance(seconds, (int, float)) else 30
        self.actions = [a for a in objects(self.context.get("actions")) if isinstance(a.get("defaultmessage"), dict)]

    def outcome(self, what):
        return "Brevant.Alert.%s.%s.%s" % (self.id, what, self.instance)


class Viewer:
    def __init__(self, bus, name, answer):
        self.bus = bus
        self.name = name
        self.answer = answer
        self.alert = None
        self.until = 0.0
        self.ids = {}  # of the instances that were here, for deletions that come late
        head = "Brevant.Viewer.%s." % name
        bus.on_request(head + "Show.>", self.show)
        bus.on_request(head + "Delete.>", self.delete)
        bus.on_request(head + "Alive", lambda request: bus.reply(request, request.name + ".Response", "", False))
        bus.settle()

    # After the subscriptions: the host asks for a sign of life, and the broker for alerts, at once.
    def register(self, registered=True):
        value = {"name": "Brevant/Viewer/" + self.name}
        if registered:
            value.update({"value": json.dumps({"alive": True}), "volatile": True})
        kind = "SET" if registered else "REMOVE"
        self.bus.request("SETTINGS_MANAGER_%s_PROPERTY" % kind, json.dumps(value))

    def show(self, request):
        instance = request.name.rpartition(".")[2]
        try:
            alert = Alert(instance, request.payload)
        except (ValueError, KeyError, TypeError):
            self.bus.reply(request, "Brevant.Alert..Failed." + instance)
            return
        if self.alert and self.alert.instance != instance:
            self.end("Failed", [])  # the broker has given it up
        self.alert = alert
        self.ids[instance] = alert.id
        self.until = time.monotonic() + alert.seconds
        print("\n== %s\n%s" % tuple(harmless(alert.context.get(k, "")) for k in ("title", "defaultcontent")))
        for number, action in enumerate(alert.actions, 1):
            print("[%d] %s" % (number, harmless(action.get("text", ""))))
        sys.stdout.flush()
        self.bus.reply(request, alert.outcome("Shown"))
        if self.answer and self.answer != "timeout":
            self.choose("" if self.answer == "dismiss" else self.answer)

    def delete(self, request):
        instance = request.name.rpartition(".")[2]
        if self.alert and self.alert.instance == instance:
            print("(withdrawn)", flush=True)
            self.alert = None
        # The plain copy of this reply is what ends the alert.
        self.bus.reply(request, "Brevant.Alert.%s.Dismissed.%s" % (self.ids.get(instance, ""), instance))

    def choose(self, word):
        actions = self.alert.actions
        if not word:
            self.end("Dismissed", objects(self.alert.context.get("dismissalactions")))
            return
        for number, action in enumerate(actions, 1):
            if word in (str(number), action.get("id"), action.get("text")):
                self.end("Dismissed", [action["defaultmessage"]])
                return
        print("? a number, or an empty line to dismiss", flush=True)

    def end(self, outcome, messages):
        alert, self.alert = self.alert, None
        for message in messages:
            if isinstance(message.get("messagename"), str):
                self.bus.publish(message["messagename"], str(message.get("payload", "")))
        self.bus.publish(alert.outcome(outcome))
        print("(%s)" % outcome, flush=True)

    def step(self, user):
        wait = LOOK_SECONDS if not self.alert else min(LOOK_SECONDS, self.until - time.monotonic())
        if self.bus.run(wait, user) and user:
            word = user.readline().strip()
            if self.alert:
                self.choose(word)
        if self.alert and time.monotonic() >= self.until:
            self.end("Dismissed", objects(self.alert.context.get("timeoutactions")))

    def close(self):
        try:
            if self.alert:
                self.end("Failed", [])
            self.register(False)
        except brevant_bus.BusError:
            pass


def serve(arguments, stop, user):
    """Until the connection is lost."""
    bus = brevant_bus.Bus("viewer.py", "viewer", arguments.at)
    viewer = Viewer(bus, arguments.id, arguments.answer)
    start, looked = None, 0.0
    while not stop:
        if time.monotonic() - looked >= LOOK_SECONDS:
            looked = time.monotonic()
            try:
                status = json.loads(bus.request("Brevant.Host.Status").payload)
                registered = any(each.get("id") == arguments.id for each in status.get("viewers", []))
                if status.get("start") != start or not registered:
                    viewer.register()
                    print("registered as \"%s\"" % arguments.id, flush=True)
                start = status.get("start")
            except brevant_bus.NobodyThere:
                if start:
                    print("the host is gone; waiting for it", flush=True)
                start = None
                if viewer.alert:
                    viewer.end("Failed", [])
        viewer.step(user)
    viewer.close()


def main():
    parser = argparse.ArgumentParser(description="Shows alerts on this terminal.",
                                     epilog="Example: viewer.py --id python --answer 1")
    parser.add_argument("--id", default="python", help="how alerts name it, usually python")
    parser.add_argument("--answer", metavar="dismiss|timeout|ACTION",
                        help="answers by itself; an action by its number, id or text")
    arguments = parser.parse_args()
    arguments.at = None
    user = None if arguments.answer else sys.stdin
    if user and not user.isatty():
        print("viewer.py: nobody is at a terminal: --answer says what is to become of alerts", file=sys.stderr)
        return 2
    stop = []

    def on_signal(*_):
        stop.append(True)

    signal.signal(signal.SIGTERM, on_signal)
    signal.signal(signal.SIGINT, on_signal)
    said = None
    while not stop:
        try:
            serve(arguments, stop, user)
        except brevant_bus.BusError as error:
            if str(error) != said:
                said = str(error)
                print("viewer.py: %s; trying on" % said, file=sys.stderr, flush=True)
            select.select([], [], [], 0.25)
    return 0


if __name__ == "__main__":
    sys.exit(main())
