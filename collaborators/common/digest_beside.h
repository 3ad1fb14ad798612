#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "collaborators/common/digest.h"

namespace Drive::Common {

/// A digest that a second thread makes beside the reader's work. Blocks go round: the reader waits until one is free,
/// fills it, hands it over, and must leave it alone until it is free again. The blocks outlive this object. Without a
/// thread to be had the work is done where it is handed over.
class DigestBeside {
public:
    /// Blocks that may be under way at once; block n is free when block n - kBlocks has been done.
    static constexpr std::size_t kBlocks = 3;

    DigestBeside(const EVP_MD* algorithm, bool withThread);
    ~DigestBeside();
    DigestBeside(const DigestBeside&) = delete;
    DigestBeside& operator=(const DigestBeside&) = delete;

    /// Waits until the next block to be handed over is free.
    void AwaitFree();

    /// Hands over the next block.
    void Hand(const unsigned char* data, std::size_t length);

    /// Waits for all of it. False when the digest failed.
    bool Finish(unsigned char* result);

private:
    struct Piece {
        const unsigned char* data = nullptr;
        std::size_t length = 0;
    };

    void Work();
    void Stop();

    // Touched by the thread while it runs, by the reader when it has been joined or was never started.
    RunningDigest digest;

    std::mutex mutex;
    std::condition_variable givenChanged;
    std::condition_variable doneChanged;
    // Guarded by mutex.
    std::array<Piece, kBlocks> pieces{};
    std::uint64_t given = 0;
    std::uint64_t done = 0;
    bool ending = false;

    // Of the reader alone.
    std::thread thread;
};

}  // namespace Drive::Common
