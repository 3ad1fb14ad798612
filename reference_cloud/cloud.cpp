#include "reference_cloud/cloud.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "reference_cloud/crypto.h"
#include "reference_cloud/file_object_store.h"
#include "reference_cloud/s3_object_store.h"
#include "reference_cloud/sqlite_metadata.h"
#include "reference_cloud/sync_folder.h"

namespace Drive::ReferenceCloud {

namespace fs = std::filesystem;

namespace {

constexpr const char* kChoiceFile = "objects.url";

bool HoldsObjects(const fs::path& folder) {
    bool holds = false;
    if (fs::exists(folder)) OpenFileObjectStore(folder)->ForEach([&](const std::string&) { holds = true; });
    return holds;
}

/// The store's address as it is remembered, or as it is chosen now.
std::string SettleUrl(const fs::path& folder, const std::string& chosen) {
    const fs::path file = folder / kChoiceFile;
    std::string remembered;
    if (std::ifstream stream(file); std::getline(stream, remembered)) {
        if (chosen.empty() || chosen == remembered) return remembered;
        throw std::runtime_error("the objects of " + folder.string() + " are in " + remembered + ", not in " + chosen);
    }
    if (chosen.empty()) return {};
    if (HoldsObjects(folder / "objects")) {
        throw std::runtime_error(folder.string() + " holds objects itself; choose another store for a fresh folder");
    }
    WriteDurably(file, chosen + "\n");
    return chosen;
}

}  // namespace

std::unique_ptr<Cloud> OpenCloudRows(const std::string& dataFolder) {
    const fs::path folder(dataFolder);
    if (fs::create_directories(folder)) {
        fs::permissions(folder, fs::perms::owner_all);
        SyncFolder(fs::absolute(folder).parent_path());
    }
    auto cloud = std::make_unique<Cloud>();
    cloud->secrets = Secrets::Open(folder / "secrets.json");
    cloud->metadata = OpenSqliteMetadata(folder / "cloud.db");
    cloud->now = [] {
        using namespace std::chrono;
        return static_cast<std::int64_t>(duration_cast<seconds>(system_clock::now().time_since_epoch()).count());
    };
    cloud->migrating = [] { return false; };
    cloud->quota = [] { return std::nullopt; };
    return cloud;
}

std::unique_ptr<Cloud> OpenCloud(const std::string& dataFolder, const ObjectsChoice& objects) {
    auto cloud = OpenCloudRows(dataFolder);
    const fs::path folder(dataFolder);
    const std::string url = SettleUrl(folder, objects.url);
    if (url.empty()) {
        cloud->objects = OpenFileObjectStore(folder / "objects");
    } else if (objects.keyFile.empty()) {
        throw std::runtime_error("the objects of " + dataFolder + " are in " + url + "; give its keys, --objects-keys");
    } else {
        cloud->objects = OpenS3ObjectStore(ReadS3Place(url, objects.keyFile, objects.region), folder / "spool",
                                           Sha256Hex(cloud->secrets.PublicKey()));
    }
    return cloud;
}

}  // namespace Drive::ReferenceCloud
