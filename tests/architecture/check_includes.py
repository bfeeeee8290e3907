"""Says whether each folder includes only what it may: check_includes.py PROJECT

The folders show the architecture, and the includes themselves show whether it holds. Fails on an
include that the table doesn't allow, on one that is not written from the project's root, and where
files include one another in a circle."""

import pathlib
import re
import sys

# What a folder may include besides itself. A folder that isn't listed may include no other.
description = {"simulated_mac/description"}
hardware = description | {"simulated_mac/hardware"}
tools = hardware | {"simulated_mac/tools"}
machine = tools | {"simulated_mac/machine"}
mac = machine | {"simulated_mac/platform", "simulated_mac/file"}
displaycheck = {f"displaycheck/{room}" for room in ("dumps", "host", "facts", "report", "commands")}
allowed = {
    "plugin": set(),
    "simulated_mac/description": set(),
    "simulated_mac/file": description,
    "simulated_mac/hardware": description,
    "simulated_mac/tools": hardware,
    "simulated_mac/machine": tools,
    "simulated_mac/platform": machine | {"plugin/Platform/IOAVService.h", "plugin/Platform/CoreDisplay.h"},
    "simulated_mac/tests": mac | {"plugin", "tests/support", "displaycheck/host"},
    "displaycheck/headless": mac | {"plugin/Cocoa"},
    "displaycheck/dumps": description,
    "displaycheck/facts": mac | {"plugin"},
    "displaycheck/host": mac | {"plugin"},
    "displaycheck/report": mac | {"plugin", "displaycheck/facts", "displaycheck/host"},
    "displaycheck/commands": mac | {"plugin"} | displaycheck,
    "displaycheck/window": mac | {"displaycheck/commands/ExitStatus.h", "displaycheck/host/AssumedMac.h"},
    "displaycheck/tests": mac | {"plugin", "tests/support"} | displaycheck,
    "tests": mac | {"plugin"} | displaycheck,
    "torture": mac | {"plugin"} | displaycheck,
    "fuzz": mac | {"plugin", "displaycheck/dumps"},
    "bench": mac | {"plugin"} | displaycheck,
    "mac": {"plugin"},  # what is compiled for a Mac alone
}


def is_inside(path, folder):
    return path == folder or path.startswith(folder + "/")


def rule_of(file):
    """The longest folder of the table that holds the file."""
    folders = [folder for folder in allowed if is_inside(file, folder)]
    return max(folders, key=len, default=None)


def sources(project):
    for top in sorted({folder.split("/")[0] for folder in allowed}):
        for path in sorted((project / top).rglob("*")):
            # The platform's own headers name one another as the platform does.
            if path.suffix in (".h", ".cpp", ".mm") and "include" not in path.parent.relative_to(
                    project).parts[:2]:
                yield path


def includes_of(path):
    return re.findall(r'^\s*#\s*(?:include|import)\s+"([^"]+)"', path.read_text(), re.MULTILINE)


def circles(graph):
    """Each file that includes itself through others, with the way there."""
    found, done = [], set()

    def visit(file, way):
        if file in way:
            found.append(" -> ".join([*way[way.index(file):], file]))
        elif file not in done:
            for other in graph.get(file, ()):
                visit(other, [*way, file])
            done.add(file)

    for file in graph:
        visit(file, [])
    return found


def module_of(file):
    """A header and its source count as one. Not in Objective-C, where a class is found when it is sent a
    message: a file that declares one needs nothing of the file that implements it."""
    return re.sub(r"\.(h|cpp)$", "", file)


def mistakes(project):
    graph = {}
    for path in sources(project):
        file = str(path.relative_to(project))
        rule = rule_of(file)
        if rule is None:
            yield f"{file}: its folder is not in the table of {pathlib.Path(__file__).name}"
            continue
        for included in includes_of(path):
            if not (project / included).exists():
                yield f'{file}: "{included}" is not the path of a file from the project\'s root'
            elif not any(is_inside(included, folder) for folder in {rule} | allowed[rule]):
                yield f"{file}: {rule} may not include {included}"
            elif module_of(included) != module_of(file):
                graph.setdefault(module_of(file), set()).add(module_of(included))
    for circle in circles(graph):
        yield f"a circle of includes: {circle}"


def main():
    found = list(mistakes(pathlib.Path(sys.argv[1]).resolve()))
    print("\n".join(found) if found else "every folder includes only what it may")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
