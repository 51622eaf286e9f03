#!/usr/bin/env python3
"""Picks the mutation check's mutants from the library sources.

Prints tab-separated lines `ID FOLDER FILE ORIGINAL REPLACEMENT KIND` for
scripts/mutate.sh. The choice depends only on the seed and the sources, so a
list can be regenerated and compared; the committed scripts/mutants.txt is
this output after dropping mutants that do not compile or cannot change
behaviour.

    scripts/mutants_generate.py --seed 19 [--per-folder-scale 1.0] > list
"""
import argparse
import collections
import pathlib
import random
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent

# Folder -> (source globs, how many mutants). Larger folders get more.
FOLDERS = {
    "errors": (["qv_services/errors/*.cpp", "qv_services/errors/*.hpp"], 18),
    "feature": (["qv_services/feature/*.cpp", "qv_services/feature/detail/*"], 9),
    "numeric": (["qv_services/numeric/*.cpp", "qv_services/numeric/detail/*"], 10),
    "strings": (["qv_services/strings/*.cpp", "qv_services/strings/*.hpp"], 14),
    "suppressor": (["qv_services/suppressor/*.cpp", "qv_services/suppressor/*.hpp",
                    "qv_services/suppressor/detail/*"], 9),
    "util": (["qv_services/util/*.cpp", "qv_services/util/*.hpp"], 7),
    "tcos": (["qv_services/tcos/deferredtcosclass.cpp"], 3),
    "host": (["host/*.cpp", "host/*.hpp"], 11),
    "module": (["qv_services/module.cpp"], 3),
}
# Files being rewritten elsewhere at the same time get no mutants.
EXCLUDED = {
    "qv_services/errors/json_text.cpp",
    "qv_services/errors/json_form.cpp",
    "qv_services/errors/sarif_form.cpp",
}
KINDS = ["relational", "arithmetic", "constant", "condition", "statement", "return"]

