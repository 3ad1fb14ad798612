"""The order of words and deeds of a real run, file by file, held against the required sequence.

A recorder is preloaded into the host: it writes a line for every step that leaves no words of its own into the host's
text log, on the thread that takes the step. So one file shows, for each transfer, what was fed, claimed, asked, written,
recorded, told and given back, between the engine's own lines. The tables below say what must stand there. A line that
is missing, extra or out of order fails the test and is shown.

In the tables {n} is a number, {word} anything without a blank or a semicolon; the other names are the file's own.
"""
import difflib
import functools
import json
import os
import re
import struct
import unittest
import zlib

from harness import LIB, MIB, Case, Cloud, Host, sha256

SLICE = 4 * MIB          # plain bytes of an object, and of a block of a plain download
PROXY_SLICE = 8 * MIB

# --- downloads -------------------------------------------------------------------------------------------------------

DOWNLOAD_BEGINS = [
    "recorded fed fileId={id};taskId={task}",
    "DownLoadTaskManger.DownloadThreadFunc: downloadingTaskCount=:{n}",
    "recorded file row {id};fileStatus=22",
    "DownLoadTaskManger.DownloadThreadFunc: downloadingTaskCount=:{n}",
    "recorded operating begins {relative};type=5",
    "recorded slot 0",
    "DownLoadTaskManger.downLoadTask.Begin. fileId = {id};taskId={task}",
    "DownLoadTaskManger.downLoadTask.InitTransferKey. fileId = {id}",
    "DownLoadTaskManger.downLoadTask.CheckDiskFreeSpace fileId = {id}",
    "DownLoadTaskManger.downLoadTask.getDownloadAddressInfo. fileId = {id}",
    "recorded call how stored;fileId={id}",
]
PLAIN_BEGINS = [
    "DownLoadTaskManger.downLoadTask.DownloadCloudFile fileId = {id}",
    "recorded operating begins {relative};type=5",
    "DownLoadTaskManger.cloudDownloadFile.readDownloadPosition. fileId = {id}",
    "DownLoadTaskManger.cloudDownloadFile.DownloadCloudFileRequest. fileId = {id}",
    "recorded call get;range=bytes=0-",
]
PLAIN_BLOCK = [
    "recorded written position={position};length={length}",
    'recorded task row {id};direction=1;fragmentInfo={{"writePosition":{end},"writeSliceIndex":0}}',
]
PLAIN_ENDS = [
    "recorded got {n}",
    "recorded operating ends {relative}",
    "DownLoadTaskManger.cloudDownloadFile.Download Success End. fileId = {id}",
]
ENCRYPTED_BEGINS = [
    "DownLoadTaskManger.downLoadTask.DownloadDriveFile fileId = {id}",
    "recorded operating begins {relative};type=5",
    "DownLoadTaskManger.driveDownloadFile.getDecryptKeyType. fileId = {id}",
    "DownLoadTaskManger.driveDownloadFile.readDownloadPosition. fileId = {id}",
]
ENCRYPTED_OBJECT = [
    "DownLoadTaskManger.downLoadTask.getDownloadKelpAddress Begin fileId = {id}",
    "recorded call get address",
    "DownLoadTaskManger.downLoadTask.Download Slicefile Begin fileId = {id}",
    "recorded call get object",
    "DownLoadTaskManger.driveDownloadFile.WriteLocalFile. fileId = {id}",
    "recorded written position={position};length={length}",
    'recorded task row {id};direction=1;fragmentInfo={{"writePosition":{end},"writeSliceIndex":{number}}}',
]
ENCRYPTED_ENDS = [
    "DownLoadTaskManger.driveDownloadFile.Download Success End. fileId = {id}",
    "recorded operating ends {relative}",
]
DOWNLOAD_ENDS = [
    "recorded task gone {id};direction=1",
    "DownLoadTaskManger.downLoadTask.DownloadFile End Success fileId = {id}",
    "recorded look digest",
    "recorded file row {id};fileStatus=1;localFileSha256={sha256}",
    "recorded event 3;ok=1",
    "recorded slot 11",
    "DownLoadTaskManger.DownloadThreadFunc: End downloadingTaskCount=:{n}",
    "recorded operating ends {relative}",
]

# --- uploads ---------------------------------------------------------------------------------------------------------

