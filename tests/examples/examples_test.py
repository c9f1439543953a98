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
        self.start_host()
        plugin = json.dumps({"pluginFile": "ExamplePlugin.dll", "pluginPath": str(BIN)})
        self.run(["brevant", "settings", "set", "Brevant/Product/Example", plugin])

    def start_host(self):
        self.host = self.start([str(BIN / "brevant"), "host", "--server", "--no-example-plugin"])
        self.host.says("serving")

    def start(self, arguments, stdin=subprocess.DEVNULL):
        self.count += 1
        return Process(f"{pathlib.Path(arguments[0]).name}-{self.count}", arguments, self.folder, self.environment,
                       stdin)

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
                {"id": "yes", "text": "Yes", "default": True, "defaultmessage": message}],
                "timeoutactions": [{"messagename": "Example.Late", "payload": name}]}}))
        return str(file)

    def sign_of(self, name):
        """Seconds since the viewer's last sign of life; None before the first."""
        return next(each.get("lastSign") for each in self.status()["viewers"] if each["id"] == name)

    def viewer(self, arguments, name="console", stdin=subprocess.DEVNULL):
        process = self.start([*arguments, "--id", name], stdin)
        process.says("registered")
        wait_until("the host knows the viewer", lambda: self.has_viewer(name))
        return process

    def shown(self):
        return self.status()["shown"]


def outcomes(machine, viewer, product):
    """Each outcome, and that nothing of the text steers the terminal."""
    late = {"python": 11, "c": 10}[product]
    for answer, timeout, code, said in (("1", 60, 0, "Example.Yes"), ("dismiss", 60, 10, ""), ("timeout", 1, late, "")):
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
    bus = connect("viewer")
    viewer = Wicked("wicked")
    viewer.attach(bus)
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


class Recorder(brevant_bus.Bus):
    """Keeps what it sends and receives, byte by byte."""

    def __init__(self, *arguments):
        self.frames = []
        super().__init__(*arguments)

    def _dispatch(self, to, number, reply_to, headers, payload):
        self.frames.append((to, payload))
        super()._dispatch(to, number, reply_to, headers, payload)

    def _publish(self, to, reply, payload):
        self.frames.append((to, payload))
        super()._publish(to, reply, payload)


def documented(machine):
    """The bytes that docs/viewers.md prints are those that pass; of the first alert, since they name it."""
    text = (ROOT / "docs/viewers.md").read_text("utf-8")
    dumps = [bytes.fromhex("".join(re.findall(r"^[0-9a-f]{4}  ((?:[0-9a-f]{2} ?)+)  ", block, re.MULTILINE)))
             for block in re.findall(r"^```\n(0000  .*?)^```", text, re.MULTILINE | re.DOTALL)]
    description = re.search(r"^```json\n(.*)$", text, re.MULTILINE).group(1)
    alert = machine.folder / "a.json"
    alert.write_text(json.dumps({key: value for key, value in json.loads(description).items() if key != "content"}))
    bus = connect("viewer", Recorder)
    viewer = Viewer("mine", "dismiss")
    viewer.attach(bus)
    viewer.register()
    wait_until("the host knows it", lambda: bus.run(0.05) or machine.has_viewer("mine"))
    product = machine.start([*PRODUCTS["python"], str(alert)])
    wait_until("it is dismissed", lambda: bus.run(0.05) or product.child.poll() is not None)
    viewer.close()
    show = next(payload for to, payload in bus.frames if to == "mq.Brevant.Viewer.mine.Show.1")
    reply = next(payload for to, payload in bus.frames if to.startswith("_INBOX_host") and b"S\0h\0o\0w\0n" in payload)
    expected = dumps[0] + description.encode("utf-16-le")
    # The process, its handle and the message's number are different each time.
    check(show[:8] + show[40:] == expected[:8] + expected[40:], show.hex(" "))
    check(reply == dumps[1], reply.hex(" "))


def connect(role, kind=brevant_bus.Bus):
    return kind("mine", brevant_bus.find(role))


def garbage(machine):
    """What is no description is refused, all else passed over, and the connection stays."""
    bus = connect("host")
    for kind, command in VIEWERS.items():
        viewer = machine.viewer([*command, "--answer", "1"], kind)
        name = f"Brevant.Viewer.{kind}.Show.9"
        for payload in ("", "[]", "null", '{"id":7}', "[" * 100000, "\ud800"):
            answer = bus.request(name, payload).name
            check(answer == "Brevant.Alert..Failed.9", f"{payload[:20]!r}: {answer}")
        for payload in ('{"id":"x","timeout":1e999,"context":[]}', '{"id":"x","context":{"actions":{},"title":7}}'):
            check(bus.request(name, payload).name == "Brevant.Alert.x.Shown.9", payload)
        show = brevant_bus.encode(brevant_bus.REQUEST, name, "", '{"id":"x"}', brevant_bus.WANTS_REPLY)
        for each in (b"", b"BMSG", show[:-1], show[:44] + b"\xff" * 12 + show[56:], show.replace(b"9\0", b"8\0"), show):
            bus._publish("mq." + name, "", each)
            for other in ("GetId", "Show.1", "Delete.1", "x.Dismissed.1"):
                bus._publish("mq.Brevant.Alert." + other, "", each)
                bus._publish("mb.Brevant.Alert." + other, "", each)
        machine.run(["brevant", "show", machine.alert("sound-" + kind, kind)])
        check(viewer.end() == 0 and "trying on" not in viewer.text(), viewer.text())
    bus.close()


