#!/usr/bin/env python3
"""Runs the benchmark programs, and says what they reach. Started by ./bench.sh, which builds them."""
import argparse
import collections
import contextlib
import json
import os
import platform
import re
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time

from daemons import Daemons, bounded
from report import COLUMNS, markdown_table, plot, replace_section, terminal_table
from rows import ROWS, duration, number

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PROGRAMS = os.path.join(ROOT, "build/linux/bin")
RESULTS = os.path.join(ROOT, "build/bench")
SUBJECTS = ("accept", "syscalls", "breakdown", "cycle", "bus", "patterns", "json", "log", "memory",
            "lifecycle", "nats")
# How often each benchmark is run, where it is less often than usual.
REPETITIONS = {"lifecycle": 3, "memory": 3, "breakdown": 5, "nats": 1}
SLOWEST = 300  # seconds that a program may take

# What reaches the file system, by a path or by a descriptor.
FILE_CALLS = """access chdir close creat dup dup2 dup3 faccessat faccessat2 fallocate fcntl fdatasync flock
    fstat fstatfs fsync ftruncate getdents getdents64 inotify_add_watch lseek lstat mkdir mkdirat newfstatat
    open openat pread64 pwrite64 read readlink readlinkat readv rename renameat renameat2 rmdir stat statfs
    statx unlink unlinkat write writev""".split()


def arguments():
    parser = argparse.ArgumentParser(
        prog="./bench.sh", description="Builds and runs the benchmarks, and prints what is reached.",
        epilog="A whole run writes the tables and the plot of docs/performance.md. Results and logs are in "
               "build/bench.")
    parser.add_argument("subjects", nargs="*", metavar="SUBJECT",
                        help=f"some of them only: {', '.join(SUBJECTS)}")
    parser.add_argument("--quick", action="store_true",
                        help="leave the peers out: dunst, dbus-daemon, nats-server")
    parser.add_argument("--check-arguments", action="store_true", help=argparse.SUPPRESS)
    parser.add_argument("--smoke", action="store_true",
                        help="run each for about a second and print no figures: fails when one does not work")
    options = parser.parse_args()
    for subject in options.subjects:
        if subject not in SUBJECTS:
            parser.error(f"there is no subject {subject}; there are {', '.join(SUBJECTS)}")
    return options


