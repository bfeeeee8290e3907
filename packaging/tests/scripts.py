"""Runs the scripts of the project, with stand-ins for the tools that they call."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from project import ROOT


class ScriptTest(unittest.TestCase):
    """Tests of one script, each with a folder of its own."""

    script = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name).resolve()

    def tool(self, name, script):
        """Puts a shell script in a tool's place. It finds this test's folder in $here."""
        path = self.folder / "bin" / name
        path.parent.mkdir(exist_ok=True)
        path.write_text(f"#!/bin/sh\nset -eu\nhere='{self.folder}'\n{script}\n")
        path.chmod(0o755)

    def run_script(self, *arguments):
        """Runs the script in this test's folder, with the tools that it has first on the PATH."""
        environment = os.environ | {"PATH": f"{self.folder / 'bin'}:{os.environ['PATH']}"}
        return subprocess.run([ROOT / "scripts" / self.script, *arguments], cwd=self.folder,
                              env=environment, capture_output=True, text=True, timeout=60)

    def assert_is_clean(self, script=None):
        """The shell understands the script; the linter, where there is one, finds nothing."""
        script = script or ROOT / "scripts" / self.script
        self.assertTrue(os.access(script, os.X_OK))
        for checker in (["sh", "-n"], ["shellcheck"]):
            if shutil.which(checker[0]):
                run = subprocess.run([*checker, script], capture_output=True, text=True)
                self.assertEqual(run.returncode, 0, run.stdout + run.stderr)
