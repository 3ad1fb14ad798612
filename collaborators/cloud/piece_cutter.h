#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "interfaces/cloud/file_trans_request.h"

namespace Drive::Cloud {

/// Cuts a body into the pieces of the receiver: at most 64 KiB each, cut at the multiples of 64 KiB counted from the
/// first byte delivered. So no piece straddles a multiple of 4 MiB, which the engine relies on: it passes on one block
/// a piece. What arrives in crumbs is gathered for a moment, because each piece costs the engine a look into its rows.
class PieceCutter {
public:
    explicit PieceCutter(const FileTransRequest::Receiver& receiver);

    /// False when the receiver answered false, now or earlier.
    bool Take(const unsigned char* data, std::size_t size);

    /// Delivers what was gathered too long ago.
    bool Tick();

    /// Delivers the rest; for an empty body one empty piece.
    bool Finish();

    /// Delivers the rest of a body that broke off; never an empty piece.
    bool Flush();

    std::int64_t Delivered() const { return delivered; }
    bool Refused() const { return refused; }

private:
    std::size_t RoomInPiece() const;
    bool Deliver(const unsigned char* data, std::size_t size);

    const FileTransRequest::Receiver& receiver;
    std::vector<unsigned char> gathered;
    std::int64_t gatheredSince = 0;
    std::int64_t delivered = 0;
    bool refused = false;
};

}  // namespace Drive::Cloud
