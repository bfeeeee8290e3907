"""What the bundle and its product archive are made of: property lists, texts, the interface."""

import re
import unittest
import xml.etree.ElementTree

from project import (RESOURCES, ROOT, exported_symbols, preset_variables, property_list,
                     string_table)

# The installer's names for its own steps, in its order.
INSTALLER_STEPS = ["Introduction", "ReadMe", "License", "Target", "PackageSelection", "Install",
                   "Summary"]


class PropertyListsTest(unittest.TestCase):
    def test_the_bundle_is_a_section_of_the_installer(self):
        information = property_list(RESOURCES / "Info.plist")
        self.assertEqual(information["CFBundlePackageType"], "BNDL")
        self.assertEqual(information["CFBundleExecutable"], "VornDisplayCheck")
        self.assertEqual(information["CFBundleInfoDictionaryVersion"], "6.0")
        self.assertRegex(information["CFBundleIdentifier"], r"^[a-z]+(\.[a-z]+)+$")
        self.assertEqual(information["CFBundleDevelopmentRegion"], "en")
        self.assertEqual(information["NSPrincipalClass"], "InstallerSection")
        self.assertTrue(information["InstallerSectionTitle"])

    def test_the_bundles_interface_file_is_there(self):
        name = property_list(RESOURCES / "Info.plist")["NSMainNibFile"]
        self.assertTrue((RESOURCES / f"{name}.xib").is_file())

    def test_the_bundles_version_is_the_projects(self):
        information = property_list(RESOURCES / "Info.plist")
        for key in ("CFBundleShortVersionString", "CFBundleVersion"):
            self.assertEqual(information[key], "@PROJECT_VERSION@")


class SectionsTest(unittest.TestCase):
    def setUp(self):
        sections = property_list(ROOT / "packaging" / "InstallerSections.plist")
        self.assertEqual(list(sections), ["SectionOrder"])
        self.order = sections["SectionOrder"]
        self.bundle = property_list(RESOURCES / "Info.plist")["CFBundleExecutable"] + ".bundle"

    def test_all_steps_are_the_installers_own_in_its_order_or_our_bundle(self):
        self.assertEqual([name for name in self.order if name != self.bundle], INSTALLER_STEPS)
        self.assertEqual(self.order.count(self.bundle), 1)

    def test_the_pane_comes_after_the_licence_and_before_anything_is_chosen(self):
        place = self.order.index(self.bundle)
        self.assertLess(self.order.index("License"), place)
        # Also well before Install: no pane comes after that.
        self.assertLess(place, self.order.index("Target"))


class DistributionTest(unittest.TestCase):
    def setUp(self):
        self.script = xml.etree.ElementTree.parse(ROOT / "packaging" / "Distribution.xml").getroot()

    def test_it_is_for_the_macs_that_the_bundle_is_for(self):
        variables = preset_variables("mac")
        self.assertEqual(self.script.find("options").get("hostArchitectures").split(","),
                         variables["CMAKE_OSX_ARCHITECTURES"].split(";"))
        self.assertEqual(self.script.find(".//os-version").get("min"),
                         variables["CMAKE_OSX_DEPLOYMENT_TARGET"])

    def test_it_installs_the_package_that_is_made(self):
        package = (ROOT / "scripts" / "package").read_text()
        reference = self.script.find("pkg-ref")
        self.assertIn(f"--identifier {reference.get('id')} ", package)
        self.assertIn(f"$work/{reference.text}\"", package)
        self.assertEqual(reference.get("version"), "@VERSION@")

    def test_what_it_names_is_there(self):
        choices = {choice.get("id") for choice in self.script.findall("choice")}
        packages = {reference.get("id") for reference in self.script.findall("pkg-ref")}
        self.assertEqual({line.get("choice") for line in self.script.iter("line")}, choices)
        self.assertEqual({reference.get("id") for reference in self.script.iter("pkg-ref")},
                         packages)


