"""What every check works with: a signed-in user, a folder of its own in the cloud, and uploads in small steps."""
import base64
import hashlib
import json
import re
import secrets
import urllib.parse

from protocol import query_of

CHECKS = []


class Wrong(Exception):
    """The cloud does not do what is relied on; the text says what was due and what it did. `answer`: the one that was
    wrong, where it is not the last one."""

    def __init__(self, text, answer=None):
        super().__init__(text)
        self.answer = answer


class PassedOver(Exception):
    """The check does not apply here; the text says why."""


def check(name, text):
    """Makes a function a check. `name` is what the table and the tests call it."""
    def keep(function):
        CHECKS.append((name, text, function))
        return function
    return keep


def padded(length):
    """Stored bytes of so many plain ones."""
    return length // 16 * 16 + 16


def content_of(size, seed="x"):
    return hashlib.shake_256(f"{seed}:{size}".encode()).digest(size)


def sha256(data):
    return hashlib.sha256(data).hexdigest()


def md5(data):
    return hashlib.md5(data).hexdigest()


def expect(condition, text, answer=None):
    if not condition:
        raise Wrong(text, answer)


def expect_same(what, came, due):
    expect(came == due, f"{what}: {due!a} was due, it came {came!a}")


def expect_answer(answer, status, code=None, what=""):
    """`what`: what was asked for, where the request alone does not tell it."""
    due = f"status {status}" + (f" with {code}" if code else "")
    came = f"{answer.status}" + (f" with {answer.code}" if answer.code else "")
    expect(answer.status == status and (code is None or answer.code == code),
           (f"{what}: " if what else "") + f"{due} was due, it came {came}", answer)
    return answer


