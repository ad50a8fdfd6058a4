"""Seeds small faults in a copy of the sources, one at a time, and tells which ones no test finds."""

import argparse
import collections
import concurrent.futures
import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import time

import faults

FOLDERS = ("src", "plugins", "links")
# What reads sources; whole programs are not built.
BESIDE = "checks|e2e"
SLACK = 20


def main():
    options = argparse.ArgumentParser(prog="tools/mutate.sh", description=__doc__)
    options.add_argument("--count", type=int, default=480, help="how many faults (%(default)s)")
    options.add_argument("--seed", type=int, default=1, help="which ones (%(default)s)")
    options.add_argument("--only", default="", metavar="REGEX", help="in files whose path matches")
    options.add_argument("--tests", default="", metavar="REGEX", help="with tests whose name matches")
    options.add_argument("--all", action="store_true",
                         help="run every test that reaches a fault, to see which ones find the same")
    options.add_argument("--jobs", type=int, default=os.cpu_count())
    given = options.parse_args()
    root = os.path.realpath(os.path.join(os.path.dirname(__file__), "..", ".."))
    Mutation(root, given).run()


class Mutation:
    def __init__(self, root, given):
        self.root, self.given = root, given
        self.out = os.path.join(root, "out", "mutate")
        self.tree = os.path.join(root, "build", "mutate")
        os.makedirs(self.out, exist_ok=True)
        self.scratch = tempfile.TemporaryDirectory()

    def run(self):
        self.copy({})
        self.configure("asan")
        chosen = self.choose()
        chosen = self.build("asan", "all", chosen)
        tests = Tests(self, "asan", ["-LE", BESIDE])
        results = [Result(self.root, *fault) for fault in chosen]
        self.try_all(tests, results)
        left = [result for result in results if result.site.kind == "lock" and not result.found_by]
        if left:
            self.configure("tsan")
            self.build("tsan", "thread_tests", chosen)
            self.try_all(Tests(self, "tsan", ["-L", "threads"]), left)
        self.report(results)

    def configure(self, preset):
        subprocess.run(["cmake", "--preset", preset, "-DQUARLO_BUILD_APPS=OFF", "-DQUARLO_TEST_CASES=ON"],
                       check=True, cwd=self.tree, stdout=subprocess.DEVNULL)

    def copy(self, written):
        """The tracked files, those with faults as written; what is unchanged keeps its time."""
        names = subprocess.run(["git", "ls-files", "-z"], cwd=self.root, check=True, stdout=subprocess.PIPE)
        for name in filter(None, names.stdout.decode().split("\0")):
            source, target = os.path.join(self.root, name), os.path.join(self.tree, name)
            if not os.path.isfile(source):
                continue
            with open(source, "rb") as file:
                content = written.get(source, file.read())
            if os.path.exists(target):
                with open(target, "rb") as file:
                    if file.read() == content:
                        continue
            os.makedirs(os.path.dirname(target), exist_ok=True)
            with open(target, "wb") as file:
                file.write(content)
            os.chmod(target, os.stat(source).st_mode)

    def choose(self):
        with open(os.path.join(self.tree, "build", "asan", "compile_commands.json")) as file:
            commands = json.load(file)
        inside = tuple(os.path.join(self.tree, folder) + os.sep for folder in FOLDERS)
        commands = [{**command, "file": command["file"].replace(self.tree, self.root),
                     "command": command["command"].replace(self.tree + "/src", self.root + "/src")
                     .replace(self.tree + "/links", self.root + "/links")
                     .replace(self.tree + "/plugins", self.root + "/plugins")}
                    for command in commands if command["file"].startswith(inside)]
        self.finder, places = faults.find(self.root, FOLDERS, commands)
        places = [place for place in places
                  if re.search(self.given.only, os.path.relpath(place[0][0], self.root))]
        chosen = faults.choose(places, self.given.count, self.given.seed)
        say(f"{len(places)} places, {len(chosen)} faults chosen with seed {self.given.seed}")
        return chosen

    def build(self, preset, target, chosen):
        """Builds with all faults; those that do not compile are left out."""
        while True:
            by_file = collections.defaultdict(list)
            for path, site in chosen:
                by_file[path].append(site)
            self.copy({path: faults.write(os.path.relpath(path, self.root), self.finder.source(path),
                                          sites).encode() for path, sites in by_file.items()})
            built = subprocess.run(["cmake", "--build", "--preset", preset, "-j", "2", "--target", target,
                                    "--", "-k", "0"], cwd=self.tree, text=True,
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
            if built.returncode == 0:
                return chosen
            wrong = {(os.path.realpath(os.path.join(self.root, name)), int(line)) for name, line in
                     re.findall(r"^([\w./-]+):(\d+):\d+: (?:fatal )?error:", built.stdout, re.M)}
            left = [(path, site) for path, site in chosen
                    if not any((path, line) in wrong for line in self.lines(path, site))]
            if len(left) == len(chosen):
                sys.exit(built.stdout[-6000:])
            say(f"{len(chosen) - len(left)} faults do not compile and are left out")
            chosen = left

    def lines(self, path, site):
        source = self.finder.source(path)
        return range(source.count(b"\n", 0, site.start) + 1, source.count(b"\n", 0, site.end) + 2)

    def try_all(self, tests, results):
        done = 0
        with concurrent.futures.ThreadPoolExecutor(self.given.jobs) as pool:
            for result in pool.map(lambda result: tests.try_fault(result, self.given.all), results):
                done += 1
                verdict = ("found by " + result.found_by[0] if result.found_by else
                           "NOT FOUND" if result.tests else "NOT REACHED")
                say(f"{done}/{len(results)} {result.where()}: {verdict}")

    def report(self, results):
        with open(os.path.join(self.out, "faults.json"), "w") as file:
            json.dump([result.record() for result in results], file, indent=1)
        table = ["| Fault | Seeded | Found | Share |", "|---|---|---|---|"]
        kinds = sorted({result.site.kind for result in results})
        for name, those in [(kind, [r for r in results if r.site.kind == kind]) for kind in kinds] + [
                (folder, [r for r in results if r.name.startswith(folder)]) for folder in FOLDERS] + [
                    ("all", results)]:
            found = sum(1 for result in those if result.found_by)
            if those:
                table.append(f"| {name} | {len(those)} | {found} | {100 * found / len(those):.1f} % |")
        survivors = [f"{'not found' if r.tests else 'not reached'}: {r.where()}\n    {r.line()}"
                     for r in results if not r.found_by]
        text = "\n".join(table + [""] + survivors) + "\n"
        with open(os.path.join(self.out, "faults.txt"), "w") as file:
            file.write(text)
        print(text, end="")


class Result:
    def __init__(self, root, path, site):
        self.site, self.path = site, path
        self.name = os.path.relpath(path, root)
        self.found_by, self.tests = [], []

    def where(self):
        with open(self.path, "rb") as file:
            before = file.read()[:self.site.start]
        return f"{self.site.number} {self.name}:{before.count(10) + 1}: {self.site.kind}: {self.site.what}"

    def line(self):
        with open(self.path, "rb") as file:
            return b" ".join(file.read()[self.site.start:self.site.end].split()).decode()

    def record(self):
        return {"fault": self.where(), "text": self.line(), "found_by": self.found_by,
                "reached_by": self.tests}


class Tests:
    """The tests of one build: what each reaches, and programs that run several cases at once."""

    def __init__(self, mutation, preset, labels):
        self.mutation = mutation
        shown = subprocess.run(["ctest", "--preset", preset, *labels, "--show-only=json-v1"], check=True,
                               cwd=mutation.tree, stdout=subprocess.PIPE)
        # ThreadSanitizer's fixed mappings collide with the address randomisation of newer kernels.
        self.wrapper = ["setarch", "-R"] if preset == "tsan" else []
        self.tests, self.apart = {}, set()
        for test in json.loads(shown.stdout)["tests"]:
            properties = {p["name"]: p["value"] for p in test.get("properties", [])}
            if "command" in test and re.search(mutation.given.tests, test["name"]):
                self.tests[test["name"]] = (test["command"], properties)
        self.look()

    def look(self):
        say(f"{len(self.tests)} tests run without a fault")
        with concurrent.futures.ThreadPoolExecutor(self.mutation.given.jobs) as pool:
            looked = dict(zip(self.tests, pool.map(self.reached, self.tests)))
        for name, (failed, _, _) in looked.items():
            if failed:
                say(f"{name} fails without a fault and is left out")
        self.reaches = {name: reached for name, (failed, _, reached) in looked.items() if not failed}
        self.seconds = {name: seconds for name, (failed, seconds, _) in looked.items() if not failed}
        # Programs whose cases get along in one process.
        with concurrent.futures.ThreadPoolExecutor(self.mutation.given.jobs) as pool:
            alone = self.batches(self.reaches)
            self.apart = {self.tests[names[0]][0][0] for names, tried in
                          zip(alone, pool.map(lambda names: self.try_batch(names, {}), alone)) if tried[0]}

    def reached(self, name):
        marks = tempfile.NamedTemporaryFile(dir=self.mutation.scratch.name)
        marks.truncate(1 << 16)
        start = time.monotonic()
        failed, _ = self.start(self.tests[name][0], self.tests[name][1], 300, {"QUARLO_REACHED": marks.name})
        seconds = time.monotonic() - start
        marks.seek(0)
        return failed, seconds, {number for number, mark in enumerate(marks.read()) if mark}

    def start(self, command, properties, limit, more):
        environment = {**os.environ, **dict(v.split("=", 1) for v in properties.get("ENVIRONMENT", [])), **more}
        process = subprocess.Popen(self.wrapper + command, cwd=properties["WORKING_DIRECTORY"],
                                   env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.STDOUT, process_group=0, errors="replace")
        try:
            text, _ = process.communicate(timeout=limit)
            failed = process.returncode != 0
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            text, _ = process.communicate()
            failed = True
        return failed, text

    def try_fault(self, result, every):
        names = [name for name, reached in self.reaches.items() if result.site.number in reached]
        result.tests = sorted(set(result.tests) | set(names))
        more = {"QUARLO_FAULT": str(result.site.number)}
        for batch in self.batches(names):
            while batch:
                failed, found_by, batch = self.try_batch(batch, more)
                result.found_by += found_by
                if failed and not every:
                    return result
        return result

    def batches(self, names):
        """The quickest programs first, the cases of one together."""
        programs = collections.defaultdict(list)
        for name in names:
            command = self.tests[name][0]
            is_case = any(word.startswith("--gtest_filter=") for word in command)
            together = is_case and command[0] not in self.apart
            programs[command[0] if together else name].append(name)
        for program in programs.values():
            program.sort(key=lambda name: self.seconds[name])
        return sorted(programs.values(), key=lambda program: sum(self.seconds[name] for name in program))

    def try_batch(self, names, more):
        """Whether it failed, which ones failed, and which ones were not run."""
        command, properties = self.tests[names[0]]
        limit = SLACK + 10 * sum(self.seconds[name] for name in names)
        cases = {word.split("=", 1)[1]: name for name in names for word in self.tests[name][0]
                 if word.startswith("--gtest_filter=")}
        if not cases:
            failed, _ = self.start(command, properties, limit, more)
            return failed, names if failed else [], []
        plain = [word for word in command if not word.startswith("--gtest_filter=")]
        if not self.mutation.given.all:
            plain.append("--gtest_fail_fast")
        failed, text = self.start(plain + ["--gtest_filter=" + ":".join(cases)], properties, limit, more)
        if not failed:
            return False, [], []
        begun = re.findall(r"^\[ RUN      \] (\S+)", text, re.M)
        broken = set(re.findall(r"^\[  FAILED  \] (\S+?),? .*\(\d+ ms\)$", text, re.M))
        ended = broken | set(re.findall(r"^\[       OK \] (\S+)", text, re.M))
        # A program that ends in the middle of a case was ended by it.
        broken |= set(begun[-1:]) - ended
        found_by = [cases[case] for case in cases if case in broken] or names[:1]
        rest = [cases[case] for case in cases if case not in begun] if begun else []
        return True, found_by, rest


def say(text):
    print(text, file=sys.stderr, flush=True)


if __name__ == "__main__":
    main()
