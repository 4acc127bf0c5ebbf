#!/usr/bin/env python3
"""Mutation testing: which small faults in fa/, hsms/ and sml/ do the tests not notice?

A copy of a commit is built once with a sample of mutants in it; the environment variable FA_MUTANT chooses the
one that is active in a run. Every test is run alone first to see which mutants it reaches at all. A mutant is then
tried with just the tests of its folder that reach it: one that fails, crashes or hangs kills it. What no test
reaches survives.

    tools/mutants.py prepare --count 260       copy HEAD, choose the mutants and write them in
    tools/mutants.py build                     build; mutants that do not compile are dropped
    tools/mutants.py reach                     run every test alone, note what it reaches
    tools/mutants.py run                       try the mutants (resumes; --limit N and --seconds N end it early)
    tools/mutants.py report                    rates by folder and file, and the survivors

The folder's unit programs decide (fa_tests; hsms_tests; sml_tests, host_tests). Then, for its survivors, others:

    tools/mutants.py build system_tests
    tools/mutants.py reach system_tests
    tools/mutants.py run --with system_tests

Everything is in --dir (default build/mutants): the sources in tree/, the results in mutants.json. The same --seed
chooses much the same mutants in files that have changed little. Mutants that change nothing that can be observed
are listed in tools/mutants_equivalent.txt, by file and text, and count in no rate:

    fa/handlers/s05.cpp
    - if (count > 0)
    + if (count >= 0)
      why no test can tell the two apart

Builds and runs are heavy; for a machine in use: `nice tools/mutants.py run --seconds 120`,
again until its status is 3.
"""
import argparse
import json
import os
import pathlib
import re
import resource
import shutil
import signal
import subprocess
import sys
import tarfile
import time

sys.dont_write_bytecode = True
import mutant_sites  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parent.parent
PROGRAMS = {'fa': ['fa_tests'], 'hsms': ['hsms_tests'], 'sml': ['sml_tests', 'host_tests']}
QUICK = 0.05  # seconds; tests of a mutant that take less are run before the others

HEADER = r'''// Written by mutants.py: which mutant is active, and a note of those that were asked for.
#pragma once
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <cstdlib>

inline const int fa_mutant = std::getenv("FA_MUTANT") ? std::atoi(std::getenv("FA_MUTANT")) : 0;
inline unsigned char* const fa_reached = [] {
    const char* path = std::getenv("FA_MUTANT_REACHED");
    const int file = path ? open(path, O_RDWR) : -1;
    void* map = file < 0 ? MAP_FAILED : mmap(nullptr, 65536, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (file >= 0) close(file);
    return map == MAP_FAILED ? nullptr : static_cast<unsigned char*>(map);
}();

inline bool fa_on(int number) {
    if (fa_reached) fa_reached[number] = 1;
    return fa_mutant == number;
}

template <class Number>
Number fa_next(Number value) {
    return static_cast<Number>(value + 1);
}
'''


class Work:
    """The folder of one run: its sources, its build, and the record of its mutants."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder).resolve()
        self.tree, self.build = self.folder / 'tree', self.folder / 'tree' / 'build'
        self.record = self.folder / 'mutants.json'
        self.data = json.loads(self.record.read_text()) if self.record.exists() else None

    def save(self):
        part = self.record.with_suffix('.part')
        part.write_text(json.dumps(self.data, indent=1, ensure_ascii=False))
        part.replace(self.record)

    def programs(self):
        """The test programs of the commit and their folders; an older one has other programs than today's."""
        found = {}
        for path in (self.tree / 'tests').rglob('CMakeLists.txt'):
            for name in re.findall(r'^fa_add_test_program\((\w+)', path.read_text(), re.M):
                found[name] = self.build / path.parent.relative_to(self.tree)
        return found

    def unit_programs(self, folder=None):
        wanted = PROGRAMS[folder] if folder else sum(PROGRAMS.values(), [])
        return [name for name in wanted if name in self.programs()]

    def program(self, name):
        return self.programs()[name] / name

    def mutants(self):
        if self.data is None:
            sys.exit('nothing prepared in ' + str(self.folder))
        return [mutant for mutant in self.data['mutants'] if not mutant.get('dropped')]


