"""The mounted drive: ordinary programs read, write, rename and remove on it, and nothing is lost on either side."""
import mmap
import os
import shutil
import signal
import subprocess
import time

from host_case import MIB, HostCase, main, sha256, tree

STORE = {"method": "GET", "path": "/store/*"}


def words(host, *more):
    return [str(part) for part in host.command("mount", *more)]


class MountCase(HostCase):
    """A cloud with files in it, and a mount of it."""

    def begin_mounted(self, files, *options):
        self.mounts = []
        self.addCleanup(self.unmount_all)
        up = self.begin()
        for name, content in files.items():
            path = up.root / name
            if isinstance(content, int):
                self.make_file(path, content, seed=name)
            else:
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_bytes(content)
        if files:
            self.run_host(up, "put")
        self.down = self.second("down")
        return self.mount(self.down, *options)

    def mount(self, host, *options, place=None, environment=None):
        if place is None:
            place = self.work / f"mount-{host.state.parent.name}"
            place.mkdir()
        self.mounts.append(place)
        process = self.spawn_host(host, "mount", place, "--every", "1", *options, environment=environment)
        self.wait_until(lambda: "mounted on" in self.said_by(process) or process.poll() is not None, 60, "the mount")
        self.assertTrue(os.path.ismount(place), self.said_by(process))
        self.mounted = process
        return place

    def unmount(self, place, process, code=0):
        self.execute("fusermount3", "-u", place)
        self.ends_with(process, code, 120)

    def unmount_all(self):
        for place in self.mounts:
            subprocess.run(["fusermount3", "-u", "-z", "-q", str(place)], stderr=subprocess.DEVNULL)

    def slow_store(self, rate):
        self.cloud.tell({**STORE, "rate": rate})

    def address_requests(self):
        return [entry for entry in self.cloud.requests() if entry["path"].endswith("/download")]

    def second_host_has(self, expected):
        """What a further host gets, once everything has arrived in the cloud."""
        back = self.second(f"back{len(self.processes)}")
        self.run_host(back, "get")
        self.assertEqual(expected, {os.fsdecode(name): value for name, value in tree(back.root).items()})
        return back

    def left_over(self, host):
        """What stands in the staging tree, apart from what was removed in the cloud."""
        staging = host.root.parent / f".{host.root.name}.zelkor-staging"
        return [path for path in staging.rglob("*") if path.is_file() and ".removed" not in path.parts]


