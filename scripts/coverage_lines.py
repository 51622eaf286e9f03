#!/usr/bin/env python3
"""Library lines that the test programs execute, from a --coverage build.

  coverage_lines.py collect SOURCE BUILD OUT   write "file:line" per executed line
  coverage_lines.py compare BEFORE AFTER       list the lines BEFORE executes and AFTER does not
  coverage_lines.py bodies DIR                 per-test runs (coverage.sh --per-test): test bodies
                                               with a line of their own, and those a cover can drop

Only the library counts (qv_services/, host/, include/); objects of tests,
tools and benchmarks are skipped. Used by scripts/coverage.sh.
"""
import collections
import glob
import json
import os
import subprocess
import sys

LIBRARY = ('qv_services/', 'host/', 'include/')


def collect(source, build, out_path):
    source, build = os.path.abspath(source), os.path.abspath(build)
    executed, instrumented = set(), set()
    for folder, _, files in os.walk(build):
        gcdas = [os.path.join(folder, f) for f in files if f.endswith('.gcda')]
        if not gcdas or any(part in folder for part in ('/tests/', '/tools/', '/bench/')):
            continue
        report = subprocess.run(['gcov', '--json-format', '--stdout'] + gcdas, cwd=folder,
                                capture_output=True, check=True).stdout.decode()
        for chunk in filter(str.strip, report.splitlines()):
            data = json.loads(chunk)
            for entry in data['files']:
                path = os.path.normpath(os.path.join(data.get('current_working_directory', folder), entry['file']))
                relative = os.path.relpath(path, source)
                if not relative.startswith(LIBRARY):
                    continue
                for line in entry['lines']:
                    key = f"{relative}:{line['line_number']}"
                    instrumented.add(key)
                    if line['count'] > 0:
                        executed.add(key)
    if not instrumented:
        sys.exit(f"coverage_lines.py: no coverage data under {build}; were the test programs run?")
    with open(out_path, 'w') as out:
        out.write(''.join(f'{key}\n' for key in sorted(executed)))
    print(f'executed {len(executed)} of {len(instrumented)} instrumented library lines '
          f'({100.0 * len(executed) / len(instrumented):.1f}%)')


def compare(before_path, after_path):
    before, after = (set(open(p).read().split()) for p in (before_path, after_path))
    lost = sorted(before - after)
    for key in lost:
        print(f'lost {key}')
    print(f'{len(lost)} lines no longer executed, {len(after - before)} newly executed')
    return 1 if lost else 0


def bodies(folder):
    """Groups per-test lines by test body (a TEST_P's instances share one),
    then reports the bodies that execute a line no other body does, and the
    bodies that a greedy cover of every executed line leaves out, with the
    non-blank source lines from each body's start to the next one's."""
    place = {}
    for listing in glob.glob(os.path.join(folder, '*.json')):
        program = os.path.basename(listing)[:-len('.json')]
        for suite in json.load(open(listing))['testsuites']:
            for test in suite['testsuite']:
                key = (program, (suite['name'] + '.' + test['name']).replace('/', '_'))
                place[key] = (os.path.normpath(test['file']).lstrip('./'), test['line'])
    lines = collections.defaultdict(set)
    for path in glob.glob(os.path.join(folder, '*@*')):
        program, test = os.path.basename(path).split('@', 1)
        lines[place[(program, test)]] |= set(open(path).read().split())
    starts = collections.defaultdict(list)
    for source, line in lines:
        starts[source].append(line)
    length = {}
    for source, found in starts.items():
        text = open(source).read().split('\n')
        found.sort()
        for i, line in enumerate(found):
            end = found[i + 1] - 1 if i + 1 < len(found) else len(text)
            length[(source, line)] = sum(1 for row in text[line - 1:end] if row.strip())
    runs = collections.Counter(line for executed in lines.values() for line in executed)
    alone = [body for body, executed in lines.items() if any(runs[line] == 1 for line in executed)]
    remaining, kept = set(runs), set()
    while remaining:
        body = max(sorted(lines.keys() - kept), key=lambda b: len(lines[b] & remaining))
        if not lines[body] & remaining:
            break
        kept.add(body)
        remaining -= lines[body]
    dropped = sorted(lines.keys() - kept)
    for source, line in dropped:
        print(f'coverable {source}:{line} ({length[(source, line)]} lines)')
    print(f'{len(lines)} test bodies execute {len(runs)} library lines; {len(alone)} execute a line no other does')
    print(f'a greedy cover keeps {len(kept)} bodies; the other {len(dropped)} hold '
          f'{sum(length[b] for b in dropped)} non-blank lines')


if __name__ == '__main__':
    if len(sys.argv) == 5 and sys.argv[1] == 'collect':
        collect(*sys.argv[2:])
    elif len(sys.argv) == 4 and sys.argv[1] == 'compare':
        sys.exit(compare(*sys.argv[2:]))
    elif len(sys.argv) == 3 and sys.argv[1] == 'bodies':
        bodies(sys.argv[2])
    else:
        sys.exit(__doc__)
