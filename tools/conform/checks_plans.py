"""The start of an upload: plans, their way back, and what is refused."""
import secrets

from kit import PassedOver, check, expect, expect_answer, padded, sha256


@check("plan.objects", "a plan has one object a slice, each with its padded length, none confirmed")
def objects(kit):
    content = kit.fresh_content(2 * kit.slice_size + 100)
    plan = kit.start(content)
    lengths = [item["length"] for item in plan["items"]]
    due = [padded(kit.slice_size), padded(kit.slice_size), padded(100)]
    expect(lengths == due, f"the lengths are {lengths}, {due} were due")
    expect(not any(item["status"] for item in plan["items"]), "an object of a new plan counts as confirmed")
    ids = {item["objectId"] for item in plan["items"]}
    expect(len(ids) == 3, "object ids must differ")


@check("plan.whole-slices", "a size that is a multiple of the slice size has no object more")
def whole_slices(kit):
    plan = kit.start(kit.fresh_content(2 * kit.slice_size))
    lengths = [item["length"] for item in plan["items"]]
    expect(lengths == 2 * [padded(kit.slice_size)], f"the lengths are {lengths}")


@check("plan.attachments", "all attachments share one last object, as long as the sum of their padded lengths")
def attachments(kit):
    plan = kit.start(kit.fresh_content(100), attachmentSize=[33, 64])
    lengths = [item["length"] for item in plan["items"]]
    due = [padded(100), padded(33) + padded(64)]
    expect(lengths == due, f"the lengths are {lengths}, {due} were due")


@check("plan.begins", "a new plan has a version, a bucket and a cursor, and begins at position 0")
def begins(kit):
    plan = kit.start(kit.fresh_content(3000))
    expect(plan["uploadType"] == "client" and 0 < plan["version"] < 2**53, f"type or version is wrong: {plan}")
    expect(plan["bucketId"] and plan["recordCursor"], f"bucket or cursor is missing: {plan}")
    expect(plan["position"] == 0 and plan["resumeUrl"] == "" and plan["uploadUrl"] == "", f"{plan}")


def same_plan(one, other):
    keys = ("version", "recordCursor", "bucketId", "sliceSize")
    return all(one[key] == other[key] for key in keys) and (
        [item["objectId"] for item in one["items"]] == [item["objectId"] for item in other["items"]])


@check("plan.found-again", "an open upload is found again, by its cursor and without, with the same version")
def found_again(kit):
    content = kit.fresh_content(3000)
    start = kit.start_body(content)
    first = expect_answer(kit.client.post("/v1/uploads/start", start), 200).json
    for cursor in (first["recordCursor"], ""):
        again = expect_answer(kit.client.post("/v1/uploads/start", {**start, "recordCursor": cursor}), 200).json
        expect(same_plan(first, again), f"with the cursor {cursor!r} another plan came: {first} and {again}")


@check("plan.other-content", "other content or other attachments get another plan, also with the old cursor")
def other_content(kit):
    start = kit.start_body(kit.fresh_content(3000))
    first = expect_answer(kit.client.post("/v1/uploads/start", start), 200).json
    other = kit.start_body(kit.fresh_content(3000), fileName=start["fileName"], recordCursor=first["recordCursor"])
    for changed in (other, {**other, "attachmentSize": [40]}):
        plan = expect_answer(kit.client.post("/v1/uploads/start", changed), 200).json
        expect(plan["version"] != first["version"] and not same_plan(first, plan), "the old plan came for new content")
        first = plan


@check("plan.one-key", "a plan belongs to one key digest: another one, or none, gets another plan with nothing uploaded")
def one_key(kit):
    start = kit.start_body(kit.fresh_content(kit.slice_size + 100), keyDigest=sha256(b"one key"))
    ask = lambda **changes: expect_answer(kit.client.post("/v1/uploads/start", {**start, **changes}), 200).json
    first = ask()
    kit.send_object(first, first["items"][0])
    again = ask(recordCursor=first["recordCursor"])
    expect(same_plan(first, again) and again["items"][0]["status"], f"the plan of the same key was lost: {again}")
    for other in (sha256(b"another key"), ""):
        plan = ask(keyDigest=other, recordCursor=first["recordCursor"])
        expect(plan["version"] != first["version"] and not same_plan(first, plan), "another key got the old plan")
        expect(plan["position"] == 0 and not any(item["status"] for item in plan["items"]),
               f"an object of another key counts as uploaded: {plan}")


