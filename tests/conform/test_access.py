"""Who may do what: wrong tokens against every route, another user's things, altered and replayed addresses."""
import secrets
import unittest

from cloud_case import CloudCase
from checks_objects import download_info, fetch_address
from kit import changed_query, sha256

DAY = 86400
# What a request of another user must be answered, for each operation that names something of a user.
FOREIGN = {}
# Operations that take nothing of a user: they speak of the asker alone.
OWN = {"health", "login", "refresh", "logout", "space", "publicKey", "keyList"}


def foreign(operation, status, code):
    def keep(function):
        FOREIGN[operation] = (function, status, code)
        return function
    return keep


def on_file(operation, method, suffix="", body=None):
    foreign(operation, 404, "21004041")(
        lambda world: world.eve.client.send(method, f"/v1/files/{world.plain['id']}{suffix}", body))


on_file("getFile", "GET")
on_file("deleteFile", "DELETE")
on_file("renameFile", "POST", "/rename", {"fileName": "taken-over"})
on_file("moveFile", "POST", "/move", {"parentFolder": "x"})
on_file("restoreFile", "POST", "/restore", {})
on_file("downloadInfo", "GET", "/download")
on_file("plainContent", "GET", "/content")
on_file("thumbnail", "GET", "/thumbnail")


@foreign("findFile", 404, "21004041")
def find(world):
    return world.eve.client.get(f"/v1/files/find?parentFolder={world.anna.folder}&fileName={world.plain['fileName']}")


@foreign("createFolder", 404, "21000401")
def folder(world):
    return world.eve.client.post("/v1/folders", {"fileName": "x", "parentFolder": world.anna.folder})


@foreign("createEmptyFile", 404, "21000401")
def empty(world):
    return world.eve.client.post("/v1/files/empty", {"fileName": "x", "parentFolder": world.anna.root})


@foreign("startUpload", 404, "21004041")
def start(world):
    return world.eve.ask_start(b"x", fileId=world.encrypted["id"])


@foreign("uploadAddress", 404, "21000400")
def address(world):
    return world.eve.client.post("/v1/uploads/address", world.anna.address_body(world.plan, world.plan["items"][0], b""))


@foreign("confirmObject", 404, "21000400")
def confirm(world):
    return world.eve.confirm(world.plan, world.plan["items"][0])


@foreign("completeCreate", 409, "21004932")
def complete(world):
    return world.eve.complete(world.anna.completion(world.plan, world.start))


@foreign("completeUpdate", 409, "21004932")
def complete_update(world):
    return world.eve.complete(world.anna.completion(world.plan, world.start, fileId=world.encrypted["id"]))


@foreign("downloadAddress", 404, "21004041")
def download_address(world):
    objects = download_info(world.anna, world.encrypted)["objectInfoList"][0]
    return world.eve.client.post("/v1/downloads/address", {"objectId": objects["objectIds"][0]})


@foreign("fetchObject", 403, "21004031")
def fetch(world):
    """A signature for one's own object does not fit another's."""
    _, _, own = world.eve.upload(world.eve.fresh_content(50))
    url = fetch_address(world.eve, download_info(world.eve, own), 0)["url"]
    theirs = fetch_address(world.anna, download_info(world.anna, world.encrypted), 0)["url"]
    return world.eve.client.get(theirs.partition("?")[0] + "?" + url.partition("?")[2])


@foreign("storeObject", 403, "21004031")
def store(world):
    plan = world.eve.start(world.eve.fresh_content(100))
    stored = world.eve.stored(plan["items"][0])
    own = world.eve.address(plan, plan["items"][0], stored)
    theirs = world.anna.address(world.plan, world.plan["items"][0], stored)
    query = own["url"].partition("?")[2]
    return world.eve.client.send("PUT", theirs["url"].partition("?")[0] + "?" + query, stored, own["headers"])


@foreign("proxyCreate", 404, "21004041")
def proxy_create(world):
    return world.eve.multipart(world.session_start, world.session, world.session_content)


@foreign("proxyUpdate", 404, "21004041")
def proxy_update(world):
    return world.eve.open_resume(world.session_start, world.session, method="PATCH")


@foreign("proxySlice", 404, "21004041")
def proxy_slice(world):
    return world.eve.send_slice(world.session["uploadUrl"], world.session_content, 0, 100)


