"""The local database is the queue and the memory of a host; when it is lost, no file is: what stands in the root and in
the cloud is compared anew."""
import os
import time

from host_case import SLICE, HostCase, main

PAGE = 4096


def damage_pages(path):
    """Every page but the first, the way a failing disk would."""
    with open(path, "r+b") as file:
        for offset in range(PAGE, path.stat().st_size, PAGE):
            file.seek(offset)
            file.write(os.urandom(200))


def cut(path):
    os.truncate(path, path.stat().st_size // 2 + 100)


def replace_by_text(path):
    path.write_text("this is no database\n" * 1000)


class DamagedState(HostCase):
    def fill(self, root):
        (root / "docs" / "leer").mkdir(parents=True)
        (root / "empty").touch()
        (root / "docs" / "it's odd \u00e4.txt").write_text("odd\n")
        for number in range(6):
            (root / "docs" / f"{number}.txt").write_text(f"text {number}\n")
        self.make_file(root / "large", 3 * SLICE + 17)

    def told(self, host, command):
        """Runs the command over a damaged database; what it says of it, after a look at what it left."""
        text = self.run_host(host, command).stdout
        self.assertIn(f"The database {host.state / 'transfer.db'} was damaged. It has been moved to", text)
        self.assertIn("No file was lost", text)
        return text

    def aside(self, host):
        return sorted(path for path in host.state.iterdir() if path.name.startswith("transfer.db.damaged-"))

    # DB-CRASH-03
    def test_after_damage_of_either_side_everything_comes_back(self):
        up = self.begin()
        self.fill(up.root)
        self.run_host(up, "put")
        down = self.second()
        self.run_host(down, "get")
        self.assert_same_tree(up.root, down.root)
        stored = len(self.cloud.objects())

        damage_pages(down.state / "transfer.db")
        (up.root / "docs" / "new.txt").write_text("new\n")
        damage_pages(up.state / "transfer.db")
        self.told(up, "put")
        self.assertEqual(1, len(self.aside(up)))
        self.assertGreater(self.aside(up)[0].stat().st_size, 0, "the damaged file is kept")
        self.told(down, "get")
        self.assert_same_tree(up.root, down.root)
        self.assertLessEqual(len(self.cloud.objects()), stored + 1, "what the cloud has already is not sent again")
        for host in (up, down):
            self.assertNotIn("damaged", self.run_host(host, "verify").stdout)

    # DB-CRASH-03
    def test_files_whose_database_was_cut_or_replaced_come_back(self):
        up = self.begin()
        self.fill(up.root)
        self.run_host(up, "put")
        for number, harm in enumerate((cut, replace_by_text)):
            down = self.second(f"down{number}")
            self.run_host(down, "get")
            (down.root / "docs" / "1.txt").unlink()
            harm(down.state / "transfer.db")
            self.told(down, "get")
            self.assert_same_tree(up.root, down.root)

    # DB-CRASH-03
    def test_transfers_that_were_under_way_are_finished(self):
        up = self.begin()
        self.fill(up.root)
        self.cloud.tell({"method": "PUT", "path": "/store/*", "nth": 3, "delay": 20})
        first = self.spawn_host(up, "put")
        self.wait_until(lambda: up.query("SELECT 1 FROM T_cloudDriveData WHERE fileStatus = 12"), 30, "a claimed file")
        time.sleep(0.3)
        first.kill()
        first.wait(10)
        self.cloud.tell()
        # What stands in the log alone is lost with it.
        (up.state / "transfer.db-wal").unlink(missing_ok=True)
        replace_by_text(up.state / "transfer.db")
        self.told(up, "put")
        down = self.second()
        self.run_host(down, "get")
        self.assert_same_tree(up.root, down.root)


if __name__ == "__main__":
    main()
