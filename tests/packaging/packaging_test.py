#!/usr/bin/env python3
"""Holds what is installed beside the program, and what the documents show, to the program itself.

usage: packaging_test.py PROGRAM
"""

import os
import re
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True  # a test leaves nothing in the checkout
import readme_test  # noqa: E402

SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PACKAGING = os.path.join(SOURCE, "packaging")
ID = "io.github.quarrydex.Quarrydex"
FLAG = r"--[a-z][a-z0-9-]+"
LANGUAGES = {"de", "es", "fr", "it", "ja", "nl", "pt_BR"}
SHELLS = ("bash", "fish", "zsh")
# Flags whose values are words; those marked True take several of them, separated by commas.
WORDS = {
    "--duplicates": False,
    "--stages": True,
    "--sort": False,
    "--kind": False,
    "--appearance": False,
    "--filter": False,
    "--show-columns": True,
}


def read(*path):
    with open(os.path.join(SOURCE, *path), encoding="utf-8") as file:
        return file.read()


def run(*arguments):
    """Exit status, output and messages of the program, in English and without a desktop."""
    kept = {name: os.environ[name] for name in ("PATH", "ASAN_OPTIONS") if name in os.environ}
    with tempfile.TemporaryDirectory() as home:
        done = subprocess.run(
            [sys.argv[1], *arguments],
            env={**kept, "LC_ALL": "C.UTF-8", "HOME": home},
            capture_output=True,
            text=True,
            check=False,
            timeout=300,
        )
    return done.returncode, done.stdout, done.stderr


def help_flags():
    return set(re.findall(FLAG, run("--help")[1]))


def without_comments(text):
    return re.sub(r"(?m)^\s*#.*$", "", text)


def bash_completes(*words):
    """What bash offers for the last word."""
    script = 'source "$1"; shift; compopt() { :; }; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); '
    script += '_quarrydex; printf "%s\\n" "${COMPREPLY[@]}"'
    path = os.path.join(PACKAGING, "completions", "quarrydex.bash")
    command = ["bash", "-c", script, "bash", path, "quarrydex", *words]
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout.split()


def offered_flags(shell):
    text = without_comments(read("packaging", "completions", f"quarrydex.{shell}"))
    if shell == "bash":
        return {word for word in bash_completes("--") if word != "-h"}
    if shell == "fish":
        return {"--" + name for name in re.findall(r"^complete .*? -l (\S+)", text, re.M)}
    return set(re.findall(FLAG + r"(?=[\[,}])", text))


def offered_words(shell, flag):
    text = without_comments(read("packaging", "completions", f"quarrydex.{shell}"))
    if shell == "bash":
        return bash_completes(flag, "")
    if shell == "fish":
        found = re.search(rf"-l {flag[2:]} .* -a '\(?(?:__quarrydex_list )?([^')]*)\)?'", text)
    else:
        found = re.search(rf"{flag}\[[^\]]*\]:[^:]*:(?:_values -s , \w+ |\()([^')\"]*)", text)
    return found.group(1).split() if found else []


def words_by_program(flag):
    """What the program says that a flag takes; where it takes anything, what its sources name."""
    if flag == "--show-columns":
        table = read("QuarrydexApp", "table", "Columns.cpp")
        return re.findall(r'^    \{"(\w+)", Later::tr', table, re.M)
    if flag == "--filter":
        return re.findall(r'if \(id == "(\w+)"\)', read("QuarrydexApp", "prefs", "Category.cpp"))
    if flag == "--kind":
        kinds = re.search(r"enum class KindStyle.*\{(.*)\}", read("QuarrydexApp", "table", "Kinds.h"))
        return kinds.group(1).replace(",", " ").split()
    if flag == "--appearance":
        return re.search(r"--appearance LOOK +(.*)", run("--help")[1]).group(1).split(" or ")
    takes = re.search(r"takes (.*?),? (?:separated by commas, )?not “", run(flag, "?")[2])
    return re.split(r", | and | or ", takes.group(1))


