"""Uploads through the host while files change under it and the cloud, the store or the line misbehave: no wrong content
survives, each file that failed is named with the reason, and it goes up once the cause is gone."""
import contextlib
import json
import os
import socket
import sqlite3
import struct
import threading
import zlib

from host_case import SLICE, HostCase, main, powerless, sha256


HASH = "SELECT hash FROM T_cloudDriveData WHERE isFolder = 0"


def picture(width, height):
    """A PNG that holds a colour gradient."""
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    rows = b"".join(b"\0" + bytes(value for x in range(width) for value in (x % 256, y % 256, (x ^ y) % 256))
                    for y in range(height))
    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b"")


class Line:
    """A line to the cloud that hands what goes up over it to a function before it goes on."""

    def __init__(self, port, on_its_way):
        self.target, self.on_its_way = port, on_its_way
        self.ends = []
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.url = f"http://127.0.0.1:{self.listener.getsockname()[1]}"
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            try:
                near, _ = self.listener.accept()
            except OSError:
                return
            far = socket.create_connection(("127.0.0.1", self.target))
            self.ends += [near, far]
            for ends in ((near, far, {}), (far, near, None)):
                threading.Thread(target=self.carry, args=ends, daemon=True).start()

    def carry(self, source, sink, memory):
        try:
            while data := bytearray(source.recv(65536)):
                if memory is not None:
                    self.on_its_way(data, memory)
                sink.sendall(data)
            sink.shutdown(socket.SHUT_WR)
        except OSError:
            return

    def close(self):
        self.listener.close()
        for end in self.ends:
            end.close()


class BitFlip:
    """Turns one bit of the first object that goes up."""

    def __init__(self):
        self.flipped = 0

    def __call__(self, data, memory):
        if self.flipped:
            return
        head = data.find(b"\r\n\r\n") + 4 if data.startswith(b"PUT /store/") else 0
        memory["body"] = memory.get("body") or data.startswith(b"PUT /store/")  # an object's bytes come next
        if memory["body"] and len(data) > head + 10:
            data[head + 10] ^= 4
            self.flipped += 1


