#!/usr/bin/env python3
"""Types command lines in bash, zsh and fish, presses the tabulator, and looks which arguments the
command is then started with. Shells that are not installed are named.

usage: completions_test.py TOOL FOLDER
"""
import os
import pty
import select
import shutil
import subprocess
import sys
import tempfile
import time

MAIL = "5A0DE000-0003-4000-8000-000000000001"

# What is typed up to the tabulator, and the last argument that comes of it. The folder in which it is
# typed holds files whose names begin like commands.
CASES = [
    ("sho", "show"),
    ("--root device sho", "show"),
    ("--root=device --json histor", "history"),
    ("playth", None),
    ("show --root dev", "device"),
    ("show --root=dev", "--root=device"),
    ("--roo", "--root"),
    ("show --dry", None),
    ("migrate --dry", "--dry-run"),
    ("show --root device --type CalD", "CalDAV"),
    ("show --root device --class Gm", "GmailAccount"),
    ("show --root=device --dataclass=Remin", "--dataclass=Reminders"),
    ("get --root device Dev", "DeviceLocalAccount"),
    ("remove --root nowhere Dev", None),
    (f"get --root device {MAIL} Displ", "DisplayName"),
    (f"get --root device {MAIL} Enabled", "Enabled Dataclasses"),
    (f"enable --root device {MAIL} Boo", "Bookmarks"),
    ("restore --root device 2", "BACKUP"),
    ("set --type boo", "bool"),
    ("sample new --release leg", "legacy"),
    ("plist shipm", "shipment.plist"),
    ("plist 'my sh", "my ship.plist"),
    ("diff shipment.plist shipm", "shipment.plist"),
]

SHELLS = {
    "bash": (["--norc", "--noprofile", "-i"], "source {folder}/accountsettings.bash"),
    "zsh": (["-f", "-i"], "fpath=({folder} $fpath); autoload -Uz compinit; compinit -u -D"),
    "fish": (["--no-config", "-i"], "source {folder}/accountsettings.fish"),
}


class Typist:
    """A shell at a terminal, and what a command that it starts was given."""

    def __init__(self, shell, folder, work):
        options, setup = SHELLS[shell]
        self.result = os.path.join(work, "arguments")
        self.shown = b""
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            os.chdir(work)
            os.environ.update(HOME=work, TERM="xterm", PATH=f"{work}/bin:{os.environ['PATH']}")
            os.execvp(shell, [shell, *options])
        self.type(setup.format(folder=folder) + "\r")
        self.arguments_of("accountsettings ready\r")

    def type(self, text):
        os.write(self.terminal, text.encode())

    def arguments_of(self, text):
        """What the command was given, once the shell has read this."""
        if os.path.exists(self.result):
            os.remove(self.result)
        self.type(text)
        end = time.monotonic() + 60
        while not os.path.exists(self.result):
            if time.monotonic() > end:
                raise TimeoutError(f"{text!r} started nothing; the terminal shows {self.shown[-2000:]!r}")
            if select.select([self.terminal], [], [], 0.05)[0]:
                self.shown += os.read(self.terminal, 4096)
        with open(self.result, encoding="utf-8") as file:
            return file.read().split("\0")[:-1]

    def leave(self):
        self.type("\x03exit\r")
        os.close(self.terminal)
        os.waitpid(self.process, 0)


def make_place(tool, work):
    os.mkdir(os.path.join(work, "bin"))
    command = os.path.join(work, "bin", "accountsettings")
    with open(command, "w", encoding="utf-8") as file:
        file.write(f"""#!/bin/sh
[ "$1" != __complete ] || exec "{tool}" "$@"
printf '%s\\0' "$@" >arguments.new && mv arguments.new arguments
""")
    os.chmod(command, 0o755)
    for name in ("shipment.plist", "plaything", "my ship.plist"):
        open(os.path.join(work, name), "w", encoding="utf-8").close()
    device = os.path.join(work, "device")
    subprocess.run([tool, "sample", device, "--release", "oldest"], check=True, stdout=subprocess.DEVNULL)
    subprocess.run([tool, "migrate", "--root", device], check=True, stdout=subprocess.DEVNULL)
    backups = os.path.join(device, "var/mobile/Library/Logs/AccountMigrationBackups")
    return next(entry.name for entry in os.scandir(backups) if entry.is_dir())


def main(tool, folder):
    tool, folder = os.path.abspath(tool), os.path.abspath(folder)
    faults = 0
    for shell in SHELLS:
        if shutil.which(shell) is None:
            print(f"NOT RUN: completions in {shell} (it is not installed)")
            continue
        with tempfile.TemporaryDirectory() as work:
            backup = make_place(tool, work)
            typist = Typist(shell, folder, work)
            for typed, expected in CASES:
                # What nothing completes stays as it was typed.
                expected = {"BACKUP": backup, None: typed.split(" ")[-1]}.get(expected, expected)
                last = typist.arguments_of(f"accountsettings {typed}\t\r")[-1].rstrip("/")
                if last != expected:
                    faults += 1
                    print(f"FAILED: {shell}: {typed!r} became {last!r}, not {expected!r}")
            typist.leave()
            print(f"{len(CASES)} command lines were completed in {shell}.")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
