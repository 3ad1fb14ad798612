#include "reference_cloud/file_object_store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "reference_cloud/crypto.h"
#include "reference_cloud/sync_folder.h"
#include "reference_cloud/text.h"

namespace Drive::ReferenceCloud {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kKeyDigits = 32;
constexpr const char* kUnfinished = "unfinished";

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

class FileWriter : public ObjectWriter {
public:
    explicit FileWriter(fs::path root)
        : root_(std::move(root)),
          key_(RandomId(kKeyDigits / 2)),
          path_(root_ / kUnfinished / key_),
          file_(::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)) {
        if (file_.Get() < 0) Fail("create object " + path_.string());
    }

    ~FileWriter() override {
        if (!committed_) ::unlink(path_.c_str());
    }

    void Append(std::string_view bytes) override {
        while (!bytes.empty()) {
            const ssize_t count = ::write(file_.Get(), bytes.data(), bytes.size());
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) Fail("write object " + path_.string());
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
    }

    std::string Commit(bool sync) override {
        if (sync && ::fsync(file_.Get()) != 0) Fail("sync object " + path_.string());
        if (!file_.Close()) Fail("close object " + path_.string());
        const fs::path folder = root_ / key_.substr(0, 2);
        fs::rename(path_, folder / key_);
        committed_ = true;
        if (sync) SyncFolder(folder);
        return key_;
    }

private:
    const fs::path root_;
    const std::string key_;
    const fs::path path_;
    Descriptor file_;
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

    std::unique_ptr<ObjectWriter> Create() override { return std::make_unique<FileWriter>(root_); }

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
};

}  // namespace

std::unique_ptr<ObjectStore> OpenFileObjectStore(const std::string& folder) {
    return std::make_unique<FileObjectStore>(folder);
}

}  // namespace Drive::ReferenceCloud
