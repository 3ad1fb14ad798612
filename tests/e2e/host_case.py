"""What the end-to-end tests of the host share: a cloud whose misbehaviour can be told, and hosts to look at."""
import concurrent.futures
import json
import os
import shutil
import subprocess
import sys
import time
import unittest

from harness import MIB, Case, Cloud, Host, sha256, tree

AT_ONCE = 4  # cases; they wait for the engine's pauses most of the time

SLICE = 256 * 1024  # plain bytes an object; small, so that a file has many


class TellingCloud(Cloud):
    """A cloud with small objects and a scenario file that may be rewritten while it runs."""

    def __init__(self, case, *options, slice_size=SLICE):
        self.scenario = case.work / "scenario.json"
        super().__init__(case, "--slice-size", str(slice_size), "--scenario", str(self.scenario), *options)
        self.tell()

    def tell(self, *rules, migrating=False):
        """Replaces what the cloud does wrong; with no rules it behaves."""
        fresh = self.scenario.with_suffix(".new")
        fresh.write_text(json.dumps({"migrating": migrating, "rules": list(rules)}))
        fresh.rename(self.scenario)
        time.sleep(0.06)  # it looks at most every 50 ms

    def objects(self):
        """The stored objects, oldest first."""
        found = [path for path in (self.folder / "objects").rglob("*") if path.is_file()]
        return sorted(found, key=lambda path: path.stat().st_mtime_ns)

    def puts(self):
        return [entry for entry in self.requests() if entry["method"] == "PUT" and entry["path"].startswith("/store/")]


class HostCase(Case):
    def setUp(self):
        super().setUp()
        self.cloud = None

    def begin(self, *options, quota=None, **keywords):
        """A running cloud with one user, and the host that sends."""
        self.cloud = TellingCloud(self, *options, **keywords)
        self.cloud.add_user()
        if quota is not None:
            self.cloud.command("user", "set", "--data", self.cloud.folder, "anna", "--quota", str(quota))
        self.cloud.start()
        self.up = Host(self, self.cloud, "up").init()
        return self.up

    def second(self, name="down"):
        return Host(self, self.cloud, name).init()

    def run_host(self, host, name, *options, expect=0, **keywords):
        return self.execute(*host.command(name, *options), expect=expect, **keywords)

    def events(self, host, name, *options, expect=0, **keywords):
        """The command's JSON lines; what went to the error stream is in `self.said`."""
        done = subprocess.run([str(part) for part in host.command(name, "--json", *options)],
                              env={**self.environment, **keywords.get("environment", {})}, stdin=subprocess.DEVNULL,
                              capture_output=True, timeout=120)
        self.said = done.stderr.decode(errors="replace")
        text = done.stdout.decode()
        self.assertEqual(expect, done.returncode, f"{name}: {text[-3000:]}\n{self.said[-3000:]}")
        return [json.loads(line) for line in text.splitlines()]

    def entry(self, events, path):
        found = [event for event in events if event["event"] == "entry" and event["path"] == path]
        self.assertEqual(1, len(found), f"{path} is told once: {events}")
        return found[0]

    def spawn_host(self, host, name, *options, **keywords):
        """A running command whose output goes to files; see `said_by`."""
        log = self.work / f"{name}-{len(self.processes)}.log"
        with open(log, "wb") as out:
            process = self.spawn(*host.command(name, *options), stdout=out, **keywords)
        process.log = log
        return process

    def said_by(self, process):
        return process.log.read_text(errors="replace")

    def ends_with(self, process, code, seconds=40):
        self.assertEqual(code, process.wait(seconds), self.said_by(process))

    def status(self, host, *options, expect=None):
        done = self.execute(*host.command("status", "--json", *options), expect=None)
        if expect is not None:
            self.assertEqual(expect, done.returncode, done.stdout)
        return json.loads(done.stdout)

    def put_and_get_back(self):
        """What stands in the sending root comes down into a new one, byte for byte."""
        down = self.second("back")
        self.run_host(down, "get")
        self.assert_same_tree(self.up.root, down.root)


def powerless(command):
    """The command without the power to read every file, which a test that runs as root would have."""
    if os.geteuid() != 0:
        return [str(part) for part in command]
    return [shutil.which("setpriv") or "setpriv", "--bounding-set=-all", "--inh-caps=-all", *map(str, command)]


def main():
    """Runs the cases that are named, or all of the file, several at once and each in a process of its own."""
    if len(sys.argv) > 1:
        unittest.main(verbosity=2)
    suites = unittest.defaultTestLoader.loadTestsFromModule(sys.modules["__main__"])
    names = [".".join(case.id().split(".")[-2:]) for suite in suites for case in suite]

    def run(name):
        begun = time.monotonic()
        done = subprocess.run([sys.executable, sys.argv[0], name], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              text=True, errors="replace")
        return name, done.returncode, done.stdout, time.monotonic() - begun

    failed = 0
    with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
        for name, code, output, seconds in pool.map(run, names):
            print(f"{'ok' if code == 0 else 'FAILED':6} {seconds:5.1f} s  {name}", flush=True)
            if code != 0:
                failed += 1
                print(output, flush=True)
    print(f"{len(names)} cases, {failed} failed")
    sys.exit(1 if failed or not names else 0)