class Reading(MountCase):
    # HOST-MOUNT-01
    def test_ordinary_programs_read_placeholders(self):
        picture = subprocess.run(["vips", "black", "/dev/stdout[.png]", "40", "30"], capture_output=True)
        place = self.work / "made.png"
        if picture.returncode != 0 or not picture.stdout.startswith(b"\x89PNG"):
            self.execute("vips", "black", place, 40, 30)
        else:
            place.write_bytes(picture.stdout)
        mount = self.begin_mounted({"a/small.txt": b"a needle in here\n", "a/b/large.bin": 3 * MIB + 17,
                                    "odd name 'x'.txt": b"odd\n", "empty": b"", "picture.png": place.read_bytes()})
        names = self.execute("find", mount, "-type", "f", "-printf", "%P %s\n").stdout.splitlines()
        self.assertEqual(sorted(f"{path.relative_to(self.up.root)} {path.stat().st_size}"
                                for path in self.up.root.rglob("*") if path.is_file()), sorted(names))
        self.assertEqual([], self.address_requests(), "looking at names brings nothing")
        self.assertIn("40x30", self.execute("vipsheader", mount / "picture.png").stdout)
        self.assertIn("needle", self.execute("grep", "-r", "needle", mount).stdout)
        self.assertEqual(sha256(self.up.root / "a/b/large.bin"),
                         self.execute("sha256sum", mount / "a/b/large.bin").stdout.split()[0])
        self.execute("cp", "-a", mount, self.work / "copy")
        self.assert_same_tree(self.up.root, self.work / "copy")
        self.assertEqual(int((mount / "a/small.txt").stat().st_mtime),
                         int((self.work / "copy/a/small.txt").stat().st_mtime))
        with open(mount / "a/b/large.bin", "rb") as file, mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ) as seen:
            self.assertEqual((self.up.root / "a/b/large.bin").read_bytes(), seen[:])
        self.unmount(mount, self.mounted)
        os.remove(self.up.root / "empty")  # there is nothing to bring of it
        self.assert_same_tree(self.up.root, self.down.root)

    # HOST-MOUNT-02, HOST-MOUNT-05, HOST-MOUNT-07
    def test_ranges_arrive_early_two_readers_share_a_fetch_and_one_of_them_is_interrupted(self):
        mount = self.begin_mounted({"large.bin": 4 * MIB})
        self.slow_store(400 * 1024)
        expected = (self.up.root / "large.bin").read_bytes()
        begun = time.monotonic()
        impatient = self.spawn("cat", mount / "large.bin")
        with open(mount / "large.bin", "rb", buffering=0) as file:
            self.assertEqual(expected[:1000], file.read(1000))
            first = time.monotonic() - begun
            self.assertFalse((self.down.root / "large.bin").exists(), "the rest is still on its way")
            impatient.send_signal(signal.SIGINT)
            self.assertEqual(-signal.SIGINT, impatient.wait(20), "a reader that waits can be interrupted")
            self.assertEqual(sha256(self.up.root / "large.bin"), sha256(mount / "large.bin"))
        whole = time.monotonic() - begun
        self.assertLess(first, whole / 2)
        self.assertEqual(1, len(self.address_requests()), "two readers share one fetch")
        self.assertEqual([], self.left_over(self.down))

    # HOST-MOUNT-06
    def test_a_fetch_that_fails_is_an_input_output_error_with_a_reason(self):
        mount = self.begin_mounted({"file.bin": 300 * 1024, "other.txt": b"fine\n"}, "--attempts", "1")
        self.cloud.tell({**STORE, "status": 403, "description": "not today"})
        with self.assertRaises(OSError) as raised:
            (mount / "file.bin").read_bytes()
        self.assertEqual(5, raised.exception.errno)
        self.assertRegex(self.down.log(), r"Mount.*Read.*file\.bin: ")
        self.assertIn("file.bin", [trouble["path"] for trouble in self.status(self.down)["troubles"]])
        self.assertFalse((self.down.root / "file.bin").exists())
        self.cloud.tell()
        self.assertEqual((self.up.root / "file.bin").read_bytes(), (mount / "file.bin").read_bytes())
        self.assertEqual([], self.status(self.down)["troubles"])

    # HOST-MOUNT-03, HOST-MOUNT-06
    def test_a_content_that_does_not_prove_is_never_read_to_its_end(self):
        mount = self.begin_mounted({"file.bin": 700 * 1024}, "--attempts", "1")
        altered = "0" * 64
        self.cloud.tell({"method": "GET", "path": "/v1/files", "set": {"items.0.sha256": altered}})
        self.unmount(mount, self.mounted)
        mount = self.mount(self.down, "--attempts", "1", place=mount)
        with self.assertRaises(OSError) as raised:
            (mount / "file.bin").read_bytes()
        self.assertEqual(5, raised.exception.errno)
        self.assertFalse((self.down.root / "file.bin").exists())

    # HOST-MOUNT-07
    def test_a_kill_and_a_signal_on_the_way_leave_a_clean_state(self):
        mount = self.begin_mounted({"large.bin": 3 * MIB})
        self.slow_store(100 * 1024)
        for how in (signal.SIGKILL, signal.SIGTERM):
            reader = self.spawn("cat", mount / "large.bin")
            self.wait_until(lambda: self.left_over(self.down), 30, "the first bytes")
            self.mounted.send_signal(how)
            self.assertNotEqual(0, reader.wait(60), "the reader learns that there will be no more")
            self.ends_with(self.mounted, 0 if how == signal.SIGTERM else -how, 60)
            self.assertFalse((self.down.root / "large.bin").exists())
            mount = self.mount(self.down, place=mount)
            self.assertEqual([], self.left_over(self.down))
        self.cloud.tell()
        self.assertEqual(sha256(self.up.root / "large.bin"), sha256(mount / "large.bin"))
        self.unmount(mount, self.mounted)

    # HOST-MOUNT-07
    def test_who_reads_while_it_is_unmounted_reads_to_the_end(self):
        mount = self.begin_mounted({"large.bin": 2 * MIB})
        self.slow_store(300 * 1024)
        with open(self.work / "copy", "wb") as copy:
            reader = self.spawn("cat", mount / "large.bin", stdout=copy)
            self.wait_until(lambda: self.left_over(self.down), 30, "the first bytes")
            self.assertIn("busy", self.execute("fusermount3", "-u", mount, expect=1).stdout)
            self.execute("fusermount3", "-u", "-z", mount)
            self.assertFalse(os.path.ismount(mount))
            self.assertEqual(0, reader.wait(60))
        self.ends_with(self.mounted, 0, 60)
        self.assertEqual(sha256(self.up.root / "large.bin"), sha256(self.work / "copy"))
        self.assertEqual([], self.left_over(self.down))

    # HOST-MOUNT-09
    def test_indexers_and_thumbnailers_bring_nothing(self):
        mount = self.begin_mounted({"one.txt": b"one\n", "two.txt": b"two\n"})
        indexer = self.work / "tumblerd"
        shutil.copy(shutil.which("cat"), indexer)
        self.assertIn("Permission denied", self.execute(indexer, mount / "one.txt", expect=1).stdout)
        self.assertIn("Permission denied", self.execute("chrt", "--idle", "0", "cat", mount / "one.txt", expect=1).stdout)
        self.assertEqual([], self.address_requests())
        self.assertEqual("one\n", (mount / "one.txt").read_text())
        self.assertEqual("one\n", self.execute(indexer, mount / "one.txt").stdout)

    # HOST-MOUNT-07
    def test_a_machine_without_the_device_is_told_so(self):
        self.begin_mounted({})
        self.unmount(self.mounts[0], self.mounted)
        line = words(self.down, self.mounts[0])
        done = self.execute("unshare", "-m", "sh", "-c", 'mount -t tmpfs none /dev && exec "$@"', "sh", *line, expect=7)
        self.assertIn("/dev/fuse", done.stdout)


