"""Signing in, tokens, space and the key service."""
import base64
import secrets

import cipher
from client import sign_in
from kit import PassedOver, check, expect, expect_answer, expect_same


@check("health.answers", "the health route answers without a token")
def health(kit):
    answer = expect_answer(kit.client.get("/health", token=""), 200)
    expect_same("status", answer.json.get("status"), "ok")


@check("login.refuses", "a wrong password and an unknown user are refused alike")
def login_refuses(kit):
    for user in (kit.user, "nobody-" + secrets.token_hex(8)):
        answer = kit.client.post("/v1/account/login", {"user": user, "password": secrets.token_hex(8)}, token="")
        expect_answer(answer, 401, "21004011")


@check("login.refreshes", "a refresh token gives a new pair, also when its answer was lost and it comes again")
def login_refreshes(kit):
    client, login = sign_in(kit.client.url, kit.user, kit.password, listener=kit.listen, **kit.options)
    for _ in range(2):
        answer = client.post("/v1/account/refresh", {"refreshToken": login["refreshToken"]}, token="")
        token = expect_answer(answer, 200).json["accessToken"]
        expect(token != login["accessToken"], "another access token was due, the old one came back")
        expect_answer(client.get("/v1/account/space", token=token), 200)
    expect_answer(client.get("/v1/account/space"), 200)  # the old one lives on for a while
    answer = client.post("/v1/account/refresh", {"refreshToken": login["accessToken"]}, token="")
    expect_answer(answer, 401, "21004011")
    for pair in (token, client.token):
        client.post("/v1/account/logout", token=pair)


@check("login.ends", "a sign-out revokes both tokens")
def login_ends(kit):
    client, login = sign_in(kit.client.url, kit.user, kit.password, listener=kit.listen, **kit.options)
    expect_answer(client.post("/v1/account/logout"), 200)
    expect_answer(client.get("/v1/account/space"), 401, "21004011")
    answer = client.post("/v1/account/refresh", {"refreshToken": login["refreshToken"]}, token="")
    expect_answer(answer, 401, "21004011")


@check("token.needed", "every route that needs a token refuses none and a wrong one")
def token_needed(kit):
    for operation in kit.protocol.operations:
        if not operation.needs_token:
            continue
        path = operation.template.replace("{id}", kit.root).replace("{session}", "session")
        for token in ("", "wrong"):
            answer = kit.client.send(operation.method, path, {} if operation.method != "GET" else None, token=token)
            expect_answer(answer, 401, "21004011", f"{operation.method} {operation.template} with " + (
                f"the token {token!r}" if token else "no token"))


@check("codes.routes", "an unknown route and a wrong method are refused with their codes")
def routes(kit):
    expect_answer(kit.client.get("/v1/nothing/here"), 404, "21004041")
    expect_answer(kit.client.send("DELETE", "/v1/account/space"), 405, "21004001")


@check("codes.bad-request", "what is no JSON, and a field of another type, is refused with 400")
def bad_request(kit):
    headers = {"Content-Type": "application/json"}
    for body in (b"{", b"[]", b'{"fileName":5}', b"\xff\xfe"):
        expect_answer(kit.client.post("/v1/folders", body, headers=headers), 400, "21004001")


@check("space.fits", "total, used and remaining fit together and are never negative")
def space(kit):
    told = expect_answer(kit.client.get("/v1/account/space"), 200).json
    expect(min(told.values()) >= 0, f"no number below 0 was due, it came {told}")
    expect_same("remaining, of total less used", told["remaining"], max(0, told["total"] - told["used"]))


@check("space.counts", "an upload takes its plain size from the space left")
def space_counts(kit):
    before = expect_answer(kit.client.get("/v1/account/space"), 200).json["remaining"]
    kit.upload(kit.fresh_content(5000))
    after = expect_answer(kit.client.get("/v1/account/space"), 200).json["remaining"]
    expect_same("what an upload of 5000 plain bytes takes from \"remaining\"", before - after, 5000)


@check("keys.public", "the public key is 91 bytes of a point of P-256")
def public_key(kit):
    told = expect_answer(kit.client.get("/v1/keys/public"), 200).json
    cipher.read_point(base64.b64decode(told["publicKey"]))


def user_keys(kit):
    public = expect_answer(kit.client.get("/v1/keys/public"), 200).json
    temporary = secrets.token_bytes(16)
    body = {"keyKind": 1, "version": public["version"],
            "temporaryKey": cipher.temporary_key_text(public["publicKey"], temporary)}
    entries = expect_answer(kit.client.post("/v1/keys/list", body), 200,
                            what="a temporary key of 16 bytes under the raw ECDH secret").json["keys"]
    return [(entry["keyType"], entry["keyUuid"], cipher.open_sealed(temporary, base64.b64decode(entry["encryptedKey"])))
            for entry in entries]


@check("keys.list", "the user's keys open under the temporary key, are of the right length and stay the same")
def key_list(kit):
    keys = user_keys(kit)
    expect_same("types of the keys, in order", [kind for kind, _, _ in keys], [1, 3])
    expect_same("bytes of the key of type 1", len(keys[0][2]), 16)
    expect(keys[0][2][0] != 0, "the first byte of the key of type 1 must not be zero")
    expect_same("bytes of the key of type 3", len(keys[1][2]), 32)
    expect(user_keys(kit) == keys, "the same keys were due when they are asked for again, others came")


@check("keys.refuses", "a temporary key that does not open and another version are refused")
def keys_refuse(kit):
    version = expect_answer(kit.client.get("/v1/keys/public"), 200).json["version"]
    body = {"keyKind": 1, "version": version, "temporaryKey": "AAAA:AAAA"}
    expect_answer(kit.client.post("/v1/keys/list", body), 400, "21004001")
    expect_answer(kit.client.post("/v1/keys/list", {**body, "version": version + "x"}), 409, "21004091")


@check("foreign.hidden", "another user's files are answered as if they did not exist")
def foreign(kit):
    if not kit.foreign:
        raise PassedOver("no second user is known; give --other-user and --other-password-file")
    other = kit.foreign[0]
    _, _, entry = kit.upload(kit.fresh_content(2000))
    for path in ("", "/download", "/content", "/thumbnail"):
        expect_answer(other.get(f"/v1/files/{entry['id']}{path}"), 404, "21004041")
    expect_answer(other.send("DELETE", f"/v1/files/{entry['id']}"), 404, "21004041")
    start = kit.start_body(kit.fresh_content(2000))
    expect_answer(other.post("/v1/uploads/start", start), 404, "21000401")