UPLOAD_BEGINS = [
    "recorded fed fileId={id};taskId={task}",
    "recorded file row {id};fileStatus=12",
    "FileId={id};Set TransferFileStatus To Uploading",
    "recorded task row {id};direction=2;TaskStatus=1",
    "FileId={id};Set Task To Run",
    "UpLoadTaskManger.UploadThreadFunc:file upload task begin fileId={id};taskId={task};size={size}",
    "debug file upload task begin:{name}",
    "recorded report 2 0",
    "UpLoadTaskManger.UploadThreadFunc: uploadTaskCount=:{n}",
]
GATE = [
    "recorded look media type",
    "recorded look size",
    "recorded look placeholder",
    "recorded look exists",
    "recorded look key text",
    "recorded call space",
]
PICTURES = [
    "recorded hook 2",
    "recorded look exists",
    "recorded picture option=0",
    "recorded look exists",
    "recorded picture option=1",
    "recorded file row {id};attachmentSize={n} {n}",
]
START = [
    "recorded look digest",
    "recorded look local size",
    "recorded file row {id};hash={sha256};localFileSha256={sha256};size={size}",
    "recorded call start;sha256={sha256};cursor=none",
    "recorded task row {id};direction=2;fragmentInfo=answer {type}, 0 of {objects} done, position 0",
]
START_EXISTING = [
    "recorded task row {id};direction=2;fragmentInfo=answer exist, {objects} of {objects} done, position {size}",
]
# A second attempt finds the digest in the row.
START_AGAIN = START[1:]
CLIENT_BEGINS = ["UpLoadTaskManger.uploadTask:file client upload. fileid={id}"]
OBJECT_BEGINS = [
    "recorded look exists",
    "UpLoadTaskManger.fileUpload:upload slicefile stratoffset= {position};readlength={length}",
    "recorded call put address;length={padded}",
]
OBJECT_ENDS = [
    "recorded call PUT;bytes={padded}",
    "recorded call confirm",
    "recorded task row {id};direction=2;fragmentInfo=rewritten client, {number} of {objects} done, position {end}",
]
ATTACHMENT_OBJECT = [
    "recorded look exists",
    "UpLoadTaskManger.uploadTask:upload attachment",
    "recorded call put address;length={n}",
    "recorded call PUT;bytes={n}",
    "recorded call confirm",
    "recorded task row {id};direction=2;fragmentInfo=rewritten client, {objects} of {objects} done, position {size}",
]
CLIENT_ENDS = ["UpLoadTaskManger.uploadTask:file client upload end."]
EXIST = ["file exist upload. fileid={id}"]
HASH_CHECK = [
    "debug file uploadStart GetFileSha256 filename=:{name}",
    "UpLoadTaskManger.uploadTask: Check file hash Begin fileId={id}",
    "recorded look both digests",
    "UpLoadTaskManger.uploadTask: Check file hash End fileId={id}",
]
CREATE = ["recorded call create"]
MULTIPART = [
    "file server upload begin. fileid={id}",
    "FileproxyMultipartUpload Begin. fileid={id}",
    "FileproxyMultipartUpload Read file end. fileid={id}",
    "FileproxyMultipartUpload GetMetadata end. fileid={id}",
    "FileproxyMultipartUpload Create begin. fileid={id}",
    "recorded call proxy 50003;fileId={id};raw=0;range=",
    "FileproxyMultipartUpload Begin. fileid={id}",
]
RESUMABLE_BEGINS = [
    "file server upload begin. fileid={id}",
    "FileproxyResumeUpload Begin. fileid={id}",
    "FileproxyResumeUpload Create begin. fileid={id}",
    "FileproxyResumeUpload GetResumeUploadUrl. fileid={id}",
    "recorded call proxy 50026;fileId={id};raw=0;range=",
    "FileproxyResumeUpload ReadFileUpload Begian. fileid={id}; postion =0",
]
RESUMABLE_SLICE = ["recorded call proxy 50028;fileId={id};raw={length};range=bytes {position}-{last}/{size}"]
RESUMABLE_ENDS = [
    "FileproxyResumeUpload ReadFileUpload End. fileid={id}",
    "FileproxyResumeUpload SaveResumUploadPostion Begin. fileid={id}",
    "recorded task row {id};direction=2;fragmentInfo=rewritten server, 0 of 0 done, position {size}",
    "FileproxyResumeUpload SaveResumUploadPostion End. fileid={id}",
    "FileproxyResumeUpload End. fileid={id}",
]
ROW = [
    "recorded file row {id};contentVersion=1;fileId={cloud};fileStatus=1;kind={word};mimeType={word};name={name};"
    "parentFolder={folder};parentId={word};status=0",
    "fileCreateUpdateComplete success. [LocalFileId:{id}][CloudFileId:{cloud}][parentId:{word}]",
]
SERVER_ENDS = ["file server upload end and success"]
UPLOAD_ENDS = [
    "recorded hook 1",
    "recorded task gone {id};direction=2",
    "UpLoadTaskManger.UploadThreadFunc:file upload task end Success fileid={id}",
    "recorded task row {id};direction=2;TaskStatus=0",
    "recorded report 2 1",
    "UpLoadTaskManger.UploadThreadFunc: End uploadTaskCount=:{n}",
]
# The address of the first object was refused with the code that makes the cache go.
REFUSED_ADDRESS = [
    "error CloudClient GetUploadKelpAddress the cloud call failed. statuscode=400; errorCode=21000400; "
    "description=planned",
    "error UpLoadTaskManger getKelpAddress Upload getKelpAddress fail errorCode21000400; description =planned",
    "error UpLoadTaskManger fileUpload fileslice getKelpAddress false:{word}",
]
CLEAN_UP = [
    "recorded task row {id};direction=2;fragmentInfo=",
    "recorded picture gone",
    "recorded picture gone",
]
UPLOAD_FAILED = [
    "UpLoadTaskManger.UploadThreadFunc:file upload task end failure fileid={id}",
    "recorded file row {id};fileStatus=13",
    "recorded task row {id};direction=2;Priority=4;TaskStatus=0",
    "recorded report 2 1",
    "UpLoadTaskManger.UploadThreadFunc: End uploadTaskCount=:{n}",
]

