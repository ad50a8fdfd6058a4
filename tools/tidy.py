#!/usr/bin/env python3
"""Runs clang-tidy over the sources of a build: tidy.py BUILD FOLDER...

A source that was found clean is not looked at again while it, all that it includes, its flags, the rules and the
program stay the same; ~/.cache/quarlo-tidy remembers it. BUILD is one of clang's, by ninja, and up to date, so that
it knows what each source includes. Exits with 1 when there is a finding.
"""
import concurrent.futures
import functools
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys

TIDY = "clang-tidy-14"
root = pathlib.Path(__file__).resolve().parent.parent
build = pathlib.Path(sys.argv[1]).resolve()
folders = [root / folder for folder in sys.argv[2:]]
cache = pathlib.Path(os.environ.get("XDG_CACHE_HOME", pathlib.Path.home() / ".cache")) / "quarlo-tidy"


@functools.lru_cache(None)
def content(path):
    return hashlib.sha256((build / path).read_bytes()).hexdigest()


def included():
    """What each object was made from, as ninja has it from the compiler."""
    told = subprocess.run(["ninja", "-C", build, "-t", "deps"], check=True, stdout=subprocess.PIPE, text=True).stdout
    blocks = [block.splitlines() for block in told.split("\n\n") if "(VALID)" in block]
    return {block[0].split(":")[0]: [line.strip() for line in block[1:]] for block in blocks}


def key(entry, files):
    """The same in another clone, which finds what this one has seen."""
    parts = [entry["command"].replace(str(build), "BUILD").replace(str(root), "ROOT"), entry["file"], rules]
    parts += [f"{path} {content(path)}" for path in sorted(files)]
    return hashlib.sha256("\n".join(parts).replace(str(root), "ROOT").encode()).hexdigest()


def look(entry):
    mark = cache / key(entry, deps[re.search(r" -o (\S+) ", entry["command"]).group(1)])
    if mark.exists():
        return None
    found = subprocess.run([TIDY, "-quiet", f"-p={build}", entry["file"]], stdout=subprocess.PIPE,
                           stderr=subprocess.PIPE, text=True, check=False)
    if found.returncode == 0 and not found.stdout.strip():
        mark.touch()
        return ""
    return found.stdout + found.stderr


cache.mkdir(parents=True, exist_ok=True)
rules = (root / ".clang-tidy").read_text() + subprocess.run(
    [TIDY, "--version"], check=True, stdout=subprocess.PIPE, text=True).stdout
deps = included()
entries = {e["file"]: e for e in json.loads((build / "compile_commands.json").read_text())
           if any(folder in pathlib.Path(e["file"]).parents for folder in folders)}.values()
with concurrent.futures.ThreadPoolExecutor(2) as pool:
    results = list(pool.map(look, entries))
for text in filter(None, results):
    print(text)
bad = sum(1 for text in results if text)
print(f"tidy: {len(results)} sources, {results.count(None)} known to be clean, {bad} with findings")
sys.exit(1 if bad or not results else 0)
