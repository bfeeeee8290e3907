"""scripts/package, which makes the product archive."""

import shlex
import unittest

from project import RESOURCES, ROOT
from scripts import ScriptTest


class PackageTest(ScriptTest):
    script = "package"

    def setUp(self):
        super().setUp()
        self.bundle = self.folder / "VornDisplayCheck.bundle"
        for part in ("MacOS/VornDisplayCheck", "Resources/MyInstallerPane.nib"):
            path = self.bundle / "Contents" / part
            path.parent.mkdir(parents=True)
            path.touch()
        self.write_version("1.2.3")
        self.product = self.folder / "product"
        self.product.mkdir()
        self.archive = self.product / "Product.pkg"
        self.tool("uname", "echo Darwin")

    def write_version(self, version):
        (self.bundle / "Contents" / "Info.plist").write_text(
            (RESOURCES / "Info.plist").read_text().replace("@PROJECT_VERSION@", version))

    def stand_ins_for_the_macs_tools(self):
        """The folder's "log" tells of the signing; the product archive holds what is in it. A
        signature holds as long as no file of the plug-in changes."""
        self.tool("files", 'cd "$1"; find . -path ./Contents/_CodeSignature -prune -o '
                  '-type f -exec cksum {} + | sort')
        self.tool("codesign", """
            for plugin; do :; done
            echo "codesign $*" >> "$here/log"
            signature=$plugin/Contents/_CodeSignature
            case "$1" in
            --verify) files "$plugin" | diff "$signature/files" - ;;
            *) mkdir -p "$signature" && files "$plugin" > "$signature/files" ;;
            esac""")
        self.tool("xcrun", 'echo "xcrun $*" >> "$here/log"')
        self.tool("lipo", ":")
        self.tool("ditto", 'cp -R "$2" "$3"')
        self.tool("pkgbuild", 'for file; do :; done; echo made > "$file"')
        self.tool("productbuild", """
            echo "productbuild $*" >> "$here/log"
            for file; do :; done
            cat "$2" > "$file"
            ls "$4" "$6" >> "$file"
            codesign --verify "$6/VornDisplayCheck.bundle"
            echo packed as signed >> "$file"
            """)

    def package(self, *arguments):
        return self.run_script("--bundle", self.bundle, "--output", self.archive, *arguments)

    def refusal(self, *arguments):
        """The script's message about bad input, before it has done anything."""
        run = self.run_script(*arguments)
        self.assertEqual(run.returncode, 2, run.stderr)
        self.assertEqual(run.stdout, "")
        self.assertEqual(list(self.product.iterdir()), [])
        return run.stderr.removeprefix("package: ").rstrip("\n")

    def test_it_is_clean(self):
        self.assert_is_clean()

    def test_help_names_every_option(self):
        run = self.run_script("--help")
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        for option in ("--bundle", "--root", "--output", "--sign-bundle", "--sign", "--notarise",
                       "--dry-run", "--help"):
            self.assertRegex(run.stdout, rf"(?m)^  {option}\b")

    def commands(self, *arguments):
        """The words of each command that a dry run prints, the folder that it works in as WORK."""
        run = self.package("--dry-run", *arguments)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertEqual(list(self.product.iterdir()), [])
        work = str(self.product / ".package.XXXXXX")
        return [shlex.split(line.replace(work, "WORK")) for line in run.stdout.splitlines()]

    def test_a_dry_run_prints_what_makes_an_unsigned_archive(self):
        sections = "InstallerSections.plist"
        self.assertEqual(self.commands(), [
            ["lipo", f"{self.bundle}/Contents/MacOS/VornDisplayCheck", "-verify_arch", "x86_64",
             "arm64"],
            ["mkdir", "WORK/plugins", "WORK/product"],
            ["ditto", "--norsrc", str(self.bundle), "WORK/plugins/VornDisplayCheck.bundle"],
            ["cp", f"{ROOT}/packaging/{sections}", f"WORK/plugins/{sections}"],
            ["pkgbuild", "--identifier", "com.vorn.displaycheck", "--version", "1.2.3",
             "--nopayload", "WORK/component.pkg"],
            ["sed", "-n", "-e", "s/@VERSION@/1.2.3/", "-e", "w WORK/Distribution.xml",
             f"{ROOT}/packaging/Distribution.xml"],
            ["codesign", "--force", "--sign", "-", "WORK/plugins/VornDisplayCheck.bundle"],
            ["codesign", "--verify", "--strict", "WORK/plugins/VornDisplayCheck.bundle"],
            ["productbuild", "--distribution", "WORK/Distribution.xml", "--package-path", "WORK",
             "--plugins", "WORK/plugins", "WORK/product/Product.pkg"],
            ["mv", "-f", "WORK/product/Product.pkg", str(self.archive)],
        ])

    def test_a_dry_run_prints_what_signs_and_notarises(self):
        commands = self.commands("--sign-bundle", "Application: Vorn's", "--sign",
                                 "Installer: Vorn's", "--notarise", "vorn")
        plugin = "WORK/plugins/VornDisplayCheck.bundle"
        building = [words[0] for words in commands].index("productbuild")
        self.assertEqual(commands[building - 2:building], [
            ["codesign", "--force", "--sign", "Application: Vorn's", "--options", "runtime",
             "--timestamp", plugin],
            ["codesign", "--verify", "--strict", plugin],
        ])
        product = "WORK/product/Product.pkg"
        self.assertEqual(commands[building][-4:],
                         ["--sign", "Installer: Vorn's", "--timestamp", product])
        self.assertEqual(commands[building + 1:], [
            ["xcrun", "notarytool", "submit", product, "--keychain-profile", "vorn", "--wait"],
            ["xcrun", "stapler", "staple", product],
            ["mv", "-f", product, str(self.archive)],
        ])

    def test_a_dry_run_prints_what_packs_a_payload(self):
        payload = self.folder / "pay load"
        payload.mkdir()
        self.assertIn(["pkgbuild", "--identifier", "com.vorn.displaycheck", "--version", "1.2.3",
                       "--root", str(payload), "--install-location", "/", "WORK/component.pkg"],
                      self.commands("--root", payload))

    def test_the_archive_is_named_after_the_version_and_stands_in_build(self):
        run = self.run_script("--dry-run", "--bundle", self.bundle)
        if (ROOT / "build").is_dir():
            self.assertEqual(shlex.split(run.stdout.splitlines()[-1])[-1],
                             f"{ROOT}/build/VornDisplayCheck-1.2.3.pkg")
        else:
            self.assertIn(f"no folder {ROOT}/build for the product archive", run.stderr)

    def test_bad_options_are_told(self):
        for arguments, message in [
                (["--sing"], "unknown option or argument: --sing; see --help"),
                (["Product.pkg"], "unknown option or argument: Product.pkg; see --help"),
                (["--sign"], "--sign needs a value; see --help"),
                (["--sign", "--dry-run"], "--sign needs a value; see --help"),
                (["--output", ""], "--output needs a value; see --help"),
                (["--notarise", "vorn", "--sign", "x"],
                 "--notarise needs --sign and --sign-bundle: only a signed product can be notarised"),
        ]:
            with self.subTest(arguments=arguments):
                self.assertEqual(self.refusal(*arguments), message)

    def test_bad_inputs_are_told(self):
        bundle = ["--dry-run", "--bundle", self.bundle]
        for arguments, message in [
                (["--dry-run", "--bundle", "no/such.bundle"],
                 "no plug-in at no/such.bundle; 'cmake --build --preset mac' builds it"),
                (bundle + ["--root", "no-such"], "no folder no-such; expected the files to install"),
                (bundle + ["--output", "no-such/Product.pkg"],
                 "no folder no-such for the product archive"),
                (bundle + ["--output", "product/Product"],
                 "product/Product does not end in .pkg; the installer opens no other files"),
        ]:
            with self.subTest(arguments=arguments):
                self.assertEqual(self.refusal(*arguments), message)

    def test_a_bad_version_is_told(self):
        for version in ("", "@PROJECT_VERSION@", "1.2 beta", "1..2", ".1", "1."):
            with self.subTest(version=version):
                self.write_version(version)
                self.assertEqual(
                    self.refusal("--dry-run", "--bundle", self.bundle),
                    f"{self.bundle} has the version '{version}'; expected digits and dots")

    def test_an_incomplete_plugin_is_told(self):
        for part in ("Resources/MyInstallerPane.nib", "MacOS/VornDisplayCheck", "Info.plist"):
            with self.subTest(part=part):
                (self.bundle / "Contents" / part).unlink()
                self.assertEqual(self.refusal("--dry-run", "--bundle", self.bundle),
                                 f"{self.bundle} lacks Contents/{part}")

    def test_elsewhere_than_on_a_mac_nothing_is_made(self):
        self.tool("uname", "echo Linux")
        run = self.package()
        self.assertEqual(run.returncode, 1)
        self.assertEqual(run.stdout, "")
        self.assertEqual(run.stderr, "package: product archives can only be made on macOS; "
                                     "--dry-run prints the commands\n")
        self.assertEqual(list(self.product.iterdir()), [])

    def test_the_archive_is_all_that_is_left(self):
        self.stand_ins_for_the_macs_tools()
        run = self.package("--sign-bundle", "a", "--sign", "b", "--notarise", "c")
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertEqual(run.stdout.splitlines()[-1], f"Made {self.archive}")
        self.assertEqual(list(self.product.iterdir()), [self.archive])
        made = self.archive.read_text()
        self.assertIn('version="1.2.3">component.pkg<', made)
        for name in ("InstallerSections.plist", "VornDisplayCheck.bundle", "component.pkg"):
            self.assertIn(f"\n{name}\n", made)
        log = (self.folder / "log").read_text()
        self.assertRegex(log, "(?s)codesign .*--sign a .*notarytool submit .*stapler staple ")

    def test_the_plugin_is_packed_as_it_was_signed(self):
        self.stand_ins_for_the_macs_tools()
        run = self.package()
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertIn("packed as signed\n", self.archive.read_text())
        self.assertFalse((self.bundle / "Contents" / "_CodeSignature").exists())

    def test_a_signature_that_the_plugin_came_with_is_replaced(self):
        self.stand_ins_for_the_macs_tools()
        stale = self.bundle / "Contents" / "_CodeSignature"
        stale.mkdir()
        (stale / "files").write_text("of an earlier build\n")
        run = self.package()
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertIn("packed as signed\n", self.archive.read_text())

    def test_a_plugin_whose_signature_does_not_hold_is_not_packed(self):
        self.stand_ins_for_the_macs_tools()
        codesign = self.folder / "bin" / "codesign"
        codesign.write_text(codesign.read_text() +
                            'case "$1" in --force) echo >> "$plugin/Contents/Info.plist" ;; esac\n')
        run = self.package()
        self.assertNotEqual(run.returncode, 0)
        self.assertIn("/Contents/Info.plist", run.stdout)
        log = (self.folder / "log").read_text()
        self.assertRegex(log, "(?s)codesign --force .*codesign --verify --strict ")
        self.assertNotIn("productbuild", log)
        self.assertEqual(list(self.product.iterdir()), [])

    def test_a_step_that_fails_leaves_the_earlier_archive_alone(self):
        for tool in ("ditto", "codesign", "pkgbuild", "productbuild", "xcrun"):
            with self.subTest(tool=tool):
                self.stand_ins_for_the_macs_tools()
                self.tool(tool, "echo half > \"$here/half\"; exit 65")
                self.archive.write_text("earlier")
                run = self.package("--sign-bundle", "a", "--sign", "b", "--notarise", "c")
                self.assertNotEqual(run.returncode, 0)
                self.assertNotIn("Made", run.stdout)
                self.assertEqual(list(self.product.iterdir()), [self.archive])
                self.assertEqual(self.archive.read_text(), "earlier")

    def test_a_bundle_for_one_kind_of_mac_is_refused(self):
        self.stand_ins_for_the_macs_tools()
        self.tool("lipo", "exit 1")
        run = self.package()
        self.assertEqual(run.returncode, 2)
        self.assertEqual(run.stderr, f"package: {self.bundle} is not for both kinds of Mac, "
                                     "x86_64 and arm64\n")
        self.assertEqual(list(self.product.iterdir()), [])


if __name__ == "__main__":
    unittest.main()
