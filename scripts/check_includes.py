#!/usr/bin/env python3
"""No include arrow points up.

The order of the add_subdirectory lines is the build order. A file of the product includes only what lies in its own
folder, or in a folder that is built before it and that its folder's CMake targets use; what stands around the
library sees of it only OUTSIDE_SEES. What proves and measures the product sees all. No includes form a circle, and
only src/platform asks for which system it is built.
"""
import os
import re
import subprocess
import sys

OUTSIDE_SEES = ("include", "src/text", "src/platform", "src/json")
SEE_ALL = ("tests", "bench", "fuzz")
SYSTEMS = r"\s*#\s*(?:el)?if.*\b(_WIN(?:32|64)|WIN32|__linux__|__unix__|__MINGW\w*)\b"

os.chdir(os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "*.h", "*.cpp", "*.c"],
                        check=True, capture_output=True, text=True).stdout.split("\n")
files = {name for name in listed if os.path.exists(name)}
complaints = []


def area(path):
    return path.split("/")[0]


# Folders in build order; the folder of each target; the targets that a folder uses, with their lines.
order, home, links = [], {}, {}


def read_folder(folder):
    links[folder] = {}
    with open(os.path.join(folder, "CMakeLists.txt"), encoding="utf-8") as file:
        text = re.sub("#.*", "", file.read())
    loops = {}
    for call in re.finditer(r"\b(\w+)\s*\(([^()]*)\)", text):
        command, (first, *words) = call[1], call[2].split() or [""]
        if command == "foreach":
            loops["${%s}" % first] = words
        elif command == "add_subdirectory":
            for name in loops.get(first, [first]):
                child = os.path.join(folder, name)
                if os.path.exists(os.path.join(child, "CMakeLists.txt")):
                    read_folder(child)
        elif command in ("add_library", "add_executable", "brevant_room", "brevant_test"):
            home.setdefault(first, folder)
            words = words[words.index("USES"):] if "USES" in words else []
        if command in ("brevant_room", "brevant_test", "target_link_libraries"):
            for word in words:
                at = call.start() + call[0].rindex(word)
                links[folder].setdefault(word, text.count("\n", 0, at) + 1)
    # A folder's own targets are made of what the folders below it build.
    order.append(folder)


def used_by(folder, found):
    for other in {home.get(target, folder) for target in links[folder]} - found:
        found.add(other)
        used_by(other, found)
    return found


def fault(folder, other):
    """Why the one folder may not use the other; None if it may."""
    if folder == other or area(folder) in SEE_ALL:
        return None
    if area(folder) != "src" and area(other) == "src" and other not in OUTSIDE_SEES:
        return "outside src only %s may be used" % ", ".join(OUTSIDE_SEES)
    if order.index(other) > order.index(folder):
        return "%s is built after %s" % (other, folder)
    if other not in used_by(folder, set()):
        return "no target of %s uses one of %s" % (folder, other)
    return None


def folder_of(file):
    folder = os.path.dirname(file)
    while folder not in links:
        folder = os.path.dirname(folder)
    return folder


def meant(file, name):
    """The files that an include can mean: several where each system has its own."""
    for root in (os.path.dirname(file), "", "src", "include", "tests"):
        path = os.path.normpath(os.path.join(root, name))
        if path in files:
            return [path]
    return [path for path in files if path.endswith("/" + name) and area(path) == area(file)]


read_folder("")
for folder in order:
    for target, line in links[folder].items():
        # What only the tests build can have the name of a system's library.
        why = area(home.get(target, "tests")) not in SEE_ALL and fault(folder, home[target])
        if why:
            complaints.append((os.path.join(folder, "CMakeLists.txt"), line, "%s: %s" % (target, why)))

includes = {}
for file in files:
    folder = folder_of(file)
    includes[file] = []
    with open(file, encoding="utf-8") as source:
        for line, text in enumerate(source, 1):
            asks = re.match(SYSTEMS, text)
            if asks and area(file) not in SEE_ALL and not file.startswith("src/platform/"):
                complaints.append((file, line, "%s: only src/platform asks for the system" % asks[1]))
            found = re.match(r'\s*#\s*include\s*(?:"([^"]+)"|<(brevant/[^>]+)>)', text)
            for path in meant(file, found[1] or found[2]) if found else []:
                includes[file].append((path, line))
                why = fault(folder, folder_of(path))
                if why:
                    complaints.append((file, line, "%s: %s" % (path, why)))

visited = set()


def find_circles(file, path):
    visited.add(file)
    for other, line in includes[file]:
        if other in path:
            circle = " -> ".join([*path[path.index(other):], other])
            complaints.append((file, line, "%s: the includes form a circle, %s" % (other, circle)))
        elif other not in visited:
            find_circles(other, [*path, other])


for file in sorted(files):
    if file not in visited:
        find_circles(file, [file])

for complaint in sorted(complaints):
    print("%s:%d: %s" % complaint, file=sys.stderr)
sys.exit(1 if complaints else 0)