class Runner:
    def __init__(self, options, folder, daemons):
        self.options = options
        self.calls, self.profiles = {}, {}
        self.environment = {**os.environ, **daemons.environment, "TMPDIR": folder}
        if options.smoke:
            self.environment["BENCH_LONGEST"] = "1000"

    def call(self, name, *command):
        """What goes wrong ends the run; the output is in the results' folder."""
        log = os.path.join(RESULTS, f"{name}.log")
        with open(log, "w", encoding="utf-8") as output:
            try:
                status = subprocess.run(bounded(*command), env=self.environment, stdin=subprocess.DEVNULL,
                                        stdout=output, stderr=output, timeout=SLOWEST, check=False).returncode
            except subprocess.TimeoutExpired:
                status = f"none within {SLOWEST} s"
        if status:
            with open(log, encoding="utf-8", errors="replace") as output:
                said = "".join(output.readlines()[-20:])
            raise SystemExit(f"\n{said}{name} failed (exit code {status}); see {os.path.relpath(log, ROOT)}")

    def measure(self, subject):
        """The medians by the benchmarks' names: seconds, and counters under "name:counter"."""
        return self.count_calls() if subject == "syscalls" else self.benchmarks(subject)

    def benchmarks(self, subject):
        results = os.path.join(RESULTS, f"{subject}.json")
        # In turns, so that what disturbs the machine meets all alike.
        repetitions, least = (1, 0.01) if self.options.smoke else (REPETITIONS.get(subject, 9), 0.05)
        if self.options.quick:
            repetitions = (repetitions + 1) // 2
        self.call(subject, os.path.join(PROGRAMS, f"bench_{subject}"), f"--benchmark_out={results}",
                  "--benchmark_out_format=json", f"--benchmark_repetitions={repetitions}",
                  f"--benchmark_min_time={least}", "--benchmark_enable_random_interleaving=true")
        with open(results, encoding="utf-8") as file:
            runs = json.load(file)["benchmarks"]
        values = {}
        for run in runs:
            if run.get("error_occurred"):
                raise SystemExit(f"{subject}: {run['name']}: {run['error_message']}")
            if run["run_type"] != "iteration":
                continue
            name = re.sub(r"/(iterations:\d+|repeats:\d+|real_time|manual_time)", "", run["name"])
            # What only computes is not charged for the time that the processor spends elsewhere.
            time_taken = run["cpu_time" if name == run["name"] else "real_time"]
            values.setdefault(name, []).append(time_taken * UNITS[run["time_unit"]])
            for counter in set(run) - KNOWN_MEMBERS:
                values.setdefault(f"{name}:{counter}", []).append(run[counter])
        if not values:
            raise SystemExit(f"{subject}: nothing was measured")
        return {name: statistics.median(each) for name, each in values.items()}

    def count_calls(self):
        """Of one alert: what a run that accepts twice as many makes more."""
        base = 20 if self.options.smoke else 300
        counts = []
        for accepted in (base, 2 * base):
            summary = os.path.join(RESULTS, f"syscalls.{accepted}")
            self.call("syscalls", "strace", "-f", "-c", "-o", summary,
                      os.path.join(PROGRAMS, "bench_syscalls"), str(2 * base), str(accepted))
            with open(summary, encoding="utf-8") as file:
                lines = [line.split() for line in file]
            counts.append(collections.Counter(
                {line[-1]: int(line[3]) for line in lines if len(line) > 4 and line[3].isdigit()}))
        each = {name: (count - counts[0][name]) / base for name, count in counts[1].items()}
        del each["total"]
        self.calls = each
        named = {name: each.get(name, 0) for name in ("gettid", "futex")}
        named["file"] = sum(each.get(name, 0) for name in FILE_CALLS)
        return {**named, "other": sum(each.values()) - sum(named.values())}

    def explain(self, row):
        """What the figure of a row is made of, in words; empty where perf is not allowed to look."""
        if row.figure == "file":
            calls = collections.Counter({name: self.calls.get(name, 0) for name in FILE_CALLS})
            return ", ".join(f"{number(count)} {name}" for name, count in calls.most_common() if count > 0.05)
        command = ("bench_syscalls", "10000", "10000")
        if row.subject != "accept":
            command = (f"bench_{row.subject}", f"--benchmark_filter=^{row.profile}(/|$)",
                       "--benchmark_min_time=1")
            if not row.profile:
                return ""
        if command not in self.profiles:
            self.profiles[command] = ""
            with contextlib.suppress(SystemExit, OSError, subprocess.CalledProcessError):
                self.profiles[command] = self.profile(os.path.join(PROGRAMS, command[0]), *command[1:])
        return self.profiles[command]

    def profile(self, *command):
        """Where the processor's time goes, by library and by function."""
        data = os.path.join(RESULTS, "perf.data")
        self.call("perf", "perf", "record", "-q", "-e", "cpu-clock", "-F", "1999", "-o", data, *command)
        report = subprocess.run(
            ["perf", "report", "-i", data, "--stdio", "-q", "-F", "overhead,dso,symbol", "-t", "|"],
            capture_output=True, text=True, check=True).stdout
        libraries, functions = collections.Counter(), collections.Counter()
        for line in filter(None, report.splitlines()):
            share, library, symbol = [cell.strip() for cell in line.split("|")][:3]
            libraries["kernel" if library.startswith("[kernel") else library] += float(share.rstrip("%"))
            if not library.startswith("[kernel"):
                name = symbol[4:].replace("(anonymous namespace)::", "")
                functions[re.sub(r"<.*>|\(.*|\[.*", "", name)] += float(share.rstrip("%"))
        return "; ".join(", ".join(f"{share:.0f} % {name}" for name, share in each.most_common(count))
                         for each, count in ((libraries, 4), (functions, 6)))


UNITS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1}
KNOWN_MEMBERS = set("""name family_index per_family_instance_index run_name run_type repetitions
    repetition_index threads iterations real_time cpu_time time_unit""".split())


def breakdown(measured):
    """Rows of stage, time, share and the floor's part; the last one sums up."""
    least = {"1": measured["hand-over"] / 2, "2": measured["parse"] + measured["write"],
             "6": measured["hand-over"] / 2}
    stages = {name.split(":")[1]: seconds for name, seconds in measured.items() if name.startswith("accept:")}
    whole = sum(stages.values())
    rows = [(name, duration(stages[name]), f"{100 * stages[name] / whole:.0f} %",
             duration(least[name[0]]) if name[0] in least else "") for name in sorted(stages)]
    return [*rows, ("in all", duration(whole), "100 %", duration(sum(least.values())))]


