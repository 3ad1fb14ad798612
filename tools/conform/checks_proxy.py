"""The file proxy in its odd forms, and files that are held plain."""
import secrets

import cipher
from checks_account import user_keys
from checks_objects import check_ranges, wrapped
from kit import PassedOver, check, expect, expect_answer, expect_same, sha256


@check("server.plan", "a plan for the file proxy has version 0, no items and an empty resumeUrl")
def plan_form(kit):
    _, plan = kit.start_server(kit.fresh_content(5000))
    for key, due in (("version", 0), ("items", []), ("resumeUrl", ""), ("position", 0)):
        expect_same(f"{key} of a \"server\" plan", plan[key], due)
    expect(plan["uploadUrl"].startswith("http") and "?" not in plan["uploadUrl"],
           f"uploadUrl: an absolute address without a query was due, it came {plan['uploadUrl']!r}")


@check("multipart.odd-form", "the multipart body with the line break CR LF blank makes the file")
def multipart(kit):
    for content in (kit.fresh_content(5000), b"\r\n --x--\r\n \r\n\r\n\0" + kit.fresh_content(50), b"\r\n "):
        start, entry = kit.plain_file(content)
        expect_same("sha256 of the file", entry["sha256"], sha256(content))
        expect_same("size of the file", entry["size"], len(content))
        answer = expect_answer(kit.client.get(f"/v1/files/{entry['id']}/content"), 200)
        expect(answer.body == content, "the bytes that were sent were due, others came")


@check("multipart.name", "the name is that of the start, whatever the metadata says")
def multipart_name(kit):
    start, plan = kit.start_server(kit.fresh_content(50))
    content = kit.fresh_content(50)
    start, plan = kit.start_server(content)
    entry = expect_answer(kit.multipart(start, plan, content, fileName="lost.bin"), 200).json
    expect_same("name of the file, which is that of the start", entry["fileName"], start["fileName"])


@check("multipart.digest", "content without the digest of the start is 409, and the session starts again")
def multipart_digest(kit):
    content = kit.fresh_content(5000)
    start, plan = kit.start_server(content)
    expect_answer(kit.multipart(start, plan, bytes(5000)), 409, "21004091", "content of another digest")
    expect_answer(kit.multipart(start, plan, content, sha256=sha256(b"other")), 409, "21004091",
                  "metadata with another digest")
    expect_answer(kit.multipart(start, plan, content), 200, what="the right content after that")


@check("multipart.no-digest", "an empty digest at the start counts as not given")
def multipart_no_digest(kit):
    content = kit.fresh_content(700)
    start, plan = kit.start_server(content, sha256="")
    entry = expect_answer(kit.multipart(start, plan, content), 200).json
    expect_same("sha256 of the file", entry["sha256"], sha256(content))


@check("multipart.closed", "a body that does not end with its closing mark is refused")
def multipart_closed(kit):
    content = kit.fresh_content(700)
    start, plan = kit.start_server(content)
    expect_answer(kit.multipart(start, plan, content, line=b"\r\n"), 400, "21004001", "a break of CR LF alone")


@check("multipart.update", "PATCH makes a new version of a file")
def multipart_update(kit):
    _, entry = kit.plain_file(kit.fresh_content(800))
    content = kit.fresh_content(900)
    start, plan = kit.start_server(content, fileId=entry["id"])
    second = expect_answer(kit.multipart(start, plan, content, method="PATCH"), 200).json
    expect_same("id of the file after a new version", second["id"], entry["id"])
    expect(second["contentVersion"] != entry["contentVersion"], "contentVersion must grow with a new version")


def opened(kit, size):
    content = kit.fresh_content(size)
    start, plan = kit.start_server(content)
    session = expect_answer(kit.open_resume(start, plan), 200).json
    expect(session["resumeUrl"].startswith("http"), f"resumeUrl: an address was due, it came {session['resumeUrl']!r}")
    expect(session["sliceSize"] > 0, f"sliceSize: more than 0 was due, it came {session['sliceSize']}")
    return content, start, plan, session


