"""When all else is lost: tools/recover brings the files back out of a stopped cloud's folder without any of our code."""
import json
import os
import pathlib
import shutil
import sqlite3
import struct
import sys
import unittest
import zlib

import harness
from harness import Case, Cloud, Host, tree

TOOL = harness.HERE.parent.parent / "tools" / "recover"
SLICE = 64 * 1024
sys.path.insert(0, str(TOOL))

from ciphers import open_cbc, open_gcm  # noqa: E402
from names import native_name  # noqa: E402


def picture(width, height):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    rows = b"".join(b"\0" + bytes(v for x in range(width) for v in (x % 256, y % 256, 90)) for y in range(height))
    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b"")


class Recover(Case):
    def setUp(self):
        super().setUp()
        self.cloud = Cloud(self, "--slice-size", str(SLICE))
        self.cloud.add_user()

    def odd_tree(self, root):
        for size in (0, 1, 15, 16, 17, SLICE - 1, SLICE, SLICE + 1, 3 * SLICE + 7):
            self.make_file(root / "sizes" / f"{size}.bin", size, seed=size)
        for name in ("with a blank", "Grüße", "emoji \U0001F980", "it's", "back\\slash", "line\nbreak", "private \uF05C",
                     "escape \uF7FF", ".hidden", "twin", "twin.damaged"):
            self.make_file(root / "names" / name, 700, seed=name)
        with open(os.path.join(os.fsencode(root), b"not \xff utf-8"), "wb") as file:
            file.write(b"undecodable name")
        (root / "empty folder").mkdir()
        for number in range(2):
            (root / f"picture {number}.png").write_bytes(picture(300 + 40 * number, 200))

    def upload(self, change=None):
        """Sends the odd tree, and then once more what `change` does to it."""
        self.cloud.start()
        host = Host(self, self.cloud, "up")
        self.odd_tree(host.root)
        host.init()
        self.execute(*host.command("put", "--timeout", "120"))
        if change:
            change(host.root)
            self.execute(*host.command("put", "--timeout", "120"))
        self.cloud.stop()
        return host.root

    def recover(self, *options, user="anna", out="out", expect=0):
        return self.execute(TOOL / "recover", "--data", self.cloud.folder, "--user", user, "--out", self.work / out,
                            *options, expect=expect).stdout

    def blob_of(self, name, number=0):
        connection = sqlite3.connect(self.cloud.folder / "cloud.db")
        found = connection.execute("SELECT blob FROM objects o JOIN files f ON f.contentId = o.contentId "
                                   "WHERE f.name = ? ORDER BY position", (name,)).fetchall()[number][0]
        connection.close()
        return self.cloud.folder / "objects" / found[:2] / found

    def test_every_file_comes_back_and_the_cloud_is_not_touched(self):
        root = self.upload(lambda root: self.make_file(root / "names" / "twin", 900, seed="the newer content"))
        before = {path: path.stat().st_mtime_ns for path in self.cloud.folder.rglob("*")}
        told = self.recover("--pictures", self.work / "pictures")
        self.assert_same_tree(root, self.work / "out")
        self.assertEqual(before, {path: path.stat().st_mtime_ns for path in self.cloud.folder.rglob("*")})
        self.assertIn("4 pictures; 0 failed", told)
        extracted = [path for path in (self.work / "pictures").rglob("*") if path.is_file()]
        self.assertEqual({f"picture {n}.png.{kind}.jpg" for n in range(2) for kind in ("small", "large")},
                         {path.name for path in extracted})
        for path in extracted:
            self.assertEqual(b"\xff\xd8\xff", path.read_bytes()[:3], f"{path.name} is a JPEG picture")

    def runs_in_the_store(self, root):
        """Names of the files of which sixteen bytes in a row stand somewhere in the cloud's folder."""
        names = {}
        for path in root.rglob("*"):
            content = path.read_bytes() if path.is_file() else b""
            names.update({content[at:at + 16]: path.name for at in range(len(content) - 15)})
        kept = [path.read_bytes() for path in self.cloud.folder.rglob("*") if path.is_file()]
        return {names[found] for text in kept for at in range(len(text) - 15) if (found := text[at:at + 16]) in names}

    def test_no_sixteen_bytes_in_a_row_of_what_was_sent_stand_in_the_store(self):
        root = self.upload()
        self.assertEqual(set(), self.runs_in_the_store(root))
        self.recover()
        self.assert_same_tree(root, self.work / "out")

    def test_plain_files_come_back_too_and_each_user_gets_their_own(self):
        self.cloud.add_user("bob")
        source = self.work / "source"
        self.odd_tree(source)
        self.cloud.import_tree(source, user="bob")
        self.recover(user="bob")
        self.assert_same_tree(source, self.work / "out")
        self.assertIn("17.bin", self.runs_in_the_store(source), "what is held plain is found by such a search")
        self.recover(user="anna", out="other")
        self.assertEqual({}, tree(self.work / "other"))
        nobody = self.recover(user="eve", out="third", expect=1)
        self.assertIn("anna, bob", nobody)

    def test_a_damaged_object_is_named_and_everything_else_is_restored(self):
        root = self.upload()
        name = f"{3 * SLICE + 7}.bin"
        blob = self.blob_of(name, number=1)
        stored = bytearray(blob.read_bytes())
        stored[SLICE // 2] ^= 1
        blob.write_bytes(stored)
        self.blob_of("Grüße").unlink()
        told = self.recover("--damaged", self.work / "damaged", expect=1)
        self.assertIn(f"failed: sizes/{name}: object 2 of 4 ({blob.name}): the stored bytes have changed", told)
        self.assertRegex(told, "failed: names/Grüße: object 1 of 1 .*No such file")
        self.assertIn("2 failed", told)
        wanted = {path: kind for path, kind in tree(root).items()
                  if path not in (b"names/" + "Grüße".encode(), b"sizes/" + name.encode())}
        self.assertEqual(wanted, tree(self.work / "out"))
        kept, original = ((folder / "sizes" / name).read_bytes() for folder in (self.work / "damaged", root))
        self.assertEqual(len(original), len(kept))
        self.assertLessEqual(sum(a != b for a, b in zip(kept, original)), 17, "only the damaged blocks differ")

    def test_it_works_alone_on_another_machine_and_only_with_the_right_secrets(self):
        root = self.upload()
        alone = pathlib.Path(shutil.copytree(TOOL, self.work / "elsewhere"))
        self.execute(alone / "recover", "--data", self.cloud.folder, "--user", "anna", "--out", self.work / "out",
                     environment={"PATH": "/usr/bin:/bin", "LD_LIBRARY_PATH": ""})
        self.assert_same_tree(root, self.work / "out")

        secrets = json.loads((self.cloud.folder / "secrets.json").read_text())
        other = self.work / "other.json"
        other.write_text(json.dumps({**secrets, "masterKey": secrets["addressKey"]}))
        self.assertIn("secrets.json is of another cloud", self.recover("--secrets", other, out="third", expect=1))

    def test_a_running_cloud_and_a_folder_in_use_are_refused(self):
        self.cloud.start()
        self.assertIn("stop it first", self.recover(expect=1))
        self.cloud.stop()
        (self.work / "out").mkdir(exist_ok=True)
        (self.work / "out" / "mine").write_text("keep me")
        self.assertIn("is not empty", self.recover(expect=1))


class Formats(unittest.TestCase):
    def test_gcm_opens_published_examples_and_refuses_changed_ones(self):
        zero = bytes(16)
        sealed = bytes(12) + bytes.fromhex("0388dace60b6a392f328c2b971b2fe78" "ab6e47d42cec13bdf53a67b21257bddf")
        empty = bytes(12) + bytes.fromhex("58e2fccefa7e3061367f1d57a4e7455a")
        self.assertEqual([zero, b""], open_gcm(zero, [sealed, empty]))
        for index in range(len(sealed)):
            changed = sealed[:index] + bytes([sealed[index] ^ 1]) + sealed[index + 1:]
            self.assertEqual([None, b""], open_gcm(zero, [changed, empty]))
        long_key = bytes.fromhex("feffe9928665731c6d6a8f9467308308" * 2)
        cipher = bytes.fromhex(
            "522dc1f099567d07f47f37a32a84427d643a8cdcbfe5c0c97598a2bd2555d1aa8cb08e48590dbb3da7b08b1056828838c5f61e6393"
            "ba7a0abcc9f662898015ad" "b094dac5d93471bdec1a502270e3cc6c")
        plain = bytes.fromhex(
            "d9313225f88406e5a55909c5aff5269a86a7a9531534f7da2e4c303d8a318a721c3c0c95956809532fcf0e2449a6b525b16aedf5aa"
            "0de657ba637b391aafd255")
        self.assertEqual([plain], open_gcm(long_key, [bytes.fromhex("cafebabefacedbaddecaf888") + cipher]))
        self.assertEqual([None, None], open_gcm(zero, [b"", bytes(27)]), "texts that are too short")

    def test_cbc_opens_a_published_example(self):
        key, iv = bytes.fromhex("06a9214036b8a15b512e03d534120006"), bytes.fromhex("3dafba429d9eb430b422da802c9fac41")
        # The published block of "Single block msg", and the block of padding behind it.
        padded = bytes.fromhex("e353779c1079aeb82708942dbe77181a" "b97c825e1c785146542d396941bce55d")
        self.assertEqual(b"Single block msg", open_cbc(key, iv, padded))

    def test_hostile_names_are_none(self):
        for name in ("", ".", "..", "a/b", "/etc/passwd", "nul\0"):
            self.assertIsNone(native_name(name), repr(name))
        self.assertEqual(b"caf\xe9", native_name("caf\uF7E9"))
        self.assertEqual(b"a\\b", native_name("a\uF05Cb"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
