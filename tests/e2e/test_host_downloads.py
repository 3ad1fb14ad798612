"""Downloads through the host while the store, the line, the disk or the keys misbehave: no wrong content is ever shown,
each file that failed is named, and it comes once the cause is gone."""
import signal
import sqlite3
import subprocess
import time

import harness
from host_case import MIB, SLICE, HostCase, main, tree


OBJECTS_OF = """SELECT o.blob FROM objects o JOIN files f ON f.contentId = o.contentId
                WHERE f.name = ? AND f.deletedAt = 0 AND o.attachment = 0 ORDER BY o.position"""


class HostDownloads(HostCase):
    def send(self, *names, size=3 * SLICE + 77, **keywords):
        """A cloud that holds encrypted files of these names, and a host that has none of them yet."""
        up = self.begin(**keywords)
        for name in names:
            self.make_file(up.root / name, size, seed=name)
        self.run_host(up, "put")
        return self.second()

    def objects_of(self, name):
        """The stored objects of a file, in order."""
        database = sqlite3.connect(self.cloud.folder / "cloud.db", timeout=10)
        try:
            rows = database.execute(OBJECTS_OF, (name,)).fetchall()
        finally:
            database.close()
        return [next((self.cloud.folder / "objects").rglob(blob)) for (blob,) in rows]

    def test_a_limit_of_file_sizes_fails_the_files_above_it_alone(self):
        """HOST-GET-01: the shell's limit ends no process; the file is tried again until there is room, or time is up."""
        down = self.send("large")
        self.make_file(self.up.root / "small", 1000)
        self.run_host(self.up, "put")
        limited = ["prlimit", f"--fsize={SLICE}", *down.command("get", "--timeout", "10")]
        done = subprocess.run([str(part) for part in limited], env=self.environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120)
        self.assertEqual(5, done.returncode, done.stdout)
        self.assertIn(b"large", done.stdout)
        self.assertEqual({b"small"}, set(tree(down.root)))
        self.run_host(down, "get")
        self.assertEqual(tree(self.up.root), tree(down.root))

    def test_files_that_were_made_anew_in_the_cloud_under_their_names(self):
        """HOST-GET-10: emptied elsewhere and filled again; a copy that was changed here stays."""
        down = self.send("emptied", "edited", size=5000)
        self.run_host(down, "get")
        for name in ("emptied", "edited"):
            (self.up.root / name).write_bytes(b"")
        self.run_host(self.up, "put")
        (down.root / "edited").write_text("mine")
        told = {event["path"]: event["result"] for event in self.events(down, "put", expect=1) if "path" in event}
        self.assertEqual(("cloud-newer", "conflict"), (told["emptied"], told["edited"]), told)
        told = {event["path"]: event["result"] for event in self.events(down, "get", expect=1) if "path" in event}
        self.assertEqual(("empty-made", "kept-local"), (told["emptied"], told["edited"]), told)
        self.assertEqual(b"", (down.root / "emptied").read_bytes())
        self.assertEqual("mine", (down.root / "edited").read_text())
        (self.up.root / "emptied").write_text("filled")
        self.run_host(self.up, "put")
        self.run_host(down, "get", expect=1)  # the edited one is still told
        self.assertEqual("filled", (down.root / "emptied").read_text())

    def test_objects_that_are_altered_cut_or_lost_in_the_store(self):
        """HOST-CHECK-01, HOST-CHECK-02, HOST-GET-01: named, nothing shown, and whole once the store is mended."""
        down = self.send("altered", "cut", "lost", "whole")
        damaged = {name: self.objects_of(name)[1] for name in ("altered", "cut", "lost")}
        good = {path: path.read_bytes() for path in damaged.values()}
        content = bytearray(good[damaged["altered"]])
        content[1000] ^= 1
        damaged["altered"].write_bytes(content)
        damaged["cut"].write_bytes(good[damaged["cut"]][:-16])
        damaged["lost"].unlink()

        events = self.events(down, "get", "--attempts", "1", expect=1)
        for name in damaged:
            told = self.entry(events, name)
            self.assertEqual("failed", told["result"])
            self.assertIn("the next 'get' tries again", told["message"])
        self.assertEqual("downloaded", self.entry(events, "whole")["result"])
        self.assertEqual({b"whole"}, set(tree(down.root)))
        status = self.status(down, expect=1)
        self.assertEqual(sorted(damaged), sorted(trouble["path"] for trouble in status["troubles"]))

        for path, bytes_before in good.items():
            path.write_bytes(bytes_before)
        self.run_host(down, "get")
        self.assert_same_tree(self.up.root, down.root)
        self.assertEqual([], self.status(down, expect=0)["troubles"])

    def test_a_line_that_alters_cuts_refuses_and_drops(self):
        """HOST-CHECK-01, HOST-CHECK-03, HOST-RETRY-01: what came wrong over the line is fetched again within the same run."""
        down = self.send("one", "two", "three", "four")
        source = self.work / "plain"
        self.make_file(source / "plain one", MIB)
        self.make_file(source / "plain two", MIB)
        self.cloud.stop()
        self.cloud.import_tree(source)
        self.cloud.start()
        self.cloud.tell(
            {"method": "GET", "path": "/store/*", "nth": 2, "corrupt": 5000},
            {"method": "GET", "path": "/store/*", "nth": 5, "cutAfter": 700},
            {"method": "GET", "path": "/store/*", "nth": 8, "drop": True},
            {"method": "GET", "path": "/store/*", "nth": 9, "status": 403, "errorCode": "21004031"},
            {"path": "/v1/downloads/address", "nth": 2, "status": 404, "errorCode": "21000400"},
            {"path": "/v1/downloads/address", "nth": 6, "status": 500},
            {"path": "/v1/files/*/download", "nth": 1, "status": 500},
            {"path": "/v1/files/*/content", "nth": 1, "corrupt": 12345},
            {"path": "/v1/files/*/content", "nth": 2, "cutAfter": 100000})
        self.run_host(down, "get")
        expected = {**tree(self.up.root), **tree(source)}
        self.assertEqual(expected, tree(down.root))

    def full_disk(self, seconds):
        down = self.send("five objects", size=4 * SLICE + 100)
        told = self.work / "told"
        self.run_host(down, "get", environment={
            "LD_PRELOAD": str(harness.LIB / "libfull_disk.so"), "FULL_DISK_OF": "five objects",
            "FULL_DISK_FROM": str(2 * SLICE), "FULL_DISK_SECONDS": str(seconds), "FULL_DISK_TOLD": str(told)})
        self.assertTrue(told.exists(), "the disk was full once")
        self.assert_same_tree(self.up.root, down.root)
        return down

    def test_a_disk_that_is_full_at_the_third_of_five_objects_for_two_seconds(self):
        """HOST-SPACE-01: the write waits for the room and goes on."""
        down = self.full_disk(2)
        self.assertNotIn("End Fail For Retry", down.log())

    def test_a_disk_that_is_full_for_longer_than_a_write_waits(self):
        """HOST-SPACE-02: the engine's second pass begins at the first object again; the check finds
        that, and the file is fetched anew."""
        down = self.full_disk(4)
        self.assertIn("End Fail For Retry", down.log())

    def test_a_real_disk_without_room(self):
        """HOST-SPACE-03: nothing is begun, the code says that it is this machine, and room is all it takes."""
        if subprocess.run(["unshare", "-Urm", "true"], capture_output=True).returncode != 0:
            print("no mount namespace may be made here; the preloaded full disk of the other tests stands for it")
            return self.full_disk(1)
        down = self.send("file")
        script = (
            'set -e; mount -t tmpfs -o size=230m none "$1"; mkdir "$1/files" "$1/staging"; shift; '
            'fallocate -l 60m "$ROOM/ballast"; "$@" init --root "$ROOM/files" --staging "$ROOM/staging" --url "$URL" '
            '--user anna --password-file "$PASSWORD" || exit 90; '
            'set +e; "$@" get; test $? = 7 || exit 91; rm "$ROOM/ballast"; "$@" get || exit 92; '
            'cmp "$ROOM/files/file" "$SOURCE" || exit 93')
        room = self.work / "room"
        room.mkdir()
        done = self.execute(
            "unshare", "-Urm", "sh", "-c", script, "sh", room, harness.BIN / "zelkor-drive", "--state",
            self.work / "room state", environment={
                "ROOM": str(room), "URL": self.cloud.url, "PASSWORD": str(self.cloud.password),
                "SOURCE": str(self.up.root / "file")})
        self.assertIn("make room there", done.stdout)

    def test_a_wrong_key_of_the_account(self):
        """HOST-KEY-01: nothing is shown that a wrong key opened; with the right key it comes."""
        down = self.send("secret")
        self.cloud.command("user", "add", "--data", self.cloud.folder, "bob", "--password-file", self.cloud.password)
        self.swap_keys()
        events = self.events(down, "get", "--attempts", "1", expect=1)
        self.assertEqual("failed", self.entry(events, "secret")["result"])
        self.assertEqual({}, tree(down.root))
        self.swap_keys()
        self.run_host(down, "get")
        self.assert_same_tree(self.up.root, down.root)

    def swap_keys(self):
        self.cloud.stop()
        database = sqlite3.connect(self.cloud.folder / "cloud.db")
        keys = dict(database.execute("SELECT name, sealedKey1 FROM users").fetchall())
        database.execute("UPDATE users SET sealedKey1 = ? WHERE name = 'anna'", (keys["bob"],))
        database.execute("UPDATE users SET sealedKey1 = ? WHERE name = 'bob'", (keys["anna"],))
        database.commit()
        database.close()
        self.cloud.start()

    def test_no_keys_at_all(self):
        """HOST-KEY-02: the person is told once, and a signal ends the wait."""
        down = self.send("secret")
        self.cloud.tell({"path": "/v1/keys/*", "status": 404})
        process = self.spawn_host(down, "get")
        self.wait_until(lambda: "given no keys" in self.said_by(process), 30, "the word about the keys")
        self.assertIn("given no keys", " ".join(self.status(down)["running"]["notes"]))
        process.send_signal(signal.SIGTERM)
        self.ends_with(process, 6, 10)
        self.assertEqual(1, self.said_by(process).count("given no keys"))
        self.cloud.tell()
        self.run_host(down, "get")
        self.assert_same_tree(self.up.root, down.root)

    def test_a_download_that_is_stopped_timed_out_watched_and_cancelled(self):
        """HOST-STOP-01, HOST-STOP-03, HOST-STATUS-01, HOST-STATUS-02, HOST-CANCEL-01, HOST-TIME-01"""
        down = self.send("big", "small", size=16 * SLICE)
        self.cloud.tell({"method": "GET", "path": "/store/*", "rate": 300000})
        process = self.spawn_host(down, "get")
        moving = self.wait_until(lambda: self.in_motion(down), 30, "bytes of the download")
        self.assertEqual("get", moving["running"]["command"])
        self.assertLess(moving["running"]["bytesDone"], moving["running"]["bytesAll"])
        self.assertGreater(moving["running"]["bytesPerSecond"], 0)
        self.assertGreaterEqual(moving["running"]["secondsLeft"], 0)
        self.assertEqual(0, self.run_host(down, "cancel", str(down.root / "small")).returncode)
        begun = time.monotonic()
        process.send_signal(signal.SIGINT)
        self.ends_with(process, 6)
        self.assertLess(time.monotonic() - begun, 8)
        self.assertIn("cancelled   small", self.said_by(process))
        self.assertIn("pending     big: not finished; the next 'get' goes on", self.said_by(process))
        self.assertEqual(["big"], [file["path"] for file in self.status(down)["inMotion"]
                                   if file["state"] == "downloadWaiting"])

        events = self.events(down, "get", "--timeout", "2", expect=5)
        self.assertEqual("pending", self.entry(events, "big")["result"])
        self.assertEqual(5, events[-1]["exitCode"])
        self.assertEqual({}, tree(down.root))
        self.cloud.tell()
        self.run_host(down, "get")
        self.assert_same_tree(self.up.root, down.root)

    def in_motion(self, host):
        status = self.status(host)
        files = [file for file in status["inMotion"] if file["state"] == "downloading" and file["bytesDone"] > 0]
        return status if files and status["running"] and status["running"]["bytesPerSecond"] > 0 else None



if __name__ == "__main__":
    main()