class StringTablesTest(unittest.TestCase):
    def setUp(self):
        self.languages = sorted(folder.stem for folder in RESOURCES.glob("*.lproj"))
        self.assertIn("en", self.languages)

    def test_every_language_has_the_texts_of_english(self):
        for name in ("Localizable.strings", "InfoPlist.strings"):
            english = string_table(RESOURCES / "en.lproj" / name)
            self.assertTrue(english)
            for language in self.languages:
                with self.subTest(table=name, language=language):
                    table = string_table(RESOURCES / f"{language}.lproj" / name)
                    self.assertEqual(table.keys(), english.keys())
                    for key, text in table.items():
                        self.assertEqual(text, text.strip())
                        self.assertTrue(text, key)

    def test_the_section_has_its_title_in_every_language(self):
        key = "InstallerSectionTitle"
        self.assertIn(key, property_list(RESOURCES / "Info.plist"))
        self.assertIn(key, string_table(RESOURCES / "en.lproj" / "InfoPlist.strings"))

    def test_the_link_is_a_word_of_its_own_sentence(self):
        for language in self.languages:
            with self.subTest(language=language):
                table = string_table(RESOURCES / f"{language}.lproj" / "Localizable.strings")
                word = table["here"]
                self.assertIn(word, table["Click here for the compatible models."])
                self.assertNotIn(word, table["Please connect a supported Vorn monitor or camera"])


class InterfaceFileTest(unittest.TestCase):
    def setUp(self):
        self.document = xml.etree.ElementTree.parse(RESOURCES / "MyInstallerPane.xib").getroot()
        self.by_id = {}
        for element in self.document.iter():
            if "id" in element.keys() and element.tag not in ("outlet", "action"):
                self.assertNotIn(element.get("id"), self.by_id)
                self.by_id[element.get("id")] = element

    def outlets(self, element):
        """What each outlet of an object is connected to."""
        return {outlet.get("property"): self.by_id[outlet.get("destination")]
                for outlet in element.findall("connections/outlet")}

    def test_every_connection_leads_to_an_object(self):
        outlets = list(self.document.iter("outlet"))
        self.assertTrue(outlets)
        for outlet in outlets:
            self.assertIn(outlet.get("destination"), self.by_id)

    def test_the_section_that_owns_it_shows_our_pane(self):
        owner = self.by_id["-2"]
        self.assertEqual(owner.get("customClass"), "InstallerSection")
        outlets = self.outlets(owner)
        self.assertEqual(list(outlets), ["firstPane"])
        self.assertEqual(outlets["firstPane"].get("customClass"), "MyInstallerPane")

    def test_our_panes_outlets_lead_to_what_they_are_declared_as(self):
        pane = self.outlets(self.by_id["-2"])["firstPane"]
        tags = {name: element.tag for name, element in self.outlets(pane).items()}
        self.assertEqual(tags, {"contentView": "customView", "lb_title": "textField",
                                "lb_warnings": "textField"})

    def test_our_panes_labels_are_outlets_of_its_class(self):
        header = (ROOT / "plugin" / "Cocoa" / "PaneClass.h").read_text()
        self.assertRegex(header, r"@interface MyInstallerPane : InstallerPane\b")
        labels = re.findall(r"- \(NSTextField ?\*\)(lb_\w+);", header)
        pane = self.outlets(self.by_id["-2"])["firstPane"]
        self.assertEqual(sorted(labels + ["contentView"]), sorted(self.outlets(pane)))

    def test_the_labels_stand_in_the_panes_view(self):
        outlets = self.outlets(self.outlets(self.by_id["-2"])["firstPane"])
        inside = list(outlets["contentView"].iter("textField"))
        self.assertIn(outlets["lb_title"], inside)
        self.assertIn(outlets["lb_warnings"], inside)


def view_faults(interface):
    """What the installer would show wrongly. It hosts a pane's view from another process, where frames
    and autoresizing masks hold, Auto Layout doesn't run, and the width is given."""
    faults = []
    laid_out = [element.tag for element in interface.iter()
                if element.tag in ("constraint", "stackView", "gridView")
                or element.get("translatesAutoresizingMaskIntoConstraints") == "NO"]
    if interface.get("useAutolayout") == "YES" or laid_out:
        faults.append("Auto Layout")

    inside = {view: parent for parent in interface.iter() for view in parent.findall("subviews/*")}
    frames = {}
    for view in [*interface.findall("objects/customView"), *inside]:
        name = view.get("id")
        if view.find("autoresizingMask[@key='autoresizingMask']") is None:
            faults.append(f"{name}: no autoresizing mask")
        if view in inside and view.get("fixedFrame") != "YES":
            faults.append(f"{name}: no fixed frame")
        frame = view.find("rect[@key='frame']")
        if frame is None:
            faults.append(f"{name}: no frame")
        else:
            frames[view] = [float(frame.get(key)) for key in ("x", "y", "width", "height")]
    for view, parent in inside.items():
        if view in frames and parent in frames:
            x, y, width, height = frames[view]
            if x < 0 or y < 0 or x + width > frames[parent][2] or y + height > frames[parent][3]:
                faults.append(f"{view.get('id')}: reaches beyond {parent.get('id')}")

    for outlet in interface.iter("outlet"):
        view = interface.find(f".//*[@id='{outlet.get('destination')}']")
        if outlet.get("property") == "contentView" and view in frames and frames[view][2] != 418:
            faults.append(f"{view.get('id')}: not 418 points wide")
        # The installer gives it the keyboard even while it is hidden. Controls without text take it
        # only if the user wants that.
        if outlet.get("property") == "initialKeyView":
            cell = view.find("*[@key='cell']")
            text = cell is not None and "YES" in (cell.get("editable"), cell.get("selectable"))
            while text and view is not None:
                text = view.get("hidden") != "YES"
                view = inside.get(view)
            if not text:
                faults.append("initialKeyView: can't take the keyboard")
    return faults


