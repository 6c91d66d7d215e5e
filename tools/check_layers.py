#!/usr/bin/env python3
"""Holds every #include to cmake/layers.txt, and every file to the rules that a compiler cannot see.

usage: check_layers.py [--self-test] [ROOT]

Prints one line a fault, "file:line: what is wrong", and exits 1 when there is any.
"""

import os
import re
import sys
import tempfile

LAYER_TOPS = "Quarrydex"  # folders whose name begins so hold layers
FREE_TOPS = ("tests", "benchmarks", "fuzz")  # may include any layer
QT_TOP = "QuarrydexApp"  # Qt begins here
SOURCE_ENDINGS = (".h", ".cpp", ".inc")
MAX_LINES = 700

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
SYSTEM_TEST = re.compile(
    r"^\s*#\s*(?:if|ifdef|ifndef|elif)\b.*\b(__linux__|__linux|__APPLE__|_WIN32|__FreeBSD__)\b"
)


def read_layers(path):
    """The table as {layer: set of layers}, with the faults of the table itself."""
    layers, faults = {}, []
    with open(path, encoding="utf-8") as lines:
        for number, line in enumerate(lines, 1):
            line = line.split("#", 1)[0].strip()
            if not line:
                continue
            where = f"{os.path.basename(path)}:{number}"
            name, colon, rest = line.partition(":")
            if not colon:
                faults.append(f"{where}: no colon after the layer's name")
            elif name in layers:
                faults.append(f"{where}: {name} stands here twice")
            else:
                layers[name] = set(rest.split())
    for name, below in layers.items():
        for other in sorted(below - layers.keys()):
            faults.append(f"layers.txt: {name} names the unknown layer {other}")
    return layers, faults


def find_cycle(layers):
    """Layers that form a cycle, first one repeated at the end, or nothing."""
    done = set()

    def visit(name, trail):
        if name in trail:
            return trail[trail.index(name):] + [name]
        if name in done or name not in layers:
            return None
        for other in sorted(layers[name]):
            cycle = visit(other, trail + [name])
            if cycle:
                return cycle
        done.add(name)
        return None

    for name in sorted(layers):
        cycle = visit(name, [])
        if cycle:
            return cycle
    return None


def source_files(root):
    """Source files below the checked folders, as paths from the root, sorted."""
    found = []
    for top in sorted(os.listdir(root)):
        if not (top.startswith(LAYER_TOPS) or top in FREE_TOPS):
            continue
        for folder, _, names in os.walk(os.path.join(root, top)):
            for name in names:
                if name.endswith(SOURCE_ENDINGS):
                    found.append(os.path.relpath(os.path.join(folder, name), root))
    return sorted(found)


def include_fault(root, layers, source, layer, bracket, target):
    """What is wrong with an include by a file in `source`, of `layer` (None: free), or nothing."""
    if bracket == "<":
        if re.match(r"Q[A-Z]\w*$|Qt\w+/", target) and layer and not layer.startswith(QT_TOP):
            return f"<{target}>: Qt below {QT_TOP}"
        if target.startswith(LAYER_TOPS):
            return f"<{target}>: own headers stand in quotes"
        return None
    if not os.path.isfile(os.path.join(root, target)) or ".." in target.split("/"):
        return f'"{target}": no full path from the root'
    folder = os.path.dirname(target)
    if folder == layer:
        return None
    if "linux" in folder.split("/") and (layer or "linux" not in source.split("/")):
        return f'"{target}": a system folder is included by itself and its tests alone'
    if layer is None:
        return None
    if folder not in layers:
        return f'"{target}": {folder} is no layer'
    if folder not in layers[layer]:
        return f'"{target}": {layer} may not include {folder}'
    return None


def check_file(root, layers, path):
    faults = []
    with open(os.path.join(root, path), encoding="utf-8") as source:
        lines = source.read().splitlines()
    folder = os.path.dirname(path)
    layer = None if path.split("/")[0] in FREE_TOPS else folder
    if layer and layer not in layers:
        return [f"{path}:1: {layer} has no line in cmake/layers.txt"]
    if len(lines) > MAX_LINES:
        faults.append(f"{path}:{MAX_LINES}: {len(lines)} lines, at most {MAX_LINES}")
    for number, line in enumerate(lines, 1):
        if SYSTEM_TEST.match(line) and "linux" not in folder.split("/"):
            faults.append(f"{path}:{number}: a test for the system outside a system folder")
        include = INCLUDE.match(line)
        if include:
            fault = include_fault(root, layers, folder, layer, *include.groups())
            if fault:
                faults.append(f"{path}:{number}: {fault}")
    return faults


