"""scripts/mac on a machine that lacks what it needs to build the bundle for Macs. What it builds, it
checks itself."""

import os
import shutil
import subprocess
import unittest

from project import ROOT
from scripts import ScriptTest


class MacTest(ScriptTest):
    """A copy of what the script works with. Package managers are replaced by stand-ins."""

    script = "mac"

    def setUp(self):
        super().setUp()
        for folder in ("scripts", "mac"):
            shutil.copytree(ROOT / folder, self.folder / folder)
        self.tool("dpkg-query", "echo install ok installed")
        self.tool("sudo", 'exec "$@"')
        self.tool("apt-get", "echo no network >&2; exit 100")

    def make(self):
        environment = os.environ | {"PATH": f"{self.folder / 'bin'}:{os.environ['PATH']}"}
        return subprocess.run([self.folder / "scripts" / "mac"], env=environment,
                              capture_output=True, text=True, timeout=60)

    def test_it_is_clean(self):
        for script in ("scripts/mac", "mac/make-sdk", "mac/ibtool"):
            self.assert_is_clean(ROOT / script)

    def test_without_packages_it_says_so(self):
        self.tool("dpkg-query", "exit 1")
        run = self.make()
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertTrue(run.stdout.endswith(
            "The bundle for Macs is skipped: clang, lld and LLVM's tools are unavailable.\n"))
        self.assertEqual(run.stderr, "no network\n")

    def test_without_what_npm_would_bring_it_says_so(self):
        self.tool("npm", "echo no network >&2; exit 1")
        run = self.make()
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertTrue(run.stdout.endswith(
            "The bundle for Macs is skipped: the headers of a Mac's C library are unavailable.\n"))
        self.assertEqual(run.stderr, "no network\n")

    def test_another_package_than_the_one_asked_for_is_an_error(self):
        self.tool("npm", "mkdir -p node_modules")
        run = self.make()
        self.assertNotEqual(run.returncode, 0)
        self.assertNotIn("skipped", run.stdout)
        self.assertFalse((self.folder / "build" / "mac-sdk").exists())


if __name__ == "__main__":
    unittest.main()
