#include "tests/unit/reference_cloud/cloud_fixture.h"

#include <curl/curl.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "reference_cloud/crypto.h"
#include "reference_cloud/http_message.h"

namespace Drive::ReferenceCloud {

namespace {

std::size_t Collect(char* data, std::size_t size, std::size_t count, void* target) {
    static_cast<std::string*>(target)->append(data, size * count);
    return size * count;
}

std::size_t CollectHeader(char* data, std::size_t size, std::size_t count, void* target) {
    const std::string line(data, size * count);
    const std::size_t colon = line.find(": ");
    if (colon == std::string::npos) return size * count;
    std::string name = line.substr(0, colon);
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
    (*static_cast<Headers*>(target))[name] = line.substr(colon + 2, line.size() - colon - 4);
    return size * count;
}

Json::Value Object() { return Json::Value(Json::objectValue); }

}  // namespace

Answer TestClient::Send(const std::string& method, const std::string& pathOrUrl, const std::string& body,
                        const Headers& headers) const {
    Answer answer;
    const std::string url = pathOrUrl.rfind("http", 0) == 0 ? pathOrUrl : base + pathOrUrl;
    curl_slist* list = curl_slist_append(nullptr, "Expect:");
    if (!token.empty()) list = curl_slist_append(list, ("Authorization: Bearer " + token).c_str());
    for (const auto& [name, value] : headers) list = curl_slist_append(list, (name + ": " + value).c_str());
    CURL* curl = curl_easy_init();
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, 30L);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, Collect);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &answer.body);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, CollectHeader);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &answer.headers);
    if (!certificate.empty()) curl_easy_setopt(curl, CURLOPT_CAINFO, certificate.c_str());
    if (method != "GET" && method != "DELETE") {
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.data());
    }
    answer.whole = curl_easy_perform(curl) == CURLE_OK;
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    answer.status = static_cast<int>(status);
    curl_easy_cleanup(curl);
    curl_slist_free_all(list);
    answer.json = ParseJson(answer.body).value_or(Json::nullValue);
    return answer;
}

Answer TestClient::Post(const std::string& path, const Json::Value& body) const {
    return Send("POST", path, JsonText(body), {{"Content-Type", "application/json"}});
}

Answer TestClient::Post(const std::string& path, const std::string& text) const { return Send("POST", path, text); }

void TestClient::Login(const std::string& user, const std::string& password) {
    Json::Value body = Object();
    body["user"] = user;
    body["password"] = password;
    const Answer answer = Post("/v1/account/login", body);
    token = answer.json["accessToken"].asString();
    root = answer.json["rootFileId"].asString();
}

RunningCloud::RunningCloud(ServerSettings settings) {
    settings.dataFolder = folder.Path() / "data";
    settings.journal = folder.Path() / "journal";
    server = std::make_unique<Server>(settings);
    server->GetCloud().now = [this, real = server->GetCloud().now] { return real() + skipped; };
    server->Start();
    base = (settings.http.certificate.empty() ? "http://127.0.0.1:" : "https://localhost:") +
           std::to_string(server->Port());
}

TestClient RunningCloud::NewUser(std::int64_t quota) {
    lastUser = "user" + std::to_string(++users_);
    const User user = server->GetAccounts().Create(lastUser, "secret", quota);
    TestClient client(base);
    client.root = user.rootId;
    client.token = RandomId(16);  // signing in costs a password hash, which most tests need not pay
    Cloud& cloud = server->GetCloud();
    cloud.metadata->Change([&](Rows& rows) {
        rows.PutToken({Sha256Hex(client.token), RandomId(8), user.id, false, cloud.now() + 3600});
    });
    return client;
}

