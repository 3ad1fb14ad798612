"""The start of an upload: plans, their way back, and what is refused."""
import secrets

from kit import PassedOver, check, expect, expect_answer, expect_same, padded, sha256


@check("plan.objects", "a plan has one object a slice, each with its padded length, none confirmed")
def objects(kit):
    content = kit.fresh_content(2 * kit.slice_size + 100)
    plan = kit.start(content)
    lengths = [item["length"] for item in plan["items"]]
    due = [padded(kit.slice_size), padded(kit.slice_size), padded(100)]
    expect_same("lengths of the objects", lengths, due)
    expect_same("status of the objects of a new plan", [item["status"] for item in plan["items"]], [False] * 3)
    expect_same("number of different object ids", len(set(object_ids(plan))), 3)


@check("plan.whole-slices", "a size that is a multiple of the slice size has no object more")
def whole_slices(kit):
    plan = kit.start(kit.fresh_content(2 * kit.slice_size))
    lengths = [item["length"] for item in plan["items"]]
    expect_same("lengths of the objects of two whole slices", lengths, 2 * [padded(kit.slice_size)])


@check("plan.attachments", "all attachments share one last object, as long as the sum of their padded lengths")
def attachments(kit):
    plan = kit.start(kit.fresh_content(100), attachmentSize=[33, 64])
    lengths = [item["length"] for item in plan["items"]]
    due = [padded(100), padded(33) + padded(64)]
    expect_same("lengths of the objects", lengths, due)


@check("plan.begins", "a new plan has a version, a bucket and a cursor, and begins at position 0")
def begins(kit):
    plan = kit.start(kit.fresh_content(3000))
    expect_same("uploadType", plan["uploadType"], "client")
    expect(0 < plan["version"] < 2**53, f"version: 1 to 2^53 - 1 was due, it came {plan['version']}")
    expect(plan["bucketId"] and plan["recordCursor"], "bucketId and recordCursor must not be empty")
    for key, due in (("position", 0), ("resumeUrl", ""), ("uploadUrl", "")):
        expect_same(f"{key} of a new plan", plan[key], due)


def object_ids(plan):
    return [item["objectId"] for item in plan["items"]]


def expect_same_plan(what, plan, first):
    for key in ("version", "recordCursor", "bucketId", "sliceSize"):
        expect_same(f"{what}, {key} of the plan that was made before", plan[key], first[key])
    expect_same(f"{what}, objects of the plan that was made before", object_ids(plan), object_ids(first))


def expect_other_plan(what, plan, first):
    expect(plan["version"] != first["version"], f"{what}: another version than that of any other plan was due, because "
           f"a client takes its old position for good by an equal one; {plan['version']} came again")
    expect(plan["recordCursor"] != first["recordCursor"], f"{what}: another recordCursor was due, the old came again")
    expect(not set(object_ids(plan)) & set(object_ids(first)), f"{what}: new objects were due, old ones came again")


@check("plan.found-again", "an open upload is found again, by its cursor and without, with the same version")
def found_again(kit):
    content = kit.fresh_content(3000)
    start = kit.start_body(content)
    first = expect_answer(kit.client.post("/v1/uploads/start", start), 200).json
    for cursor in (first["recordCursor"], ""):
        again = expect_answer(kit.client.post("/v1/uploads/start", {**start, "recordCursor": cursor}), 200).json
        expect_same_plan("the same start " + ("with its cursor" if cursor else "without a cursor"), again, first)


@check("plan.other-content", "other content or other attachments get another plan, also with the old cursor")
def other_content(kit):
    start = kit.start_body(kit.fresh_content(3000))
    first = expect_answer(kit.client.post("/v1/uploads/start", start), 200).json
    other = kit.start_body(kit.fresh_content(3000), fileName=start["fileName"], recordCursor=first["recordCursor"])
    for what, changed in (("other content", other), ("other attachments", {**other, "attachmentSize": [40]})):
        plan = expect_answer(kit.client.post("/v1/uploads/start", changed), 200).json
        expect_other_plan(what, plan, first)
        first = plan


