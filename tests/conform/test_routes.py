"""Every documented route with every documented status and every documented code, each held against the document."""
import secrets
import struct
import unittest
import zlib

from cloud_case import SLICE, CloudCase
import checks_account
from checks_objects import download_info, fetch_address
from kit import changed_query, sha256

PRODUCERS = {}


def produces(operation, status):
    """Makes a function of a test produce answers of an operation with this status."""
    def keep(function):
        PRODUCERS.setdefault((operation, status), []).append(function)
        return function
    return keep


def sent(operation, status, method, path, body=None, **keywords):
    """The plain kind of producer: one request. {name} in the path is filled with an id."""
    def function(world):
        target = path.format(root=world.kit.root, file=world.file["id"], unknown=secrets.token_hex(12),
                             folder=world.folder["id"], encrypted=world.encrypted["id"])
        filled = body(world) if callable(body) else body
        return [world.kit.client.send(method, target, filled, **keywords)]
    PRODUCERS.setdefault((operation, status), []).append(function)


def child(world, name=None, parent=None):
    return {"fileName": name or secrets.token_hex(4), "parentFolder": parent or world.folder["id"]}


# Account and keys.
sent("health", 200, "GET", "/health")
sent("login", 200, "POST", "/v1/account/login", lambda world: {"user": "anna", "password": world.kit.password})
sent("login", 400, "POST", "/v1/account/login", b"{")
sent("login", 401, "POST", "/v1/account/login", {"user": "anna", "password": "wrong"})
sent("refresh", 200, "POST", "/v1/account/refresh", lambda world: {"refreshToken": world.kit.login["refreshToken"]})
sent("refresh", 400, "POST", "/v1/account/refresh", {})
sent("refresh", 401, "POST", "/v1/account/refresh", {"refreshToken": "wrong"})
sent("space", 200, "GET", "/v1/account/space")
sent("publicKey", 200, "GET", "/v1/keys/public")
sent("keyList", 400, "POST", "/v1/keys/list", {"version": "1", "temporaryKey": "AA==:AA=="})
sent("keyList", 409, "POST", "/v1/keys/list", {"version": "2", "temporaryKey": "AA==:AA=="})


@produces("login", 429)
def too_many_failures(world):
    body = {"user": "nobody", "password": "wrong"}
    for _ in range(10):
        world.kit.client.post("/v1/account/login", body)
    return [world.kit.client.post("/v1/account/login", body)]


@produces("logout", 200)
def sign_out(world):
    return [world.sign_in("anna")[0].post("/v1/account/logout")]


@produces("keyList", 200)
def key_list(world):
    import checks_account
    answers = []
    world.kit.client.listener = lambda method, target, body, answer: answers.append((target, answer))
    checks_account.user_keys(world.kit)
    return [answer for target, answer in answers if target.endswith("/list")]


# Files.
sent("listFiles", 200, "GET", "/v1/files")
sent("listFiles", 200, "GET", "/v1/files?cursor=&limit=1")
sent("listFiles", 400, "GET", "/v1/files?cursor=nonsense")
sent("changes", 200, "GET", "/v1/changes?limit=2")
sent("changes", 400, "GET", "/v1/changes?limit=0")
sent("findFile", 404, "GET", "/v1/files/find?parentFolder={root}&fileName=nothing")
sent("getFile", 200, "GET", "/v1/files/{file}")
sent("getFile", 200, "GET", "/v1/files/{root}")
sent("getFile", 200, "GET", "/v1/files/{encrypted}")
sent("getFile", 404, "GET", "/v1/files/{unknown}")
sent("deleteFile", 400, "DELETE", "/v1/files/{root}")
sent("deleteFile", 404, "DELETE", "/v1/files/{unknown}")
for route, operation in (("/v1/folders", "createFolder"), ("/v1/files/empty", "createEmptyFile")):
    sent(operation, 200, "POST", route, child)
    sent(operation, 400, "POST", route, lambda world: child(world, ".."))
    sent(operation, 404, "POST", route, lambda world: child(world, parent="unknown"))
    sent(operation, 409, "POST", route, lambda world: child(world, world.file["fileName"]))