class Completions(unittest.TestCase):
    def test_every_flag_is_offered_and_no_other(self):
        for shell in SHELLS:
            with self.subTest(shell):
                self.assertEqual(offered_flags(shell), help_flags())

    def test_every_word_that_a_flag_takes_is_offered_and_no_other(self):
        for flag in WORDS:
            expected = words_by_program(flag)
            self.assertGreater(len(expected), 1, flag)
            if flag == "--filter":
                expected.append("folders")  # known by a constant of its own
            for shell in SHELLS:
                with self.subTest(flag=flag, shell=shell):
                    self.assertCountEqual(offered_words(shell, flag), expected)

    def test_bash_completes_the_last_element_of_a_list(self):
        for typed, expected in (
            ("size,qu", ["size,quickHash"]),
            ("size,quickHash,fullHash,sameSong,", ["size,quickHash,fullHash,sameSong,fingerprint"]),
            ("size,size", []),
        ):
            self.assertEqual(bash_completes("--stages", typed), expected, typed)

    def test_bash_offers_nothing_among_the_queries_of_a_selftest(self):
        self.assertEqual(bash_completes("--selftest", "a", "--"), [])


class Manual(unittest.TestCase):
    def test_every_flag_has_its_entry_and_no_other(self):
        page = read("packaging", "quarrydex.1").replace("\\-", "-")
        entries = re.findall(r"^\.TP\n(.*)$", page, re.M)
        self.assertEqual({flag for line in entries for flag in re.findall(FLAG, line)}, help_flags())
        self.assertEqual(set(re.findall(FLAG, page)) - {"--null"}, help_flags())

    def test_every_exit_status_of_the_help_is_told(self):
        told = re.search(r"The exit status is (.*)", run("--help")[1], re.S).group(1)
        section = re.search(r"\.SH EXIT STATUS\n(.*?)\n\.SH", read("packaging", "quarrydex.1"), re.S)
        entries = re.findall(r"^\.B (\d)$", section.group(1), re.M)
        self.assertEqual(set(entries), set(re.findall(r"\b\d\b", told)))


class Desktop(unittest.TestCase):
    def test_every_text_of_a_desktop_entry_is_there_in_every_language(self):
        for name in (f"{ID}.desktop", "plasma-runner-quarrydex.desktop.in"):
            for group in read("packaging", name).split("\n[")[0:]:
                for key in ("Name", "GenericName", "Comment", "Keywords"):
                    text = re.search(rf"^{key}=(.*)", group, re.M)
                    if text and text.group(1) != "Quarrydex":
                        found = set(re.findall(rf"^{key}\[(\w+)\]=.", group, re.M))
                        self.assertEqual(found, LANGUAGES, f"{name}: {text.group(0)}")

    def test_every_text_of_the_metainfo_is_there_in_every_language(self):
        text = read("packaging", f"{ID}.metainfo.xml")
        for element in ("summary", "p"):
            count = len(re.findall(rf"<{element}>", text))
            self.assertGreater(count, 0, element)
            for language in LANGUAGES:
                tag = f'<{element} xml:lang="{language.replace("_", "-")}">'
                self.assertEqual(text.count(tag), count, tag)

    def test_files_name_the_places_on_the_bus_that_the_program_serves(self):
        names = dict(
            re.findall(r'char (\w+)\[\] = "(.*)"', read("QuarrydexApp", "dbus", "BusNames.h"))
        )
        self.assertEqual(names["service"], ID)
        runner, provider = "plasma-runner-quarrydex.desktop.in", f"{ID}.search-provider.ini"
        for name, line in (
            (f"{ID}.service.in", f"Name={names['service']}"),
            (provider, f"BusName={names['service']}"),
            (provider, f"ObjectPath={names['searchProviderPath']}"),
            (runner, f"X-Plasma-DBusRunner-Service={names['service']}*"),
            (runner, f"X-Plasma-DBusRunner-Path={names['runnerPath']}"),
        ):
            self.assertIn(line, read("packaging", name).splitlines(), name)

    def test_every_action_is_one_that_the_program_answers(self):
        actions = re.findall(r"\[Desktop Action (.*)\]", read("packaging", f"{ID}.desktop"))
        self.assertEqual(len(actions), 2)
        served = read("QuarrydexApp", "dbus", "InstanceAdaptors.cpp")
        for action in actions:
            self.assertIn(f'name == QLatin1String("{action}")', served)

    def test_one_version_is_told_everywhere(self):
        version = run("--version")[1].split()[-1]
        newest = read("packaging", "debian", "changelog").split()[1]
        self.assertRegex(newest, rf"^\({re.escape(version)}-\d+\)$")
        release = re.search(r'<release version="(.*?)"', read("packaging", f"{ID}.metainfo.xml"))
        self.assertEqual(release.group(1), version)


def load_tests(loader, tests, _):
    tests.addTests(loader.loadTestsFromModule(readme_test))
    return tests


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    unittest.main(argv=sys.argv[:1])
