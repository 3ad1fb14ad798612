"""Objects on their way up and down, and the end of an upload."""
import base64
import secrets

import cipher
from checks_account import user_keys
from kit import changed_query, check, expect, expect_answer, expect_same, md5, query_of, sha256


def planned(kit, size=1000, **changes):
    start = kit.start_body(kit.fresh_content(size), **changes)
    return start, expect_answer(kit.client.post("/v1/uploads/start", start), 200).json


@check("address.unknown", "an address for an unknown record or object is 21000400")
def address_unknown(kit):
    _, plan = planned(kit)
    body = kit.address_body(plan, plan["items"][0], b"")
    for changes in ({"recordCursor": secrets.token_hex(8)}, {"objectId": secrets.token_hex(8)}):
        expect_answer(kit.client.post("/v1/uploads/address", {**body, **changes}), 404, "21000400")
        expect_answer(kit.client.post("/v1/uploads/object-complete", {**body, **changes}), 404, "21000400")


@check("address.plan-only", "length, synckey and time that are not the plan's are refused")
def address_plan(kit):
    _, plan = planned(kit)
    body = kit.address_body(plan, plan["items"][0], b"")
    for changes in ({"length": body["length"] + 16}, {"synckey": "x"}, {"time": "1"}):
        expect_answer(kit.client.post("/v1/uploads/address", {**body, **changes}), 400, "21004001")


@check("address.signed", "an altered address is refused: its object, its time, its method, a header, the length")
def address_signed(kit):
    _, plan = planned(kit, 3 * 1000, attachmentSize=[10])
    item, other = plan["items"][0], plan["items"][1]
    stored = kit.stored(item)
    address = kit.address(plan, item, stored)
    url, headers = address["url"], address["headers"]
    put = lambda target, content, with_headers: kit.client.send("PUT", target, content, headers=with_headers, token="")
    tries = [("for a GET", kit.client.get(url, token="")),
             ("with another length", put(url, stored + b"x" * 16, headers)),
             ("without its headers", put(url, stored, {})),
             ("with another digest", put(url, stored, {**headers, "X-Object-Sha256": sha256(b"")}))]
    if item["objectId"] in url:  # what an address looks like is the cloud's own business
        tries.append(("with another object", put(url.replace(item["objectId"], other["objectId"]), stored, headers)))
    for name in query_of(url):
        later = changed_query(url, **{name: "99999999999"})
        tries.append((f"with another \"{name}\" in its query", put(later, stored, headers)))
    for what, answer in tries:
        expect_answer(answer, 403, "21004031", f"the address of a PUT {what}")
    expect_answer(put(url, stored, headers), 200, what="the address as it was given, after those that were refused")


@check("store.holds-digest", "bytes without the digest that was signed are refused, and nothing is stored")
def store_digest(kit):
    _, plan = planned(kit)
    item = plan["items"][0]
    stored = kit.stored(item)
    address = kit.address(plan, item, stored)
    expect_answer(kit.put(address, bytes(len(stored))), 400, "21004001")
    expect_answer(kit.confirm(plan, item), 409, "21004932")


@check("store.repeats", "the same object may be sent and confirmed again")
def store_repeats(kit):
    _, plan = planned(kit)
    item = plan["items"][0]
    for _ in range(2):
        kit.send_object(plan, item)
    stored = kit.stored(item)
    answer = kit.put(kit.address(plan, item, stored), stored)
    due = {"sha256": sha256(stored), "md5": md5(stored), "length": len(stored)}
    expect_same("digests and length of what is stored", answer.json, due)
    expect_same("the header X-Object-Sha256", answer.header("X-Object-Sha256"), sha256(stored))


@check("store.unsent", "an object that was not sent cannot be confirmed: 21004932")
def store_unsent(kit):
    _, plan = planned(kit)
    expect_answer(kit.confirm(plan, plan["items"][0]), 409, "21004932")


@check("complete.entry", "the completed file has its id, name, size, digest, times and attachments")
def complete_entry(kit):
    content = kit.fresh_content(kit.slice_size + 1)
    start, _, entry = kit.upload(content, attachmentSize=[20, 30])
    due = {"fileName": start["fileName"], "parentFolder": kit.folder, "size": len(content), "sha256": sha256(content),
           "isFolder": False, "isDeleted": False, "attachmentSize": [20, 30], "createdTime": 1600000000,
           "editedTime": 1700000000}
    for key, value in due.items():
        expect_same(f"{key} of the entry", entry[key], value)
    expect(entry["id"], "the entry must have an id")


@check("complete.repeats", "a completion that comes again gets the same answer")
def complete_repeats(kit):
    start, plan, entry = kit.upload(kit.fresh_content(1000))
    again = expect_answer(kit.complete(kit.completion(plan, start)), 200).json
    expect_same("the entry", again, entry)


