#include "reference_cloud/content_source.h"

#include <algorithm>
#include <stdexcept>

#include "interfaces/cloud/wire/codes.h"
#include "reference_cloud/byte_range.h"

namespace Drive::ReferenceCloud {

namespace {

constexpr std::size_t kKeepOpen = 64;

}  // namespace

PiecesSource::PiecesSource(ObjectStore& store, const std::vector<StoredObject>& pieces) : store_(store) {
    std::int64_t begin = 0;
    for (const StoredObject& piece : pieces) {
        pieces_.push_back({begin, begin + piece.length, piece.blob, nullptr});
        begin += piece.length;
        if (pieces.size() <= kKeepOpen) pieces_.back().reader = store_.Open(piece.blob);
    }
}

std::size_t PiecesSource::Read(std::int64_t offset, char* buffer, std::size_t length) {
    const auto found = std::upper_bound(pieces_.begin(), pieces_.end(), offset,
                                        [](std::int64_t value, const Piece& piece) { return value < piece.end; });
    if (found == pieces_.end()) return 0;
    if (!found->reader) found->reader = store_.Open(found->blob);
    if (!found->reader) throw std::runtime_error("an object of the content is not in the store");
    const auto wanted = std::min(static_cast<std::int64_t>(length), found->end - offset);
    const std::size_t count = found->reader->Read(offset - found->begin, buffer, static_cast<std::size_t>(wanted));
    if (pieces_.size() > kKeepOpen && offset + static_cast<std::int64_t>(count) == found->end) found->reader.reset();
    return count;
}

Response RangedResponse(const Request& request, std::int64_t size,
                        const std::function<std::shared_ptr<BodySource>()>& open) {
    // A range belongs to GET alone; HEAD tells of the whole.
    const RangeAnswer range = ChooseRange(request.method == "GET" ? request.Header("range") : "", size);
    Response response;
    if (range.status == 416) {
        response = RefusalResponse(416, Drive::Cloud::Wire::kBadRequest, "the range begins behind the end of the file");
        response.headers["Content-Range"] = "bytes */" + std::to_string(size);
        return response;
    }
    response.status = range.status;
    response.headers["Accept-Ranges"] = "bytes";
    if (range.status == 206) {
        response.headers["Content-Range"] = "bytes " + std::to_string(range.offset) + "-" +
                                            std::to_string(range.offset + range.length - 1) + "/" +
                                            std::to_string(size);
    }
    response.offset = range.offset;
    response.length = range.length;
    if (range.length > 0) response.source = open();
    return response;
}

}  // namespace Drive::ReferenceCloud
