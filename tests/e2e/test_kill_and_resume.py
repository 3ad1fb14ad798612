"""A download that is killed at any moment goes on from its record, and the file comes out whole."""
import os
import random
import signal
import time
import unittest

import harness
from harness import MIB, Case, Cloud, Host, sha256

SIZE = 160 * MIB
KILLS = 20
AFTER_SYNC = 6  # of them, between the writing of a block and its record
SEED = int(os.environ.get("ZELKOR_SEED", "20261121"))


class KillAndResume(Case):
    def setUp(self):
        super().setUp()
        self.source = self.work / "source"
        self.make_file(self.source / "big.bin", SIZE)
        self.cloud = Cloud(self, "--rate", str(10 * MIB))
        self.cloud.add_user()
        self.cloud.import_tree(self.source)
        self.cloud.start()
        self.host = Host(self, self.cloud).init()

    def kill_at_random(self, process, generator):
        """Kills it a random while after the file was claimed: with this rate, before its third block."""
        status = lambda: self.host.query("SELECT IFNULL(MAX(fileStatus), 0) FROM T_cloudDriveData")[0][0]
        # The last life left the file at 22; its repair at start is what this life is known by.
        self.wait_until(lambda: status() == 21 or process.poll() is not None, what="the repair at start")
        self.wait_until(lambda: status() == 22 or process.poll() is not None, what="the claim of the file")
        time.sleep(generator.uniform(0.05, 0.75))
        process.send_signal(signal.SIGKILL)
        process.wait(30)

    def kill_between_data_and_record(self, generator):
        """Lets the process end itself right after a block was synced and before its record is written."""
        process = self.host.spawn_get(environment={
            "LD_PRELOAD": str(harness.LIB / "libkill_after_sync.so"),
            "KILL_AFTER_SYNC_OF": "big.bin", "KILL_AFTER_SYNC_NTH": str(generator.randint(1, 2))})
        self.assertEqual(-signal.SIGKILL, process.wait(120), "it ends at the sync")

    def one_life(self, kind, generator):
        if kind == "sync":
            self.kill_between_data_and_record(generator)
        else:
            self.kill_at_random(self.host.spawn_get(), generator)

    def requests_since(self, known):
        """The server journals a request once it has noticed its end; a life that was too short made none."""
        deadline = time.monotonic() + 2
        while time.monotonic() < deadline and len(self.cloud.content_requests()) <= known:
            time.sleep(0.05)
        return self.cloud.content_requests()[known:]

    def test_twenty_kills_lose_no_byte_and_fetch_little_twice(self):
        generator = random.Random(SEED)
        print(f"seed {SEED}")
        kinds = ["sync"] * AFTER_SYNC + ["time"] * (KILLS - AFTER_SYNC)
        generator.shuffle(kinds)
        position, resumed, known = 0, 0, 0
        for kind in kinds:
            self.one_life(kind, generator)
            requests = self.requests_since(known)
            known += len(requests)
            if requests:
                self.assertEqual(f"bytes={position}-", requests[0]["range"], "the range starts at the record")
                resumed += 1
            position = self.host.position()
            self.assertIsNotNone(position, "the task is still there")
        self.host.get()
        last = self.requests_since(known)
        self.assertEqual(f"bytes={position}-", last[0]["range"], "the last life goes on at the record as well")
        self.assertEqual(sha256(self.source / "big.bin"), sha256(self.host.root / "big.bin"))
        twice = sum(entry["bytesOut"] for entry in self.cloud.content_requests()) - SIZE
        print(f"{KILLS} kills, {resumed} of them in a transfer, {twice / KILLS / MIB:.2f} MiB fetched twice a kill")
        self.assertGreater(resumed, KILLS // 2)
        self.assertLessEqual(twice, KILLS * 8 * MIB)


if __name__ == "__main__":
    unittest.main(verbosity=2)
