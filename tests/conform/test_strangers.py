"""zelkor-conform against what is no zelkor-cloud, against one that goes away, and what a run leaves in an account."""
import http.server
import json
import signal
import socket
import ssl
import subprocess
import threading
import time
import unittest

from cloud_case import CloudCase, harness
from client import Client, NoAnswer

HEAD = b"HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: "


class PlainWeb(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass


class Strangers(harness.Case):
    """Servers of other kinds on free ports."""

    def setUp(self):
        super().setUp()
        self.password = self.work / "password"
        self.password.write_text("secret\n")

    def serve(self, context=None):
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), PlainWeb)
        if context:
            server.socket = context.wrap_socket(server.socket, server_side=True)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        return server.server_address[1]

    def say(self, speak):
        """A port on which each connection is given to `speak` once something came."""
        listener = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(listener.close)

        def one(connection):
            with connection:
                try:
                    connection.recv(65536)
                    speak(connection)
                except OSError:
                    pass

        def accept():
            while True:
                try:
                    connection, _ = listener.accept()
                except OSError:
                    return
                threading.Thread(target=one, args=(connection,), daemon=True).start()

        threading.Thread(target=accept, daemon=True).start()
        return listener.getsockname()[1]

    def assert_not_begun(self, url, due, *options):
        done = self.execute(harness.BIN / "zelkor-conform", "--url", url, "--user", "anna", "--password-file",
                            self.password, *options, expect=2)
        self.assertRegex(done.stdout, r"\Azelkor-conform: the run could not begin: .*" + due + r".*\n\Z", url)

    # CLOUD-CONFORM-05
    def test_what_is_no_cloud_is_told_in_one_line(self):
        closed = socket.create_server(("127.0.0.1", 0))
        port = closed.getsockname()[1]
        closed.close()
        self.assert_not_begun(f"http://127.0.0.1:{port}", "Connection refused")
        self.assert_not_begun(f"http://127.0.0.1:{self.serve()}", "answered 501")
        self.assert_not_begun(f"http://127.0.0.1:{self.say(lambda c: c.sendall(b'SSH-2.0-x'))}", "SSH-2.0-x")
        cut = self.say(lambda c: c.sendall(HEAD + b"100\r\n\r\n{"))
        self.assert_not_begun(f"http://127.0.0.1:{cut}", "IncompleteRead")
        for body in (b"{}", b"[]", b"x"):
            odd = self.say(lambda c, body=body: c.sendall(HEAD + b"%d\r\n\r\n" % len(body) + body))
            self.assert_not_begun(f"http://127.0.0.1:{odd}", "sign-in of anna")

    # CLOUD-CONFORM-05
    def test_what_is_no_address_is_told_with_what_is_due(self):
        for url in ("127.0.0.1:80", "ftp://127.0.0.1", "http://127.0.0.1:port", "http://", "", "http://127.0.0.1/below"):
            self.assert_not_begun(url, "give http://HOST:PORT or https://HOST:PORT")

    # CLOUD-CONFORM-05
    def test_a_certificate_that_nobody_knows_is_refused_unless_it_is_given(self):
        key, certificate = self.work / "key.pem", self.work / "certificate.pem"
        self.execute("openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                     "-days", "2", "-subj", "/CN=localhost", "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", key,
                     "-out", certificate)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(certificate, key)
        url = f"https://127.0.0.1:{self.serve(context)}"
        self.assert_not_begun(url, "CERTIFICATE_VERIFY_FAILED")
        self.assert_not_begun(url, "answered 501", "--ca-file", certificate)

    # CLOUD-CONFORM-05
    def test_a_trickle_does_not_hold_a_run_for_ever(self):
        def trickle(connection):
            connection.sendall(HEAD + b"100000\r\n\r\n")
            for _ in range(600):
                connection.sendall(b" ")
                time.sleep(0.1)

        begin = time.monotonic()
        with self.assertRaisesRegex(NoAnswer, "within 1 s"):
            Client(f"http://127.0.0.1:{self.say(trickle)}", seconds=1).get("/health")
        self.assertLess(time.monotonic() - begin, 30)


