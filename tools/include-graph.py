#!/usr/bin/env python3
"""Prints which source folder includes which (views/ folders apart) and exits 1 on a cycle.

Usage: tools/include-graph.py [SRC_DIR]
"""
import collections
import os
import re
import sys

src = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..", "src")
edges = collections.defaultdict(set)
for root, _, files in os.walk(src):
    for name in files:
        if not name.endswith((".cpp", ".h")):
            continue
        path = os.path.join(root, name)
        parts = os.path.relpath(path, src).split(os.sep)
        me = parts[0] + ("/views" if "views" in parts else "")
        with open(path, errors="replace") as file:
            for match in re.finditer(r'#include "([a-z]+)/(views/)?', file.read()):
                target = match.group(1) + ("/views" if match.group(2) else "")
                if target != me:
                    edges[me].add(target)

for folder in sorted(edges):
    print(f"{folder} -> {', '.join(sorted(edges[folder]))}")

visiting, done, cycles = set(), set(), []
def visit(folder, trail):
    visiting.add(folder)
    for target in sorted(edges.get(folder, ())):
        if target in visiting:
            cycles.append(trail + [target])
        elif target not in done:
            visit(target, trail + [target])
    visiting.discard(folder)
    done.add(folder)

for folder in sorted(edges):
    if folder not in done:
        visit(folder, [folder])
for cycle in cycles:
    print("cycle: " + " -> ".join(cycle))
sys.exit(1 if cycles else 0)
