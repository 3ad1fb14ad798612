"""Real processes on loopback: a cloud, a host, and what to ask them. Used by the end-to-end tests.

The build to test is given by the environment: ZELKOR_BIN (folder of the programs), ZELKOR_LIB (folder of the
libraries) and ZELKOR_SANITIZE (empty, or what the build was made with). Every process writes its sanitizer reports to
files; one report fails the test, whatever the process answered.
"""
import hashlib
import json
import os
import pathlib
import re
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time
import unittest

BIN = pathlib.Path(os.environ["ZELKOR_BIN"])
LIB = pathlib.Path(os.environ["ZELKOR_LIB"])
SANITIZE = os.environ.get("ZELKOR_SANITIZE", "")
HERE = pathlib.Path(__file__).resolve().parent
MIB = 1 << 20
sys.path.insert(0, str(HERE.parents[1] / "tools" / "conform"))

from protocol import Protocol  # noqa: E402


def sanitizer_environment(reports):
    """Settings that send every report to a file below `reports`, since a host may end without destructors."""
    common = f"log_path={reports}/report:exitcode=66"
    suppressions = HERE / "thread_suppressions.txt"
    return {
        "ASAN_OPTIONS": f"{common}:detect_leaks=1:verify_asan_link_order=0",
        "LSAN_OPTIONS": f"{common}:print_suppressions=0",
        "UBSAN_OPTIONS": f"{common}:print_stacktrace=1:halt_on_error=0",
        "TSAN_OPTIONS": f"{common}:halt_on_error=0:second_deadlock_stack=1:suppressions={suppressions}",
    }


def sha256(path):
    digest = hashlib.sha256()
    with open(path, "rb") as file:
        while block := file.read(MIB):
            digest.update(block)
    return digest.hexdigest()


def tree(root):
    """Everything below a folder: relative name (bytes) to SHA-256, "/" for a folder, "@" for a link."""
    root = os.fsencode(str(root))
    found = {}
    for folder, folders, files in os.walk(root):
        for name in folders + files:
            path = os.path.join(folder, name)
            relative = os.path.relpath(path, root)
            if os.path.islink(path):
                found[relative] = "@"
            elif os.path.isdir(path):
                found[relative] = "/"
            else:
                found[relative] = sha256(path)
    return found


class Cloud:
    """A zelkor-cloud process of its own with an embedded store."""

    def __init__(self, case, *options):
        self.case = case
        self.folder = case.work / "cloud"
        self.journal = case.work / "journal.jsonl"
        self.options = options
        self.process = None
        self.url = ""
        self.port = 0
        self.password = case.work / "password"
        self.password.write_text("correct horse battery staple\n")
        case.clouds.append(self)

    def command(self, *arguments):
        return self.case.execute(BIN / "zelkor-cloud", *arguments)

    def add_user(self, name="anna"):
        self.command("user", "add", "--data", self.folder, name, "--password-file", self.password)

    def import_tree(self, source, user="anna"):
        return self.command("import", "--data", self.folder, "--user", user, source).stdout

    def start(self):
        self.process = self.case.spawn(
            BIN / "zelkor-cloud", "--data", self.folder, "--listen", f"127.0.0.1:{self.port}", "--journal",
            self.journal, "--journal-bodies", *self.options, stdout=subprocess.PIPE)
        line = self.process.stdout.readline()
        match = re.match(r"listening on (http://127\.0\.0\.1:(\d+))", line)
        self.case.assertTrue(match, f"the cloud did not start: {line!r}")
        self.url, self.port = match.group(1), int(match.group(2))
        return self

    def stop(self):
        if self.process and self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            self.case.assertEqual(0, self.process.wait(60), "the cloud did not end cleanly")
        self.process = None

    def requests(self):
        """The journal, one dictionary a request that has ended."""
        if not self.journal.exists():
            return []
        lines = self.journal.read_text(encoding="utf-8").splitlines()
        return [json.loads(line) for line in lines if line.strip()]

    def undocumented(self):
        """What was said on the wire and docs/openapi.json does not tell of, each once."""
        protocol = Protocol()
        return sorted({problem for entry in self.requests() for problem in protocol.journal_problems(entry)})

    def content_requests(self):
        return [entry for entry in self.requests() if entry["path"].endswith("/content")]

    def most_content_requests_at_once(self):
        moments = []
        for entry in self.content_requests():
            moments += [(entry["begin"], 1), (entry["end"], -1)]
        running = most = 0
        for _, change in sorted(moments):
            running += change
            most = max(most, running)
        return most


