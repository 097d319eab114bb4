#!/usr/bin/env python3
"""Checks who includes whom.

usage: check_includes.py ROOT

Rooms (the folders below src/) stand in layers; a file includes only from its own room and from the
rooms below it. Public headers stand on nothing but themselves and the standard library. No headers
include each other in a circle. Prints each fault as FILE:LINE: TEXT and exits with 1 if there is
any.
"""

import re
import sys
from pathlib import Path

# Highest first; rooms of one line may not include each other.
LAYERS = [
    ["hosts/qdmix"],
    ["hosts/gstreamer"],
    ["page"],
    ["graph"],
    ["scenes"],
    ["mixer"],
    ["config"],
    ["pixels"],
    ["pixels/primitives"],
    ["frames"],
    ["platform"],
]
HEIGHT = {room: -i for i, rooms in enumerate(LAYERS) for room in rooms}

PUBLIC = "qdvideomixer"
# The graph's interfaces are seen by the graph room, by the ground that offers a graph, and by hosts.
GRAPH_HEADER = "qdvideomixer/media_graph.h"
GRAPH_BLIND = {"scenes", "mixer", "config", "pixels", "pixels/primitives", "frames"}

OPERATING_SYSTEM = re.compile(
    r"^(unistd|fcntl|pthread|sched|dlfcn|signal|poll|dirent|pwd|semaphore|windows|sys/.*|linux/.*)"
    r"(\.h)?$")
FRAMEWORK = re.compile(r"^(gst/|glib|gio/|gdk|Q[A-Z]|Qt)")
PLATFORM_CONDITION = re.compile(
    r"^\s*#\s*(?:if|ifdef|ifndef|elif)\b.*\b(_WIN32|_WIN64|__linux__|__unix__|__APPLE__|_MSC_VER)\b")
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def room_of(path_in_src):
    """The room of a path such as "pixels/primitives/copy.h", or None."""
    folders = Path(path_in_src).parent.parts
    for length in range(len(folders), 0, -1):
        room = "/".join(folders[:length])
        if room in HEIGHT:
            return room
    return None


class Checker:
    def __init__(self, root):
        self.root = Path(root)
        self.src = self.root / "src"
        self.include = self.root / "include"
        self.faults = []
        self.edges = {}

    def run(self):
        for base in (self.include, self.src):
            for path in sorted(base.rglob("*")):
                if path.suffix in (".h", ".cpp"):
                    self.check_file(path)
        self.check_circles()
        return self.faults

    def fault(self, path, line, text):
        self.faults.append(f"{path.relative_to(self.root)}:{line}: {text}")

    def check_file(self, path):
        text = path.read_text(encoding="utf-8")
        if path.suffix == ".h" and "#pragma once" not in text:
            self.fault(path, 1, "header without #pragma once")
        is_public = path.is_relative_to(self.include)
        room = None if is_public else room_of(path.relative_to(self.src))
        if room is None and not is_public:
            self.fault(path, 1, "file in no room")
            return
        self.edges[path] = []
        for number, line in enumerate(text.splitlines(), 1):
            if room != "platform" and PLATFORM_CONDITION.match(line):
                self.fault(path, number, "platform condition outside src/platform")
            match = INCLUDE.match(line)
            if match:
                quoted, target = match.group(1) == '"', match.group(2)
                if quoted:
                    self.check_internal(path, number, room, target)
                else:
                    self.check_bracketed(path, number, room, target)

    def check_internal(self, path, number, room, target):
        if room is None:
            self.fault(path, number, f'public header includes "{target}"')
            return
        found = self.src / target
        if not found.is_file():
            self.fault(path, number, f'"{target}" is not a file below src/')
            return
        self.edges[path].append(found)
        target_room = room_of(target)
        if target_room is None or (
                target_room != room and HEIGHT[target_room] >= HEIGHT[room]):
            self.fault(path, number, f'{room} includes "{target}" from above')
        if target.startswith("platform/posix/") and room != "platform":
            self.fault(path, number, f'{room} includes "{target}", a part of one platform')

    def check_bracketed(self, path, number, room, target):
        if target.startswith(PUBLIC + "/"):
            found = self.include / target
            if found.is_file():
                self.edges[path].append(found)
            if target == GRAPH_HEADER and room in GRAPH_BLIND:
                self.fault(path, number, f"{room} sees the graph's interfaces")
            return
        is_host = room in ("hosts/gstreamer", "hosts/qdmix", "page")
        if OPERATING_SYSTEM.match(target) and not is_host:
            if not path.is_relative_to(self.src / "platform" / "posix"):
                self.fault(path, number, f"<{target}> outside src/platform/posix")
        if FRAMEWORK.match(target) and not is_host:
            if not path.is_relative_to(self.src / "platform"):
                self.fault(path, number, f"<{target}> outside the hosts")

    def check_circles(self):
        done, trail = set(), []

        def visit(path):
            if path in trail:
                circle = trail[trail.index(path):] + [path]
                names = " -> ".join(str(p.relative_to(self.root)) for p in circle)
                self.fault(path, 1, f"circle of includes: {names}")
                return
            if path in done:
                return
            trail.append(path)
            for target in self.edges.get(path, []):
                visit(target)
            trail.pop()
            done.add(path)

        for path in sorted(self.edges):
            visit(path)


def main():
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    checker = Checker(sys.argv[1])
    faults = checker.run()
    for fault in faults:
        print(fault)
    print(f"{len(checker.edges)} files, {len(faults)} faults")
    return 1 if faults or not checker.edges else 0


if __name__ == "__main__":
    sys.exit(main())