@check("complete.all-objects", "a completion without an object in the store is 21004932")
def complete_all(kit):
    start, plan = planned(kit, kit.slice_size + 1)
    kit.send_object(plan, plan["items"][0])
    expect_answer(kit.complete(kit.completion(plan, start)), 409, "21004932")


@check("complete.empty-list", "an empty object list is refused unless the plan is \"exist\"")
def complete_empty(kit):
    start, plan = planned(kit)
    kit.send_object(plan, plan["items"][0])
    answer = kit.complete(kit.completion(plan, start, objectInfoList=[]))
    expect_answer(answer, 400, "21004001")


@check("complete.plan-only", "other objects, another digest and another size than the plan's are refused")
def complete_plan(kit):
    start, plan = planned(kit, kit.slice_size + 1)
    for item in plan["items"]:
        kit.send_object(plan, item)
    body = kit.completion(plan, start)
    turned = {**body["objectInfoList"][0], "objectIds": body["objectInfoList"][0]["objectIds"][::-1]}
    expect_answer(kit.complete({**body, "objectInfoList": [turned]}), 409, "21004932", "objects in another order")
    expect_answer(kit.complete({**body, "sha256": sha256(b"other")}), 409, "21004091", "another digest")
    expect_answer(kit.complete({**body, "size": start["size"] + 1}), 409, "21004091", "another size")


def wrapped(user_key, key, vector):
    """The text of "efek"; key and vector in hexadecimal."""
    return base64.b64encode(cipher.seal(user_key, b"\x01\x00\x20" + key.encode() + vector.encode())).decode()


@check("complete.one-key", "a wrapped key that is not the one of the start's key digest is refused")
def complete_one_key(kit):
    own = user_keys(kit)[0][2]
    key, vector = secrets.token_hex(16), secrets.token_hex(16)
    digest = sha256(f"zelkor upload key, form 1:{key}{vector}".encode())
    start, plan = planned(kit, keyDigest=digest)
    kit.send_object(plan, plan["items"][0])
    body = kit.completion(plan, start)
    entry = next(entry for entry in body["encFekList"] if entry["keyType"] == 1)
    entry["iv"] = vector
    for other in (secrets.token_hex(16), key):
        entry["efek"] = wrapped(own, other, vector)
        due = (200, None, "the key of the start's key digest") if other == key else (409, "21004091", "another key")
        expect_answer(kit.complete(body), *due)


@check("complete.unknown", "the completion of an unknown record is 21004932")
def complete_unknown(kit):
    start, plan = planned(kit)
    body = kit.completion(plan, start, recordCursor=secrets.token_hex(8))
    expect_answer(kit.complete(body), 409, "21004932")


@check("exist.own-key", "content that is there keeps the wrapped key that opens it")
def exist_own_key(kit):
    content = kit.fresh_content(1000)
    kit.upload(content)
    start = kit.start_body(content, keyDigest=sha256(b"another key"))
    plan = expect_answer(kit.client.post("/v1/uploads/start", start), 200).json
    body = kit.completion(plan, start)
    for entry in body["encFekList"]:
        entry["efek"] = "of another key"
    copy = expect_answer(kit.complete(body), 200).json
    expect_same("efek of the copy, which is that of the objects", download_info(kit, copy)["encFekList"][0]["efek"],
                "wrapped1")


@check("complete.file-exists", "the same content under the same name is \"exist\", and its completion 21015002")
def complete_exists(kit):
    content = kit.fresh_content(1000)
    start, _, _ = kit.upload(content)
    again = kit.start_body(content, fileName=start["fileName"])
    plan = expect_answer(kit.client.post("/v1/uploads/start", again), 200).json
    expect_same("uploadType", plan["uploadType"], "exist")
    expect_answer(kit.complete(kit.completion(plan, again)), 409, "21015002")


@check("complete.parent-gone", "a completion below a folder that is gone is 21000401")
def complete_parent(kit):
    folder = kit.new_folder()
    start, plan = planned(kit, 100, parentFolder=folder)
    kit.send_object(plan, plan["items"][0])
    expect_answer(kit.client.send("DELETE", f"/v1/files/{folder}"), 200)
    expect_answer(kit.complete(kit.completion(plan, start)), 404, "21000401")