def prepare(work, args):
    if work.tree.exists():
        shutil.rmtree(work.tree)
    work.tree.mkdir(parents=True)
    commit = subprocess.run(['git', 'rev-parse', args.commit], cwd=ROOT, check=True, capture_output=True, text=True)
    archive = subprocess.Popen(['git', 'archive', args.commit], cwd=ROOT, stdout=subprocess.PIPE)
    with tarfile.open(fileobj=archive.stdout, mode='r|') as tar:
        tar.extractall(work.tree)
    if archive.wait() != 0:
        sys.exit('git archive failed')

    texts, found = {}, {}
    for folder in args.folders:
        for path in sorted((work.tree / folder).rglob('*.cpp')):
            name = str(path.relative_to(work.tree))
            texts[name] = path.read_text()
            found[name] = mutant_sites.Finder(texts[name]).find()
    mutants, rest = [], 0.0
    sizes = {name: texts[name].count('\n') for name in texts if found[name]}
    for name, lines in sizes.items():
        rest += args.count * lines / sum(sizes.values())
        chosen = mutant_sites.choose(found[name], int(rest), args.seed, name)
        rest -= int(rest)
        for site in sorted(chosen, key=lambda site: site.start):
            site.number = len(mutants) + 1
            mutants.append({'file': name, **vars(site)})
    if len(mutants) > 65000:
        sys.exit('too many mutants')
    work.data = {'commit': commit.stdout.strip(), 'seed': args.seed, 'mutants': mutants, 'tests': {}}
    (work.tree / 'fa_mutant.h').write_text(HEADER)
    for name in sizes:
        write_source(work, name)
    work.save()
    print(f'{len(mutants)} mutants of {sum(map(len, found.values()))} in {len(sizes)} files')


def write_source(work, name):
    """The instrumented file, in which lines keep their numbers; its original is kept beside it."""
    path, original = work.tree / name, work.tree / (name + '.original')
    if not original.exists():
        original.write_text(path.read_text())
    sites = []
    for mutant in work.mutants():
        if mutant['file'] == name:
            site = mutant_sites.Site(*[mutant[key] for key in ('kind', 'shape', 'start', 'end', 'mutated', 'line',
                                                              'original', 'mutant')])
            site.number = mutant['number']
            sites.append(site)
    text = mutant_sites.instrument(original.read_text(), sites)
    path.write_text(f'#include "{work.tree}/fa_mutant.h"\n#line 1 "{path}"\n' + text)


def build(work, args):
    targets = args.programs or work.unit_programs()
    if not (work.build / 'CMakeCache.txt').exists():
        subprocess.run(['cmake', '-S', work.tree, '-B', work.build, '-G', 'Ninja', '-DCMAKE_BUILD_TYPE=Debug',
                        '-DCMAKE_CXX_FLAGS_DEBUG=-O0', '-DCMAKE_CXX_FLAGS=-w', '-DFA_BUILD_BENCH=OFF'], check=True,
                       stdout=subprocess.DEVNULL)
    for _ in range(20):
        result = subprocess.run(['cmake', '--build', work.build, '--target', *targets, '--', '-k0', f'-j{args.jobs}'],
                                capture_output=True, text=True, check=False)
        if result.returncode == 0:
            print(f'built, {len(work.mutants())} mutants compile')
            return
        if not drop_broken(work, result.stdout):
            sys.exit(result.stdout[-5000:] + result.stderr)
    sys.exit('still does not compile')


def drop_broken(work, output):
    """Drops the mutants in lines that the compiler names, and writes their files again; how many."""
    places = set()
    for file, line in re.findall(re.escape(str(work.tree)) + r'/(\S+?\.cpp):(\d+)', output):
        places.add((file, int(line)))
    broken = []
    for mutant in work.mutants():
        text = (work.tree / (mutant['file'] + '.original')).read_text()
        first, last = (text.count('\n', 0, mutant[end]) + 1 for end in ('start', 'end'))
        if any(file == mutant['file'] and first <= line <= last for file, line in places):
            broken.append(mutant)
    # A statement that spans the line of another's fault is innocent, as a rule.
    inner = [mutant for mutant in broken if mutant['shape'] == 'expression'] or broken
    for mutant in inner:
        mutant['dropped'] = True
        print('does not compile:', place(mutant), mutant['mutant'])
    for name in {mutant['file'] for mutant in inner}:
        write_source(work, name)
    work.save()
    return len(inner)


