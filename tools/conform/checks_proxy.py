"""The file proxy in its odd forms, and files that are held plain."""
import secrets

from checks_objects import check_ranges
from kit import check, expect, expect_answer, sha256


@check("server.plan", "a plan for the file proxy has version 0, no items and an empty resumeUrl")
def plan_form(kit):
    _, plan = kit.start_server(kit.fresh_content(5000))
    expect(plan["version"] == 0 and plan["items"] == [] and plan["resumeUrl"] == "", f"{plan}")
    expect(plan["uploadUrl"].startswith("http") and "?" not in plan["uploadUrl"], "the session's address is wrong")
    expect(plan["position"] == 0, f"a new session holds {plan['position']}")


@check("multipart.odd-form", "the multipart body with the line break CR LF blank makes the file")
def multipart(kit):
    for content in (kit.fresh_content(5000), b"\r\n --x--\r\n \r\n\r\n\0" + kit.fresh_content(50), b"\r\n "):
        start, entry = kit.plain_file(content)
        expect(entry["sha256"] == sha256(content) and entry["size"] == len(content), f"the file is wrong: {entry}")
        answer = expect_answer(kit.client.get(f"/v1/files/{entry['id']}/content"), 200)
        expect(answer.body == content, "the content did not come back as it was sent")


@check("multipart.name", "the name is that of the start, whatever the metadata says")
def multipart_name(kit):
    start, plan = kit.start_server(kit.fresh_content(50))
    content = kit.fresh_content(50)
    start, plan = kit.start_server(content)
    entry = expect_answer(kit.multipart(start, plan, content, fileName="lost.bin"), 200).json
    expect(entry["fileName"] == start["fileName"], f"the file is named {entry['fileName']!r}")


@check("multipart.digest", "content without the digest of the start is 409, and the session starts again")
def multipart_digest(kit):
    content = kit.fresh_content(5000)
    start, plan = kit.start_server(content)
    expect_answer(kit.multipart(start, plan, bytes(5000)), 409, "21004091")
    expect_answer(kit.multipart(start, plan, content, sha256=sha256(b"other")), 409, "21004091")
    expect_answer(kit.multipart(start, plan, content), 200)


@check("multipart.no-digest", "an empty digest at the start counts as not given")
def multipart_no_digest(kit):
    content = kit.fresh_content(700)
    start, plan = kit.start_server(content, sha256="")
    entry = expect_answer(kit.multipart(start, plan, content), 200).json
    expect(entry["sha256"] == sha256(content), "the digest of the entry is wrong")


@check("multipart.closed", "a body that does not end with its closing mark is refused")
def multipart_closed(kit):
    content = kit.fresh_content(700)
    start, plan = kit.start_server(content)
    expect_answer(kit.multipart(start, plan, content, line=b"\r\n"), 400, "21004001")


@check("multipart.update", "PATCH makes a new version of a file")
def multipart_update(kit):
    _, entry = kit.plain_file(kit.fresh_content(800))
    content = kit.fresh_content(900)
    start, plan = kit.start_server(content, fileId=entry["id"])
    second = expect_answer(kit.multipart(start, plan, content, method="PATCH"), 200).json
    expect(second["id"] == entry["id"] and second["contentVersion"] != entry["contentVersion"], f"{second}")


def opened(kit, size):
    content = kit.fresh_content(size)
    start, plan = kit.start_server(content)
    session = expect_answer(kit.open_resume(start, plan), 200).json
    expect(session["resumeUrl"].startswith("http") and session["sliceSize"] > 0, f"{session}")
    return content, start, plan, session


@check("resume.odd-form", "slices whose range ends at their length less one make the file")
def resume(kit):
    content, start, _, session = opened(kit, 5000)
    url = session["resumeUrl"]
    for position in (0, 2000):
        answer = expect_answer(kit.send_slice(url, content, position, 2000), 200).json
        expect(answer == {"position": position + 2000}, f"after the slice at {position} it came {answer}")
    entry = expect_answer(kit.send_slice(url, content, 4000, 2000), 200).json
    expect(entry.get("id") and entry["sha256"] == sha256(content), f"the file is wrong: {entry}")
    answer = expect_answer(kit.client.get(f"/v1/files/{entry['id']}/content"), 200)
    expect(answer.body == content, "the content did not come back as it was sent")


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
    expect(plan["position"] == 1000 and plan["resumeUrl"] == "" and plan["version"] == 0, f"{plan}")
    again = expect_answer(kit.open_resume(start, plan), 200).json
    expect(again["position"] == 1000, f"the session opens at {again['position']}")
    expect_answer(kit.send_slice(again["resumeUrl"], content, 1000, 2000), 200)


@check("resume.below", "a slice may begin below what is held, which goes on from there")
def resume_below(kit):
    content, _, _, session = opened(kit, 3000)
    url = session["resumeUrl"]
    expect_answer(kit.send_slice(url, content, 0, 2000), 200)
    answer = expect_answer(kit.send_slice(url, content, 500, 1000), 200).json
    expect(answer == {"position": 1500}, f"it came {answer}")
    entry = expect_answer(kit.send_slice(url, content, 1500, 1500), 200).json
    expect(entry["sha256"] == sha256(content), "the content is wrong")


@check("resume.above", "a slice that begins above what is held is 409 and told where to go on")
def resume_above(kit):
    content, _, _, session = opened(kit, 3000)
    answer = expect_answer(kit.send_slice(session["resumeUrl"], content, 1000, 1000), 409, "21004091")
    expect(answer.json["position"] == 0, f"it came {answer}")


@check("resume.never-whole", "an unfinished session never holds the whole size, and refuses an empty slice")
def resume_never_whole(kit):
    content, start, _, session = opened(kit, 2000)
    url = session["resumeUrl"]
    expect_answer(kit.send_slice(url, content, 0, 0, upper=0), 400, "21004001")
    expect_answer(kit.send_slice(url, content, 0, 1999), 200)
    wrong = content[:1999] + bytes([content[1999] ^ 1])
    answer = expect_answer(kit.send_slice(url, wrong, 1999, 1), 409, "21004091")
    expect(answer.json["position"] == 0, f"the session goes on at {answer}")
    plan = expect_answer(kit.client.post("/v1/uploads/start", start), 200).json
    expect(plan["position"] < 2000, f"the session is offered at {plan['position']} of 2000")


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
        expect(answer.body == b"", f"{len(answer.body)} bytes came")
    info = expect_answer(kit.client.get(f"/v1/files/{entry['id']}/download"), 200).json
    expect(info["encFekList"] == [] and info["objectInfoList"] == [] and info["downloadUrl"], f"{info}")


@check("content.answer", "the download of a plain file has empty lists and an address")
def content_answer(kit):
    content = kit.fresh_content(1000)
    _, entry = kit.plain_file(content)
    info = expect_answer(kit.client.get(f"/v1/files/{entry['id']}/download"), 200).json
    expect(info["encFekList"] == [] and info["objectInfoList"] == [], f"{info}")
    answer = expect_answer(kit.client.get(info["downloadUrl"]), 200)
    expect(answer.body == content, "the address gives other bytes")


@check("thumbnail.none", "a file without a picture has no thumbnail: 404")
def thumbnail(kit):
    _, entry = kit.plain_file(kit.fresh_content(100))
    expect_answer(kit.client.get(f"/v1/files/{entry['id']}/thumbnail"), 404, "21004041")
    expect(entry["thumbnailLink"] == "", "the entry tells of a thumbnail")
