"""Three uploads at once while first the host and then the cloud is killed at seeded moments, over and over: what the
cloud has confirmed is not sent again, and at the end every byte is there.

ZELKOR_KILLS (of each side), ZELKOR_FILE_MIB, ZELKOR_SLICE_KIB, ZELKOR_RATE (MiB a second) and ZELKOR_SEED set the size."""
import os
import random
import signal
import sqlite3
import time
import unittest

import harness
from harness import MIB, Case, Cloud, Host


def setting(name, default):
    return int(os.environ.get(name, default))


KILLS = setting("ZELKOR_KILLS", 3)
FILE_MIB = setting("ZELKOR_FILE_MIB", 24)
SLICE = setting("ZELKOR_SLICE_KIB", 512) * 1024
RATE = setting("ZELKOR_RATE", 10)
SEED = setting("ZELKOR_SEED", 20261121)
FILES = 3
PATIENCE = 120  # seconds for a life of the host to send its first object


class KillUploads(Case):
    def setUp(self):
        super().setUp()
        self.cloud = Cloud(self, "--slice-size", str(SLICE))
        self.cloud.add_user()
        self.cloud.start()
        self.host = Host(self, self.cloud, "up")
        for number in range(FILES):
            self.make_file(self.host.root / f"big {number}.bin", FILE_MIB * MIB, seed=number)
        self.host.init()
        self.random = random.Random(SEED)
        self.kills = []  # (moment, side, ids of the objects that were confirmed then)

    def put_requests(self):
        return [entry for entry in self.cloud.requests() if entry["method"] == "PUT" and "/store/" in entry["path"]]

    def confirmed(self):
        connection = sqlite3.connect(self.cloud.folder / "cloud.db", timeout=10)
        try:
            return {row[0] for row in connection.execute("SELECT id FROM objects WHERE state = 2")}
        finally:
            connection.close()

    def start_host(self):
        return self.spawn(*self.host.command("put", "--timeout", "900", "--uploads", str(FILES), "--limit-rate",
                                             f"{RATE}M"))

    def a_moment_within_the_transfer(self, process):
        """Some time after an object has arrived; False when the host ended before one did."""
        known = len(self.put_requests())
        self.wait_until(lambda: len(self.put_requests()) > known or process.poll() is not None, PATIENCE, "an object")
        if process.poll() is None:
            time.sleep(self.random.uniform(0, 0.7))
        return process.poll() is None

    def kill(self, process, side):
        process.send_signal(signal.SIGKILL)
        process.wait(30)
        moment = time.time()
        if side == "host":
            time.sleep(0.3)  # what the host had sent before it died still arrives
        self.kills.append((moment, side, self.confirmed()))

    def sent_again_after_each_kill(self):
        """How many objects that were confirmed at a kill were sent again before the next one."""
        ends = [moment for moment, _, _ in self.kills[1:]] + [float("inf")]
        requests = self.put_requests()
        return [sum(moment < entry["begin"] <= end and entry["path"].rsplit("/", 1)[1] in confirmed
                    for entry in requests) for (moment, _, confirmed), end in zip(self.kills, ends)]

    def test_no_confirmed_object_is_sent_again_beyond_the_one_under_way(self):
        print(f"seed {SEED}", flush=True)
        for _ in range(KILLS):
            process = self.start_host()
            if not self.a_moment_within_the_transfer(process):
                break
            self.kill(process, "host")
        process = self.start_host()
        for _ in range(KILLS):
            if not self.a_moment_within_the_transfer(process):
                if process.returncode == 0:
                    break  # a busy machine: all was sent between the kills
                self.assertEqual(1, process.returncode, "only 'some files did not go' may end it while the cloud dies")
                process = self.start_host()
                continue
            self.kill(self.cloud.process, "cloud")
            time.sleep(self.random.uniform(0, 0.5))
            self.cloud.start()
        if process.wait(900) != 0:
            self.execute(*self.host.command("put", "--timeout", "300"), timeout=400)
        self.cloud.stop()

        again = self.sent_again_after_each_kill()
        objects = len(self.confirmed())
        at_kills = [len(confirmed) for _, _, confirmed in self.kills]
        print(f"{len(self.kills)} kills, {objects} objects, confirmed at the kills {at_kills}, sent again {again}")
        self.assertEqual(FILES * FILE_MIB * MIB // SLICE, objects)
        seen = {entry["path"].rsplit("/", 1)[1] for entry in self.put_requests()} & self.confirmed()
        self.assertGreaterEqual(len(seen), objects - KILLS * FILES, "the journal and the records speak of the same ids")
        self.assertGreater(sum(0 < count < objects for count in at_kills), KILLS,
                           "more kills than of one side fell between the first and the last object")
        self.assertLessEqual(max(again), FILES, "at most one object a running worker")
        self.execute(harness.HERE.parent.parent / "tools" / "recover" / "recover", "--data", self.cloud.folder,
                     "--user", "anna", "--out", self.work / "back", timeout=600)
        self.assert_same_tree(self.host.root, self.work / "back")


if __name__ == "__main__":
    unittest.main(verbosity=2)