sent("renameFile", 200, "POST", "/v1/files/{folder}/rename", lambda world: {"fileName": secrets.token_hex(4)})
sent("renameFile", 400, "POST", "/v1/files/{file}/rename", {"fileName": "a/b"})
sent("renameFile", 404, "POST", "/v1/files/{unknown}/rename", {"fileName": "a"})
sent("renameFile", 409, "POST", "/v1/files/{file}/rename", lambda world: {"fileName": world.encrypted["fileName"]})
sent("moveFile", 200, "POST", "/v1/files/{file}/move", lambda world: {"parentFolder": [world.folder["id"]]})
sent("moveFile", 400, "POST", "/v1/files/{file}/move", {"parentFolder": 5})
sent("moveFile", 404, "POST", "/v1/files/{file}/move", {"parentFolder": "unknown"})
sent("moveFile", 404, "POST", "/v1/files/{unknown}/move", lambda world: {"parentFolder": world.folder["id"]})
sent("moveFile", 409, "POST", "/v1/files/{folder}/move", lambda world: {"parentFolder": world.folder["id"]})
sent("restoreFile", 200, "POST", "/v1/files/{file}/restore")
sent("restoreFile", 400, "POST", "/v1/files/{file}/restore", b"[")
sent("restoreFile", 404, "POST", "/v1/files/{unknown}/restore")


@produces("findFile", 200)
def find(world):
    return [world.kit.client.get(f"/v1/files/find?parentFolder={world.folder['id']}&fileName={world.file['fileName']}")]


@produces("deleteFile", 200)
def delete(world):
    gone = world.kit.make_empty(secrets.token_hex(4), world.folder["id"])
    return [world.kit.client.send("DELETE", f"/v1/files/{gone['id']}") for _ in range(2)]


def deleted(world, size=100):
    _, _, entry = world.kit.upload(world.kit.fresh_content(size), parentFolder=world.folder["id"])
    world.kit.client.send("DELETE", f"/v1/files/{entry['id']}")
    return entry


def restore(world, entry):
    return world.kit.client.post(f"/v1/files/{entry['id']}/restore")


@produces("restoreFile", 404)
def restore_without_parent(world):
    folder = world.kit.make_folder(secrets.token_hex(4))
    entry = world.kit.make_empty("inner", folder["id"])
    for one in (entry, folder):
        world.kit.client.send("DELETE", f"/v1/files/{one['id']}")
    return [restore(world, entry)]


@produces("restoreFile", 409)
def restore_where_taken(world):
    entry = deleted(world)
    world.kit.make_empty(entry["fileName"], world.folder["id"])
    return [restore(world, entry)]


@produces("restoreFile", 507)
def restore_without_space(world):
    entry = deleted(world)
    with world.scenario(quota=0):
        return [restore(world, entry)]


# Download.
sent("downloadInfo", 200, "GET", "/v1/files/{file}/download")
sent("downloadInfo", 200, "GET", "/v1/files/{encrypted}/download")
sent("downloadInfo", 404, "GET", "/v1/files/{folder}/download")
sent("plainContent", 200, "GET", "/v1/files/{file}/content")
sent("plainContent", 206, "GET", "/v1/files/{file}/content", headers={"Range": "bytes=5-"})
sent("plainContent", 404, "GET", "/v1/files/{unknown}/content")
sent("plainContent", 409, "GET", "/v1/files/{encrypted}/content")
sent("plainContent", 416, "GET", "/v1/files/{file}/content", headers={"Range": "bytes=999999-"})
sent("thumbnail", 404, "GET", "/v1/files/{file}/thumbnail")
sent("downloadAddress", 400, "POST", "/v1/downloads/address", {})
sent("downloadAddress", 404, "POST", "/v1/downloads/address", {"objectId": "unknown"})


def picture():
    """A grey PNG of eight by eight."""
    def chunk(name, data):
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))
    rows = b"".join(b"\0" + bytes(range(0, 128, 16)) for _ in range(8))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", 8, 8, 8, 0, 0, 0, 0)) +
            chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


@produces("thumbnail", 200)
def thumbnail(world):
    content = picture()
    start, plan = world.kit.start_server(content, mimeType="image/png")
    entry = world.kit.multipart(start, plan, content).json
    world.assertTrue(entry["thumbnailLink"].endswith("/thumbnail"), entry)
    return [world.kit.client.get(f"/v1/files/{entry['id']}/thumbnail")]


