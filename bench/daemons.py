"""The peers' daemons, on sockets and ports of their own: started for one run and ended with it."""
import os
import socket
import subprocess
import time

BUS = """<busconfig>
  <type>session</type>
  <listen>unix:path={path}</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
"""

# Otherwise it looks for an icon on the disk for each request.
DUNST = """[global]
    icon_position = off
[urgency_low]
    default_icon = ""
[urgency_normal]
    default_icon = ""
"""


def bounded(*command):
    """A command that does not outlive who starts it."""
    return ["setpriv", "--pdeathsig", "KILL", "--", *command]


class Daemons:
    """environment tells the benchmark programs where the daemons are."""

    def __init__(self, folder, log):
        self.folder, self.log = folder, log
        self.environment, self.processes = {}, []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for process in reversed(self.processes):
            process.terminate()
        for process in reversed(self.processes):
            try:
                process.wait(5)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()

    def start(self, *command, ready, **more):
        process = subprocess.Popen(bounded(*command), stdin=subprocess.DEVNULL, stdout=self.log,
                                   stderr=self.log, **more)
        self.processes.append(process)
        deadline = time.monotonic() + 20
        while not ready():
            if process.poll() is not None or time.monotonic() > deadline:
                raise SystemExit(f"{command[0]} does not start; see {self.log.name}")
            time.sleep(0.01)

    def start_bus(self, path):
        with open(path + ".conf", "w", encoding="utf-8") as file:
            file.write(BUS.format(path=path))
        self.start("dbus-daemon", "--nofork", "--config-file", path + ".conf",
                   ready=lambda: os.path.exists(path))
        return f"unix:path={path}"

    def start_dbus(self):
        self.environment["BENCH_DBUS"] = self.start_bus(os.path.join(self.folder, "echo"))

    def start_nats(self):
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            port = probe.getsockname()[1]

        def listens():
            with socket.socket() as connection:
                return connection.connect_ex(("127.0.0.1", port)) == 0
        self.start("/usr/sbin/nats-server", "-a", "127.0.0.1", "-p", str(port), ready=listens)
        self.environment["BENCH_NATS"] = str(port)

    def start_dunst(self, lengths):
        """One daemon for each length of its queue, each on a bus of its own."""
        folder = os.path.join(self.folder, "dunst")
        os.mkdir(folder)
        read, write = os.pipe()
        self.start("Xvfb", "-displayfd", str(write), "-nolisten", "tcp", "-screen", "0", "640x480x24",
                   pass_fds=(write,), ready=lambda: True)
        os.close(write)
        with os.fdopen(read) as numbers:
            display = numbers.readline().strip()
        if not display:
            raise SystemExit(f"Xvfb does not start; see {self.log.name}")
        settings = os.path.join(folder, "dunstrc")
        with open(settings, "w", encoding="utf-8") as file:
            file.write(DUNST)
        for length in lengths:
            address = self.start_bus(os.path.join(folder, str(length)))
            self.start("dunst", "-config", settings, ready=lambda: True, env={
                "PATH": os.environ["PATH"], "DISPLAY": f":{display}", "DBUS_SESSION_BUS_ADDRESS": address,
                "HOME": folder, "XDG_RUNTIME_DIR": folder})
        self.environment["BENCH_DUNST"] = folder
