"""Uploads through the host that have to wait, for room in the cloud or for a cloud that is being moved, and those that
somebody watches, cancels or breaks off."""
import signal
import time

from host_case import MIB, HostCase, main


class HostWaits(HostCase):
    # HOST-QUOTA-01, HOST-QUOTA-02
    def test_a_full_space_that_comes_back(self):
        up = self.begin(quota=3 * MIB)
        self.space_limits(up, full=MIB, low=2 * MIB)
        self.make_file(up.root / "first", MIB + 100)
        self.make_file(up.root / "second", 3 * MIB)
        events = self.events(up, "put", "--attempts", "2", expect=1)
        self.assertEqual(1, self.said.count("the space of anna in the cloud is full"), self.said)
        self.assertEqual("uploaded", self.entry(events, "first")["result"])
        self.assertIn("the space in the cloud is full", self.entry(events, "second")["message"])
        self.assertIn("is full", self.status(up, expect=1)["spaceNotice"])
        self.set_quota(100 * MIB)
        self.run_host(up, "put", "--attempts", "2")
        self.assertEqual("", self.status(up, expect=0)["spaceNotice"])
        self.put_and_get_back()

    def space_limits(self, host, full, low):
        settings = host.state / "settings.ini"
        text = settings.read_text()
        for name, value in (("full_bytes", full), ("low_bytes", low)):
            text = "\n".join(f"{name} = {value}" if line.startswith(f"{name} =") else line for line in text.split("\n"))
        settings.write_text(text)

    def set_quota(self, quota):
        self.cloud.stop()
        self.cloud.command("user", "set", "--data", self.cloud.folder, "anna", "--quota", str(quota))
        self.cloud.start()

    # HOST-QUOTA-03
    def test_a_space_that_will_soon_be_full(self):
        up = self.begin(quota=8 * MIB)
        self.space_limits(up, full=MIB, low=20 * MIB)
        self.make_file(up.root / "file", 1000)
        done = self.run_host(up, "put")
        self.assertEqual(1, done.stdout.count("will soon be full"))
        self.assertIn("will soon be full", self.status(up)["spaceNotice"])

    # HOST-MIGRATE-01, HOST-MIGRATE-02
    def test_a_cloud_that_is_moved_and_comes_back(self):
        up = self.begin()
        for number in range(3):
            self.make_file(up.root / f"file {number}", 1000, seed=number)
        self.cloud.tell(migrating=True)
        process = self.spawn_host(up, "put")
        self.wait_until(lambda: "is being moved" in self.said_by(process), 20, "the word about the migration")
        self.wait_until(lambda: not up.query("SELECT fileId FROM T_task"), 10, "the empty task table")
        self.cloud.tell()
        self.ends_with(process, 0)
        self.assertEqual(1, self.said_by(process).count("is being moved"))
        self.put_and_get_back()

    # HOST-MIGRATE-01, HOST-MIGRATE-03
    def test_a_cloud_that_is_still_being_moved_at_the_last_try(self):
        up = self.begin()
        self.make_file(up.root / "file", 1000)
        self.cloud.tell(migrating=True)
        events = self.events(up, "put", "--attempts", "2", expect=3)
        self.assertEqual("pending", self.entry(events, "file")["result"])
        self.assertEqual(1, self.said.count("is being moved"))
        self.assertEqual(1, self.said.count("still being moved"))
        self.cloud.tell()
        self.run_host(up, "put")
        self.put_and_get_back()

    # HOST-STOP-02, HOST-STOP-03, HOST-TIME-01, HOST-STATUS-01, HOST-CANCEL-02, HOST-CANCEL-03, HOST-PROGRESS-01
    def test_an_upload_that_is_watched_cancelled_stopped_and_timed_out(self):
        up = self.begin(slice_size=MIB)
        for name in ("a", "b", "c"):
            self.make_file(up.root / name, 5 * MIB, seed=name)
        self.cloud.tell({"method": "PUT", "path": "/store/*", "uploadRate": 700000})
        process = self.spawn_host(up, "put", "--uploads", "1")
        moving = self.wait_until(lambda: self.in_motion(up), 30, "bytes of the upload")
        sending = next(file for file in moving["inMotion"] if file["state"] == "uploading")["path"]
        waiting = next(file for file in moving["inMotion"] if file["state"] == "uploadWaiting")["path"]
        self.assertIn("at this moment", self.run_host(up, "cancel", sending, expect=1).stdout)
        self.run_host(up, "cancel", waiting)
        begun = time.monotonic()
        process.send_signal(signal.SIGTERM)
        self.ends_with(process, 6)
        self.assertLess(time.monotonic() - begun, 8)
        self.assertIn(f"cancelled   {waiting}", self.said_by(process))
        self.assertIn(f"pending     {sending}: not finished; the next 'put' goes on", self.said_by(process))

        events = self.events(up, "put", "--timeout", "5", expect=5)
        self.assertEqual({"pending"}, {self.entry(events, name)["result"] for name in ("a", "b", "c")})
        self.cloud.tell()
        self.run_host(up, "put")
        stored = [entry["path"] for entry in self.cloud.puts() if entry["status"] == 200]
        self.assertGreaterEqual(18, len(stored), "what was stored is not sent again")
        self.put_and_get_back()

    def in_motion(self, host):
        status = self.status(host)
        running = status["running"]
        moving = running and running["bytesPerSecond"] > 0 and 0 < running["bytesDone"] < running["bytesAll"]
        return status if moving and running["secondsLeft"] >= 0 else None


if __name__ == "__main__":
    main()
