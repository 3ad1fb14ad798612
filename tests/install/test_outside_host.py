"""A small host outside the tree is built against the installed package with find_package alone, and runs."""
import json
import os
import pathlib
import signal
import subprocess
import sys
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "e2e"))
from harness import MIB, Case, Cloud  # noqa: E402

BUILD = pathlib.Path(os.environ["ZELKOR_BUILD"])
OUTSIDE = pathlib.Path(__file__).resolve().parent / "outside_host"


class OutsideHost(Case):
    def build(self):
        prefix, project = self.work / "prefix", self.work / "project"
        self.execute("cmake", "--install", BUILD, "--prefix", prefix)
        self.execute("cmake", "-S", OUTSIDE, "-B", project, f"-DCMAKE_PREFIX_PATH={prefix}", "-DCMAKE_BUILD_TYPE=Release")
        self.execute("cmake", "--build", project)
        return project

    def test_it_runs_seventeen_downloads_at_once_and_survives_a_cloud_that_hangs_for_a_minute(self):
        project = self.build()
        source = self.work / "source"
        for number in range(40):
            self.make_file(source / f"file {number}", 3 * MIB, seed=number)
        cloud = Cloud(self, "--rate", str(MIB))
        cloud.add_user()
        cloud.import_tree(source)
        cloud.start()
        folder = self.work / "outside"
        (folder / "root").mkdir(parents=True)
        host = self.spawn(project / "outside-launcher", project / "liboutside_host.so", cloud.url, "anna",
                          cloud.password.read_text().strip(), folder, "240", stdout=subprocess.PIPE)
        self.wait_until(lambda: cloud.content_requests(), what="the first file")
        cloud.process.send_signal(signal.SIGSTOP)
        time.sleep(60)
        self.assertIsNone(host.poll(), "the host is still there")
        cloud.process.send_signal(signal.SIGCONT)
        out, _ = host.communicate(timeout=300)
        self.assertEqual(0, host.returncode, out)
        seen = json.loads(out.strip().splitlines()[-1])
        self.assertEqual(40, seen["files"])
        self.assertGreaterEqual(seen["refused"], 1)
        self.assertGreaterEqual(seen["messages"], 1)
        self.assertEqual(17, cloud.most_content_requests_at_once())
        for number in range(40):
            self.assertEqual((source / f"file {number}").read_bytes(),
                             (folder / "root" / f"file {number}").read_bytes())


if __name__ == "__main__":
    unittest.main(verbosity=2)
