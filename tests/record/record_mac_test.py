"""scripts/record-mac, run on simulated Macs: record_mac_test.py ON_MAC SCRIPT [unittest's arguments]"""

import os
import pathlib
import plistlib
import re
import shutil
import signal
import subprocess
import sys
import tarfile
import tempfile
import time
import unittest

ON_MAC, SCRIPT = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
HEADER = "00ffffffffffff00"

# Two monitors of one model with serial numbers, one of another without, and a USB device.
MONITORS = """
screens:
  - built-in
  - monitor:
      edid: {name: VORN R2726Q, product: 0x2726, serial: 0x12345678, serial_text: VK0001X77}
  - monitor:
      edid: {name: VORN R2726Q, product: 0x2726, serial: 0xCD646D7B, serial_text: VK0001X78}
  - monitor:
      edid: {name: VORN J2424HV, product: 0x2424}
usb:
  - {node_name: Vorn Camera, location_id: 0x14100000, serial: CAM20770042}
"""
INTEL = "chip: intel" + MONITORS
APPLE = "chip: apple" + MONITORS

# Values of the Mac of registry() that no record may hold.
PRIVATE = [
    "C02VRN12ABCD", "C02VRN12ABCDEF34G", "8B149428-835D-4278-BE10-A8A1E52DD016",
    "7061B691-917B-4458-8519-5113373CCA04", "7061b691917b445885195113373cca04", "VRNDISK0099881",
    "CAM20770042", "a4:83:e7:11:22:33", "a483e7112233", "A4-83-E7-11-22-33", "vera.muster",
    "Vera Muster", "Veras-Mac", "1817510182789286", "Vorns WLAN", "566f726e7320574c414e",
    "VK0001X77", "564b3030303158373737", "78563412", "305419896", "3445910907", "12345678",
    "18446744072860495227", "cd646d7b", "7b6d64cd", "4242424243",
]


def with_checksum(block):
    return bytes(block[:127]) + bytes([-sum(block[:127]) % 256])


def edid(serial, text="", extensions=()):
    block = bytearray(128)
    block[:8] = bytes.fromhex(HEADER)
    block[8:18] = bytes.fromhex("5a4e2627") + serial.to_bytes(4, "little") + bytes([1, 31])
    block[18:20] = b"\x01\x04"
    block[54:72] = b"\0\0\0\xfc\0" + b"VORN R2726Q\n "
    if text:
        block[72:90] = b"\0\0\0\xff\0" + (text + "\n" if len(text) < 13 else text).ljust(13).encode()
    block[126] = len(extensions)
    return with_checksum(block) + b"".join(extensions)


def descriptors_extension(text):
    block = bytearray(128)
    block[:4] = b"\x02\x03\x04\x00"
    block[4:22] = b"\0\0\0\xff\0" + (text + "\n").ljust(13).encode()
    return with_checksum(block)


def display_id_extension(serial, text):
    blocks = b"\x00\x00\x0c" + b"VRN\x26\x27" + serial.to_bytes(4, "little") + b"\x01\x1f\x00"
    blocks += b"\x0a\x00" + bytes([len(text)]) + text.encode()
    section = b"\x12" + bytes([len(blocks)]) + b"\0\0" + blocks
    section += bytes([-sum(section) % 256])
    return with_checksum((b"\x70" + section).ljust(128, b"\0"))


FIRST = edid(0x12345678, "VK0001X77", [descriptors_extension("VK0001X77"),
                                       display_id_extension(0x12345678, "VK0001X77")])
SECOND = edid(0xCD646D7B, "4242424243")
THIRD = edid(0)


