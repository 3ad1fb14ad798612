#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "reference_cloud/metadata_store.h"
#include "reference_cloud/object_store.h"
#include "reference_cloud/secrets.h"

namespace Drive::ReferenceCloud {

/// How the cloud behaves; constant once it runs.
struct CloudSettings {
    std::string uploadType = "client";              ///< of users without a setting of their own: "client" or "server"
    std::vector<std::string> serverPatterns;        ///< shell patterns of file names that always go by the file proxy
    std::int64_t sliceSize = 4 * 1024 * 1024;       ///< plain bytes an object
    std::int64_t proxySliceSize = 8 * 1024 * 1024;  ///< bytes a slice of a resumable upload
    std::int64_t addressSeconds = 900;
    std::int64_t accessSeconds = 3600;
    std::int64_t refreshSeconds = 30 * 86400;
    std::int64_t trashSeconds = 30 * 86400;  ///< how long deleted files can be restored
    std::int64_t orphanSeconds = 3600;       ///< how long replaced contents stay for downloads under way
    std::int64_t uploadSeconds = 7 * 86400;  ///< how long an upload that nobody touches stays
    bool migrating = false;
};

/// What every part of the cloud works with. All members may be used from any thread.
struct Cloud {
    CloudSettings settings;
    std::unique_ptr<MetadataStore> metadata;
    std::unique_ptr<ObjectStore> objects;
    Secrets secrets;
    std::function<std::int64_t()> now;  ///< seconds since the epoch
    std::function<bool()> migrating;    ///< true: uploads are turned away for now
    /// Bytes that a user may hold at most, whatever their own quota says; nothing for no such limit.
    std::function<std::optional<std::int64_t>()> quota;

    /// Runs in one transaction and gives back what `work` gives.
    template <class Work>
    auto Change(Work&& work) {
        decltype(work(std::declval<Rows&>())) result{};
        metadata->Change([&](Rows& rows) { result = work(rows); });
        return result;
    }
    template <class Work>
    auto Read(Work&& work) {
        decltype(work(std::declval<Rows&>())) result{};
        metadata->Read([&](Rows& rows) { result = work(rows); });
        return result;
    }
};

/// Where the objects live. It is settled when the first object is stored and remembered in the data folder.
struct ObjectsChoice {
    std::string url;  ///< "s3+http://HOST:PORT/BUCKET/PREFIX" or "s3+https://..."; empty: what is remembered, or here
    std::string keyFile;  ///< access key and secret key, a line each
    std::string region;   ///< empty for the usual one
};

/// Opens what stands in the data folder, making it when it is not there: cloud.db, secrets.json, and objects/ or the
/// store that was chosen. Throws with a text for people.
std::unique_ptr<Cloud> OpenCloud(const std::string& dataFolder, const ObjectsChoice& objects = {});

/// The same without the objects, for commands that need none of them.
std::unique_ptr<Cloud> OpenCloudRows(const std::string& dataFolder);

}  // namespace Drive::ReferenceCloud
