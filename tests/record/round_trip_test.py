"""Records each example Mac, makes a Mac file of the record, and runs both:
round_trip_test.py ON_MAC SCRIPT DISPLAYCHECK EXAMPLES [unittest's arguments]"""

import json
import pathlib
import re
import subprocess
import sys
import tarfile
import tempfile
import unittest

import yaml

ON_MAC, SCRIPT, DISPLAYCHECK, EXAMPLES = (
    pathlib.Path(argument).resolve() for argument in sys.argv[1:5])


def screens(mac):
    """As mappings, also those that are only a word."""
    return [screen if isinstance(screen, dict) else {"built_in": True} for screen in mac["screens"]]


def externals(mac):
    return [screen for screen in screens(mac) if not screen.get("built_in")]


def parts(mac, key):
    found = (screen.get(key) for screen in screens(mac))
    return [part for part in found if isinstance(part, dict)]


def proxies(mac):
    lists = [part.get("proxies", []) for part in parts(mac, "display_service")]
    return [proxy for proxies_ in lists for proxy in proxies_]


def buses(mac):
    return [bus for part in parts(mac, "framebuffer") for bus in part.get("buses", [])]


def has(key):
    return lambda mac: key in mac


def any_has(some, *keys):
    return lambda mac: any(key in part for part in some(mac) for key in keys)


# What no record can hold, and how an example shows that it has it.
NOT_RECORDED = [
    ("a platform call that fails", has("faults")),
    ("a tool that doesn't tell the Mac's state", has("tools")),
    ("something that comes or goes during the run",
     lambda mac: any(event.keys() & {"attach", "detach", "installer"}
                     for event in mac.get("events", []))),
    ("a screen or an EDID that comes or goes during the run",
     lambda mac: any(screen.keys() & {"appears_at", "disappears_at"} or
                     isinstance(screen.get("edid_listed"), dict) for screen in screens(mac))),
    ("a display service that comes or goes during the run",
     lambda mac: any(part.keys() & {"appears_at", "disappears_at"}
                     for part in parts(mac, "display_service"))),
    ("a framebuffer's answer to a call: none of the tools makes it",
     any_has(lambda mac: parts(mac, "framebuffer"), "asleep", "dictionary")),
    ("an I2C bus that fails when it is used", any_has(buses, "open_result", "leads_to_monitor")),
    ("an EDID that no tool prints",
     lambda mac: any(screen.get("edid_listed") is False and screen.get("display_service") == "none"
                     for screen in screens(mac))),
    ("a monitor that stands for two", lambda mac: any(
        screen.get("monitor", {}).get("vcp") == "unknown" for screen in screens(mac))),
    ("an AV service that fails when it is used", any_has(proxies, "copy_edid_result")),
]


def reason_against(mac):
    return next((reason for reason, applies in NOT_RECORDED if applies(mac)), None)


def answers_of(screen):
    """What the example says of its monitor besides the EDID."""
    monitor = screen.get("monitor", {})
    return {key: value for key, value in monitor.items() if key != "edid"}


def run_to_the_end(*command, **options):
    return subprocess.run(command, capture_output=True, text=True, timeout=120, **options)


def findings(mac_file, hide_serials):
    """The verdict, and what the report says of each display (the EDID that is paired with it, its display
    service, what reached which monitor), of cameras and of the time."""
    run = run_to_the_end(DISPLAYCHECK, "run", mac_file)
    assert run.returncode == 0, run.stderr
    verdict = re.search(r": (the pane .*)\.", run.stdout)[1]
    displays, rest = re.search(r"\nDisplays\n(.*?)\nCameras\n(.*?)\nTimeline\n", run.stdout,
                               re.DOTALL).groups()
    # Those of cameras are never kept.
    return (verdict, without_serials(displays) if hide_serials else words(displays),
            without_serials(rest))


def words(text):
    """However the lines are wrapped."""
    return " ".join(text.split())


def without_serials(text):
    """Serial numbers as the order in which they come: equal ones stay equal, and 0 is none."""
    known = ["0"]

    def hidden(match):
        if match[2] not in known:
            known.append(match[2])
        return f"{match[1]}#{known.index(match[2])}"

    return re.sub(r'(serial number |service tag )("[^"]*"|\w+)', hidden, words(text))


class RoundTrip(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def macs(self):
        """Of the examples that a record can hold, path and description."""
        for path in sorted(EXAMPLES.glob("*.yaml")):
            mac = yaml.safe_load(path.read_text())
            if reason_against(mac) is None:
                yield path, mac

    def imported(self, path, mac, *recording):
        """The Mac file that is made of an example's record."""
        archive = self.folder / f"{path.stem}.tar.gz"
        archive.unlink(missing_ok=True)
        run = run_to_the_end(ON_MAC, path, SCRIPT, "-o", archive, *recording)
        self.assertEqual(run.returncode, 0, run.stderr)
        answers = [answers_of(screen) for screen in externals(mac)]
        given = []
        if answers and all(one == {"vcp": {0xF1: 0x4000}} for one in answers):
            given = ["--answers", "0xF1=0x4000"]
        elif answers and all(one == {"answers": ["silent"]} for one in answers):
            given = ["--answers", "silent"]
        made = self.folder / f"{path.stem}.yaml"
        run = run_to_the_end(DISPLAYCHECK, "import", "--no-run", *given, "-o", made, archive)
        self.assertEqual(run.returncode, 0, run.stderr)
        self.notes = run.stdout
        text = made.read_text()
        if not given:
            # As whoever knows what the monitors answer writes it into the file
            self.assertEqual(text.count("      vcp: unknown\n"), len(answers), text)
            for one in answers:
                lines = "".join(f"      {key}: {json.dumps(value)}\n" for key, value in one.items()
                                if key != "vcp")
                if isinstance(one.get("vcp"), dict):
                    codes = ", ".join(f"{code}: {json.dumps(value)}"
                                      for code, value in one["vcp"].items())
                    lines += f"      vcp: {{{codes}}}\n"
                text = text.replace("      vcp: unknown\n", lines, 1)
            made.write_text(text)
        return made

    def test_an_imported_record_gives_the_verdict_of_the_mac_that_was_recorded(self):
        for path, mac in self.macs():
            for recording in ([], ["--keep-monitor-serials"]):
                with self.subTest(path.stem, recording=recording):
                    made = self.imported(path, mac, *recording)
                    self.assertEqual(findings(made, hide_serials=not recording),
                                     findings(path, hide_serials=not recording),
                                     made.read_text() + self.notes)

    def test_the_notes_name_every_file_of_the_record(self):
        for name in ("apple-listed-answers", "intel-listed-answers"):
            path = EXAMPLES / f"{name}.yaml"
            self.imported(path, yaml.safe_load(path.read_text()))
            with tarfile.open(self.folder / f"{name}.tar.gz") as archive:
                files = [member.name for member in archive.getmembers() if member.isfile()]
            self.assertGreater(len(files), 3)
            for file in files:
                self.assertIn(f"{name}.tar.gz:{file}", self.notes)
            # The property list tells more than the text.
            self.assertRegex(self.notes, r"Display IDs and names: from\s+\S*/system_profiler\.xml\.")

    def test_every_rule_leaves_an_example_out(self):
        macs = [yaml.safe_load(path.read_text()) for path in EXAMPLES.glob("*.yaml")]
        for reason, applies in NOT_RECORDED:
            self.assertTrue(any(applies(mac) for mac in macs), reason)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[5:]])
