#!/usr/bin/env python3
"""Fails on what no reader should meet: over-long files and functions, paths equal but for case, public headers that the
umbrella lacks, headers without an include guard. Prints the largest of each otherwise."""
import re
import subprocess
import sys

FILE_STOP, FUNCTION_STOP = 800, 100


def tracked(*patterns):
    listed = subprocess.run(['git', 'ls-files', '--cached', '--others', '--exclude-standard', '--', *patterns],
                            capture_output=True, text=True, check=True).stdout.split('\n')
    return [path for path in listed if path]


def functions(lines):
    """(name, length) of each function body: a line that opens a brace at the end of a signature, to its closing brace."""
    start, depth, name = None, 0, ''
    for number, line in enumerate(lines):
        code = re.sub(r'//.*|"(\\.|[^"])*"|\'(\\.|[^\'])*\'', '', line)
        if start is None and re.match(r'^[ ]{0,4}[A-Za-z_~].*\)\s*(const)?\s*(noexcept)?\s*(override)?\s*(:.*)?\{$', code) \
                and not re.match(r'^\s*(namespace|if|for|while|switch|class|struct|enum|else|do|TEST_CASE|return)\b', code):
            start, depth, name = number, 0, line.strip()
        if start is not None:
            depth += code.count('{') - code.count('}')
            if depth <= 0:
                yield name, number - start + 1
                start = None


def main():
    faults, longest = [], []
    paths = tracked()
    seen = {}
    for path in paths:
        if path.lower() in seen:
            faults.append(f'{path} and {seen[path.lower()]} differ in case only')
        seen[path.lower()] = path
    sources = [path for path in tracked('*.h', '*.cpp')]
    for path in sources:
        with open(path, encoding='utf-8') as file:
            lines = file.read().split('\n')
        if len(lines) > FILE_STOP:
            faults.append(f'{path}: {len(lines)} lines, at most {FILE_STOP}')
        if path.endswith('.h') and '#pragma once' not in lines:
            faults.append(f'{path}: no #pragma once')
        for name, length in functions(lines):
            longest.append((length, path, name[:70]))
            if length > FUNCTION_STOP and path.startswith(('src/', 'app/')):
                faults.append(f'{path}: {length} lines in {name[:70]}')
    with open('src/trimora/trimora.h', encoding='utf-8') as file:
        umbrella = set(re.findall(r'#include "(trimora/[^"]+)"', file.read()))
    public = {path[len('src/'):] for path in tracked('src/trimora/*.h') if '/detail/' not in path} - {'trimora/trimora.h'}
    faults += [f'{path} is not in trimora/trimora.h' for path in sorted(public - umbrella)]
    for length, path, name in sorted(longest, reverse=True)[:5]:
        print(f'{length:5d} lines  {path}: {name}')
    print(f'{len(sources)} sources, {len(faults)} faults')
    for fault in faults:
        print(fault)
    return 1 if faults else 0


sys.exit(main())
