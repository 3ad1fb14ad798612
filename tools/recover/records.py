"""What the cloud's data folder holds: cloud.db (users, files, contents, objects), secrets.json (the master key) and
objects/ (the stored bytes). Nothing here writes to that folder."""
import base64
import binascii
import fcntl
import json
import os
import shutil
import sqlite3
import tempfile

from ciphers import Damaged, open_gcm
from names import native_name

FILE_KEY = 16


class Records:
    """A copy of the cloud's metadata, so that the original is not touched by as much as a lock file."""

    def __init__(self, data):
        refuse_running(data)
        self.data = os.fsencode(data)
        self._copy = tempfile.TemporaryDirectory(prefix="recover-")
        for name in ("cloud.db", "cloud.db-wal"):
            source = os.path.join(data, name)
            if os.path.exists(source):
                shutil.copyfile(source, os.path.join(self._copy.name, name))
        self._rows = sqlite3.connect(os.path.join(self._copy.name, "cloud.db"))
        self._rows.row_factory = sqlite3.Row

    def query(self, statement, *values):
        return self._rows.execute(statement, values).fetchall()

    def users(self):
        return self.query("SELECT * FROM users ORDER BY name")

    def entries(self, user):
        """The user's files and folders as (path, row), parents first; path is None where the records give none."""
        paths = {user["rootId"]: b""}
        for row in self.query("SELECT * FROM files WHERE userId = ? AND deletedAt = 0 AND depth > 0 "
                              "ORDER BY depth, name", user["id"]):
            name, parent = native_name(row["name"]), paths.get(row["parentId"])
            path = None if name is None or parent is None else os.path.join(parent, name)
            if row["folder"]:
                paths[row["id"]] = path
            yield path, row

    def contents(self, user):
        return {row["id"]: row for row in self.query("SELECT * FROM contents WHERE userId = ?", user["id"])}

    def objects(self, content):
        return self.query("SELECT * FROM objects WHERE contentId = ? ORDER BY position", content["id"])

    def blob_path(self, key):
        if len(key) != 32 or set(key) - set("0123456789abcdef"):
            raise Damaged(f"its object key {key!r} is none")
        return os.path.join(self.data, b"objects", key[:2].encode(), key.encode())


def refuse_running(data):
    """A running server holds a lock on its folder; the records would change under the reader."""
    try:
        with open(os.path.join(data, "server.lock"), "rb") as file:
            fcntl.flock(file, fcntl.LOCK_SH | fcntl.LOCK_NB)
    except FileNotFoundError:
        return
    except BlockingIOError:
        raise Damaged(f"a zelkor-cloud runs on {data}; stop it first, or work on a copy") from None


def content_keys(user, master_key):
    """The user's two content keys by their type, out of the server's seal."""
    sealed = [_decoded(user["sealedKey1"]), _decoded(user["sealedKey3"])]
    opened = open_gcm(master_key, sealed)
    if opened[0] is None and opened[1] is None:
        raise Damaged("the master key does not open this user's content keys; secrets.json is of another cloud")
    return {kind: key for kind, key in zip(("1", "3"), opened) if key}


def read_master_key(path):
    with open(path, encoding="utf-8") as file:
        key = _decoded(json.load(file)["masterKey"])
    if len(key) != 32:
        raise Damaged(f"the master key in {path} is not 32 bytes long")
    return key


def file_keys(contents, keys):
    """Content id to (key, initialisation vector) for every encrypted content that one of the user's keys opens."""
    found = {}
    for kind, content_key in sorted(keys.items()):
        wanted = [(content["id"], entry) for content in contents if content["encrypted"] and content["id"] not in found
                  for entry in _wrapped_keys(content["keys"], kind)]
        opened = open_gcm(content_key, [_decoded(entry["efek"]) for _, entry in wanted])
        for (content, entry), text in zip(wanted, opened):
            key = _key_of(text or b"")
            if key:
                found[content] = (key, bytes.fromhex(entry["iv"]))
    return found


def _wrapped_keys(text, kind):
    try:
        return [entry for entry in json.loads(text) if entry["keyType"] == kind]
    except (ValueError, KeyError, TypeError):
        return []


def _key_of(text):
    """Out of one byte form (1), two bytes length of the key text, the key text in hexadecimal, the vector's text; None
    for anything else."""
    length = int.from_bytes(text[1:3], "big")
    if text[:1] != b"\x01" or length < 2 * FILE_KEY or len(text) < 3 + length:
        return None
    return bytes.fromhex(text[3:3 + length].decode())[:FILE_KEY]


def _decoded(text):
    try:
        return base64.b64decode(text)
    except binascii.Error:
        return b""
