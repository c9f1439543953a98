#!/usr/bin/env python3
"""Three machines on a cluster of three nodes, from the very files of examples/cluster, on loopback addresses.

cluster_test.py FOLDER-OF-THE-PROGRAM
"""

import contextlib
import json
import os
import pathlib
import random
import re
import shutil
import signal
import socket
import ssl
import subprocess
import sys
import tempfile
import threading
import time
import urllib.request

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from processes import DEADLINE, Process, check, wait_until  # noqa: E402

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples" / "cluster"
PROGRAM = pathlib.Path(sys.argv[1]).resolve() / "brevant"
SERVER = shutil.which("nats-server") or "/usr/sbin/nats-server"
NUMBERS = (1, 2, 3)


class Server(Process):
    """A node or a machine's server, in a folder of its own."""

    def __init__(self, folder, configuration, address):
        self.address = address
        super().__init__("server", [SERVER, "-c", str(folder / configuration)], folder)

    def ask(self, page):
        try:
            with urllib.request.urlopen(f"http://{self.address}:8222/{page}", timeout=2) as answer:
                return json.load(answer)
        except OSError:
            check(self.child.poll() is None, f"the server at {self.address} has ended:\n{self.text()}")
            return {}

    def node(self):
        """Of a machine's server: the address of the node that it is connected to."""
        leafs = self.ask("leafz").get("leafs")
        return leafs[0]["ip"] if leafs else None

    def is_in_cluster(self):
        # A route may be open twice for a moment.
        return len({route["remote_id"] for route in self.ask("routez").get("routes") or []}) == 2


class Cluster:
    """The installation that docs/cluster.md describes, but for the addresses."""

    def __init__(self, folder):
        self.folder = folder
        # 127.x.y.10+n is node n, 127.x.y.20+n machine n: free ports, whatever else runs here.
        self.network = f"127.{random.randint(1, 254)}.{random.randint(0, 255)}"
        for number in NUMBERS:
            self.certify(f"alerts{number}", "node", self.node_address(number))
            self.certify(f"machine{number}", "machine")
            self.write(f"alerts{number}", "node.conf", self.node_address(number))
            self.write(f"machine{number}", "leaf.conf", self.machine_address(number))
            self.write(f"machine{number}", "roles.conf", self.machine_address(number))
            subprocess.run([EXAMPLES / "passwords.sh", folder / f"machine{number}",
                            f"{self.machine_address(number)}:4222"], check=True)
        self.nodes = {number: self.start_node(number) for number in NUMBERS}
        self.machines = {number: self.start_machine(number) for number in NUMBERS}

    def node_address(self, number):
        return f"{self.network}.{10 + number}"

    def machine_address(self, number):
        return f"{self.network}.{20 + number}"

    def certify(self, name, kind, *addresses, authority="authority", to=None):
        made = self.folder / authority
        subprocess.run([EXAMPLES / "certificates.sh", made, kind, name, *addresses], check=True)
        place = self.folder / (to or name)
        place.mkdir(exist_ok=True)
        shutil.copy(made / "ca.pem", place / "ca.pem")
        shutil.copy(made / f"{name}.pem", place / "server.pem")
        shutil.copy(made / f"{name}.key", place / "server.key")

    def write(self, name, file, address):
        text = (EXAMPLES / file).read_text()
        text = re.sub(r"alerts(\d)\.example\.net", lambda found: self.node_address(int(found[1])), text)
        text = re.sub(r"(?:127\.0\.0\.1|0\.0\.0\.0):", f"{address}:", text)
        text = re.sub(r'(server_name: )"\w+"', rf'\1"{name}"', text)
        (self.folder / name / file).write_text(text)

    def start_node(self, number):
        return Server(self.folder / f"alerts{number}", "node.conf", self.node_address(number))

    def start_machine(self, number):
        return Server(self.folder / f"machine{number}", "leaf.conf", self.machine_address(number))

    def wait(self):
        for number in NUMBERS:
            wait_until(f"node {number} sees the others", self.nodes[number].is_in_cluster)
            wait_until(f"machine {number} has a node", self.machines[number].node)

    def place_alone(self, number):
        """Machines choose their nodes by chance: until this one has one to itself."""
        others = {self.machines[other].node() for other in NUMBERS if other != number}
        while (node := wait_until("a node", self.machines[number].node)) in others:
            self.machines[number].end()
            self.machines[number] = self.start_machine(number)
        return next(other for other in NUMBERS if self.node_address(other) == node)

    def end(self):
        for server in (*self.machines.values(), *self.nodes.values()):
            server.end(signal.SIGKILL)


