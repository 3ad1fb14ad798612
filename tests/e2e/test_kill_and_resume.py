"""A download that is killed at any moment goes on from its record, and the file comes out whole."""
import os
import random
import signal
import subprocess
import time
import unittest

import harness
from harness import MIB, Case, Cloud, Host, sha256

SIZE = 100 * MIB
KILLS = 20
AFTER_SYNC = 6  # of them, between the writing of a block and its record
SEED = int(os.environ.get("ZELKOR_SEED", "20261121"))


class KillAndResume(Case):
    def setUp(self):
        super().setUp()
        self.source = self.work / "source"
        self.make_file(self.source / "big.bin", SIZE)
        self.cloud = Cloud(self, "--rate", str(40 * MIB))
        self.cloud.add_user()
        self.cloud.import_tree(self.source)
        self.cloud.start()
        self.host = Host(self, self.cloud).init()

    def kill_at_random(self, process, generator):
        """Kills it once its request has begun and a random while has gone by. False when it ended before."""
        before = len(self.cloud.content_requests())
        time.sleep(generator.uniform(1.2, 2.2))
        if process.poll() is not None:
            return False
        process.send_signal(signal.SIGKILL)
        process.wait(30)
        return len(self.cloud.content_requests()) >= before

    def kill_between_data_and_record(self, generator):
        """Lets the process end itself right after a block was synced and before its record is written."""
        nth = generator.randint(1, 2)
        process = self.host.spawn_get(environment={
            "LD_PRELOAD": str(harness.LIB / "libkill_after_sync.so"),
            "KILL_AFTER_SYNC_OF": "big.bin", "KILL_AFTER_SYNC_NTH": str(nth)})
        process.wait(120)
        return process.returncode == -signal.SIGKILL

    def test_twenty_kills_lose_no_byte_and_fetch_little_twice(self):
        generator = random.Random(SEED)
        print(f"seed {SEED}")
        kinds = ["sync"] * AFTER_SYNC + ["time"] * (KILLS - AFTER_SYNC)
        generator.shuffle(kinds)
        expected, kills = None, 0
        for kind in kinds:
            known = len(self.cloud.content_requests())
            if kind == "sync":
                killed = self.kill_between_data_and_record(generator)
            else:
                process = self.host.spawn_get()
                killed = self.kill_at_random(process, generator)
            if not killed:
                break
            kills += 1
            requests = self.wait_for_requests(known)
            if requests and expected is not None:
                self.assertEqual(f"bytes={expected}-", requests[0]["range"], "the range starts at the record")
            expected = self.host.position()
            self.assertIsNotNone(expected, "the task is still there")
        known = len(self.cloud.content_requests())
        self.host.get()
        last = self.cloud.content_requests()[known:]
        if last and expected is not None:
            self.assertEqual(f"bytes={expected}-", last[0]["range"])
        self.assertEqual(sha256(self.source / "big.bin"), sha256(self.host.root / "big.bin"))
        sent = sum(entry["bytesOut"] for entry in self.cloud.content_requests())
        print(f"{kills} kills, {sent - SIZE} bytes fetched twice, {(sent - SIZE) / max(kills, 1) / MIB:.2f} MiB a kill")
        self.assertEqual(KILLS, kills)
        self.assertLessEqual(sent, SIZE + kills * 8 * MIB)

    def wait_for_requests(self, known):
        """The server journals a request when it has noticed its end."""
        deadline = time.monotonic() + 5
        while time.monotonic() < deadline and len(self.cloud.content_requests()) <= known:
            time.sleep(0.05)
        return self.cloud.content_requests()[known:]


if __name__ == "__main__":
    unittest.main(verbosity=2)
