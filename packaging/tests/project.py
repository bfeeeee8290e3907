"""What the tests of this folder know of the project."""

import json
import pathlib
import plistlib
import re

ROOT = pathlib.Path(__file__).resolve().parents[2]
RESOURCES = ROOT / "plugin" / "Resources"
PRIVATE_FUNCTIONS = [
    "_CoreDisplay_DisplayCreateInfoDictionary",
    "_IOAVServiceCopyEDID",
    "_IOAVServiceCreateWithService",
    "_IOAVServiceReadI2C",
    "_IOAVServiceWriteI2C",
]


def property_list(path):
    with open(path, "rb") as file:
        return plistlib.load(file)


def project_version():
    text = (ROOT / "CMakeLists.txt").read_text()
    return re.search(r"^project\(.* VERSION ([0-9.]+)", text, re.MULTILINE).group(1)


def preset_variables(name):
    """The cache variables of a configure preset, those that it inherits included."""
    presets = json.loads((ROOT / "CMakePresets.json").read_text())["configurePresets"]
    preset = {each["name"]: each for each in presets}[name]
    inherited = preset_variables(preset["inherits"]) if "inherits" in preset else {}
    return inherited | preset.get("cacheVariables", {})


def exported_symbols():
    lines = (ROOT / "plugin" / "exported-symbols.txt").read_text().splitlines()
    return [line for line in lines if not line.startswith("#")]