class Kit:
    def __init__(self, client, login, protocol, server_name=None, foreign=None, limit=10.0):
        self.client, self.login, self.protocol = client, login, protocol
        self.server_name, self.foreign, self.limit = server_name, foreign, limit
        self.run = secrets.token_hex(4)
        self.undocumented, self.slowest, self.last = {}, None, None
        self.unanswered = False  # whether the check that ran last got no answer
        self._folder = self._slice = None
        client.listener = self.listen
        if foreign:
            foreign[0].listener = self.listen

    def listen(self, method, target, body, answer):
        """Holds every answer of the whole run against the document."""
        self.last = answer
        path = urllib.parse.unquote(urllib.parse.urlsplit(target).path)
        operation = self.protocol.find(method, path)
        if not isinstance(body, bytes) and (self.slowest is None or answer.seconds > self.slowest.seconds):
            self.slowest = answer
        if operation is None:
            return
        for problem in self.protocol.answer_problems(operation, answer.status, answer.headers, answer.json, True):
            # The same of each element and of other values is one thing to mend.
            problem = re.sub(r" is '.*', not of", " is not of", re.sub(r"\[\d+\]", "[]", problem))
            where = f"{operation.method} {operation.template} -> {answer.status}: {problem}"
            self.undocumented.setdefault(where, answer)

    # Files and folders.

    @property
    def root(self):
        return self.login["rootFileId"]

    @property
    def folder_name(self):
        return "zelkor-conform-" + self.run

    @property
    def folder(self):
        if not self._folder:
            self._folder = ""  # asked for: it may be there although no answer comes
            self._folder = self.make_folder(self.folder_name, self.root)["id"]
        return self._folder

    def make_folder(self, name, parent=None):
        body = {"fileName": name, "parentFolder": parent or self.folder}
        return expect_answer(self.client.post("/v1/folders", body), 200).json

    def new_folder(self):
        return self.make_folder("folder-" + secrets.token_hex(4))["id"]

    def make_empty(self, name, parent=None):
        body = {"fileName": name, "parentFolder": parent or self.folder}
        return expect_answer(self.client.post("/v1/files/empty", body), 200).json

    # Uploads.

    @property
    def slice_size(self):
        if self._slice is None:
            plan = self.start(content_of(10, secrets.token_hex(8)))
            expect_same("type of the plan for an ordinary file", plan.get("uploadType"), "client")
            self._slice = plan["sliceSize"]
        return self._slice

    def fresh_content(self, size):
        return content_of(size, secrets.token_hex(8))

    def start_body(self, content, **changes):
        body = {"fileId": "", "fileName": f"{secrets.token_hex(6)}.bin", "parentFolder": self.folder,
                "size": len(content), "sha256": sha256(content), "mimeType": "application/octet-stream",
                "attachmentSize": [], "recordCursor": ""}
        return {**body, **changes}

    def ask_start(self, content, **changes):
        return self.client.post("/v1/uploads/start", self.start_body(content, **changes))

    def start(self, content, **changes):
        return expect_answer(self.ask_start(content, **changes), 200).json

    def address_body(self, plan, item, stored, **changes):
        body = {"bucketId": plan["bucketId"], "objectId": item["objectId"], "synckey": item["synckey"],
                "time": item["time"], "recordCursor": plan["recordCursor"], "length": item["length"],
                "md5": md5(stored), "sha256": sha256(stored)}
        return {**body, **changes}

    def address(self, plan, item, stored):
        return expect_answer(self.client.post("/v1/uploads/address", self.address_body(plan, item, stored)), 200).json

    def stored(self, item):
        return content_of(item["length"], item["objectId"])

    def put(self, address, stored, **keywords):
        headers = {**address["headers"], **keywords.pop("headers", {})}
        return self.client.send(address["method"], address["url"], stored, headers=headers, token="", **keywords)

    def confirm(self, plan, item, response=""):
        body = {key: item[key] for key in ("objectId", "synckey", "time", "length")}
        body.update(recordCursor=plan["recordCursor"], bucketId=plan["bucketId"], response=response)
        return self.client.post("/v1/uploads/object-complete", body)

    def send_object(self, plan, item, stored=None):
        stored = self.stored(item) if stored is None else stored
        answer = expect_answer(self.put(self.address(plan, item, stored), stored), 200)
        expect_answer(self.confirm(plan, item, answer.body.decode()), 200)
        return stored

    def completion(self, plan, start, **changes):
        names = ("small", "large")
        attachments = [{"name": names[index], "length": size} for index, size in enumerate(start["attachmentSize"])]
        keys = [{"keyType": kind, "keyUid": f"key{kind}", "efek": f"wrapped{kind}", "iv": "0f" * 16,
                 "encryptAlgorithm": f"AES_{128 if kind == 1 else 256}"} for kind in (3, 1)]
        body = {"recordCursor": plan["recordCursor"], "fileId": start["fileId"], "fileName": start["fileName"],
                "parentFolder": [start["parentFolder"]], "mimeType": start["mimeType"], "sha256": start["sha256"],
                "md5": "", "size": start["size"], "contentVersion": "", "createdTime": 1600000000,
                "editedTime": 1700000000, "encFekList": keys,
                "objectInfoList": [{"bucketId": plan["bucketId"], "sliceSize": plan["sliceSize"],
                                    "objectIds": [item["objectId"] for item in plan["items"]],
                                    "attachmentList": attachments}]}
        return {**body, **changes}

    def complete(self, body):
        kind = "update" if body["fileId"] else "create"
        return self.client.post(f"/v1/uploads/{kind}-complete", body)

    def upload(self, content, **changes):
        """The whole road of an encrypted file: its start, its plan and its entry."""
        start = self.start_body(content, **changes)
        plan = expect_answer(self.client.post("/v1/uploads/start", start), 200).json
        if plan["uploadType"] == "client":
            for item in plan["items"]:
                self.send_object(plan, item)
        entry = expect_answer(self.complete(self.completion(plan, start)), 200).json
        return start, plan, entry

    # The file proxy.

    def start_server(self, content, **changes):
        if not self.server_name and "fileId" not in changes:
            raise PassedOver("no name is known that this cloud sends by its file proxy; give --server-name")
        name = secrets.token_hex(4) + (self.server_name or "").lstrip("*")
        start = self.start_body(content, **{"fileName": name, **changes})
        plan = expect_answer(self.client.post("/v1/uploads/start", start), 200).json
        if plan["uploadType"] != "server":
            raise PassedOver(f"the cloud sends \"{name}\" by {plan['uploadType']}, not by its file proxy")
        return start, plan

    def metadata(self, start, **changes):
        body = {"fileName": start["fileName"], "mimeType": start["mimeType"], "parentFolder": [start["parentFolder"]],
                "sha256": start["sha256"]}
        return json.dumps({**body, **changes}, sort_keys=True, separators=(",", ":")) + "\n"

    def multipart(self, start, plan, content, method="POST", line=b"\r\n ", **changes):
        mark = b"--" + base64.b16encode(secrets.token_bytes(16))
        body = line.join([mark, b"Content-Type: application/json; charset=UTF-8",
                          self.metadata(start, **changes).encode(), mark,
                          b"Content-Type: application/octet-stream; charset=UTF-8", content, mark + b"--"])
        headers = {"Content-Type": "multipart/related;boundary=" + mark[2:].decode(), "Cache-Control": "no-cache"}
        return self.client.send(method, plan["uploadUrl"] + "?uploadType=multipart", body, headers=headers)

    def open_resume(self, start, plan, method="POST", **changes):
        headers = {"X-Upload-Content-Typ": start["mimeType"], "X-Upload-Content-Length": str(start["size"]),
                   "Content-Type": "application/json", "Cache-Control": "no-cache"}
        return self.client.send(method, plan["uploadUrl"] + "?uploadType=resume",
                                self.metadata(start, **changes).encode(), headers=headers)

    def send_slice(self, url, content, position, length, upper=None):
        """The upper bound is the slice's length less one, as the engine writes it."""
        piece = content[position:position + length]
        headers = {"Content-Range": f"bytes {position}-{len(piece) - 1 if upper is None else upper}/{len(content)}",
                   "Content-Type": "application/octet-stream"}
        return self.client.send("PUT", url, piece, headers=headers)

    def plain_file(self, content, **changes):
        """A file that is held plain: its start and its entry."""
        start, plan = self.start_server(content, **changes)
        return start, expect_answer(self.multipart(start, plan, content), 200, what="a multipart body").json


def changed_query(url, **changes):
    parts = urllib.parse.urlsplit(url)
    query = urllib.parse.urlencode({**query_of(url), **changes})
    return urllib.parse.urlunsplit(parts._replace(query=query))
