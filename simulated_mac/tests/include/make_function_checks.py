"""Writes a check of each function's type for PlatformHeadersTest.cpp: make_function_checks.py PAGE OUTPUT

The types are those that docs/platform-declarations.md has in its column of the platform's
documentation, as the first code there."""

import pathlib
import re
import sys

# Headers in another language, and those of the bundle for Macs alone.
OTHERS = re.compile(r"InstallerPlugins|Cocoa|Foundation/Foundation|AppKit|objc")


def rows(page):
    """The cells of each row in the sections of the headers in C."""
    wanted = False
    for line in page.splitlines():
        if line.startswith("## "):
            wanted = line.startswith("## `") and not OTHERS.search(line)
        elif wanted and line.startswith("| `"):
            yield [cell.strip() for cell in re.split(r"(?<!\\)\|", line)[1:-1]]


def checks(page):
    for here, documented, same in rows(page):
        declared = re.match(r"`(?!typedef|#|struct|enum)[^(]*[ *](\w+)\(", here)
        # A name in front of the type is the platform's, where the declaration here has another.
        kind = re.match(r"(?:`(\w+)`: )?`([^`]+\))`", documented)
        if not declared or same.startswith("no"):
            continue
        if not kind:
            sys.exit(f"{declared[1]}: its second column does not begin with its type")
        yield f"FUNCTION({kind[1] or declared[1]}, {kind[2]});"


def main():
    page, output = map(pathlib.Path, sys.argv[1:])
    found = list(checks(page.read_text()))
    if not found:
        sys.exit(f"{page}: no function found in it")
    output.write_text("\n".join(found) + "\n")


if __name__ == "__main__":
    main()