@check("plan.one-key", "a plan belongs to one key digest: another one, or none, gets another plan with nothing uploaded")
def one_key(kit):
    start = kit.start_body(kit.fresh_content(kit.slice_size + 100), keyDigest=sha256(b"one key"))
    ask = lambda **changes: expect_answer(kit.client.post("/v1/uploads/start", {**start, **changes}), 200).json
    first = ask()
    kit.send_object(first, first["items"][0])
    again = ask(recordCursor=first["recordCursor"])
    expect_same_plan("the same key digest", again, first)
    expect(again["items"][0]["status"], "the object that was confirmed must have status true")
    for what, other in (("another key digest", sha256(b"another key")), ("no key digest", "")):
        plan = ask(keyDigest=other, recordCursor=first["recordCursor"])
        expect_other_plan(what, plan, first)
        expect_same(f"{what}, position", plan["position"], 0)
        expect_same(f"{what}, status of its objects", [item["status"] for item in plan["items"]], [False, False])


@check("plan.position", "status and position tell what is confirmed, without a gap")
def position(kit):
    content = kit.fresh_content(2 * kit.slice_size + 100)
    start = kit.start_body(content)
    ask = lambda: expect_answer(kit.client.post("/v1/uploads/start", start), 200).json
    plan = ask()
    kit.send_object(plan, plan["items"][1])
    again = ask()
    expect_same("status of the objects after the second was confirmed",
                [item["status"] for item in again["items"]], [False, True, False])
    expect_same("position, the plain bytes before the first object that is not confirmed", again["position"], 0)
    kit.send_object(plan, plan["items"][0])
    again = ask()
    expect_same("position in plain bytes after two of three objects", again["position"], 2 * kit.slice_size)


@check("plan.unconfirmed", "an object that is stored but not confirmed does not count")
def unconfirmed(kit):
    start = kit.start_body(kit.fresh_content(100))
    plan = expect_answer(kit.client.post("/v1/uploads/start", start), 200).json
    stored = kit.stored(plan["items"][0])
    expect_answer(kit.put(kit.address(plan, plan["items"][0], stored), stored), 200)
    again = expect_answer(kit.client.post("/v1/uploads/start", start), 200).json
    expect_same("status of an object that is not confirmed", again["items"][0]["status"], False)
    expect_same("position", again["position"], 0)


@check("exist.found", "content that the user has is \"exist\": its objects, all confirmed, at the end")
def exist(kit):
    content = kit.fresh_content(kit.slice_size + 10)
    _, plan, entry = kit.upload(content)
    start = kit.start_body(content)
    again = expect_answer(kit.client.post("/v1/uploads/start", start), 200).json
    expect_same("uploadType of a content that the user has", again["uploadType"], "exist")
    expect_same("objects of the plan, which are those that hold the content", object_ids(again), object_ids(plan))
    expect(all(item["status"] for item in again["items"]), "all objects of an \"exist\" plan must have status true")
    expect_same("position of an \"exist\" plan, the size", again["position"], len(content))
    copy = expect_answer(kit.complete(kit.completion(again, start)), 200).json
    expect(copy["id"] != entry["id"], "a file of its own was due, the one that was there came back")
    expect_same("digest of the copy", copy["sha256"], entry["sha256"])


@check("exist.own-only", "\"exist\" is said of the user's own files only")
def exist_own(kit):
    if not kit.foreign:
        raise PassedOver("no second user is known; give --other-user and --other-password-file")
    content = kit.fresh_content(4000)
    kit.upload(content)
    other, login = kit.foreign
    body = kit.start_body(content, parentFolder=login["rootFileId"])
    plan = expect_answer(other.post("/v1/uploads/start", body), 200).json
    expect(plan["uploadType"] != "exist", "uploadType: \"client\" or \"server\" was due, \"exist\" tells one user of "
           "the content of another")


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
    expect_same("uploadType", plan["uploadType"], "client")


@check("start.no-space", "more than the space left is 21004913")
def no_space(kit):
    left = expect_answer(kit.client.get("/v1/account/space"), 200).json["remaining"]
    body = kit.start_body(b"x")
    answer = kit.client.post("/v1/uploads/start", {**body, "size": left + 1})
    expect_answer(answer, 507, "21004913")


@check("start.passes-over", "fields that are not known are passed over")
def passes_over(kit):
    plan = kit.start(kit.fresh_content(100), somethingNew={"a": [1, 2]})
    expect_same("uploadType", plan["uploadType"], "client")