BREAKDOWN = ("stage", "time", "share", "floor")


def machine():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        model = re.search(r"model name\s*: (.*)", file.read())
    commit = subprocess.run(["git", "rev-parse", "--short", "HEAD"], cwd=ROOT, capture_output=True, text=True,
                            check=False).stdout.strip()
    return ", ".join([time.strftime("%Y-%m-%d"), f"{len(os.sched_getaffinity(0))} cores",
                      *([model[1]] if model else []), f"Linux {platform.release()}",
                      *([f"commit {commit}"] if commit else [])])


def write_documents(measured, cells, missed):
    path = os.path.join(ROOT, "docs/performance.md")
    with open(path, encoding="utf-8") as file:
        text = file.read()
    reasons = "\n".join(f"- **{'; '.join(rows)}** {reason}".rstrip() for reason, rows in missed.items())
    text = replace_section(text, "machine", f"Measured {machine()}.")
    text = replace_section(text, "table", markdown_table(COLUMNS, cells))
    text = replace_section(text, "missed", reasons or "All is reached.")
    text = replace_section(text, "breakdown", markdown_table(BREAKDOWN, breakdown(measured["breakdown"])))
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)
    accept = measured["accept"]
    curves = [(name, colour, {int(key.split("/")[1]): seconds for key, seconds in accept.items()
                              if key.startswith(prefix)})
              for name, colour, prefix in (("this broker", "#1763ab", "accept/"),
                                           ("dunst", "#c0392b", "dunst/"))]
    with open(os.path.join(ROOT, "docs/performance.svg"), "w", encoding="utf-8") as file:
        file.write(plot(curves, accept["hand-over"] + accept["parse"] + accept["write"]))


def main():
    options = arguments()
    if options.check_arguments:
        return
    subjects = [subject for subject in SUBJECTS if subject in (options.subjects or SUBJECTS)]
    shutil.rmtree(RESULTS, ignore_errors=True)
    os.makedirs(RESULTS)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    with contextlib.ExitStack() as stack:
        folder = stack.enter_context(tempfile.TemporaryDirectory(prefix="brevant-bench-"))
        log = stack.enter_context(open(os.path.join(RESULTS, "daemons.log"), "w", encoding="utf-8"))
        daemons = stack.enter_context(Daemons(folder, log))
        if not options.quick:
            if "accept" in subjects:
                daemons.start_dunst([10, 100, 1000] if options.smoke else [10, 100, 1000, 10000])
            if "bus" in subjects:
                daemons.start_dbus()
            if "bus" in subjects or "nats" in subjects:
                daemons.start_nats()
        runner = Runner(options, folder, daemons)
        measured = {}
        for subject in subjects:
            began = time.monotonic()
            print(f"== {subject}", end="", flush=True, file=sys.stderr)
            measured[subject] = runner.measure(subject)
            print(f" {time.monotonic() - began:.0f} s", file=sys.stderr)
        if options.smoke:
            print(f"{len(subjects)} passed, 0 failed")
            return

        cells, missed = [], {}  # missed: rows by reason
        for row in ROWS:
            judged = row.judge(measured[row.subject]) if row.subject in measured else None
            if not judged:
                continue
            texts, reached = judged
            cells.append((*texts, {True: "yes", False: "NO", None: ""}[reached]))
            if reached is False:
                profile = "" if options.quick else runner.explain(row)
                missed.setdefault(f"{row.why} {profile}".strip(), []).append(row.what or texts[2])
    print(terminal_table(COLUMNS, cells))
    if "breakdown" in measured:
        print("\nWhere the time of one accept goes")
        print(terminal_table(BREAKDOWN, breakdown(measured["breakdown"])))
    for reason, rows in missed.items():
        if reason:
            print(f"\nNot reached: {'; '.join(rows)}\n    {reason}")
    if subjects == list(SUBJECTS) and not options.quick:
        write_documents(measured, cells, missed)


if __name__ == "__main__":
    try:
        main()
    except KeyboardInterrupt:
        sys.exit(130)
