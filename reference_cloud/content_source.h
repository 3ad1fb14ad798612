#pragma once

#include <memory>
#include <vector>

#include "reference_cloud/http_message.h"
#include "reference_cloud/object_store.h"
#include "reference_cloud/records.h"

namespace Drive::ReferenceCloud {

/// The bytes of several stored objects, one after the other, each as far as its length says. Every object is open when
/// this returns as long as there are few, so that a file replaced meanwhile can still be read to its end.
class PiecesSource : public BodySource {
public:
    /// `store` must outlive the source.
    PiecesSource(ObjectStore& store, const std::vector<StoredObject>& pieces);
    std::size_t Read(std::int64_t offset, char* buffer, std::size_t length) override;

private:
    struct Piece {
        std::int64_t begin;
        std::int64_t end;
        std::string blob;
        std::shared_ptr<ObjectReader> reader;
    };
    ObjectStore& store_;
    std::vector<Piece> pieces_;
};

/// One stored object.
class ObjectSource : public BodySource {
public:
    explicit ObjectSource(std::shared_ptr<ObjectReader> reader) : reader_(std::move(reader)) {}
    std::size_t Read(std::int64_t offset, char* buffer, std::size_t length) override {
        return reader_->Read(offset, buffer, length);
    }

private:
    const std::shared_ptr<ObjectReader> reader_;
};

/// 200, 206 or 416 as the "Range" of the request asks; `open` is called only when bytes are wanted.
Response RangedResponse(const Request& request, std::int64_t size,
                        const std::function<std::shared_ptr<BodySource>()>& open);

}  // namespace Drive::ReferenceCloud
