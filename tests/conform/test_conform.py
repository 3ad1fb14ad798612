"""zelkor-conform against zelkor-cloud: everything passes, and of each fault that is switched on the right check tells."""
import json
import subprocess
import unittest

from cloud_case import CloudCase, harness



def answer(path, **change):
    return {"path": path, **change}


START, PAGE, DOWNLOAD = "/v1/uploads/start", "/v1/files", "/v1/files/*/download"
ADDRESS, CREATE = "/v1/uploads/address", "/v1/uploads/create-complete"
# The check that must fail, and the fault.
FAULTS = [
    ("health.answers", answer("/health", set={"status": "ill"})),
    ("login.refuses", answer("/v1/account/login", status=403, errorCode="21004031", **{"from": 3})),
    ("login.refreshes", answer("/v1/account/refresh", status=500)),
    ("space.fits", answer("/v1/account/space", set={"remaining": -1})),
    ("keys.public", answer("/v1/keys/public", set={"publicKey": "AAAA"})),
    ("keys.list", answer("/v1/keys/list", set={"keys.0.encryptedKey": "A" * 60})),
    ("plan.objects", answer(START, set={"items.2.length": 100})),
    ("plan.objects", answer(START, set={"items.1.status": True})),
    ("plan.whole-slices", answer(START, set={"items.1.length": 16})),
    ("plan.attachments", answer(START, set={"items.1.length": 97 + 15})),
    ("plan.begins", answer(START, set={"version": 0})),
    ("plan.begins", answer(START, remove=["bucketId"])),
    ("plan.begins", answer(START, set={"position": 5})),
    ("plan.found-again", answer(START, set={"version": 5}, nth=2)),
    ("plan.one-key", answer(START, set={"version": 5})),
    ("plan.one-key", answer(START, set={"items.0.status": True}, nth=4)),
    ("complete.one-key", answer("/v1/uploads/create-complete", status=200)),
    ("exist.own-key", answer(DOWNLOAD, set={"encFekList.0.efek": "of another key"})),
    ("plan.position", answer(START, set={"position": 65536}, nth=3)),
    ("exist.found", answer(START, set={"uploadType": "client"})),
    ("start.unknown-parent", answer(START, status=404, errorCode="21004041")),
    ("start.no-space", answer(START, status=200, body="{}")),
    ("address.unknown", answer("/v1/uploads/address", status=404, errorCode="21004041")),
    ("address.signed", answer("/store/*", status=200)),
    ("store.holds-digest", answer("/store/*", status=200)),
    ("store.repeats", answer("/store/*", headers={"X-Object-Sha256": "0" * 64})),
    ("complete.entry", answer("/v1/uploads/create-complete", set={"size": 1})),
    ("complete.repeats", answer("/v1/uploads/create-complete", set={"id": "another"}, nth=2)),
    ("complete.all-objects", answer("/v1/uploads/create-complete", status=409, errorCode="21004091")),
    ("complete.file-exists", answer("/v1/uploads/create-complete", status=409, errorCode="21004091", nth=2)),
    ("update.new-version", answer("/v1/uploads/update-complete", set={"contentVersion": "1"})),
    ("download.answer", answer(DOWNLOAD, set={"encFekList.0.keyType": "3"})),
    ("download.answer", answer(DOWNLOAD, set={"objectInfoList.0.length": 1})),
    ("download.bytes", answer("/store/*", method="GET", corrupt=5)),
    ("download.bytes", answer("/store/*", method="GET", cutAfter=10)),
    ("download.bytes", answer("/store/*", method="GET", contentLength=20)),
    ("download.ranges", answer("/store/*", method="GET", headers={"Content-Range": "bytes 0-9/10"})),
    ("server.plan", answer(START, set={"version": 7})),
    ("server.plan", answer(START, set={"resumeUrl": "http://127.0.0.1/proxy/x"})),
    ("multipart.odd-form", answer("/proxy/*", status=400, errorCode="21004001")),
    ("multipart.name", answer("/proxy/*", set={"fileName": "lost.bin"})),
    ("resume.odd-form", answer("/proxy/*", method="PUT", set={"position": 0})),
    ("resume.odd-form", answer("/proxy/*", method="PUT", remove=["id"], nth=3)),
    ("resume.offered", answer(START, set={"position": 3000}, nth=2)),
    ("resume.never-whole", answer(START, set={"position": 2000}, nth=2)),
    ("resume.above", answer("/proxy/*", method="PUT", status=200)),
    ("content.ranges", answer("/v1/files/*/content", corrupt=0)),
    ("content.empty", answer("/v1/files/*/content", status=416, errorCode="21004001")),
    ("names.forms", answer("/v1/files/empty", set={"fileName": "another"})),
    ("file.deletes", answer("/v1/files/*", method="GET", set={"isDeleted": False})),
    ("list.parents-first", answer(PAGE, set={"nextCursor": ""})),
    ("changes.in-order", answer("/v1/changes", set={"items": []})),
    ("login.ends", answer("/v1/account/space", status=200, body="{}")),
    ("token.needed", answer("/v1/keys/public", status=200, body="{}")),
    ("codes.routes", answer("/v1/account/space", method="DELETE", status=404, errorCode="21004041")),
    ("codes.bad-request", answer("/v1/folders", status=500, errorCode="21005001")),
    ("space.counts", answer("/v1/account/space", set={"remaining": 5})),
    ("keys.refuses", answer("/v1/keys/list", status=200, body='{"keys": []}')),
    ("foreign.hidden", answer("/v1/files/*/content", user="eve", status=200, body="bytes of anna")),
    ("folder.found", answer("/v1/folders", set={"id": "another"}, nth=3)),
    ("names.refused", answer("/v1/files/empty", status=200, body="{}")),
    ("file.renames", answer("/v1/files/*/move", set={"fileName": "one"})),
    ("folder.into-itself", answer("/v1/files/*/move", status=200, body="{}")),
    ("changes.cursor", answer("/v1/changes", status=200, body="{}")),
    ("address.plan-only", answer(ADDRESS, status=200, body="{}")),
    ("store.unsent", answer("/v1/uploads/object-complete", status=200, body="{}")),
    ("complete.empty-list", answer(CREATE, status=200, body="{}")),
    ("complete.plan-only", answer(CREATE, status=409, errorCode="21004932")),
    ("complete.unknown", answer(CREATE, status=404, errorCode="21000400")),
    ("complete.parent-gone", answer(CREATE, status=409, errorCode="21004932")),
    ("download.unknown", answer("/v1/downloads/address", status=200, body="{}")),
    ("plan.other-content", answer(START, set={"version": 5})),
    ("plan.unconfirmed", answer(START, set={"items.0.status": True})),
    ("exist.own-only", answer(START, user="eve", set={"uploadType": "exist"})),
    ("exist.own-key", answer(DOWNLOAD, set={"encFekList.0.efek": "of another key"})),
    ("start.unknown-file", answer(START, status=404, errorCode="21000401")),
    ("start.name-taken", answer(START, status=200, body="{}", nth=2)),
    ("start.local-id", answer(START, status=404, errorCode="21004041")),
    ("start.passes-over", answer(START, status=400, errorCode="21004001")),
    ("multipart.digest", answer("/proxy/*", status=200, body="{}")),
    ("multipart.no-digest", answer("/proxy/*", status=409, errorCode="21004091")),
    ("multipart.closed", answer("/proxy/*", status=200, body="{}")),
    ("multipart.update", answer("/proxy/*", method="PATCH", set={"id": "another"})),
    ("resume.real-range", answer("/proxy/*", method="PUT", status=400, errorCode="21004001", nth=2)),
    ("resume.below", answer("/proxy/*", method="PUT", set={"position": 2000}, nth=2)),
    ("resume.wrong-size", answer("/proxy/*", method="PUT", status=200, body="{}")),
    ("resume.unknown", answer("/proxy/*", method="PUT", status=200, body="{}")),
    ("content.plain-only", answer("/v1/files/*/content", status=200, body="cipher text")),
    ("content.answer", answer(DOWNLOAD, set={"encFekList": [1]})),
    ("thumbnail.none", answer("/v1/files/*/thumbnail", status=200, body="a picture")),
    ("thumbnail.attached", answer("/v1/files/*/thumbnail", corrupt=5)),
    ("changes.folders", answer("/v1/changes", set={"items.0.isDeleted": False})),
]
# Faults that show in what the whole run has seen; the checks beside them only make the requests.
AFTERWARDS = [
    ("answers.documented", "space.fits", answer("/v1/account/space",
                                                body='{"total": 1, "used": 0, "remaining": 1, "extra": 1}')),
    ("answers.documented", "space", answer("/v1/account/space", remove=["used"])),
    ("answers.documented", "login.refuses", answer("/v1/account/login", remove=["description"], **{"from": 2})),
    ("answers.documented", "space", answer("/v1/account/space", body="{garbage")),
    ("answers.documented", "space.fits", answer("/v1/account/space", status=418)),
    ("answers.in-time", "space.fits", answer("/v1/account/space", delay=1.5)),
]


