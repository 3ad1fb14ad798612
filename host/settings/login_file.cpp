#include "host/settings/login_file.h"

#include <json/json.h>

#include <exception>
#include <memory>

#include "host/settings/private_file.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

std::string LoginPath(const std::string& stateFolder) { return stateFolder + "/login.json"; }

}  // namespace

bool ReadLogin(const std::string& stateFolder, Cloud::Login& login, std::string& error) {
    std::string text;
    if (!ReadSmallFile(LoginPath(stateFolder), text, error)) {
        error += "; run 'zelkor-drive init' again to sign in";
        return false;
    }
    Json::Value root;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    if (!reader->parse(text.data(), text.data() + text.size(), &root, nullptr) || !root.isObject()) {
        error = LoginPath(stateFolder) + " is damaged; run 'zelkor-drive init' again to sign in";
        return false;
    }
    const auto member = [&root](const char* name) {
        const Json::Value& value = root[name];
        return value.isString() ? Platform::WidenText(value.asString()) : std::wstring();
    };
    login.accessToken = member("accessToken");
    login.refreshToken = member("refreshToken");
    login.expiresAt = root["expiresAt"].isInt64() ? root["expiresAt"].asInt64() : 0;
    login.userId = member("userId");
    login.rootFileId = member("rootFileId");
    login.serverVersion = member("serverVersion");
    return true;
}

bool WriteLogin(const std::string& stateFolder, const Cloud::Login& login, std::string& error) {
    try {
        Json::Value root;
        root["accessToken"] = Platform::NarrowText(login.accessToken);
        root["refreshToken"] = Platform::NarrowText(login.refreshToken);
        root["expiresAt"] = Json::Int64(login.expiresAt);
        root["userId"] = Platform::NarrowText(login.userId);
        root["rootFileId"] = Platform::NarrowText(login.rootFileId);
        root["serverVersion"] = Platform::NarrowText(login.serverVersion);
        return WritePrivateFile(LoginPath(stateFolder), Json::writeString(Json::StreamWriterBuilder(), root), error);
    } catch (const std::exception& failure) {
        error = std::string("cannot keep the login: ") + failure.what();
        return false;
    }
}

}  // namespace Drive::Host