@check("resume.odd-form", "slices whose range ends at their length less one make the file")
def resume(kit):
    content, start, _, session = opened(kit, 5000)
    url = session["resumeUrl"]
    for position in (0, 2000):
        answer = expect_answer(kit.send_slice(url, content, position, 2000), 200).json
        expect_same(f"the answer after the slice of 2000 bytes at {position}", answer, {"position": position + 2000})
    entry = expect_answer(kit.send_slice(url, content, 4000, 2000), 200).json
    expect(entry.get("id"), "after the last slice the entry was due, with its id")
    expect_same("sha256 of the file", entry["sha256"], sha256(content))
    answer = expect_answer(kit.client.get(f"/v1/files/{entry['id']}/content"), 200)
    expect(answer.body == content, "the bytes that were sent were due, others came")


@check("resume.real-range", "a slice whose range tells its real end is taken as well")
def resume_real(kit):
    content, _, _, session = opened(kit, 3000)
    expect_answer(kit.send_slice(session["resumeUrl"], content, 0, 1000), 200)
    expect_answer(kit.send_slice(session["resumeUrl"], content, 1000, 2000, upper=2999), 200)


@check("resume.offered", "a running session is offered by its position, with an empty resumeUrl and version 0")
def resume_offered(kit):
    content, start, _, session = opened(kit, 3000)
    expect_answer(kit.send_slice(session["resumeUrl"], content, 0, 1000), 200)
    plan = expect_answer(kit.client.post("/v1/uploads/start", start), 200).json
    for key, due in (("position", 1000), ("resumeUrl", ""), ("version", 0)):
        expect_same(f"{key} of the plan whose session holds 1000 bytes", plan[key], due)
    again = expect_answer(kit.open_resume(start, plan), 200).json
    expect_same("position of the session that holds 1000 bytes", again["position"], 1000)
    expect_answer(kit.send_slice(again["resumeUrl"], content, 1000, 2000), 200)


@check("resume.below", "a slice may begin below what is held, which goes on from there")
def resume_below(kit):
    content, _, _, session = opened(kit, 3000)
    url = session["resumeUrl"]
    expect_answer(kit.send_slice(url, content, 0, 2000), 200)
    answer = expect_answer(kit.send_slice(url, content, 500, 1000), 200).json
    expect_same("the answer to 1000 bytes at 500 when 2000 were held, of which those from 500 on are thrown away",
                answer, {"position": 1500})
    entry = expect_answer(kit.send_slice(url, content, 1500, 1500), 200).json
    expect_same("sha256 of the file", entry["sha256"], sha256(content))


@check("resume.above", "a slice that begins above what is held is 409 and told where to go on")
def resume_above(kit):
    content, _, _, session = opened(kit, 3000)
    answer = expect_answer(kit.send_slice(session["resumeUrl"], content, 1000, 1000), 409, "21004091")
    expect_same("position in the refusal, what the session holds", answer.json.get("position"), 0)


@check("resume.never-whole", "an unfinished session never holds the whole size, and refuses an empty slice")
def resume_never_whole(kit):
    content, start, _, session = opened(kit, 2000)
    url = session["resumeUrl"]
    expect_answer(kit.send_slice(url, content, 0, 0, upper=0), 400, "21004001", "an empty slice")
    expect_answer(kit.send_slice(url, content, 0, 1999), 200)
    wrong = content[:1999] + bytes([content[1999] ^ 1])
    answer = expect_answer(kit.send_slice(url, wrong, 1999, 1), 409, "21004091", "the last byte, a wrong one")
    expect_same("position in the refusal, where the session starts again", answer.json.get("position"), 0)
    plan = expect_answer(kit.client.post("/v1/uploads/start", start), 200).json
    expect(plan["position"] < 2000, f"position: less than the size, 2000, was due, it came {plan['position']}")


@check("resume.wrong-size", "a slice that tells another size is refused")
def resume_size(kit):
    content, _, _, session = opened(kit, 2000)
    expect_answer(kit.send_slice(session["resumeUrl"], content + b"x", 0, 1000), 400, "21004001")


