"""The bundle that `make mac` has built: what scripts/check-bundle, which Macs run too, can't say of
it. Each test is a line of what `make mac` prints."""

import json
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.append(str(ROOT / "packaging" / "tests"))
from project import RESOURCES, project_version, property_list  # noqa: E402

SDK = ROOT / "build" / "mac-sdk"
BUILD = ROOT / "build" / "mac-cross"
CONTENTS = BUILD / "VornDisplayCheck.bundle" / "Contents"
PROGRAM = CONTENTS / "MacOS" / "VornDisplayCheck"

ARCHITECTURES = ["x86_64", "arm64"]


def output(*words):
    return subprocess.run(words, cwd=BUILD, check=True, capture_output=True, text=True).stdout


def run(words):
    return subprocess.run(words, cwd=BUILD, capture_output=True, text=True)


def for_one(words, architecture):
    """A compiler's arguments without the other processors."""
    for other in ARCHITECTURES:
        if other != architecture:
            at = words.index(other)
            words = words[:at - 1] + words[at + 1:]
    return words


class ResourcesTest(unittest.TestCase):
    def test_its_resources_are_those_of_the_sources(self):
        expected = {str(path.relative_to(RESOURCES)): path.read_bytes()
                    for path in RESOURCES.glob("*.lproj/*.strings")}
        expected["MyInstallerPane.nib"] = (RESOURCES / "MyInstallerPane.xib").read_bytes()
        folder = CONTENTS / "Resources"
        made = {str(path.relative_to(folder)): path.read_bytes()
                for path in folder.rglob("*") if path.is_file()}
        self.assertEqual(made, expected)

    def test_its_property_list_is_that_of_the_sources(self):
        expected = property_list(RESOURCES / "Info.plist")
        for key in ("CFBundleShortVersionString", "CFBundleVersion"):
            expected[key] = project_version()
        self.assertEqual(property_list(CONTENTS / "Info.plist"), expected)


class ClassesTest(unittest.TestCase):
    def test_the_classes_of_its_interface_file_are_its_own_or_of_its_frameworks(self):
        document = xml.etree.ElementTree.parse(RESOURCES / "MyInstallerPane.xib")
        # The first responder is whatever object has the focus, not a class.
        named = {element.get("customClass") for element in document.iter()
                 if element.get("id") != "-1"} - {None}
        self.assertIn("MyInstallerPane", named)
        for architecture in ARCHITECTURES:
            with self.subTest(architecture=architecture):
                defined = output(SDK / "bin" / "nm", "-gUj", "--arch", architecture, PROGRAM)
                classes = set(re.findall(r"^_OBJC_CLASS_\$_(\w+)$", defined, re.MULTILINE))
                loaded = output(SDK / "bin" / "otool", "-arch", architecture, "-L", PROGRAM)
                for library in re.findall(r"^\t(\S+) ", loaded, re.MULTILINE):
                    classes |= self.classes_of(library)
                self.assertLessEqual(named, classes)

    def classes_of(self, library):
        """The classes of a library that the bundle loads, by its list in the SDK."""
        if library == "/usr/lib/libSystem.B.dylib":
            return set()
        path = SDK / (library.lstrip("/").removesuffix(".dylib") + ".tbd")
        listed = path.read_text().partition("objc-classes:")[2]
        return set(re.findall(r"^ +- (\w+)$", listed, re.MULTILINE))


class CompilationTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        commands = json.loads((BUILD / "compile_commands.json").read_text())
        cls.commands = {entry["file"]: entry["command"] for entry in commands
                        if " -o plugin/" in entry["command"]}
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)

    def compile(self, text, architecture, *options):
        """Compiles a source as those of the plug-in are, for one of the processors."""
        source = self.folder / "source.cpp"
        source.write_text(text)
        command = self.commands[str(ROOT / "plugin" / "DDCCI" / "DDC.cpp")]
        words = for_one(shlex.split(command), architecture)
        words[words.index("-o") + 1] = self.folder / "source.o"
        words[-1] = source
        return run([*words, *options])

    def link(self, text, architecture):
        """Links a source into the plug-in, by the command that linked that."""
        compilation = self.compile(text, architecture)
        self.assertEqual(compilation.returncode, 0, compilation.stderr)
        target = PROGRAM.relative_to(BUILD)
        commands = output("ninja", "-t", "commands", target).splitlines()
        command = re.search(rf"&& (.* -o {target} .*?) &&", commands[-1])[1]
        words = for_one(shlex.split(command), architecture)
        words[words.index("-o") + 1] = self.folder / "linked"
        return run([*words, self.folder / "source.o"])

    def test_every_source_is_in_it(self):
        self.assertEqual(sorted(self.commands),
                         sorted(str(path) for pattern in ("*.cpp", "*.mm")
                                for path in (ROOT / "plugin").rglob(pattern)))

    def test_a_function_declared_without_extern_C_can_not_be_linked(self):
        call = "IOReturn call() { return IOI2CSendRequest(nullptr, 0, nullptr); }\n"
        header = "#include <IOKit/i2c/IOI2CInterface.h>\n"
        first = "#include <IOKit/IOKitLib.h>\n"
        for architecture in ARCHITECTURES:
            with self.subTest(architecture=architecture):
                link = self.link(first + 'extern "C" {\n' + header + "}\n" + call, architecture)
                self.assertEqual(link.returncode, 0, link.stderr)
                link = self.link(first + header + call, architecture)
                self.assertNotEqual(link.returncode, 0)
                self.assertIn("undefined symbol: IOI2CSendRequest(", link.stderr)

    def test_a_function_that_no_library_has_can_not_be_linked(self):
        text = 'extern "C" void CFNobodyHasThis();\nvoid call() { CFNobodyHasThis(); }\n'
        for architecture in ARCHITECTURES:
            with self.subTest(architecture=architecture):
                link = self.link(text, architecture)
                self.assertNotEqual(link.returncode, 0)
                self.assertIn("undefined symbol: _CFNobodyHasThis", link.stderr)

    def test_what_the_oldest_system_lacks_can_not_be_compiled(self):
        for text, error in [
                ("#include <atomic>\nvoid call(std::atomic<int>& x) { x.wait(0); }\n",
                 "error: 'wait' is unavailable: introduced in macOS 11.0"),
                ("#include <pthread.h>\nvoid call() { pthread_jit_write_protect_np(0); }\n",
                 "error: 'pthread_jit_write_protect_np' is only available on macOS 11.0 or newer")]:
            for architecture in ARCHITECTURES:
                with self.subTest(error=error, architecture=architecture):
                    newer = self.compile(text, architecture, "-mmacosx-version-min=11.0")
                    self.assertEqual(newer.returncode, 0, newer.stderr)
                    compilation = self.compile(text, architecture)
                    self.assertNotEqual(compilation.returncode, 0)
                    self.assertIn(error, compilation.stderr)

    def test_it_is_compiled_with_and_without_the_header_of_InstallerPlugins(self):
        dependencies = {}
        for block in output("ninja", "-t", "deps").strip().split("\n\n"):
            head, *paths = block.strip().splitlines()
            if "PaneClass.mm.o" in head or "InstallerPane.mm.o" in head:
                dependencies[head.partition(":")[0]] = "\n".join(paths)
        self.assertEqual(len(dependencies), 4)
        for name, paths in dependencies.items():
            with self.subTest(object=name):
                self.assertIn("plugin/Cocoa/InstallerPlugins.h", paths)
                self.assertEqual("InstallerPlugins/InstallerPlugins.h" in paths,
                                 "with_installer_plugins_header" in name)


class Lines(unittest.TextTestResult):
    """Reports each test as scripts/check-bundle does."""

    def startTest(self, test):
        unittest.TestResult.startTest(self, test)
        self.failed = False

    def addError(self, test, error):
        super().addError(test, error)
        self.failed = True

    def addFailure(self, test, failure):
        super().addFailure(test, failure)
        self.failed = True

    def addSubTest(self, test, subtest, failure):
        super().addSubTest(test, subtest, failure)
        self.failed = self.failed or failure is not None

    def stopTest(self, test):
        sentence = test.id().rpartition(".test_")[2].replace("_", " ")
        print("wrong " if self.failed else "ok    ", sentence, flush=True)
        super().stopTest(test)


if __name__ == "__main__":
    unittest.main(testRunner=unittest.TextTestRunner(resultclass=Lines, verbosity=0))