# --- statistics ------------------------------------------------------------------------------------------------------

CLIENT_STATISTICS = ["UpLoadTaskManger::uploadTask  15002 file client upload. fileid={id}"]
DONE_STATISTICS = [
    "UpLoadTaskManger::fileCreateUpdateComplete  15002 fileCreateUpdateComplete success. [LocalFileId:{id}]"
    "[CloudFileId:{cloud}][parentId:{word}]",
]
EXIST_STATISTICS = ["UpLoadTaskManger::uploadTask  15002 file exist upload. fileid={id}"]
MULTIPART_STATISTICS = [
    "UpLoadTaskManger::uploadTask  15002 file server upload. fileid={id}",
    "ServerUpload::uploadFileWithServerType  15002 FileproxyMultipartUpload Begin. fileid={id}",
]
RESUMABLE_STATISTICS = [
    "UpLoadTaskManger::uploadTask  15002 file server upload. fileid={id}",
    "ServerUpload::uploadFileWithServerType  15002 FileproxyResumeUpload Begin. fileid={id}",
]

# --- the service, a sequence a thread --------------------------------------------------------------------------------

STARTER = [
    "TransferTaskService.StartTransferTaskService Begin",
    "recorded statements 2",
    "TransferTaskService.startTransferTaskService End",
]
MAIN_LOOP = [
    "TransferTaskService. g_SyncUserKey is empty ",
    "begin(10,15001) SyncUserKeyService InitSyncUserKey InitSyncUserKey Begin",
    "end(10,15002) SyncUserKeyService InitSyncUserKey get sync_user_drive efek Success",
    "end(10,15002) SyncUserKeyService InitSyncUserKey get sync_user_drive sefek Success",
]
STOPPER = [
    "DownLoadTaskManger.StopDownLoadMangerService Begin",
    "DownLoadTaskManger.StopDownLoadMangerService End",
    "UpLoadTaskManger.StopUpLoadMangerService Begin ",
    "UpLoadTaskManger.StopUpLoadMangerService End ",
]
DISPATCHERS = [
    ["TransferTaskService.StartThumbnailTaskService "],
    ["TransferTaskService.StartDownloadTaskService "],
    ["TransferTaskService.StartPriorityDownloadTaskService "],
    ["TransferTaskService.StartUploadTaskService "],
]
# Written on the next pass after a stop, when the process is still there by then.
FAREWELLS = [
    ["TransferTaskService.StopTransferTaskService 1",
     "TransferTaskService.cancel bacekground mian service thread thread"],
    ["TransferTaskService.StopDownloadTaskService 1", "TransferTaskService.cancel downloadTaskService thread"],
    ["TransferTaskService.StopUploadTaskService 1", "TransferTaskService.cancel uploadTaskService thread"],
]
SERVICE_STATISTICS = [
    "StopDownLoadMangerService 15003  StopDownLoadMangerService",
    "StopUpLoadMangerService 15002  StopUpLoadMangerService",
    "SyncUserKeyService::InitSyncUserKey  15001 InitSyncUserKey Begin",
    "SyncUserKeyService::InitSyncUserKey  15001 get sync_user_drive efek Success",
    "SyncUserKeyService::InitSyncUserKey  15001 get sync_user_drive failed",
    "SyncUserKeyService::InitSyncUserKey  15001 get sync_user_drive failed",
    "SyncUserKeyService::InitSyncUserKey  15001 get sync_user_drive sefek Success",
    "TransferTaskService 15002  StartTransferTaskService",
    "TransferTaskService 15002  StartUploadTaskService",
    "TransferTaskService 15003  StartDownloadTaskService",
    "TransferTaskService 15003  StartPriorityDownloadTaskService",
    "TransferTaskService 15003  StartThumbnailTaskService",
]
STATISTIC_FAREWELLS = [
    "TransferTaskService 15002  StopTransferTaskService",
    "TransferTaskService 15003  StopDownloadTaskService 1",
    "TransferTaskService 15002  StopUploadTaskService 1",
]
KEY_STATISTICS = [  # of these the order counts
    "InitSyncUserKey Begin", "get sync_user_drive efek Success", "get sync_user_drive failed",
    "get sync_user_drive sefek Success", "get sync_user_drive failed",
]