class HostUploads(HostCase):
    # HOST-NAME-01, HOST-PUT-01, HOST-PUT-02, HOST-VERIFY-01, HOST-VERIFY-02
    def test_odd_names_empty_files_and_folders_go_up_and_come_back(self):
        up = self.begin()
        names = ["it's", 'double "quote"', "back\\slash", "new\nline", "tab\tand ; drop", "%41 percent", "-dash", "\uf05c"]
        for name in names:
            self.make_file(up.root / "a folder" / name, 500, seed=name)
            (up.root / "empty ones" / name).mkdir(parents=True)
            (up.root / "empty ones" / name / name).touch()
        with open(os.path.join(os.fsencode(str(up.root)), b"not \xff utf-8"), "wb") as file:
            file.write(b"undecodable name")
        (up.root / "a link").symlink_to("a folder")
        events = self.events(up, "put")
        self.assertEqual("uploaded", self.entry(events, "not \uf7ff utf-8")["result"])
        self.assertEqual("not-sent", self.entry(events, "a link")["result"])
        (up.root / "a link").unlink()
        paths = [event["path"] for event in events if event["event"] == "entry" and event["result"] == "folder-made"]
        self.assertEqual(sorted(paths, key=lambda path: path.count("/")), paths, "a folder before what is in it")
        self.put_and_get_back()

        # A digest that was true once proves nothing: the content changes and its size and time do not.
        victim = up.root / "a folder" / "it's"
        before = victim.stat()
        victim.write_bytes(b"x" + victim.read_bytes()[1:])
        os.utime(victim, ns=(before.st_atime_ns, before.st_mtime_ns))
        events = self.events(up, "verify", expect=1)
        self.assertEqual("differs", self.entry(events, "a folder/it's")["result"])
        self.assertEqual(1, events[-1]["troubles"])

    # HOST-VERIFY-03, HOST-VERIFY-04, HOST-VERIFY-05
    def test_damage_in_the_store_is_found_by_bringing_the_content_down(self):
        up = self.begin("--server-pattern", "*.plain")
        names = ["altered", "cut", "lost", "plain.plain", "whole"]
        for name in names:
            self.make_file(up.root / name, 2 * SLICE + 77, seed=name)
        (up.root / "empty").touch()
        self.run_host(up, "put")
        before = {name: sha256(up.root / name) for name in names}
        self.assertEqual(0, self.events(up, "verify")[-1]["troubles"])
        for name, harm in (("altered", self.alter), ("cut", lambda path: os.truncate(path, SLICE)),
                           ("lost", os.unlink), ("plain.plain", self.alter)):
            harm(self.blobs_of(name)[1 if name != "plain.plain" else 0])

        events = self.events(up, "verify", expect=1)
        results = {name: self.entry(events, name)["result"] for name in names[:4]}
        self.assertEqual({"altered": "failed", "cut": "failed", "lost": "failed", "plain.plain": "differs"}, results)
        for name in names[:3]:
            self.assertIn("object 2 of 3 is lost, damaged, or of another key", self.entry(events, name)["message"])
        self.assertIn("the content there is damaged", self.entry(events, "plain.plain")["message"])
        self.assertEqual(4, events[-1]["troubles"])
        self.assertEqual(before, {name: sha256(up.root / name) for name in names}, "what is here stays as it is")
        self.assertEqual(0, self.events(up, "verify", "--quick")[-1]["troubles"], "it believes the cloud")

    # HOST-VERIFY-06
    def test_a_cloud_that_goes_away_ends_the_check(self):
        up = self.begin()
        for number in range(5):
            self.make_file(up.root / f"file {number}", 100, seed=number)
        self.run_host(up, "put")
        self.cloud.tell({"path": "/v1/files/*/download", "status": 500})
        events = self.events(up, "verify", expect=3)
        results = sorted(event["result"] for event in events if event["event"] == "entry")
        self.assertEqual(3 * ["failed"] + 2 * ["pending"], results)
        self.assertIn("does not answer any more", self.said)

    def alter(self, path):
        """One bit of it."""
        content = bytearray(path.read_bytes())
        content[len(content) // 2] ^= 1
        path.write_bytes(content)

    def blobs_of(self, name):
        """The files of the store that hold a file's content, in order."""
        database = sqlite3.connect(next(self.cloud.folder.glob("*.db")))
        rows = database.execute("SELECT o.blob FROM files f JOIN objects o ON o.contentId = f.contentId WHERE f.name = ? "
                                "ORDER BY o.position", (name,)).fetchall()
        database.close()
        return [next(path for path in self.cloud.objects() if path.name in blob) for blob, in rows]

    # HOST-UP-01, HOST-UP-02, HOST-RETRY-02
    def test_every_refusal_on_the_road_of_an_upload(self):
        up = self.begin()
        for number in range(6):
            self.make_file(up.root / f"file {number}", 2 * SLICE + number, seed=number)
        self.cloud.tell(
            {"path": "/v1/uploads/address", "nth": 2, "status": 404, "errorCode": "21000400"},
            {"path": "/v1/uploads/address", "nth": 6, "status": 500},
            {"method": "PUT", "path": "/store/*", "nth": 3, "status": 400},
            {"method": "PUT", "path": "/store/*", "nth": 6, "drop": True},
            {"path": "/v1/uploads/object-complete", "nth": 4, "status": 500},
            {"path": "/v1/uploads/start", "nth": 2, "status": 500},
            {"path": "/v1/uploads/create-complete", "nth": 1, "status": 500},
            {"path": "/v1/uploads/create-complete", "nth": 2, "status": 409, "errorCode": "21004932"},
            {"path": "/v1/uploads/create-complete", "nth": 3, "status": 404, "errorCode": "21000401"},
            {"path": "/v1/uploads/create-complete", "nth": 4, "status": 403, "errorCode": "21009999"},
            {"path": "/v1/uploads/create-complete", "nth": 5, "status": 409, "errorCode": "21015002", "afterWork": True})
        self.run_host(up, "put")
        self.put_and_get_back()

    # HOST-CONFLICT-03
    def test_an_interrupted_upload_that_became_a_conflict_is_not_carried_out(self):
        up = self.begin()
        self.make_file(up.root / "both", 2 * SLICE, seed="first")
        self.run_host(up, "put")
        other = self.second()
        self.run_host(other, "get")
        self.make_file(up.root / "both", 3 * SLICE, seed="here")
        self.cloud.tell({"method": "PUT", "path": "/store/*", "status": 503})
        self.run_host(up, "put", "--timeout", "4", expect=5)
        self.assertEqual(1, len(up.query("SELECT fileId FROM T_task WHERE direction = 2")))
        self.cloud.tell()
        self.make_file(other.root / "both", 4 * SLICE, seed="there")
        self.run_host(other, "put")

        self.make_file(up.root / "another", 100)  # so that the engine has something to do
        known = len(self.starts())
        events = self.events(up, "put", expect=1)
        self.assertEqual("conflict", self.entry(events, "both")["result"])
        self.assertEqual("uploaded", self.entry(events, "another")["result"])
        self.assertEqual(1, len(self.starts()) - known, "the engine has not even begun with the other")
        self.assertEqual([], up.query("SELECT fileId FROM T_task"))
        back = self.second("back")
        self.run_host(back, "get")
        self.assertEqual(sha256(other.root / "both"), sha256(back.root / "both"))

    def starts(self):
        return [entry for entry in self.cloud.requests() if entry["path"] == "/v1/uploads/start"]

    # HOST-ROWS-01, HOST-CACHE-01
    def test_rows_that_contradict_the_cloud_are_put_right_and_pictures_do_not_stay(self):
        up = self.begin()
        (up.root / "picture.png").write_bytes(picture(640, 400))
        self.run_host(up, "put")
        cached = [path for path in (up.state / "cache").rglob("*") if path.is_file()]
        self.assertEqual([], cached, "the small pictures have gone up with the file")
        digest = sha256(up.root / "picture.png")
        self.assertEqual([(digest,)], up.query(HASH))
        for command in ("put", "get"):
            database = sqlite3.connect(up.database())
            database.execute("UPDATE T_cloudDriveData SET hash = 'wrong' WHERE isFolder = 0")
            database.commit()
            database.close()
            self.run_host(up, command)
            self.assertEqual([(digest,)], up.query(HASH), command)

    # HOST-UP-04, HOST-UP-05
    def test_refusals_that_last_until_their_cause_is_gone(self):
        up = self.begin()
        for name in ("one", "two"):
            self.make_file(up.root / name, 2 * SLICE, seed=name)
        for rule in ({"path": "/v1/uploads/address", "status": 404, "errorCode": "21000400"},
                     {"path": "/v1/uploads/create-complete", "status": 404, "errorCode": "21000401"}):
            self.cloud.tell(rule)
            events = self.events(up, "put", "--attempts", "1", expect=1)
            for name in ("one", "two"):
                told = self.entry(events, name)
                self.assertEqual("failed", told["result"])
                self.assertIn("the next 'put' tries again", told["message"])
            self.assertEqual(["one", "two"], [trouble["path"] for trouble in self.status(up)["troubles"]])
        self.cloud.tell({"path": "/v1/uploads/create-complete", "nth": 1, "afterWork": True, "drop": True})
        self.run_host(up, "put")
        self.assertEqual([], self.status(up, expect=0)["troubles"])
        self.put_and_get_back()

    # HOST-UP-03
    def test_an_object_that_is_altered_on_its_way_up(self):
        up = self.begin()
        flip = BitFlip()
        self.make_file(up.root / "file", 3 * SLICE)
        with self.line(up, flip):
            self.run_host(up, "put")
        self.assertEqual(1, flip.flipped)
        self.put_and_get_back()

    @contextlib.contextmanager
    def line(self, host, on_its_way):
        """The host speaks to the cloud over a line for a while."""
        line, settings = Line(self.cloud.port, on_its_way), host.state / "settings.ini"
        straight, direct = settings.read_text(), self.cloud.url
        try:
            settings.write_text(straight.replace(direct.split(":")[-1], line.url.split(":")[-1]))
            yield
        finally:
            line.close()
            settings.write_text(straight)

    # HOST-CHANGE-06
    def test_a_file_that_is_edited_between_its_key_and_its_digest_has_one_key_in_the_end(self):
        up = self.begin()
        self.make_file(up.root / "file", 3 * SLICE, seed="before")
        edits = []

        def edit(data, memory):
            # The space is asked for after the key has been formed, and before the content is hashed for the start.
            if data.startswith(b"GET /v1/account/space ") and not edits:
                edits.append(self.make_file(up.root / "file", 3 * SLICE, seed="after"))

        self.cloud.tell({"method": "PUT", "path": "/store/*", "nth": 2, "status": 400})
        with self.line(up, edit):
            self.run_host(up, "put", "--attempts", "1", expect=1)
        self.assertEqual(1, len(edits))
        self.assertEqual(1, len(self.cloud.objects()), "one object has gone up under the key of the old content")
        self.run_host(up, "put")
        starts = [entry["request"] for entry in self.starts()]
        self.assertEqual(2, len({start["keyDigest"] for start in starts}), starts)
        self.assertEqual(1, len({start["sha256"] for start in starts}), starts)
        self.put_and_get_back()

    # HOST-CHANGE-01, HOST-CHANGE-02, HOST-CHANGE-03, HOST-CHANGE-04
    def test_files_that_change_while_they_are_sent(self):
        up = self.begin()
        names = ["edited", "grown", "shrunk", "emptied", "removed", "closed midway"]
        for name in [*names, "unreadable"]:
            self.make_file(up.root / name, 4 * SLICE, seed=name)
        (up.root / "unreadable").chmod(0)
        self.cloud.tell({"method": "PUT", "path": "/store/*", "uploadRate": 200000})
        log = open(self.work / "put.jsonl", "wb")
        process = self.spawn(*powerless(up.command("put", "--json", "--attempts", "3", "--uploads", "6")), stdout=log)
        log.close()
        self.wait_until(lambda: self.begun(up) >= len(names), 30, "the first objects of all files")
        self.make_file(up.root / "edited", 4 * SLICE, seed="new")
        self.make_file(up.root / "grown", 5 * SLICE + 1, seed="grown")
        os.truncate(up.root / "shrunk", SLICE + 3)
        os.truncate(up.root / "emptied", 0)
        (up.root / "removed").unlink()
        (up.root / "closed midway").chmod(0)
        self.cloud.tell()
        self.assertEqual(1, process.wait(60))
        events = self.lines_of(self.work / "put.jsonl")
        results = {name: self.entry(events, name)["result"] for name in [*names[:-1], "unreadable"]}
        self.assertEqual({"edited": "uploaded", "grown": "uploaded", "shrunk": "uploaded", "emptied": "empty-made",
                          "removed": "failed", "unreadable": "failed"}, results)
        self.assertIn("vanished", self.entry(events, "removed")["message"])
        self.assertIn("cannot be read: Permission denied", self.entry(events, "unreadable")["message"])
        (up.root / "unreadable").chmod(0o644)
        (up.root / "closed midway").chmod(0o644)
        self.run_host(up, "put")
        self.put_and_get_back()

    # HOST-CHANGE-05, HOST-CHANGE-07
    def test_files_that_change_between_their_check_and_the_answer_of_the_cloud(self):
        up = self.begin()
        for name in ("edited", "touched"):
            self.make_file(up.root / name, 1000, seed=name)
        self.cloud.tell(*({"path": "/v1/uploads/create-complete", "nth": nth, "delay": 3} for nth in (1, 2)))
        process = self.spawn_host(up, "put", "--uploads", "2")
        self.wait_until(lambda: up.log().count("Check file hash End") == 2, 30, "the checks of both files")
        self.make_file(up.root / "edited", 1000, seed="late")
        self.make_file(up.root / "touched", 1000, seed="touched")
        self.ends_with(process, 0)
        completions = [entry["path"].split("/")[-1] for entry in self.cloud.requests() if "-complete" in entry["path"]
                       and "object" not in entry["path"]]
        self.assertEqual(["create-complete", "create-complete", "update-complete"], completions)
        # The stored digest was blanked with the change: no start goes out under the old one.
        self.assertEqual(3, len(self.starts()), "one attempt for each content")
        self.assertEqual(sha256(up.root / "edited"), self.starts()[-1]["request"]["sha256"])
        self.put_and_get_back()

    def begun(self, host):
        """How many files have their plan."""
        return host.query("SELECT COUNT(*) FROM T_task WHERE direction = 2 AND LENGTH(fragmentInfo) > 10")[0][0]

    def lines_of(self, path):
        return [json.loads(line) for line in path.read_text().splitlines() if line.startswith("{")]


if __name__ == "__main__":
    main()
