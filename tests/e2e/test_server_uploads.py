"""Uploads through the file proxy by a real host and a real cloud: whole and slice by slice, new files and new versions,
cut at each slice, gone sessions, other refusals, and files that change while they go up."""
import sqlite3
import threading
import time

from harness import MIB
from host_case import HostCase, main, sha256

SLICE = 3 * MIB
PROXIED = ("--upload-type", "server", "--proxy-slice-size", str(SLICE))


class ServerUploads(HostCase):
    def proxied(self):
        return [entry for entry in self.cloud.requests() if entry["path"].startswith("/proxy/")]

    def slices(self):
        """(position, length, status) of each slice, in order."""
        return [(int(entry["contentRange"].split()[1].split("-")[0]), entry["bytesIn"], entry["status"])
                for entry in self.proxied() if entry["method"] == "PUT"]

    def starts(self):
        return [entry for entry in self.cloud.requests() if entry["path"] == "/v1/uploads/start"]

    def records(self):
        """The records of upload tasks, once the host has ended."""
        return [record for record, in self.up.query("SELECT IFNULL(fragmentInfo, '') FROM T_task WHERE direction = 2")]

    # SUP-REAL-01, SUP-REAL-02
    def test_sizes_around_the_limit_go_up_as_new_files_and_as_new_versions(self):
        self.begin(*PROXIED)
        sizes = {"one byte": 1, "1 MiB": MIB, "below": 10 * MIB - 1, "at": 10 * MIB, "slices": 4 * SLICE,
                 "Grüße, it's \U0001F980 100%.bin": 12 * MIB + 17}
        for version in (1, 2):
            for name, size in sizes.items():
                self.make_file(self.up.root / "folder" / name, size, seed=f"{name} {version}")
            before = len(self.proxied())
            self.run_host(self.up, "put")
            self.assertEqual([], self.cloud.puts(), "nothing goes to the object store")
            verb = {1: "POST", 2: "PATCH"}[version]
            said = self.proxied()[before:]
            whole = [entry for entry in said if entry["query"].get("uploadType") == "multipart"]
            openings = [entry for entry in said if entry["query"].get("uploadType") == "resume"]
            slices = [entry for entry in said if entry["method"] == "PUT"]
            self.assertEqual(3 * [verb], [entry["method"] for entry in whole])
            self.assertEqual(3 * [verb], [entry["method"] for entry in openings])
            for size in (10 * MIB, 4 * SLICE, 12 * MIB + 17):
                lengths = [min(SLICE, size - position) for position in range(0, size, SLICE)]
                expected = [f"bytes {number * SLICE}-{length - 1}/{size}" for number, length in enumerate(lengths)]
                self.assertEqual(expected, [entry["contentRange"] for entry in slices
                                            if entry["contentRange"].endswith(f"/{size}")],
                                 "each upper bound is the length of its slice less one")
        self.put_and_get_back()

    # SUP-REAL-03
    def test_an_upload_that_is_cut_at_each_slice_goes_on_where_the_cloud_says(self):
        self.begin(*PROXIED)
        self.make_file(self.up.root / "file", 10 * MIB)
        # Of two slices that come one is refused: each of the four is cut once, and then taken.
        self.cloud.tell({"method": "PUT", "path": "/proxy/*", "from": 1, "every": 2, "times": 4, "status": 500})
        self.run_host(self.up, "put", "--attempts", "20")
        asked = [entry["answer"]["position"] for entry in self.starts()]
        self.assertEqual([0, 0, SLICE, 2 * SLICE, 3 * SLICE], asked, "the cloud tells what it holds")
        refused = [(position, status) for position, _, status in self.slices() if status != 200]
        self.assertEqual([(number * SLICE, 500) for number in range(4)], refused)
        taken = [position for position, _, status in self.slices() if status == 200]
        self.assertEqual([0, SLICE, 2 * SLICE, 3 * SLICE], taken, "nothing that the cloud held was sent again")
        self.put_and_get_back()

    # SUP-REAL-04
    def test_a_session_that_is_gone_is_left_for_a_new_one(self):
        self.begin(*PROXIED)
        self.make_file(self.up.root / "file", 10 * MIB)
        forgetting = threading.Thread(target=self.forget_sessions_after_the_first_slice)
        forgetting.start()
        self.run_host(self.up, "put", "--limit-rate", "4M")
        forgetting.join()
        gone = [entry for entry in self.proxied() if entry["status"] == 404]
        self.assertEqual(1, len(gone), "the session was not there any more")
        self.assertEqual("PUT", gone[0]["method"])
        later = [entry for entry in self.starts() if entry["begin"] > gone[0]["begin"]]
        self.assertEqual(1, len(later))
        self.assertEqual("", later[0]["request"]["recordCursor"], "it begins as if there had been nothing")
        self.assertEqual(0, later[0]["answer"]["position"])
        again = [entry for entry in self.proxied() if entry["begin"] > later[0]["begin"]]
        self.assertEqual("resume", again[0]["query"].get("uploadType"), "and asks for an address of its own")
        self.assertNotEqual(gone[0]["path"], again[0]["path"])
        self.put_and_get_back()

    def forget_sessions_after_the_first_slice(self):
        deadline = time.monotonic() + 60
        while not self.slices() and time.monotonic() < deadline:
            time.sleep(0.02)
        database = sqlite3.connect(self.cloud.folder / "cloud.db", timeout=20)
        with database:
            database.execute("DELETE FROM uploads")
        database.close()

    # SUP-REAL-05
    def test_a_host_that_is_killed_between_two_slices_goes_on_behind_the_last_one(self):
        self.begin(*PROXIED)
        self.make_file(self.up.root / "file", 5 * SLICE)
        process = self.spawn_host(self.up, "put", "--limit-rate", "4M")
        self.wait_until(lambda: len([None for entry in self.slices() if entry[2] == 200]) >= 2, 90, "two slices")
        process.kill()
        process.wait(30)
        held = sum(length for _, length, status in self.slices() if status == 200)
        self.cloud.stop()
        self.cloud.start()
        begun = len(self.starts())
        self.run_host(self.up, "put")
        self.assertIn(self.starts()[begun]["answer"]["position"], range(held, 5 * SLICE, SLICE))
        self.put_and_get_back()

    # SUP-REAL-06
    def test_every_refusal_of_the_proxy_is_got_over(self):
        self.begin(*PROXIED)
        for number in range(4):
            self.make_file(self.up.root / f"small {number}", 1000 + number, seed=number)
        self.make_file(self.up.root / "large", 10 * MIB + 1)
        small = {"method": "POST", "path": "/proxy/*"}
        self.cloud.tell({**small, "nth": 1, "status": 404}, {**small, "nth": 2, "status": 201, "afterWork": True},
                        {**small, "nth": 3, "drop": True}, {**small, "nth": 4, "status": 403, "errorCode": "21004031"},
                        {**small, "nth": 5, "afterWork": True, "drop": True},
                        {"method": "PUT", "path": "/proxy/*", "nth": 2, "status": 403},
                        {"method": "PUT", "path": "/proxy/*", "nth": 4, "cutAfter": 3})
        self.run_host(self.up, "put")
        self.assertEqual([], self.records(), "no task is left")
        self.put_and_get_back()

    # SUP-REAL-07, HOST-CHANGE-08
    def test_files_that_change_while_they_go_up_are_in_the_cloud_as_they_are_in_the_end(self):
        self.begin(*PROXIED)
        names = ("changes", "grows", "shrinks")
        for name in names:
            self.make_file(self.up.root / name, 12 * MIB, seed=name)
        self.cloud.tell({"path": "/proxy/*", "uploadRate": 3 * MIB})
        process = self.spawn_host(self.up, "put", "--uploads", "3")
        self.wait_until(lambda: len(self.slices()) >= 3, 90, "a slice of each")
        self.make_file(self.up.root / "changes", 12 * MIB, seed="changed")
        self.make_file(self.up.root / "grows", 13 * MIB, seed="grows")
        self.make_file(self.up.root / "shrinks", 11 * MIB, seed="shrinks")
        self.cloud.tell()
        self.ends_with(process, 0, seconds=150)
        self.assertEqual([], self.status(self.up)["troubles"])
        self.put_and_get_back()
        back = self.work / "back" / "root"
        for name in names:
            self.assertEqual(sha256(self.up.root / name), sha256(back / name), name)


if __name__ == "__main__":
    main()