def object_address(world):
    return fetch_address(world.kit, download_info(world.kit, world.encrypted), 0)["url"]


@produces("downloadAddress", 200)
def download_address(world):
    answers = []
    world.kit.client.listener = lambda method, target, body, answer: answers.append(answer)
    object_address(world)
    return answers[-1:]


@produces("fetchObject", 200)
def fetch(world):
    return [world.kit.client.get(object_address(world), token="")]


@produces("fetchObject", 206)
def fetch_range(world):
    return [world.kit.client.get(object_address(world), token="", headers={"Range": "bytes=-3"})]


@produces("fetchObject", 403)
def fetch_altered(world):
    return [world.kit.client.get(changed_query(object_address(world), signature="0" * 64), token="")]


@produces("fetchObject", 404)
def fetch_gone(world):
    _, plan, entry = world.kit.upload(world.kit.fresh_content(60))
    url = fetch_address(world.kit, download_info(world.kit, entry), 0)["url"]
    with world.rows() as rows:
        rows.execute("DELETE FROM objects WHERE id = ?", (plan["items"][0]["objectId"],))
    return [world.kit.client.get(url, token="")]


@produces("fetchObject", 416)
def fetch_behind(world):
    return [world.kit.client.get(object_address(world), token="", headers={"Range": "bytes=99999999-"})]


# Upload.

def start_with(world, **changes):
    return [world.kit.ask_start(world.kit.fresh_content(100), **changes)]


@produces("startUpload", 200)
def start(world):
    content = world.kit.fresh_content(100)
    world.kit.upload(content)
    return [world.kit.ask_start(content), *start_with(world), *start_with(world, fileName="x.plain"),
            *start_with(world, fileId=world.encrypted["id"], attachmentSize=[5])]


@produces("startUpload", 400)
def start_bad(world):
    return [*start_with(world, size=-1), *start_with(world, sha256="x"), *start_with(world, attachmentSize=["5"])]


@produces("startUpload", 403)
def start_migrating(world):
    with world.scenario(migrating=True):
        return start_with(world)


@produces("startUpload", 404)
def start_unknown(world):
    return start_with(world, parentFolder="unknown") + start_with(world, fileId="unknown")


@produces("startUpload", 409)
def start_taken(world):
    return start_with(world, fileName=world.encrypted["fileName"], parentFolder=world.folder["id"])


@produces("startUpload", 413)
def start_too_many_objects(world):
    with world.rows() as rows:
        rows.execute("UPDATE users SET quota = ?", (1 << 52,))
    return start_with(world, size=SLICE * 100001)


@produces("startUpload", 507)
def start_without_space(world):
    with world.scenario(quota=10):
        return start_with(world)


def planned(world, size=100, **changes):
    body = world.kit.start_body(world.kit.fresh_content(size), **{"parentFolder": world.folder["id"], **changes})
    return body, world.kit.client.post("/v1/uploads/start", body).json


def address_of(world, plan, stored, **changes):
    body = world.kit.address_body(plan, plan["items"][0], stored, **changes)
    return world.kit.client.post("/v1/uploads/address", body)


@produces("uploadAddress", 200)
def upload_address(world):
    _, plan = planned(world)
    return [address_of(world, plan, b"x")]


@produces("uploadAddress", 400)
def upload_address_bad(world):
    _, plan = planned(world)
    return [address_of(world, plan, b"x", length=5), address_of(world, plan, b"x", sha256="")]


@produces("uploadAddress", 404)
def upload_address_unknown(world):
    _, plan = planned(world)
    return [address_of(world, plan, b"x", recordCursor="unknown")]


@produces("storeObject", 200)
def put(world):
    _, plan = planned(world)
    stored = world.kit.stored(plan["items"][0])
    return [world.kit.put(world.kit.address(plan, plan["items"][0], stored), stored)]


@produces("storeObject", 400)
def put_other_bytes(world):
    _, plan = planned(world)
    stored = world.kit.stored(plan["items"][0])
    return [world.kit.put(world.kit.address(plan, plan["items"][0], stored), bytes(len(stored)))]


@produces("storeObject", 403)
def put_other_length(world):
    _, plan = planned(world)
    stored = world.kit.stored(plan["items"][0])
    return [world.kit.put(world.kit.address(plan, plan["items"][0], stored), stored + b"x")]


