#pragma once

#include <string>

#include "host/records/host_records.h"
#include "host/settings/settings.h"
#include "host/tree/tree.h"

/// Everything that a command which moves files has open: the state folder and the root, both taken for this process,
/// the logs, the database, and the login.
namespace Drive::Host {

/// Which tree the engine works in. Only a command that works in the staging tree writes into the root.
enum class EngineRoot { Staging, Visible };

class Session {
public:
    explicit Session(std::string stateFolder) : stateFolder(std::move(stateFolder)) {}

    /// Opens all of it. An exit code; other than 0 with `error` set.
    int Open(EngineRoot engineRoot, std::string& error);

    /// Opens all of it for reading alone: nothing is written and no task is touched. The root is taken all the same,
    /// since a refreshed login would be news to another command.
    int OpenReadOnly(std::string& error);

    /// Opens what a question to the cloud needs: the host's own records, the root, the login. The rows are not opened,
    /// whose check takes long where there are many. An exit code; other than 0 with `error` set.
    int OpenToAsk(std::string& error);

    /// The same without the login and the trees: settings, logs and database.
    int OpenState(std::string& error);

    /// Ends the database and flushes the logs. After the engine has stopped.
    void Close();

    /// A path of the engine below its root, as full wide path.
    std::wstring EnginePath(const std::wstring& relativePath) const;

    /// Where the staging tree lies below the root, when it has to lie there; empty otherwise.
    std::string StagingInside() const;

    const std::string stateFolder;
    Settings settings;
    std::wstring rootFileId;
    Tree visible;
    Tree staging;
    HostRecords records;

private:
    int OpenRoot(std::string& error);
    int OpenRecordsAndRoot(std::string& error);
    int OpenTrees(EngineRoot engineRoot, std::string& error);
    int OpenAccount(std::string& error);

    bool opened = false;
};

/// Tells the cloud library where the cloud is.
void ConfigureCloud(const Settings& settings);

}  // namespace Drive::Host