class Writing(MountCase):
    # HOST-MOUNT-10, HOST-MOUNT-11, HOST-MOUNT-12, HOST-MOUNT-13
    def test_what_is_done_here_arrives_at_a_second_host(self):
        mount = self.begin_mounted({"edit.txt": b"0123456789", "append.txt": b"one\n", "cut.bin": 500 * 1024,
                                    "gone.txt": b"gone", "old/deep.txt": b"deep", "save.txt": b"earlier",
                                    "gone folder/x": b"x", "swap1": b"first", "swap2": b"second"})
        with open(mount / "edit.txt", "r+b") as file:
            file.seek(3)
            file.write(b"XYZ")
            file.flush()
            os.fsync(file.fileno())
            self.assertEqual(b"012XYZ6789", (self.down.root / "edit.txt").read_bytes())
        with open(mount / "append.txt", "ab") as file:
            file.write(b"two\n")
        os.truncate(mount / "cut.bin", 1000)
        os.remove(mount / "gone.txt")
        shutil.rmtree(mount / "gone folder")
        os.rename(mount / "old", mount / "new")
        (mount / "save.tmp").write_bytes(b"saved")
        os.replace(mount / "save.tmp", mount / "save.txt")
        os.rename(mount / "swap1", mount / "swap")
        os.rename(mount / "swap2", mount / "swap1")
        os.rename(mount / "swap", mount / "swap2")
        os.makedirs(mount / "made/deeper")
        (mount / "made/deeper/empty").write_bytes(b"")
        self.execute("cp", "-a", self.up.root, mount / "made/copy")
        with self.assertRaises(FileExistsError):
            os.open(mount / "edit.txt", os.O_CREAT | os.O_EXCL)
        with self.assertRaises(PermissionError):
            os.symlink("x", mount / "link")
        expected = tree(mount)
        self.unmount(mount, self.mounted)
        self.assertNotIn("not in the cloud yet", self.said_by(self.mounted))
        self.second_host_has({os.fsdecode(name): value for name, value in expected.items()})
        self.assertEqual([], self.left_over(self.down))
        saved = [entry for entry in self.cloud.requests() if entry["method"] == "DELETE"]
        self.assertEqual(2, len(saved), "a file and a folder were removed, and nothing that was only saved")

    # HOST-MOUNT-10
    def test_a_version_store_works_on_the_mount(self):
        mount = self.begin_mounted({})
        environment = {"GIT_AUTHOR_NAME": "a", "GIT_AUTHOR_EMAIL": "a@b", "GIT_COMMITTER_NAME": "a",
                       "GIT_COMMITTER_EMAIL": "a@b", "GIT_CONFIG_GLOBAL": "/dev/null"}

        def git(*more):
            return self.execute("git", "-C", mount / "project", *more, environment=environment).stdout

        (mount / "project").mkdir()
        git("init", "-q")
        (mount / "project/file").write_text("one\n")
        git("add", "file")
        git("commit", "-q", "-m", "one")
        (mount / "project/file").write_text("two\n")
        git("commit", "-q", "-a", "-m", "two")
        self.assertEqual("one\ntwo\n", git("log", "--reverse", "--format=%s"))
        self.assertEqual("", git("status", "--porcelain"))
        git("fsck", "--strict")

    # HOST-MOUNT-14, HOST-MOUNT-15, HOST-MOUNT-16
    def test_two_mounts_follow_each_other_and_lose_nothing(self):
        one = self.begin_mounted({"both.txt": b"earlier\n", "moves.txt": b"moves\n", "goes.txt": b"goes\n"})
        other = self.mount(self.second("other"))
        for mount in (one, other):
            self.assertEqual("earlier\n", (mount / "both.txt").read_text())
        with open(one / "both.txt", "a") as mine, open(other / "both.txt", "a") as theirs:
            mine.write("mine\n")
            theirs.write("theirs, longer\n")
        os.rename(one / "moves.txt", one / "moved.txt")
        os.remove(one / "goes.txt")
        (one / "fresh.txt").write_text("fresh\n")

        def settled():
            names = sorted(os.listdir(one))
            return names == sorted(os.listdir(other)) and len(names) == 4 and "fresh.txt" in names
        self.wait_until(settled, 60, "both mounts to show the same")
        self.assertFalse((other / "goes.txt").exists())
        self.assertEqual("moves\n", (other / "moved.txt").read_text())
        self.assertEqual("fresh\n", (other / "fresh.txt").read_text())
        copies = [name for name in os.listdir(one) if name.startswith("both")]
        self.assertEqual(2, len(copies), copies)
        for mount in (one, other):
            self.assertEqual({"earlier\nmine\n", "earlier\ntheirs, longer\n"},
                             {(mount / name).read_text() for name in copies})

    # HOST-MOUNT-19
    def test_a_cursor_that_the_cloud_does_not_know_any_more_is_replaced_by_a_list(self):
        mount = self.begin_mounted({"here.txt": b"here"})
        self.cloud.tell({"method": "GET", "path": "/v1/changes", "status": 400, "errorCode": "21004001"})
        other = self.second("other")
        (other.root / "later.txt").write_text("later\n")
        self.run_host(other, "put")
        self.wait_until(lambda: "later.txt" in os.listdir(mount), 60, "the file from elsewhere")
        self.assertEqual("later\n", (mount / "later.txt").read_text())

    # HOST-MOUNT-14
    def test_a_file_that_was_made_anew_elsewhere_is_so_here_and_at_the_next_mount(self):
        mount = self.begin_mounted({"now.txt": b"now", "later.txt": b"later"})
        process = self.mounted
        for name in ("now.txt", "later.txt"):
            (mount / name).read_bytes()
        (self.up.root / "now.txt").write_bytes(b"")
        self.run_host(self.up, "put")
        self.wait_until(lambda: (mount / "now.txt").stat().st_size == 0, 60, "the emptied file")
        self.unmount(mount, process)
        (self.up.root / "later.txt").write_bytes(b"")
        self.run_host(self.up, "put")
        again = self.mount(self.down, place=mount)
        self.assertEqual(["later.txt", "now.txt"], sorted(os.listdir(again)))
        self.assertEqual(0, (again / "later.txt").stat().st_size)

    # HOST-MOUNT-18
    def test_a_kill_loses_nothing_that_was_done(self):
        mount = self.begin_mounted({"gone.txt": b"gone", "name.txt": b"name", "edit.txt": b"edit"})
        (mount / "edit.txt").write_bytes(b"edited")
        os.rename(mount / "name.txt", mount / "renamed.txt")
        os.remove(mount / "gone.txt")
        (mount / "new.txt").write_bytes(b"new")
        expected = {name: None for name in sorted(os.listdir(mount))}
        self.mounted.kill()
        self.mounted.wait(30)
        mount = self.mount(self.down, place=mount)
        self.assertEqual(list(expected), sorted(os.listdir(mount)))
        expected = {os.fsdecode(name): value for name, value in tree(mount).items()}
        self.unmount(mount, self.mounted)
        self.second_host_has(expected)


