#include "reference_cloud/server.h"

#include <iostream>
#include <stdexcept>

#include "reference_cloud/routes.h"

namespace Drive::ReferenceCloud {

Server::Server(ServerSettings settings)
    : settings_(std::move(settings)),
      cloud_(OpenCloud(settings_.dataFolder, settings_.objects)),
      serverLock_(settings_.dataFolder, DataLock::Kind::server),
      journal_(settings_.journal, settings_.journalBodies),
      scenario_(settings_.scenario),
      accounts_(*cloud_),
      router_([this](Request& request) { accounts_.Authorise(request); }),
      housekeeping_(*cloud_),
      http_(
          settings_.http, [this](Request& request) { return router_.Open(request); }, journal_, scenario_) {
    if (!serverLock_.Held()) {
        throw std::runtime_error("another server works on " + settings_.dataFolder + "; stop it first");
    }
    cloud_->settings = settings_.cloud;
    cloud_->now = [this, real = cloud_->now] { return real() + scenario_.ClockShift(); };
    cloud_->quota = [this] { return scenario_.Quota(); };
    cloud_->migrating = [this] { return settings_.cloud.migrating || scenario_.Migrating(); };
    {
        const DataLock alone(settings_.dataFolder, DataLock::Kind::storeAlone);
        if (alone.Held()) housekeeping_.ClearStore();
    }
    storeLock_ = std::make_unique<DataLock>(settings_.dataFolder, DataLock::Kind::storeShared);
    accounts_.AddRoutes(router_);
    AddKeyRoutes(router_, *cloud_);
    AddFileRoutes(router_, *cloud_);
    AddDownloadRoutes(router_, *cloud_);
    AddUploadRoutes(router_, *cloud_);
    AddStoreRoutes(router_, *cloud_);
    AddProxyRoutes(router_, *cloud_);
}

void Server::Start() {
    housekeeping_.Start();
    http_.Start();
}

void Server::Reload() {
    if (const auto warning = scenario_.Reload(true)) std::cerr << "zelkor-cloud: " << *warning << std::endl;
    try {
        journal_.Reopen();
    } catch (const std::exception& error) {
        std::cerr << "zelkor-cloud: " << error.what() << std::endl;
    }
}

}  // namespace Drive::ReferenceCloud