@produces("storeObject", 404)
def put_late(world):
    body, plan = planned(world)
    stored = world.kit.stored(plan["items"][0])
    address = world.kit.address(plan, plan["items"][0], stored)
    world.kit.start(world.kit.fresh_content(50), fileName=body["fileName"], recordCursor=plan["recordCursor"])
    return [world.kit.put(address, stored)]


@produces("storeObject", 409)
def put_into_a_file(world):
    body, plan = planned(world)
    item = plan["items"][0]
    other = world.kit.fresh_content(item["length"])
    address = world.kit.address(plan, item, other)
    world.kit.send_object(plan, item)
    world.kit.complete(world.kit.completion(plan, body))
    return [world.kit.put(address, other)]


@produces("confirmObject", 200)
def confirm(world):
    answers = []
    _, plan = planned(world)
    world.kit.client.listener = lambda method, target, body, answer: answers.append(answer)
    world.kit.send_object(plan, plan["items"][0])
    return answers[-1:]


@produces("confirmObject", 400)
def confirm_bad(world):
    return [world.kit.client.post("/v1/uploads/object-complete", {"recordCursor": 5})]


@produces("confirmObject", 404)
def confirm_unknown(world):
    return [world.kit.client.post("/v1/uploads/object-complete", {"recordCursor": "x", "objectId": "y"})]


@produces("confirmObject", 409)
def confirm_unsent(world):
    _, plan = planned(world)
    return [world.kit.confirm(plan, plan["items"][0])]


def ready(world, size=100, **changes):
    """A plan all of whose objects are there, and the body of its completion."""
    body, plan = planned(world, size, **changes)
    for item in plan["items"]:
        world.kit.send_object(plan, item)
    return world.kit.completion(plan, body)


def new_version(world):
    return {"fileId": world.kit.upload(world.kit.fresh_content(30))[2]["id"]}


for kind in ("Create", "Update"):
    def both(function, operation="complete" + kind, kind=kind):
        """A producer of both completions."""
        status = int(function.__name__.rpartition("_")[2])
        changes = (lambda world: {}) if kind == "Create" else new_version
        PRODUCERS.setdefault((operation, status), []).append(lambda world: function(world, changes(world)))

    def completed_200(world, changes):
        body = ready(world, SLICE + 5, attachmentSize=[7], **changes)
        return [world.kit.complete(body), world.kit.complete(body)]

    def completed_400(world, changes):
        body = ready(world, **changes)
        return [world.kit.complete({**body, "objectInfoList": []}), world.kit.complete({**body, "encFekList": []})]

    def completed_409(world, changes):
        body = ready(world, **changes)
        return [world.kit.complete({**body, "recordCursor": "unknown"}), world.kit.complete({**body, "size": 5})]

    def completed_507(world, changes):
        body = ready(world, 200, **changes)
        with world.scenario(quota=20):
            return [world.kit.complete(body)]

    for function in (completed_200, completed_400, completed_409, completed_507):
        both(function)


@produces("completeCreate", 404)
def completed_without_parent(world):
    folder = world.kit.make_folder(secrets.token_hex(4))
    body = ready(world, parentFolder=folder["id"])
    world.kit.client.send("DELETE", f"/v1/files/{folder['id']}")
    return [world.kit.complete(body)]


@produces("completeUpdate", 404)
def completed_without_file(world):
    changes = new_version(world)
    body = ready(world, **changes)
    world.kit.client.send("DELETE", f"/v1/files/{changes['fileId']}")
    return [world.kit.complete(body)]


@produces("completeCreate", 409)
def completed_twice(world):
    content = world.kit.fresh_content(100)
    start, _, _ = world.kit.upload(content)
    body = world.kit.start_body(content, fileName=start["fileName"])
    plan = world.kit.client.post("/v1/uploads/start", body).json
    return [world.kit.complete(world.kit.completion(plan, body))]


# File proxy.

def session(world, size=3000, **changes):
    content = world.kit.fresh_content(size)
    return content, *world.kit.start_server(content, **{"parentFolder": world.folder["id"], **changes})


def plain_version(world):
    return {"fileId": world.kit.plain_file(world.kit.fresh_content(40))[1]["id"]}