@check("update.new-version", "a new version keeps the id and raises contentVersion; an overtaken one is refused")
def update(kit):
    _, _, entry = kit.upload(kit.fresh_content(1000))
    _, _, second = kit.upload(kit.fresh_content(1200), fileId=entry["id"])
    expect_same("id of the file after a new version", second["id"], entry["id"])
    expect(int(second["contentVersion"]) > int(entry["contentVersion"]), "contentVersion: more than "
           f"{entry['contentVersion']} was due after a new version, it came {second['contentVersion']}")
    start, plan = planned(kit, 1300, fileId=entry["id"])
    kit.send_object(plan, plan["items"][0])
    old = kit.completion(plan, start, contentVersion=entry["contentVersion"])
    expect_answer(kit.complete(old), 409, "21004091", "a contentVersion that is not the present one")


def download_info(kit, entry):
    return expect_answer(kit.client.get(f"/v1/files/{entry['id']}/download"), 200).json


def fetch_address(kit, info, index):
    objects = info["objectInfoList"][0]
    body = {"bucketId": objects["bucketId"], "objectId": objects["objectIds"][index], "time": objects["time"],
            "synckey": objects["synckeys"][index], "recordCursor": info["recordCursor"], "length": objects["length"]}
    return expect_answer(kit.client.post("/v1/downloads/address", body), 200).json


@check("download.answer", "a download names the objects in order without the attachments', and the key of type 1 first")
def download(kit):
    content = kit.fresh_content(kit.slice_size + 1)
    _, plan, entry = kit.upload(content, attachmentSize=[20, 30])
    info = download_info(kit, entry)
    expect_same("keyType of the first key", info["encFekList"][0]["keyType"], "1")
    expect_same("efek of the first key", info["encFekList"][0]["efek"], "wrapped1")
    objects = info["objectInfoList"][0]
    expect_same("objects of the file itself", objects["objectIds"], [item["objectId"] for item in plan["items"][:2]])
    expect_same("number of synckeys, one an object", len(objects["synckeys"]), 2)
    longest = plan["items"][0]["length"]
    expect(objects["length"] >= longest,
           f"length: {longest} was due, that of the longest object; it came {objects['length']}")
    sizes = {item["name"]: item["size"] for item in objects["attributes"]}
    expect_same("attributes, by name", sizes, {"": len(content), "small": 20, "large": 30})
    expect_same("downloadUrl of an encrypted file", info["downloadUrl"], "")
    expect_same("sha256", info["sha256"], sha256(content))


@check("download.bytes", "each object comes back as it was sent, with its digest")
def download_bytes(kit):
    _, plan, entry = kit.upload(kit.fresh_content(kit.slice_size + 1))
    info = download_info(kit, entry)
    for index, item in enumerate(plan["items"]):
        address = fetch_address(kit, info, index)
        answer = expect_answer(kit.client.get(address["url"], headers=address["headers"], token=""), 200)
        stored = kit.stored(item)
        expect(answer.body == stored, f"object {index}: the {len(stored)} bytes that were sent were due, others came")
        expect_same("the header X-Object-Sha256", answer.header("X-Object-Sha256"), sha256(stored))


@check("download.ranges", "the store honours ranges: the rest, the last bytes, and 416 behind the end")
def download_ranges(kit):
    _, plan, entry = kit.upload(kit.fresh_content(1000))
    stored = kit.stored(plan["items"][0])
    address = fetch_address(kit, download_info(kit, entry), 0)
    get = lambda text: kit.client.get(address["url"], headers={**address["headers"], "Range": text}, token="")
    check_ranges(get, stored)


def check_ranges(get, content):
    size = len(content)
    for text, piece, told in (("bytes=300-", content[300:], f"bytes 300-{size - 1}/{size}"),
                              ("bytes=10-19", content[10:20], f"bytes 10-19/{size}"),
                              ("bytes=-5", content[-5:], f"bytes {size - 5}-{size - 1}/{size}")):
        answer = expect_answer(get(text), 206, what=f"Range: {text}")
        expect(answer.body == piece, f"Range: {text}: {len(piece)} bytes were due, {len(answer.body)} or others came")
        expect_same(f"Range: {text}: Content-Range", answer.header("Content-Range"), told)
    answer = expect_answer(get(f"bytes={size}-"), 416, what=f"a range that begins at the size, {size}")
    expect_same("Content-Range of the 416", answer.header("Content-Range"), f"bytes */{size}")
    for text in ("bytes=0-1,3-4", "bytes=x", "lines=1-"):
        answer = expect_answer(get(text), 200, what=f"Range: {text}, which must be passed over")
        expect(answer.body == content, f"Range: {text}: the whole content was due, other bytes came")


@check("download.unknown", "an unknown file or object is 21004041")
def download_unknown(kit):
    expect_answer(kit.client.get(f"/v1/files/{secrets.token_hex(12)}/download"), 404, "21004041")
    answer = kit.client.post("/v1/downloads/address", {"objectId": secrets.token_hex(8)})
    expect_answer(answer, 404, "21004041")