def registry():
    """A registry as the real tool prints it, with all kinds of private values."""
    return f"""+-o Root  <class IORegistryEntry, id 0x100000100, retain 20>
  | {{
  |   "OS Build Version" = "18E226"
  |   "IOConsoleUsers" = ({{"kCGSSessionUserNameKey"="vera.muster","kCGSessionLongUserNameKey"="Vera Muster","kCGSSessionUserIDKey"=501}})
  |   "IOPlanes" = {{"IOPower"="IOPower"}}
  | }}
  | 
  +-o Macmini8,1  <class IOPlatformExpertDevice, id 0x100000114, registered, matched, active, busy 0 (4891 ms), retain 45>
    | {{
    |   "compatible" = <"Macmini8,1","Vorn">
    |   "serial-number" = <414243440000000000000000000043303256524e3132>
    |   "IOPlatformSerialNumber" = "C02VRN12ABCD"
    |   "mlb-serial-number" = <"C02VRN12ABCDEF34G">
    |   "IOPlatformUUID" = "8B149428-835D-4278-BE10-A8A1E52DD016"
    |   "no-uuid" = "00000000-0000-0000-0000-000000000000"
    |   "Description" = "27" monitor of Vera Muster","IOName" = "x"
    |   "kUSBDeviceECID" = 1817510182789286
    | }}
    | 
    +-o en0@1  <class IOEthernetInterface, id 0x100000115, registered, matched, active, busy 0 (0 ms), retain 8>
    |   {{
    |     "IOMACAddress" = <a483e7112233>
    |     "Location" = "/Users/vera.muster/Veras-Mac of vera.muster"
    |     "ActiveControllerInfo" = {{"ActiveControllerAddress"=<a483e7112233>,"Count"=4}}
    |     "bluetoothInfo" = <7b00ac05a483e7112233>
    |     "Address" = "A4-83-E7-11-22-33"
    |     "Broadcast" = "FF:FF:FF:FF:FF:FF"
    |     "IO80211SSID" = "Vorns WLAN"
    |     "current-network" = <566f726e7320574c414e0102>
    |   }}
    |   
    +-o Vorn Disk C02VRN12ABCD@2  <class IOMedia, id 0x100000116, registered, matched, active, busy 0 (0 ms), retain 8>
    |   {{
    |     "UUID" = "7061B691-917B-4458-8519-5113373CCA04"
    |     "ThunderboltUUID" = <7061b691917b445885195113373cca04>
    |     "Path" = "/Volumes/7061b691-917b-4458-8519-5113373cca04"
    |     "Device Characteristics" = {{"Serial Number"="VRNDISK0099881      ","Medium Type"="Solid State"}}
    |     "Content" = "7C3457EF-0000-11AA-AA11-00306543ECAC"
    |   }}
    |   
    +-o Vorn Camera@14100000  <class IOUSBHostDevice, id 0x100000117, registered, matched, active, busy 0 (0 ms), retain 8>
    |   {{
    |     "iSerialNumber" = 3
    |     "USB Serial Number" = "CAM20770042"
    |     "kUSBSerialNumberString" = "CAM20770042"
    |     "Multitouch Serial Number" = "None"
    |     "Serials" = ("CAM20770042",1)
    |     "IOUserClientCreator" = "pid 157, WindowServer"
    |   }}
    |   
    +-o AppleDisplay  <class AppleDisplay, id 0x100000118, registered, matched, active, busy 0 (0 ms), retain 8>
    |   {{
    |     "IODisplayEDID" = <{FIRST.hex()}>
    |     "DisplaySerialNumber" = 305419896
    |     "DisplaySerialString" = "VK0001X77"
    |     "DisplayProductID" = 10022
    |     "IODisplayGUID" = 436849163854938112
    |   }}
    |   
    +-o AppleDisplay  <class AppleDisplay, id 0x100000119, registered, matched, active, busy 0 (0 ms), retain 8>
    |   {{
    |     "IODisplayEDID" = <{SECOND.hex()}>
    |     "DisplaySerialNumber" = 18446744072860495227
    |     "DisplayAttributes" = {{"ProductAttributes"={{"SerialNumber"=3445910907,"AlphanumericSerialNumber"="4242424243","ProductID"=10022}}}}
    |     "EDID UUID" = "5A4E2627-0000-0000-011F-0104B53C2278"
    |     "IOMFBUUID" = "5A4E2627-0000-0000-011F-0104B53C2278"
    |   }}
    |   
    +-o AppleDisplay  <class AppleDisplay, id 0x10000011a, registered, matched, active, busy 0 (0 ms), retain 8>
        {{
          "IODisplayEDID" = <{THIRD.hex()}>
          "DisplaySerialNumber" = 0
        }}
        
"""