class ConformCase(CloudCase):
    def command(self):
        return [harness.BIN / "zelkor-conform", "--url", self.cloud.url, "--user", "anna", "--password-file",
                self.cloud.password]

    def conform(self, *options):
        """Exit status and the rows of the table."""
        command = [harness.BIN / "zelkor-conform", "--url", self.cloud.url, "--user", "anna", "--password-file",
                   self.cloud.password, "--other-user", "eve", "--server-name", "*.plain", "--json", *options]
        done = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                              timeout=300, env=self.environment)
        self.assertIn(done.returncode, (0, 1), done.stderr)
        return done.returncode, {row["check"]: row for row in json.loads(done.stdout)["checks"]}


class Conform(ConformCase):
    # CLOUD-CONFORM-01
    def test_zelkor_cloud_passes_every_check(self):
        status, rows = self.conform()
        self.assertEqual([], [row for row in rows.values() if row["verdict"] != "passed"])
        self.assertEqual(0, status)
        self.assertGreater(len(rows), 70)
        names = [entry["fileName"] for entry in self.anna.client.get("/v1/files").json["items"]]
        self.assertEqual([], [name for name in names if name.startswith("zelkor-conform-")], "it cleans up")

    # CLOUD-CONFORM-02
    def test_what_only_the_whole_run_shows_is_told_at_its_end(self):
        missed = []
        for name, maker, fault in AFTERWARDS:
            self.write_scenario(rules=[{"name": name, **fault}])
            status, rows = self.conform("--seconds", "1", "--only", name, "--only", maker)
            if status != 1 or rows[name]["verdict"] != "failed" or not rows[name]["reason"]:
                missed.append((name, fault, rows.get(name)))
        self.assertEqual([], missed)

    # CLOUD-CONFORM-02
    def test_a_lower_quota_and_a_shifted_clock_are_noticed(self):
        self.write_scenario(quota=1000)
        _, rows = self.conform("--only", "plan.whole-slices")
        self.assertEqual("failed", rows["plan.whole-slices"]["verdict"])
        self.assertIn("21004913", rows["plan.whole-slices"]["reason"])
        self.write_scenario(clock=-100000)
        _, rows = self.conform("--only", "health.answers")
        self.assertEqual("passed", rows["health.answers"]["verdict"], "a clock that stands back alone breaks nothing")

    # CLOUD-CONFORM-04
    def test_a_failure_tells_what_was_asked_and_came_and_was_due_and_where_that_stands(self):
        self.write_scenario(rules=[answer(START, set={"position": 5})])
        done = self.execute(*self.command(), "--only", "plan.begins", expect=1)
        self.assertRegex(done.stdout, r"failed +plan\.begins +position of a new plan: 0 was due, it came 5\n"
                         r' +asked: POST /v1/uploads/start \{"fileId": "".*\n'
                         r' +came:  200 \{.*"position":5.*\n'
                         r' +see:   docs/cloud-protocol\.md, "Start: POST `/v1/uploads/start`"\n')

    # CLOUD-CONFORM-04
    def test_no_failure_tells_a_password_or_a_token(self):
        self.write_scenario(rules=[answer("/v1/account/refresh", set={"accessToken": "x"}),
                                   answer("/v1/account/login", status=500, **{"from": 3})])
        done = self.execute(*self.command(), "--only", "login", expect=1)
        self.assertRegex(done.stdout, r'asked: POST /v1/account/login .*"password": "\(hidden\)"')
        self.assertNotRegex(done.stdout, r'"(password|accessToken|refreshToken)": ?"[^(]')

    # CLOUD-CONFORM-04
    def test_headers_of_a_servers_own_are_passed_over(self):
        self.write_scenario(rules=[answer("/*", headers={"Server": "another", "Via": "1.1 something"})])
        self.execute(*self.command(), "--only", "space.fits", "--only", "answers.documented")

    # CLOUD-CONFORM-03
    def test_what_cannot_be_tried_is_passed_over_and_told(self):
        command = [harness.BIN / "zelkor-conform", "--url", self.cloud.url, "--user", "anna", "--password-file",
                   self.cloud.password]
        done = self.execute(*command, "--only", "server", "--only", "exist")
        self.assertRegex(done.stdout, r"passed over +server\.plan +no name is known .* give --server-name")
        self.assertRegex(done.stdout, r"\n2 passed, 0 failed, 2 passed over\n$")
        self.execute(*command, "--only", "server", expect=1)  # a run that tried nothing is no success

    # CLOUD-CONFORM-03
    def test_a_run_that_cannot_begin_says_why(self):
        wrong = self.work / "wrong"
        wrong.write_text("wrong\n")
        base = [harness.BIN / "zelkor-conform", "--user", "anna", "--password-file"]
        done = self.execute(*base, wrong, "--url", self.cloud.url, expect=2)
        self.assertIn("the sign-in of anna was answered 401", done.stdout)
        self.cloud.stop()
        done = self.execute(*base, self.cloud.password, "--url", self.cloud.url, expect=2)
        self.assertIn("the run could not begin", done.stdout)
        self.execute(harness.BIN / "zelkor-conform", expect=2)
        self.assertIn("plan.objects", self.execute(harness.BIN / "zelkor-conform", "--list").stdout)


class Faults(ConformCase):
    # CLOUD-CONFORM-02
    def test_each_check_has_a_fault_that_it_must_tell(self):
        listed = self.execute(harness.BIN / "zelkor-conform", "--list").stdout.split("\n")
        checks = {line.split()[0] for line in listed if line.strip()}
        self.assertGreater(len(checks), 70)
        self.assertEqual(set(), checks - {name for name, *_ in FAULTS + AFTERWARDS})

    # CLOUD-CONFORM-02
    def test_each_fault_is_told_by_its_check_and_with_a_reason(self):
        missed = []
        for name, fault in FAULTS:
            self.write_scenario(rules=[{"name": name, **fault}])
            status, rows = self.conform("--only", name)
            if status != 1 or rows[name]["verdict"] != "failed" or not rows[name]["reason"]:
                missed.append((name, fault, rows.get(name)))
        self.assertEqual([], missed)


if __name__ == "__main__":
    unittest.main(verbosity=2)
