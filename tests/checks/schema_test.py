#!/usr/bin/python3
"""The schema of alert descriptions beside the checker: schema_test.py PROGRAM SOURCE-FOLDER

With Debian's validator, hence its interpreter.
"""
import json
import re
import subprocess
import sys
from pathlib import Path

import jsonschema

program, source = sys.argv[1], Path(sys.argv[2])
faults = []


def expect(what, found, expected):
    if found != expected:
        faults.append(f"{what}: {found!r} instead of {expected!r}")


def check(*arguments, text=""):
    return subprocess.run([program, "check", "alert", *map(str, arguments)], input=text, text=True,
                          capture_output=True, timeout=60)


def refuse(constant):
    raise ValueError(constant)


def is_valid(text):
    try:
        return validator.is_valid(json.loads(text, parse_constant=refuse))
    except ValueError:
        return False


schema = json.loads((source / "schema/alert.schema.json").read_text())
jsonschema.Draft202012Validator.check_schema(schema)
validator = jsonschema.Draft202012Validator(schema)

# What the schema says too is marked in the documentation.
documented = re.findall(r"^\| (A\d+) \| `([a-z-]+)` \| (\w+) \| (yes)? ?\| (.*) \|$",
                        (source / "docs/alerts.md").read_text(), re.M)
of_schema = {number for number, _, _, yes, _ in documented if yes}
run = json.loads(check("--sarif", "-", text="{}").stdout)["runs"][0]
expect("rules in docs/alerts.md", [(number, name, level, text.replace("\\|", "|").replace("\\*", "*"))
                                   for number, name, level, _, text in documented],
       [(rule["id"], rule["name"], rule["defaultConfiguration"]["level"], rule["shortDescription"]["text"])
        for rule in run["tool"]["driver"]["rules"]])
expect("levels of SARIF", {result["level"] for result in run["results"]}, {"error", "note"})

rows = re.findall(r"^== (.*)\nschema (\w+)(: .*)?\nbroker .*\nchecker(.*)\n((?:(?!== ).*\n)*)",
                  (source / "tests/checks/descriptions.txt").read_text(), re.M)
for what, verdict, though, findings, text in rows:
    expect(what, is_valid(text), verdict == "valid")
    says = bool(of_schema & set(re.findall(r"A\d+", findings)))
    expect(f"{what}: schema and checker agree", says == (verdict == "invalid"), not though)
expect("rows", len(rows) >= 60, True)

for file in sorted((source / "examples").glob("*.json")):
    text = file.read_text()
    expect(f"{file.name} is valid", is_valid(text), True)
    expect(f"{file.name} is as it should be", check(file).returncode, 0)
    expect(f"{file.name}: the schema is there", (file.parent / json.loads(text)["$schema"]).resolve(),
           source.resolve() / "schema/alert.schema.json")

# One file of several that cannot be read keeps no other from being checked.
said = check("--json", source / "absent.json", "-", text='{"id":\n"a"}')
expect("exit code of a file that is not there", said.returncode, 2)
expect("member of the first line", json.loads(said.stdout.splitlines()[0])["pointer"], "/priority")
expect("exit code of a warning", check("-", text=rows[0][4].replace('"id"', '"x":1,"id"')).returncode, 1)

print("\n".join(faults), file=sys.stderr)
sys.exit(1 if faults else 0)