class Machine:
    """A machine's processes, with a platform folder and a bus of their own."""

    def __init__(self, cluster, number):
        self.folder = cluster.folder / f"machine{number}"
        self.address = cluster.machine_address(number)
        self.platform = self.folder / "platform"
        self.platform.mkdir()

    def environment(self, role):
        bus = (self.folder / f"{role}.env").read_text().strip().partition("=")
        return os.environ | {bus[0]: bus[2], "BREVANT_PLATFORM_DIR": str(self.platform)}

    def start(self, role, *arguments):
        return Process(arguments[0], [PROGRAM, *arguments], self.folder, self.environment(role))

    def run(self, role, *arguments, patience=8):
        """Exit code (None when it takes too long) and the objects printed."""
        try:
            done = subprocess.run([PROGRAM, *arguments], env=self.environment(role), stdin=subprocess.DEVNULL,
                                  capture_output=True, timeout=patience, check=False)
        except subprocess.TimeoutExpired:
            return None, []
        return done.returncode, [json.loads(line) for line in done.stdout.splitlines() if line.startswith(b"{")]

    def alert(self, name):
        file = self.folder / f"{name}.json"
        file.write_text(json.dumps({
            "id": name, "priority": "P1", "product": "Example", "source": "client",
            "preferredViewer": ["console"], "forcePreferredViewer": True, "timeout": 30,
            "context": {"title": name, "category": "update", "defaultcontent": name, "actions": [
                {"id": "yes", "text": "Yes", "default": True,
                 "defaultmessage": {"messagename": "Example.Chosen", "payload": name}}]}}))
        return str(file)


def client(address, role, password):
    """A connection of a foreign client: sends lines, gives what the server answers up to PONG or its end."""
    connection = socket.create_connection((address, 4222), timeout=5)
    options = {"verbose": False, "user": role, "pass": password}
    connection.sendall(f"CONNECT {json.dumps(options)}\r\n".encode())
    return connection


def answers(connection, lines=""):
    received = b""
    try:
        connection.sendall(f"{lines}PING\r\n".encode())
        while b"PONG" not in received and (piece := connection.recv(65536)):
            received += piece
    except ConnectionError:
        pass
    return received.decode()


def words(configuration):
    """What it says, however it is laid out."""
    text = re.sub(r"#.*", "", configuration)
    return re.findall(r"[{}\[\]]|[^\s{}\[\]:,]+", text[text.index("accounts"):].replace('"', ""))


def check_rights(machine):
    environment = machine.environment("host")
    del environment["BREVANT_BUS"]
    server = Process("server-of-a-host", [PROGRAM, "host", "--server"], machine.folder, environment)
    server.says("serving")
    written = (machine.platform / "data/Corvane/Brevant/bus/server/nats-server.conf").read_text()
    check(server.end() == 0, server.text())
    written = re.sub(r'user: "(\w+)", password: "\w+"', lambda role: f"user: {role[1]}, password: "
                     f"${role[1].upper()}_PASSWORD", written)
    check(words(written) == words((EXAMPLES / "roles.conf").read_text()), "roles.conf differs from a host's rights")

    passwords = dict(re.findall(r'(\w+)_PASSWORD: "(\w+)"', (machine.folder / "passwords.conf").read_text()))
    with client(machine.address, "viewer", passwords["VIEWER"]) as connection:
        said = answers(connection, "PUB mb.SettingsManager.Notify.Set.a 0\r\n\r\nPUB mb.Example.Chosen 0\r\n\r\n")
        check(said.count("-ERR") == 1 and "Notify.Set.a" in said, said)
    for role, password in (("host", passwords["VIEWER"]), ("", "")):
        with client(machine.address, role, password) as connection:
            check("PONG" not in answers(connection), f'"{role}" comes in')


def is_let_in(address, port, folder=None):
    """Whether a server that has the certificate in the folder, or speaks plainly, gets an answer."""
    try:
        with socket.create_connection((address, port), timeout=5) as connection:
            if folder:
                if port == 7422:
                    while not connection.recv(4096).endswith(b"\r\n"):
                        pass
                context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
                context.check_hostname = False
                context.verify_mode = ssl.CERT_NONE
                context.load_cert_chain(folder / "server.pem", folder / "server.key")
                connection = context.wrap_socket(connection)
            with connection:
                return "PONG" in answers(connection, 'CONNECT {"cluster":"%s"}\r\n' % ("alerts" if port == 6222 else ""))
    except (ssl.SSLError, ConnectionError):
        return False


