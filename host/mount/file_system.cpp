#define FUSE_USE_VERSION 35

#include "host/mount/file_system.h"

#include <fcntl.h>
#include <fuse3/fuse.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <thread>

namespace Drive::Host {
namespace {

struct Context {
    MountedTree& tree;
    const Tree& visible;
};

Context& TheContext() { return *static_cast<Context*>(fuse_get_context()->private_data); }

// The kernel's paths begin with a slash.
std::string Below(const char* path) { return path[0] == '/' ? path + 1 : path; }

void Fill(const MountedNode& node, struct stat& facts) {
    facts = {};
    facts.st_mode = node.isFolder ? S_IFDIR | 0555 : S_IFREG | 0444;
    facts.st_nlink = node.isFolder ? 2 : 1;
    facts.st_uid = getuid();
    facts.st_gid = getgid();
    facts.st_size = node.isFolder ? 0 : node.size;
    facts.st_blocks = (facts.st_size + 511) / 512;
    facts.st_mtim.tv_sec = facts.st_ctim.tv_sec = facts.st_atim.tv_sec = node.editedTime;
}

void* Init(fuse_conn_info*, fuse_config* config) {
    config->kernel_cache = 0;
    config->entry_timeout = config->attr_timeout = 1;
    return fuse_get_context()->private_data;
}

int GetAttributes(const char* path, struct stat* facts, fuse_file_info*) {
    const std::optional<MountedNode> node = TheContext().tree.Look(Below(path));
    if (!node) {
        return -ENOENT;
    }
    Fill(*node, *facts);
    return 0;
}

int ReadFolder(const char* path, void* buffer, fuse_fill_dir_t fill, off_t, fuse_file_info*, fuse_readdir_flags) {
    const std::optional<MountedNode> node = TheContext().tree.Look(Below(path));
    if (!node || !node->isFolder) {
        return node ? -ENOTDIR : -ENOENT;
    }
    fill(buffer, ".", nullptr, 0, fuse_fill_dir_flags(0));
    fill(buffer, "..", nullptr, 0, fuse_fill_dir_flags(0));
    for (const std::string& name : *node->children) {
        fill(buffer, name.c_str(), nullptr, 0, fuse_fill_dir_flags(0));
    }
    return 0;
}

int OpenFile(const char* path, fuse_file_info* info) {
    Context& context = TheContext();
    const std::string below = Below(path);
    const std::optional<MountedNode> node = context.tree.Look(below);
    if (!node || node->isFolder) {
        return node ? -EISDIR : -ENOENT;
    }
    if ((info->flags & O_ACCMODE) != O_RDONLY) {
        return -EROFS;
    }
    switch (context.tree.Bring(below, [] { return fuse_interrupted() != 0; })) {
        case Brought::Here:
            break;
        case Brought::Interrupted:
            return -EINTR;
        case Brought::Failed:
        case Brought::Ended:
            return -EIO;
    }
    const int descriptor = context.visible.OpenForReading(below);
    if (descriptor < 0) {
        return -EIO;
    }
    info->fh = static_cast<std::uint64_t>(descriptor);
    return 0;
}

int ReadFile(const char*, char* buffer, size_t size, off_t offset, fuse_file_info* info) {
    const ssize_t count = pread(static_cast<int>(info->fh), buffer, size, offset);
    return count < 0 ? -errno : static_cast<int>(count);
}

int ReleaseFile(const char*, fuse_file_info* info) {
    close(static_cast<int>(info->fh));
    return 0;
}

int Space(const char*, struct statvfs* facts) {
    return statvfs(TheContext().visible.Root().c_str(), facts) == 0 ? 0 : -errno;
}

fuse_operations Operations() {
    fuse_operations operations{};
    operations.init = Init;
    operations.getattr = GetAttributes;
    operations.readdir = ReadFolder;
    operations.open = OpenFile;
    operations.read = ReadFile;
    operations.release = ReleaseFile;
    operations.statfs = Space;
    return operations;
}

}  // namespace

struct FileSystem::Body {
    Context context;
    fuse* handle = nullptr;
    std::thread loop;
    std::atomic<bool> ended{false};

    void Serve() {
        fuse_loop_config config{};
        config.max_idle_threads = 10;
        fuse_loop_mt(handle, &config);
        ended = true;
    }
};

FileSystem::FileSystem(MountedTree& tree, const Tree& visible) : body(new Body{{tree, visible}, nullptr, {}, {}}) {}

FileSystem::~FileSystem() {
    Stop();
    delete body;
}

bool FileSystem::Start(const std::string& mountPoint, std::string& error) {
    char* words[] = {const_cast<char*>("zelkor-drive"), const_cast<char*>("-o"),
                     const_cast<char*>("ro,default_permissions,fsname=zelkor-drive,subtype=zelkor")};
    fuse_args arguments = FUSE_ARGS_INIT(3, words);
    static const fuse_operations operations = Operations();
    body->handle = fuse_new(&arguments, &operations, sizeof operations, &body->context);
    fuse_opt_free_args(&arguments);
    if (body->handle == nullptr || fuse_mount(body->handle, mountPoint.c_str()) != 0) {
        error = "cannot mount on " + mountPoint +
                "; it must be an empty folder, and fuse3 must be installed. If an earlier mount was cut off there, run "
                "'fusermount3 -u " +
                mountPoint + "' first";
        if (body->handle != nullptr) {
            fuse_destroy(body->handle);
            body->handle = nullptr;
        }
        return false;
    }
    body->loop = std::thread([this] { body->Serve(); });
    return true;
}

bool FileSystem::Ended() const { return body->ended; }

void FileSystem::Stop() {
    if (body->handle == nullptr) {
        return;
    }
    fuse_exit(body->handle);
    fuse_unmount(body->handle);
    body->loop.join();
    fuse_destroy(body->handle);
    body->handle = nullptr;
}

}  // namespace Drive::Host
