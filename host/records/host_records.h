#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

/// What the host remembers beside the engine's rows, in "host.db" of the state folder: which visible files are proved,
/// and what is wrong with which. One thread at a time; a failed statement throws std::runtime_error with a text for
/// people.
namespace Drive::Host {

/// A visible file that was checked against the cloud's digest, and how it looked right then. While size and time are
/// still the same it need not be read again.
struct ProvedFile {
    std::string path;  ///< native, below the root
    std::int64_t size = 0;
    std::int64_t changed = 0;  ///< modification time, nanoseconds since the epoch
    std::string sha256;
    std::string contentVersion;
};

/// Something that went wrong with a file and is still so.
struct Trouble {
    std::string fileId;
    std::string path;
    std::string kind;  ///< "failed", "mismatch", "kept-local", "refused"
    std::string message;
    std::int64_t at = 0;  ///< seconds since the epoch
};

/// How a file looked when it was queued to go up.
struct SentFile {
    std::int64_t size = 0;
    std::int64_t changed = 0;  ///< modification time, nanoseconds since the epoch
};

/// A task that is kept out of the engine's sight while it works the other way.
struct ParkedTask {
    std::string fileId;
    int direction = 0;
    int priority = 0;
    std::string fragmentInfo;
};

class HostRecords {
public:
    HostRecords();
    ~HostRecords();
    HostRecords(const HostRecords&) = delete;
    HostRecords& operator=(const HostRecords&) = delete;

    /// Opens or makes the file; `readOnly` for a look beside a running host.
    void Open(const std::string& stateFolder, bool readOnly);

    std::unordered_map<std::string, ProvedFile> AllProved();
    std::optional<ProvedFile> Proved(const std::string& fileId);
    void PutProved(const std::string& fileId, const ProvedFile& file);
    void ForgetProved(const std::string& fileId);
    bool AnyProved();

    std::vector<Trouble> Troubles();
    void PutTrouble(const Trouble& trouble);
    void ForgetTrouble(const std::string& fileId);

    /// By native path below the root.
    std::unordered_map<std::string, SentFile> AllSending();
    void PutSending(const std::string& path, const SentFile& file);
    void ForgetSending(const std::string& path);

    std::vector<ParkedTask> Parked(int direction);
    void Park(const ParkedTask& task);
    void Unpark(const std::string& fileId, int direction);

    std::string Value(const std::string& name);
    void SetValue(const std::string& name, const std::string& value);

    /// Many changes in one transaction: everything between the two calls stands or falls together.
    void Begin();
    void Commit();

private:
    struct Body;
    std::unique_ptr<Body> body;
};

}  // namespace Drive::Host