RELATIONAL = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
ARITHMETIC = {"+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "+=": "-=", "-=": "+="}
STATEMENT_START = re.compile(r"^(?:[A-Za-z_][\w:]*(?:\(|\.|->|\[| = | \+= | -= | \|= |\+\+|--)|\+\+|--|\w+\s*<<)")
DECLARATION = re.compile(r"^(?:const |static |auto |[A-Za-z_][\w:<>,]*[\s*&]+[A-Za-z_]\w* = )")


def code_lines(text):
    """Yields (line, code) for lines that hold code outside comments."""
    in_block = False
    for line in text.splitlines():
        stripped = line.strip()
        if in_block:
            if "*/" in stripped:
                in_block = False
            continue
        if stripped.startswith("/*"):
            in_block = "*/" not in stripped
            continue
        if not stripped or stripped.startswith("//") or stripped.startswith("#"):
            continue
        yield line, stripped


def nth_replace(text, pattern, n, replacement):
    matches = list(re.finditer(pattern, text))
    m = matches[n]
    return text[: m.start()] + replacement(m) + text[m.end():]


def candidates_for_line(code):
    """Yields (kind, original, replacement) for one line of code."""
    comment = code.find("//")
    body = code if comment < 0 else code[:comment].rstrip()
    has_string = '"' in body or "'" in body

    # Relational operators, written with spaces around them (templates are not).
    ops = list(re.finditer(r"(?<=\s)(<=|>=|==|!=|<|>)(?=\s)", body))
    for i, m in enumerate(ops):
        yield "relational", body, nth_replace(body, r"(?<=\s)(<=|>=|==|!=|<|>)(?=\s)", i,
                                              lambda m: RELATIONAL[m.group(1)])

    if not has_string:
        ops = list(re.finditer(r"(?<=\s)(\+=|-=|\+|-|\*|/|%)(?=\s)", body))
        for i, m in enumerate(ops):
            yield "arithmetic", body, nth_replace(body, r"(?<=\s)(\+=|-=|\+|-|\*|/|%)(?=\s)", i,
                                                  lambda m: ARITHMETIC[m.group(1)])
        for i, m in enumerate(re.finditer(r"\+\+|--", body)):
            yield "arithmetic", body, nth_replace(body, r"\+\+|--", i,
                                                  lambda m: "--" if m.group(0) == "++" else "++")

    # Numbers inside quoted text are not constants of the code.
    masked = re.sub(r'"(?:[^"\\]|\\.)*"|\'(?:[^\'\\]|\\.)*\'', lambda m: "_" * len(m.group(0)), body)
    for m in re.finditer(r"(?<![\w.])(\d+)(?![\w.'])", masked):
        yield "constant", body, body[: m.start()] + str(int(m.group(1)) + 1) + body[m.end():]

    m = re.search(r"\bif \(", body)
    if m:
        depth, start = 0, m.end() - 1
        for j in range(start, len(body)):
            depth += {"(": 1, ")": -1}.get(body[j], 0)
            if depth == 0:
                cond = body[start + 1 : j]
                yield "condition", body, body[: start + 1] + "!(" + cond + ")" + body[j:]
                break

    if (body.endswith(";") and STATEMENT_START.match(body) and not DECLARATION.match(body)
            and body.count("(") == body.count(")") and not body.startswith("return")):
        yield "statement", body, ";"

    m = re.match(r"^(.*\breturn )(.+);$", body)
    if m:
        value = m.group(2)
        swaps = {"true": "false", "false": "true", "nullptr": None}
        if value in swaps:
            if swaps[value]:
                yield "return", body, m.group(1) + swaps[value] + ";"
        elif re.fullmatch(r"-?\d+", value):
            yield "return", body, m.group(1) + ("1" if value == "0" else "0") + ";"
        elif not has_string and body.startswith("return "):
            yield "return", body, m.group(1) + "{};"


def collect(folder, globs):
    by_kind = collections.defaultdict(list)
    for pattern in globs:
        for path in sorted(ROOT.glob(pattern)):
            rel = path.relative_to(ROOT).as_posix()
            if rel in EXCLUDED or path.suffix not in (".cpp", ".hpp", ".h"):
                continue
            text = path.read_text(encoding="utf-8")
            for _, code in code_lines(text):
                for kind, original, replacement in candidates_for_line(code):
                    # The mutant is found by its text, so the text must be unique.
                    if original != replacement and text.count(original) == 1:
                        by_kind[kind].append((rel, original, replacement))
    return by_kind


def pick(rng, by_kind, quota):
    """Rotates through the kinds; within a kind prefers the least-used file."""
    chosen, used_lines, per_file = [], set(), collections.Counter()
    kinds = [k for k in KINDS if by_kind[k]]
    for pool in by_kind.values():
        rng.shuffle(pool)
    rng.shuffle(kinds)
    i = 0
    while len(chosen) < quota and any(by_kind[k] for k in kinds):
        kind = kinds[i % len(kinds)]
        i += 1
        pool = [c for c in by_kind[kind] if (c[0], c[1]) not in used_lines]
        by_kind[kind] = pool
        if not pool:
            continue
        least = min(per_file[c[0]] for c in pool)
        candidate = next(c for c in pool if per_file[c[0]] == least)
        pool.remove(candidate)
        used_lines.add((candidate[0], candidate[1]))
        per_file[candidate[0]] += 1
        chosen.append((kind,) + candidate)
    return chosen


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--seed", type=int, required=True)
    parser.add_argument("--scale", type=float, default=1.0, help="multiplies every folder's quota")
    args = parser.parse_args()
    rng = random.Random(args.seed)
    number = 0
    for folder, (globs, quota) in FOLDERS.items():
        chosen = pick(rng, collect(folder, globs), max(1, round(quota * args.scale)))
        for kind, rel, original, replacement in chosen:
            for field in (original, replacement):
                if "\t" in field:
                    sys.exit(f"a tab in {rel}: {field!r}")
            number += 1
            print("\t".join([f"M{number:03d}", folder, rel, original, replacement, kind]))


if __name__ == "__main__":
    main()
