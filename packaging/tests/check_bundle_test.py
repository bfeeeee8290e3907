"""scripts/check-bundle, which says whether a built bundle is right."""

import re
import shutil
import unittest

from project import PRIVATE_FUNCTIONS, RESOURCES, exported_symbols, project_version
from scripts import ScriptTest


class CheckBundleTest(ScriptTest):
    """The Mac's tools have stand-ins that print what a file of the test says."""

    script = "check-bundle"

    def setUp(self):
        super().setUp()
        self.bundle = self.folder / "VornDisplayCheck.bundle"
        shutil.copytree(RESOURCES, self.bundle / "Contents" / "Resources")
        (self.bundle / "Contents" / "MacOS").mkdir()
        (self.bundle / "Contents" / "MacOS" / "VornDisplayCheck").write_text(
            "_DDC\n_OBJC_CLASS_$_MyInstallerPane\n_OBJC_METACLASS_$_MyInstallerPane\n")
        (self.bundle / "Contents" / "Resources" / "MyInstallerPane.nib").touch()
        (self.bundle / "Contents" / "Info.plist").write_text(
            (RESOURCES / "Info.plist").read_text().replace("@PROJECT_VERSION@", project_version()))

        self.tool("plutil", 'shift; for file; do [ -f "$file" ]; done')
        # A signature is intact where a file of the bundle says so.
        self.tool("codesign", '[ "$1 $2" = "--verify --strict" ]; '
                  'grep intact "$3/Contents/_CodeSignature/CodeResources"')
        self.tool("lipo", '[ -f "$here/$3.-l" ]; echo "$3" > "$5"')
        self.tool("otool", 'cat "$here/$(cat "$2").$1"')
        # Of whole programs, which are lists of symbols here, the stand-in prints the symbols.
        self.tool("nm", 'if [ "$*" != "${*#-arch all -Uj }" ]; then shift 3; cat "$@"; '
                  'else cat "$here/$(cat "$2").$1"; fi')
        for architecture, minimum in (("x86_64", "10.15"), ("arm64", "11.0")):
            self.write(architecture, "-l",
                       "Load command 9\n      cmd LC_BUILD_VERSION\n  cmdsize 32\n platform 1\n"
                       f"    minos {minimum}\n      sdk 15.0\n"
                       "Load command 10\n          cmd LC_LOAD_DYLIB\n"
                       "         name /System/Library/Frameworks/IOKit.framework/IOKit"
                       " (offset 24)\n"
                       "Load command 11\n          cmd LC_LOAD_WEAK_DYLIB\n"
                       "         name /System/Library/Frameworks/CoreDisplay.framework/CoreDisplay"
                       " (offset 24)\n")
            self.write(architecture, "-L",
                       "slice:\n\t/usr/lib/libc++.1.dylib (compatibility version 1.0.0)\n"
                       "\t/System/Library/Frameworks/IOKit.framework/IOKit (compatibility)\n")
            self.write(architecture, "-gUj", "".join(f"{name}\n" for name in exported_symbols()))
            self.write(architecture, "-m",
                       "".join(f"                 (undefined) weak external {name} (from IOKit)\n"
                               for name in PRIVATE_FUNCTIONS) +
                       "                 (undefined) external _IOI2CSendRequest (from IOKit)\n"
                       "                 (undefined) external __ZdlPv (from libc++)\n"
                       "0000000000003a10 (__TEXT,__text) non-external __ZN4vorn3DDCC2Ev\n")

    def write(self, architecture, option, text):
        """What the tool that has this option prints of a slice."""
        (self.folder / f"{architecture}.{option}").write_text(text)

    def replace(self, architecture, option, old, new):
        path = self.folder / f"{architecture}.{option}"
        text = path.read_text()
        self.assertIn(old, text)
        path.write_text(text.replace(old, new))

    def other_bundle(self, name, *symbols):
        """A further plug-in of the product."""
        bundle = self.folder / name
        (bundle / "Contents" / "MacOS").mkdir(parents=True)
        (bundle / "Contents" / "MacOS" / "Program").write_text(
            "".join(f"{symbol}\n" for symbol in symbols))
        return bundle

    def wrong(self, *others):
        """What the script finds wrong with the bundle, among others of the same product."""
        run = self.run_script(self.bundle, *others)
        self.assertEqual(run.stderr, "")
        wrong = [line.removeprefix("wrong").strip() for line in run.stdout.splitlines()
                 if line.startswith("wrong")]
        self.assertEqual(run.returncode, 1 if wrong else 0)
        return wrong

    def test_it_is_clean(self):
        self.assert_is_clean()

    def test_a_good_bundle_is_all_right(self):
        self.assertEqual(self.wrong(), [])

    def test_a_slice_for_other_systems_is_wrong(self):
        self.replace("arm64", "-l", "minos 11.0", "minos 12.0")
        self.replace("x86_64", "-l", "minos 10.15", "minos 11.0")
        self.assertEqual(self.wrong(), ["x86_64: runs from macOS 10.15 on",
                                        "arm64: runs from macOS 11.0 on"])

    def test_a_missing_slice_is_wrong(self):
        (self.folder / "x86_64.-l").unlink()
        self.assertEqual(self.wrong(), ["there is a slice for x86_64"])

    def test_symbols_exported_in_excess_or_not_at_all_are_wrong(self):
        self.replace("arm64", "-gUj", "_DDC\n", "")
        self.replace("x86_64", "-gUj", "_DDC\n", "_DDC\n__ZTSNSt3__1\n")
        self.assertEqual(self.wrong(), ["x86_64: exports what it should",
                                        "arm64: exports what it should"])

    def test_private_interfaces_that_must_be_there_are_wrong(self):
        self.replace("arm64", "-m", "weak external _IOAVServiceReadI2C",
                     "external _IOAVServiceReadI2C")
        self.replace("arm64", "-l", "LC_LOAD_WEAK_DYLIB", "LC_LOAD_DYLIB")
        self.assertEqual(self.wrong(), ["arm64: loads CoreDisplay weakly",
                                        "arm64: imports _IOAVServiceReadI2C weakly"])

    def test_imports_without_a_library_are_wrong(self):
        self.replace("arm64", "-m", "_IOI2CSendRequest (from IOKit)",
                     "_IOI2CSendRequest (dynamically looked up)")
        self.assertEqual(self.wrong(), ["arm64: imports all else from libraries"])

    def test_cxx_names_of_other_libraries_are_wrong(self):
        self.replace("x86_64", "-m", "_IOI2CSendRequest", "__Z16IOI2CSendRequestv")
        self.assertEqual(self.wrong(), ["x86_64: imports C++ names from libc++ alone"])

    def test_a_library_that_others_lack_is_wrong(self):
        self.replace("x86_64", "-L", "/usr/lib/libc++", "/usr/local/lib/libc++")
        self.assertEqual(self.wrong(), ["x86_64: loads the system's libraries alone"])

    def test_missing_resources_are_wrong(self):
        contents = self.bundle / "Contents"
        (contents / "Resources" / "MyInstallerPane.nib").unlink()
        (contents / "Resources" / "de.lproj" / "Localizable.strings").unlink()
        (contents / "Info.plist").write_text("<string>0.0.0</string>")
        tables = len(list(RESOURCES.glob("*.lproj/*.strings")))
        self.assertEqual(self.wrong(), [f"its version is {project_version()}",
                                        "its interface file is there",
                                        f"its {tables} string tables are string tables"])

    def test_a_signature_that_does_not_hold_is_wrong(self):
        signature = self.bundle / "Contents" / "_CodeSignature"
        signature.mkdir()
        (signature / "CodeResources").write_text("intact")
        self.assertEqual(self.wrong(), [])
        (signature / "CodeResources").write_text("broken")
        self.assertEqual(self.wrong(), ["if it is signed, the signature holds"])

    def test_other_bundles_with_classes_of_their_own_are_all_right(self):
        first = self.other_bundle("First.bundle", "_DDC", "_OBJC_CLASS_$_FirstPane")
        second = self.other_bundle("Second.bundle", "_DDC", "_OBJC_CLASS_$_SecondPane",
                                   "_OBJC_IVAR_$_MyInstallerPane.pane")
        self.assertEqual(self.wrong(first, second), [])

    def test_a_class_that_two_bundles_define_is_wrong(self):
        first = self.other_bundle("First.bundle", "_OBJC_CLASS_$_MyInstallerPane",
                                  "_OBJC_CLASS_$_Camera")
        second = self.other_bundle("Second.bundle", "_OBJC_CLASS_$_Camera",
                                   "_OBJC_CLASS_$_SecondPane")
        self.assertEqual(self.wrong(first, second),
                         ["First.bundle: its classes have names of their own",
                          "Second.bundle: its classes have names of their own"])
        twice = re.findall(r"(?m)^wrong .*\n {7}(\w+)$",
                           self.run_script(self.bundle, first, second).stdout)
        self.assertEqual(twice, ["MyInstallerPane", "Camera"])

    def test_a_bundle_whose_classes_cannot_be_told_is_wrong(self):
        stripped = self.other_bundle("Stripped.bundle", "_main")
        empty = self.folder / "Empty.bundle"
        (empty / "Contents" / "MacOS").mkdir(parents=True)
        partly = self.other_bundle("Partly.bundle", "_OBJC_CLASS_$_Camera")
        (partly / "Contents" / "MacOS" / "Unreadable").symlink_to("nowhere")
        self.assertEqual(self.wrong(stripped, empty, partly),
                         [f"{name}.bundle: its classes have names of their own"
                          for name in ("Stripped", "Empty", "Partly")])

    def test_bad_usage_is_told(self):
        for arguments, message in [
                (["--fast"], "unknown option: --fast; see --help"),
                (["no/such.bundle"], "no plug-in at no/such.bundle"),
                ([self.bundle, "another.bundle"], "no plug-in at another.bundle"),
        ]:
            with self.subTest(arguments=arguments):
                run = self.run_script(*arguments)
                self.assertEqual((run.returncode, run.stdout, run.stderr),
                                 (2, "", f"check-bundle: {message}\n"))


if __name__ == "__main__":
    unittest.main()
