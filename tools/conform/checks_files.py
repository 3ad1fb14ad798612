"""Folders, names, lists and changes; then what the whole run has shown."""
import secrets
import urllib.parse

from kit import Wrong, check, expect, expect_answer, expect_same


def post(kit, entry, what, body):
    return kit.client.post(f"/v1/files/{entry['id']}/{what}", body)


@check("folder.found", "a folder that stands there is given back; a file in its place is 409")
def folder(kit):
    name = "f-" + secrets.token_hex(4)
    first = kit.make_folder(name)
    expect_same("id of the folder that stands there already", kit.make_folder(name)["id"], first["id"])
    kit.make_empty(name + "e")
    answer = kit.client.post("/v1/folders", {"fileName": name + "e", "parentFolder": kit.folder})
    expect_answer(answer, 409, "21004091")
    answer = kit.client.post("/v1/folders", {"fileName": name, "parentFolder": secrets.token_hex(8)})
    expect_answer(answer, 404, "21000401")


@check("names.forms", "names of all kinds come back as they went, and are found")
def names(kit):
    folder = kit.new_folder()
    for name in ("a b+c%20&d?e#f", "\u00e9", "e\u0301", "E\u0301", "A", "a", "\U0001F600", "back\uf05cslash",
                 "byte\uf7ff", "x" * 1024, ".hidden", "a\nb"):
        entry = kit.make_empty(name, folder)
        expect_same("name of the new file", entry["fileName"], name)
        query = urllib.parse.urlencode({"parentFolder": folder, "fileName": name})
        found = expect_answer(kit.client.get("/v1/files/find?" + query), 200).json
        expect_same(f"id of what is found by the name {name!r}", found["id"], entry["id"])


@check("names.refused", "names that could lead elsewhere are refused")
def names_refused(kit):
    for name in ("", ".", "..", "a/b", "a\\b", "a\0b", "x" * 1025):
        body = {"fileName": name, "parentFolder": kit.folder}
        expect_answer(kit.client.post("/v1/folders", body), 400, "21004001", f"the name {name[:20]!r}")
        expect_answer(kit.client.post("/v1/files/empty", body), 400, "21004001", f"the name {name[:20]!r}")
    expect_answer(kit.ask_start(b"x", fileName="../x"), 400, "21004001")


@check("file.renames", "a rename and a move change the entry, and refuse a name that is taken")
def renames(kit):
    folder, inner = kit.make_folder("r-" + secrets.token_hex(4)), kit.new_folder()
    one, other = kit.make_empty("one", folder["id"]), kit.make_empty("other", folder["id"])
    expect_answer(post(kit, one, "rename", {"fileName": "other"}), 409, "21004091")
    renamed = expect_answer(post(kit, one, "rename", {"fileName": "third"}), 200).json
    moved = expect_answer(post(kit, renamed, "move", {"parentFolder": inner}), 200).json
    for key, due in (("id", one["id"]), ("fileName", "third"), ("parentFolder", inner)):
        expect_same(f"{key} after a rename and a move", moved[key], due)
    expect_answer(post(kit, other, "move", {"parentFolder": secrets.token_hex(8)}), 404, "21000401")


@check("folder.into-itself", "a folder does not move into itself or below")
def into_itself(kit):
    outer = kit.make_folder("o-" + secrets.token_hex(4))
    inner = kit.make_folder("inner", outer["id"])
    for target in (outer, inner):
        expect_answer(post(kit, outer, "move", {"parentFolder": target["id"]}), 409, "21004091")


@check("file.deletes", "a deleted folder takes what it holds along, and a restore brings it back")
def deletes(kit):
    folder = kit.make_folder("d-" + secrets.token_hex(4))
    inner = kit.make_empty("inner", folder["id"])
    get = lambda one: expect_answer(kit.client.get(f"/v1/files/{one['id']}"), 200).json["isDeleted"]
    for _ in range(2):
        expect_answer(kit.client.send("DELETE", f"/v1/files/{folder['id']}"), 200)
        expect_same("isDeleted of a deleted folder, and of a file in it", [get(folder), get(inner)], [True, True])
    expect_answer(post(kit, folder, "restore", {}), 200)
    expect_same("isDeleted of both after the restore", [get(folder), get(inner)], [False, False])


