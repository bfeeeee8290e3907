"""How the bundle would be built on a Mac."""

import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from project import (PRIVATE_FUNCTIONS, RESOURCES, ROOT, preset_variables, project_version,
                     property_list)


@unittest.skipIf(sys.platform == "darwin", "the bundle itself can be built here")
@unittest.skipUnless(shutil.which("clang++") and shutil.which("ninja"), "needs clang and ninja")
class MacBundleTest(unittest.TestCase):
    """The preset for Macs, configured as for a Mac without its SDK. That suffices to see how the
    bundle would be compiled and linked, and to put its resources together."""

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name).resolve()
        ibtool = cls.folder / "ibtool"
        ibtool.write_text('#!/bin/sh\nfor source; do :; done\n'
                          'while [ "$1" != --compile ]; do shift; done\ncp "$source" "$2"\n')
        ibtool.chmod(0o755)
        triple = "x86_64-apple-macos10.15"
        variables = preset_variables("mac") | {
            "CMAKE_SYSTEM_NAME": "Darwin",
            "CMAKE_OSX_SYSROOT": str(cls.folder),
            "CMAKE_INSTALL_NAME_TOOL": shutil.which("true"),
            "IBTOOL": str(ibtool),
        }
        for language, compiler in (("C", "clang"), ("CXX", "clang++"), ("OBJCXX", "clang++")):
            variables[f"CMAKE_{language}_COMPILER"] = shutil.which(compiler)
            variables[f"CMAKE_{language}_COMPILER_TARGET"] = triple
            variables[f"CMAKE_{language}_COMPILER_WORKS"] = "ON"
        cls.build = cls.folder / "build"
        cls.run_tool("cmake", "-S", ROOT, "-B", cls.build, "-G", "Ninja",
                     *[f"-D{name}={value}" for name, value in variables.items()])

    @classmethod
    def run_tool(cls, *words):
        run = subprocess.run(words, capture_output=True, text=True)
        if run.returncode != 0:
            raise AssertionError(f"{words[0]} failed:\n{run.stdout}\n{run.stderr}")
        return run.stdout

    def test_all_is_compiled_for_both_kinds_of_mac_with_the_sdk_alone(self):
        commands = json.loads((self.build / "compile_commands.json").read_text())
        sources = sorted(str(path) for pattern in ("*.cpp", "*.mm")
                         for path in (ROOT / "plugin").rglob(pattern))
        self.assertEqual(sorted(entry["file"] for entry in commands), sources)
        for entry in commands:
            with self.subTest(source=entry["file"]):
                command = entry["command"]
                for words in ("-arch x86_64 -arch arm64", "-mmacosx-version-min=10.15",
                              "-std=c++20", "-fvisibility=hidden"):
                    self.assertIn(f" {words} ", command)
                self.assertNotIn("simulated_mac", command)
                self.assertEqual(entry["file"].endswith(".mm"), " -fno-objc-arc " in command)

    def test_all_is_linked_with_the_private_interfaces_weak(self):
        commands = self.run_tool("ninja", "-C", self.build, "-t", "commands",
                                 "VornDisplayCheck.bundle/Contents/MacOS/VornDisplayCheck")
        link = commands.splitlines()[-1].replace("-Xlinker ", "")
        self.assertIn(" -bundle ", link)
        self.assertIn(" -arch x86_64 -arch arm64 ", link)
        self.assertIn(f" -exported_symbols_list {ROOT}/plugin/exported-symbols.txt ", link)
        frameworks = re.findall(r" -framework (\w+)", link)
        self.assertEqual(sorted(frameworks), ["Cocoa", "CoreFoundation", "CoreGraphics", "IOKit",
                                              "InstallerPlugins"])
        self.assertEqual(re.findall(r" -weak_framework (\w+)", link), ["CoreDisplay"])
        self.assertEqual(sorted(re.findall(r" -U (\w+)", link)), PRIVATE_FUNCTIONS)
        objects = re.findall(r"\S+\.(?:cpp|mm)\.o\b", link)
        self.assertEqual(len(objects), len(json.loads(
            (self.build / "compile_commands.json").read_text())))

    def test_its_resources_are_those_of_the_sources(self):
        folder = pathlib.Path("VornDisplayCheck.bundle", "Contents", "Resources")
        expected = {str(table.relative_to(RESOURCES)): table
                    for table in RESOURCES.glob("*.lproj/*.strings")}
        self.run_tool("ninja", "-C", self.build, "-j1", *[str(folder / name) for name in expected])
        # Its turn comes after the plug-in's, which the SDK is missing for: it is run by itself.
        commands = self.run_tool("ninja", "-C", self.build, "-t", "commands",
                                 str(folder / "MyInstallerPane.nib"))
        compilation = commands.splitlines()[-1]
        self.assertIn(" --minimum-deployment-target 10.15 ", compilation)
        self.run_tool("sh", "-c", compilation)
        expected["MyInstallerPane.nib"] = RESOURCES / "MyInstallerPane.xib"
        resources = self.build / folder
        made = {str(path.relative_to(resources)) for path in resources.rglob("*") if path.is_file()}
        self.assertEqual(made, set(expected))
        for name, source in expected.items():
            self.assertEqual((resources / name).read_bytes(), source.read_bytes(), name)

    def test_its_property_list_has_the_projects_version(self):
        information = property_list(
            self.build / "VornDisplayCheck.bundle" / "Contents" / "Info.plist")
        expected = property_list(RESOURCES / "Info.plist")
        for key in ("CFBundleShortVersionString", "CFBundleVersion"):
            expected[key] = project_version()
        self.assertEqual(information, expected)

    def test_elsewhere_the_bundle_is_refused(self):
        run = subprocess.run(["cmake", "-S", ROOT, "-B", self.folder / "refused", "-G", "Ninja",
                              "-DSIMULATED_MAC=OFF"], capture_output=True, text=True)
        self.assertNotEqual(run.returncode, 0)
        self.assertIn("The bundle for the installer can be built on a Mac alone.", run.stderr)


if __name__ == "__main__":
    unittest.main()
