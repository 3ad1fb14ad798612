#include "collaborators/common/digest_beside.h"

#include <system_error>

namespace Drive::Common {

DigestBeside::DigestBeside(const EVP_MD* algorithm, bool withThread) : digest(algorithm) {
    if (!withThread) {
        return;
    }
    try {
        thread = std::thread([this] { Work(); });
    } catch (const std::system_error&) {
        // No thread to be had: slower, with the same result.
    }
}

DigestBeside::~DigestBeside() { Stop(); }

void DigestBeside::AwaitFree() {
    std::unique_lock<std::mutex> lock(mutex);
    doneChanged.wait(lock, [this] { return given < done + kBlocks; });
}

void DigestBeside::Hand(const unsigned char* data, std::size_t length) {
    if (!thread.joinable()) {
        digest.Add(data, length);
        return;
    }
    {
        const std::lock_guard<std::mutex> lock(mutex);
        pieces[given % kBlocks] = {data, length};
        ++given;
    }
    givenChanged.notify_one();
}

bool DigestBeside::Finish(unsigned char* result) {
    Stop();
    return digest.Finish(result);
}

void DigestBeside::Stop() {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        ending = true;
    }
    givenChanged.notify_one();
    if (thread.joinable()) {
        thread.join();
    }
}

void DigestBeside::Work() {
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        givenChanged.wait(lock, [this] { return done < given || ending; });
        if (done == given) {
            return;
        }
        const Piece piece = pieces[done % kBlocks];
        lock.unlock();
        digest.Add(piece.data, piece.length);
        lock.lock();
        ++done;
        doneChanged.notify_one();
    }
}

}  // namespace Drive::Common
