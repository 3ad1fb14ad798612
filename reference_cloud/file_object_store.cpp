#include "reference_cloud/file_object_store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include "reference_cloud/crypto.h"
#include "reference_cloud/sync_folder.h"
#include "reference_cloud/text.h"

namespace Drive::ReferenceCloud {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kKeyDigits = 32;
constexpr const char* kUnfinished = "unfinished";
constexpr std::size_t kBlock = 512 * 1024;  // one for each object on its way in
constexpr std::size_t kAlignment = 4096;    // what direct writing asks for
constexpr std::size_t kSpareBlocks = 16;

[[noreturn]] void Fail(const std::string& what) { throw std::system_error(errno, std::generic_category(), what); }

class Descriptor {
public:
    explicit Descriptor(int value) : value_(value) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { Close(); }
    int Get() const { return value_; }
    bool Close() {
        const int value = std::exchange(value_, -1);
        return value < 0 || ::close(value) == 0;
    }

private:
    int value_;
};

/// Aligned blocks of memory, kept for the next object: fresh ones would cost a page fault for every page of it.
class Blocks {
public:
    struct Free {
        void operator()(char* block) const { std::free(block); }
    };
    using Block = std::unique_ptr<char, Free>;

    Block Take() {
        {
            const std::lock_guard lock(mutex_);
            if (!spare_.empty()) {
                Block block = std::move(spare_.back());
                spare_.pop_back();
                return block;
            }
        }
        Block block(static_cast<char*>(std::aligned_alloc(kAlignment, kBlock)));
        if (!block) throw std::bad_alloc();
        return block;
    }

    void Give(Block block) {
        const std::lock_guard lock(mutex_);
        if (block && spare_.size() < kSpareBlocks) spare_.push_back(std::move(block));
    }

private:
    std::mutex mutex_;
    std::vector<Block> spare_;  // guarded by mutex_
};

/// The bytes of an object on their way to its file: whole blocks past the page cache, which nobody will read them from
/// soon enough to be worth a second copy of each; the rest, and all of it where the file system knows no direct
/// writing, through the cache.
class BlockFile {
public:
    BlockFile(fs::path path, std::shared_ptr<Blocks> blocks, bool direct)
        : path_(std::move(path)),
          blocks_(std::move(blocks)),
          file_(::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)),
          mayBeDirect_(direct) {
        if (file_.Get() < 0) Fail("create object " + path_.string());
    }

    ~BlockFile() { blocks_->Give(std::move(block_)); }

    const fs::path& Path() const { return path_; }

    void Append(std::string_view bytes) {
        if (!block_) block_ = blocks_->Take();
        while (!bytes.empty()) {
            const std::size_t count = bytes.copy(block_.get() + held_, kBlock - held_);
            bytes.remove_prefix(count);
            held_ += count;
            if (held_ < kBlock) return;
            SetDirect(mayBeDirect_);
            WriteHeld();
        }
    }

    void Close(bool sync) {
        SetDirect(false);
        WriteHeld();
        if (sync && ::fsync(file_.Get()) != 0) Fail("sync object " + path_.string());
        if (!file_.Close()) Fail("close object " + path_.string());
    }

private:
    void SetDirect(bool direct) {
        if (direct == isDirect_) return;
        if (::fcntl(file_.Get(), F_SETFL, direct ? O_DIRECT : 0) == 0) {
            isDirect_ = direct;
        } else if (direct) {
            mayBeDirect_ = false;
        } else {
            Fail("write object " + path_.string());
        }
    }

    void WriteHeld() {
        const char* at = block_.get();
        while (held_ > 0) {
            const ssize_t count = ::write(file_.Get(), at, held_);
            if (count < 0 && errno == EINTR) continue;
            if (count < 0 && errno == EINVAL && isDirect_) {  // larger blocks than ours, or the rest of a short write
                mayBeDirect_ = false;
                SetDirect(false);
                continue;
            }
            if (count < 0) Fail("write object " + path_.string());
            at += count;
            held_ -= static_cast<std::size_t>(count);
        }
    }

    const fs::path path_;
    const std::shared_ptr<Blocks> blocks_;
    Descriptor file_;
    Blocks::Block block_;
    std::size_t held_ = 0;
    bool mayBeDirect_;
    bool isDirect_ = false;
};

