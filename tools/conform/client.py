"""One request at a time over HTTP, exactly as told: no retries, no redirects, no headers that nobody asked for."""
import http.client
import json
import re
import ssl
import time
import urllib.parse


TOLD_HEADERS = ("Range", "Content-Range")
SECRET = re.compile(r'"(password|accessToken|refreshToken)":\s*"[^"]*"')
LONGEST_TOLD = 600


def told(body):
    """A body for people: JSON without secrets and cut short, of anything else its length."""
    if body is None or body == b"":
        return ""
    if isinstance(body, (dict, list)):
        text = json.dumps(body)
    else:
        try:
            text = bytes(body).decode("utf-8").rstrip("\n")
        except UnicodeDecodeError:
            return f"({len(body)} bytes)"
        if not text.isprintable():
            return f"({len(body)} bytes)"
    text = SECRET.sub(r'"\1": "(hidden)"', text)
    return text if len(text) <= LONGEST_TOLD else text[:LONGEST_TOLD] + "..."


class Answer:
    def __init__(self, status, headers, body, seconds, asked=""):
        self.status, self.headers, self.body, self.seconds, self.asked = status, headers, body, seconds, asked
        try:
            self.json = json.loads(body.decode("utf-8")) if self.media == "application/json" else None
        except (UnicodeDecodeError, ValueError):
            self.json = None

    @property
    def media(self):
        return self.header("Content-Type").partition(";")[0]

    def header(self, name):
        return next((value for key, value in self.headers.items() if key.lower() == name.lower()), "")

    @property
    def code(self):
        return self.json.get("errorCode") if isinstance(self.json, dict) else None

    def __repr__(self):
        return f"{self.status} {told(self.body)}".rstrip()


class Client:
    """What one signed-in user says. `listener` hears of every exchange."""

    def __init__(self, url, token="", seconds=60, ca_file=None, listener=None):
        parts = urllib.parse.urlsplit(url)
        self.url, self.token, self.seconds, self.listener = url.rstrip("/"), token, seconds, listener
        self.host, self.secure = parts.netloc, parts.scheme == "https"
        self.context = ssl.create_default_context(cafile=ca_file) if self.secure else None

    def copy(self, token):
        other = Client(self.url, token, self.seconds, None, self.listener)
        other.context = self.context
        return other

    def connect(self, host):
        if self.secure:
            return http.client.HTTPSConnection(host, timeout=self.seconds, context=self.context)
        return http.client.HTTPConnection(host, timeout=self.seconds)

    def send(self, method, target, body=None, headers=None, token=None):
        """`target`: a path of the cloud or a whole address. `token` "": none. A dictionary goes as JSON."""
        headers = dict(headers or {})
        if isinstance(body, (dict, list)):
            body = json.dumps(body).encode()
            headers.setdefault("Content-Type", "application/json; charset=UTF-8")
        token = self.token if token is None else token
        if token:
            headers["Authorization"] = "Bearer " + token
        parts = urllib.parse.urlsplit(target)
        connection = self.connect(parts.netloc or self.host)
        special = "".join(f"{name}: {headers[name]} " for name in TOLD_HEADERS if name in headers)
        begin, asked = time.monotonic(), f"{method} {target} {special}{told(body)}".rstrip()
        try:
            path = urllib.parse.urlunsplit(("", "", parts.path, parts.query, ""))
            connection.putrequest(method, path, skip_accept_encoding=True)
            for name, value in headers.items():
                connection.putheader(name, value)
            if body is not None or method in ("POST", "PUT", "PATCH"):
                if not any(name.lower() == "content-length" for name in headers):
                    connection.putheader("Content-Length", str(len(body or b"")))
            try:
                connection.endheaders(body)
            except (BrokenPipeError, ConnectionResetError):
                if connection.sock is None:
                    raise
                # The other side may have answered before it had read all.
            response = connection.getresponse()
            content = response.read()
            answer = Answer(response.status, dict(response.getheaders()), content, time.monotonic() - begin, asked)
        except (OSError, http.client.HTTPException) as error:
            error.asked = asked
            raise
        finally:
            connection.close()
        if self.listener:
            self.listener(method, target, body, answer)
        return answer

    def get(self, target, **keywords):
        return self.send("GET", target, **keywords)

    def post(self, target, body=None, **keywords):
        return self.send("POST", target, body, **keywords)


def sign_in(url, user, password, **options):
    """A client of this user, and the answer of the sign-in."""
    client = Client(url, **options)
    answer = client.post("/v1/account/login", {"user": user, "password": password})
    if answer.status != 200 or not isinstance(answer.json, dict):
        raise PermissionError(f"the sign-in of {user} was answered {answer}")
    client.token = answer.json.get("accessToken", "")
    return client, answer.json