def at_a_terminal(machine):
    """A choice by key; a terminal that goes away is no user who dismisses."""
    terminal, its_side = os.openpty()
    viewer = machine.viewer(VIEWERS["python"], stdin=its_side)
    for keys, code in ((b"no\n1\n", 0), (b"\n", 10), (b"\x04", 13)):
        product = machine.start([*PRODUCTS["python"], machine.alert(f"typed-{code}")])
        wait_until("it is shown", machine.shown)
        os.write(terminal, keys)
        check(product.end(0) == code, product.text() + viewer.text())
    check(viewer.end(0) == 0, viewer.text())
    os.close(terminal)
    os.close(its_side)


def of_another(machine):
    """The message of an action, with the payload of another alert, is not this one's choice."""
    bus = connect("host")
    viewer = machine.viewer([*VIEWERS["c"], "--answer", "timeout"])
    for kind, code in (("python", 11), ("c", 10)):
        product = machine.start([*PRODUCTS[kind], machine.alert("other-" + kind, timeout=2)])
        wait_until("it is shown", machine.shown)
        bus.publish("Example.Yes", "another")
        check(product.end(0) == code, product.text())
    viewer.end()
    bus.close()


def host_killed(machine):
    """Viewers register with the next host by themselves, and products learn that their alert is lost."""
    viewers = [machine.viewer([*VIEWERS[each], "--answer", "timeout"], each) for each in VIEWERS]
    products = [machine.start([*PRODUCTS[each], machine.alert("doomed-" + each, "c")]) for each in PRODUCTS]
    wait_until("the host has both", lambda: len(machine.status()["alerts"]) == 2)
    machine.host.end(signal.SIGKILL)
    machine.start_host()
    for viewer, name in zip(viewers, VIEWERS):
        wait_until("it registers", lambda: viewer.text().count("registered as") == 2)
        machine.run(["brevant", "settings", "remove", "Brevant/Viewer/" + name])
        wait_until("and again", lambda: viewer.text().count("registered as") == 3)
    # The viewer that had it on screen says Failed, which one of them may hear first.
    codes = [product.end(0) for product in products]
    check(15 in codes and set(codes) <= {13, 15}, f"{codes}")
    for viewer in viewers:
        check(viewer.end() == 0, viewer.text())


def server_killed(machine):
    """Programs in Python that have missed what came meanwhile say so, and do not wait for ever."""
    server = int(brevant_bus.lines_of(machine.folder / "data/Corvane/Brevant/bus/connection")["server"])
    viewer = machine.viewer([*VIEWERS["python"], "--answer", "timeout"])
    product = machine.start([*PRODUCTS["python"], machine.alert("kept", timeout=5)])
    wait_until("it is shown", machine.shown)
    os.kill(server, signal.SIGKILL)
    check(product.end(0) in (11, 16), product.text())
    check("(Dismissed)" in viewer.text() and "trying on" in viewer.text(), viewer.text())
    check(viewer.end() == 0, viewer.text())


def product_killed(machine):
    viewer = machine.viewer([*VIEWERS["python"], "--answer", "timeout"])
    product = machine.start([*PRODUCTS["python"], machine.alert("orphan", timeout=2)])
    wait_until("it is shown", machine.shown)
    product.end(signal.SIGKILL)
    wait_until("its alert runs its course", lambda: not machine.shown())
    viewer.end()


def main():
    with tempfile.TemporaryDirectory() as name:
        machine = Machine(pathlib.Path(name))
        try:
            documented(machine)
            for viewer, product in (("python", "c"), ("c", "python")):
                outcomes(machine, viewer, product)
            wicked(machine)
            garbage(machine)
            at_a_terminal(machine)
            of_another(machine)
            product_killed(machine)
            stopped(machine)
            server_killed(machine)
            check(machine.host.child.poll() is None, machine.host.text())
            host_killed(machine)
            killed(machine)
            check(machine.host.child.poll() is None, machine.host.text())
        finally:
            machine.host.end(signal.SIGKILL)


if __name__ == "__main__":
    main()
