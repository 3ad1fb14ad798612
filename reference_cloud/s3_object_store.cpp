#include "reference_cloud/s3_object_store.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <system_error>

#include "reference_cloud/crypto.h"
#include "reference_cloud/s3_listing.h"
#include "reference_cloud/text.h"

namespace Drive::ReferenceCloud {

namespace {

constexpr std::size_t kKeyDigits = 32;
constexpr std::int64_t kReadAhead = 1024 * 1024;
constexpr const char* kOwner = "zelkor-cloud-owner";

[[noreturn]] void Fail(const std::string& what) { throw std::system_error(errno, std::generic_category(), what); }

[[noreturn]] void Refused(const S3Place& place, const std::string& what, const S3Answer& answer) {
    throw std::runtime_error("the object store at " + place.endpoint + " answered " + std::to_string(answer.status) +
                             " to " + what + "; check the bucket \"" + place.bucket + "\" and its keys");
}

/// Sends a small text as an object.
void PutText(S3Client& client, const std::string& key, const std::string& text) {
    S3Request put;
    put.method = "PUT", put.key = key, put.sha256 = Sha256Hex(text),
    put.length = static_cast<std::int64_t>(text.size());
    put.body = [&](std::int64_t offset, char* buffer, std::size_t length) {
        return text.copy(buffer, length, static_cast<std::size_t>(offset));
    };
    const S3Answer answer = client.Send(put);
    if (answer.status != 200) Refused(client.Place(), "an object that was sent", answer);
}

class S3Writer : public ObjectWriter {
public:
    S3Writer(S3Client& client, const std::string& spoolFolder)
        : client_(client),
          key_(RandomId(kKeyDigits / 2)),
          spool_(::open(spoolFolder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600)) {
        if (spool_ < 0) Fail("make a file in " + spoolFolder);
    }
    ~S3Writer() override { ::close(spool_); }

    void Append(std::string_view bytes) override {
        digest_.Add(bytes);
        while (!bytes.empty()) {
            const ssize_t count = ::write(spool_, bytes.data(), bytes.size());
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) Fail("write an object on its way to the store");
            bytes.remove_prefix(static_cast<std::size_t>(count));
            length_ += count;
        }
    }

    std::string Commit() override {
        S3Request put;
        put.method = "PUT", put.key = key_, put.sha256 = digest_.Hex(), put.length = length_;
        put.body = [this](std::int64_t offset, char* buffer, std::size_t length) {
            const ssize_t count = ::pread(spool_, buffer, length, offset);
            if (count < 0) Fail("read an object on its way to the store");
            return static_cast<std::size_t>(count);
        };
        const S3Answer answer = client_.Send(put);
        if (answer.status != 200) Refused(client_.Place(), "an object that was sent", answer);
        return key_;
    }

private:
    S3Client& client_;
    const std::string key_;
    const int spool_;
    Digest digest_ = Digest::Sha256();
    std::int64_t length_ = 0;
};

/// Reads on from where it is asked, some way ahead.
class S3Reader : public ObjectReader {
public:
    S3Reader(S3Client& client, std::string key, std::int64_t size)
        : client_(client), key_(std::move(key)), size_(size) {}
    std::int64_t Size() const override { return size_; }

    std::size_t Read(std::int64_t offset, char* buffer, std::size_t length) override {
        if (offset >= size_) return 0;
        const std::lock_guard lock(mutex_);
        if (offset < begin_ || offset >= begin_ + static_cast<std::int64_t>(ahead_.size())) Fetch(offset);
        return ahead_.copy(buffer, length, static_cast<std::size_t>(offset - begin_));
    }

private:
    void Fetch(std::int64_t offset) {
        const std::int64_t end = std::min(size_, offset + kReadAhead);
        S3Request get;
        get.method = "GET", get.key = key_, get.range = std::to_string(offset) + "-" + std::to_string(end - 1);
        S3Answer answer = client_.Send(get);
        if (answer.status != 206 || static_cast<std::int64_t>(answer.body.size()) != end - offset) {
            Refused(client_.Place(), "a part of an object", answer);
        }
        ahead_ = std::move(answer.body);
        begin_ = offset;
    }