def place(mutant):
    return f"{mutant['file']}:{mutant['line']}"


def limits():
    """A mutant that eats memory or disk without end is dead too."""
    resource.setrlimit(resource.RLIMIT_AS, (6 << 30, 6 << 30))
    resource.setrlimit(resource.RLIMIT_FSIZE, (256 << 20, 256 << 20))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def run_tests(work, program, tests, seconds, **variables):
    """Runs these tests in one process; None when all passed, else what happened."""
    temp = work.folder / 'tmp'
    shutil.rmtree(temp, ignore_errors=True)
    temp.mkdir()
    environment = dict(os.environ, TMPDIR=str(temp), **variables)  # a killed test leaves its files there
    command = [work.program(program), '--gtest_fail_fast', '--gtest_color=no', '--gtest_filter=' + ':'.join(tests)]
    process = subprocess.Popen(command, env=environment, cwd=temp, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.DEVNULL, start_new_session=True, preexec_fn=limits, text=True,
                               errors='replace')
    try:
        output, _ = process.communicate(timeout=seconds)
    except subprocess.TimeoutExpired:
        output = None
    try:
        os.killpg(process.pid, signal.SIGKILL)  # with what it started
    except ProcessLookupError:
        pass
    process.wait()
    shutil.rmtree(temp, ignore_errors=True)
    if output is None:
        return 'hangs'
    if process.returncode == 0:
        return None
    failed = re.search(r'^\[  FAILED  \] ([^\s,]+)', output, re.M)
    return failed.group(1) if failed else f'ends with status {process.returncode}'


def reach(work, args):
    """Every test alone: its time, and the mutants it reaches. A test that fails by itself is not used."""
    marks = work.folder / 'reached'
    for program in args.programs or work.unit_programs():
        listing = subprocess.run([work.program(program), '--gtest_list_tests'], check=True, capture_output=True,
                                 text=True)
        names, suite = [], ''
        for line in listing.stdout.splitlines():
            name = line.split('#')[0].strip()
            if line.startswith(' '):
                names.append(suite + name)
            elif name.endswith('.'):
                suite = name
        tests = work.data['tests'][program] = {}
        for name in (name for name in names if 'DISABLED_' not in name):
            marks.write_bytes(bytes(65536))
            start = time.monotonic()
            failure = run_tests(work, program, [name], 300, FA_MUTANT_REACHED=str(marks))
            if failure:
                print('not used, fails without a mutant:', program, name, failure)
                continue
            numbers = [number for number, mark in enumerate(marks.read_bytes()) if mark]
            tests[name] = {'seconds': round(time.monotonic() - start, 3), 'reaches': numbers}
        total = sum(test['seconds'] for test in tests.values())
        print(f'{program}: {len(tests)} tests, {total:.1f} s', flush=True)
        work.save()


def try_mutant(work, mutant, program):
    """True when the program kills it."""
    tests = {name: test['seconds'] for name, test in work.data['tests'][program].items()
             if mutant['number'] in test['reaches']}
    quick = [name for name, seconds in tests.items() if seconds < QUICK]
    for names in (quick, [name for name in tests if name not in quick]):
        if not names:
            continue
        seconds = 20 + 5 * sum(tests[name] for name in names)
        killer = run_tests(work, program, names, seconds, FA_MUTANT=str(mutant['number']))
        if killer:
            mutant['killed_by'] = f'{program}: {killer}'
            return True
    mutant.setdefault('survived', {})[program] = len(tests)
    return False


def run(work, args):
    tried, start = 0, time.monotonic()
    for mutant in work.mutants():
        for program in [*work.unit_programs(mutant['file'].split('/')[0]), *args.programs]:
            if 'killed_by' in mutant or program in mutant.get('survived', {}):
                continue
            if tried == args.limit or args.seconds and time.monotonic() - start > args.seconds:
                return
            killed = try_mutant(work, mutant, program)
            if not killed and program in args.programs and mutant['survived'][program] == 0:
                continue
            tried += 1
            print('killed  ' if killed else 'SURVIVES', place(mutant), mutant['mutant'], flush=True)
            work.save()
    print('all tried')
    sys.exit(3)


