"""Every command as a person types it: what it refuses, with which code and in which words, and what it leaves alone."""
import json
import signal
import subprocess
import time

import harness
from host_case import MIB, HostCase, main, powerless, tree

COMMANDS = {"get": [], "put": [], "fetch": ["x"], "verify": [], "status": [], "watch": [], "sync": [], "cancel": ["x"],
            "mount": ["x"], "evict": ["x"]}


class HostCommands(HostCase):
    def drive(self, *words, expect, **keywords):
        """Runs the program; its one line for the person."""
        done = self.execute(harness.BIN / "zelkor-drive", *words, expect=expect, **keywords)
        return done.stdout.strip()

    def one_line(self, text):
        self.assertEqual(1, len(text.splitlines()), text)
        self.assertTrue(text.startswith("zelkor-drive: "), text)
        return text

    # HOST-CLI-01, HOST-CLI-02
    def test_wrong_words_and_a_missing_state(self):
        nowhere = self.work / "nowhere"
        for words in (["--nonsense"], [], ["get", "--attempts", "0"], ["put", "--timeout", "-1"], ["fetch"],
                      ["get", "--limit-rate", "fast"], ["init", "--url", "http://127.0.0.1:1"], ["unknown"]):
            self.drive(*words, expect=2)
        for command, more in COMMANDS.items():
            text = self.drive(command, "--state", nowhere, *more, expect=2)
            self.assertIn("run 'zelkor-drive init'", self.one_line(text.splitlines()[0]), command)
        self.assertIn("WRONG    settings", self.drive("doctor", "--state", nowhere, expect=1))
        for command in (["--help"], *([name, "--help"] for name in COMMANDS)):
            self.drive(*command, expect=0)
        self.assertFalse(nowhere.exists())
        done = subprocess.run([harness.BIN / "zelkor-drive", "get", "--json", "--state", nowhere], env=self.environment,
                              capture_output=True, text=True, timeout=30)
        told = json.loads(done.stdout)
        self.assertEqual(("error", 2), (told["event"], told["exitCode"]))
        self.assertIn("zelkor-drive init", told["message"])

    # HOST-INIT-01, HOST-INIT-02, HOST-LOGIN-01
    def test_signing_in(self):
        up = self.begin()
        words = ["init", "--state", self.work / "s", "--user", "anna", "--root", self.work / "r"]
        password = ["--password-file", self.cloud.password]
        self.one_line(self.drive(*words, "--url", "ftp://x", *password, expect=2))
        self.assertFalse((self.work / "r").exists(), "a wrong address leaves nothing behind")
        self.one_line(self.drive(*words, "--url", "http://127.0.0.1:1", *password, expect=3))
        wrong = self.work / "wrong"
        wrong.write_text("not it\n")
        text = self.one_line(self.drive(*words, "--url", self.cloud.url, "--password-file", wrong, expect=3))
        self.assertIn("cannot sign in", text)
        self.assertIn("run 'zelkor-drive init'", self.drive("get", "--state", self.work / "s", expect=2))
        self.one_line(self.drive(*words, "--url", self.cloud.url, "--password-file", self.work / "none", expect=2))

        again = ["--url", self.cloud.url, "--user", "anna", *password]
        self.assertIn("belongs to the root", self.drive("init", "--state", up.state, "--root", self.work, *again, expect=2))
        self.assertIn("must not lie inside", self.drive("init", "--state", up.root / "s", "--root", up.root, *again, expect=2))
        self.assertEqual(0o600, (up.state / "login.json").stat().st_mode & 0o777)

        self.cloud.stop()
        self.assertIn("cannot list the cloud", self.drive("get", "--state", up.state, expect=3))
        self.cloud.command("token", "revoke", "--data", self.cloud.folder, "anna")
        self.cloud.start()
        for command in ("get", "put", "verify"):
            self.assertIn("zelkor-drive init", self.drive(command, "--state", up.state, expect=3), command)
        up.init()
        self.run_host(up, "get")

    # HOST-LOGIN-02
    def test_an_access_token_that_ran_out_is_refreshed_and_kept(self):
        up = self.begin("--access-seconds", "2")
        (up.root / "empty").touch()
        first = json.loads((up.state / "login.json").read_text())
        time.sleep(2.1)
        self.run_host(up, "put")
        second = json.loads((up.state / "login.json").read_text())
        self.assertNotEqual(first["accessToken"], second["accessToken"])
        self.assertNotEqual(first["refreshToken"], second["refreshToken"])
        time.sleep(2.1)
        self.run_host(up, "get", "--dry-run")

    # HOST-DOCTOR-01, HOST-DOCTOR-02
    def test_the_doctor_names_what_is_wrong_and_what_to_do(self):
        up = self.begin()
        text = self.run_host(up, "doctor").stdout
        self.assertNotIn("WRONG", text)
        (up.state / "login.json").chmod(0o644)
        self.cloud.stop()
        findings = self.events(up, "doctor", expect=1)[0]["findings"]
        wrong = {finding["what"]: finding["detail"] for finding in findings if not finding["good"]}
        self.assertEqual({"login.json", "cloud"}, set(wrong))
        self.assertIn(f"chmod 600 {up.state}/login.json", wrong["login.json"])
        (up.state / "transfer.db").write_bytes(b"this is no database" * 1000)
        self.assertIn("WRONG    database", self.run_host(up, "doctor", expect=1).stdout)

    # HOST-WATCH-04, HOST-WATCH-05
    def test_watching_keeps_both_sides_in_step_until_a_signal(self):
        up = self.begin()
        down = self.second()
        watch = self.spawn_host(down, "watch", "--every", "1")
        (up.root / "from there").touch()
        self.run_host(up, "put")
        self.wait_until(lambda: (down.root / "from there").exists(), 20, "the change in the cloud")
        (down.root / "from here").touch()
        self.wait_until(lambda: self.run_host(up, "get").returncode == 0 and (up.root / "from here").exists(), 20,
                        "the change here")
        begun = time.monotonic()
        watch.send_signal(signal.SIGTERM)
        self.ends_with(watch, 0)
        self.assertLess(time.monotonic() - begun, 8)
        (down.root / "from here").unlink()
        self.run_host(down, "sync")
        self.assertTrue((down.root / "from here").exists(), "what is gone on one side comes back from the other")

    # HOST-TIME-02
    def test_a_timeout_counts_from_the_beginning(self):
        up = self.begin()
        for name in ("one", "two"):
            (up.root / name).write_text(name)
        self.cloud.tell({"path": "/v1/files*", "delay": 2})
        events = self.events(up, "put", "--timeout", "1", expect=5)
        self.assertEqual({"pending"}, {self.entry(events, name)["result"] for name in ("one", "two")})
        self.assertEqual([], up.query("SELECT fileId FROM T_task"))

    # HOST-LOCK-01, HOST-LOCK-02
    def test_a_second_command_on_the_same_state_or_root(self):
        up = self.begin()
        self.make_file(up.root / "file", MIB)
        self.cloud.tell({"path": "/v1/files*", "delay": 4})
        first = self.spawn_host(up, "put")
        other = harness.Host(self, self.cloud, "other")
        other.root = up.root
        self.wait_until(lambda: (up.state / "control").exists(), 10, "the first command")
        text = self.one_line(self.run_host(up, "put", expect=4).stdout.strip())
        self.assertIn(str(up.state), text)
        other.init()
        text = self.one_line(self.run_host(other, "get", expect=4).stdout.strip())
        self.assertIn(f"another zelkor-drive works on {up.root}", text)
        self.assertIn("works on", self.run_host(other, "put", "--dry-run", expect=4).stdout)
        self.assertEqual("put", self.status(up)["running"]["command"] or "put")
        first.kill()
        first.wait(10)
        self.cloud.tell()
        self.assertIn("no command is running", self.run_host(up, "cancel", "file", expect=1).stdout)
        self.run_host(up, "put")

    # HOST-ROOT-01, HOST-ROOT-02, HOST-ROOT-03
    def test_a_root_that_is_gone_unmounted_or_cannot_be_written(self):
        up = self.begin()
        (up.root / "empty").touch()
        self.run_host(up, "put")
        away = up.root.with_name("away")
        up.root.rename(away)
        for command in ("get", "put", "verify"):
            text = self.one_line(self.run_host(up, command, expect=7).stdout.strip())
            self.assertIn("is its disk mounted?", text)
        up.root.mkdir()
        text = self.one_line(self.run_host(up, "get", expect=7).stdout.strip())
        self.assertIn("is empty and not the folder that was there before", text)
        self.assertEqual([], list(up.root.iterdir()))
        up.root.rmdir()
        away.rename(up.root)
        self.run_host(up, "get")

        up.root.chmod(0o555)
        text = self.one_line(self.execute(*powerless(up.command("get")), expect=7).stdout.strip())
        self.assertIn("cannot write into", text)
        self.execute(*powerless(up.command("put")), expect=0)
        self.execute(*powerless(up.command("verify")), expect=0)
        up.root.chmod(0o755)
        (up.root / "empty").unlink()
        self.run_host(up, "get")
        self.assertTrue((up.root / "empty").exists(), "emptied on purpose, the same folder is filled again")
        up.root.rename(away)
        up.root.mkdir()
        up.init()
        self.run_host(up, "get")
        self.assertTrue((up.root / "empty").exists(), "after a new init an empty folder is filled")

    # HOST-DRY-01, HOST-DRY-02
    def test_a_dry_run_tells_all_and_changes_nothing(self):
        up = self.begin()
        source = self.work / "plain"
        self.make_file(source / "folder" / "from the cloud", 1000)
        self.make_file(source / "both", 1000, seed="there")
        self.cloud.stop()
        self.cloud.import_tree(source)
        self.cloud.start()
        self.make_file(up.root / "new" / "from here", 1000)
        self.make_file(up.root / "both", 1000, seed="here")
        (up.root / "new" / "empty").touch()
        before = (tree(up.root), self.quiet_state(up), self.cloud_state())

        events = self.events(up, "put", "--dry-run", expect=1)
        results = {event["path"]: event["result"] for event in events if event["event"] == "entry"}
        self.assertEqual({"both": "conflict", "new": "planned", "new/empty": "planned", "new/from here": "planned"}, results)
        self.assertTrue(events[-1]["dryRun"])
        events = self.events(up, "get", "-n", expect=1)
        results = {event["path"]: event["result"] for event in events if event["event"] == "entry"}
        self.assertEqual({"both": "kept-local", "folder": "planned", "folder/from the cloud": "planned"}, results)
        self.run_host(up, "sync", "--dry-run", expect=1)
        self.assertEqual(before, (tree(up.root), self.quiet_state(up), self.cloud_state()))

        self.run_host(up, "sync", "--overwrite")
        self.run_host(up, "sync", "--dry-run")
        self.assertEqual({event["result"] for event in self.events(up, "put", "-n") if event["event"] == "entry"} -
                         {"unchanged", "folder"}, set())

    def quiet_state(self, host):
        """Everything of the state folder but what a reader of a database leaves beside it."""
        return {name: digest for name, digest in tree(host.state).items() if not name.endswith((b"-shm", b"-wal"))}

    def cloud_state(self):
        return [entry["path"] for entry in self.cloud.requests() if entry["method"] not in ("GET", "HEAD") and
                not entry["path"].startswith("/v1/account/")]

    # HOST-CLI-03, HOST-GET-02
    def test_entries_are_named_in_any_form(self):
        up = self.begin()
        for name in ("a/one", "a/two", "b"):
            path = up.root / name
            path.parent.mkdir(exist_ok=True)
            path.touch()
        self.run_host(up, "put")
        down = self.second()
        self.run_host(down, "get", "./a//one")
        self.assertEqual({b"a", b"a/one"}, set(tree(down.root)))
        self.run_host(down, "get", f"{down.root}/b", "a/")
        self.assertEqual(set(tree(up.root)), set(tree(down.root)))
        self.assertIn("the cloud has no nothing", self.run_host(down, "get", "nothing", expect=1).stdout)

    # HOST-JSON-01
    def test_every_run_with_json_ends_in_one_summary(self):
        up = self.begin()
        (up.root / "empty").touch()
        for command, more in (("put", []), ("get", []), ("get", ["--if-changed"]), ("verify", []), ("put", ["-n"])):
            events = self.events(up, command, *more)
            self.assertEqual(["summary"], [event["event"] for event in events if event["event"] != "entry"], command)
            self.assertEqual(SUMMARY, set(events[-1]), command)
            for event in events[:-1]:
                self.assertLessEqual({"event", "path", "result", "bytes"}, set(event))
        self.assertEqual(STATUS, set(self.status(up)))
        self.cloud.stop()
        events = self.events(up, "get", expect=3)
        self.assertEqual([("summary", 3)], [(event["event"], event["exitCode"]) for event in events])
        events = self.events(up, "cancel", "empty", expect=1)
        self.assertEqual([("error", 1)], [(event["event"], event["exitCode"]) for event in events])


SUMMARY = {"event", "entries", "troubles", "bytesDownloaded", "bytesUploaded", "seconds", "secondsWaiting", "exitCode",
           "results", "dryRun"}
STATUS = {"event", "user", "cloud", "root", "files", "tasks", "inMotion", "troubles", "spaceNotice", "running",
          "exitCode"}

if __name__ == "__main__":
    main()
