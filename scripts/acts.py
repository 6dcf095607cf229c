"""What the scripts that measure acts share: building a program with acts, listing them,
and taking the instructions and the time of one."""

import os
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build/bench"
PASSES = 2
TRIES = 3
PEERS = {"readline": "libreadline8", "libedit": "libedit2", "libtelnet": "libtelnet2",
         "libcli": "libcli1.10"}  # and the packages that they come from


def require(*tools):
    for tool in tools:
        if not shutil.which(tool):
            sys.exit(f"{tool} is not installed")


def build(directory, target, *options):
    """Builds a target in the bench preset's directory, unless another one that is built
    is given; returns the directory of the benchmarks."""
    if not directory:
        subprocess.run(["cmake", "--preset", "bench", *options], cwd=ROOT, check=True,
                       stdout=subprocess.DEVNULL)
        subprocess.run(["cmake", "--build", "--preset", "bench", "--target", target], cwd=ROOT,
                       check=True, stdout=subprocess.DEVNULL)
    return pathlib.Path(directory or BUILD) / "bench"


def environment(libraries=None):
    """With the shared libraries of a folder instead of those that were built, if one is given."""
    others = {"LD_LIBRARY_PATH": str(libraries)} if libraries else {}
    return {**os.environ, "LC_ALL": "C", "TERM": "vt100", "LD_BIND_NOW": "1", **others}


def list_acts(program):
    """Returns {name: operations in a pass}."""
    listing = subprocess.run([program], check=True, capture_output=True, text=True).stdout
    return {name: int(count) for name, count in map(str.split, listing.splitlines())}


def callgrind(program, name, passes, out_file, libraries=None):
    """Runs an act under callgrind; returns the instructions of its passes."""
    command = ["valgrind", "--tool=callgrind", f"--callgrind-out-file={out_file}",
               "--collect-atstart=no", "--toggle-collect=varno_run_counted",
               str(program), name, str(passes)]
    done = subprocess.run(command, capture_output=True, text=True, env=environment(libraries))
    if done.returncode != 0:
        sys.exit(f"{name}: {done.stderr}")
    return int(re.search(r"^totals: (\d+)", out_file.read_text(), re.MULTILINE).group(1))


def instructions(program, name, operations, after=lambda out_file: None, libraries=None):
    """Returns the instructions of an operation, without what happens once in a process:
    from a run of twice PASSES less one of PASSES. `after` gets the longer one's file."""
    with tempfile.TemporaryDirectory() as directory:
        few = pathlib.Path(directory) / "few"
        many = pathlib.Path(directory) / "many"
        count = (callgrind(program, name, 2 * PASSES, many, libraries) -
                 callgrind(program, name, PASSES, few, libraries))
        after(many)
        return count / (PASSES * operations)


def numbers_from(*command, tries=1):
    """Runs a program that prints a row of numbers, again where it fails."""
    for _ in range(tries):
        done = subprocess.run(list(map(str, command)), capture_output=True, text=True,
                              env=environment())
        if done.returncode == 0:
            return list(map(float, done.stdout.split()))
        print(f"{' '.join(map(str, command))}: {done.stderr.strip()}", file=sys.stderr)
    sys.exit(f"it failed {tries} times")


def medians(rows):
    """Returns the median of each column."""
    return [statistics.median(column) for column in zip(*rows)]


def versions():
    """Says which versions of the peers are installed."""
    def version_of(package):
        done = subprocess.run(["dpkg-query", "-W", "-f=${Version}", package],
                              capture_output=True, text=True)
        return done.stdout or "unknown"
    return ", ".join(f"{peer} {version_of(package)}" for peer, package in PEERS.items())


def machine(benchmarks):
    """Says in a line what the figures come from: processor, compiler and flags."""
    processor = re.search(r"^model name\s*: (.*)$", pathlib.Path("/proc/cpuinfo").read_text(),
                          re.MULTILINE)
    cache = (benchmarks.parent / "CMakeCache.txt").read_text()
    compiler = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.*)$", cache, re.MULTILINE).group(1)
    version = subprocess.run([compiler, "--version"], check=True, capture_output=True,
                             text=True).stdout.splitlines()[0]
    flags = re.findall(r"^CMAKE_CXX_FLAGS(?:_RELEASE)?:\w+=(.*)$", cache, re.MULTILINE)
    return (f"{processor.group(1) if processor else 'unknown processor'}, "
            f"{os.cpu_count()} processors; {version}, "
            f"`{' '.join(filter(None, flags))} -std=c++20`")
