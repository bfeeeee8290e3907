"""The workflow that builds the bundle on hosted Macs."""

import json
import re
import unittest

from project import ROOT

try:
    import yaml
except ImportError:
    yaml = None


@unittest.skipIf(yaml is None, "python3 lacks yaml")
class WorkflowTest(unittest.TestCase):
    def setUp(self):
        text = (ROOT / ".github" / "workflows" / "mac.yml").read_text()
        self.jobs = yaml.safe_load(text)["jobs"]

    def commands(self, job):
        return "\n".join(step.get("run", "") for step in self.jobs[job]["steps"])

    def test_it_runs_on_macs_alone(self):
        runners = self.jobs["tests"]["strategy"]["matrix"]["runner"]
        for runner in [self.jobs["bundle"]["runs-on"], *runners]:
            self.assertTrue(runner.startswith("macos-"), runner)

    def test_its_presets_are_there(self):
        presets = json.loads((ROOT / "CMakePresets.json").read_text())
        for kind, command in (("configurePresets", "cmake"), ("buildPresets", "cmake --build"),
                              ("testPresets", "ctest")):
            names = {preset["name"] for preset in presets[kind]}
            used = re.findall(rf"(?m)^{command} --preset (\S+)",
                              self.commands("bundle") + "\n" + self.commands("tests"))
            self.assertTrue(used)
            self.assertLessEqual(set(used), names)

    def test_its_scripts_are_there(self):
        scripts = set(re.findall(r"(?m)^(scripts/\S+)", self.commands("bundle")))
        self.assertEqual(scripts, {"scripts/check-bundle", "scripts/package"})
        for script in scripts:
            self.assertTrue((ROOT / script).is_file())

    def test_what_is_uploaded_is_what_is_made(self):
        upload, = [step for step in self.jobs["bundle"]["steps"]
                   if step.get("uses", "").startswith("actions/upload-artifact@")]
        self.assertIn(f"--output {upload['with']['path']}", self.commands("bundle"))


if __name__ == "__main__":
    unittest.main()
