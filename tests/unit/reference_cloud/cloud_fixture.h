#pragma once

#include <gtest/gtest.h>
#include <json/value.h>
#include <json/writer.h>

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "reference_cloud/server.h"
#include "tests/unit/reference_cloud/temporary_folder.h"

namespace Drive::ReferenceCloud {

using Headers = std::map<std::string, std::string>;

struct Answer {
    int status = 0;   ///< 0: no whole answer came
    Headers headers;  ///< names in lower case
    std::string body;
    Json::Value json;  ///< null when the body is no JSON
    bool whole = true;
};

/// Speaks to a server as a client does, over libcurl.
class TestClient {
public:
    explicit TestClient(std::string base) : base(std::move(base)) {}

    Answer Send(const std::string& method, const std::string& pathOrUrl, const std::string& body = "",
                const Headers& headers = {}) const;
    Answer Get(const std::string& path, const Headers& headers = {}) const { return Send("GET", path, "", headers); }
    Answer Post(const std::string& path, const Json::Value& body) const;
    Answer Post(const std::string& path, const std::string& text) const;

    /// Signs in; the token goes with every later request.
    void Login(const std::string& user, const std::string& password);

    std::string base;
    std::string token;
    std::string root;
    std::string certificate;  ///< PEM file to trust
};

/// A running server in this process with a clock that tests can put on, and two users.
class RunningCloud {
public:
    explicit RunningCloud(ServerSettings settings = {});
    /// A client of a user of its own, signed in.
    TestClient NewUser(std::int64_t quota = 1 << 30);
    std::string Journal() const;

    TemporaryFolder folder;
    std::atomic<std::int64_t> skipped{0};  ///< seconds that the clock is put on
    std::unique_ptr<Server> server;
    std::string base;
    std::string lastUser;

private:
    int users_ = 0;
};

/// One server for all tests of the process, a fresh user for each.
class CloudTest : public testing::Test {
protected:
    static RunningCloud& Shared();
    TestClient client = Shared().NewUser();
};

std::string Sha256(const std::string& bytes);
std::string RandomText(std::size_t size);

/// The bodies of an upload by objects, with the usual values.
struct SampleUpload {
    explicit SampleUpload(std::string bytes, std::string name = "file.bin");
    Json::Value Start(const TestClient& client) const;
    Json::Value Completion(const TestClient& client, const Json::Value& plan) const;

    std::string name;
    std::string bytes;
    std::string fileId;
    std::string parent;  ///< empty: the root
    std::vector<int> attachments;
};

/// Stored bytes that fit the plan's item.
std::string StoredBytes(const Json::Value& item);
Json::Value AddressRequest(const Json::Value& plan, const Json::Value& item, const std::string& stored);
/// Address, PUT and object complete of every item, with these bytes or bytes that fit.
void SendObjects(const TestClient& client, const Json::Value& plan, const std::vector<std::string>& stored = {});
/// The whole upload; gives back the entry.
Json::Value UploadEncrypted(const TestClient& client, const SampleUpload& upload);
/// Puts a plain file in by the file proxy's session of a "server" plan.
std::string MultipartBody(const std::string& metadata, const std::string& content);

}  // namespace Drive::ReferenceCloud
