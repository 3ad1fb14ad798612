"""What the benchmarks of transfers share: a cloud and hosts on loopback, the processor time of each process, and the
required passes of zelkor_transfer_passes. The build is given by ZELKOR_BIN and ZELKOR_LIB."""
import hashlib
import json
import os
import pathlib
import shutil
import statistics
import subprocess
import tempfile
import time
import urllib.request

BIN = pathlib.Path(os.environ["ZELKOR_BIN"])
MIB = 1 << 20
SIZE = int(os.environ.get("ZELKOR_BENCH_MIB", 1024)) * MIB
ROUNDS = int(os.environ.get("ZELKOR_BENCH_ROUNDS", 5))


class Cloud:
    """A zelkor-cloud of its own in a folder, with one user for each name."""

    def __init__(self, folder, *users, slice_size=4 * MIB):
        self.folder, self.process, self.url, self.slice_size = folder, None, "", slice_size
        self.password = folder.parent / "password"
        self.password.write_text("correct horse battery staple\n")
        for user in users:
            subprocess.run([BIN / "zelkor-cloud", "user", "add", "--data", folder, user, "--password-file",
                            self.password], check=True, stdout=subprocess.DEVNULL)

    def __enter__(self):
        self.process = subprocess.Popen([BIN / "zelkor-cloud", "--data", self.folder, "--listen", "127.0.0.1:0",
                                         "--slice-size", str(self.slice_size)], stdout=subprocess.PIPE, text=True)
        self.url = self.process.stdout.readline().split()[-1]
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait(60)
        self.process.stdout.close()

    def call(self, method, path, token="", body=None):
        request = urllib.request.Request(self.url + path, method=method, data=body and json.dumps(body).encode(),
                                         headers={"Authorization": f"Bearer {token}", "Content-Type": "application/json"})
        with urllib.request.urlopen(request, timeout=60) as answer:
            return json.load(answer)

    def login(self, user):
        return self.call("POST", "/v1/account/login", body={
            "user": user, "password": self.password.read_text().strip()})


class Host:
    """One zelkor-drive with a state and a root of its own."""

    def __init__(self, folder, cloud, user):
        self.state, self.root = folder / "state", folder / "root"
        self.root.mkdir(parents=True)
        self.environment = {**os.environ, "HOME": str(folder), "XDG_DATA_HOME": str(folder / "data")}
        self.wait(self.start("init", "--root", self.root, "--url", cloud.url, "--user", user, "--password-file",
                             cloud.password))

    def start(self, command, *options):
        return subprocess.Popen([BIN / "zelkor-drive", command, "--state", self.state, *map(str, options)],
                                env=self.environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)

    @staticmethod
    def wait(process):
        """Processor time of the whole process in seconds, user and system."""
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode != 0:
            raise SystemExit(f"zelkor-drive ended with {process.returncode}")
        return usage.ru_utime + usage.ru_stime

    def run(self, command, *options):
        begin = time.monotonic()
        cpu = self.wait(self.start(command, "-q", *options))
        return {"cpu_s": cpu, "seconds": time.monotonic() - begin}


def run_pass(name, *arguments):
    done = subprocess.run([BIN / "zelkor_transfer_passes", name, *map(str, arguments)], check=True,
                          stdout=subprocess.PIPE, text=True)
    return json.loads(done.stdout)["cpu_s"]


def make_file(path, size):
    with open(path, "wb") as file:
        for _ in range(0, size, MIB):
            file.write(os.urandom(min(MIB, size - file.tell())))


def sha256(path):
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()


class Requests:
    """The addresses of all objects of one file, as lines for zelkor_transfer_passes."""

    def __init__(self, path):
        self.path, self.lines, self.offset = path, [], 0

    def add(self, address, length):
        headers = [f"{name}: {value}" for name, value in address["headers"].items()]
        self.lines.append("\t".join([address["url"], str(self.offset), str(length), *headers]))
        self.offset += length

    def write(self):
        self.path.write_text("\n".join(self.lines) + "\n")
        return self.path


def upload_addresses(cloud, user, path, objects, work):
    """Opens an upload of the file and gets an address for each of its objects."""
    listed = subprocess.run([BIN / "zelkor_transfer_passes", "make-objects", path, objects], check=True,
                            stdout=subprocess.PIPE, text=True).stdout.splitlines()
    account = cloud.login(user)
    plan = cloud.call("POST", "/v1/uploads/start", account["accessToken"], {
        "fileId": "", "fileName": path.name, "parentFolder": account["rootFileId"], "size": path.stat().st_size,
        "sha256": sha256(path), "mimeType": "", "attachmentSize": [], "recordCursor": ""})
    requests = Requests(work / "put.txt")
    for item, line in zip(plan["items"], listed, strict=True):
        length, digest, md5 = line.split()
        address = cloud.call("POST", "/v1/uploads/address", account["accessToken"], {
            **{name: item[name] for name in ("objectId", "synckey", "time")}, "length": int(length), "sha256": digest,
            "md5": md5, "bucketId": plan["bucketId"], "recordCursor": plan["recordCursor"]})
        requests.add(address, int(length))
    return requests.write()


def download_addresses(cloud, user, work):
    """Addresses of the objects of the user's one file."""
    token = cloud.login(user)["accessToken"]
    entry = cloud.call("GET", "/v1/files?cursor=&limit=10", token)["items"][0]
    found = cloud.call("GET", f"/v1/files/{entry['id']}/download", token)
    stored = found["objectInfoList"][0]
    requests, left = Requests(work / "get.txt"), found["size"]
    for object_id, synckey in zip(stored["objectIds"], stored["synckeys"], strict=True):
        address = cloud.call("POST", "/v1/downloads/address", token, {
            "bucketId": stored["bucketId"], "objectId": object_id, "synckey": synckey, "time": stored["time"],
            "recordCursor": found["recordCursor"], "length": stored["length"]})
        plain = min(left, stored["length"] - 16)
        left -= plain
        requests.add(address, plain // 16 * 16 + 16)
    return requests.write()


def report(name, rounds, ours, limit, note):
    """One JSON document; each round is (passes by name, what ours took)."""
    passes = {key: round(statistics.median(entry[0][key] for entry in rounds), 3) for key in rounds[0][0]}
    required, spent = sum(passes.values()), statistics.median(entry[1]["cpu_s"] for entry in rounds)
    print(json.dumps({
        "benchmark": name, "bytes": SIZE, "rounds": len(rounds), "unit": "processor seconds, medians", "passes": passes,
        "required": round(required, 3), ours: round(spent, 3), "ratio": round(spent / required, 3), "limit": limit,
        "seconds": round(statistics.median(entry[1]["seconds"] for entry in rounds), 2),
        "every_round": [round(entry[1]["cpu_s"] / sum(entry[0].values()), 3) for entry in rounds], "note": note},
        indent=2))


class Work:
    """A work folder that goes at the end."""

    def __enter__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="zelkor-bench-"))
        return self.folder

    def __exit__(self, *_):
        shutil.rmtree(self.folder, ignore_errors=True)