class Run(CloudCase):
    """Runs against a zelkor-cloud that is changed by its scenario."""

    def command(self, *options):
        return [str(part) for part in (harness.BIN / "zelkor-conform", "--url", self.cloud.url, "--user", "anna",
                                       "--password-file", self.cloud.password, *options)]

    def live_names(self):
        return [entry["fileName"] for entry in self.anna.client.get("/v1/files").json["items"]]

    def sign_ins(self):
        with self.rows() as rows:
            return rows.execute("SELECT hash FROM tokens ORDER BY hash").fetchall()

    # CLOUD-CONFORM-06
    def test_a_run_leaves_no_file_and_no_sign_in_behind(self):
        before = self.sign_ins()
        options = ("--other-user", "eve", "--only", "login", "--only", "foreign", "--only", "exist", "--only", "file")
        self.assertIn("0 failed, 0 passed over", self.execute(*self.command(*options)).stdout)
        self.assertEqual([], self.live_names())
        self.assertEqual(before, self.sign_ins())

    # CLOUD-CONFORM-06
    def test_a_run_that_is_broken_off_clears_away_as_well(self):
        before = self.sign_ins()
        self.write_scenario(rules=[{"path": "/v1/files/empty", "delay": 5}])
        run = self.spawn(*self.command("--only", "names.forms"), stdout=subprocess.PIPE)
        self.wait_until(self.live_names, what="the folder of the run")
        run.send_signal(signal.SIGINT)
        said = run.communicate(timeout=60)[0]
        self.assertEqual(2, run.returncode, said)
        self.assertRegex(said, r"\Azelkor-conform: broken off\n\Z")
        self.assertEqual([], self.live_names())
        self.assertEqual(before, self.sign_ins())

    # CLOUD-CONFORM-06
    def test_a_folder_whose_making_was_not_answered_is_found_and_cleared_away(self):
        self.write_scenario(rules=[{"path": "/v1/folders", "nth": 1, "drop": True, "afterWork": True}])
        self.execute(*self.command("--only", "complete.entry"), expect=1)
        self.assertEqual([], self.live_names())

    # CLOUD-CONFORM-06
    def test_what_cannot_be_cleared_away_is_told_by_its_name(self):
        self.write_scenario(rules=[{"method": "DELETE", "status": 503}])
        said = self.execute(*self.command("--only", "names.forms")).stdout
        self.assertRegex(said, rf'the folder "{self.live_names()[0]}" of this run was not deleted; delete it: 503')

    # CLOUD-CONFORM-07
    def test_of_a_cloud_that_lacks_routes_each_is_told_and_the_others_are_held(self):
        self.write_scenario(rules=[{"path": path, "status": 404, "errorCode": "21004041"}
                                   for path in ("/v1/keys/*", "/v1/changes")])
        done = self.execute(*self.command("--only", "keys", "--only", "changes", "--only", "space", "--json"), expect=None)
        self.assertEqual(1, done.returncode)
        rows = {row["check"]: row for row in json.loads(done.stdout)["checks"]}
        for name, row in rows.items():
            self.assertEqual("passed" if name.startswith("space") else "failed", row["verdict"], row)
            if row["verdict"] == "failed":
                self.assertIn("404", row["reason"])

    # CLOUD-CONFORM-07
    def test_a_cloud_that_goes_away_is_told_and_nobody_waits_for_it(self):
        self.write_scenario(rules=[{"from": 12, "drop": True}])
        done = self.execute(*self.command("--json"), expect=None)
        self.assertEqual(1, done.returncode)
        document, _ = json.JSONDecoder().raw_decode(done.stdout[done.stdout.index("{"):])
        reasons = [row["reason"] for row in document["checks"]]
        self.assertGreater(reasons.count("not tried, since the cloud does not answer any more"), 50)
        self.assertGreater(document["passed"], 0)


if __name__ == "__main__":
    unittest.main(verbosity=2)
