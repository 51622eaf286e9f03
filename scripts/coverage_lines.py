#!/usr/bin/env python3
"""Library lines that the test programs execute, from a --coverage build.

  coverage_lines.py collect SOURCE BUILD OUT   write "file:line" per executed line
  coverage_lines.py compare BEFORE AFTER       list the lines BEFORE executes and AFTER does not

Only the library counts (qv_services/, host/, include/); objects of tests,
tools and benchmarks are skipped. Used by scripts/coverage.sh.
"""
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


if __name__ == '__main__':
    if len(sys.argv) == 5 and sys.argv[1] == 'collect':
        collect(*sys.argv[2:])
    elif len(sys.argv) == 4 and sys.argv[1] == 'compare':
        sys.exit(compare(*sys.argv[2:]))
    else:
        sys.exit(__doc__)