@check("plan.position", "status and position tell what is confirmed, without a gap")
def position(kit):
    content = kit.fresh_content(2 * kit.slice_size + 100)
    start = kit.start_body(content)
    ask = lambda: expect_answer(kit.client.post("/v1/uploads/start", start), 200).json
    plan = ask()
    kit.send_object(plan, plan["items"][1])
    again = ask()
    expect([item["status"] for item in again["items"]] == [False, True, False], f"the status is wrong: {again}")
    expect(again["position"] == 0, f"position {again['position']} leaves out the first object")
    kit.send_object(plan, plan["items"][0])
    again = ask()
    expect(again["position"] == 2 * kit.slice_size, f"position {again['position']} after two of three objects")


@check("plan.unconfirmed", "an object that is stored but not confirmed does not count")
def unconfirmed(kit):
    start = kit.start_body(kit.fresh_content(100))
    plan = expect_answer(kit.client.post("/v1/uploads/start", start), 200).json
    stored = kit.stored(plan["items"][0])
    expect_answer(kit.put(kit.address(plan, plan["items"][0], stored), stored), 200)
    again = expect_answer(kit.client.post("/v1/uploads/start", start), 200).json
    expect(not again["items"][0]["status"] and again["position"] == 0, f"it counts: {again}")


@check("exist.found", "content that the user has is \"exist\": its objects, all confirmed, at the end")
def exist(kit):
    content = kit.fresh_content(kit.slice_size + 10)
    _, plan, entry = kit.upload(content)
    start = kit.start_body(content)
    again = expect_answer(kit.client.post("/v1/uploads/start", start), 200).json
    expect(again["uploadType"] == "exist", f"it came {again['uploadType']}")
    expect([item["objectId"] for item in again["items"]] == [item["objectId"] for item in plan["items"]],
           "these are not the content's objects")
    expect(all(item["status"] for item in again["items"]), "an object counts as missing")
    copy = expect_answer(kit.complete(kit.completion(again, start)), 200).json
    expect(copy["id"] != entry["id"] and copy["sha256"] == entry["sha256"], f"the copy is wrong: {copy}")


@check("exist.own-only", "\"exist\" is said of the user's own files only")
def exist_own(kit):
    if not kit.foreign:
        raise PassedOver("no second user is known; give --other-user and --other-password-file")
    content = kit.fresh_content(4000)
    kit.upload(content)
    other, login = kit.foreign
    body = kit.start_body(content, parentFolder=login["rootFileId"])
    plan = expect_answer(other.post("/v1/uploads/start", body), 200).json
    expect(plan["uploadType"] != "exist", "the content of one user was told to another")


@check("start.unknown-parent", "an unknown parent folder is 21000401")
def unknown_parent(kit):
    expect_answer(kit.ask_start(kit.fresh_content(10), parentFolder=secrets.token_hex(12)), 404, "21000401")


@check("start.unknown-file", "a new version of an unknown file is 21004041")
def unknown_file(kit):
    expect_answer(kit.ask_start(kit.fresh_content(10), fileId=secrets.token_hex(12)), 404, "21004041")


@check("start.name-taken", "a name that other content or a folder has is 21004091")
def name_taken(kit):
    start, _, _ = kit.upload(kit.fresh_content(1000))
    expect_answer(kit.ask_start(kit.fresh_content(1000), fileName=start["fileName"]), 409, "21004091")
    kit.make_folder("taken")
    expect_answer(kit.ask_start(kit.fresh_content(1000), fileName="taken"), 409, "21004091")


@check("start.local-id", "an id that begins with \"Local\" is a new file")
def local_id(kit):
    plan = kit.start(kit.fresh_content(100), fileId="Local" + secrets.token_hex(8))
    expect(plan["uploadType"] == "client", f"{plan}")


@check("start.no-space", "more than the space left is 21004913")
def no_space(kit):
    left = expect_answer(kit.client.get("/v1/account/space"), 200).json["remaining"]
    body = kit.start_body(b"x")
    answer = kit.client.post("/v1/uploads/start", {**body, "size": left + 1})
    expect_answer(answer, 507, "21004913")


@check("start.passes-over", "fields that are not known are passed over")
def passes_over(kit):
    plan = kit.start(kit.fresh_content(100), somethingNew={"a": [1, 2]})
    expect(plan["uploadType"] == "client", f"{plan}")
