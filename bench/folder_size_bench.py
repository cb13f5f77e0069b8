#!/usr/bin/env python3
"""Folder-size benchmark: lumenctl size against du, gdu and a minimal getdents64 loop.

Generates (once) a tree of 200,000 files in 10,000 folders, warms the cache, then runs every
command in turn, round after round, and reports medians and ratios.

  bench/folder_size_bench.py [--build build] [--tree /tmp/lumen-size-tree] [--rounds 7]
"""
import argparse
import os
import shutil
import statistics
import subprocess
import sys
import time


def make_tree(root, folders=10000, files=200000):
    marker = os.path.join(root, '.complete')
    if os.path.exists(marker):
        return
    shutil.rmtree(root, ignore_errors=True)
    per_folder = files // folders
    for d in range(folders):
        # Three levels: 20 x 25 x 20 folders.
        folder = os.path.join(root, 'l%02d' % (d % 20), 'm%02d' % ((d // 20) % 25), 'n%02d' % (d // 500))
        os.makedirs(folder, exist_ok=True)
        for f in range(per_folder):
            with open(os.path.join(folder, 'file%02d.dat' % f), 'wb') as out:
                out.write(b'x' * ((d * 31 + f * 17) % 4096))
    open(marker, 'w').close()


def run(command):
    start = time.perf_counter()
    out = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True).stdout
    return time.perf_counter() - start, out.decode().split()[0] if out else ''


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('--build', default='build')
    parser.add_argument('--tree', default='/tmp/lumen-size-tree')
    parser.add_argument('--rounds', type=int, default=7)
    args = parser.parse_args()

    print('generating the tree (once)...', file=sys.stderr)
    make_tree(args.tree)
    threads = os.cpu_count() * 2
    commands = {
        'lumenctl size': [os.path.join(args.build, 'src/cli/lumenctl'), 'size', args.tree],
        'du': ['du', '-s', '--apparent-size', '-B1', args.tree],
        'floor 1 thread': [os.path.join(args.build, 'bench/folder_size_floor'), args.tree],
        'floor %d threads' % threads: [os.path.join(args.build, 'bench/folder_size_floor'), '--threads', str(threads), args.tree],
    }
    if shutil.which('gdu'):
        commands['gdu'] = ['gdu', '-n', '-p', '-s', '-a', args.tree]
    else:
        print('gdu is not installed (apt-get install gdu); skipping it', file=sys.stderr)

    for command in commands.values():  # warm the cache
        run(command)
    times = {name: [] for name in commands}
    totals = {}
    for _ in range(args.rounds):
        for name, command in commands.items():
            elapsed, total = run(command)
            times[name].append(elapsed)
            totals[name] = total
    medians = {name: statistics.median(values) for name, values in times.items()}

    ours = medians['lumenctl size']
    print('tree: %s (200,000 files in 10,000 folders), %d rounds, medians:' % (args.tree, args.rounds))
    for name, median in medians.items():
        print('  %-18s %8.1f ms   total %s' % (name, median * 1000, totals[name]))
    print('ratios:')
    print('  lumenctl size / du               %.2f  (goal <= 0.5)' % (ours / medians['du']))
    if 'gdu' in medians:
        print('  lumenctl size / gdu              %.2f  (goal <= 0.35)' % (ours / medians['gdu']))
    print('  lumenctl size / floor %2d threads %.2f  (goal <= 1.1)' % (threads, ours / medians['floor %d threads' % threads]))
    print('  floor %d threads / du             %.2f' % (threads, medians['floor %d threads' % threads] / medians['du']))


if __name__ == '__main__':
    main()
