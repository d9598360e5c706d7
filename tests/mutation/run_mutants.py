"""Compiles and tests mutants of the library's sources: run_mutants.py ROOT BUILD SANITIZED_BUILD NUMBER|all [FILE...]

A mutant costs what it changes: its file goes into a folder that the compiler looks into first, only the objects that
include it are compiled, and each test program is linked with these when it is its turn. The build itself stays as it is.
What no test notices is tried again with the sanitizers.
"""

import collections
import difflib
import json
import os
import re
import resource
import shutil
import signal
import subprocess
import sys
from dataclasses import dataclass
from pathlib import Path

import mutants

SLOW = ("key_locales",)  # last: it makes its locales anew each time
SLOW = ("key_locales",)  # last: it makes its locales anew each time
SECONDS = 60  # for one test program; they take one at most
OBJECTS = "library/CMakeFiles/cmnexecutor_objects.dir/"
OUTCOMES = ("test", "time", "sanitizer", "compiler", "harmless", "survived")
# As in the tests' own list: a Java VM takes segmentation faults for its own purposes and keeps memory until the end.
WITH_VM = "handle_segv=0:allow_user_segv_handler=1:detect_leaks=0:"
ALWAYS = "hard_rss_limit_mb=4000"
MEMORY = 8 << 30  # address space of a program without the sanitizers, which need endless room: mistakes may eat memory


def run(command, folder, seconds=None, memory=resource.RLIM_INFINITY, sanitizer=ALWAYS):
    """The exit status of a command, None when it takes longer; what it prints is of no interest."""
    def limit():
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 28, 1 << 28))
        resource.setrlimit(resource.RLIMIT_AS, (memory, memory))
    process = subprocess.Popen(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL, start_new_session=True, preexec_fn=limit,
                               env=dict(os.environ, ASAN_OPTIONS=sanitizer))
    try:
        return process.wait(seconds)
    except subprocess.TimeoutExpired:
        return None
    finally:
        if process.poll() is None:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()


@dataclass
class Build:
    root: Path
    folder: Path
    mutant: Path  # overlay of sources, objects, programs and the tests' working folder
    compile: dict  # source -> command
    includes: dict  # source -> files of the project, itself among them
    link: dict  # test -> command
    memory: int  # what a test program may have


def ninja(folder, *arguments):
    return subprocess.run(("ninja", *arguments), cwd=folder, check=True, capture_output=True, text=True).stdout


def object_of(source):
    """The object of a source of the library, both relative: the one to the build, the other to the project."""
    return f"{OBJECTS}{source.removeprefix('library/')}.o"


def read_build(root, folder):
    build = Build(root, folder, folder / "mutant", {}, {}, {}, resource.RLIM_INFINITY)
    for entry in json.loads((folder / "compile_commands.json").read_text()):
        if OBJECTS in entry["command"]:
            if "-fsanitize" not in entry["command"]:
                build.memory = MEMORY
            build.compile[str(Path(entry["file"]).relative_to(root))] = entry["command"].split()
    for source in build.compile:
        listed = ninja(folder, "-t", "deps", object_of(source)).splitlines()
        paths = [(folder / line.strip()).resolve() for line in listed if line.startswith("    ")]
        build.includes[source] = {str(path.relative_to(root)) for path in paths if path.is_relative_to(root)}
    for line in ninja(folder, "-t", "commands", "library_tests").splitlines():
        if match := re.search(r" -o tests/(\w+)_test ", line):
            build.link[match[1]] = line.removeprefix(": && ").removesuffix(" && :").split()
    return build


def compile_mutant(build, mutant):
    """Compiles what includes the mutant's file. Returns the objects' sources, None when the compiler refuses one."""
    shutil.rmtree(build.mutant, ignore_errors=True)
    overlay = build.mutant / mutant.file
    overlay.parent.mkdir(parents=True)
    lines = (build.root / mutant.file).read_text().splitlines(keepends=True)
    first, count = mutant.line - 1, len(mutant.old.splitlines())
    assert "".join(lines[first:first + count]) == mutant.old
    overlay.write_text("".join(lines[:first]) + mutant.new + "".join(lines[first + count:]))
    changed = [source for source, included in build.includes.items() if mutant.file in included]
    for source in changed:
        (build.mutant / object_of(source)).parent.mkdir(parents=True, exist_ok=True)
        command = list(build.compile[source])
        # Warnings do not count: tests are to notice what a compiler may or may not warn of.
        first = next(place for place, word in enumerate(command) if word.startswith("-I"))
        command[first:first] = ["-w", f"-I{build.mutant}", f"-I{build.mutant / 'include'}"]
        command[command.index("-o") + 1] = str(build.mutant / object_of(source))
        if source == mutant.file:
            command[-1] = str(overlay)
        if run(command, build.folder) != 0:
            return None
    return changed


