"""Asking the cloud for changes costs nothing but the question while there are none, however many rows the host has."""
import unittest

from harness import Case, Cloud, Host


class QuestionForChanges(Case):
    def test_the_rows_are_only_opened_when_something_has_changed(self):
        source = self.work / "source"
        self.make_file(source / "first", 1000, seed="first")
        cloud = Cloud(self)
        cloud.add_user()
        cloud.import_tree(source)
        cloud.start()
        host = Host(self, cloud).init()
        host.get()

        rows, aside = host.database(), self.work / "aside.db"
        rows.rename(aside)
        host.get("--if-changed")
        self.assertFalse(rows.exists(), "the rows were opened for a question that was answered with nothing")
        summary = host.get("--if-changed", "--json").stdout
        self.assertIn('"summary"', summary)
        self.assertFalse(rows.exists())
        aside.rename(rows)

        cloud.stop()
        self.make_file(source / "second", 2000, seed="second")
        self.make_file(self.work / "more" / "second", 2000, seed="second")
        cloud.import_tree(self.work / "more")
        cloud.start()
        self.assertIn("second", host.get("--if-changed").stdout)
        self.assert_same_tree(source, host.root)
        cloud.stop()


if __name__ == "__main__":
    unittest.main(verbosity=2)
