"""The net that catches sanitizer reports of real processes holds: a planted fault is seen in it.

The build decides which of the two is run: races are looked for in the thread build, leaks in the address build.
"""
import unittest

import harness
from harness import Case, Cloud, Host


class SanitizerNet(Case):
    def reports_with(self, plant):
        source = self.work / "source"
        self.make_file(source / "file", 1000)
        cloud = Cloud(self)
        cloud.add_user()
        cloud.import_tree(source)
        cloud.start()
        host = Host(self, cloud).init()
        self.assertEqual("", self.sanitizer_reports(), "nothing is reported without the plant")
        host.get(expect=None, environment={"LD_PRELOAD": str(harness.LIB / plant)})
        reports = self.sanitizer_reports()
        for file in self.reports.iterdir():
            file.unlink()
        return reports

    def test_a_planted_race_is_reported(self):
        self.assertIn("data race", self.reports_with("libplanted_race.so"))

    def test_a_planted_leak_is_reported(self):
        self.assertIn("432100 byte(s) leaked", self.reports_with("libplanted_leak.so").replace("SUMMARY", ""))


if __name__ == "__main__":
    unittest.main(verbosity=2)
