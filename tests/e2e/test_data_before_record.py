"""The disk never holds a position that is ahead of the data: seen in a trace of the host's system calls."""
import re
import unittest

from harness import MIB, Case, Cloud, Host

RECORD = re.compile(r'writePosition\\?":(\d+)')


class DataBeforeRecord(Case):
    def test_each_block_is_synced_before_its_record_is_written(self):
        source = self.work / "source"
        self.make_file(source / "traced.bin", 24 * MIB)
        cloud = Cloud(self)
        cloud.add_user()
        cloud.import_tree(source)
        cloud.start()
        host = Host(self, cloud).init()
        trace = self.work / "trace"
        self.execute("strace", "-f", "-y", "-s", "6000", "-e", "trace=pwrite64,fdatasync,fsync", "-o", trace,
                     *host.command("get"), timeout=600)
        self.assert_same_tree(source, host.root)
        self.check(trace.read_text(errors="replace").splitlines())

    def check(self, lines):
        """Walks the trace. A call that another thread interrupts stands as two lines, joined here by the thread."""
        written, synced, records, open_syncs = 0, 0, set(), {}
        for line in lines:
            thread = line.split(None, 1)[0]
            if "traced.bin" in line and "pwrite64(" in line:
                length, offset = map(int, re.search(r", (\d+), (\d+)(?:\)| <unfinished)", line).groups())
                written = max(written, length + offset)
            elif "traced.bin" in line and re.search(r"f(data)?sync\(", line):
                if "<unfinished" in line:
                    open_syncs[thread] = written
                elif "= 0" in line:
                    synced = max(synced, written)
            elif re.search(r"<\.\.\. f(data)?sync resumed>.*= 0", line) and thread in open_syncs:
                synced = max(synced, open_syncs.pop(thread))
            elif "transfer.db" in line:
                for position in map(int, RECORD.findall(line)):
                    records.add(position)
                    self.assertLessEqual(position, synced, "a record ahead of the synced data")
        self.assertGreaterEqual(len(records), 5, "records as the blocks of 4 MiB go by")
        self.assertEqual(24 * MIB, synced)


if __name__ == "__main__":
    unittest.main(verbosity=2)