class Access(CloudCase):
    options = ("--access-seconds", "3600", "--address-seconds", "900")

    def setUp(self):
        super().setUp()
        _, self.plain = self.anna.plain_file(self.anna.fresh_content(500))
        _, _, self.encrypted = self.anna.upload(self.anna.fresh_content(500))
        self.start = self.anna.start_body(self.anna.fresh_content(700))
        self.plan = self.anna.client.post("/v1/uploads/start", self.start).json
        self.session_content = self.anna.fresh_content(600)
        self.session_start, self.session = self.anna.start_server(self.session_content)

    def wrong_tokens(self):
        """Name and header of every token that must not do; the clock stands a day ahead while they are used."""
        ended, login = self.sign_in("anna")
        ended.post("/v1/account/logout")
        revoked, _ = self.sign_in("eve")
        self.cloud.command("token", "revoke", "--data", self.cloud.folder, "eve")
        fresh, pair = self.sign_in("anna")
        return {"none": None, "empty": "Bearer ", "made up": "Bearer " + secrets.token_hex(32),
                "another scheme": "Basic " + fresh.token, "signed out": "Bearer " + ended.token,
                "revoked": "Bearer " + revoked.token, "a refresh token": "Bearer " + pair["refreshToken"],
                "half a token": "Bearer " + fresh.token[:-1], "a longer token": "Bearer " + fresh.token + "0"}

    def path_of(self, operation):
        return operation.template.replace("{id}", self.plain["id"]).replace("{session}", self.plan["recordCursor"])

    def assert_refused(self, operation, header, name):
        headers = {} if header is None else {"Authorization": header}
        body = b"{}" if operation.method != "GET" else None
        answer = self.anna.client.send(operation.method, self.path_of(operation), body, headers, token="")
        self.assertEqual((401, "21004011"), (answer.status, answer.code), f"{operation.name} with {name}: {answer}")

    # CLOUD-ACCESS-01
    def test_every_route_that_needs_a_token_refuses_every_wrong_one(self):
        tokens = self.wrong_tokens()
        for operation in self.protocol.operations:
            if operation.needs_token:
                for name, header in tokens.items():
                    self.assert_refused(operation, header, name)
        self.assertEqual(200, self.anna.client.get(f"/v1/files/{self.plain['id']}").status, "nothing was changed")

    # CLOUD-ACCESS-01
    def test_every_route_that_needs_a_token_refuses_one_whose_time_is_over(self):
        header = "Bearer " + self.anna.client.token
        with self.scenario(clock=3601):
            for operation in self.protocol.operations:
                if operation.needs_token:
                    self.assert_refused(operation, header, "an expired token")

    # CLOUD-ACCESS-01
    def test_a_refresh_token_ends_with_its_time_and_with_the_sign_out(self):
        client, login = self.sign_in("anna")
        refresh = lambda: client.post("/v1/account/refresh", {"refreshToken": login["refreshToken"]}, token="")
        with self.scenario(clock=31 * DAY):
            self.assertEqual(401, refresh().status)
        self.assertEqual(401, client.post("/v1/account/refresh", {"refreshToken": client.token}, token="").status,
                         "an access token is no refresh token")
        client.post("/v1/account/logout")
        self.assertEqual(401, refresh().status)

    # CLOUD-ACCESS-01
    def test_the_open_routes_are_these_and_no_others(self):
        open_routes = {operation.name for operation in self.protocol.operations if not operation.needs_token}
        self.assertEqual({"health", "login", "refresh", "fetchObject", "storeObject"}, open_routes)

    # CLOUD-ACCESS-02
    def test_what_another_user_has_is_refused_on_every_route(self):
        untested = {operation.name for operation in self.protocol.operations} - FOREIGN.keys() - OWN
        self.assertEqual({"listFiles", "changes"}, untested, "a route that this test leaves out; the lists have their own")
        before = self.state_of_anna()
        for name, (ask, status, code) in FOREIGN.items():
            answer = ask(self)
            self.assertEqual((status, code), (answer.status, answer.code), f"{name}: {answer}")
        self.assertEqual(before, self.state_of_anna(), "something of the other user was changed")

    # CLOUD-ACCESS-02
    def test_lists_and_changes_name_ones_own_things_only(self):
        for route in ("/v1/files", "/v1/changes"):
            items = self.eve.client.get(route).json["items"]
            self.assertEqual([], items, route)
            self.assertNotEqual([], self.anna.client.get(route).json["items"])

    # CLOUD-ACCESS-02
    def test_the_cursor_of_another_user_opens_no_upload_and_closes_none(self):
        body = self.eve.start_body(self.eve.fresh_content(700), recordCursor=self.plan["recordCursor"])
        plan = self.eve.client.post("/v1/uploads/start", body).json
        self.assertNotEqual(self.plan["recordCursor"], plan["recordCursor"])
        again = self.anna.client.post("/v1/uploads/start", self.start).json
        self.assertEqual(self.plan, again)

    def state_of_anna(self):
        files = self.anna.client.get("/v1/files").json
        plan = self.anna.client.post("/v1/uploads/start", self.start).json
        session = self.anna.client.post("/v1/uploads/start", self.session_start).json
        return files, plan, session

    # CLOUD-ACCESS-03
    def test_an_altered_address_is_refused_in_each_of_its_parts(self):
        item = self.plan["items"][0]
        stored = self.anna.stored(item)
        put = self.anna.address(self.plan, item, stored)
        get = fetch_address(self.anna, download_info(self.anna, self.encrypted), 0)["url"]
        client = self.anna.client
        attempts = {}
        for name, url in (("get", get), ("put", put["url"])):
            for change in ({"expires": "9999999999"}, {"expires": ""}, {"expires": "x"}, {"signature": ""},
                           {"signature": "0" * 64}):
                attempts[name, str(change)] = self.use(name, changed_query(url, **change), stored, put["headers"])
            attempts[name, "no query"] = self.use(name, url.partition("?")[0], stored, put["headers"])
            bucket = url.split("/store/")[1].partition("/")[0]
            attempts[name, "bucket"] = self.use(name, url.replace(bucket, "b" + "0" * 16), stored, put["headers"])
        attempts["put used for a get"] = client.get(put["url"], token="")
        attempts["get used for a put"] = client.send("PUT", get, stored, put["headers"], token="")
        for header, value in (("Content-MD5", "AAAAAAAAAAAAAAAAAAAAAA=="), ("X-Object-Sha256", sha256(b""))):
            headers = {**put["headers"], header: value}
            attempts["put with another " + header] = client.send("PUT", put["url"], stored, headers, token="")
            del headers[header]
            attempts["put without " + header] = client.send("PUT", put["url"], stored, headers, token="")
        attempts["put of more"] = client.send("PUT", put["url"], stored + b"x", put["headers"], token="")
        for name, answer in attempts.items():
            self.assertEqual((403, "21004031"), (answer.status, answer.code), f"{name}: {answer}")
        self.assertEqual(409, self.anna.confirm(self.plan, item).status, "something was stored")

    def use(self, kind, url, stored, headers):
        if kind == "get":
            return self.anna.client.get(url, token="")
        return self.anna.client.send("PUT", url, stored, headers, token="")

    # CLOUD-ACCESS-03
    def test_an_address_ends_with_its_time(self):
        item = self.plan["items"][0]
        stored = self.anna.stored(item)
        put = self.anna.address(self.plan, item, stored)
        get = fetch_address(self.anna, download_info(self.anna, self.encrypted), 0)["url"]
        self.assertEqual(200, self.anna.client.get(get, token="").status)
        with self.scenario(clock=901):
            self.assertEqual(403, self.anna.client.get(get, token="").status)
            self.assertEqual(403, self.anna.put(put, stored).status)

    # CLOUD-ACCESS-03
    def test_a_replayed_put_changes_nothing_that_a_file_has(self):
        item = self.plan["items"][0]
        stored, other = self.anna.stored(item), self.anna.fresh_content(item["length"])
        replayed, changed = self.anna.address(self.plan, item, stored), self.anna.address(self.plan, item, other)
        self.anna.send_object(self.plan, item)
        entry = self.anna.complete(self.anna.completion(self.plan, self.start)).json
        self.assertEqual(200, self.anna.put(replayed, stored).status, "the same bytes do no harm")
        self.assertEqual(409, self.anna.put(changed, other).status)
        url = fetch_address(self.anna, download_info(self.anna, entry), 0)["url"]
        self.assertEqual(stored, self.anna.client.get(url, token="").body)


if __name__ == "__main__":
    unittest.main(verbosity=2)
