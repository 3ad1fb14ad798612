"""zelkor-cloud with its objects in a real S3-compatible gateway: the whole protocol, kills, a gateway that goes away."""
import os
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import unittest
import urllib.parse
import xml.etree.ElementTree

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parents[1] / "conform"))

import test_conform  # noqa: E402
import test_process  # noqa: E402
from checks_objects import download_info, fetch_address  # noqa: E402
from cloud_case import CloudCase, harness  # noqa: E402
from gateway import ACCESS, SECRET, Gateway  # noqa: E402

KILLS = int(os.environ.get("ZELKOR_KILLS", "10"))
SPACE = "{http://s3.amazonaws.com/doc/2006-03-01/}"


class ObjectStore(CloudCase):
    conform = test_conform.Conform.conform
    assert_kept = test_process.Process.assert_kept
    assert_unfinished = test_process.Process.assert_unfinished

    @classmethod
    def setUpClass(cls):
        cls.place = pathlib.Path(tempfile.mkdtemp(prefix="zelkor-gateway-"))
        cls.gateway = Gateway(cls.place / "gateway")
        cls.addClassCleanup(shutil.rmtree, cls.place, ignore_errors=True)
        cls.addClassCleanup(cls.gateway.stop)
        cls.gateway.start()
        cls.keys = cls.place / "keys"
        cls.keys.write_text(f"{ACCESS}\n{SECRET}\n")
        cls.used = 0

    def setUp(self):
        ObjectStore.used += 1
        self.prefix = f"test-{ObjectStore.used}/"
        self.options = ("--objects", f"s3+{self.gateway.endpoint}/objects/{self.prefix}", "--objects-keys", self.keys)
        super().setUp()

    def stored(self):
        """The keys of all objects, without what tells whose they are."""
        found, token = set(), None
        while True:
            query = {"continuation-token": token} if token else {}
            query.update({"list-type": "2", "prefix": self.prefix})
            text = self.gateway.send("GET", "/objects?" + urllib.parse.urlencode(query, quote_via=urllib.parse.quote))
            page = xml.etree.ElementTree.fromstring(text)
            found.update(key.text.removeprefix(self.prefix) for key in page.iterfind(f"{SPACE}Contents/{SPACE}Key"))
            token = page.findtext(f"{SPACE}NextContinuationToken")
            if not token:
                return found - {"zelkor-cloud-owner"}

    def assert_store_is_named(self):
        with self.rows() as rows:
            named = {blob for (blob,) in rows.execute("SELECT blob FROM objects WHERE blob <> ''")}
        self.assertEqual(named, self.stored(), "the rows and the objects of the gateway")

    def kill(self):
        self.cloud.process.kill()
        self.cloud.process.wait(60)

    # REF-BUCKET-11
    def test_the_whole_protocol_is_kept_with_the_objects_in_a_gateway(self):
        status, rows = self.conform("--seconds", "30")
        self.assertEqual([], [row for row in rows.values() if row["verdict"] != "passed"])
        self.assertEqual(0, status)
        self.assertFalse((self.cloud.folder / "objects").exists(), "nothing lies in the data folder")

    # REF-BUCKET-11
    def test_kills_under_load_lose_nothing_that_was_answered(self):
        generator = random.Random(test_process.SEED)
        confirmed = 0
        for _ in range(KILLS):
            loads = [test_process.Load(self.anna, generator.random()) for _ in range(3)]
            for load in loads:
                load.start()
            loads[0].join(generator.uniform(0.5, 2))
            self.kill()
            for load in loads:
                load.join(120)
                if load.trouble:
                    raise load.trouble
            self.cloud.start()
            self.assert_store_is_named()
            for load in loads:
                self.assert_kept(load)
                confirmed += len(load.confirmed)
        self.assertGreater(confirmed, KILLS)
        print(f"{KILLS} kills, {confirmed} objects confirmed")

    # REF-BUCKET-12
    def test_a_gateway_that_goes_away_costs_no_more_than_time(self):
        _, _, before = self.anna.upload(self.anna.fresh_content(500))
        body = self.anna.start_body(self.anna.fresh_content(700))
        plan = self.anna.client.post("/v1/uploads/start", body).json
        item = plan["items"][0]
        stored = self.anna.stored(item)
        self.gateway.stop_front()
        self.assertEqual(500, self.anna.put(self.anna.address(plan, item, stored), stored).status)
        self.assertEqual(409, self.anna.confirm(plan, item).status)
        url = fetch_address(self.anna, download_info(self.anna, before), 0)["url"]
        self.assertEqual(500, self.anna.client.get(url, token="").status)
        self.gateway.start_front()
        self.anna.send_object(plan, item)
        entry = self.anna.complete(self.anna.completion(plan, body)).json
        url = fetch_address(self.anna, download_info(self.anna, entry), 0)["url"]
        self.assertEqual(stored, self.anna.client.get(url, token="").body)
        self.assert_store_is_named()

    # REF-BUCKET-13
    def test_many_objects_are_listed_whole_and_cleared_away_when_no_row_names_them(self):
        source = self.work / "many"
        source.mkdir()
        for number in range(1050):
            (source / str(number)).write_text(f"content {number}")
        self.execute(harness.BIN / "zelkor-cloud", "import", "--data", self.cloud.folder, "--user", "anna", *self.options,
                     source)
        self.assertEqual(1050, len(self.stored()))
        self.kill()
        self.cloud.start()
        self.assertEqual(1050, len(self.stored()))
        self.cloud.command("user", "remove", "--data", self.cloud.folder, "anna")
        self.kill()
        self.cloud.start()
        self.assertEqual(set(), self.stored())

    # REF-BUCKET-14
    def test_wrong_keys_are_told_before_anything_is_served(self):
        wrong = self.work / "wrong"
        wrong.write_text(f"{ACCESS}\nanother\n")
        self.kill()
        done = subprocess.run([harness.BIN / "zelkor-cloud", "--data", self.cloud.folder, "--listen", "127.0.0.1:0",
                               *self.options[:2], "--objects-keys", wrong], stderr=subprocess.PIPE, text=True, timeout=60,
                              env=self.environment)
        self.assertEqual(1, done.returncode)
        self.assertIn("answered 403", done.stderr)
        self.assertIn('the bucket "objects"', done.stderr)
        self.cloud.start()


if __name__ == "__main__":
    unittest.main(verbosity=2)
