#pragma once

#include <gtest/gtest.h>
#include <json/json.h>

#include <mutex>
#include <string>
#include <vector>

#include "interfaces/cloud/drive_account.h"
#include "interfaces/common/wmap.h"
#include "tests/support/http_server.h"

namespace Drive::Testing {

/// A cloud library that talks to a scripted server, is signed in with "live-token", and gives up early: one second of
/// silence, two for a control call, no repeats. What it logs is kept.
class CloudTest : public testing::Test {
protected:
    CloudTest();
    ~CloudTest() override;

    /// The settings of the fixture, to be changed and put in force by Configure.
    Cloud::CloudSettings Settings() const;
    void Configure(const Cloud::CloudSettings& settings);
    void ConfigureRepeats(int repeats);

    std::vector<std::string> Log() const;
    bool LogHolds(const std::string& text) const;
    std::size_t LogLines() const;

    HttpServer server;

private:
    mutable std::mutex mutex;
    std::vector<std::string> lines;  // guarded by mutex
};

/// Bytes that repeat nowhere near themselves.
std::string Content(std::size_t size, unsigned seed = 1);

Json::Value ParseJson(const std::string& text);
std::string ToJson(const Json::Value& value);

std::wstring Get(const WMap& map, const wchar_t* key);

std::string Sha256(const std::string& bytes);

/// What the server got, without the values of the connection that differ from run to run.
std::string HeadWithoutHost(const SeenRequest& request);

long long MillisecondsOf(const std::function<void()>& work);

}  // namespace Drive::Testing
