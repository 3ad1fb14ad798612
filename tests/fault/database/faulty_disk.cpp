#include "tests/fault/database/faulty_disk.h"

#include <sqlite3.h>

#include <cstring>
#include <fstream>

namespace Drive::Testing {

namespace {

/// Our part of an open file; the real one lies behind it.
struct File {
    sqlite3_file base;
    std::string* path;
};

sqlite3_vfs* Real() {
    static sqlite3_vfs* const real = sqlite3_vfs_find("unix");
    return real;
}

sqlite3_file* RealFile(sqlite3_file* file) {
    return reinterpret_cast<sqlite3_file*>(reinterpret_cast<File*>(file) + 1);
}
const std::string& PathOf(sqlite3_file* file) { return *reinterpret_cast<File*>(file)->path; }

FaultyDisk& Disk() { return FaultyDisk::Get(); }

int Close(sqlite3_file* file) {
    const int result = RealFile(file)->pMethods->xClose(RealFile(file));
    delete reinterpret_cast<File*>(file)->path;
    return result;
}

int Read(sqlite3_file* file, void* data, int length, sqlite3_int64 offset) {
    const int failure = Disk().Before(FaultyDisk::Call::Read, PathOf(file));
    return failure != SQLITE_OK ? failure : RealFile(file)->pMethods->xRead(RealFile(file), data, length, offset);
}

int Write(sqlite3_file* file, const void* data, int length, sqlite3_int64 offset) {
    const int failure = Disk().Before(FaultyDisk::Call::Write, PathOf(file));
    if (failure != SQLITE_OK) return failure;
    Disk().Wrote(PathOf(file), data, length, offset);
    return RealFile(file)->pMethods->xWrite(RealFile(file), data, length, offset);
}

int Truncate(sqlite3_file* file, sqlite3_int64 size) {
    const int failure = Disk().Before(FaultyDisk::Call::Truncate, PathOf(file));
    if (failure != SQLITE_OK) return failure;
    Disk().Truncated(PathOf(file), size);
    return RealFile(file)->pMethods->xTruncate(RealFile(file), size);
}

int Sync(sqlite3_file* file, int flags) {
    const int failure = Disk().Before(FaultyDisk::Call::Sync, PathOf(file));
    if (failure != SQLITE_OK) return failure;
    Disk().Synced(PathOf(file));
    return RealFile(file)->pMethods->xSync(RealFile(file), flags);
}

int FileSize(sqlite3_file* file, sqlite3_int64* size) {
    return RealFile(file)->pMethods->xFileSize(RealFile(file), size);
}
int Lock(sqlite3_file* file, int level) { return RealFile(file)->pMethods->xLock(RealFile(file), level); }
int Unlock(sqlite3_file* file, int level) { return RealFile(file)->pMethods->xUnlock(RealFile(file), level); }
int CheckReservedLock(sqlite3_file* file, int* held) {
    return RealFile(file)->pMethods->xCheckReservedLock(RealFile(file), held);
}
int FileControl(sqlite3_file* file, int code, void* argument) {
    return RealFile(file)->pMethods->xFileControl(RealFile(file), code, argument);
}
int SectorSize(sqlite3_file* file) { return RealFile(file)->pMethods->xSectorSize(RealFile(file)); }
int DeviceCharacteristics(sqlite3_file* file) {
    return RealFile(file)->pMethods->xDeviceCharacteristics(RealFile(file));
}
int ShmMap(sqlite3_file* file, int page, int size, int extend, void volatile** memory) {
    return RealFile(file)->pMethods->xShmMap(RealFile(file), page, size, extend, memory);
}
int ShmLock(sqlite3_file* file, int offset, int count, int flags) {
    return RealFile(file)->pMethods->xShmLock(RealFile(file), offset, count, flags);
}
void ShmBarrier(sqlite3_file* file) { RealFile(file)->pMethods->xShmBarrier(RealFile(file)); }
int ShmUnmap(sqlite3_file* file, int remove) { return RealFile(file)->pMethods->xShmUnmap(RealFile(file), remove); }

const sqlite3_io_methods kMethods = {2,
                                     Close,
                                     Read,
                                     Write,
                                     Truncate,
                                     Sync,
                                     FileSize,
                                     Lock,
                                     Unlock,
                                     CheckReservedLock,
                                     FileControl,
                                     SectorSize,
                                     DeviceCharacteristics,
                                     ShmMap,
                                     ShmLock,
                                     ShmBarrier,
                                     ShmUnmap,
                                     nullptr,
                                     nullptr};

int Open(sqlite3_vfs*, const char* path, sqlite3_file* file, int flags, int* outFlags) {
    file->pMethods = nullptr;
    const int failure = Disk().Before(FaultyDisk::Call::Open, "");
    if (failure != SQLITE_OK) return failure;
    const int result = Real()->xOpen(Real(), path, RealFile(file), flags, outFlags);
    if (result != SQLITE_OK) return result;
    reinterpret_cast<File*>(file)->path = new std::string(path == nullptr ? "" : path);
    file->pMethods = &kMethods;
    return SQLITE_OK;
}

int Delete(sqlite3_vfs*, const char* path, int syncFolder) {
    const int failure = Disk().Before(FaultyDisk::Call::Delete, path);
    if (failure != SQLITE_OK) return failure;
    Disk().Deleted(path);
    return Real()->xDelete(Real(), path, syncFolder);
}

void Install() {
    static sqlite3_vfs layer = *Real();
    layer.zName = "faulty";
    layer.szOsFile = static_cast<int>(sizeof(File)) + Real()->szOsFile;
    layer.xOpen = Open;
    layer.xDelete = Delete;
    sqlite3_vfs_register(&layer, 1);
}

}  // namespace

FaultyDisk& FaultyDisk::Get() {
    static FaultyDisk* const disk = [] {
        sqlite3_initialize();
        auto* made = new FaultyDisk;
        Install();
        return made;
    }();
    return *disk;
}

void FaultyDisk::FailNth(int nth, bool lastingFailure, Kind failureKind) {
    const std::lock_guard guard(mutex);
    remaining = nth;
    lasting = lastingFailure;
    kind = failureKind;
    cutsPower = false;
    failing = injected = false;
    runs.clear();
}

void FaultyDisk::CutPowerAtNth(int nth) {
    FailNth(nth, true, Kind::IoError);
    const std::lock_guard guard(mutex);
    cutsPower = true;
}

bool FaultyDisk::Heal() {
    const std::lock_guard guard(mutex);
    remaining = 0;
    failing = lasting = cutsPower = false;
    return std::exchange(injected, false);
}

bool FaultyDisk::Counts(Call call, const std::string& path) {
    if (call != Call::Read && call != Call::Write) {
        runs.clear();
        return true;
    }
    const int place = runs[{call, path}]++;
    return place < 4 || place % 32 == 0;
}

int FaultyDisk::Before(Call call, const std::string& path) {
    const std::lock_guard guard(mutex);
    const bool counts = Counts(call, path);
    if (!(failing && lasting)) {
        if (remaining == 0 || !counts || --remaining > 0) return SQLITE_OK;
    }
    failing = injected = true;
    return CodeOf(call);
}

int FaultyDisk::CodeOf(Call call) const {
    const bool full = kind == Kind::Full;
    switch (call) {
        case Call::Open:
            return SQLITE_CANTOPEN;
        case Call::Read:
            return full ? SQLITE_OK : SQLITE_IOERR_READ;
        case Call::Write:
            return full ? SQLITE_FULL : SQLITE_IOERR_WRITE;
        case Call::Truncate:
            return full ? SQLITE_OK : SQLITE_IOERR_TRUNCATE;
        case Call::Sync:
            return full ? SQLITE_FULL : SQLITE_IOERR_FSYNC;
        case Call::Delete:
            return SQLITE_IOERR_DELETE;
    }
    return SQLITE_IOERR;
}

void FaultyDisk::Remember() {
    const std::lock_guard guard(mutex);
    images.clear();
    remembering = true;
}

void FaultyDisk::Apply(std::string& content, const Write& write, std::size_t bytes) {
    if (write.truncates) {
        content.resize(static_cast<std::size_t>(write.offset));
        return;
    }
    const std::size_t end = static_cast<std::size_t>(write.offset) + bytes;
    if (content.size() < end) content.resize(end);
    content.replace(static_cast<std::size_t>(write.offset), bytes, write.data, 0, bytes);
}

void FaultyDisk::Wrote(const std::string& path, const void* data, int length, std::int64_t offset) {
    const std::lock_guard guard(mutex);
    if (!remembering) return;
    images[path].since.push_back({offset, std::string(static_cast<const char*>(data), length), false});
}

void FaultyDisk::Truncated(const std::string& path, std::int64_t size) {
    const std::lock_guard guard(mutex);
    if (remembering) images[path].since.push_back({size, {}, true});
}

void FaultyDisk::Synced(const std::string& path) {
    const std::lock_guard guard(mutex);
    Image& image = images[path];
    for (const Write& write : image.since) Apply(image.durable, write, write.data.size());
    image.since.clear();
}

void FaultyDisk::Deleted(const std::string& path) {
    const std::lock_guard guard(mutex);
    images.erase(path);
}

void FaultyDisk::LayOut(const std::filesystem::path& folder, std::uint32_t seed) {
    const std::lock_guard guard(mutex);
    std::mt19937 chance(seed);
    for (const auto& [path, image] : images) {
        std::string content = image.durable;
        for (const Write& write : image.since) {
            const auto fate = chance() % 4;
            if (fate == 0) continue;
            const std::size_t whole = write.data.size();
            Apply(content, write, fate == 1 && whole > 0 ? chance() % whole : whole);
        }
        std::ofstream(folder / std::filesystem::path(path).filename(), std::ios::binary) << content;
    }
}

}  // namespace Drive::Testing
