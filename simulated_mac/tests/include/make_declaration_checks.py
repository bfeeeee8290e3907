"""Writes the checks that PlatformHeadersTest.cpp includes: make_declaration_checks.py PAGE OUTPUT

Each row of docs/platform-declarations.md for a header in C becomes checks of the declaration in its
first column. What they ask for begins the second column: a type, a value, a structure's size, a
field's type and offset, or the type below an enumeration."""

import pathlib
import re
import sys

# Headers in another language, and those of the bundle for Macs alone.
OTHERS = re.compile(r"InstallerPlugins|Cocoa|Foundation/Foundation|AppKit|objc")
# How the rows begin that PlatformHeadersTest.cpp checks by hand, and that of an attribute, for which
# it can't ask.
BY_HAND = {"`typedef int boolean_t`", "`#define mach_task_self()", "`dispatch_object_s() = delete`",
           "`#define DISPATCH_NOTHROW"}

# How the second column begins. A name in front of a function's type is the platform's, where the
# declaration here has another.
FUNCTION_TYPE = re.compile(r"(?:`(\w+)`: )?`([^`]+\))`")
TYPE = re.compile(r"`([^`]+)`")
VALUE = re.compile(r'(-?(?:0x[0-9A-F]+|\d+)\b|"[^"]*")(?: as an? `([^`]+)`|, over `([^`]+)`)?')
STRUCTURE = re.compile(r"a structure of (\d+) bytes(?:, aligned to (\d+))?")
FIELD = re.compile(r"`([^`]+)` at (\d+)")
ENUMERATION = re.compile(r"an enumeration over `([^`]+)`")


def checks_of_value(name, documented, enumeration):
    if not (value := VALUE.match(documented)):
        return None
    number, kind, underlying = value.groups()
    if number.startswith('"'):
        return [f"TEXT({name}, {number});"]
    if underlying:
        return [f"UNDERLYING(decltype({name}), {underlying});", f"VALUE({name}, {number});"]
    if kind := kind or enumeration:
        return [f"TYPED_VALUE({name}, {kind}, {number});"]
    return [f"VALUE({name}, {number});"]


class Rows:
    """The rows in their order: fields and enumerators belong to what is above them."""

    def __init__(self):
        self.structure = self.enumeration = None

    def checks(self, here, documented):
        """A row's checks, or None if it can't be read."""
        structure, enumeration = self.structure, self.enumeration
        self.structure = self.enumeration = None

        if name := re.fullmatch(r"(\w+) = \w+", here):
            self.enumeration = enumeration
            return checks_of_value(name[1], documented, enumeration)

        if name := re.fullmatch(r"#define (\w+) .+|static const \w+ (\w+) = .+", here):
            return checks_of_value(name[1] or name[2], documented, None)

        if name := re.fullmatch(r"enum (\w+) : \w+", here):
            self.enumeration = name[1]
            kind = ENUMERATION.match(documented)
            return kind and [f"UNDERLYING({name[1]}, {kind[1]});"]

        if name := re.fullmatch(r"extern .+ (\w+)", here):
            kind = TYPE.match(documented)
            return kind and [f"TYPE(decltype({name[1]}), {kind[1]});"]

        if name := re.fullmatch(r"(?:typedef )?struct (?:\w+ )?(\w+)", here):
            if size := STRUCTURE.match(documented):
                self.structure = name[1]
                alignment = [f"ALIGNMENT({name[1]}, {size[2]});"] if size[2] else []
                return [f"SIZE({name[1]}, {size[1]});"] + alignment

        if name := re.fullmatch(r"typedef .+?(?:\(\*(\w+)\)\(.*\)|(\w+)(?:\[\d+\])?)", here):
            kind = TYPE.match(documented)
            return kind and [f"TYPE({name[1] or name[2]}, {kind[1]});"]

        if name := re.fullmatch(r"[^(]*[ *](\w+)\(.*\)", here):
            kind = FUNCTION_TYPE.match(documented)
            return kind and [f"FUNCTION({kind[1] or name[1]}, {kind[2]});"]

        if name := structure and re.fullmatch(r"\w+ (\w+)(?:\[\d+\])?", here):
            self.structure = structure
            field = FIELD.match(documented)
            return field and [f"FIELD({structure}, {name[1]}, {field[1]}, {field[2]});"]

        return None


def checks(page):
    """The checks of all rows in the sections of the headers in C."""
    wanted, rows, left = False, Rows(), set(BY_HAND)
    for number, line in enumerate(page.read_text(encoding="utf-8").splitlines(), start=1):
        if line.startswith("#"):
            rows = Rows()
            if line.startswith("## "):
                wanted = line.startswith("## `") and not OTHERS.search(line)
        if not wanted or not line.startswith("|") or re.match(r"\| Here \||\|---", line):
            continue
        cells = [cell.strip() for cell in re.split(r"(?<!\\)\|", line)[1:-1]]
        here, documented, same = cells if len(cells) == 3 else (line, "", "")
        if same.startswith("no"):
            continue
        if by_hand := {start for start in BY_HAND if here.startswith(start)}:
            left -= by_hand
            continue
        found = rows.checks(here.strip("`"), documented)
        if not found:
            sys.exit(f"{page}:{number}: no check can be made of this row: {line}")
        yield from found
    if left:
        sys.exit(f"{page}: no row begins with {' or '.join(sorted(left))}")


def main():
    page, output = map(pathlib.Path, sys.argv[1:])
    output.write_text("\n".join(checks(page)) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