@check("resume.unknown", "an unknown session is 404")
def resume_unknown(kit):
    content, _, plan, _ = opened(kit, 2000)
    session = plan["uploadUrl"].rpartition("/")[2]
    url = plan["uploadUrl"].replace(session, secrets.token_hex(len(session) // 2))
    expect_answer(kit.send_slice(url, content, 0, 1000), 404, "21004041")


@check("content.ranges", "plain content honours ranges: the rest, the last bytes, and 416 behind the end")
def content_ranges(kit):
    content = kit.fresh_content(1000)
    _, entry = kit.plain_file(content)
    check_ranges(lambda text: kit.client.get(f"/v1/files/{entry['id']}/content", headers={"Range": text}), content)


@check("content.plain-only", "an encrypted file has no plain content: 409")
def content_plain_only(kit):
    _, _, entry = kit.upload(kit.fresh_content(100))
    expect_answer(kit.client.get(f"/v1/files/{entry['id']}/content"), 409, "21004091")


@check("content.empty", "an empty file is answered 200 with no byte, whatever range is asked for")
def content_empty(kit):
    entry = kit.make_empty("empty-" + secrets.token_hex(4))
    for headers in ({}, {"Range": "bytes=0-"}, {"Range": "bytes=5-"}):
        answer = expect_answer(kit.client.get(f"/v1/files/{entry['id']}/content", headers=headers), 200)
        expect(answer.body == b"", f"no byte of an empty file was due, {len(answer.body)} came")
    info = expect_answer(kit.client.get(f"/v1/files/{entry['id']}/download"), 200).json
    expect_same("encFekList and objectInfoList of an empty file",
                [info["encFekList"], info["objectInfoList"]], [[], []])
    expect(info["downloadUrl"], "downloadUrl: an address was due for an empty file, it came empty")


@check("content.answer", "the download of a plain file has empty lists and an address")
def content_answer(kit):
    content = kit.fresh_content(1000)
    _, entry = kit.plain_file(content)
    info = expect_answer(kit.client.get(f"/v1/files/{entry['id']}/download"), 200).json
    expect_same("encFekList and objectInfoList of a plain file", [info["encFekList"], info["objectInfoList"]], [[], []])
    answer = expect_answer(kit.client.get(info["downloadUrl"]), 200)
    expect(answer.body == content, "the bytes that were sent were due at downloadUrl, others came")


@check("thumbnail.none", "a file without a picture has no thumbnail: 404")
def thumbnail(kit):
    _, entry = kit.plain_file(kit.fresh_content(100))
    expect_answer(kit.client.get(f"/v1/files/{entry['id']}/thumbnail"), 404, "21004041")
    expect_same("thumbnailLink", entry["thumbnailLink"], "")


@check("thumbnail.attached", "the attachment \"small\" of an encrypted file is its thumbnail")
def thumbnail_attached(kit):
    key, vector = secrets.token_bytes(16), secrets.token_bytes(16)
    picture = b"\xff\xd8\xff\xe0 stands for a picture" + secrets.token_bytes(50)
    start = kit.start_body(kit.fresh_content(100), attachmentSize=[len(picture), 40])
    plan = expect_answer(kit.client.post("/v1/uploads/start", start), 200).json
    kit.send_object(plan, plan["items"][0])
    kit.send_object(plan, plan["items"][1], cipher.cbc(key, vector, picture) + cipher.cbc(key, vector, bytes(40)))
    body = kit.completion(plan, start)
    own = {kind: value for kind, _, value in user_keys(kit)}
    for entry in body["encFekList"]:
        entry["iv"] = vector.hex()
        entry["efek"] = wrapped(own[entry["keyType"]], key.hex(), vector.hex())
    entry = expect_answer(kit.complete(body), 200).json
    if not entry["thumbnailLink"]:
        raise PassedOver("this cloud shows no thumbnails of encrypted files: thumbnailLink is empty")
    answer = expect_answer(kit.client.get(entry["thumbnailLink"]), 200)
    expect(answer.body == picture, f"the {len(picture)} bytes of the attachment were due, others came")
