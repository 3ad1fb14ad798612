#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace Drive::ReferenceCloud {

/// An object on its way in. Destroyed without Commit it leaves nothing behind. One thread at a time.
class ObjectWriter {
public:
    virtual ~ObjectWriter() = default;
    virtual void Append(std::string_view bytes) = 0;
    /// Puts the object in place and returns its key.
    virtual std::string Commit() = 0;
};

/// An object on its way out. It can be read to its end even when it is removed meanwhile, or reading fails from then
/// on, where the store cannot keep that.
class ObjectReader {
public:
    virtual ~ObjectReader() = default;
    virtual std::int64_t Size() const = 0;
    /// Up to `length` bytes from `offset`; 0 only at the end.
    virtual std::size_t Read(std::int64_t offset, char* buffer, std::size_t length) = 0;
};

/// Where the bytes live. Objects never change once they are there. Any thread. Failures throw std::exception.
class ObjectStore {
public:
    virtual ~ObjectStore() = default;
    /// `sync` true: the object survives a power cut when its Commit returns; false: only after Flush.
    virtual std::unique_ptr<ObjectWriter> Create(bool sync = true) = 0;
    /// Null when there is no such object.
    virtual std::shared_ptr<ObjectReader> Open(const std::string& key) = 0;
    /// Quiet when there is none.
    virtual void Remove(const std::string& key) = 0;
    /// Makes durable whatever was committed without sync.
    virtual void Flush() = 0;
    /// Every key, in any order.
    virtual void ForEach(const std::function<void(const std::string&)>& visit) = 0;
    /// Removes what unfinished writers of an ended process left. Only while nobody writes.
    virtual void DropUnfinished() = 0;
};

}  // namespace Drive::ReferenceCloud
