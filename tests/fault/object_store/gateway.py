"""A one-node object gateway that speaks S3, on loopback, with its data in memory; from Debian's radosgw, ceph-mon, ceph-osd
and ceph-common. Nothing but its own processes is touched."""
import os
import pathlib
import socket
import subprocess
import time
import urllib.error
import urllib.request
import uuid

EMPTY = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"
ACCESS, SECRET = "testaccesskey0001", "testsecretkey0000000000000000000001"


def free_ports(count):
    sockets = [socket.socket() for _ in range(count)]
    for one in sockets:
        one.bind(("127.0.0.1", 0))
    ports = [one.getsockname()[1] for one in sockets]
    for one in sockets:
        one.close()
    return ports


CONFIGURATION = """[global]
fsid = {fsid}
mon host = [v2:127.0.0.1:{mon2},v1:127.0.0.1:{mon1}]
mon initial members = a
public addr = 127.0.0.1
cluster addr = 127.0.0.1
auth cluster required = none
auth service required = none
auth client required = none
run dir = {folder}/run
admin socket = {folder}/run/$name.asok
log file = {folder}/log/$name.log
pid file = {folder}/run/$name.pid
crash dir = {folder}/log
osd pool default size = 1
osd pool default min size = 1
osd pool default pg num = 8
osd pool default pgp num = 8
osd pool default pg autoscale mode = off
osd crush chooseleaf type = 0
mon allow pool size one = true
mon warn on pool no redundancy = false
mon data avail crit = 1
mon data avail warn = 2
mon max pg per osd = 1000
ms bind ipv6 = false
ms mon client mode = crc
[mon.a]
mon data = {folder}/mon
[osd]
osd data = {folder}/osd
osd objectstore = memstore
memstore device bytes = 2147483648
osd class update on start = false
osd crush update on start = false
osd max object name len = 256
[client.rgw]
ms mon client mode = crc
rgw frontends = beast endpoint=127.0.0.1:{port}
rgw data = {folder}/rgw
rgw thread pool size = 64
rgw enable usage log = false
rgw enable ops log = false
debug rgw = 0
"""


class Gateway:
    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        for name in ("mon", "osd", "run", "log", "rgw"):
            (self.folder / name).mkdir(parents=True)
        self.port, mon1, mon2 = free_ports(3)
        self.fsid = str(uuid.uuid4())
        self.environment = {**os.environ, "CEPH_CONF": str(self.folder / "ceph.conf")}
        self.processes = {}
        (self.folder / "ceph.conf").write_text(
            CONFIGURATION.format(folder=self.folder, fsid=self.fsid, port=self.port, mon1=mon1, mon2=mon2))
        self.monitors = f"[v2:127.0.0.1:{mon2},v1:127.0.0.1:{mon1}]"
        self.endpoint = f"http://127.0.0.1:{self.port}"

    def run(self, *command):
        with open(self.folder / "log" / "commands", "ab") as log:
            subprocess.run([str(part) for part in command], env=self.environment, check=True, timeout=120, stdout=log,
                           stderr=log)

    def spawn(self, name, *command):
        with open(self.folder / "log" / f"{name}.out", "ab") as log:
            self.processes[name] = subprocess.Popen([str(part) for part in command], env=self.environment, stdout=log,
                                                    stderr=log)

    def start(self):
        conf = self.folder / "ceph.conf"
        self.run("monmaptool", "--create", "--fsid", self.fsid, "--addv", "a", self.monitors, self.folder / "monmap")
        self.run("ceph-mon", "--mkfs", "-i", "a", "--monmap", self.folder / "monmap", "-c", conf)
        self.spawn("mon", "ceph-mon", "-f", "-i", "a", "-c", conf)
        self.run("ceph", "--connect-timeout", "60", "osd", "new", self.fsid, "0")
        self.run("ceph", "osd", "crush", "add", "osd.0", "1.0", "root=default", "host=h")
        self.run("ceph-osd", "-i", "0", "--mkfs", "--osd-uuid", self.fsid, "-c", conf)
        self.spawn("osd", "ceph-osd", "-f", "-i", "0", "-c", conf)
        self.start_front()
        self.run("radosgw-admin", "-c", conf, "-n", "client.rgw", "user", "create", "--uid=t", "--display-name=t",
                 f"--access-key={ACCESS}", f"--secret={SECRET}")
        self.send("PUT", "/objects")
        return self

    def start_front(self):
        self.spawn("rgw", "radosgw", "-f", "-n", "client.rgw", "-c", self.folder / "ceph.conf")
        for _ in range(600):
            try:
                urllib.request.urlopen(self.endpoint, timeout=5).close()
                return
            except urllib.error.HTTPError:
                return
            except OSError:
                time.sleep(0.2)
        raise RuntimeError(f"the gateway did not come up; see {self.folder}/log")

    def stop_front(self):
        self.processes["rgw"].kill()
        self.processes["rgw"].wait(60)

    def stop(self):
        for process in self.processes.values():
            if process.poll() is None:
                process.kill()
                process.wait(60)

    def send(self, method, path):
        """A signed request without a body; its answer's text."""
        command = ["curl", "--silent", "--fail", "--aws-sigv4", "aws:amz:us-east-1:s3", "--user", f"{ACCESS}:{SECRET}",
                   "--request", method, "--header", f"x-amz-content-sha256: {EMPTY}", self.endpoint + path]
        return subprocess.run(command, check=True, timeout=60, stdout=subprocess.PIPE).stdout.decode()

