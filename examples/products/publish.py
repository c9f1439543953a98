#!/usr/bin/env python3
"""A product in Python, standard library only: publishes one alert and tells what becomes of it.

Exit codes: 0 chosen, 10 dismissed or timed out, 12 suppressed, 13 failed, 2 the file makes no sense, 3 no host,
1 anything else.
"""
import argparse
import json
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
import brevant_bus  # noqa: E402


class Outcome:
    """Follows one alert. The choice's message comes before the outcome."""

    def __init__(self, bus, description, instance):
        self.word = None
        self.choice = None
        for word in ("Dismissed", "Failed"):
            bus.on_message("Brevant.Alert.%s.%s.%s" % (description["id"], word, instance), self.ended(word))
        bus.on_message("Brevant.Alert..Deleted." + instance, self.ended("Deleted"))
        actions = description.get("context", {}).get("actions", [])
        for name in {action["defaultmessage"]["messagename"] for action in actions}:
            bus.on_message(name, self.chosen)
        bus.settle()

    def ended(self, word):
        def end(_):
            self.word = self.word or word
        return end

    def chosen(self, message):
        self.choice = self.choice or message


def publish(bus, description):
    instance = bus.request("Brevant.Alert.GetId").payload
    description["instanceId"] = instance
    try:
        bus.request("Brevant.Host.StandIn", description["product"])
    except brevant_bus.BusError:
        pass  # a host without an example plugin
    outcome = Outcome(bus, description, instance)
    answer = bus.request("Brevant.Alert.Show." + instance, json.dumps(description), 100).name
    if ".Suppressed." in answer:
        print("instance %s: suppressed" % instance)
        return 12
    while not outcome.word:
        bus.run(1.0)
    bus.run(0.3)  # what another publisher has sent at the same time
    if outcome.word == "Dismissed" and outcome.choice:
        print("instance %s: chosen %r %r" % (instance, outcome.choice.name, outcome.choice.payload))
        return 0
    print("instance %s: %s" % (instance, outcome.word.lower()))
    return {"Dismissed": 10, "Failed": 13, "Deleted": 14}[outcome.word]


def main():
    parser = argparse.ArgumentParser(description="Publishes an alert and tells what becomes of it.",
                                     epilog="Example: publish.py examples/alert.json")
    parser.add_argument("file", help="the alert's description; - for standard input")
    arguments = parser.parse_args()
    try:
        text = sys.stdin.read() if arguments.file == "-" else pathlib.Path(arguments.file).read_text("utf-8")
        description = json.loads(text)
        if not isinstance(description, dict) or not {"id", "product"} <= description.keys():
            raise ValueError("it has no id or no product")
    except (OSError, ValueError) as error:
        print("publish.py: %s: %s" % (arguments.file, error), file=sys.stderr)
        return 2
    try:
        return publish(brevant_bus.Bus("publish.py", "product"), description)
    except (brevant_bus.NobodyThere, brevant_bus.Disconnected) as error:
        print("publish.py: no host: %s" % error, file=sys.stderr)
        return 3
    except brevant_bus.BusError as error:
        print("publish.py: %s" % error, file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