def value(text, key, nth=0):
    """What stands behind a key in the registry's text."""
    return re.findall(re.escape(f'"{key}"') + r' ?= ?("[^"]*"|<[^>]*>|[0-9]+)', text)[nth].strip('"<>')


def edids(text):
    return [bytes.fromhex(found) for found in re.findall(f"<({HEADER}[0-9a-f]*)>", text)]


def serial_of(block):
    return int.from_bytes(block[12:16], "little")


def serial_text_of(block):
    fields = [block[at + 5:at + 18] for at in range(54, 126, 18) if block[at:at + 4] == b"\0\0\0\xff"]
    return fields[0].decode().split("\n")[0].rstrip() if fields else None


class RecordTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name).resolve()
        for name in ("bin", "temporary", "out"):
            (self.folder / name).mkdir()
        self.tool("id", 'case $1 in -un) echo vera.muster ;; -F) echo "Vera Muster" ;; esac')
        self.tool("hostname", "echo Veras-Mac.local")
        self.tool("sw_vers", 'echo "ProductVersion: 10.14.4"')
        self.archive = self.folder / "out" / "record.tar.gz"

    def tool(self, name, script):
        path = self.folder / "bin" / name
        path.write_text(f"#!/bin/sh\n{script}\n")
        path.chmod(0o755)

    def mac(self, description):
        path = self.folder / "mac.yaml"
        path.write_text(description)
        return path

    def mac_with_registry(self):
        (self.folder / "ioreg.txt").write_text(registry())
        return self.mac("screens: [built-in]\ntools:\n  ioreg: {prints_file: ioreg.txt}\n")

    def command(self, mac, *arguments):
        return [ON_MAC, mac, SCRIPT, *arguments]

    def environment(self):
        return os.environ | {"PATH": f"{self.folder / 'bin'}:{os.environ['PATH']}",
                             "TMPDIR": str(self.folder / "temporary")}

    def run_script(self, mac, *arguments, **options):
        return subprocess.run(self.command(mac, *arguments), cwd=self.folder / "out",
                              env=options.pop("environment", self.environment()),
                              capture_output=True, text=True, timeout=120, **options)

    def record(self, mac, *arguments):
        """Records a Mac; the record's files by their names."""
        self.archive.unlink(missing_ok=True)
        run = self.run_script(mac, "-o", self.archive, *arguments)
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertEqual(run.stderr, "")
        self.assert_leaves_nothing()
        with tarfile.open(self.archive) as archive:
            return {pathlib.Path(member.name).name: archive.extractfile(member).read().decode()
                    for member in archive.getmembers() if member.isfile()}

    def assert_leaves_nothing(self):
        self.assertEqual(list((self.folder / "temporary").glob("record-mac*")), [])
        self.assertEqual(list((self.folder / "out").glob(".record*")), [])

    def assert_fails(self, run, message, status=1):
        self.assertIn(message, run.stderr)
        self.assertEqual(run.returncode, status)
        self.assert_leaves_nothing()
        self.assertFalse(self.archive.exists())


    def wait_until(self, condition):
        deadline = time.monotonic() + 20
        while not condition():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.02)


