#!/usr/bin/env python3
"""Makes what follows from findings.txt: the header of the checker, and the table in its README.

  make_findings.py <findings.txt> --header <file>   writes the header
  make_findings.py <findings.txt> --readme <file>   writes the table between the two marks in it
  make_findings.py <findings.txt> --check <file>    says whether the table is as it should be
"""

import re
import sys

BEGIN, END = "<!-- findings -->", "<!-- end of findings -->"


class Key:
    """One key with its severity, its line of the table, its texts and the advice."""

    def __init__(self, name, severity, means, heading):
        self.name, self.severity, self.means, self.heading = name, severity, means, heading
        self.texts, self.advice = [], ""


def read(path):
    keys, heading, seen = [], "", set()
    with open(path, encoding="utf-8") as file:
        for number, line in enumerate(file, 1):
            line = line.rstrip("\n")
            found = re.fullmatch(r"(PRE\d{3}) (error|warning) \| (.+)", line)
            text = re.fullmatch(r"  (\w+): (.+)", line)
            if not line or line.startswith("#"):
                continue
            if line.startswith("== "):
                heading = line[3:]
            elif found:
                keys.append(Key(*found.groups(), heading))
            elif text and text[1] == "do":
                keys[-1].advice = text[2]
            elif text:
                keys[-1].texts.append(text.groups())
            else:
                sys.exit(f"{path}:{number}: neither a key nor a text: {line}")
            name = found[1] if found else text[1] if text and text[1] != "do" else None
            if name in seen:
                sys.exit(f"{path}:{number}: {name} is there twice")
            seen.update([name] if name else [])
    for key in keys:
        if not key.texts or not key.advice:
            sys.exit(f"{path}: {key.name} has no text, or nothing to do about it")
    return keys


def literal(text):
    return 'L"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'


def header(keys):
    lines = [
        "#ifndef CHECK_PACKAGE_FINDINGS_H_",
        "#define CHECK_PACKAGE_FINDINGS_H_",
        "",
        '#include "finding_kind.h"',
        "",
        "// Made from findings.txt.",
        "namespace check {",
        "",
        "inline constexpr FindingKind kKinds[] = {",
    ]
    for key in keys:
        severity = "kError" if key.severity == "error" else "kWarning"
        means = key.means.replace("`", "")
        lines.append(
            f"    {{{literal(key.name)}, Severity::{severity}, {literal(means)}, {literal(key.advice)}}},"
        )
    lines += ["};", ""]
    for index, key in enumerate(keys):
        for name, text in key.texts:
            lines.append(
                f"inline constexpr FindingText k{name} = {{&kKinds[{index}], {literal(text)}}};"
            )
    return "\n".join(lines + ["", "}  // namespace check", "", "#endif  // CHECK_PACKAGE_FINDINGS_H_", ""])


def table(keys):
    lines = [
        f"There are {len(keys)} keys. For each there is a test with a package that brings the finding, and with the "
        "nearest",
        "right package, which does not.",
        "",
        "| key | | what is wrong |",
        "|---|---|---|",
    ]
    heading = None
    for key in keys:
        if key.heading != heading:
            heading = key.heading
            lines.append(f"| | | **{heading}** |")
        lines.append(f"| `{key.name}` | {key.severity} | {key.means} |")
    return "\n".join(lines)


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    keys = read(sys.argv[1])
    wish, path = sys.argv[2], sys.argv[3]
    if wish == "--header":
        new = header(keys)
    else:
        with open(path, encoding="utf-8") as file:
            old = file.read()
        start, end = old.index(BEGIN) + len(BEGIN), old.index(END)
        new = old[:start] + "\n" + table(keys) + "\n" + old[end:]
        if wish == "--check":
            sys.exit(0 if new == old else f"{path}: the findings are not those of {sys.argv[1]}")
    with open(path, "w", encoding="utf-8") as file:
        file.write(new)


main()