class Host:
    """The state and the tree of one zelkor-drive."""

    def __init__(self, case, cloud, name="down", user="anna"):
        self.case, self.cloud, self.user = case, cloud, user
        self.state = case.work / name / "state"
        self.root = case.work / name / "root"
        self.state.mkdir(parents=True, exist_ok=True)
        self.root.mkdir(parents=True, exist_ok=True)

    def command(self, name, *options):
        return [BIN / "zelkor-drive", name, "--state", self.state, *options]

    def init(self, *options):
        self.case.execute(*self.command("init", "--root", self.root, "--url", self.cloud.url, "--user", self.user,
                                    "--password-file", self.cloud.password, *options))
        return self

    def get(self, *options, expect=0, **keywords):
        return self.case.execute(*self.command("get", *options), expect=expect, **keywords)

    def spawn_get(self, *options, **keywords):
        return self.case.spawn(*self.command("get", *options), stdout=subprocess.DEVNULL, **keywords)

    def database(self):
        return next(self.state.rglob("transfer.db"))

    def query(self, statement, *values):
        connection = sqlite3.connect(self.database(), timeout=10)
        try:
            return connection.execute(statement, values).fetchall()
        finally:
            connection.close()

    def position(self):
        """The position record of the one download task, or None without one."""
        rows = self.query("SELECT IFNULL(fragmentInfo, '') FROM T_task WHERE direction = 1")
        if not rows or len(rows[0][0]) < 11:
            return None if not rows else 0
        return json.loads(rows[0][0])["writePosition"]

    def log(self):
        files = sorted(self.state.rglob("transfer*.log"))
        return "".join(file.read_text(encoding="utf-8", errors="replace") for file in files)


class Case(unittest.TestCase):
    """A test with a work folder, processes that it ends by their ids, and a look at the sanitizers' reports."""

    maxDiff = None

    def setUp(self):
        self.work = pathlib.Path(tempfile.mkdtemp(prefix="zelkor-e2e-"))
        self.reports = self.work / "reports"
        self.reports.mkdir()
        self.processes = []
        self.clouds = []
        self.environment = {**os.environ, **sanitizer_environment(self.reports),
                            "HOME": str(self.work / "home"), "XDG_DATA_HOME": str(self.work / "home" / "data")}
        (self.work / "home" / "data").mkdir(parents=True)

    def tearDown(self):
        for process in self.processes:
            if process.poll() is None:
                process.kill()
                process.wait(30)
            if process.stdout:
                process.stdout.close()
        reports = self.sanitizer_reports()
        undocumented = [problem for cloud in self.clouds for problem in cloud.undocumented()]
        failed = any(error for _, error in self._outcome.errors) if hasattr(self._outcome, "errors") else False
        if not failed and not reports and not undocumented and not os.environ.get("ZELKOR_KEEP"):
            shutil.rmtree(self.work, ignore_errors=True)
        else:
            print(f"kept: {self.work}")
        self.assertEqual("", reports, "a sanitizer has reported")
        self.assertEqual([], undocumented, "said on the wire, but not in docs/openapi.json")

    def sanitizer_reports(self):
        return "\n".join(file.read_text(errors="replace") for file in sorted(self.reports.iterdir()))

    def run_process(self, *command, environment=None, timeout=300):
        return subprocess.run([str(part) for part in command], env={**self.environment, **(environment or {})},
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                              timeout=timeout, errors="replace")

    def execute(self, *command, expect=0, **keywords):
        done = self.run_process(*command, **keywords)
        if expect is not None:
            self.assertEqual(expect, done.returncode, f"{command}\n{done.stdout[-4000:]}")
        return done

    def spawn(self, *command, environment=None, stdout=subprocess.DEVNULL):
        process = subprocess.Popen([str(part) for part in command], env={**self.environment, **(environment or {})},
                                   stdin=subprocess.DEVNULL, stdout=stdout, stderr=subprocess.STDOUT, text=True)
        self.processes.append(process)
        return process

    def wait_until(self, condition, seconds=60, what="the condition"):
        deadline = time.monotonic() + seconds
        while time.monotonic() < deadline:
            if value := condition():
                return value
            time.sleep(0.05)
        self.fail(f"{what} did not come within {seconds} s")

    def make_file(self, path, size, seed=1):
        """A file of bytes that no compression and no hole would hide."""
        path.parent.mkdir(parents=True, exist_ok=True)
        with open(path, "wb") as file:
            counter = 0
            while file.tell() < size:
                block = hashlib.shake_256(f"{seed}:{counter}".encode()).digest(MIB)
                file.write(block[: min(MIB, size - file.tell())])
                counter += 1

    def assert_same_tree(self, expected, found):
        self.assertEqual(tree(expected), tree(found))