class Contents(RecordTest):
    def test_an_apple_silicon_macs_record_holds_what_its_tools_print(self):
        record = self.record(self.mac(APPLE))
        self.assertEqual(sorted(record), ["about.txt", "afktool.txt", "ioreg.txt", "sw_vers.txt",
                                          "system_profiler.txt", "system_profiler.xml"])
        self.assertIn("AppleCLCD2", record["ioreg.txt"])
        self.assertIn('"ProductName"="VORN R2726Q"', record["ioreg.txt"])
        self.assertIn("Chipset Model: Apple M2 Pro", record["system_profiler.txt"])
        self.assertEqual(record["sw_vers.txt"], "ProductVersion: 10.14.4\n")
        self.assertEqual(len(edids(record["afktool.txt"])), 3)
        profile = plistlib.loads(record["system_profiler.xml"].encode())
        self.assertEqual([screen["_name"] for screen in profile[0]["_items"][0]["spdisplays_ndrvs"]],
                         ["Built-in Retina Display", "VORN R2726Q (1)", "VORN R2726Q (2)",
                          "VORN J2424HV"])

    def test_an_intel_mac_has_no_firmware_tool_which_is_no_error(self):
        record = self.record(self.mac(INTEL))
        self.assertNotIn("afktool.txt", record)
        self.assertIn("(no afktool.txt)", record["about.txt"])
        # The built-in panel's is the fourth.
        self.assertEqual(len(edids(record["ioreg.txt"])), 4)

    def test_nothing_but_private_values_changes(self):
        mac = self.mac_with_registry()
        kept = self.record(mac)["ioreg.txt"].splitlines()
        original = registry().splitlines()
        self.assertEqual(len(kept), len(original))
        changed = {re.search(r'"([^"]*)" =|\+-o ([^@]*)', line)[0]
                   for line, other in zip(original, kept) if line != other}
        for key in ("OS Build Version", "IOPlanes", "compatible", "no-uuid", "Broadcast", "Content",
                    "iSerialNumber", "Multitouch Serial Number", "IOUserClientCreator",
                    "DisplayProductID", "IODisplayGUID", "EDID UUID", "IOMFBUUID"):
            self.assertNotIn(f'"{key}" =', changed)
        for key in ("IOPlatformSerialNumber", "serial-number", "UUID", "IOMACAddress"):
            self.assertIn(f'"{key}" =', changed)

    def test_the_program_says_what_the_archive_holds(self):
        run = self.run_script(self.mac(APPLE))
        self.assertRegex(run.stdout, r"Recorded in mac-record-\d{8}-\d{6}\.tar\.gz\.")
        self.assertIn("ioreg.txt ", run.stdout)
        self.assertIn("also the serial numbers of monitors", run.stdout)
        self.assertEqual(len(list((self.folder / "out").glob("mac-record-*.tar.gz"))), 1)


