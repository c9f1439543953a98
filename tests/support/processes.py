"""Processes of a test in Python, which waits for what they say and for nothing else."""
import ctypes
import json
import signal
import subprocess
import time

DEADLINE = time.monotonic() + 120


def wait_until(what, condition):
    """Returns what the condition gives once that is true."""
    while True:
        if result := condition():
            return result
        if time.monotonic() > DEADLINE:
            raise AssertionError(f"in vain: {what}")
        time.sleep(0.02)


def check(condition, what):
    if not condition:
        raise AssertionError(what)


class Process:
    """A child that ends with the test, however that ends."""

    def __init__(self, name, arguments, folder, environment=None, stdin=subprocess.DEVNULL):
        self.name = name
        self.output = folder / f"{name}.out"
        libc = ctypes.CDLL(None)
        with open(self.output, "ab") as output:
            self.child = subprocess.Popen(
                arguments, cwd=folder, env=environment, stdin=stdin, stdout=output,
                stderr=subprocess.STDOUT, preexec_fn=lambda: libc.prctl(1, signal.SIGKILL))  # PR_SET_PDEATHSIG

    def text(self):
        return self.output.read_text(errors="replace")

    def says(self, text):
        def is_said():
            check(self.child.poll() is None, f"{self.name} has ended:\n{self.text()}")
            return text in self.text()
        wait_until(f'{self.name} says "{text}"; it says\n{self.text()}', is_said)

    def objects(self):
        """What it has printed with --json; the last line may still be growing."""
        lines = self.text().split("\n")[:-1]
        return [json.loads(line) for line in lines if line.startswith("{")]

    def end(self, number=signal.SIGTERM):
        if self.child.poll() is None:
            self.child.send_signal(number)
        return self.child.wait(timeout=max(1.0, DEADLINE - time.monotonic()))