class Evicting(MountCase):
    def evict(self, *more, expect=0):
        return self.execute(*self.down.command("evict", *more), expect=expect).stdout

    # HOST-EVICT-01, HOST-EVICT-02
    def test_only_what_the_cloud_has_is_let_go(self):
        mount = self.begin_mounted({"a/one.bin": 400 * 1024, "a/two.txt": b"two\n"})
        want = sha256(self.up.root / "a/one.bin")
        self.assertEqual(want, sha256(mount / "a/one.bin"))
        self.assertEqual("two\n", (mount / "a/two.txt").read_text())
        with open(mount / "a/one.bin", "rb") as file:
            file.read(10)
            self.assertIn("open", self.evict("a/one.bin", expect=1))
        self.wait_until(lambda: "evicted" in self.execute(*self.down.command("evict", "a/one.bin"), expect=None).stdout,
                        20, "the eviction")
        self.assertFalse((self.down.root / "a/one.bin").exists())
        self.assertEqual(400 * 1024, (mount / "a/one.bin").stat().st_size)
        self.assertEqual(0, (mount / "a/one.bin").stat().st_blocks)
        self.assertEqual(want, sha256(mount / "a/one.bin"))
        (mount / "a/two.txt").write_text("edited\n")
        self.assertIn("not in the cloud yet", self.evict("a/two.txt", expect=1))
        self.assertEqual("edited\n", (self.down.root / "a/two.txt").read_text())
        self.assertIn("no such file", self.evict("a/none", expect=1))
        self.unmount(mount, self.mounted)
        # Without a mount, and with an edit that nobody has seen.
        self.assertIn("evicted", self.evict("a/one.bin"))
        self.assertFalse((self.down.root / "a/one.bin").exists())
        (self.down.root / "a/two.txt").write_text("unseen\n")
        self.assertIn("not in the cloud yet", self.evict("a", expect=1))
        self.assertEqual("unseen\n", (self.down.root / "a/two.txt").read_text())


if __name__ == "__main__":
    main()