def noticed_by(build, changed, test):
    """Links and runs a test program. Returns what noticed the mutant, None when nothing did."""
    replaced = {object_of(source): str(build.mutant / object_of(source)) for source in changed}
    work = build.mutant / "work"
    work.mkdir(parents=True, exist_ok=True)
    program = build.mutant / test
    command = [replaced.get(word, word) for word in build.link[test]]
    command[command.index("-o") + 1] = str(program)
    if run(command, build.folder) != 0:
        return "compiler"
    with_vm = any("libjvm" in word for word in command)
    sanitizer = WITH_VM + ALWAYS if with_vm else ALWAYS
    status = run([str(program), "--gtest_fail_fast"], work, SECONDS, build.memory, sanitizer)
    program.unlink()
    return "time" if status is None else "test" if status != 0 else None


def test_order(build, file, noticed):
    """The tests named like the file, then those that noticed other mistakes in it, then those that noticed most."""
    stem = Path(file).stem
    return sorted(build.link, key=lambda test: (test in SLOW, not test.startswith(stem), -noticed[file][test],
                                                -noticed[None][test], test))


def judge(build, mutant, noticed):
    changed = compile_mutant(build, mutant)
    if changed is None:
        return "compiler"
    for test in test_order(build, mutant.file, noticed):
        if outcome := noticed_by(build, changed, test):
            noticed[mutant.file][test] += 1
            noticed[None][test] += 1
            return outcome
    return "survived"


def judge_strictly(builds, mutant, noticed):
    outcome = judge(builds[0], mutant, noticed)
    if outcome == "survived" and judge(builds[1], mutant, noticed) != "survived":
        return "sanitizer"
    return outcome


def show(mutant):
    print(f"\n{mutant.file}:{mutant.line} ({mutant.rule})")
    for line in list(difflib.ndiff(mutant.old.splitlines(), mutant.new.splitlines())):
        if line[0] in "+-":
            print(line)
    sys.stdout.flush()


def known_harmless(root):
    """The changes that cannot be seen from outside, each with a reason."""
    known = {}
    for line in (root / "tests/mutation/harmless.txt").read_text().splitlines():
        if line and not line.startswith("#"):
            key, _, reason = line.rpartition(" | ")
            known[key] = reason
    return known


def print_table(table):
    print(f"\n{'file':34}" + "".join(f"{name:>10}" for name in OUTCOMES))
    every = table.pop("all")
    for file, outcomes in (*table.items(), ("all", every)):
        print(f"{file:34}" + "".join(f"{outcomes[name]:10}" for name in OUTCOMES))
    table["all"] = every
    by_tests = every["test"] + every["time"] + every["sanitizer"]
    tried = sum(every.values()) - every["compiler"] - every["harmless"]
    print(f"\nThe tests noticed {by_tests} of {tried} changes that compile and can be seen"
          f" ({100 * by_tests / max(1, tried):.1f} %); the compiler refused {every['compiler']}.")


def main():
    root, number = Path(sys.argv[1]), sys.argv[4]
    files = sys.argv[5:] or mutants.source_files(root)
    builds = [read_build(root, Path(folder)) for folder in sys.argv[2:4]]
    for build in builds:
        if failing := [test for test in build.link if noticed_by(build, [], test)]:
            sys.exit(f"without any change these fail already: {' '.join(failing)}")
    harmless = known_harmless(root)
    picked, total = mutants.pick(root, None if number == "all" else int(number), files)
    noticed = collections.defaultdict(collections.Counter)
    table = collections.defaultdict(collections.Counter)
    print(f"{len(picked)} of {total} possible changes in {len(files)} files, {len(builds[0].link)} test programs",
          flush=True)
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, signal.default_int_handler)
    try:
        for place, mutant in enumerate(picked, 1):
            outcome = "harmless" if mutant.key() in harmless else judge_strictly(builds, mutant, noticed)
            table[mutant.file][outcome] += 1
            table["all"][outcome] += 1
            if outcome == "survived":
                show(mutant)
            if sys.stderr.isatty() or place % 25 == 0:
                print(f"{place} tried, {table['all']['survived']} survived", file=sys.stderr)
    except KeyboardInterrupt:
        print("\nInterrupted: what was tried so far.")
    for build in builds:
        shutil.rmtree(build.mutant, ignore_errors=True)

    print_table(table)
    return 1 if table["all"]["survived"] else 0



sys.exit(main())