class ViewTest(unittest.TestCase):
    def setUp(self):
        self.interface = xml.etree.ElementTree.parse(RESOURCES / "MyInstallerPane.xib").getroot()

    def element(self, name):
        return self.interface.find(f".//*[@id='{name}']")

    def make_initial_key_view(self, name):
        self.element("pane").find("connections").append(xml.etree.ElementTree.Element(
            "outlet", property="initialKeyView", destination=name, id="initial-key-view"))

    def test_it_is_one_that_the_installer_can_host(self):
        self.assertEqual(view_faults(self.interface), [])

    def test_auto_layout_would_be_told(self):
        self.interface.set("useAutolayout", "YES")
        self.assertEqual(view_faults(self.interface), ["Auto Layout"])
        del self.interface.attrib["useAutolayout"]
        constraints = xml.etree.ElementTree.SubElement(self.element("view"), "constraints")
        xml.etree.ElementTree.SubElement(constraints, "constraint")
        self.assertEqual(view_faults(self.interface), ["Auto Layout"])

    def test_a_view_without_a_place_would_be_told(self):
        title = self.element("title")
        del title.attrib["fixedFrame"]
        for tag in ("rect", "autoresizingMask"):
            title.remove(title.find(tag))
        self.assertEqual(view_faults(self.interface),
                         ["title: no autoresizing mask", "title: no fixed frame",
                          "title: no frame"])

    def test_a_view_that_is_cut_off_would_be_told(self):
        for key, value in (("x", "-1"), ("y", "-1"), ("width", "401"), ("height", "311")):
            with self.subTest(key=key):
                frame = self.element("warnings").find("rect")
                before = frame.get(key)
                frame.set(key, value)
                self.assertEqual(view_faults(self.interface), ["warnings: reaches beyond view"])
                frame.set(key, before)

    def test_a_content_view_of_another_width_would_be_told(self):
        self.element("view").find("rect").set("width", "420")
        self.assertEqual(view_faults(self.interface), ["view: not 418 points wide"])

    def test_an_initial_key_view_that_is_no_text_to_select_would_be_told(self):
        self.make_initial_key_view("warnings")
        self.assertEqual(view_faults(self.interface), ["initialKeyView: can't take the keyboard"])
        self.element("warnings-cell").set("selectable", "YES")
        self.assertEqual(view_faults(self.interface), [])

    def test_a_hidden_initial_key_view_would_be_told(self):
        self.make_initial_key_view("warnings")
        self.element("warnings-cell").set("selectable", "YES")
        for hidden in ("warnings", "view"):
            with self.subTest(hidden=hidden):
                self.element(hidden).set("hidden", "YES")
                self.assertEqual(view_faults(self.interface),
                                 ["initialKeyView: can't take the keyboard"])
                del self.element(hidden).attrib["hidden"]


class ExportedSymbolsTest(unittest.TestCase):
    def test_the_list_holds_all_that_is_declared_exported(self):
        declared = set()
        for header in (ROOT / "plugin").rglob("*.h"):
            text = header.read_text()
            for name in re.findall(r"^EXPORTED [^;(]*?(\w+)\s*[;(]", text, re.MULTILINE):
                declared.add("_" + name)
            for name in re.findall(r"^EXPORTED_CLASS @interface (\w+)", text, re.MULTILINE):
                declared |= {f"_OBJC_CLASS_$_{name}", f"_OBJC_METACLASS_$_{name}"}
        listed = exported_symbols()
        self.assertEqual(sorted(listed), sorted(declared))
        self.assertIn("_OBJC_CLASS_$_MyInstallerPane", listed)


if __name__ == "__main__":
    unittest.main()
