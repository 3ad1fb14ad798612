#include "reference_cloud/cloud.h"

#include <chrono>
#include <filesystem>

#include "reference_cloud/file_object_store.h"
#include "reference_cloud/sqlite_metadata.h"
#include "reference_cloud/sync_folder.h"

namespace Drive::ReferenceCloud {

namespace fs = std::filesystem;

std::unique_ptr<Cloud> OpenCloud(const std::string& dataFolder) {
    const fs::path folder(dataFolder);
    if (fs::create_directories(folder)) {
        fs::permissions(folder, fs::perms::owner_all);
        SyncFolder(fs::absolute(folder).parent_path());
    }
    auto cloud = std::make_unique<Cloud>();
    cloud->secrets = Secrets::Open(folder / "secrets.json");
    cloud->metadata = OpenSqliteMetadata(folder / "cloud.db");
    cloud->objects = OpenFileObjectStore(folder / "objects");
    cloud->now = [] {
        using namespace std::chrono;
        return static_cast<std::int64_t>(duration_cast<seconds>(system_clock::now().time_since_epoch()).count());
    };
    cloud->migrating = [] { return false; };
    cloud->quota = [] { return std::nullopt; };
    return cloud;
}

}  // namespace Drive::ReferenceCloud
