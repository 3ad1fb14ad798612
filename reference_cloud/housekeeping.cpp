#include "reference_cloud/housekeeping.h"

#include <iostream>
#include <vector>

#include "reference_cloud/cloud.h"
#include "reference_cloud/tree.h"

namespace Drive::ReferenceCloud {

namespace {

constexpr int kAtOnce = 100;
constexpr auto kPause = std::chrono::seconds(60);

void RemoveAll(ObjectStore& store, const std::vector<std::string>& blobs) {
    for (const auto& blob : blobs) store.Remove(blob);
}

}  // namespace

Housekeeping::~Housekeeping() {
    {
        const std::lock_guard lock(mutex_);
        stop_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable()) thread_.join();
}

void Housekeeping::ClearStore() {
    cloud_.objects->DropUnfinished();
    std::vector<std::string> unnamed;
    cloud_.metadata->Read([&](Rows& rows) {
        cloud_.objects->ForEach([&](const std::string& blob) {
            if (!rows.BlobIsUsed(blob)) unnamed.push_back(blob);
        });
    });
    RemoveAll(*cloud_.objects, unnamed);
}

// The rows go first: a blob that outlives them is found at the next start, a row without its blob would be damage.
bool Housekeeping::SweepUploads() {
    std::vector<std::string> blobs;
    const std::int64_t before = cloud_.now() - cloud_.settings.uploadSeconds;
    const bool more = cloud_.Change([&](Rows& rows) {
        const auto uploads = rows.UploadsBefore(before, kAtOnce);
        for (const Upload& upload : uploads) {
            for (const StoredObject& object : rows.ObjectsOfUpload(upload.cursor)) {
                blobs.push_back(object.blob);
                rows.DropObject(object.id);
            }
            rows.DropUpload(upload.cursor);
        }
        return uploads.size() == kAtOnce;
    });
    RemoveAll(*cloud_.objects, blobs);
    return more;
}

bool Housekeeping::SweepDeleted() {
    const std::int64_t now = cloud_.now();
    return cloud_.Change([&](Rows& rows) {
        const auto files = rows.DeletedBefore(now - cloud_.settings.trashSeconds, kAtOnce);
        for (const FileRow& file : files) Tree::Forget(rows, file, now);
        return files.size() == kAtOnce;
    });
}

bool Housekeeping::SweepContents() {
    std::vector<std::string> blobs;
    const bool more = cloud_.Change([&](Rows& rows) {
        const auto contents = rows.OrphansBefore(cloud_.now() - cloud_.settings.orphanSeconds, kAtOnce);
        for (const Content& content : contents) {
            for (const StoredObject& object : rows.ObjectsOfContent(content.id)) {
                blobs.push_back(object.blob);
                rows.DropObject(object.id);
            }
            rows.DropContent(content.id);
        }
        return contents.size() == kAtOnce;
    });
    RemoveAll(*cloud_.objects, blobs);
    return more;
}

void Housekeeping::Sweep() {
    while (SweepUploads()) {
    }
    while (SweepDeleted()) {
    }
    while (SweepContents()) {
    }
}

void Housekeeping::Start() {
    thread_ = std::thread([this] {
        std::unique_lock lock(mutex_);
        while (!wake_.wait_for(lock, kPause, [this] { return stop_; })) {
            lock.unlock();
            try {
                Sweep();
            } catch (const std::exception& error) {
                std::cerr << "zelkor-cloud: clearing away failed: " << error.what() << std::endl;
            }
            lock.lock();
        }
    });
}

}  // namespace Drive::ReferenceCloud