for kind, verb in (("proxyCreate", "POST"), ("proxyUpdate", "PATCH")):
    def proxied(function, operation=kind, verb=verb):
        status = int(function.__name__.rpartition("_")[2])
        changes = (lambda world: {}) if verb == "POST" else plain_version
        PRODUCERS.setdefault((operation, status), []).append(lambda world: function(world, verb, changes(world)))

    def proxy_200(world, verb, changes):
        content, start, plan = session(world, **changes)
        return [world.kit.open_resume(start, plan, method=verb), world.kit.multipart(start, plan, content, method=verb)]

    def proxy_400(world, verb, changes):
        _, start, plan = session(world, **changes)
        other = "PATCH" if verb == "POST" else "POST"
        return [world.kit.client.send(verb, plan["uploadUrl"]), world.kit.client.send(verb, plan["uploadUrl"] +
                "?uploadType=multipart", b"x"), world.kit.open_resume(start, {"uploadUrl": session(
                    world, **(plain_version(world) if other == "PATCH" else {}))[2]["uploadUrl"]}, method=verb)]

    def proxy_404(world, verb, changes):
        content, start, plan = session(world, **changes)
        gone = {"uploadUrl": plan["uploadUrl"] + "0"}
        return [world.kit.open_resume(start, gone, method=verb), world.kit.multipart(start, gone, content, method=verb)]

    def proxy_409(world, verb, changes):
        content, start, plan = session(world, **changes)
        return [world.kit.multipart(start, plan, bytes(3000), method=verb),
                world.kit.multipart(start, plan, content[:5], method=verb),
                world.kit.open_resume(start, plan, method=verb, sha256=sha256(b"other"))]

    def proxy_413(world, verb, changes):
        _, start, plan = session(world, **changes)
        return [world.kit.open_resume(start, plan, method=verb, fileName="x" * 70000)]

    def proxy_507(world, verb, changes):
        content, start, plan = session(world, **changes)
        with world.scenario(quota=20):
            return [world.kit.multipart(start, plan, content, method=verb)]

    for function in (proxy_200, proxy_400, proxy_404, proxy_409, proxy_413, proxy_507):
        proxied(function)


def session_of_a_folder(world):
    folder = world.kit.make_folder(secrets.token_hex(4))
    made = session(world, parentFolder=folder["id"])
    world.kit.client.send("DELETE", f"/v1/files/{folder['id']}")
    return made


def session_overtaken(world):
    """A session whose file has come into being by another road meanwhile."""
    content, start, plan = session(world)
    second, other = world.kit.start_server(content, parentFolder=world.folder["id"])
    entry = world.kit.multipart(second, other, content).json
    world.kit.client.post(f"/v1/files/{entry['id']}/rename", {"fileName": start["fileName"]})
    return content, start, plan


@produces("proxyCreate", 404)
def proxy_without_parent(world):
    content, start, plan = session_of_a_folder(world)
    return [world.kit.multipart(start, plan, content)]


@produces("proxyCreate", 409)
def proxy_overtaken(world):
    content, start, plan = session_overtaken(world)
    return [world.kit.multipart(start, plan, content)]


@produces("proxySlice", 200)
def slices(world):
    content, _, plan = session(world)
    return [world.kit.send_slice(plan["uploadUrl"], content, 0, 1000),
            world.kit.send_slice(plan["uploadUrl"], content, 1000, 2000)]


@produces("proxySlice", 400)
def slice_bad(world):
    content, _, plan = session(world)
    return [world.kit.client.send("PUT", plan["uploadUrl"], content[:10]),
            world.kit.client.send("PUT", plan["uploadUrl"] + "?uploadType=resume", content[:10])]


@produces("proxySlice", 404)
def slice_unknown(world):
    content, _, plan = session(world)
    gone, _, other = session_of_a_folder(world)
    return [world.kit.send_slice(plan["uploadUrl"] + "0", content, 0, 100),
            world.kit.send_slice(other["uploadUrl"], gone, 0, 3000)]


@produces("proxySlice", 409)
def slice_conflicts(world):
    content, _, plan = session(world)
    overtaken, _, other = session_overtaken(world)
    return [world.kit.send_slice(plan["uploadUrl"], content, 1000, 100),
            world.kit.send_slice(other["uploadUrl"], overtaken, 0, 3000)]


@produces("proxySlice", 507)
def slice_without_space(world):
    content, _, plan = session(world)
    with world.scenario(quota=20):
        return [world.kit.send_slice(plan["uploadUrl"], content, 0, 3000)]