def pages(kit, route, cursor, limit):
    """All pages; the items, and the last change cursor."""
    items = []
    for _ in range(10000):
        query = urllib.parse.urlencode({"cursor": cursor, "limit": limit})
        page = expect_answer(kit.client.get(f"{route}?{query}"), 200).json
        expect(len(page["items"]) <= limit, f"{len(page['items'])} items on a page of {limit}")
        items += page["items"]
        if not page["nextCursor"]:
            return items, page["changeCursor"]
        cursor = page["nextCursor"]
    raise Wrong("the list does not end")


@check("list.parents-first", "a list names everything that lives once, parents before children")
def listing(kit):
    folder = kit.make_folder("l-" + secrets.token_hex(4))
    below = kit.make_folder("below", folder["id"])
    due = {kit.make_empty(f"e{index}", below["id"])["id"] for index in range(3)} | {folder["id"], below["id"]}
    items, _ = pages(kit, "/v1/files", "", 3)
    ids = [item["id"] for item in items]
    expect(len(ids) == len(set(ids)), f"each entry once was due, {len(ids) - len(set(ids))} came again")
    expect(due <= set(ids), f"all that lives was due, {len(due - set(ids))} of 5 new ones are missing")
    seen = {kit.root}
    for item in items:
        expect(not item["isDeleted"], f"nothing deleted was due, the list names {item['fileName']!r}")
        expect(item["parentFolder"] in seen,
               f"folders before what they hold were due, {item['fileName']!r} comes before its own")
        seen.add(item["id"])


@check("changes.in-order", "the changes from a list's cursor on tell everything that happened, in order")
def changes(kit):
    _, cursor = pages(kit, "/v1/files", "", 1000)
    one = kit.make_empty("c-" + secrets.token_hex(4))
    two = expect_answer(post(kit, one, "rename", {"fileName": "c2-" + secrets.token_hex(4)}), 200).json
    expect_answer(kit.client.send("DELETE", f"/v1/files/{one['id']}"), 200)
    told, after = pages(kit, "/v1/changes", cursor, 2)
    mine = [(item["fileName"], item["isDeleted"]) for item in told if item["id"] == one["id"]]
    due = [(one["fileName"], False), (two["fileName"], False), (two["fileName"], True)]
    expect_same("name and isDeleted after each change", mine, due)
    later, _ = pages(kit, "/v1/changes", after, 1000)
    expect(not [item for item in later if item["id"] == one["id"]],
           "a change that was told came again from the cursor behind it")


@check("changes.folders", "the deletion and the restore of a folder are told of each thing in it")
def changes_of_folders(kit):
    folder = kit.make_folder("w-" + secrets.token_hex(4))
    inner = kit.make_empty("inner", folder["id"])
    _, cursor = pages(kit, "/v1/files", "", 1000)
    expect_answer(kit.client.send("DELETE", f"/v1/files/{folder['id']}"), 200)
    expect_answer(post(kit, folder, "restore", {}), 200)
    names = {folder["id"]: "folder", inner["id"]: "inner"}
    told = [(names[item["id"]], item["isDeleted"]) for item in pages(kit, "/v1/changes", cursor, 1000)[0]
            if item["id"] in names]
    expect_same("what was told, and whether as deleted", told,
                [("inner", True), ("folder", True), ("folder", False), ("inner", False)])


@check("changes.cursor", "a cursor that this cloud did not give is refused")
def cursors(kit):
    for route in ("/v1/files", "/v1/changes"):
        expect_answer(kit.client.get(route + "?cursor=nonsense&limit=5"), 400, "21004001")


# These two look back on the whole run and come last.


@check("answers.documented", "every answer of this run has the documented status, fields, types and headers")
def documented(kit):
    if kit.undocumented:
        answer = next(iter(kit.undocumented.values()))
        first = "; ".join(list(kit.undocumented)[:10])
        raise Wrong(f"{len(kit.undocumented)} kinds of answers are not as documented: {first}", answer)


@check("answers.in-time", "every control call is answered within the time limit")
def in_time(kit):
    slowest = kit.slowest
    expect(slowest is None or slowest.seconds <= kit.limit,
           f"{kit.limit} s at most were due, it came after {slowest and slowest.seconds:.1f} s", slowest)
