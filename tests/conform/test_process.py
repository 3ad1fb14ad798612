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
    """Sends, changes and deletes files by every road until the server is gone; remembers what it was told."""

    trouble = None

    def __init__(self, kit, seed):
        super().__init__()
        self.kit = kit
        self.random = random.Random(seed)
        self.stop = False
        self.confirmed = []  # start and id of objects
        self.encrypted = []  # entry and plan
        self.plain = []      # entry and content
        self.deleted = []    # ids
        self.half = []       # names of files whose last request was never sent
        self.sessions = {}   # name: start, and the position that was answered
        self.between = []    # id, and the states that a request without an answer may have left

    def run(self):
        roads = [self.encrypted_file] * 3 + [self.plain_file] * 2 + [self.new_version, self.removal]
        try:
            while not self.stop:
                self.random.choice(roads)()
        except (OSError, http.client.HTTPException):
            pass  # the server is gone
        except Exception as error:  # told by the test, with its text
            self.trouble = error

    def answered(self, answer):
        if answer.status != 200:
            raise AssertionError(f"a sound request was refused: {answer}")
        return answer.json

    def send_objects(self, body):
        plan = self.answered(self.kit.client.post("/v1/uploads/start", body))
        for item in plan["items"]:
            stored = self.kit.stored(item)
            self.answered(self.kit.put(self.kit.address(plan, item, stored), stored))
            self.answered(self.kit.confirm(plan, item))
            self.confirmed.append((body, item["objectId"]))
        return plan

    def encrypted_file(self):
        body = self.kit.start_body(self.kit.fresh_content(2 * SLICE + 50))
        self.half.append(body["fileName"])
        plan = self.send_objects(body)
        self.half.remove(body["fileName"])
        self.encrypted.append((self.answered(self.kit.complete(self.kit.completion(plan, body))), plan))

    def plain_file(self):
        content = self.kit.fresh_content(3000)
        start, plan = self.kit.start_server(content)
        name = start["fileName"]
        self.half.append(name)
        for position in (0, 1000):
            answer = self.answered(self.kit.send_slice(plan["uploadUrl"], content, position, 1000))
            self.sessions[name] = (start, answer["position"])
        self.half.remove(name)
        del self.sessions[name]
        self.plain.append((self.answered(self.kit.send_slice(plan["uploadUrl"], content, 2000, 1000)), content))

    def new_version(self):
        if self.encrypted:
            entry, _ = self.encrypted.pop(0)
            body = self.kit.start_body(self.kit.fresh_content(SLICE + 9), fileId=entry["id"])
            self.between.append((entry["id"], {(entry["sha256"], False), (body["sha256"], False)}))
            plan = self.send_objects(body)
            self.encrypted.append((self.answered(self.kit.complete(self.kit.completion(plan, body))), plan))
            self.between.pop()

    def removal(self):
        if self.plain:
            entry, _ = self.plain.pop(0)
            self.between.append((entry["id"], {(entry["sha256"], False), (entry["sha256"], True)}))
            self.answered(self.kit.client.send("DELETE", f"/v1/files/{entry['id']}"))
            self.between.pop()
            self.deleted.append(entry["id"])


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
        counts = dict.fromkeys(("confirmed", "encrypted", "plain", "deleted", "half", "sessions", "between"), 0)
        for _ in range(KILLS):
            loads = [Load(self.anna, generator.random()) for _ in range(3)]
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
                for kind in counts:
                    counts[kind] += len(getattr(load, kind))
        print("answered before the kill, or cut off by it:", counts)
        self.assertGreater(counts["confirmed"], KILLS)

    def assert_kept(self, load):
        get = self.anna.client.get
        for entry, plan in load.encrypted:
            self.assertEqual(entry, get(f"/v1/files/{entry['id']}").json)
            info = download_info(self.anna, entry)
            for index in (0, len(plan["items"]) - 1):
                content = get(fetch_address(self.anna, info, index)["url"], token="").body
                self.assertEqual(sha256(self.anna.stored(plan["items"][index])), sha256(content))
        for entry, content in load.plain:
            self.assertEqual(entry, get(f"/v1/files/{entry['id']}").json)
            self.assertEqual(content, get(f"/v1/files/{entry['id']}/content").body)
        for identity in load.deleted:
            self.assertTrue(get(f"/v1/files/{identity}").json["isDeleted"], "a deleted file came back")
        for identity, states in load.between:
            entry = get(f"/v1/files/{identity}").json
            self.assertIn((entry["sha256"], entry["isDeleted"]), states)
        self.assert_unfinished(load)

    def assert_unfinished(self, load):
        for name in load.half:
            answer = self.anna.client.get(f"/v1/files/find?parentFolder={self.anna.folder}&fileName={name}")
            self.assertEqual(404, answer.status, "a file is visible that nobody completed")
        for start, position in load.sessions.values():
            plan = self.anna.client.post("/v1/uploads/start", start).json
            self.assertGreaterEqual(plan["position"], position, "bytes are lost that the file proxy had taken")
        for body, identity in load.confirmed:
            if body["fileName"] in load.half:
                plan = self.anna.client.post("/v1/uploads/start", body).json
                status = {item["objectId"]: item["status"] for item in plan["items"]}
                self.assertTrue(status.get(identity), f"a confirmed object is lost: {identity} of {plan}")

    def assert_store_is_named(self):
        """Right after a start, when nobody sends: every file of the store is named by a row, and every row has its file."""
        stored = {path.name for path in (self.cloud.folder / "objects").rglob("*") if path.is_file()}
        with self.rows() as rows:
            named = {blob.rpartition("/")[2] for (blob,) in rows.execute("SELECT blob FROM objects WHERE blob <> ''")}
        self.assertEqual(set(), named - stored, "rows without their bytes")
        self.assertEqual(set(), stored - named, "bytes that no row names")


if __name__ == "__main__":
    unittest.main(verbosity=2)
