#include "tests/contract/cloud/cloud_test.h"

#include <openssl/sha.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <random>

#include "interfaces/logging/log_settings.h"

namespace Drive::Testing {

CloudTest::CloudTest() {
    Logging::SetTextSink([this](const Logging::TextRecord& record) {
        const std::lock_guard lock(mutex);
        lines.push_back(record.module + " " + record.function + " " + record.text);
    });
    Configure(Settings());
    Cloud::Login login;
    login.accessToken = L"live-token";
    Cloud::DriveAccount::UseLogin(login);
    Cloud::DriveAccount::OnRefresh({});
}

CloudTest::~CloudTest() { Logging::SetTextSink({}); }

Cloud::CloudSettings CloudTest::Settings() const {
    Cloud::CloudSettings settings;
    settings.baseUrl = server.WideUrl();
    settings.connectSeconds = early ? 1 : 5;
    settings.idleSeconds = early ? 1 : 10;
    settings.controlSeconds = early ? 2 : 20;
    settings.repeats = 0;
    return settings;
}

void CloudTest::Configure(const Cloud::CloudSettings& settings) { Cloud::DriveAccount::Configure(settings); }

void CloudTest::GiveUpEarly() {
    early = true;
    Configure(Settings());
}

void CloudTest::ConfigureRepeats(int repeats) {
    auto settings = Settings();
    settings.repeats = repeats;
    Configure(settings);
}

std::vector<std::string> CloudTest::Log() const {
    const std::lock_guard lock(mutex);
    return lines;
}

bool CloudTest::LogHolds(const std::string& text, std::size_t from) const {
    const std::lock_guard lock(mutex);
    const auto begin = lines.begin() + static_cast<std::ptrdiff_t>(std::min(from, lines.size()));
    return std::any_of(begin, lines.end(),
                       [&](const std::string& line) { return line.find(text) != std::string::npos; });
}

std::size_t CloudTest::LogLines() const {
    const std::lock_guard lock(mutex);
    return lines.size();
}

std::string Content(std::size_t size, unsigned seed) {
    std::mt19937 generator(seed);
    std::string bytes(size, '\0');
    for (std::size_t at = 0; at < size; at += 4) {
        const unsigned word = generator();
        for (std::size_t index = at; index < std::min(size, at + 4); ++index) {
            bytes[index] = static_cast<char>(word >> (8 * (index - at)));
        }
    }
    return bytes;
}

Json::Value ParseJson(const std::string& text) {
    Json::Value value;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &errors)) << errors << text;
    return value;
}

std::string ToJson(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

std::wstring Get(const WMap& map, const wchar_t* key) {
    const auto found = map.find(key);
    return found == map.end() ? L"(absent)" : found->second;
}

std::string Sha256(const std::string& bytes) {
    unsigned char digest[SHA256_DIGEST_LENGTH];
    SHA256(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), digest);
    std::string text;
    for (const unsigned char byte : digest) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 0xF];
    }
    return text;
}

std::string HeadWithoutHost(const SeenRequest& request) {
    std::string head = request.head;
    const std::size_t host = head.find("Host: ");
    if (host != std::string::npos) head.erase(host, head.find("\r\n", host) + 2 - host);
    return head;
}

long long MillisecondsOf(const std::function<void()>& work) {
    const auto began = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - began).count();
}

}  // namespace Drive::Testing