def check_doors(cluster):
    node = cluster.node_address(1)
    cluster.certify("machine1", "machine", authority="strangers", to="stranger")
    cluster.certify("machine9", "machine")
    check(is_let_in(node, 7422, cluster.folder / "machine1"), "a machine with its certificate")
    check(not is_let_in(node, 7422), "a machine that speaks plainly")
    check(not is_let_in(node, 7422, cluster.folder / "stranger"), "a certificate of another authority")
    check(not is_let_in(node, 7422, cluster.folder / "machine9"), "a machine that is not on the list")
    check(is_let_in(node, 6222, cluster.folder / "alerts2"), "a node with its certificate")
    check(not is_let_in(node, 6222), "a node that speaks plainly")
    check(not is_let_in(node, 6222, cluster.folder / "machine1"), "a machine as a node")
    with client(node, "nobody", "") as connection:
        check("PONG" not in answers(connection), "a client on a node")


class Flow:
    """A product that publishes one alert after the other, and each again until the broker has taken it."""

    def __init__(self, machine):
        self.machine = machine
        self.taken = []  # those that the broker has said to have queued
        self.unsure = []  # those whose answer may have been lost
        self.error = None
        self.stopping = threading.Event()
        self.thread = threading.Thread(target=self.run, daemon=True)
        self.thread.start()

    def run(self):
        try:
            number = 0
            while not self.stopping.is_set():
                number += 1
                names = [f"flow.{number}-{part}" for part in NUMBERS]
                code, _ = self.machine.run("product", "show", "--no-wait", "--json",
                                           *(self.machine.alert(name) for name in names))
                (self.taken if code == 0 else self.unsure).extend(names)
        except Exception as error:  # told by the thread that waits
            self.error = error

    def wait_for_more(self, count):
        target = len(self.taken) + count

        def is_reached():
            check(not self.error, self.error)
            return len(self.taken) >= target
        wait_until(f"{count} more alerts are taken", is_reached)

    def stop(self):
        self.stopping.set()
        self.thread.join()


def play(cluster, machines, victim, processes):
    """Alerts flow from machine 1 while its node, the victim, is killed."""
    product, host, viewer = machines
    serving = processes.enter_context(ended(host.start("host", "host", "--store", str(host.folder / "store"))))
    serving.says("serving")
    watching = processes.enter_context(ended(host.start("watcher", "watch", "--json", r"Brevant.Alert\..+")))
    watching.says("watching")
    showing = processes.enter_context(ended(viewer.start("viewer", "viewer", "--answer", "1", "--json")))
    showing.says("registered")

    def outcome_reaches_the_product(name):
        code, objects = product.run("product", "show", "--json", product.alert(name))
        check(code == 0 and [found["outcome"] for found in objects] == ["chosen"] and
              objects[0]["payload"] == name, f"{name}: {code} {objects}")

    outcome_reaches_the_product("first")
    flow = Flow(product)
    flow.wait_for_more(3)
    cluster.nodes[victim].end(signal.SIGKILL)
    wait_until("the product's machine has another node",
               lambda: cluster.machines[1].node() not in (None, cluster.node_address(victim)))
    flow.wait_for_more(9)
    cluster.nodes[victim] = cluster.start_node(victim)
    wait_until("the node is back", cluster.nodes[victim].is_in_cluster)
    flow.wait_for_more(3)
    flow.stop()
    outcome_reaches_the_product("last")

    # The last one waited behind all others.
    taken = ["first", *flow.taken, "last"]

    def outcomes():
        fates = {}
        for message in watching.objects():
            found = re.fullmatch(r"Brevant\.Alert\.(.+)\.(Dismissed|Failed|Suppressed)\.\d+", message["name"])
            if found:
                fates.setdefault(found[1], []).append(found[2])
        return fates
    wait_until("each alert has its outcome", lambda: all(name in outcomes() for name in taken))
    fates = outcomes()
    shown = [alert["alert"] for alert in showing.objects() if "alert" in alert]
    for name in taken:
        check(fates[name] == ["Dismissed"], f"{name}: {fates[name]}")
        check(shown.count(name) == 1, f"{name} was shown {shown.count(name)} times")
    for name in flow.unsure:
        check(len(fates.get(name, [])) <= 1 and shown.count(name) <= 1, f"{name}: {fates.get(name)}")
    for process in (showing, watching, serving):
        check(process.end() == 0, f"{process.name} ends badly:\n{process.text()}")
    print(f"{len(taken)} alerts taken, {len(flow.unsure)} unsure")


@contextlib.contextmanager
def ended(process):
    try:
        yield process
    finally:
        process.end(signal.SIGKILL)


def main():
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    began = time.monotonic()
    with tempfile.TemporaryDirectory() as folder:
        cluster = Cluster(pathlib.Path(folder))
        try:
            cluster.wait()
            victim = cluster.place_alone(1)
            machines = [Machine(cluster, number) for number in NUMBERS]
            check_doors(cluster)
            check_rights(machines[0])
            with contextlib.ExitStack() as processes:
                play(cluster, machines, victim, processes)
        finally:
            cluster.end()
    print(f"{time.monotonic() - began:.1f} s")


if __name__ == "__main__":
    main()
