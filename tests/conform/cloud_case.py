"""A zelkor-cloud with two users for tests of the wire: its scenario, its clock, its rows, and kits to speak with."""
import contextlib
import json
import pathlib
import sqlite3
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
for folder in (HERE.parent / "e2e", HERE.parents[1] / "tools" / "conform"):
    sys.path.insert(0, str(folder))

import harness  # noqa: E402
from client import sign_in  # noqa: E402
from kit import Kit  # noqa: E402
from protocol import Protocol  # noqa: E402

PASSWORD = "correct horse battery staple"
SLICE = 65536


class CloudCase(harness.Case):
    """One cloud a test; `anna` and `eve` are kits of its users."""

    options = ()

    def setUp(self):
        super().setUp()
        self.protocol = Protocol()
        self.scenario_file = self.work / "scenario.json"
        self.write_scenario()
        self.cloud = harness.Cloud(self, "--slice-size", str(SLICE), "--server-pattern", "*.plain", "--scenario",
                                   self.scenario_file, *self.options)
        for user in ("anna", "eve"):
            self.cloud.add_user(user)
        self.cloud.start()
        self.anna, self.eve = self.new_kit("anna"), self.new_kit("eve")
        self.anna.foreign = (self.eve.client, self.eve.login)

    def tearDown(self):
        self.write_scenario()
        self.cloud.stop()
        self.clouds.clear()  # these tests also say what nobody should: they hold each answer themselves
        super().tearDown()

    def sign_in(self, user):
        return sign_in(self.cloud.url, user, PASSWORD)

    def new_kit(self, user):
        client, login = self.sign_in(user)
        kit = Kit(client, login, self.protocol, server_name=".plain")
        kit.user, kit.password, kit.options = user, PASSWORD, {}
        return kit

    def write_scenario(self, **content):
        """The server looks at the file's time with each request, at most every 50 ms."""
        fresh = self.scenario_file.with_suffix(".new")
        fresh.write_text(json.dumps({"rules": [], **content}))
        fresh.rename(self.scenario_file)
        time.sleep(0.06)

    @contextlib.contextmanager
    def scenario(self, **content):
        self.write_scenario(**content)
        try:
            yield
        finally:
            self.write_scenario()

    @contextlib.contextmanager
    def rows(self):
        """The cloud's own rows, to change them behind its back."""
        connection = sqlite3.connect(self.cloud.folder / "cloud.db", timeout=30)
        try:
            with connection:
                yield connection
        finally:
            connection.close()

    def assert_documented(self, operation, answer):
        found = list(self.protocol.answer_problems(operation, answer.status, answer.headers, answer.json))
        self.assertEqual([], found, f"{operation.name} {answer}")