def check(root):
    layers, faults = read_layers(os.path.join(root, "cmake", "layers.txt"))
    cycle = find_cycle(layers)
    if cycle:
        faults.append("layers.txt: a cycle: " + " → ".join(cycle))
    for path in source_files(root):
        faults += check_file(root, layers, path)
    return faults


# --- Self-test ------------------------------------------------------------------------------------

GOOD_LAYERS = """# comment
QuarrydexCore/base:
QuarrydexCore/base/linux: QuarrydexCore/base
QuarrydexCore/text: QuarrydexCore/base
QuarrydexApp: QuarrydexCore/text QuarrydexCore/base
"""

GOOD_TREE = {
    "QuarrydexCore/base/A.h": "#pragma once\n#include <vector>\n",
    "QuarrydexCore/base/linux/L.h": "#ifdef __linux__\n#endif\n",
    "QuarrydexCore/base/linux/L.cpp": '#include "QuarrydexCore/base/linux/L.h"\n',
    "QuarrydexCore/text/T.h": '#include "QuarrydexCore/base/A.h"\n',
    "QuarrydexApp/main.cpp": '#include <QCoreApplication>\n#include "QuarrydexCore/text/T.h"\n',
    "tests/TTest.cpp": '#include "QuarrydexCore/text/T.h"\n#include <QString>\n',
    "tests/linux/LTest.cpp": '#include "QuarrydexCore/base/linux/L.h"\n',
}

# What is added to the good tree, and what must be said of it: exactly one fault.
BAD_CASES = [
    ("upwards", {"QuarrydexCore/base/B.h": '#include "QuarrydexCore/text/T.h"\n'}, "may not"),
    ("short path", {"QuarrydexCore/text/U.h": '#include "T.h"\n'}, "no full path"),
    ("dots", {"QuarrydexCore/text/U.h": '#include "QuarrydexCore/text/../base/A.h"\n'}, "no full"),
    ("missing", {"tests/U.cpp": '#include "QuarrydexCore/text/None.h"\n'}, "no full path"),
    ("Qt below", {"QuarrydexCore/text/U.h": "#include <QString>\n"}, "Qt below"),
    ("Qt module", {"QuarrydexCore/text/U.h": "  # include <QtCore/QString>\n"}, "Qt below"),
    ("angle", {"tests/U.cpp": "#include <QuarrydexCore/text/T.h>\n"}, "quotes"),
    ("linux", {"tests/U.cpp": '#include "QuarrydexCore/base/linux/L.h"\n'}, "system folder"),
    ("ifdef", {"QuarrydexCore/text/U.cpp": "#if defined(__APPLE__)\n#endif\n"}, "test for the"),
    ("long", {"tests/U.cpp": "//\n" * (MAX_LINES + 1)}, "lines, at most"),
    ("no line", {"QuarrydexCore/new/N.h": "\n"}, "has no line"),
    ("unlisted", {"QuarrydexCore/text/U.h": '#include "tests/Fake.h"\n', "tests/Fake.h": "\n"},
     "is no layer"),
    ("cycle", {"cmake/layers.txt": GOOD_LAYERS.replace("base:\n", "base: QuarrydexCore/text\n", 1)},
     "a cycle"),
    ("self", {"cmake/layers.txt": GOOD_LAYERS.replace("base:\n", "base: QuarrydexCore/base\n", 1)},
     "a cycle"),
    ("unknown", {"cmake/layers.txt": GOOD_LAYERS + "QuarrydexCore/x: QuarrydexCore/y\n"},
     "unknown layer"),
    ("twice", {"cmake/layers.txt": GOOD_LAYERS + "QuarrydexCore/base:\n"}, "twice"),
    ("no colon", {"cmake/layers.txt": GOOD_LAYERS + "QuarrydexCore/x\n"}, "no colon"),
]


def faults_of_tree(tree):
    with tempfile.TemporaryDirectory() as root:
        for path, text in tree.items():
            full = os.path.join(root, path)
            os.makedirs(os.path.dirname(full), exist_ok=True)
            with open(full, "w", encoding="utf-8") as file:
                file.write(text)
        return check(root)


def self_test():
    good = {"cmake/layers.txt": GOOD_LAYERS, **GOOD_TREE}
    failures = [f"a good tree is faulted: {fault}" for fault in faults_of_tree(good)]
    for name, extra, expected in BAD_CASES:
        faults = faults_of_tree({**good, **extra})
        if len(faults) != 1 or expected not in faults[0]:
            failures.append(f"{name}: expected one fault with “{expected}”, got {faults}")
    return failures


def main(arguments):
    if "--self-test" in arguments:
        faults = self_test()
    else:
        here = os.path.dirname(os.path.abspath(__file__))
        faults = check(arguments[0] if arguments else os.path.dirname(here))
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