# --- from a log to sequences -----------------------------------------------------------------------------------------

ID = re.compile(r"(?:fileId ?= ?|fileid=|FileId=|LocalFileId:|row |gone )((?:Local)?[0-9a-f]{24,32})")
COUNT_LINE = "DownLoadTaskManger.DownloadThreadFunc: downloadingTaskCount=:"


def shorten_record(text):
    """The resume record of an upload, as what it says."""
    match = re.fullmatch(r"(recorded task row \S+;direction=2;fragmentInfo=)(\{.*\})", text)
    if not match:
        return text
    record = json.loads(match.group(2))
    items = record.get("items", [])
    done = sum(1 for item in items if item["status"])
    form = "rewritten" if "itemcount" in record else "answer"
    return f"{match.group(1)}{form} {record['uploadType']}, {done} of {len(items)} done, position {record['position']}"


def runs(host):
    """The log of each run of that host: a list of (thread, line)."""
    found = []
    for line in host.log().splitlines():
        _, level, thread, module, function, text = line.split("\t", 5)
        if text.startswith("recorded "):
            text = shorten_record(text)
        elif level == "debug":
            text = "debug " + text
        elif level != "trace":
            text = f"{level} {module} {function} {text}"
        if text == STARTER[0]:
            found.append([])
        if found:  # what the host does before it starts the engine is its own affair
            found[-1].append((thread, text))
    return found


class Grouped:
    """The lines of one run: for each file its own in their order, and the others by thread."""

    def __init__(self, lines):
        self.files, self.threads = {}, {}
        self.starter = next(thread for thread, text in lines if text == STARTER[0])
        current, opened = {}, {}
        for thread, text in lines:
            if thread == self.starter and text.startswith("recorded ") and text not in STARTER:
                continue  # the host looks after a file that has arrived
            match = ID.search(text)
            if match:
                owner = match.group(1)
                if thread in opened:  # a worker has begun, and this line tells with which file
                    self.files.setdefault(owner, []).extend(opened.pop(thread))
                    current[thread] = owner
                elif "fileStatus=12" in text or ";Set TransferFileStatus To Uploading" in text:
                    current[thread] = owner
                self.files.setdefault(owner, []).append(text)
            elif thread in opened:
                opened[thread].append(text)
            elif text.startswith(COUNT_LINE) and not self.expects_second_count(current.get(thread)):
                opened[thread] = [text]
                current.pop(thread, None)
            elif thread in current:
                self.files[current[thread]].append(text)
            else:
                self.threads.setdefault(thread, []).append(text)

    def expects_second_count(self, owner):
        return owner is not None and sum(line.startswith(COUNT_LINE) for line in self.files[owner]) == 1


