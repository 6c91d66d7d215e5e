#!/usr/bin/env python3
"""Brings the translations in po/ up to the texts in the sources.

usage: update_po.py [--pot] [ROOT]

Without an option every po/<code>.po gets the texts that are new, untranslated, and loses those that
are gone; translations stay. With --pot the texts are only printed, as a template. Needs gettext.
"""

import os
import re
import subprocess
import sys

LAYER_TOPS = "Quarrydex"  # folders whose name begins so hold sources
SOURCE_ENDINGS = (".h", ".cpp")
TEMPLATE_HEADERS = re.compile(rb'^"(?:Report-Msgid-Bugs-To|POT-Creation-Date):.*\n', re.MULTILINE)


def source_files(root):
    """Source files as paths from the root, in an order that is the same everywhere."""
    found = []
    for top in os.listdir(root):
        if not top.startswith(LAYER_TOPS):
            continue
        for folder, _, names in os.walk(os.path.join(root, top)):
            for name in names:
                if name.endswith(SOURCE_ENDINGS):
                    found.append(os.path.relpath(os.path.join(folder, name), root))
    return sorted(found)


def template(root):
    """The texts of the sources in the form of a .po file without translations."""
    command = ["xgettext", "--language=C++", "--from-code=UTF-8", "--keyword=tr",
               "--keyword=trn:1,2", "--add-comments=Translators:", "--add-location=file",
               "--package-name=Quarrydex", "--sort-by-file", "--files-from=-", "--output=-"]
    files = "".join(path + "\n" for path in source_files(root))
    done = subprocess.run(command, cwd=root, input=files.encode(), stdout=subprocess.PIPE,
                          check=True)
    return done.stdout


def update(root):
    pot = template(root)
    folder = os.path.join(root, "po")
    for name in sorted(os.listdir(folder)):
        if not name.endswith(".po"):
            continue
        path = os.path.join(folder, name)
        merged = subprocess.run(
            ["msgmerge", "--quiet", "--no-fuzzy-matching", "--add-location=file",
             "--sort-by-file", path, "-"],
            input=pot, stdout=subprocess.PIPE, check=True).stdout
        kept = subprocess.run(["msgattrib", "--no-obsolete", "-"], input=merged,
                              stdout=subprocess.PIPE, check=True).stdout
        kept = TEMPLATE_HEADERS.sub(b"", kept)  # they differ at every run
        with open(path, "rb") as file:
            before = file.read()
        if kept != before:
            with open(path, "wb") as file:
                file.write(kept)
        subprocess.run(["msgfmt", "--check", "--statistics", "-o", os.devnull, path], check=True)


def main(arguments):
    here = os.path.dirname(os.path.abspath(__file__))
    paths = [argument for argument in arguments if not argument.startswith("--")]
    root = paths[0] if paths else os.path.dirname(here)
    if "--pot" in arguments:
        sys.stdout.buffer.write(template(root))
    else:
        update(root)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
