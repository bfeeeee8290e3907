"""Says whether docs/platform-declarations.md has every declaration, and whether the lists of what
libraries have, mac/libraries, have every name: check_declarations.py PROJECT

A header's section of that page shows each declaration of the header, as it stands there, as code in
the first column of a table. A framework's list names the functions, variables and classes that its
headers declare. Prints what only one side has; the exit status is 1 then.
"""

import collections
import pathlib
import re
import sys

PAGE = "docs/platform-declarations.md"
# Folders of headers, and which of their headers the page has, under their paths in the folder.
HEADERS = [
    ("simulated_mac/include", "**/*.h"),
    ("mac/include", "**/*.h"),
    ("plugin", "Platform/IOAVService.h"),
    ("plugin", "Platform/CoreDisplay.h"),
    ("plugin", "Cocoa/InstallerPlugins.h"),
]
LIBRARIES = "mac/libraries"
# What compilers ask for and no header declares.
UNDECLARED = {"___CFConstantStringClassReference"}
# A statement with a body, or one without.
STATEMENT = re.compile(r"([^;{}]*)\{([^{}]*)\}([^;{}]*);|([^;{}]*);")
FUNCTION_OR_VARIABLE = re.compile(
    r"extern .*?(\w+)|(?!typedef|static|[#@+-]).*?(\w+)\([^()]*\)")
UNNAMED_ENUMERATION = re.compile(r"enum(:\w+)?")


def normalised(code):
    """The code without the blanks that don't tell words apart."""
    return re.sub(r"(?<!\w) | (?!\w)", "", " ".join(code.split()))


def without_comments_and_attributes(text):
    text = re.sub(r"/\*.*?\*/", " ", text, flags=re.S)
    text = re.sub(r"//[^\n]*", " ", text)
    text = re.sub(r"\bDISPATCH_NOTHROW(?=\s*;)", " ", text)
    return re.sub(r"__attribute__\s*\(\(.*?\)\)(?=\s*;)", " ", text, flags=re.S)


def as_statements(text):
    """Puts semicolons where something ends without one, and takes out what declares nothing."""
    text = re.sub(r'extern\s+"C"\s*\{', ";", text)
    text = re.sub(r"\b(?:public|private|protected):", " ", text)
    # An inline function: its body is its own business.
    text = re.sub(r"(\bstatic inline [^{;]*)\{(?:[^{}]|\{[^{}]*\})*\}", r"\1;", text)
    # An Objective-C class or protocol: its instance variables are nobody else's business.
    text = re.sub(r"(@(?:interface|protocol)[^{;@\-+]*)(?:\{[^}]*\})?", r"\1;", text)
    return re.sub(r"@end|@class[^;]*;", " ", text)


def of_header(path):
    """What a header declares: macros, statements, and each field and enumerator on its own."""
    text = path.read_text(encoding="utf-8")
    text = without_comments_and_attributes(text).replace("\\\n", " ")
    found = re.findall(r"^[ \t]*(#[ \t]*define[ \t].*)$", text, flags=re.M)
    text = as_statements(re.sub(r"^[ \t]*#.*$", "", text, flags=re.M))
    if left := STATEMENT.sub("", text).replace("}", "").strip():
        sys.exit(f"{path}: not understood: {left}")
    for head, body, tail, plain in STATEMENT.findall(text):
        found.append(plain or head + (" " if body.strip() else "{}") + tail)
        found += body.split("," if re.search(r"\benum\b", head) else ";")
    found = [normalised(one) for one in found]
    return collections.Counter(
        one for one in found if one and not UNNAMED_ENUMERATION.fullmatch(one))


def linked(declarations):
    """The declared names that a library has: of classes, and of functions and variables as the
    linker knows them."""
    for one in declarations:
        if name := re.search(r"@interface (\w+)", one):
            yield name[1]
        elif name := FUNCTION_OR_VARIABLE.fullmatch(one):
            yield "_" + (name[1] or name[2])


def of_list(path):
    """What a list of a library's names has."""
    return set(re.findall(r"^ +- (\w+)$", path.read_text(encoding="utf-8"), flags=re.M))


def of_page(text):
    """What each header's section of the page shows."""
    shown = {}
    for section in re.split(r"^## ", text, flags=re.M)[1:]:
        heading, _, body = section.partition("\n")
        if header := re.fullmatch(r"`(.+)`", heading.strip()):
            cells = [row.split("|")[1] for row in body.splitlines() if row.startswith("|")]
            codes = re.findall(r"`([^`]+)`", "\n".join(cells))
            shown[header.group(1)] = collections.Counter(map(normalised, codes))
    return shown


def main():
    project = pathlib.Path(sys.argv[1])
    page = of_page((project / PAGE).read_text(encoding="utf-8"))
    differences = []
    linkable = collections.defaultdict(set)
    for folder, pattern in HEADERS:
        for path in sorted((project / folder).glob(pattern)):
            header = path.relative_to(project / folder).as_posix()
            declared = of_header(path)
            if folder.endswith("include"):
                linkable[header.split("/")[0]].update(linked(declared))
            shown = page.pop(header, collections.Counter())
            differences += [f"{header} has, {PAGE} lacks: {one}" for one in declared - shown]
            differences += [f"{PAGE} has, {header} lacks: {one}" for one in shown - declared]
    differences += [f"{PAGE} has, the project lacks: {header}" for header in page]
    for path in sorted((project / LIBRARIES).glob("*.tbd")):
        # Those that are no frameworks have headers of others.
        if not path.stem.startswith("lib"):
            has, declared = of_list(path) - UNDECLARED, linkable[path.stem]
            differences += [f"{path.name} lacks: {one}" for one in sorted(declared - has)]
            differences += [f"{path.name} has, no header declares: {one}"
                            for one in sorted(has - declared)]
    print("\n".join(differences) or "each has every declaration of the other")
    return 1 if differences else 0


if __name__ == "__main__":
    sys.exit(main())
