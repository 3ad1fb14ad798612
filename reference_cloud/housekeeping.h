#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

namespace Drive::ReferenceCloud {

struct Cloud;

/// Clears away what nobody needs any more: store files that no row names, uploads that nobody goes on with, contents
/// that were replaced, deleted files whose time is over.
class Housekeeping {
public:
    explicit Housekeeping(Cloud& cloud) : cloud_(cloud) {}
    ~Housekeeping();

    /// Removes unfinished and unnamed files of the store. Only while nobody else writes to it.
    void ClearStore();
    /// One pass over uploads, contents and deleted files.
    void Sweep();
    /// A thread that sweeps every minute.
    void Start();

private:
    bool SweepUploads();
    bool SweepDeleted();
    bool SweepContents();

    Cloud& cloud_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stop_ = false;  // guarded by mutex_
    std::thread thread_;
};

}  // namespace Drive::ReferenceCloud