class Replacement(RecordTest):
    def test_no_private_value_is_left(self):
        text = "\n".join(self.record(self.mac_with_registry()).values()).lower()
        for private in PRIVATE:
            self.assertNotIn(private.lower(), text)

    def test_equal_values_stay_equal_wherever_they_stand(self):
        text = self.record(self.mac_with_registry())["ioreg.txt"]
        serial = value(text, "IOPlatformSerialNumber")
        self.assertEqual(len(serial), len("C02VRN12ABCD"))
        self.assertIn(f"+-o Vorn Disk {serial}@2", text)
        self.assertEqual(value(text, "USB Serial Number"), value(text, "kUSBSerialNumberString"))
        self.assertIn(f'"Serials" = ("{value(text, "USB Serial Number")}",1)', text)
        disk = value(text, "UUID")
        self.assertEqual(value(text, "ThunderboltUUID"), disk.replace("-", "").lower())
        self.assertEqual(value(text, "Path"), f"/Volumes/{disk.lower()}")
        address = value(text, "IOMACAddress")
        self.assertEqual(value(text, "ActiveControllerAddress"), address)
        self.assertEqual(value(text, "bluetoothInfo"), "7b00ac05" + address)
        self.assertEqual(value(text, "Address").replace("-", "").lower(), address)
        self.assertEqual(value(text, "kCGSSessionUserNameKey"), "user1")
        self.assertEqual(value(text, "Location"), "/Users/user1/host2 of user1")

    def test_different_values_stay_different(self):
        text = self.record(self.mac_with_registry())["ioreg.txt"]
        self.assertNotEqual(value(text, "UUID"), value(text, "IOPlatformUUID"))
        self.assertEqual(len({value(text, key) for key in (
            "IOPlatformSerialNumber", "mlb-serial-number", "Serial Number", "USB Serial Number")}), 4)

    def test_monitors_keep_their_pairing_and_their_checksums(self):
        text = self.record(self.mac_with_registry())["ioreg.txt"]
        first, second, third = edids(text)
        for new, old in ((first, FIRST), (second, SECOND), (third, THIRD)):
            self.assertEqual(len(new), len(old))
            for at in range(0, len(new), 128):
                self.assertEqual(sum(new[at:at + 128]) % 256, 0)
            self.assertEqual(new[16:72], old[16:72])
        self.assertEqual(third, THIRD)
        self.assertEqual(value(text, "DisplaySerialNumber"), str(serial_of(first)))
        self.assertEqual(value(text, "DisplaySerialString"), serial_text_of(first))
        self.assertEqual(value(text, "DisplaySerialNumber", 2), "0")
        # With its highest bit, a number keeps its sign.
        self.assertGreaterEqual(serial_of(second), 1 << 31)
        self.assertEqual(int(value(text, "DisplaySerialNumber", 1)), serial_of(second) + (0xFFFFFFFF << 32))
        self.assertEqual(int(value(text, "SerialNumber")), serial_of(second))
        self.assertEqual(value(text, "AlphanumericSerialNumber"), serial_text_of(second))
        self.assertNotEqual(serial_of(first), serial_of(second))

    def test_serial_numbers_in_extensions_are_the_same(self):
        first = edids(self.record(self.mac_with_registry())["ioreg.txt"])[0]
        text = serial_text_of(first).encode()
        self.assertEqual(first[128 + 9:128 + 9 + len(text)], text)
        display_id = first[256:]
        self.assertEqual(display_id[13:17], first[12:16])
        self.assertIn(text, display_id)
        self.assertEqual(sum(display_id[1:6 + display_id[2]]) % 256, 0)

    def test_a_wrong_checksum_stays_wrong(self):
        wrong = bytearray(SECOND)
        wrong[127] = (wrong[127] + 5) % 256
        (self.folder / "ioreg.txt").write_text(f'  "IODisplayEDID" = <{wrong.hex()}>\n')
        mac = self.mac("screens: []\ntools:\n  ioreg: {prints_file: ioreg.txt}\n")
        new = edids(self.record(mac)["ioreg.txt"])[0]
        self.assertEqual(sum(new) % 256, 5)
        self.assertNotEqual(serial_of(new), serial_of(SECOND))

    def test_incomplete_and_masked_edids_lose_their_serial_numbers_too(self):
        short = FIRST.hex()[:180]
        (self.folder / "ioreg.txt").write_text(
            f'  "IODisplayEDID" = <{short}>\n  "IODisplayEDID" = <{FIRST.hex()[:20]}>\n'
            f'  "IODisplayEDID" = <{short.upper()}>\n  "IODisplayEDID" = <{short}**********00>\n')
        text = self.record(self.mac("screens: []\ntools:\n  ioreg: {prints_file: ioreg.txt}\n"))["ioreg.txt"]
        self.assertNotIn("78563412", text)
        self.assertNotIn("564b3030303158", text.lower())
        self.assertEqual([len(line) for line in text.splitlines()],
                         [22 + size for size in (180, 20, 180, 192)])

    def test_all_tools_say_the_same_of_a_monitor(self):
        record = self.record(self.mac(APPLE))
        numbers = [serial_of(each) for each in edids(record["afktool.txt"])]
        texts = [serial_text_of(each) for each in edids(record["afktool.txt"])]
        self.assertEqual(numbers, [1, (1 << 31) + 2, 0])
        attributes = re.findall(r'"SerialNumber"=(\d+)(?:,"AlphanumericSerialNumber"="([^"]*)")?',
                                record["ioreg.txt"])
        self.assertEqual([(int(number), text or None) for number, text in attributes],
                         list(zip(numbers, texts)))
        screens = plistlib.loads(record["system_profiler.xml"].encode())[0]["_items"][0][
            "spdisplays_ndrvs"][1:]
        self.assertEqual([int(screen["_spdisplays_display-serial-number"], 16) for screen in screens],
                         numbers)
        self.assertEqual([screen.get("spdisplays_display-serial-number") for screen in screens], texts)

    def test_monitors_keep_their_serial_numbers_on_request(self):
        for mac in (self.mac(APPLE), self.mac_with_registry()):
            record = self.record(mac, "--keep-monitor-serials")
            text = "\n".join(record.values())
            self.assertIn("VK0001X77".encode().hex(), text)
            self.assertIn("7b6d64cd", text)
            self.assertIn("305419896", text)
            self.assertNotIn("CAM20770042", text)
            self.assertIn("Kept as asked: the serial numbers of monitors.", record["about.txt"])
        self.assertEqual(edids(record["ioreg.txt"]), [FIRST, SECOND, THIRD])
        self.assertNotIn("C02VRN12ABCD", record["ioreg.txt"])

    def test_the_profilers_own_forms_of_a_monitors_serial_number(self):
        """Real profilers also print an EDID, and the serial number for people."""
        (self.folder / "profile.xml").write_text(
            "<array>\n<key>_spdisplays_display-serial-number</key>\n<string>cd646d7b</string>\n"
            "<key>_spdisplays_edid</key>\n"
            f"<string>0x{SECOND.hex().upper()}</string>\n"
            "<key>spdisplays_display-serial-number</key>\n<string>4242424243</string>\n"
            "<key>_spdisplays_display-week</key>\n<string>31</string>\n</array>\n")
        (self.folder / "profile.txt").write_text(
            "    Display of Vera Muster:\n      Display Serial Number: 4242424243\n      Week: 31\n")
        mac = self.mac("screens: []\ntools:\n  system_profiler:\n"
                       "    - {prints_file: profile.xml}\n    - {prints_file: profile.txt}\n")
        record = self.record(mac)
        xml = record["system_profiler.xml"]
        new = bytes.fromhex(re.search("0x([0-9A-F]+)", xml)[1])
        self.assertEqual(sum(new) % 256, 0)
        self.assertIn(f"<string>{serial_of(new):x}</string>", xml)
        self.assertIn(f"<string>{serial_text_of(new)}</string>", xml)
        self.assertIn("<string>31</string>", xml)
        self.assertEqual(record["system_profiler.txt"],
                         f"    Display of user2:\n      Display Serial Number: {serial_text_of(new)}\n"
                         "      Week: 31\n")
        self.assertNotIn("4242424243", "".join(record.values()))
        kept = self.record(mac, "--keep-monitor-serials")
        self.assertEqual(kept["system_profiler.xml"], (self.folder / "profile.xml").read_text())

    def test_names_that_say_nothing_of_anybody_stay(self):
        self.tool("id", "echo root")
        self.tool("hostname", "echo localhost")
        (self.folder / "ioreg.txt").write_text('  "a" = "root of localhost"\n')
        mac = self.mac("screens: []\ntools:\n  ioreg: {prints_file: ioreg.txt}\n")
        self.assertEqual(self.record(mac)["ioreg.txt"], '  "a" = "root of localhost"\n')

    def test_a_name_is_replaced_as_a_word_and_not_in_keys(self):
        self.tool("id", "echo vera")
        (self.folder / "ioreg.txt").write_text(
            '  "vera" = {"vera"="Vera","b"="/Users/vera/verandah","c"="aVera vera-vera"}\n')
        mac = self.mac("screens: []\ntools:\n  ioreg: {prints_file: ioreg.txt}\n")
        self.assertEqual(
            self.record(mac)["ioreg.txt"],
            '  "vera" = {"vera"="user1","b"="/Users/user1/verandah","c"="aVera user1-user1"}\n')

    def test_two_records_replace_alike(self):
        for mac in (self.mac(APPLE), self.mac_with_registry()):
            first, second = self.record(mac), self.record(mac)
            del first["about.txt"], second["about.txt"]
            self.assertEqual(first, second)

    def test_every_awk_gives_the_same_record(self):
        mac = self.mac_with_registry()
        del (expected := self.record(mac))["about.txt"]
        for awk in ("mawk", "gawk --posix", "gawk --traditional", "busybox awk", "original-awk"):
            if not shutil.which(awk.split()[0]):
                continue
            with self.subTest(awk):
                self.tool("awk", f'echo {awk} >>"{self.folder}/used"\nexec {awk} "$@"')
                del (record := self.record(mac))["about.txt"]
                self.assertEqual(record, expected)
                self.assertIn(awk, (self.folder / "used").read_text())