def equivalents():
    """The known ones, (file, line, mutant) to the reason."""
    known, file, lines = {}, '', {}
    path = pathlib.Path(__file__).with_name('mutants_equivalent.txt')
    for line in path.read_text().splitlines() if path.exists() else []:
        if line[:2] in ('- ', '+ '):
            lines[line[0]] = line[2:].strip()
        elif line.startswith('  '):
            known[(file, lines['-'], lines['+'])] = line.strip()
        elif line and not line.startswith('#'):
            file = line.strip()
    return known


def report(work, _args):
    known = equivalents()
    rows, survivors, equal = {}, {}, []
    for mutant in work.mutants():
        if 'killed_by' not in mutant and 'survived' not in mutant:
            continue
        reason = known.get((mutant['file'], mutant['original'], mutant['mutant']))
        if reason and 'killed_by' not in mutant:
            equal.append((mutant, reason))
            continue
        folder = '/'.join(mutant['file'].split('/')[:-1])
        for name in ('all', folder, mutant['file']):
            row = rows.setdefault(name, [0, 0, 0])
            row[0] += 1
            row[1] += mutant.get('killed_by', '').split(':')[0] in PROGRAMS[mutant['file'].split('/')[0]]
            row[2] += 'killed_by' in mutant
        if 'killed_by' not in mutant:
            survivors.setdefault(folder, []).append(mutant)
    print(f"commit {work.data['commit'][:10]}, seed {work.data['seed']}\n")
    print(f"{'':44} mutants  killed: by its unit tests      by any")
    for name in sorted(rows, key=lambda name: ('.' in name, name)):
        count, unit, any_program = rows[name]
        print(f'{name:44} {count:7} {unit:20} {unit / count:6.0%} {any_program:6} {any_program / count:6.0%}')
    for folder, mutants in sorted(survivors.items()):
        print(f'\n{folder}')
        for mutant in mutants:
            ran = ', '.join(f'{program} {count}' for program, count in mutant['survived'].items() if count)
            print(f"{place(mutant)}  #{mutant['number']} {mutant['kind']}, "
                  f"{'tests that reach it: ' + ran if ran else 'not reached'}")
            print('  - ' + mutant['original'] + '\n  + ' + mutant['mutant'])
    if equal:
        print('\nEquivalent, not counted')
        for mutant, reason in equal:
            print(f"{place(mutant)}\n  - {mutant['original']}\n  + {mutant['mutant']}\n  {reason}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('--dir', default=str(ROOT / 'build' / 'mutants'), help='where everything is written')
    commands = parser.add_subparsers(required=True, metavar='command')

    def command(name, function, text):
        added = commands.add_parser(name, help=text, description=text)
        added.set_defaults(function=function)
        return added
    added = command('prepare', prepare, 'copy a commit, choose the mutants and write them in')
    added.add_argument('--commit', default='HEAD')
    added.add_argument('--seed', type=int, default=1)
    added.add_argument('--count', type=int, default=260)
    added.add_argument('--folders', nargs='+', default=list(PROGRAMS), metavar='FOLDER',
                       help='fa, hsms, sml or folders in them')
    for name, function, text in (('build', build, 'build; drops what does not compile'),
                                 ('reach', reach, 'run every test alone and note which mutants it reaches')):
        added = command(name, function, text)
        added.add_argument('programs', nargs='*', metavar='PROGRAM', help='default: the unit programs')
        added.add_argument('--jobs', '-j', type=int, default=2)
    added = command('run', run, 'try the mutants; ends with status 3 when all are tried')
    added.add_argument('--limit', type=int, default=-1, help='stop after so many')
    added.add_argument('--seconds', type=float, help='stop after so long')
    added.add_argument('--with', action='append', default=[], dest='programs', metavar='PROGRAM',
                       help='try survivors with this program too')
    command('report', report, 'rates and survivors')
    args = parser.parse_args()
    args.function(Work(args.dir), args)


if __name__ == '__main__':
    main()
