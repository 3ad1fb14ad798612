// Opening, reading and writing. The names are in name_operations.cpp, the attributes in attribute_operations.cpp.
#include "host/mount/file_operations.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "host/mount/local_calls.h"

namespace Drive::Host {
namespace {

constexpr int kIgnoredFlags = O_APPEND | O_CREAT | O_EXCL | O_NOCTTY | O_NONBLOCK | O_DIRECT;

bool Writes(int flags) { return (flags & O_ACCMODE) != O_RDONLY; }

int OfState(FetchProgress::State state) {
    switch (state) {
        case FetchProgress::State::Ready:
            return 0;
        case FetchProgress::State::Interrupted:
            return EINTR;
        case FetchProgress::State::Failed:
            break;
    }
    return EIO;
}

}  // namespace

// Two readers share one fetch.
void FileOperations::Want(const NodePtr& node) {
    if (!node->fetch) {
        node->fetch = std::make_shared<FetchProgress>(node->cloud.size);
        if (state.ended) {
            node->fetch->Ended(false, "the mount has ended");
            return;
        }
        state.wanted.push_back(node);
        state.wake();
    }
}

int FileOperations::MakeEmptyHere(const NodePtr& node) {
    const std::string path = state.tree.PathOf(*node);
    int descriptor = -1;
    int problem = Local::MakeParents(state.visible, path);
    problem = problem != 0 ? problem : Local::Open(state.visible, path, O_WRONLY | O_CREAT | O_TRUNC, 0666, descriptor);
    if (problem == 0) {
        close(descriptor);
        node->here = true;
        node->fetch.reset();  // who reads the earlier content goes on with it
        node->base = node->cloud.contentVersion;
        if (node->InCloud()) {
            RememberBase(state, *node);
        }
        TouchContent(state, node);
    }
    return problem;
}

// Looking at processes takes a while and is done for placeholders alone.
bool FileOperations::MayFetch(std::uint64_t number, const Caller& caller) {
    {
        const std::lock_guard lock(state.mutex);
        const NodePtr node = state.tree.ByNumber(number);
        if (!node || node->here || node->cloud.size == 0) {
            return true;
        }
    }
    return guard.MayFetch(caller.process);
}

int FileOperations::Open(std::uint64_t number, int flags, const Caller& caller, std::unique_ptr<Handle>& handle) {
    const bool mayFetch = MayFetch(number, caller);
    const std::lock_guard lock(state.mutex);
    const NodePtr node = state.tree.ByNumber(number);
    return node ? OpenNode(node, flags, mayFetch, handle) : ENOENT;
}

int FileOperations::OpenNode(const NodePtr& node, int flags, bool mayFetch, std::unique_ptr<Handle>& handle) {
    if (node->isFolder) {
        return EISDIR;
    }
    auto opened = std::make_unique<Handle>();
    opened->node = node;
    opened->writes = Writes(flags);
    if ((flags & O_TRUNC) != 0 && opened->writes && !node->here && node->Linked()) {
        if (const int problem = MakeEmptyHere(node); problem != 0) {
            return problem;
        }
    }
    if (node->here && node->Linked() && !node->dirty && node->InCloud() &&
        state.visible.Look(state.tree.PathOf(*node)).kind == FileKind::Absent) {
        node->here = false;  // somebody took it out of the root
    }
    if (!node->here && node->cloud.size > 0 && !mayFetch) {
        return EACCES;
    }
    if (node->here) {
        int descriptor = -1;
        const int access = opened->writes ? O_RDWR | (flags & O_TRUNC) : O_RDONLY;
        const int problem = node->Linked()
                                ? Local::Open(state.visible, state.tree.PathOf(*node),
                                              access | (flags & ~(kIgnoredFlags | O_ACCMODE | O_TRUNC)), 0, descriptor)
                                : ESTALE;
        if (problem != 0) {
            return problem;
        }
        opened->file = std::make_shared<OpenFile>(descriptor);
        opened->writable = opened->writes;
        node->open = opened->file;
    }
    if (opened->writes) {
        ++node->writers;
        if ((flags & O_TRUNC) != 0) {
            TouchContent(state, node);
        }
    }
    handle = std::move(opened);
    return 0;
}

// Where the content of a handle is that was opened on a placeholder. With the handle's mutex held.
int FileOperations::FindContent(Handle& handle) {
    const std::lock_guard lock(state.mutex);
    const NodePtr& node = handle.node;
    if (handle.file || handle.fetch) {
        return 0;
    }
    if (node->here && node->Linked()) {
        int descriptor = -1;
        const int problem = Local::Open(state.visible, state.tree.PathOf(*node), O_RDONLY, 0, descriptor);
        if (problem == 0) {
            handle.file = std::make_shared<OpenFile>(descriptor);
            node->open = handle.file;
        }
        return problem == ENOENT ? EIO : problem;
    }
    if (node->Linked() && node->cloud.size == 0) {
        return 0;
    }
    if (!node->Linked() && !node->fetch) {
        return EIO;  // it was removed before anybody read it: there is nothing to bring any more
    }
    Want(node);
    handle.fetch = node->fetch;
    return 0;
}

int FileOperations::Read(Handle& handle, std::int64_t offset, std::size_t length, const Caller& caller,
                         std::vector<char>& data) {
    std::unique_lock lock(handle.mutex);
    if (const int problem = FindContent(handle); problem != 0) {
        return problem;
    }
    const std::shared_ptr<OpenFile> here = handle.file;
    const std::shared_ptr<FetchProgress> fetch = handle.fetch;
    lock.unlock();
    if (!here && !fetch) {
        return 0;  // an empty file has nothing to bring
    }
    std::shared_ptr<OpenFile> file = here;
    if (!file) {
        const auto wanted = static_cast<std::int64_t>(length);
        if (const int problem = OfState(fetch->WaitFor(offset, wanted, caller.interrupted)); problem != 0) {
            return problem;
        }
        file = fetch->File();
    }
    data.resize(length);
    const ssize_t count = file ? pread(file->Number(), data.data(), length, offset) : -1;
    if (count < 0) {
        return file ? errno : EIO;
    }
    data.resize(static_cast<std::size_t>(count));
    return 0;
}

// What is written to must be whole and in the root.
int FileOperations::MakeWritable(Handle& handle, const Caller& caller) {
    std::unique_lock lock(handle.mutex);
    if (handle.writable) {
        return 0;
    }
    if (const int problem = FindContent(handle); problem != 0) {
        return problem;
    }
    const std::shared_ptr<FetchProgress> fetch = handle.fetch;
    if (!handle.file && !fetch) {
        const std::lock_guard tree(state.mutex);
        if (const int problem = MakeEmptyHere(handle.node); problem != 0) {
            return problem;
        }
        int descriptor = -1;
        const int problem = Local::Open(state.visible, state.tree.PathOf(*handle.node), O_RDWR, 0, descriptor);
        handle.file = problem == 0 ? std::make_shared<OpenFile>(descriptor) : nullptr;
        handle.writable = problem == 0;
        return problem;
    }
    if (!handle.file) {
        lock.unlock();
        if (const int problem = OfState(fetch->WaitForAll(caller.interrupted)); problem != 0) {
            return problem;
        }
        lock.lock();
        handle.file = handle.file ? handle.file : fetch->File();
    }
    if (!handle.file) {
        return EIO;
    }
    // By way of the descriptor: the file may have got another name since, or none.
    const std::string name = "/proc/self/fd/" + std::to_string(handle.file->Number());
    const int descriptor = open(name.c_str(), O_RDWR | O_CLOEXEC);
    if (descriptor < 0) {
        return errno;
    }
    handle.file = std::make_shared<OpenFile>(descriptor);
    handle.writable = true;
    return 0;
}

int FileOperations::Write(Handle& handle, std::int64_t offset, const char* data, std::size_t length,
                          const Caller& caller, std::size_t& written) {
    if (offset + static_cast<std::int64_t>(length) > state.largestFile) {
        return EFBIG;
    }
    if (const int problem = MakeWritable(handle, caller); problem != 0) {
        return problem;
    }
    {
        // Before the write: an upload that is about to begin must not take the earlier content for the last one.
        const std::lock_guard lock(state.mutex);
        TouchContent(state, handle.node);
    }
    const ssize_t count = pwrite(handle.file->Number(), data, length, offset);
    if (count < 0) {
        return errno;
    }
    written = static_cast<std::size_t>(count);
    return 0;
}

int FileOperations::Sync(Handle& handle, bool dataOnly) {
    std::shared_ptr<OpenFile> file;
    {
        const std::lock_guard lock(handle.mutex);
        file = handle.writable ? handle.file : nullptr;
    }
    if (!file) {
        return 0;
    }
    if ((dataOnly ? fdatasync(file->Number()) : fsync(file->Number())) != 0) {
        return errno;
    }
    const std::lock_guard lock(state.mutex);
    if (!handle.node->Linked()) {
        return 0;
    }
    return Local::SyncFolder(state.visible, state.tree.PathOf(*handle.node->parent));
}

int FileOperations::SyncFolder(std::uint64_t number) {
    const std::lock_guard lock(state.mutex);
    NodePtr folder;
    const int problem = FolderOf(number, folder);
    return problem != 0 || (!folder->Linked() && folder != state.tree.Root())
               ? problem
               : Local::SyncFolder(state.visible, state.tree.PathOf(*folder));
}

void FileOperations::Release(Handle& handle) {
    const std::lock_guard lock(state.mutex);
    if (handle.writes) {
        --handle.node->writers;
        if (handle.node->dirty) {
            Touch(state, handle.node);
        }
    }
}

}  // namespace Drive::Host
