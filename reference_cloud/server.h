#pragma once

#include <memory>
#include <string>

#include "reference_cloud/accounts.h"
#include "reference_cloud/cloud.h"
#include "reference_cloud/data_lock.h"
#include "reference_cloud/housekeeping.h"
#include "reference_cloud/http_server.h"
#include "reference_cloud/router.h"

namespace Drive::ReferenceCloud {

struct ServerSettings {
    std::string dataFolder;
    ObjectsChoice objects;
    CloudSettings cloud;
    HttpSettings http;
    std::string journal;  ///< file; empty for none
    bool journalBodies = false;
    std::string scenario;  ///< file; empty for none
};

/// The whole server over one data folder.
class Server {
public:
    /// Opens the data folder and clears away what no row names. Throws std::runtime_error with a text for people; also
    /// when another server works on the folder.
    explicit Server(ServerSettings settings);

    void Start();
    int Port() const { return http_.Port(); }
    /// Waits up to `seconds` for requests under way.
    void Stop(int seconds) { http_.Drain(seconds); }
    /// Reads the scenario file again and goes on in a fresh journal; what is wrong there goes to the standard error.
    void Reload();

    Accounts& GetAccounts() { return accounts_; }
    Cloud& GetCloud() { return *cloud_; }
    std::vector<Router::Named> Routes() const { return router_.Routes(); }

private:
    const ServerSettings settings_;
    const std::unique_ptr<Cloud> cloud_;
    const DataLock serverLock_;
    std::unique_ptr<DataLock> storeLock_;
    Journal journal_;
    Scenario scenario_;
    Accounts accounts_;
    Router router_;
    Housekeeping housekeeping_;
    // Last: its threads use the rest.
    HttpServer http_;
};

}  // namespace Drive::ReferenceCloud
