"""Real pictures and videos go up with their two attached pictures, whatever befalls the pictures on the way, and the
small pictures that the cloud offers come down."""
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

import harness
from host_case import HostCase, main, sha256

SCRIPTS = harness.HERE.parents[1] / "scripts"
RECOVER = harness.HERE.parents[1] / "tools" / "recover" / "recover"


def padded(length):
    return length // 16 * 16 + 16


class Media(HostCase):
    def media(self):
        """The folder of the samples, which all cases of a run share."""
        shared = os.environ.get("ZELKOR_MEDIA")
        if not shared:
            subprocess.run([SCRIPTS / "sample_media", self.work / "media"], check=True)
        return pathlib.Path(shared) if shared else self.work / "media"

    def sample(self, *names):
        """The sample pictures and videos, or those that are named, stand in the sending root."""
        made = self.media()
        (self.up.root / "albums" / "it's 2024").mkdir(parents=True)
        for name in names or os.listdir(made):
            shutil.copy(made / name, self.up.root / "albums" / "it's 2024" / name)
        return self.up.root / "albums" / "it's 2024"

    def cached(self):
        """Name of each picture in the cache of the sending host, by kind."""
        return {kind: sorted(path.name for path in (self.up.state / "cache" / kind).rglob("*") if path.is_file())
                for kind in ("thumbnails", "lcd")}

    def attached(self):
        """The pictures as the store holds them, taken out and decrypted without any of our code."""
        self.cloud.stop()
        out = self.work / f"recovered-{time.monotonic_ns()}"
        self.execute(RECOVER, "--data", self.cloud.folder, "--user", "anna", "--out", out / "files",
                     "--pictures", out / "pictures")
        self.execute(SCRIPTS / "recovered_tree", self.up.root, out / "files", out / "pictures")
        return out / "pictures" / "albums" / "it's 2024"

    def starts(self):
        return [entry for entry in self.cloud.requests() if entry["path"] == "/v1/uploads/start"]

    def completions(self):
        return {entry["request"]["fileName"]: entry["request"] for entry in self.cloud.requests()
                if entry["path"] == "/v1/uploads/create-complete" and entry["status"] == 200}

    # UP-PIC-24, UP-PIC-25, UP-PIC-26, HOST-CACHE-01
    def test_pictures_and_videos_of_every_format_go_up_with_two_pictures_and_come_back(self):
        self.begin()
        album = self.sample()
        self.run_host(self.up, "put")
        self.assertEqual({"thumbnails": [], "lcd": []}, self.cached(), "nothing is left in the cache")
        sizes = {name: [int(size) for size in text.split()] for name, text in
                 self.up.query("SELECT localFileName, attachmentSize FROM T_cloudDriveData WHERE isFolder = 0")}
        done = self.completions()
        self.assertEqual(set(os.listdir(album)), set(done))
        stored = self.lengths()
        for name, sent in done.items():
            objects = sent["objectInfoList"][0]
            self.assertEqual([("small", sizes[name][0]), ("large", sizes[name][1])],
                             [(picture["name"], picture["length"]) for picture in objects["attachmentList"]], name)
            self.assertEqual(sum(padded(size) for size in sizes[name]), stored[objects["objectIds"][-1]],
                             f"{name}: both ride on the last object, each encrypted by itself")
        self.put_and_get_back()

        pictures = self.attached()
        for name, (small, large) in sizes.items():
            self.assertEqual([small, large], [(pictures / f"{name}.{kind}.jpg").stat().st_size
                                              for kind in ("small", "large")], name)
        generic = sha256(pictures / "noise.jpg.small.jpg")
        for name in ("noise.jpg.large.jpg", "noise.mp4.small.jpg", "noise.mp4.large.jpg"):
            self.assertEqual(generic, sha256(pictures / name), "what cannot be decoded has the generic picture")
        others = {path.name for path in pictures.iterdir() if sha256(path) == generic} - \
                 {f"noise.{kind}.{size}.jpg" for kind in ("jpg", "mp4") for size in ("small", "large")}
        self.assertEqual(set(), others, "and nothing else has it")
        for name in ("noise.jpg", "noise.mp4"):
            self.assertIn(f"{name}", self.lines_about_pictures(), "the log names the file")
        tiny = "smaller than its thumbnail.png"
        for kind in ("small", "large"):
            self.assertEqual(sha256(album / tiny), sha256(pictures / f"{tiny}.{kind}.jpg"), "the file stands for it")

    def lines_about_pictures(self):
        return "\n".join(line for line in self.up.log().splitlines() if "could not make the picture of" in line)

    def lengths(self):
        """Bytes of each stored object, by its id."""
        found = {}
        for entry in self.cloud.requests():
            if entry["method"] == "PUT" and entry["path"].startswith("/store/") and entry["status"] == 200:
                found[entry["path"].split("/")[-1]] = entry["bytesIn"]
        return found

    def put_until_refused(self, rule):
        """A put that is ended once the cloud has refused something by the rule."""
        known = len(self.refused())
        self.cloud.tell({**rule, "name": "refused"})
        process = self.spawn_host(self.up, "put")
        self.wait_until(lambda: len(self.refused()) > known, 120, "a refusal")
        process.send_signal(signal.SIGTERM)
        self.ends_with(process, 6, seconds=90)

    def refused(self):
        return [entry for entry in self.cloud.requests() if entry["scenario"] == "refused"]

    # UP-PIC-27, UP-PIC-28
    def test_pictures_are_kept_for_the_next_attempt_and_compared_with_the_plan(self):
        self.begin()
        self.sample("twelve megapixels.jpg")
        self.put_until_refused({"path": "/v1/uploads/address", "from": 3, "status": 503})
        first = {path: path.stat().st_mtime_ns for path in (self.up.state / "cache").rglob("*.jpg")}
        self.assertEqual(2, len(first), first)
        stored = set(self.lengths())
        self.assertTrue(stored, "some objects have gone up before")

        self.put_until_refused({"method": "PUT", "path": "/store/*", "status": 503})
        self.assertEqual(first, {path: path.stat().st_mtime_ns for path in first}, "both are reused")
        plans = [entry["request"]["attachmentSize"] for entry in self.starts()]
        self.assertEqual(1, len({tuple(plan) for plan in plans}), plans)
        asked = [entry["request"]["recordCursor"] for entry in self.starts()]
        self.assertNotEqual("", asked[-1], "the plan is gone on with")

        # Another small picture than the one that was planned with.
        small = next(path for path in first if "thumbnails" in path.parts)
        small.write_bytes(small.read_bytes() + b"and more")
        self.cloud.tell()
        begun = len(self.starts())
        self.run_host(self.up, "put")
        last = self.starts()[begun:]
        self.assertEqual("", last[0]["request"]["recordCursor"], "the earlier plan is given up")
        self.assertEqual(plans[0][0] + 8, last[0]["request"]["attachmentSize"][0])
        self.assertEqual(plans[0][1], last[0]["request"]["attachmentSize"][1])
        self.assertEqual({"thumbnails": [], "lcd": []}, self.cached())

    def pictures_of_a_put_with_helper(self, script):
        """What is attached to a photo when the library has only this beside it as its helper; empty for none."""
        library = self.work / "library"
        if not library.exists():
            shutil.copytree(harness.LIB, library, symlinks=True)
        helper = library / "zelkor-thumbnailer"
        helper.unlink(missing_ok=True)
        if script:
            helper.write_text("#!/bin/sh\n" + script)
            helper.chmod(0o700)
        self.run_host(self.up, "put", environment={"LD_LIBRARY_PATH": str(library)})

    # UP-PIC-29
    def test_photos_are_backed_up_with_a_generic_picture_when_the_helper_comes_to_grief(self):
        self.begin()
        album = self.sample("photo.jpg", "noise.jpg")
        reasons = {"": "is not installed beside the library", "kill -KILL $$": "was ended by signal 9",
                   "exec /no/such/program": "zelkor-thumbnailer"}
        for number, (script, reason) in enumerate(reasons.items()):
            name = f"photo {number}.jpg"
            shutil.copy(album / "photo.jpg", album / name)
            with open(album / name, "ab") as file:
                file.write(bytes([number]))
            self.pictures_of_a_put_with_helper(script)
            lines = [line for line in self.lines_about_pictures().splitlines() if name in line]
            self.assertEqual(2, len(lines), lines)
            for line in lines:
                self.assertIn(reason, line)
        self.put_and_get_back()
        pictures = self.attached()
        generic = sha256(pictures / "noise.jpg.small.jpg")
        for number in range(len(reasons)):
            for kind in ("small", "large"):
                self.assertEqual(generic, sha256(pictures / f"photo {number}.jpg.{kind}.jpg"))

    def asked_pictures(self):
        return [entry for entry in self.cloud.requests() if entry["path"].endswith("/thumbnail")]

    # HOST-PIC-06, HOST-PIC-07, HOST-PIC-08, HOST-PIC-09, HOST-PIC-10
    def test_the_small_pictures_of_the_cloud_come_down_without_the_files(self):
        self.begin()
        album = self.sample("photo.jpg", "photo.webp", "clip.mp4", "noise.jpg", "smaller than its thumbnail.png")
        (album / "notes.txt").write_text("no picture")
        self.run_host(self.up, "put")
        down = self.second()
        events = self.events(down, "thumbnails")
        names = ("photo.jpg", "photo.webp", "clip.mp4", "noise.jpg", "smaller than its thumbnail.png")
        for name in names:
            self.assertEqual("downloaded", self.entry(events, f"albums/it's 2024/{name}")["result"])
        folder = down.state / "thumbnails" / "albums" / "it's 2024"
        self.assertEqual({f"{name}.jpg" for name in names}, set(os.listdir(folder)))
        self.assertEqual([], os.listdir(down.root), "no file has come along")
        self.assertEqual([], down.query("SELECT fileId FROM T_task UNION SELECT fileId FROM T_cloudDriveData"))
        brought = {name: sha256(folder / f"{name}.jpg") for name in names}

        events = self.events(down, "thumbnails")
        self.assertEqual(5, events[-1]["results"]["unchanged"])
        self.assertEqual(5, len(self.asked_pictures()), "each was asked for once")

        # A new content, one of which the cloud has no picture, and one that is nowhere.
        shutil.copy(album / "photo.webp", album / "photo.jpg")
        self.run_host(self.up, "put")
        self.run_host(down, "get")
        events = self.events(down, "thumbnails", "albums")
        self.assertEqual("downloaded", self.entry(events, "albums/it's 2024/photo.jpg")["result"])
        self.assertEqual(4, events[-1]["results"]["unchanged"])
        self.assertNotEqual(brought["photo.jpg"], sha256(folder / "photo.jpg.jpg"))
        events = self.events(down, "thumbnails", "albums/it's 2024/notes.txt", "nowhere", expect=1)
        self.assertEqual("failed", self.entry(events, "albums/it's 2024/notes.txt")["result"])
        self.assertIn("the cloud has no nowhere", self.said)
        self.run_host(down, "get")
        rows = "SELECT fileId, fileStatus, localFileSha256 FROM T_cloudDriveData ORDER BY fileId"
        before = down.query(rows)
        (folder / "photo.webp.jpg").unlink()
        stray = down.state / "thumbnails" / "gone" / "old.jpg.jpg"
        stray.parent.mkdir()
        stray.write_bytes(b"picture of a file that is gone")
        self.cloud.tell({"path": "/v1/files/*/thumbnail", "nth": 1, "body": "<html>"})
        events = self.events(down, "thumbnails", expect=1)
        self.assertEqual("failed", self.entry(events, "albums/it's 2024/photo.webp")["result"])
        self.assertFalse(stray.parent.exists(), "pictures of files that are gone do not stay")
        self.assertFalse((folder / "photo.webp.jpg").exists(), "what is no picture is none")
        self.run_host(down, "thumbnails")
        self.assertEqual(brought["photo.webp"], sha256(folder / "photo.webp.jpg"))
        self.assertEqual(before, down.query(rows), "the rows of files that are here stay as they are")
        self.run_host(down, "verify")

        pictures = self.attached()
        for name in names[1:]:
            self.assertEqual(sha256(pictures / f"{name}.small.jpg"), brought[name], "it is what was attached")

    # HOST-PIC-11, HOST-PIC-12
    def test_pictures_that_are_stopped_timed_out_or_killed_are_brought_by_the_next_call(self):
        self.begin()
        source = self.work / "source"
        (source / "many").mkdir(parents=True)
        photo = self.media() / "photo.webp"
        for number in range(12):
            shutil.copy(photo, source / "many" / f"{number}.webp")
        self.cloud.stop()
        self.cloud.import_tree(source)
        self.cloud.start()
        slow = {"path": "/v1/files/*/thumbnail", "from": 4, "delay": 60}
        self.cloud.tell(slow)
        events = self.events(self.up, "thumbnails", "--timeout", "6", expect=5)
        come = events[-1]["results"].get("downloaded", 0)
        self.assertLessEqual(come, 3)
        self.assertEqual(12 - come, events[-1]["results"]["pending"])
        self.cloud.tell({**slow, "from": 3})
        process = self.spawn_host(self.up, "thumbnails")
        self.wait_until(lambda: len(self.brought()) >= come + 2, 120, "two more")
        process.kill()
        process.wait(30)
        self.assertNotEqual([], self.up.query("SELECT fileId FROM T_task WHERE direction = 3"), "tasks are left behind")
        self.cloud.tell()
        self.run_host(self.up, "get")
        self.assertEqual([], self.up.query("SELECT fileId FROM T_task"))
        self.assertEqual({"thumbnails": [], "lcd": []}, self.cached(), "they do not get among those that go up")
        events = self.events(self.up, "thumbnails")
        self.assertEqual(12, events[-1]["entries"])
        self.assertEqual(0, events[-1]["troubles"])
        self.assertEqual(12, len(self.brought()))

    def brought(self):
        """Small pictures that are more than a name yet."""
        return [path for path in (self.up.state / "thumbnails").rglob("*.jpg") if path.stat().st_size > 0]


if __name__ == "__main__":
    with tempfile.TemporaryDirectory(prefix="zelkor-media-") as folder:
        if len(sys.argv) == 1:
            subprocess.run([SCRIPTS / "sample_media", folder], check=True)
            os.environ["ZELKOR_MEDIA"] = folder
        main()
