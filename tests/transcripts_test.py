#!/usr/bin/env python3
"""Runs the transcripts in docs/transcripts.md and compares what they print. The commands of a block
run in a folder of their own, with the examples and the test dumps in it. With --update, writes what the
program prints now into the page.

Usage: transcripts_test.py PROGRAM SOURCE_FOLDER [--update]"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile

program, root = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve()
page = root / "docs" / "transcripts.md"


def commands_of(block):
    """Each command with its further lines, without what it printed."""
    commands = []
    for line in block.splitlines():
        if line.startswith("$ "):
            commands.append([line[2:]])
        elif line.startswith("> ") and commands:
            commands[-1].append(line[2:])
    return ["\n".join(lines) for lines in commands]


def play(block):
    """The block as it reads when its commands run now."""
    environment = {"PATH": f"{program.parent}:{os.environ['PATH']}", "COLUMNS": "80",
                   "HOME": os.environ.get("HOME", "/"), "LC_ALL": "C.UTF-8"}
    text = ""
    with tempfile.TemporaryDirectory() as folder:
        (pathlib.Path(folder) / "examples").symlink_to(root / "examples")
        (pathlib.Path(folder) / "dumps").symlink_to(root / "tests" / "dumps")
        for command in commands_of(block):
            run = subprocess.run(["bash", "-c", command], cwd=folder, env=environment, text=True,
                                 stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
            text += "$ " + command.replace("\n", "\n> ") + "\n" + run.stdout
    return text


before = page.read_text()
after = re.sub(r"(?<=```console\n).*?(?=```\n)", lambda block: play(block[0]), before,
               flags=re.DOTALL)
if "--update" in sys.argv:
    page.write_text(after)
elif after != before:
    import difflib
    sys.stdout.writelines(difflib.unified_diff(
        before.splitlines(True), after.splitlines(True), "the page", "what is printed"))
    sys.exit(f"{page} does not show what the program prints")