# --- from the tables to what must stand there ------------------------------------------------------------------------

PATTERNS = {"n": r"\d+", "word": r"[^ ;\]]+", "cloud": r"[0-9a-f]{24}"}


class Field(dict):
    def __missing__(self, key):
        return "\x01" + key + "\x02"


def lines(table, facts):
    return [line.format_map(Field(facts)) for line in table]


@functools.cache
def pattern_of(expected):
    pattern = re.escape(expected)
    for name, form in PATTERNS.items():
        pattern = pattern.replace(re.escape(f"\x01{name}\x02"), form)
    return re.compile(pattern)


def fits(expected, line):
    return pattern_of(expected).fullmatch(line) is not None


def differences(expected, found):
    """What differs, as lines that a person can read; empty when every line is there, once and in order."""
    if len(expected) == len(found) and all(map(fits, expected, found)):
        return ""
    # A line that fits the table is shown in the table's words, so that only the others stand out.
    shown = [next((line for line in expected if fits(line, text)), text) for text in found]
    readable = [[re.sub("\x01(.*?)\x02", r"{\1}", line) for line in side] for side in (expected, shown)]
    return "\n".join(difflib.unified_diff(*readable, "required", "recorded", n=2, lineterm=""))


def padded(length):
    return length // 16 * 16 + 16


def blocks(size, most):
    """(position, length, number from 1) of each block."""
    return [(begin, min(most, size - begin), number + 1) for number, begin in enumerate(range(0, size, most))]


def per_block(table, facts, most):
    found = []
    for position, length, number in blocks(facts["size"], most):
        found += lines(table, {**facts, "position": position, "length": length, "number": number,
                               "end": position + length, "last": length - 1, "padded": padded(length)})
    return found


def plain_download(facts):
    return (lines(DOWNLOAD_BEGINS + PLAIN_BEGINS, facts) + per_block(PLAIN_BLOCK, facts, SLICE) +
            lines(PLAIN_ENDS + DOWNLOAD_ENDS, facts))


def encrypted_download(facts):
    return (lines(DOWNLOAD_BEGINS + ENCRYPTED_BEGINS, facts) + per_block(ENCRYPTED_OBJECT, facts, SLICE) +
            lines(ENCRYPTED_ENDS + DOWNLOAD_ENDS, facts))


def client_upload(facts):
    facts = {**facts, "type": "client", "objects": len(blocks(facts["size"], SLICE))}
    return (lines(UPLOAD_BEGINS + GATE + START + CLIENT_BEGINS, facts) +
            per_block(OBJECT_BEGINS + OBJECT_ENDS, facts, SLICE) +
            lines(CLIENT_ENDS + HASH_CHECK + CREATE + ROW + UPLOAD_ENDS, facts))


def exist_upload(facts):
    facts = {**facts, "type": "exist", "objects": len(blocks(facts["size"], SLICE))}
    return lines(UPLOAD_BEGINS + GATE + START[:-1] + START_EXISTING + EXIST + HASH_CHECK + CREATE + ROW + UPLOAD_ENDS,
                 facts)


def multipart_upload(facts):
    facts = {**facts, "type": "server", "objects": 0}
    return lines(UPLOAD_BEGINS + GATE + START + MULTIPART + ROW + SERVER_ENDS + UPLOAD_ENDS, facts)


def resumable_upload(facts):
    facts = {**facts, "type": "server", "objects": 0}
    return (lines(UPLOAD_BEGINS + GATE + START + RESUMABLE_BEGINS, facts) +
            per_block(RESUMABLE_SLICE, facts, PROXY_SLICE) +
            lines(RESUMABLE_ENDS + ROW + SERVER_ENDS + UPLOAD_ENDS, facts))


def refused_picture_upload(facts):
    """A picture whose first attempt meets a refused address: clean-up, and then all of it again."""
    facts = {**facts, "type": "client", "objects": 2, "number": 1, "position": 0, "length": facts["size"],
             "end": facts["size"], "padded": padded(facts["size"])}
    first = UPLOAD_BEGINS + GATE + PICTURES + START + CLIENT_BEGINS + OBJECT_BEGINS + REFUSED_ADDRESS
    again = UPLOAD_BEGINS + GATE + PICTURES + START_AGAIN + CLIENT_BEGINS + OBJECT_BEGINS + OBJECT_ENDS
    return lines(first + CLEAN_UP + UPLOAD_FAILED + again + ATTACHMENT_OBJECT + CLIENT_ENDS + HASH_CHECK + CREATE +
                 ROW + UPLOAD_ENDS, facts)