class Routes(CloudCase):
    # CLOUD-WIRE-03
    def test_every_status_and_code_of_every_route_is_produced_as_documented(self):
        self.prepare()
        missing, done = [], 0
        for operation in self.protocol.operations:
            for status in map(int, operation.data["responses"]):
                answers = self.produce(operation, status)
                if not answers:
                    missing.append(f"{operation.name} {status}")
                    continue
                done += 1
                self.hold(operation, status, answers)
        self.assertEqual([], missing, "documented, but nothing here produces it")
        print(f"{done} pairs of route and status")

    # CLOUD-WIRE-03
    def test_nothing_is_produced_here_that_is_not_documented(self):
        documented = {(operation.name, int(status)) for operation in self.protocol.operations
                      for status in operation.data["responses"]}
        self.assertEqual(set(), PRODUCERS.keys() - documented)

    def prepare(self):
        self.kit = self.anna
        self.folder = self.kit.make_folder("things")
        _, _, self.encrypted = self.kit.upload(self.kit.fresh_content(SLICE + 9), attachmentSize=[50],
                                               parentFolder=self.folder["id"])
        _, self.file = self.kit.plain_file(self.kit.fresh_content(900), parentFolder=self.folder["id"])
        self.valid = self.valid_requests()
        self.generic = {}
        for status, change in ((503, {"status": 503, "errorCode": "", "headers": {"Retry-After": "3"}}),
                               (429, {"status": 429, "errorCode": "21004291", "headers": {"Retry-After": "3"}})):
            with self.scenario(rules=[change]):
                self.ask_all(status)
        with self.rows() as rows:
            for table in ("tokens", "users", "objects"):
                rows.execute(f"ALTER TABLE {table} RENAME TO away_{table}")
        self.ask_all(500)
        with self.rows() as rows:
            for table in ("tokens", "users", "objects"):
                rows.execute(f"ALTER TABLE away_{table} RENAME TO {table}")

    def valid_requests(self):
        """Method, address, body and headers of a sound request of each operation."""
        requests = {}
        _, plan = planned(self)
        stored = self.kit.stored(plan["items"][0])
        address = self.kit.address(plan, plan["items"][0], stored)
        fetched = object_address(self)
        for operation in self.protocol.operations:
            path = operation.template.replace("{id}", self.file["id"]).replace("{session}", plan["recordCursor"])
            requests[operation.name] = (operation.method, path, {} if operation.method != "GET" else None, {})
        requests["login"] = ("POST", "/v1/account/login", {"user": "anna", "password": self.kit.password}, {})
        requests["refresh"] = ("POST", "/v1/account/refresh", {"refreshToken": "any"}, {})
        requests["storeObject"] = ("PUT", address["url"], stored, address["headers"])
        requests["fetchObject"] = ("GET", fetched, None, {})
        return requests

    def ask_all(self, status):
        for operation in self.protocol.operations:
            if str(status) in operation.data["responses"]:
                method, path, body, headers = self.valid[operation.name]
                token = None if operation.needs_token else ""
                self.generic[operation.name, status] = self.kit.client.send(method, path, body, headers, token)

    def produce(self, operation, status):
        answers = []
        for producer in PRODUCERS.get((operation.name, status), []):
            answers += producer(self)
            self.kit.client.listener = None
        if (operation.name, status) in self.generic:
            answers.append(self.generic[operation.name, status])
        method, path, _, _ = self.valid[operation.name]
        if status == 401 and operation.needs_token:
            answers.append(self.kit.client.send(method, path, token="wrong"))
        if status == 413 and not answers or operation.name == "startUpload" and status == 413:
            answers.append(self.kit.client.send(method, path, bytes(4 * 1024 * 1024 + 1)))
        return answers

    def hold(self, operation, status, answers):
        for answer in answers:
            self.assertEqual(status, answer.status, f"{operation.name}: {answer}")
            self.assert_documented(operation, answer)
        if status >= 400:
            documented = set(self.protocol.codes(operation, status))
            seen = {answer.code for answer in answers}
            missing = documented - seen if status != 503 else set()
            self.assertEqual(set(), missing, f"codes of {operation.name} {status} that nothing here produces")


if __name__ == "__main__":
    unittest.main(verbosity=2)
