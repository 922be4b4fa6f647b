#!/usr/bin/env python3
"""scripts/demo | scripts/capture.py docs/demo.svg: draws what a terminal shows as a picture, lines after a prompt in bold."""
import html
import sys

LINE, WIDTH, MARGIN = 17, 8.4, 16


def main():
    lines = [line.rstrip() for line in sys.stdin.read().strip().split('\n')]
    columns = max(len(line) for line in lines)
    width, height = int(columns * WIDTH + 2 * MARGIN), len(lines) * LINE + 2 * MARGIN
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" viewBox="0 0 {width} {height}">',
           f'<rect width="{width}" height="{height}" rx="8" fill="#1e2127"/>',
           '<g font-family="monospace" font-size="14" fill="#c8ccd4" xml:space="preserve">']
    for number, line in enumerate(lines):
        style = ' fill="#7fd18b" font-weight="bold"' if line.startswith('$ ') else ''
        style = style or (' fill="#e8836f"' if 'NOT ' in line else ' fill="#7fb8e8"' if line.endswith(': clean') else '')
        out.append(f'<text x="{MARGIN}" y="{MARGIN + (number + 1) * LINE - 4}"{style}>{html.escape(line)}</text>')
    out += ['</g>', '</svg>', '']
    with open(sys.argv[1], 'w', encoding='utf-8') as file:
        file.write('\n'.join(out))


main()
