"""The running process: users added beside it, its scenario read again, a clean end, and an end by force at any moment."""
import http.client
import os
import pathlib
import random
import re
import signal
import threading
import time
import unittest

from cloud_case import SLICE, CloudCase
from checks_objects import download_info, fetch_address
from kit import sha256

KILLS = int(os.environ.get("ZELKOR_KILLS", "5"))
SEED = int(os.environ.get("ZELKOR_SEED", "20261121"))


class Load(threading.Thread):
    """Uploads one file after another until the server is gone; remembers what it was told."""

    def __init__(self, kit):
        super().__init__()
        self.kit = kit
        self.confirmed, self.completed = [], []
        self.half = []  # names whose completion was never sent
        self.stop = False

    def run(self):
        try:
            while not self.stop:
                self.one_file()
        except (OSError, http.client.HTTPException):
            pass  # the server is gone
        except Exception as error:  # told by the test, with its text
            self.trouble = error

    trouble = None

    def one_file(self):
        body = self.kit.start_body(self.kit.fresh_content(2 * SLICE + 50))
        plan = self.kit.client.post("/v1/uploads/start", body).json
        self.half.append(body["fileName"])
        for item in plan["items"]:
            stored = self.kit.stored(item)
            answer = self.kit.put(self.kit.address(plan, item, stored), stored)
            if answer.status == 200 and self.kit.confirm(plan, item).status == 200:
                self.confirmed.append((body, item["objectId"]))
        self.half.remove(body["fileName"])
        answer = self.kit.complete(self.kit.completion(plan, body))
        if answer.status == 200:
            self.completed.append((answer.json, plan))


class Process(CloudCase):
    # CLOUD-PROCESS-01
    def test_a_user_who_is_added_while_it_runs_can_sign_in(self):
        self.cloud.add_user("late")
        client, login = self.sign_in("late")
        self.assertEqual(200, client.get(f"/v1/files/{login['rootFileId']}").status)

    # CLOUD-PROCESS-04
    def test_signing_in_again_and_again_leaves_no_memory_behind(self):
        """A password's hash takes 16 MiB for a moment, on a thread of its own each time."""
        def held():
            status = pathlib.Path(f"/proc/{self.cloud.process.pid}/status").read_text()
            return int(re.search(r"RssAnon:\s+(\d+) kB", status).group(1)) / 1024

        self.sign_in("anna")
        before = held()
        for _ in range(12):
            self.sign_in("anna")
        self.assertLess(held() - before, 12)

    # CLOUD-SCENARIO-01
    def test_the_scenario_is_read_again_while_it_runs(self):
        space = lambda: self.anna.client.get("/v1/account/space")
        with self.scenario(rules=[{"path": "/v1/account/space", "nth": 2, "status": 503}]):
            self.assertEqual([200, 503, 200], [space().status for _ in range(3)])
        self.assertEqual(200, space().status)
        with self.scenario(quota=3):
            self.assertEqual(3, space().json["total"])
        with self.scenario(rules=[{"path": "/v1/account/space", "body": "{garbage"}]):
            self.assertEqual(b"{garbage", space().body)

    # CLOUD-PROCESS-02
    def test_a_request_under_way_is_answered_when_it_is_asked_to_end(self):
        self.write_scenario(rules=[{"path": "/v1/account/space", "delay": 1.5}])
        answers = []
        slow = threading.Thread(target=lambda: answers.append(self.anna.client.get("/v1/account/space")))
        slow.start()
        time.sleep(0.5)
        process = self.cloud.process
        process.send_signal(signal.SIGTERM)
        self.assertEqual(0, process.wait(30))
        slow.join(30)
        self.assertEqual([200], [answer.status for answer in answers])

    # CLOUD-PROCESS-03
    def test_kills_under_load_lose_nothing_that_was_answered(self):
        print(f"seed {SEED}, {KILLS} kills")
        generator = random.Random(SEED)
        files = objects = 0
        for _ in range(KILLS):
            loads = [Load(self.anna) for _ in range(3)]
            for load in loads:
                load.start()
            time.sleep(generator.uniform(0.2, 1.2))
            self.cloud.process.send_signal(signal.SIGKILL)
            self.cloud.process.wait(30)
            for load in loads:
                load.join(60)
                if load.trouble:
                    raise load.trouble
            self.cloud.start()
            self.assert_store_is_named()
            for load in loads:
                self.assert_kept(load)
                files += len(load.completed)
                objects += len(load.confirmed)
        print(f"{objects} objects confirmed, {files} files completed")
        self.assertGreater(objects, KILLS)

    def assert_kept(self, load):
        for entry, plan in load.completed:
            self.assertEqual(entry, self.anna.client.get(f"/v1/files/{entry['id']}").json)
            info = download_info(self.anna, entry)
            for index in (0, len(plan["items"]) - 1):
                url = fetch_address(self.anna, info, index)["url"]
                content = self.anna.client.get(url, token="").body
                self.assertEqual(sha256(self.anna.stored(plan["items"][index])), sha256(content))
        done = {entry["fileName"] for entry, _ in load.completed}
        for body, identity in load.confirmed:
            if body["fileName"] not in done and body["fileName"] in load.half:
                plan = self.anna.client.post("/v1/uploads/start", body).json
                status = {item["objectId"]: item["status"] for item in plan["items"]}
                self.assertTrue(status.get(identity), f"a confirmed object is lost: {identity} of {plan}")
        for name in load.half:
            answer = self.anna.client.get(f"/v1/files/find?parentFolder={self.anna.folder}&fileName={name}")
            self.assertEqual(404, answer.status, "a file is visible that nobody completed")

    def assert_store_is_named(self):
        """Right after a start, when nobody sends: every file of the store is named by a row, and every row has its file."""
        stored = {path.name for path in (self.cloud.folder / "objects").rglob("*") if path.is_file()}
        with self.rows() as rows:
            named = {blob.rpartition("/")[2] for (blob,) in rows.execute("SELECT blob FROM objects WHERE blob <> ''")}
        self.assertEqual(set(), named - stored, "rows without their bytes")
        self.assertEqual(set(), stored - named, "bytes that no row names")


if __name__ == "__main__":
    unittest.main(verbosity=2)
