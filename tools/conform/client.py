"""One request at a time over HTTP, exactly as told: no retries, no redirects, no headers that nobody asked for."""
import contextlib
import http.client
import json
import re
import socket
import ssl
import threading
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


class NoAnswer(OSError):
    """What came is no whole answer of HTTP, or did not come in time."""


@contextlib.contextmanager
def time_limit(connection, seconds):
    """Ends the connection when the whole exchange takes longer: a limit for each read alone never ends a trickle."""
    late = threading.Event()

    def end():
        late.set()
        with contextlib.suppress(OSError, AttributeError):
            connection.sock.shutdown(socket.SHUT_RDWR)

    timer = threading.Timer(seconds, end)
    timer.daemon = True
    timer.start()
    try:
        yield
    except (OSError, http.client.HTTPException, ValueError, AttributeError) as error:
        if late.is_set() or isinstance(error, TimeoutError):
            raise NoAnswer(f"no whole answer within {seconds:g} s") from error
        if isinstance(error, http.client.HTTPException):
            raise NoAnswer(f"{type(error).__name__} {error}".rstrip()) from error
        raise
    finally:
        timer.cancel()


def read_address(url):
    """The parts of a cloud's address; ValueError with what is due when it is none."""
    try:
        parts = urllib.parse.urlsplit(url)
        sound = parts.scheme in ("http", "https") and parts.hostname and parts.port != 0
    except ValueError:  # a port that is no number
        sound = False
    if not sound or parts.path not in ("", "/") or parts.query or parts.fragment:
        raise ValueError(f"{url!r} is no address of a cloud; give http://HOST:PORT or https://HOST:PORT")
    return parts


class Client:
    """What one signed-in user says. `listener` hears of every exchange."""

    def __init__(self, url, token="", seconds=60, ca_file=None, listener=None):
        parts = read_address(url)
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
            with time_limit(connection, self.seconds):
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
        except OSError as error:
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
    for name in ("accessToken", "refreshToken", "rootFileId"):
        if not isinstance(answer.json.get(name), str) or not answer.json[name]:
            raise PermissionError(f"the answer to the sign-in of {user} has no \"{name}\": {answer}")
    client.token = answer.json["accessToken"]
    return client, answer.json
