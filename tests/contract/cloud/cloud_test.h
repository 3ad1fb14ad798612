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

/// A cloud library that talks to a scripted server, is signed in with "live-token", repeats nothing, and is patient
/// enough for a busy machine unless a test wants it otherwise. What it logs is kept.
class CloudTest : public testing::Test {
protected:
    CloudTest();
    ~CloudTest() override;

    /// The settings of the fixture, to be changed and put in force by Configure.
    Cloud::CloudSettings Settings() const;
    void Configure(const Cloud::CloudSettings& settings);
    void ConfigureRepeats(int repeats);
    /// From now on a second of silence ends a call, and two seconds end a control call.
    void GiveUpEarly();

    std::vector<std::string> Log() const;
    /// True when one of the lines, from the given one on, has the text in it.
    bool LogHolds(const std::string& text, std::size_t from = 0) const;
    std::size_t LogLines() const;

    HttpServer server;

private:
    bool early = false;
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
