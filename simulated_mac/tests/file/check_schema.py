"""Says whether each Mac file fits a JSON Schema: check_schema.py SCHEMA FILE...

Prints a line "fits" or "differs: why" for each file. Exits with 3 where a module is missing.
"""

import json
import re
import sys

try:
    import jsonschema
    import yaml
except ImportError as error:
    print(error, file=sys.stderr)
    sys.exit(3)


class CoreLoader(yaml.SafeLoader):
    """Reads YAML as editors do: YAML 1.2's core schema, and keys as they are written."""

    yaml_implicit_resolvers = {}

    def construct_mapping(self, node, deep=False):
        return {key.value: self.construct_object(value, deep=True) for key, value in node.value}

    def construct_int(self, node):
        text = node.value
        return int(text, 16) if text.startswith("0x") else int(text, 10)


def resolve(kind, pattern):
    expression = re.compile(f"^(?:{pattern})$")
    CoreLoader.add_implicit_resolver("tag:yaml.org,2002:" + kind, expression, None)


resolve("null", r"~|null|Null|NULL|")
resolve("bool", r"true|True|TRUE|false|False|FALSE")
resolve("int", r"[-+]?[0-9]+|0x[0-9a-fA-F]+")
resolve("float", r"[-+]?(?:\.[0-9]+|[0-9]+(?:\.[0-9]*)?)(?:[eE][-+]?[0-9]+)?|[-+]?\.inf|\.nan")
CoreLoader.add_constructor("tag:yaml.org,2002:map", CoreLoader.construct_mapping)
CoreLoader.add_constructor("tag:yaml.org,2002:int", CoreLoader.construct_int)


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        schema = json.load(file)
    jsonschema.Draft7Validator.check_schema(schema)
    validator = jsonschema.Draft7Validator(schema)
    for path in sys.argv[2:]:
        with open(path, encoding="utf-8") as file:
            document = yaml.load(file, Loader=CoreLoader)
        error = jsonschema.exceptions.best_match(validator.iter_errors(document))
        print("fits" if error is None else "differs: " + error.message.splitlines()[0])


if __name__ == "__main__":
    main()