class FileWriter : public ObjectWriter {
public:
    FileWriter(fs::path root, std::shared_ptr<Blocks> blocks, bool sync)
        : root_(std::move(root)),
          key_(RandomId(kKeyDigits / 2)),
          sync_(sync),
          file_(root_ / kUnfinished / key_, std::move(blocks), sync) {}

    ~FileWriter() override {
        if (!committed_) ::unlink(file_.Path().c_str());
    }

    void Append(std::string_view bytes) override {
        Begin();
        file_.Append(bytes);
        isWhole_ = true;
    }

    std::string Commit() override {
        Begin();
        file_.Close(sync_);
        const fs::path folder = root_ / key_.substr(0, 2);
        fs::rename(file_.Path(), folder / key_);
        committed_ = true;
        if (sync_) SyncFolder(folder);
        return key_;
    }

private:
    /// What failed once is not gone on with: nobody knows what of it is in the file.
    void Begin() {
        if (!std::exchange(isWhole_, false)) throw std::logic_error("an object that could not be written is not taken");
    }

    const fs::path root_;
    const std::string key_;
    const bool sync_;
    BlockFile file_;
    bool isWhole_ = true;
    bool committed_ = false;
};

class FileReader : public ObjectReader {
public:
    FileReader(int file, std::int64_t size) : file_(file), size_(size) {}
    std::int64_t Size() const override { return size_; }
    std::size_t Read(std::int64_t offset, char* buffer, std::size_t length) override {
        for (;;) {
            const ssize_t count = ::pread(file_.Get(), buffer, length, offset);
            if (count >= 0) return static_cast<std::size_t>(count);
            if (errno != EINTR) Fail("read object");
        }
    }

private:
    const Descriptor file_;
    const std::int64_t size_;
};

class FileObjectStore : public ObjectStore {
public:
    explicit FileObjectStore(fs::path root) : root_(std::move(root)) {
        fs::create_directories(root_ / kUnfinished);
        fs::permissions(root_, fs::perms::owner_all);
        // All of them now, and always synced: whoever found one that another had just made could not know whether its
        // name would survive a power cut.
        for (int first = 0; first < 256; ++first)
            fs::create_directory(root_ / ToHex(std::string(1, static_cast<char>(first))));
        SyncFolder(root_);
    }

    std::unique_ptr<ObjectWriter> Create(bool sync) override {
        return std::make_unique<FileWriter>(root_, blocks_, sync);
    }

    std::shared_ptr<ObjectReader> Open(const std::string& key) override {
        if (!IsLowerHex(key, kKeyDigits)) return nullptr;
        const fs::path path = root_ / key.substr(0, 2) / key;
        const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (file < 0 && errno == ENOENT) return nullptr;
        if (file < 0) Fail("open object " + path.string());
        struct stat status {};
        if (::fstat(file, &status) != 0) {
            ::close(file);
            Fail("look at object " + path.string());
        }
        return std::make_shared<FileReader>(file, status.st_size);
    }

    void Remove(const std::string& key) override {
        if (IsLowerHex(key, kKeyDigits)) fs::remove(root_ / key.substr(0, 2) / key);
    }

    void Flush() override {
        const Descriptor descriptor(::open(root_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (descriptor.Get() < 0 || ::syncfs(descriptor.Get()) != 0) Fail("sync store " + root_.string());
    }

    void ForEach(const std::function<void(const std::string&)>& visit) override {
        for (const auto& folder : fs::directory_iterator(root_)) {
            if (folder.path().filename() == kUnfinished || !folder.is_directory()) continue;
            for (const auto& file : fs::directory_iterator(folder.path())) visit(file.path().filename().string());
        }
    }

    void DropUnfinished() override {
        for (const auto& file : fs::directory_iterator(root_ / kUnfinished)) fs::remove(file.path());
    }

private:
    const fs::path root_;
    const std::shared_ptr<Blocks> blocks_ = std::make_shared<Blocks>();
};

}  // namespace

std::unique_ptr<ObjectStore> OpenFileObjectStore(const std::string& folder) {
    return std::make_unique<FileObjectStore>(folder);
}

}  // namespace Drive::ReferenceCloud
