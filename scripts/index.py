#!/usr/bin/env python3
"""Writes docs/index.md: every public header with the first line of its documentation, folder by folder. --check fails
when the file is not what would be written."""
import os
import re
import subprocess
import sys

INDEX = 'docs/index.md'


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


def main():
    text = render()
    if '--check' in sys.argv:
        with open(INDEX, encoding='utf-8') as file:
            if file.read() != text:
                print(f'{INDEX} is out of date: run scripts/index.py')
                return 1
        return 0
    with open(INDEX, 'w', encoding='utf-8') as file:
        file.write(text)
    return 0


sys.exit(main())
