#!/usr/bin/env python3
"""Has systemd look at the files of packaging/systemd: services_test.py FOLDER-OF-THE-PROGRAM"""

import os
import pathlib
import re
import shutil
import stat
import subprocess
import sys
import tempfile

FILES = pathlib.Path(__file__).resolve().parents[2] / "packaging" / "systemd"
PROGRAMS = pathlib.Path(sys.argv[1]).resolve()


def run(*command):
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    said = done.stdout + done.stderr
    assert done.returncode == 0, f"{' '.join(map(str, command))}: {said}"
    return said


def check_units(folder):
    for unit, instance in (("brevant.service", "brevant.service"),
                           ("brevant-server@.service", "brevant-server@leaf.service")):
        file = folder / instance
        file.write_text((FILES / unit).read_text().replace("/usr/lib/brevant/", f"{PROGRAMS}/"))
        # Unknown settings and values are warnings to systemd.
        said = run("systemd-analyze", "verify", "--man=no", "--recursive-errors=no", file)
        assert instance not in said, said
        run("systemd-analyze", "security", "--offline=true", "--threshold=15", file)


def check_exit_codes():
    """What the program means by its codes and what the unit takes them for."""
    codes = {name: int(code) for name, code in re.findall(
        r"(exit\w+) = (\d+)", (FILES.parents[1] / "host/program/output/ExitCode.h").read_text())}
    unit = (FILES / "brevant.service").read_text()
    assert f"RestartPreventExitStatus={codes['exitBadInput']} {codes['exitRefused']}\n" in unit
    assert f"SuccessExitStatus={codes['exitHeld']}\n" in unit


def check_accounts_and_folders(folder):
    """As an installation makes them, in a folder that stands for the machine's root."""
    (folder / "etc").mkdir()
    run("systemd-sysusers", f"--root={folder}", FILES / "brevant.sysusers")
    groups = dict(re.findall(r"^([\w-]+):.*?:(\d+):", (folder / "etc/group").read_text(), re.M))
    assert groups.keys() >= {"brevant", "brevant-server", "brevant-product", "brevant-viewer", "brevant-watcher"}
    cluster = folder / "etc/brevant/cluster"
    cluster.mkdir(parents=True)
    for file in (folder / "etc/brevant/host.env", cluster / "passwords.conf", cluster / "server.key"):
        file.touch(0o666)
    run("systemd-tmpfiles", f"--root={folder}", "--create", FILES / "brevant.tmpfiles")
    server = int(groups["brevant-server"])
    for file, mode, group in (("host.env", 0o600, 0), ("cluster", 0o750, server),
                              ("cluster/passwords.conf", 0o640, server), ("cluster/server.key", 0o640, server)):
        found = os.stat(folder / "etc/brevant" / file)
        assert (stat.S_IMODE(found.st_mode), found.st_uid, found.st_gid) == (mode, 0, group), f"{file}: {found}"


def main():
    check_exit_codes()
    if not shutil.which("systemd-analyze"):
        print("Skipped: no systemd on this machine")
        sys.exit(77)
    with tempfile.TemporaryDirectory() as folder:
        check_units(pathlib.Path(folder))
    if os.geteuid() != 0:
        print("Skipped: only root can make accounts and folders of others")
        sys.exit(77)
    with tempfile.TemporaryDirectory() as folder:
        check_accounts_and_folders(pathlib.Path(folder))


if __name__ == "__main__":
    main()
