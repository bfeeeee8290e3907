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


def string_table(path):
    """The texts of a string table by their keys. ValueError at anything but an entry."""
    text = path.read_text(encoding="utf-8")
    entry = re.compile(r'\s*(?:/\*.*?\*/\s*)*"((?:[^"\\]|\\.)*)"\s*=\s*"((?:[^"\\]|\\.)*)"\s*;',
                       re.DOTALL)
    table = {}
    at = 0
    while match := entry.match(text, at):
        if match[1] in table:
            raise ValueError(f"{path}: {match[1]} twice")
        table[match[1]] = re.sub(r"\\(.)", r"\1", match[2])
        at = match.end()
    if re.sub(r"/\*.*?\*/", "", text[at:], flags=re.DOTALL).strip():
        raise ValueError(f"{path}: no entry at {text[at:at + 40]!r}")
    return table


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
