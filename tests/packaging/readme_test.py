#!/usr/bin/env python3
"""Runs the commands of README.md, CONTRIBUTING.md and the manual's examples as they stand there.

usage: readme_test.py PROGRAM

Each runs in a folder of its own where ./run is PROGRAM, build/release its build folder, and paths
from the root lie below that folder. Those that build or install are run by CI instead: RUN_BY_CI
says where, and it is checked that they stand there.
"""

import json
import os
import re
import subprocess
import sys
import tempfile
import time
import unittest
import wave

SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
DOCUMENTS = ("README.md", "CONTRIBUTING.md")

# Command: the file that runs it, and the words by which it does.
RUN_BY_CI = {
    "./test": (".ci/run", '"$qdx_root/test"'),
    ".ci/run": (".ci/run", "#!/usr/bin/env bash"),
    "./bench keystroke": (".ci/run", "./bench --entries 20000 keystroke"),
    "tools/package.sh": (".ci/run", "tools/package.sh"),
    "sudo apt install ./build/package/quarrydex_*.deb": ("tools/package.sh", "install --no-"),
    "cmake --preset dev && ninja -C build/dev SearcherTest && build/dev/tests/SearcherTest": (
        ".ci/run",
        "cmake --preset dev >/dev/null && ninja -C build/dev SearcherTest && build/dev/tests/SearcherTest",
    ),
}


def read(*path):
    with open(os.path.join(SOURCE, *path), encoding="utf-8") as file:
        return file.read()


def commands_of_document(name):
    """Indented lines, without remarks; a line that ends in a bar goes on in the next one."""
    lines = re.findall(r"^    (.*)$", read(name), re.M)
    text = re.sub(r"\|\n\s*", "| ", "\n".join(lines))
    return [re.sub(r"\s{2,}#.*", "", line) for line in text.split("\n")]


def commands_of_manual():
    section = re.search(r"^\.SH EXAMPLES\n(.*?)^\.SH", read("packaging", "quarrydex.1"), re.M | re.S)
    text = section.group(1).replace("\\-", "-").replace(r"\(ti", "~").replace(r"\(aq", "'")
    return re.findall(r"^\.B (.*)$", text, re.M)


class Place:
    """A folder in which the commands find what they speak of."""

    def __init__(self, folder):
        self.folder = folder
        for name in ("docs/README.md", "docs/readme.txt", "docs/readme-and-more.md"):
            self.write(f"usr/share/{name}", 10 + len(name))
        self.write("usr/share/big/README.md", 200_000)
        for size, name in ((9, "four"), (700, "one"), (50, "three"), (300, "two")):
            self.write(f"usr/include/deep/{name}.h", size)
        for name in ("home/Music/Song.wav", "media/Backup/Song copy.wav"):
            self.sound(name)
        for size, name in ((30, "short.mkv"), (4000, "long.mp4"), (50_000, "none.txt")):
            self.write(f"home/Films/{name}", size)
        self.write("home/Documents/letter.txt", 60)
        self.link(sys.argv[1], "run")
        self.link(sys.argv[1], "bin/quarrydex")
        self.link(os.path.dirname(os.path.abspath(sys.argv[1])), "build/release")

    def path(self, name):
        return os.path.join(self.folder, name)

    def make_parent(self, name):
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        return self.path(name)

    def link(self, target, name):
        os.symlink(os.path.abspath(target), self.make_parent(name))

    def write(self, name, size):
        with open(self.make_parent(name), "wb") as file:
            file.write(b"x" * size)

    def sound(self, name):
        with wave.open(self.make_parent(name), "wb") as file:
            file.setparams((1, 2, 8000, 0, "NONE", ""))
            file.writeframes(bytes(i % 251 for i in range(16_000)))
        long_ago = time.time() - 3600  # what has just changed is not compared
        os.utime(self.path(name), (long_ago, long_ago))

    def run(self, command):
        """Its output; fails where it does not end with 0."""
        kept = {name: os.environ[name] for name in ("ASAN_OPTIONS",) if name in os.environ}
        return subprocess.run(
            ["bash", "-euo", "pipefail", "-c", re.sub(r"(--root )/", rf"\1{self.folder}/", command)],
            cwd=self.folder,
            env={
                **kept,
                "LC_ALL": "C.UTF-8",
                "HOME": self.path("home"),
                "PATH": self.path("bin") + ":" + os.environ["PATH"],
            },
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            text=True,
            check=True,
            timeout=300,
        ).stdout


