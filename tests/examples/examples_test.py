#!/usr/bin/env python3
"""The viewers and products of examples/, with the host as a process, and viewers that do what they must not.

examples_test.py FOLDER-OF-THE-PROGRAM
"""
import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "tests/support"), str(ROOT / "examples"), str(ROOT / "examples/viewers")]
import brevant_bus  # noqa: E402
from processes import Process, check, wait_until  # noqa: E402
from viewer import Viewer  # noqa: E402

BIN = pathlib.Path(sys.argv[1]).resolve()
VIEWERS = {"python": [str(ROOT / "examples/viewers/viewer.py")], "c": [str(BIN / "example_viewer")]}
PRODUCTS = {"python": [str(ROOT / "examples/products/publish.py")], "c": [str(BIN / "example_product")]}


class Machine:
    def __init__(self, folder):
        self.folder = folder
        self.count = 0
        self.environment = {**os.environ, "BREVANT_PLATFORM_DIR": str(folder)}
        self.environment.pop("BREVANT_BUS", None)
        os.environ.update({"BREVANT_PLATFORM_DIR": str(folder)})
        os.environ.pop("BREVANT_BUS", None)
        self.host = self.start([str(BIN / "brevant"), "host", "--server", "--no-example-plugin"])
        self.host.says("serving")
        plugin = json.dumps({"pluginFile": "ExamplePlugin.dll", "pluginPath": str(BIN)})
        self.run(["brevant", "settings", "set", "Brevant/Product/Example", plugin])

    def start(self, arguments):
        self.count += 1
        return Process(f"{pathlib.Path(arguments[0]).name}-{self.count}", arguments, self.folder, self.environment)

    def run(self, arguments, expected=0):
        done = subprocess.run([str(BIN / arguments[0]), *arguments[1:]], env=self.environment, capture_output=True,
                              timeout=30, text=True, check=False)
        check(done.returncode == expected, f"{arguments}: {done.returncode}\n{done.stdout}{done.stderr}")
        return done.stdout

    def status(self):
        return json.loads(self.run(["brevant", "status", "--json"]))

    def has_viewer(self, name):
        return any(each["id"] == name for each in self.status()["viewers"])

    def alert(self, name, viewer="console", timeout=60):
        file = self.folder / f"{name}.json"
        message = {"messagename": "Example.Yes", "payload": name}
        file.write_text(json.dumps({
            "id": name, "priority": "P1", "product": "Example", "source": "web", "timeout": timeout,
            "forcePreferredViewer": True, "preferredViewer": [viewer],
            "context": {"title": name + "\x1b[2J", "category": "update", "defaultcontent": "\x07text", "actions": [
                {"id": "yes", "text": "Yes", "default": True, "defaultmessage": message}]}}))
        return str(file)

    def sign_of(self, name):
        """Seconds since the viewer's last sign of life; None before the first."""
        return next(each.get("lastSign") for each in self.status()["viewers"] if each["id"] == name)

    def viewer(self, arguments, name="console"):
        process = self.start([*arguments, "--id", name])
        process.says("registered")
        wait_until("the host knows the viewer", lambda: self.has_viewer(name))
        return process

    def shown(self):
        return self.status()["shown"]


def outcomes(machine, viewer, product):
    """Each outcome, and that nothing of the text steers the terminal."""
    for answer, timeout, code, said in (("1", 60, 0, "Example.Yes"), ("dismiss", 60, 10, ""), ("timeout", 1, 10, "")):
        shower = machine.viewer([*VIEWERS[viewer], "--answer", answer])
        published = machine.start([*PRODUCTS[product], machine.alert(f"{viewer}-{product}-{answer}", timeout=timeout)])
        check(published.end(0) == code and said in published.text(), published.text())
        check(shower.end() == 0, shower.text())
        check("\x1b[2J" not in shower.text() and "\x07" not in shower.text(), "steered")
        check(not machine.has_viewer("console"), "it has not unregistered")
    published = machine.start([*PRODUCTS[product], machine.alert("nobody")])
    check(published.end(0) == 12, published.text())
    check(machine.start([*PRODUCTS[product], __file__]).end(0) == 2, "no description")