STATISTICS = {
    client_upload: CLIENT_STATISTICS + DONE_STATISTICS,
    exist_upload: EXIST_STATISTICS + DONE_STATISTICS,
    multipart_upload: MULTIPART_STATISTICS + DONE_STATISTICS,
    resumable_upload: RESUMABLE_STATISTICS + DONE_STATISTICS,
    refused_picture_upload: CLIENT_STATISTICS + CLIENT_STATISTICS + DONE_STATISTICS,
    plain_download: [],
    encrypted_download: [],
}
# The task that looks at the space once more after an upload that the client has finished.
REFRESHES = {client_upload: 1, exist_upload: 1, refused_picture_upload: 1}


def make_picture(path, width=300, height=200):
    """A picture of noise: no derived picture is bigger than it."""
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    noise = zlib.compress(b"".join(b"\0" + bytes((x * y * 2654435761 >> 7) & 255 for x in range(3 * width))
                                   for y in range(1, height + 1)), 1)
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)) +
                     chunk(b"IDAT", noise) + chunk(b"IEND", b""))


class RecordedOrder(Case):
    def cloud(self, *options):
        cloud = Cloud(self, *options)
        cloud.add_user()
        return cloud

    def record(self):
        self.environment["LD_PRELOAD"] = str(LIB / "librecorder.so")

    def facts(self, root, name):
        path = root / name
        folder = name.rpartition("/")[0]
        return {"name": path.name, "relative": name.replace("/", "\\"), "size": path.stat().st_size,
                "folder": folder + "\\" if folder else "", "sha256": sha256(path)}

    def sequences(self, host, grouped, root, kinds):
        """(name, required, recorded) of every file."""
        found = []
        for name, kind in kinds.items():
            facts = self.facts(root, name)
            owners = [owner for owner, text in grouped.files.items() if self.is_about(host, owner, text, facts)]
            self.assertEqual(1, len(owners), f"{name} has no lines of its own in the log, or those of several")
            recorded = grouped.files[owners[0]]
            task = re.search(r"taskId=(\d+)", "\n".join(recorded)).group(1)
            found.append((name, kind({**facts, "id": owners[0], "task": task}), recorded))
        self.assertEqual(len(kinds), len(grouped.files), "the log speaks of files that nobody asked for")
        return found

    def is_about(self, host, owner, text, facts):
        if owner.startswith("Local"):
            return f"debug file upload task begin:{facts['name']}" in text
        rows = host.query("SELECT localParentFolder || localFileName FROM T_cloudDriveData WHERE fileId = ?", owner)
        return rows == [(facts["relative"],)]

    def hold_files(self, host, run, root, kinds, recorded=True):
        grouped = Grouped(runs(host)[run])
        found = self.sequences(host, grouped, root, kinds)
        for name, required, lines_found in found:
            if not recorded:
                required = [line for line in required if not line.startswith("recorded ")]
            self.assertEqual("", differences(required, lines_found), name)
        self.hold_service(grouped, sum(REFRESHES.get(kind, 0) for kind in kinds.values()), recorded)
        self.hold_statistics(host, run, grouped, found, kinds)
        return found

    def hold_service(self, grouped, refreshes, recorded):
        required = [[line for line in table if recorded or not line.startswith("recorded ")]
                    for table in [STARTER, MAIN_LOOP, STOPPER] + DISPATCHERS]
        spaces = feeds = 0
        for thread, text in grouped.threads.items():
            spaces += text.count("recorded call space")
            feeds += sum(line.startswith("recorded feed ") for line in text)
            text = [line for line in text
                    if line != "recorded call space" and not line.startswith("recorded feed direction=")]
            if not text:
                continue
            whole = next((table for table in required if text[:len(table)] == table), None)
            self.assertIsNotNone(whole, f"a thread of the service has written\n{text}")
            required.remove(whole)
            self.assertIn(text[len(whole):], [[]] + [words[:end] for words in FAREWELLS for end in (1, 2)])
        self.assertEqual([], required, "the service did not write")
        self.assertEqual(refreshes if recorded else 0, spaces, "looks at the space after finished uploads")
        self.assertTrue(feeds > 0 or not recorded)

    def hold_statistics(self, host, run, grouped, found, kinds):
        everything = [json.loads(line) for file in sorted(host.state.rglob("statistics*.jsonl"))
                      for line in file.read_text(encoding="utf-8").splitlines()]
        begins = [index for index, entry in enumerate(everything) if entry["text"] == " StartTransferTaskService"]
        mine = everything[begins[run]:(begins + [None])[run + 1]]
        text = [f"{entry['module']} {entry['code']} {entry['text']}" for entry in mine]
        rest = [line for line in text if not ID.search(line) and "fileslice" not in line]
        rest = [line for line in rest if line not in STATISTIC_FAREWELLS]
        self.assertEqual(sorted(SERVICE_STATISTICS), sorted(rest))
        self.assertEqual(KEY_STATISTICS, [entry["text"] for entry in mine if entry["code"] == 15001])
        for (name, _, lines_found), kind in zip(found, kinds.values()):
            owner = next(owner for owner, text_found in grouped.files.items() if text_found is lines_found)
            own = [line for line in text if owner in line]
            self.assertEqual("", differences(lines(STATISTICS[kind], {"id": owner}), own), name)

    def hold_comparison(self, found):
        """The comparison itself: no line can be left out, doubled or moved without being seen."""
        for name, required, recorded in found:
            for index in range(len(recorded)):
                without = recorded[:index] + recorded[index + 1:]
                doubled = recorded[:index + 1] + recorded[index:]
                self.assertNotEqual("", differences(required, without), f"{name}, line {index} left out")
                self.assertNotEqual("", differences(required, doubled), f"{name}, line {index} doubled")
            for index, pair in enumerate(zip(recorded, recorded[1:])):
                if pair[0] != pair[1]:
                    moved = recorded[:index] + [pair[1], pair[0]] + recorded[index + 2:]
                    self.assertNotEqual("", differences(required, moved), f"{name}, line {index} moved")

    def test_plain_files_come_down_in_the_required_order(self):
        source = self.work / "source"
        kinds = {"small": plain_download, "deep/er": plain_download, "blocks": plain_download}
        for name, size in zip(kinds, (5000, 1, 2 * SLICE + 3)):
            self.make_file(source / name, size, seed=name)
        cloud = self.cloud()
        cloud.import_tree(source)
        cloud.start()
        bare = Host(self, cloud, "bare").init()
        bare.get()
        self.hold_files(bare, 0, source, kinds, recorded=False)

        self.record()
        host = Host(self, cloud).init()
        host.get()
        found = self.hold_files(host, 0, source, kinds)
        self.hold_comparison(found)

    def test_files_go_up_by_every_road_and_come_down_encrypted_in_the_required_order(self):
        scenario = self.work / "scenario.json"
        scenario.write_text(json.dumps({"rules": [
            {"method": "POST", "path": "/v1/uploads/address", "nth": 2, "status": 400, "errorCode": "21000400",
             "description": "planned"}]}))
        cloud = self.cloud("--scenario", str(scenario), "--server-pattern", "*.log").start()
        self.record()
        up = Host(self, cloud, "up").init()
        make_picture(up.root / "picture.png")
        self.make_file(up.root / "one", 3000, seed="one")
        self.execute(*up.command("put", "--uploads", "1"))  # so that it is the picture whose address is refused
        first = {"one": client_upload, "picture.png": refused_picture_upload}
        found = self.hold_files(up, 0, up.root, first)

        sizes = {"d/two": SLICE + MIB + 1, "small.log": 4000, "large.log": 11 * MIB, "again": 3000}
        second = dict(zip(sizes, (client_upload, multipart_upload, resumable_upload, exist_upload)))
        for name, size in sizes.items():
            self.make_file(up.root / name, size, seed="one" if name == "again" else name)
        self.execute(*up.command("put"))
        found += self.hold_files(up, 1, up.root, second)
        self.hold_comparison(found)

        down = Host(self, cloud).init()
        down.get()
        self.assert_same_tree(up.root, down.root)
        kinds = {name: plain_download if name.endswith(".log") else encrypted_download
                 for name in {**first, **second}}
        self.hold_files(down, 0, up.root, kinds)


if __name__ == "__main__":
    unittest.main(verbosity=2)