# --- What the commands are to do ------------------------------------------------------------------


def lists(*names):
    """The command prints these paths, in this order."""
    return lambda test, place, out: test.assertEqual(
        out.splitlines(), [place.path(name) for name in names]
    )


def answers(count, *names):
    """The command prints one answer: so many hits, and the paths of these."""

    def check(test, place, out):
        answer = json.loads(out)
        test.assertEqual(answer["count"], count)
        test.assertEqual(answer["paths"], [place.path(name) for name in names])

    return check


def writes_duplicates(name):
    """The command writes the one pair of equal songs into this table."""

    def check(test, place, _):
        with open(place.path(name), encoding="utf-8") as table:
            text = table.read()
        for song in ("home/Music/Song.wav", "media/Backup/Song copy.wav"):
            test.assertEqual(text.count(place.path(song)), 1, text)

    return check


def shows_help(test, _, out):
    test.assertIn("Usage: quarrydex", out)


def installs(test, place, _):
    """What was installed runs from where it lies, and the bus is told where that is."""
    local = place.path("home/.local")
    program = os.path.join(local, "bin/quarrydex")
    listed = place.run(f"'{program}' --root ~/Films --no-persist --list file:none")
    test.assertEqual(listed, place.path("home/Films/none.txt") + "\n")
    test.assertTrue(os.access(os.path.join(local, "libexec/quarrydex/quarrydex-metadata"), os.X_OK))
    service = os.path.join(local, "share/dbus-1/services/io.github.quarrydex.Quarrydex.service")
    with open(service, encoding="utf-8") as file:
        test.assertIn(f"Exec={program}", file.read().splitlines())


def packs(test, place, _):
    """The command packs what has changed today, without the slash that tar leaves out."""
    letter = place.path("home/Documents/letter.txt")
    test.assertEqual(place.run("tar tzf today.tar.gz"), letter.removeprefix("/") + "\n")


# Command, by its first words: what it is to do.
EXPECTED = {
    "./run --root /usr ": lists(
        "usr/share/docs/readme-and-more.md", "usr/share/docs/readme.txt", "usr/share/docs/README.md"
    ),
    "./run --version && cmake --install": installs,
    "printf ": answers(
        4, "usr/include/deep/one.h", "usr/include/deep/two.h", "usr/include/deep/three.h"
    ),
    "./run --root ~/Music": writes_duplicates("dups.csv"),
    "./run --help": shows_help,
    "quarrydex --root ~ --list": lists("home/Films/long.mp4", "home/Films/short.mkv"),
    "quarrydex --root ~/Documents ": packs,
    "quarrydex --root ~/Music": writes_duplicates("duplicates.csv"),
}


class Commands(unittest.TestCase):
    def test_every_command_does_what_it_is_shown_for(self):
        commands = [c for name in DOCUMENTS for c in commands_of_document(name)]
        seen = set()
        for command in commands + commands_of_manual():
            if "…" in command or command in RUN_BY_CI:
                continue
            with self.subTest(command):
                known = [start for start in EXPECTED if command.startswith(start)]
                self.assertEqual(len(known), 1, "what it is to do must stand in EXPECTED once")
                seen.update(known)
                with tempfile.TemporaryDirectory() as folder:
                    place = Place(os.path.realpath(folder))
                    EXPECTED[known[0]](self, place, place.run(command))
        self.assertEqual(set(EXPECTED) - seen, set(), "these stand in no document")

    def test_commands_that_build_or_install_are_run_by_ci(self):
        commands = {c for name in DOCUMENTS for c in commands_of_document(name)}
        for command, (file, words) in RUN_BY_CI.items():
            self.assertIn(command, commands)
            self.assertIn(words, read(file), command)

    def test_synopses_are_those_of_the_programs(self):
        readme = commands_of_document("README.md")
        usage = subprocess.run(
            [sys.argv[1], "--help"], env={"LC_ALL": "C.UTF-8"}, capture_output=True, text=True
        ).stdout.split("\n")[0]
        self.assertIn(usage.replace("Usage: quarrydex", "./run"), readme)
        bench = re.search(r"usage: quarrydex-bench (.*)\\ngroups:", read("benchmarks", "main.cpp"))
        self.assertIn(f"./bench {bench.group(1)}".replace("group", "GROUP"), readme)


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    unittest.main(argv=sys.argv[:1])
