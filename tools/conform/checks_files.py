"""Folders, names, lists and changes; then what the whole run has shown."""
import secrets
import urllib.parse

from kit import Wrong, check, expect, expect_answer


def post(kit, entry, what, body):
    return kit.client.post(f"/v1/files/{entry['id']}/{what}", body)


@check("folder.found", "a folder that stands there is given back; a file in its place is 409")
def folder(kit):
    name = "f-" + secrets.token_hex(4)
    expect(kit.make_folder(name)["id"] == kit.make_folder(name)["id"], "a second folder came into being")
    kit.make_empty(name + "e")
    answer = kit.client.post("/v1/folders", {"fileName": name + "e", "parentFolder": kit.folder})
    expect_answer(answer, 409, "21004091")
    answer = kit.client.post("/v1/folders", {"fileName": name, "parentFolder": secrets.token_hex(8)})
    expect_answer(answer, 404, "21000401")


@check("names.forms", "names of all kinds come back as they went, and are found")
def names(kit):
    folder = kit.new_folder()
    for name in ("a b+c%20&d?e#f", "ä\u0301 \U0001F600", "back\uf05cslash", "byte\uf7ff", "x" * 1024, ".hidden", "a\nb"):
        entry = kit.make_empty(name, folder)
        expect(entry["fileName"] == name, f"{name!r} became {entry['fileName']!r}")
        query = urllib.parse.urlencode({"parentFolder": folder, "fileName": name})
        found = expect_answer(kit.client.get("/v1/files/find?" + query), 200).json
        expect(found["id"] == entry["id"], f"{name!r} is not found")


@check("names.refused", "names that could lead elsewhere are refused")
def names_refused(kit):
    for name in ("", ".", "..", "a/b", "a\\b", "a\0b", "x" * 1025):
        body = {"fileName": name, "parentFolder": kit.folder}
        expect_answer(kit.client.post("/v1/folders", body), 400, "21004001")
        expect_answer(kit.client.post("/v1/files/empty", body), 400, "21004001")
    expect_answer(kit.ask_start(b"x", fileName="../x"), 400, "21004001")


@check("file.renames", "a rename and a move change the entry, and refuse a name that is taken")
def renames(kit):
    folder, inner = kit.make_folder("r-" + secrets.token_hex(4)), kit.new_folder()
    one, other = kit.make_empty("one", folder["id"]), kit.make_empty("other", folder["id"])
    expect_answer(post(kit, one, "rename", {"fileName": "other"}), 409, "21004091")
    renamed = expect_answer(post(kit, one, "rename", {"fileName": "third"}), 200).json
    moved = expect_answer(post(kit, renamed, "move", {"parentFolder": inner}), 200).json
    expect(moved["id"] == one["id"] and moved["fileName"] == "third" and moved["parentFolder"] == inner, f"{moved}")
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
        expect(get(folder) and get(inner), "something is still there")
    expect_answer(post(kit, folder, "restore", {}), 200)
    expect(not get(folder) and not get(inner), "something is still gone")


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
    expect(len(ids) == len(set(ids)), "something is named twice")
    expect(due <= set(ids), "something is missing")
    seen = {kit.root}
    for item in items:
        expect(not item["isDeleted"], "a deleted one is in the list")
        expect(item["parentFolder"] in seen, f"{item['fileName']!r} comes before its folder")
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
    expect(mine == due, f"it was told {mine}, {due} was due")
    later, _ = pages(kit, "/v1/changes", after, 1000)
    expect(not [item for item in later if item["id"] == one["id"]], "a change is told twice")


@check("changes.cursor", "a cursor that this cloud did not give is refused")
def cursors(kit):
    for route in ("/v1/files", "/v1/changes"):
        expect_answer(kit.client.get(route + "?cursor=nonsense&limit=5"), 400, "21004001")


# These two look back on the whole run and come last.


@check("answers.documented", "every answer of this run has the documented status, fields, types and headers")
def documented(kit):
    seen = list(dict.fromkeys(kit.undocumented))
    expect(not seen, f"{len(seen)} times not, first: " + "; ".join(seen[:3]))


@check("answers.in-time", "every control call is answered within the time limit")
def in_time(kit):
    seconds, what = kit.slowest
    expect(seconds <= kit.limit, f"{what} took {seconds:.1f} s, {kit.limit} s are allowed")
