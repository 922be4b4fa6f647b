#!/usr/bin/env python3
"""Writes docs/index.md (every public header with the first line of its documentation, folder by folder) and the umbrella
header src/trimora/trimora.h. --check fails when a file is not what would be written."""
import os
import re
import subprocess
import sys

INDEX = 'docs/index.md'
UMBRELLA = 'src/trimora/trimora.h'


def headers():
    listed = subprocess.run(['git', 'ls-files', '--cached', '--others', '--exclude-standard', '--', 'src/*.h'],
                            capture_output=True, text=True, check=True).stdout.split()
    return sorted(path for path in listed if '/detail/' not in path)


def first_doc(path):
    with open(path, encoding='utf-8') as file:
        match = re.search(r'^\s*///\s*(.+)$', file.read(), re.M)
    return match.group(1).strip() if match else ''


def render():
    lines = ['# Public headers', '', 'Made by `scripts/index.py`.']
    folder = None
    for path in headers():
        if os.path.dirname(path) != folder:
            folder = os.path.dirname(path)
            lines += ['', f'## {folder[len("src/"):]}', '', '| header | what for |', '| --- | --- |']
        lines.append(f'| `{os.path.basename(path)}` | {first_doc(path).replace("|", chr(92) + "|")} |')
    return '\n'.join(lines) + '\n'


def umbrella():
    lines = ['#pragma once', '', '// Made by `scripts/index.py`: every public header of the library.', '']
    own = [path for path in headers() if path.startswith('src/trimora/') and path != UMBRELLA]
    lines += [f'#include "{path[len("src/"):]}"' for path in sorted(own, key=sort_key)]
    return '\n'.join(lines) + '\n'


def sort_key(path):
    """As clang-format orders includes."""
    return path


def main():
    status = 0
    for path, text in ((INDEX, render()), (UMBRELLA, umbrella())):
        if '--check' in sys.argv:
            with open(path, encoding='utf-8') as file:
                if file.read() != text:
                    print(f'{path} is out of date: run scripts/index.py')
                    status = 1
        else:
            with open(path, 'w', encoding='utf-8') as file:
                file.write(text)
    return status


sys.exit(main())