std::string RunningCloud::Journal() const {
    std::ifstream stream(folder.Path() / "journal");
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

RunningCloud& CloudTest::Shared() {
    static const auto cloud = [] {
        ServerSettings settings;
        settings.cloud.sliceSize = 1024;
        settings.cloud.proxySliceSize = 1000;
        settings.cloud.serverPatterns = {"*.plain"};
        return std::make_unique<RunningCloud>(settings);
    }();
    return *cloud;
}

std::string Sha256(const std::string& bytes) { return Sha256Hex(bytes); }
std::string RandomText(std::size_t size) { return RandomBytes(size); }

SampleUpload::SampleUpload(std::string bytes, std::string name) : name(std::move(name)), bytes(std::move(bytes)) {}

Json::Value SampleUpload::Start(const TestClient& client) const {
    Json::Value body = Object();
    body["fileId"] = fileId;
    body["fileName"] = name;
    body["parentFolder"] = parent.empty() ? client.root : parent;
    body["size"] = Json::Int64(bytes.size());
    body["sha256"] = Sha256(bytes);
    body["mimeType"] = "application/octet-stream";
    body["attachmentSize"] = Json::Value(Json::arrayValue);
    for (const int size : attachments) body["attachmentSize"].append(size);
    body["recordCursor"] = "";
    return body;
}

Json::Value SampleUpload::Completion(const TestClient& client, const Json::Value& plan) const {
    Json::Value body = Start(client);
    body["recordCursor"] = plan["recordCursor"];
    body["parentFolder"] = Json::Value(Json::arrayValue);
    body["parentFolder"].append(parent.empty() ? client.root : parent);
    Json::Value list = Object();
    list["bucketId"] = plan["bucketId"];
    list["sliceSize"] = plan["sliceSize"];
    list["objectIds"] = Json::Value(Json::arrayValue);
    for (const Json::Value& item : plan["items"]) list["objectIds"].append(item["objectId"]);
    static const char* const names[] = {"small", "large"};
    list["attachmentList"] = Json::Value(Json::arrayValue);
    for (std::size_t index = 0; index < attachments.size(); ++index) {
        Json::Value attachment = Object();
        attachment["name"] = names[index];
        attachment["length"] = attachments[index];
        list["attachmentList"].append(attachment);
    }
    body["objectInfoList"].append(list);
    for (const int type : {3, 1}) {
        Json::Value key = Object();
        key["keyType"] = type;
        key["keyUid"] = "key" + std::to_string(type);
        key["efek"] = "wrapped" + std::to_string(type);
        key["iv"] = std::string(32, 'a');
        key["encryptAlgorithm"] = type == 1 ? "AES_128" : "AES_256";
        body["encFekList"].append(key);
    }
    return body;
}

std::string StoredBytes(const Json::Value& item) {
    std::string stored(item["length"].asUInt64(), '\0');
    const std::string seed = item["objectId"].asString();
    for (std::size_t index = 0; index < stored.size(); ++index) stored[index] = seed[index % seed.size()];
    return stored;
}

Json::Value AddressRequest(const Json::Value& plan, const Json::Value& item, const std::string& stored) {
    Json::Value body = item;
    body["bucketId"] = plan["bucketId"];
    body["recordCursor"] = plan["recordCursor"];
    body["sha256"] = Sha256(stored);
    Digest md5 = Digest::Md5();
    md5.Add(stored);
    body["md5"] = md5.Hex();
    return body;
}

void SendObjects(const TestClient& client, const Json::Value& plan, const std::vector<std::string>& given) {
    for (Json::ArrayIndex index = 0; index < plan["items"].size(); ++index) {
        const Json::Value& item = plan["items"][index];
        const std::string stored = given.empty() ? StoredBytes(item) : given.at(index);
        const Json::Value request = AddressRequest(plan, item, stored);
        const Answer address = client.Post("/v1/uploads/address", request);
        ASSERT_EQ(address.status, 200) << address.body;
        Headers headers;
        for (const auto& name : address.json["headers"].getMemberNames()) {
            headers[name] = address.json["headers"][name].asString();
        }
        const Answer put =
            client.Send(address.json["method"].asString(), address.json["url"].asString(), stored, headers);
        ASSERT_EQ(put.status, 200) << put.body;
        const Answer confirmed = client.Post("/v1/uploads/object-complete", request);
        ASSERT_EQ(confirmed.status, 200) << confirmed.body;
    }
}

Json::Value UploadEncrypted(const TestClient& client, const SampleUpload& upload) {
    const Answer plan = client.Post("/v1/uploads/start", upload.Start(client));
    EXPECT_EQ(plan.status, 200) << plan.body;
    if (plan.json["uploadType"] == "client") SendObjects(client, plan.json);
    const char* route = upload.fileId.empty() ? "/v1/uploads/create-complete" : "/v1/uploads/update-complete";
    const Answer done = client.Post(route, upload.Completion(client, plan.json));
    EXPECT_EQ(done.status, 200) << done.body;
    return done.json;
}

std::string MultipartBody(const std::string& metadata, const std::string& content) {
    const std::string line = "\r\n ";
    return "--BOUND" + line + "Content-Type: application/json; charset=UTF-8" + line + metadata + line + "--BOUND" +
           line + "Content-Type: application/octet-stream; charset=UTF-8" + line + content + line + "--BOUND--";
}

}  // namespace Drive::ReferenceCloud
