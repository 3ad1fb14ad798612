"""The look for plain text in the store: it finds every run of 16 bytes at any offset, and an encrypted upload has none."""
import random
import subprocess
import unittest

import harness
from harness import Case, Cloud, Host

SIZE = 200_000


class SharedRuns(Case):
    def look(self, plain, *stored):
        done = subprocess.run([harness.BIN / "zelkor_shared_runs", plain], input="\n".join(map(str, stored)) + "\n",
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=120)
        return done.returncode, done.stdout

    def test_sixteen_bytes_in_common_are_found_at_every_offset_and_fifteen_are_none(self):
        generator = random.Random(5)
        plain, stored = self.work / "plain", self.work / "stored"
        (plain / "deep").mkdir(parents=True)
        text = generator.randbytes(SIZE)
        (plain / "deep" / "file").write_bytes(text)
        for shift in range(16):
            for length in (16, 15):
                data = bytearray(generator.randbytes(SIZE))
                at = 777 if shift % 3 else SIZE - 16  # also at the very end
                data[at:at + length] = text[4096 + shift:4096 + shift + length]
                if length == 15:  # the byte behind must differ too
                    data[at + 15] = text[4096 + shift + 15] ^ 1
                stored.write_bytes(data)
                self.assertEqual(1 if length == 16 else 0, self.look(plain, stored)[0], f"{length} bytes at {shift}")

    def test_the_ends_of_a_plain_file_are_looked_at_too(self):
        generator = random.Random(6)
        plain, stored = self.work / "plain", self.work / "stored"
        plain.mkdir()
        text = generator.randbytes(1003)
        (plain / "file").write_bytes(text)
        for piece in (text[:16], text[-16:]):
            stored.write_bytes(generator.randbytes(501) + piece)
            self.assertEqual(1, self.look(plain, stored)[0])

    def test_the_objects_of_an_encrypted_upload_hold_nothing_of_the_plain_text(self):
        cloud = Cloud(self, "--slice-size", str(64 * 1024))
        cloud.add_user()
        cloud.start()
        host = Host(self, cloud, "up").init()
        for number in range(3):
            self.make_file(host.root / f"{number}.bin", 300_000, seed=number)
        (host.root / "zeros").write_bytes(bytes(150_000))
        (host.root / "text").write_text("the same line over and over\n" * 9000)
        self.execute(*host.command("put", "--timeout", "120"))
        cloud.stop()
        listed = self.execute(harness.HERE.parent.parent / "scripts" / "stored_objects", cloud.folder, "anna")
        objects = listed.stdout.split()
        self.assertGreater(len(objects), 15)
        code, told = self.look(host.root, *objects)
        self.assertEqual(0, code, told)
        self.assertIn(f"5 plain files, {len(objects)} stored objects, no 16 bytes in common", told)


if __name__ == "__main__":
    unittest.main(verbosity=2)
