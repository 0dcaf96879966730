#!/usr/bin/env python3
"""Holds a SARIF file against facts that the format's schema states: check_sarif.py <file> <facts>

A fact is one line: a path, whose "[]" stands for every element of a list, "required" or "optional", and what
stands there: object, array, string, boolean, integer or the one value of several with "/" between. Members
that no fact names are faults.
"""

import json
import sys

TYPES = {"object": dict, "array": list, "string": str, "boolean": bool, "integer": int}


def read_facts(path):
    with open(path, encoding="utf-8") as file:
        lines = [line.split() for line in file if line.strip() and not line.startswith("#")]
    return {path: (wish == "required", kind) for path, wish, kind in lines}


def check(value, path, facts, faults):
    kind = facts[path][1]
    if kind in TYPES:
        if not isinstance(value, TYPES[kind]) or (kind == "integer" and isinstance(value, bool)):
            faults.append(f"{path} is no {kind}")
            return
    elif value not in kind.split("/"):
        faults.append(f"{path} is {value!r}, not {kind}")
    if isinstance(value, list):
        for element in value:
            check(element, path + "[]", facts, faults)
    if isinstance(value, dict):
        start = path + "." if path != "$" else ""
        for name in value:
            if start + name in facts:
                check(value[name], start + name, facts, faults)
            else:
                faults.append(f"{start + name} is no member")
        for name, (is_required, _) in facts.items():
            tail = name[len(start):]
            is_member = name.startswith(start) and name != path and "." not in tail and "[" not in tail
            if is_required and is_member and tail not in value:
                faults.append(f"{name} is missing")


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        log = json.load(file)
    faults = []
    check(log, "$", read_facts(sys.argv[2]), faults)
    for run in log.get("runs", []):
        rules = [rule["id"] for rule in run["tool"]["driver"]["rules"]]
        if len(set(rules)) != len(rules):
            faults.append("two rules have one id")
        for result in run["results"]:
            if rules[result["ruleIndex"]] != result["ruleId"]:
                faults.append(f"{result['ruleId']} is not the rule at its index")
    sys.exit("\n".join(faults) or 0)


main()
