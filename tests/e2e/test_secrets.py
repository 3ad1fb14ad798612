"""What must stay secret leaves no trace: keys and tokens of a run are nowhere but where they belong."""
import base64
import hashlib
import hmac
import json
import os
import re
import sys
import unittest

import harness
from harness import MIB, Case, Cloud, Host

sys.path.insert(0, str(harness.HERE.parent.parent / "tools" / "recover"))

from records import Records, content_keys, file_keys, read_master_key  # noqa: E402

LABEL = b"zelkor file content key, form 1"
SLICE = 1 << 20


def spellings(secret):
    """The ways in which bytes could have been written down."""
    encoded = base64.b64encode(secret)
    # Three phases: inside a longer text the same bytes give other characters.
    phases = [base64.b64encode(b"\0" * lead + secret)[4:-4] for lead in (1, 2)]
    return {secret, secret.hex().encode(), secret.hex().upper().encode(), encoded, encoded.rstrip(b"="),
            base64.urlsafe_b64encode(secret).rstrip(b"="), secret.hex().encode("utf-32-le"), *phases}


def text_spellings(text):
    return {text.encode(), text.encode("utf-32-le"), base64.b64encode(text.encode())}


class Secrets(Case):
    def setUp(self):
        super().setUp()
        self.cloud = Cloud(self, "--slice-size", str(SLICE))
        self.cloud.add_user()
        self.cloud.start()
        self.tokens = set()

    def machine(self, name, files):
        """A host with a state folder, a home and a root of its own."""
        host = Host(self, self.cloud, name)
        for file, (size, seed) in files.items():
            self.make_file(host.root / file, size, seed)
        home = self.work / name / "home"
        (home / "data").mkdir(parents=True)
        self.environment.update(HOME=str(home), XDG_DATA_HOME=str(home / "data"))
        host.init()
        self.note_tokens(host)
        return host

    def run_host(self, host, command):
        self.execute(*host.command(command, "--timeout", "60"))
        self.note_tokens(host)

    def note_tokens(self, host):
        """The login as it stands now; texts of any length that could open an account."""
        def texts(value):
            if isinstance(value, dict):
                for key, part in value.items():
                    yield from texts(part) if isinstance(part, (dict, list)) else [(key, part)]

        login = json.loads(next(host.state.rglob("login.json")).read_text(encoding="utf-8"))
        self.tokens |= {text for key, text in texts(login) if re.search("token", key, re.I) and text}

    def keys(self):
        """The user's content keys, and key and vector of every encrypted content, from the stopped cloud's records."""
        records = Records(self.cloud.folder)
        user = records.users()[0]
        content = content_keys(user, read_master_key(self.cloud.folder / "secrets.json"))
        return content, file_keys(records.contents(user).values(), content), records, user

    def traces(self, places, secrets):
        found = []
        for place in places:
            for file in sorted(path for path in place.rglob("*") if path.is_file() and not path.is_symlink()):
                data = file.read_bytes()
                found += [f"{name} in {file.relative_to(self.work)}" for name, forms in secrets.items()
                          if any(form in data for form in forms)]
        return found

    def test_a_run_leaves_no_plain_key_and_no_token_behind(self):
        """COM-KEYS-02, COM-KEYS-05"""
        up = self.machine("up", {"letter": (3 * MIB + 5, "letter"), "note": (900, "note")})
        # A foreign end in the middle leaves what a run otherwise takes away.
        first = self.spawn(*up.command("put", "--limit-rate", "1M"))
        self.wait_until(lambda: any(entry["method"] == "PUT" for entry in self.cloud.requests()), what="an object")
        with open(f"/proc/{first.pid}/coredump_filter", encoding="ascii") as core_filter:
            self.assertEqual(0x10, int(core_filter.read(), 16), "a core file of the host would hold memory")
        first.kill()
        first.wait(30)
        self.run_host(up, "put")
        down = self.machine("down", {})
        self.run_host(down, "get")
        self.assert_same_tree(up.root, down.root)
        self.cloud.stop()

        content, files, _, _ = self.keys()
        self.assertEqual({"1", "3"}, set(content))
        self.assertEqual(2, len(files))
        self.assertGreaterEqual(len(self.tokens), 4)
        secrets = {f"content key {kind}": spellings(key) for kind, key in content.items()}
        secrets |= {f"file key of {name}": spellings(key) for name, (key, _) in files.items()}
        secrets |= {f"token {number}": text_spellings(text) for number, text in enumerate(sorted(self.tokens))}
        secrets["password"] = text_spellings(self.cloud.password.read_text().strip())

        # The tokens stand in one file, for its owner alone.
        for host in (up, down):
            login = next(host.state.rglob("login.json"))
            self.assertEqual(0o600, login.stat().st_mode & 0o777)
            self.assertTrue(any(text.encode() in login.read_bytes() for text in self.tokens))
            login.unlink()
        places = [self.work / "up", self.work / "down", self.work / "home"]
        looked_at = {file.name for place in places for file in place.rglob("*") if file.is_file()}
        self.assertLessEqual({"transfer.db", "host.db", "transfer.log", "statistics.jsonl"}, looked_at)
        self.assertEqual([], self.traces(places, secrets))
        journal = self.cloud.journal.read_bytes()
        self.assertEqual([], [name for name, forms in secrets.items() if any(form in journal for form in forms)])

        # The search finds what is there.
        name, (key, _) = next(iter(files.items()))
        for number, form in enumerate((key, key.hex().encode(), base64.b64encode(b"key: " + key))):
            (down.state / f"planted {number}").write_bytes(b"before" + form + b"after")
        self.assertEqual(3, len(self.traces([down.state], {name: spellings(key)})))

    def test_the_key_of_a_file_follows_from_user_and_content_alone(self):
        """COM-KEYS-06"""
        first = self.machine("first", {"a": (2 * MIB + 1, "shared"), "b": (1000, "own of the first")})
        self.run_host(first, "put")
        objects = sum(entry["method"] == "PUT" for entry in self.cloud.requests())
        second = self.machine("second", {"elsewhere/c": (2 * MIB + 1, "shared"), "d": (1000, "own of the second")})
        self.run_host(second, "put")
        sent = sum(entry["method"] == "PUT" for entry in self.cloud.requests()) - objects
        self.cloud.stop()
        self.assertEqual(1, sent, "the content that both have is sent once")

        content, files, records, user = self.keys()
        expected = {}
        secret = hmac.new(content["1"][:16], LABEL, "sha256").digest()
        for host in (first, second):
            for path in host.root.rglob("*"):
                if path.is_file():
                    text = hmac.new(secret, hashlib.sha256(path.read_bytes()).digest(), "sha256").digest()
                    expected[os.fsencode(path.relative_to(host.root))] = (text[:16], text[16:])
        found = {path: files[row["contentId"]] for path, row in records.entries(user) if not row["folder"]}
        self.assertEqual(expected, found)


if __name__ == "__main__":
    unittest.main(verbosity=2)
