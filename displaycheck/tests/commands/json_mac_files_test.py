"""Mac files in JSON, which is YAML: json_mac_files_test.py DISPLAYCHECK EXAMPLES [unittest's options]

Each example, converted to JSON by another YAML reader, gives the same report."""

import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

import yaml

PROGRAM = pathlib.Path(sys.argv.pop(1))
EXAMPLES = pathlib.Path(sys.argv.pop(1))


def reports(files):
    finished = subprocess.run([PROGRAM, "run", "--json", *files], check=True, stdout=subprocess.PIPE,
                              text=True)
    found = [json.loads(line) for line in finished.stdout.splitlines()]
    for report in found:
        report["file"] = pathlib.Path(report["file"]).stem
    return found


class JSONMacFiles(unittest.TestCase):
    def test_give_the_same_reports(self):
        with tempfile.TemporaryDirectory() as folder:
            examples = sorted(EXAMPLES.glob("*.yaml"))
            self.assertTrue(examples)
            converted = []
            for example in examples:
                converted.append(pathlib.Path(folder) / (example.stem + ".json"))
                converted[-1].write_text(json.dumps(yaml.safe_load(example.read_text()), indent="\t"))
            for given, again in zip(reports(examples), reports(converted), strict=True):
                self.assertEqual(given, again)


if __name__ == "__main__":
    unittest.main()