    S3Client& client_;
    const std::string key_;
    const std::int64_t size_;
    std::mutex mutex_;
    // Guarded by mutex_.
    std::string ahead_;
    std::int64_t begin_ = 0;
};

class S3ObjectStore : public ObjectStore {
public:
    S3ObjectStore(S3Place place, std::string spoolFolder, const std::string& owner)
        : client_(std::move(place)), spoolFolder_(std::move(spoolFolder)) {
        std::filesystem::create_directories(spoolFolder_);
        Claim(owner);
    }

    std::unique_ptr<ObjectWriter> Create(bool) override { return std::make_unique<S3Writer>(client_, spoolFolder_); }

    std::shared_ptr<ObjectReader> Open(const std::string& key) override {
        if (!IsLowerHex(key, kKeyDigits)) return nullptr;
        S3Request head;
        head.method = "HEAD", head.key = key;
        const S3Answer answer = client_.Send(head);
        if (answer.status == 404) return nullptr;
        if (answer.status != 200 || answer.length < 0) Refused(client_.Place(), "a look at an object", answer);
        return std::make_shared<S3Reader>(client_, key, answer.length);
    }

    /// An object that cannot be removed now is found at the next start: no request fails for it.
    void Remove(const std::string& key) override {
        if (!IsLowerHex(key, kKeyDigits)) return;
        S3Request remove;
        remove.method = "DELETE", remove.key = key;
        try {
            const S3Answer answer = client_.Send(remove);
            if (answer.status / 100 != 2 && answer.status != 404) Refused(client_.Place(), "a removal", answer);
        } catch (const std::exception& error) {
            std::cerr << "zelkor-cloud: an object stays until the next start: " << error.what() << std::endl;
        }
    }

    void Flush() override {}  // the store keeps what it has answered

    void ForEach(const std::function<void(const std::string&)>& visit) override {
        const std::string& prefix = client_.Place().prefix;
        S3Request list;
        list.method = "GET";
        list.query = {{"list-type", "2"}, {"prefix", prefix}};
        for (;;) {
            const S3Answer answer = client_.Send(list);
            if (answer.status != 200) Refused(client_.Place(), "the list of its objects", answer);
            const S3Listing page = ReadS3Listing(answer.body);
            for (const std::string& name : page.keys) {
                if (name.compare(0, prefix.size(), prefix) != 0) continue;
                const std::string key = name.substr(prefix.size());
                if (IsLowerHex(key, kKeyDigits)) visit(key);  // nothing else is ours
            }
            if (page.next.empty()) return;
            list.query["continuation-token"] = page.next;
        }
    }

    void DropUnfinished() override {}  // a file without a name went with its process

private:
    void Claim(const std::string& owner) {
        S3Request get;
        get.method = "GET", get.key = kOwner;
        const S3Answer answer = client_.Send(get);
        if (answer.status == 404) return PutText(client_, kOwner, owner);
        if (answer.status != 200) Refused(client_.Place(), "the question who it belongs to", answer);
        if (answer.body != owner) {
            throw std::runtime_error("the bucket \"" + client_.Place().bucket + "\" with the prefix \"" +
                                     client_.Place().prefix + "\" belongs to another cloud; choose another prefix");
        }
    }

    S3Client client_;
    const std::string spoolFolder_;
};

}  // namespace

std::unique_ptr<ObjectStore> OpenS3ObjectStore(S3Place place, const std::string& spoolFolder,
                                               const std::string& owner) {
    return std::make_unique<S3ObjectStore>(std::move(place), spoolFolder, owner);
}

}  // namespace Drive::ReferenceCloud
