#define FUSE_USE_VERSION 312

#include "host/mount/kernel_session.h"

#include <fcntl.h>
#include <fuse3/fuse_lowlevel.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <exception>
#include <fstream>
#include <thread>

#include "interfaces/logging/sync_panel_log.h"

namespace Drive::Host {
namespace {

constexpr const char* kDevice = "/dev/fuse";
constexpr const char* kType = "fuse.zelkor";
constexpr double kRemembered = 1.0;     // seconds that the kernel believes what it was told
constexpr unsigned kMostWaiting = 500;  // readers of content that is on its way; each holds a thread
constexpr unsigned kIdleThreads = 10;

FileOperations& FilesOf(fuse_req_t request) { return *static_cast<FileOperations*>(fuse_req_userdata(request)); }

Handle& HandleOf(const fuse_file_info* info) { return *reinterpret_cast<Handle*>(info->fh); }

Caller CallerOf(fuse_req_t request) {
    return {fuse_req_ctx(request)->pid, [request] { return fuse_req_interrupted(request) != 0; }};
}

// Nothing must leave a callback of the library: what goes wrong unexpectedly is told to the log and to the program.
template <typename Action>
void Answer(fuse_req_t request, Action&& action) {
    int problem = EIO;
    try {
        problem = action(FilesOf(request));
    } catch (const std::exception& failure) {
        SyncPanelLog::WriteErrorLog("Mount", "Answer", failure.what());
    }
    if (problem >= 0) {
        fuse_reply_err(request, problem);
    }
}

// What an action answers that has replied by itself.
constexpr int kReplied = -1;

int ReplyEntry(fuse_req_t request, const struct stat& facts) {
    fuse_entry_param entry{};
    entry.ino = facts.st_ino;
    entry.attr = facts;
    entry.attr_timeout = entry.entry_timeout = kRemembered;
    fuse_reply_entry(request, &entry);
    return kReplied;
}

int ReplyAttributes(fuse_req_t request, const struct stat& facts) {
    fuse_reply_attr(request, &facts, kRemembered);
    return kReplied;
}

void Init(void*, fuse_conn_info* connection) {
    connection->want |= connection->capable & FUSE_CAP_ATOMIC_O_TRUNC;
    // A reader that waits for the cloud must not keep the others from reading what is here.
    connection->max_background = kMostWaiting;
    connection->congestion_threshold = kMostWaiting;
}

void LookUp(fuse_req_t request, fuse_ino_t folder, const char* name) {
    Answer(request, [&](FileOperations& files) {
        struct stat facts {};
        const int problem = files.Look(folder, name, facts);
        return problem != 0 ? problem : ReplyEntry(request, facts);
    });
}

void Forget(fuse_req_t request, fuse_ino_t number, std::uint64_t lookups) {
    FilesOf(request).Forget(number, lookups);
    fuse_reply_none(request);
}

void ForgetMany(fuse_req_t request, size_t count, fuse_forget_data* all) {
    for (size_t index = 0; index < count; ++index) {
        FilesOf(request).Forget(all[index].ino, all[index].nlookup);
    }
    fuse_reply_none(request);
}

void GetAttributes(fuse_req_t request, fuse_ino_t number, fuse_file_info*) {
    Answer(request, [&](FileOperations& files) {
        struct stat facts {};
        const int problem = files.Attributes(number, facts);
        return problem != 0 ? problem : ReplyAttributes(request, facts);
    });
}

struct timespec TimeOf(int set, int flag, int now, const struct timespec& time) {
    return (set & now) != 0 ? timespec{0, UTIME_NOW} : (set & flag) != 0 ? time : timespec{0, UTIME_OMIT};
}

void SetAttributes(fuse_req_t request, fuse_ino_t number, struct stat* wish, int set, fuse_file_info*) {
    Answer(request, [&](FileOperations& files) {
        AttributeChange change;
        change.setsMode = (set & FUSE_SET_ATTR_MODE) != 0;
        change.mode = wish->st_mode;
        change.setsOwner = (set & (FUSE_SET_ATTR_UID | FUSE_SET_ATTR_GID)) != 0;
        change.user = (set & FUSE_SET_ATTR_UID) != 0 ? wish->st_uid : change.user;
        change.group = (set & FUSE_SET_ATTR_GID) != 0 ? wish->st_gid : change.group;
        change.setsSize = (set & FUSE_SET_ATTR_SIZE) != 0;
        change.size = wish->st_size;
        change.setsTimes = (set & (FUSE_SET_ATTR_ATIME | FUSE_SET_ATTR_MTIME)) != 0;
        change.times[0] = TimeOf(set, FUSE_SET_ATTR_ATIME, FUSE_SET_ATTR_ATIME_NOW, wish->st_atim);
        change.times[1] = TimeOf(set, FUSE_SET_ATTR_MTIME, FUSE_SET_ATTR_MTIME_NOW, wish->st_mtim);
        struct stat facts {};
        const int problem = files.Change(number, change, CallerOf(request), facts);
        return problem != 0 ? problem : ReplyAttributes(request, facts);
    });
}

void OpenFolder(fuse_req_t request, fuse_ino_t number, fuse_file_info* info) {
    Answer(request, [&](FileOperations& files) {
        auto names = std::make_unique<std::vector<ListedName>>();
        if (const int problem = files.Names(number, *names); problem != 0) {
            return problem;
        }
        info->fh = reinterpret_cast<std::uint64_t>(names.get());
        if (fuse_reply_open(request, info) == 0) {
            names.release();  // ReleaseFolder has it now
        }
        return kReplied;
    });
}

void ReadFolder(fuse_req_t request, fuse_ino_t, size_t size, off_t offset, fuse_file_info* info) {
    Answer(request, [&](FileOperations&) {
        const auto& names = *reinterpret_cast<std::vector<ListedName>*>(info->fh);
        std::vector<char> buffer(size);
        size_t used = 0;
        for (auto index = static_cast<size_t>(offset); index < names.size(); ++index) {
            struct stat facts {};
            facts.st_ino = names[index].number;
            facts.st_mode = names[index].isFolder ? S_IFDIR : S_IFREG;
            const size_t needed = fuse_add_direntry(request, buffer.data() + used, size - used,
                                                    names[index].name.c_str(), &facts, static_cast<off_t>(index + 1));
            if (needed > size - used) {
                break;
            }
            used += needed;
        }
        fuse_reply_buf(request, buffer.data(), used);
        return kReplied;
    });
}

void ReleaseFolder(fuse_req_t request, fuse_ino_t, fuse_file_info* info) {
    delete reinterpret_cast<std::vector<ListedName>*>(info->fh);
    fuse_reply_err(request, 0);
}

void Open(fuse_req_t request, fuse_ino_t number, fuse_file_info* info) {
    Answer(request, [&](FileOperations& files) {
        std::unique_ptr<Handle> handle;
        if (const int problem = files.Open(number, info->flags, CallerOf(request), handle); problem != 0) {
            return problem;
        }
        info->fh = reinterpret_cast<std::uint64_t>(handle.get());
        if (fuse_reply_open(request, info) == 0) {
            handle.release();  // Release has it now
        } else {
            files.Release(*handle);
        }
        return kReplied;
    });
}

void Create(fuse_req_t request, fuse_ino_t folder, const char* name, mode_t mode, fuse_file_info* info) {
    Answer(request, [&](FileOperations& files) {
        std::unique_ptr<Handle> handle;
        fuse_entry_param entry{};
        if (const int problem = files.Create(folder, name, mode, info->flags, handle, entry.attr); problem != 0) {
            return problem;
        }
        entry.ino = entry.attr.st_ino;
        entry.attr_timeout = entry.entry_timeout = kRemembered;
        info->fh = reinterpret_cast<std::uint64_t>(handle.get());
        if (fuse_reply_create(request, &entry, info) == 0) {
            handle.release();
        } else {
            files.Release(*handle);
        }
        return kReplied;
    });
}

void Read(fuse_req_t request, fuse_ino_t, size_t size, off_t offset, fuse_file_info* info) {
    Answer(request, [&](FileOperations& files) {
        std::vector<char> data;
        const int problem = files.Read(HandleOf(info), offset, size, CallerOf(request), data);
        if (problem == 0) {
            fuse_reply_buf(request, data.data(), data.size());
        }
        return problem != 0 ? problem : kReplied;
    });
}

void Write(fuse_req_t request, fuse_ino_t, const char* data, size_t size, off_t offset, fuse_file_info* info) {
    Answer(request, [&](FileOperations& files) {
        size_t written = 0;
        const int problem = files.Write(HandleOf(info), offset, data, size, CallerOf(request), written);
        if (problem == 0) {
            fuse_reply_write(request, written);
        }
        return problem != 0 ? problem : kReplied;
    });
}

void Release(fuse_req_t request, fuse_ino_t, fuse_file_info* info) {
    const std::unique_ptr<Handle> handle(&HandleOf(info));
    FilesOf(request).Release(*handle);
    fuse_reply_err(request, 0);
}

void Sync(fuse_req_t request, fuse_ino_t, int dataOnly, fuse_file_info* info) {
    Answer(request, [&](FileOperations& files) { return files.Sync(HandleOf(info), dataOnly != 0); });
}

void SyncFolder(fuse_req_t request, fuse_ino_t number, int, fuse_file_info*) {
    Answer(request, [&](FileOperations& files) { return files.SyncFolder(number); });
}

void MakeFolder(fuse_req_t request, fuse_ino_t folder, const char* name, mode_t mode) {
    Answer(request, [&](FileOperations& files) {
        struct stat facts {};
        const int problem = files.MakeFolder(folder, name, mode, facts);
        return problem != 0 ? problem : ReplyEntry(request, facts);
    });
}

void RemoveFile(fuse_req_t request, fuse_ino_t folder, const char* name) {
    Answer(request, [&](FileOperations& files) { return files.RemoveFile(folder, name); });
}

void RemoveFolder(fuse_req_t request, fuse_ino_t folder, const char* name) {
    Answer(request, [&](FileOperations& files) { return files.RemoveFolder(folder, name); });
}

void Rename(fuse_req_t request, fuse_ino_t folder, const char* name, fuse_ino_t newFolder, const char* newName,
            unsigned flags) {
    Answer(request, [&](FileOperations& files) {
        return (flags & ~RENAME_NOREPLACE) != 0
                   ? EINVAL
                   : files.Rename(folder, name, newFolder, newName, (flags & RENAME_NOREPLACE) == 0);
    });
}

// Links do not travel.
void MakeLink(fuse_req_t request, const char*, fuse_ino_t, const char*) { fuse_reply_err(request, EPERM); }
void MakeName(fuse_req_t request, fuse_ino_t, fuse_ino_t, const char*) { fuse_reply_err(request, EPERM); }

void Space(fuse_req_t request, fuse_ino_t) {
    Answer(request, [&](FileOperations& files) {
        struct statvfs facts {};
        const int problem = files.Space(facts);
        if (problem == 0) {
            fuse_reply_statfs(request, &facts);
        }
        return problem != 0 ? problem : kReplied;
    });
}

fuse_lowlevel_ops Operations() {
    fuse_lowlevel_ops operations{};
    operations.init = Init;
    operations.lookup = LookUp;
    operations.forget = Forget;
    operations.forget_multi = ForgetMany;
    operations.getattr = GetAttributes;
    operations.setattr = SetAttributes;
    operations.opendir = OpenFolder;
    operations.readdir = ReadFolder;
    operations.releasedir = ReleaseFolder;
    operations.open = Open;
    operations.create = Create;
    operations.read = Read;
    operations.write = Write;
    operations.release = Release;
    operations.fsync = Sync;
    operations.fsyncdir = SyncFolder;
    operations.mkdir = MakeFolder;
    operations.unlink = RemoveFile;
    operations.rmdir = RemoveFolder;
    operations.rename = Rename;
    operations.symlink = MakeLink;
    operations.link = MakeName;
    operations.statfs = Space;
    return operations;
}

void RunHelper(const std::string& mountPoint) {
    const pid_t child = fork();
    if (child == 0) {
        execlp("fusermount3", "fusermount3", "-u", "-z", "-q", mountPoint.c_str(), nullptr);
        _exit(127);
    }
    int status = 0;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
}

// Why nothing can be mounted, in words for people.
std::string Reason(const std::string& mountPoint) {
    if (access(kDevice, R_OK | W_OK) != 0) {
        return std::string("cannot mount: ") + kDevice + " cannot be used here (" + std::strerror(errno) +
               "). Load the kernel module 'fuse', or give the container that device";
    }
    return "cannot mount on " + mountPoint +
           "; it must be an empty folder of yours, and the package fuse3 must be "
           "installed";
}

}  // namespace

bool IsCutOffMount(const std::string& mountPoint) {
    // Opened, since what the kernel remembers of the folder answers for a while after the process has gone.
    const OpenFile folder(open(mountPoint.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.Number() >= 0 || (errno != ENOTCONN && errno != ECONNABORTED)) {
        return false;
    }
    std::ifstream mounts("/proc/self/mountinfo");
    for (std::string line; std::getline(mounts, line);) {
        if (line.find(" " + mountPoint + " ") != std::string::npos &&
            line.find(std::string(" - ") + kType + " ") != std::string::npos) {
            return true;
        }
    }
    return false;
}

struct KernelSession::Body {
    FileOperations& files;
    fuse_session* session = nullptr;
    std::thread loop;
    std::atomic<bool> ended{false};

    void Serve() {
        fuse_loop_config* const config = fuse_loop_cfg_create();
        fuse_loop_cfg_set_max_threads(config, kMostWaiting + kIdleThreads);
        fuse_loop_cfg_set_idle_threads(config, kIdleThreads);
        fuse_session_loop_mt(session, config);
        fuse_loop_cfg_destroy(config);
        ended = true;
    }
};

KernelSession::KernelSession(FileOperations& files) : body(new Body{files, nullptr, {}, {}}) {}

KernelSession::~KernelSession() {
    Stop();
    delete body;
}

bool KernelSession::Start(const std::string& mountPoint, std::string& error) {
    if (IsCutOffMount(mountPoint) && umount2(mountPoint.c_str(), MNT_DETACH) != 0) {
        RunHelper(mountPoint);
    }
    char* words[] = {const_cast<char*>("zelkor-drive"), const_cast<char*>("-o"),
                     const_cast<char*>("default_permissions,fsname=zelkor-drive,subtype=zelkor")};
    fuse_args arguments = FUSE_ARGS_INIT(3, words);
    static const fuse_lowlevel_ops operations = Operations();
    body->session = fuse_session_new(&arguments, &operations, sizeof operations, &body->files);
    fuse_opt_free_args(&arguments);
    if (body->session == nullptr || fuse_session_mount(body->session, mountPoint.c_str()) != 0) {
        error = Reason(mountPoint);
        if (body->session != nullptr) {
            fuse_session_destroy(body->session);
            body->session = nullptr;
        }
        return false;
    }
    body->loop = std::thread([this] { body->Serve(); });
    return true;
}

bool KernelSession::Ended() const { return body->ended; }

void KernelSession::Stop() {
    if (body->session == nullptr) {
        return;
    }
    fuse_session_exit(body->session);
    fuse_session_unmount(body->session);
    body->loop.join();
    fuse_session_destroy(body->session);
    body->session = nullptr;
}

}  // namespace Drive::Host
