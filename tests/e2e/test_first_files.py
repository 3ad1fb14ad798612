"""Files that stand in the cloud come down through the engine, byte for byte, with every odd name."""
import os
import unittest

from harness import MIB, Case, Cloud, Host, SANITIZE


class FirstFiles(Case):
    def sample(self, root):
        sizes = {"empty": 0, "one": 1, "below": 4 * MIB - 1, "exact": 4 * MIB, "above": 4 * MIB + 1, "two": 8 * MIB + 1}
        for name, size in sizes.items():
            self.make_file(root / name, size, seed=name)
        for name in ("with blanks  here", "Umlaute äöüß", "emoji 🎈", "it's quoted", 'double "quote"', "percent%41",
                     "back\\slash", "new\nline", "-dash", "\uf05c private"):
            self.make_file(root / "names" / name, 1000, seed=name)
        self.make_file(root / "deep" / "er" / "and" / "deeper" / "file", 10, seed="deep")
        (root / "an empty folder").mkdir()
        with open(os.path.join(os.fsencode(str(root)), b"not \xff utf-8"), "wb") as file:
            file.write(b"undecodable name")
        for number in range(20 if SANITIZE else 200):
            self.make_file(root / "many" / f"{number:03}", 100 + number, seed=number)

    def test_a_tree_comes_down_identical_and_again_with_nothing_to_do(self):
        source = self.work / "source"
        self.sample(source)
        cloud = Cloud(self)
        cloud.add_user()
        cloud.import_tree(source)
        cloud.start()
        host = Host(self, cloud).init()
        host.get()
        self.assert_same_tree(source, host.root)
        self.assertEqual([], host.query("SELECT fileId FROM T_task"))

        known = len(cloud.content_requests())
        host.get()
        self.assertEqual(known, len(cloud.content_requests()), "nothing is fetched a second time")
        cloud.stop()

    def test_a_second_host_on_the_same_state_ends_with_one_line(self):
        source = self.work / "source"
        self.make_file(source / "file", 6 * MIB)
        cloud = Cloud(self, "--rate", str(MIB))
        cloud.add_user()
        cloud.import_tree(source)
        cloud.start()
        host = Host(self, cloud).init()
        first = host.spawn_get()
        self.wait_until(lambda: host.query("SELECT fileId FROM T_task"), what="the first host's task")
        second = host.get(expect=None)
        self.assertNotEqual(0, second.returncode)
        self.assertEqual(1, len(second.stdout.strip().splitlines()), second.stdout)
        self.assertEqual(0, first.wait(120))
        self.assert_same_tree(source, host.root)


if __name__ == "__main__":
    unittest.main(verbosity=2)