def stopped(machine):
    """One that stands still keeps its place, and goes on."""
    viewer = machine.viewer([*VIEWERS["python"], "--answer", "1"], "slow")
    wait_until("it gives a sign of life", lambda: machine.sign_of("slow") is not None)
    viewer.child.send_signal(signal.SIGSTOP)
    waiting = machine.start([str(BIN / "brevant"), "show", machine.alert("patient", "slow")])
    wait_until("it gives none any more", lambda: machine.sign_of("slow") >= 4)
    viewer.child.send_signal(signal.SIGCONT)
    check(waiting.child.wait(60) == 0, waiting.text())
    viewer.end()


def killed(machine):
    viewer = machine.viewer([*VIEWERS["python"], "--answer", "timeout"])
    machine.start([*PRODUCTS["python"], machine.alert("held", timeout=1)])
    wait_until("it is shown", machine.shown)
    viewer.end(signal.SIGKILL)
    began = time.monotonic()
    wait_until("the viewer is forgotten", lambda: not machine.has_viewer("console"))
    check(time.monotonic() - began < 5, "it took more than 5 s")
    # The alert on screen waits for its time and 30 s more, as it must; nobody else is sent to that viewer.
    machine.run(["brevant", "show", machine.alert("late")], 12)


class Wicked(Viewer):
    """Answers twice, for others, and garbage."""

    def show(self, request):
        instance = request.name.rpartition(".")[2]
        super().show(request)
        other = str(int(instance) + 1)
        for outcome in ("Dismissed", "Failed", "Dismissed"):
            self.bus.publish(f"Brevant.Alert.wicked.{outcome}.{other}")
        self.bus.reply(request, f"Brevant.Alert.wicked.Shown.{instance}")
        self.bus._publish("mb." + brevant_bus.subject(f"Brevant.Alert.wicked.Dismissed.{instance}"), "", b"garbage")
        self.alert and self.end("Dismissed", [])
        self.bus.publish(f"Brevant.Alert.wicked.Failed.{instance}")


def wicked(machine):
    bus = brevant_bus.Bus("wicked", "viewer")
    viewer = Wicked(bus, "wicked", None)
    viewer.register()
    wait_until("the host knows it", lambda: bus.run(0.05) or machine.has_viewer("wicked"))
    good = machine.viewer([*VIEWERS["python"], "--answer", "1"])
    first = machine.start([str(BIN / "brevant"), "show", machine.alert("wicked", "wicked"), machine.alert("next")])

    def served():
        bus.run(0.05)
        return first.child.poll() is not None

    wait_until("both alerts have ended", served)
    check("\"next\"" in first.text() and "chosen" in first.text(), first.text())
    machine.run(["brevant", "show", machine.alert("after")])
    viewer.close()
    good.end()


def documented():
    """The bytes that docs/viewers.md prints are those of the message."""
    text = (ROOT / "docs/viewers.md").read_text("utf-8")
    printed = bytes.fromhex("".join(re.findall(r"^[0-9a-f]{4}  ((?:[0-9a-f]{2} ?)+)  ", text, re.MULTILINE)))
    message = brevant_bus.encode(brevant_bus.REPLY, "Brevant.Alert.a.Shown.7", "mine", "", brevant_bus.IS_REPLY)
    check(printed == message, message.hex(" "))


def product_killed(machine):
    viewer = machine.viewer([*VIEWERS["python"], "--answer", "timeout"])
    product = machine.start([*PRODUCTS["python"], machine.alert("orphan", timeout=2)])
    wait_until("it is shown", machine.shown)
    product.end(signal.SIGKILL)
    wait_until("its alert runs its course", lambda: not machine.shown())
    viewer.end()


def main():
    documented()
    with tempfile.TemporaryDirectory() as name:
        machine = Machine(pathlib.Path(name))
        try:
            for viewer, product in (("python", "c"), ("c", "python")):
                outcomes(machine, viewer, product)
            wicked(machine)
            product_killed(machine)
            stopped(machine)
            killed(machine)
            check(machine.host.child.poll() is None, machine.host.text())
        finally:
            machine.host.end(signal.SIGKILL)


if __name__ == "__main__":
    main()
