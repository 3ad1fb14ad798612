#include "interfaces/common/client_messages.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "interfaces/common/drive_functions.h"
#include "interfaces/logging/log_settings.h"

namespace Drive {

namespace {

class ClientMessages : public ::testing::Test {
protected:
    void SetUp() override {
        Logging::SetTextSink([this](const Logging::TextRecord& record) { errors.push_back(record.text); });
    }
    void TearDown() override {
        IPC::SetTransferMessageHandler({});
        Common::SetRefreshFileHandler({});
        Common::SetDiskStatusHandler({});
        Logging::SetTextSink({});
    }
    std::vector<std::string> errors;
};

// COM-CLIENT-01
TEST_F(ClientMessages, AreDroppedWhileNobodyIsRegistered) {
    IPC::IPCDriveClient::TransferMessageCommand(10, L"");
    Common::RefreshShellIcon::RefreshFile(L"f");
    GetAndTransferDiskStatus(2);
    EXPECT_TRUE(errors.empty());
}

// COM-CLIENT-02
TEST_F(ClientMessages, ArriveAsTheyWereSent) {
    std::vector<std::wstring> seen;
    IPC::SetTransferMessageHandler(
        [&](int command, const std::wstring& text) { seen.push_back(std::to_wstring(command) + L":" + text); });
    Common::SetRefreshFileHandler([&](const std::wstring& path) { seen.push_back(path); });
    Common::SetDiskStatusHandler([&](int status) { seen.push_back(std::to_wstring(status)); });
    IPC::IPCDriveClient::TransferMessageCommand(10, L"text");
    Common::RefreshShellIcon::RefreshFile(L"\\a\\f");
    GetAndTransferDiskStatus(2);
    EXPECT_EQ(seen, (std::vector<std::wstring>{L"10:text", L"\\a\\f", L"2"}));
}

// COM-CLIENT-03
TEST_F(ClientMessages, GoToTheLastRegisteredFunctionOnly) {
    int first = 0;
    int second = 0;
    Common::SetRefreshFileHandler([&](const std::wstring&) { ++first; });
    Common::SetRefreshFileHandler([&](const std::wstring&) { ++second; });
    Common::RefreshShellIcon::RefreshFile(L"f");
    Common::SetRefreshFileHandler({});
    Common::RefreshShellIcon::RefreshFile(L"f");
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1);
}

// COM-CLIENT-04
TEST_F(ClientMessages, LogAnExceptionOfTheClientAndGoOn) {
    IPC::SetTransferMessageHandler([](int, const std::wstring&) { throw std::runtime_error("client broke"); });
    Common::SetDiskStatusHandler([](int) { throw 5; });
    EXPECT_NO_THROW(IPC::IPCDriveClient::TransferMessageCommand(10, L""));
    EXPECT_NO_THROW(GetAndTransferDiskStatus(2));
    ASSERT_EQ(errors.size(), 2u);
    EXPECT_NE(errors[0].find("client broke"), std::string::npos);
}

// COM-CLIENT-05
TEST_F(ClientMessages, MayRegisterAnotherFunctionFromInside) {
    int calls = 0;
    Common::SetRefreshFileHandler([&](const std::wstring&) {
        Common::SetRefreshFileHandler({});
        ++calls;
    });
    Common::RefreshShellIcon::RefreshFile(L"f");
    Common::RefreshShellIcon::RefreshFile(L"f");
    EXPECT_EQ(calls, 1);
}

}  // namespace

}  // namespace Drive