class Failures(RecordTest):
    def test_wrong_arguments(self):
        mac = self.mac(INTEL)
        for arguments in (["--keep"], ["-o"], ["-o", ""], ["file"]):
            self.assert_fails(self.run_script(mac, *arguments), "see --help", status=2)

    def test_help(self):
        run = self.run_script(self.mac(INTEL), "--help")
        self.assertEqual(run.returncode, 0)
        self.assertIn("Usage: record-mac", run.stdout)

    def test_an_archive_that_exists_is_not_overwritten(self):
        self.archive.write_text("mine")
        run = self.run_script(self.mac(INTEL), "-o", self.archive)
        self.assertIn("exists already", run.stderr)
        self.assertEqual(run.returncode, 2)
        self.assertEqual(self.archive.read_text(), "mine")

    def test_elsewhere_than_on_a_mac(self):
        environment = self.environment()
        run = subprocess.run([SCRIPT, "-o", self.archive], env=environment, capture_output=True,
                             text=True, timeout=60)
        self.assert_fails(run, "run this on a Mac")

    def test_a_registry_tool_that_fails(self):
        mac = self.mac("screens: []\ntools:\n  ioreg: {prints: '', status: 1}\n")
        self.assert_fails(self.run_script(mac, "-o", self.archive), "ioreg -l -w0 failed")

    def test_other_tools_that_fail_are_left_out(self):
        self.tool("sw_vers", "exit 1")
        record = self.record(self.mac(INTEL + "tools:\n  system_profiler: {status: 1}\n"))
        self.assertEqual(sorted(record), ["about.txt", "ioreg.txt"])

    def test_a_folder_that_is_missing_or_takes_no_files(self):
        for folder in (self.folder / "none", pathlib.Path("/proc")):
            run = self.run_script(self.mac(INTEL), "-o", folder / "record.tar.gz")
            self.assert_fails(run, f"can't write into the folder {folder}")

    def test_no_folder_for_temporary_files(self):
        run = subprocess.run(
            [ON_MAC, self.mac(INTEL), "env", "TMPDIR=/none", SCRIPT, "-o", self.archive],
            env=self.environment(), capture_output=True, text=True, timeout=60)
        self.assert_fails(run, "can't make a folder for temporary files in /none")

    def test_a_full_disk(self):
        """Here: files that may not grow beyond a size. What is written last fails with the larger."""
        mac = self.mac(APPLE)
        for size in (0, 1000, 20_000, 100_000, 400_000):
            with self.subTest(size):
                limited = f'ulimit -f {size // 512}; exec "$0" "$@"'
                run = subprocess.run(
                    [ON_MAC, mac, "sh", "-c", limited, SCRIPT, "-o", self.archive],
                    env=self.environment(), capture_output=True, text=True, timeout=60,
                    restore_signals=False)
                self.assert_fails(run, "disk")

    def test_an_archive_that_does_not_fit(self):
        self.tool("gzip", "cat >/dev/full")
        run = self.run_script(self.mac(INTEL), "-o", self.archive)
        self.assert_fails(run, "is the disk full?")
        self.tool("gzip", 'exec "$(command -v -p gzip)" | head -c 100')
        run = self.run_script(self.mac(INTEL), "-o", self.archive)
        self.assert_fails(run, "is the disk full?")

    def test_an_interruption(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            self.tool("sw_vers", f"touch '{self.folder}/reached'; sleep 5")
            process = subprocess.Popen(
                self.command(self.mac(INTEL), "-o", self.archive), env=self.environment(),
                start_new_session=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
            self.wait_until(lambda: (self.folder / "reached").exists())
            self.assertNotEqual(list((self.folder / "temporary").glob("record-mac*")), [])
            os.killpg(process.pid, number)
            process.communicate(timeout=60)
            self.wait_until(lambda: not list((self.folder / "temporary").glob("record-mac*")))
            self.assert_leaves_nothing()
            self.assertFalse(self.archive.exists())
            (self.folder / "reached").unlink()


class Script(unittest.TestCase):
    def test_it_is_clean(self):
        self.assertTrue(os.access(SCRIPT, os.X_OK))
        for checker in (["sh", "-n"], ["dash", "-n"], ["shellcheck"]):
            if shutil.which(checker[0]):
                run = subprocess.run([*checker, SCRIPT], capture_output=True, text=True)
                self.assertEqual(run.returncode, 0, run.stdout + run.stderr)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
