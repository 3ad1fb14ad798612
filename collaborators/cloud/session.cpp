#include "collaborators/cloud/session.h"

#include <exception>
#include <functional>
#include <mutex>

#include "collaborators/cloud/address.h"
#include "collaborators/cloud/control_call.h"
#include "collaborators/cloud/header_list.h"
#include "collaborators/cloud/json_fields.h"
#include "collaborators/cloud/process_state.h"
#include "collaborators/cloud/text.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/cloud/wire/routes.h"
#include "interfaces/common/globals.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/platform/clock.h"

namespace Drive::Cloud {

namespace {

constexpr std::int64_t kLongestTokenLife = 10LL * 365 * 24 * 3600;

/// Never destroyed: threads may still be in a call when the process ends.
struct Session {
    std::mutex refreshing;  // held over a whole refresh; taken before mutex

    std::mutex mutex;  // guards what follows
    Login login;
    bool signedOut = false;
    std::wstring refusedRefreshToken;
    std::uint64_t renewalsInVain = 0;
    std::function<void(const Login&)> listener;
};

Session& Shared() {
    static Session& session = *new Session;
    return session;
}

Login AskForNewTokens(const std::wstring& refreshToken, bool& refused) {
    ControlRequest request;
    request.call = "RefreshLogin";
    request.method = "POST";
    request.route = Wire::kRefresh;
    request.body[Wire::kRefreshToken] = JsonText(refreshToken);
    request.withLogin = false;
    ControlAnswer answer = CallCloud(request);
    // Any other status may come from something in between, as a proxy, and be gone the next time.
    refused = answer.status == 400 || answer.status == 401 || answer.status == 403;
    Login login;
    if (answer.ok && ReadLogin(answer.text, login)) return login;
    if (answer.ok) RefuseAnswer(request.call, answer, L"it holds no token");
    return {};
}

void Tell(const std::function<void(const Login&)>& listener, const Login& login) {
    if (!listener) return;
    try {
        listener(login);
    } catch (const std::exception& error) {
        SyncPanelLog::WriteErrorLog("CloudClient", "RefreshLogin",
                                    std::string("the new login could not be kept: ") + error.what());
    } catch (...) {
        SyncPanelLog::WriteErrorLog("CloudClient", "RefreshLogin", "the new login could not be kept");
    }
}

/// Puts the new pair in unless somebody signed in or out meanwhile.
bool AdoptRefreshed(const Login& old, Login& fresh, std::function<void(const Login&)>& listener) {
    Session& session = Shared();
    const std::lock_guard lock(session.mutex);
    if (session.signedOut || session.login.refreshToken != old.refreshToken) return !session.signedOut;
    if (fresh.refreshToken.empty()) fresh.refreshToken = old.refreshToken;
    if (fresh.userId.empty()) fresh.userId = old.userId;
    if (fresh.rootFileId.empty()) fresh.rootFileId = old.rootFileId;
    if (fresh.serverVersion.empty()) fresh.serverVersion = old.serverVersion;
    session.login = fresh;
    listener = session.listener;
    return true;
}

std::uint64_t RenewalsInVain() {
    Session& session = Shared();
    const std::lock_guard lock(session.mutex);
    return session.renewalsInVain;
}

}  // namespace

std::string LiveToken() {
    Session& session = Shared();
    const std::lock_guard lock(session.mutex);
    if (session.signedOut) return {};
    const std::wstring& token = session.login.accessToken.empty() ? g_accessToken : session.login.accessToken;
    return Printable(token);
}

std::string ServerVersion() {
    Session& session = Shared();
    const std::lock_guard lock(session.mutex);
    return Printable(session.login.serverVersion.empty() ? g_SyncServerVersion : session.login.serverVersion);
}

void AdoptLogin(const Login& login) {
    Session& session = Shared();
    const std::lock_guard lock(session.mutex);
    session.login = login;
    session.signedOut = false;
    session.refusedRefreshToken.clear();
}

void ForgetLogin() {
    Session& session = Shared();
    const std::lock_guard lock(session.mutex);
    session.login = Login();
    session.signedOut = true;
}

Login CurrentLogin() {
    Session& session = Shared();
    const std::lock_guard lock(session.mutex);
    return session.login;
}

void SetRefreshListener(std::function<void(const Login&)> listener) {
    Session& session = Shared();
    const std::lock_guard lock(session.mutex);
    session.listener = std::move(listener);
}

bool RenewToken(const std::string& usedToken) {
    Session& session = Shared();
    const std::uint64_t inVainBefore = RenewalsInVain();
    const std::lock_guard refreshing(session.refreshing);
    const std::string live = LiveToken();
    if (live != usedToken) return !live.empty();
    const Login old = CurrentLogin();
    {
        const std::lock_guard lock(session.mutex);
        if (old.refreshToken.empty() || old.refreshToken == session.refusedRefreshToken) return false;
        // The one that was waited for failed: the same once more for each who waited would take minutes.
        if (session.renewalsInVain != inVainBefore) return false;
    }
    bool refused = false;
    Login fresh = AskForNewTokens(old.refreshToken, refused);
    if (fresh.accessToken.empty()) {
        const std::lock_guard lock(session.mutex);
        ++session.renewalsInVain;
        if (refused) session.refusedRefreshToken = old.refreshToken;
        return false;
    }
    std::function<void(const Login&)> listener;
    const bool renewed = AdoptRefreshed(old, fresh, listener);
    Tell(listener, fresh);
    return renewed;
}

bool MayCarryLogin(const std::string& url) {
    const std::string host = HostOf(url);
    if (IsHttps(url) || IsLoopbackHost(host)) return true;
    const auto limits = CurrentLimits();
    return !IsHttps(limits->baseUrl) && host == HostOf(limits->baseUrl);
}

void PutLogin(HeaderList& headers, const std::string& token) {
    const std::string value = "Bearer " + token;
    if (std::string* given = FindHeader(headers, "Authorization")) {
        *given = value;
    } else {
        headers.emplace_back("Authorization", value);
    }
}

bool ReadLogin(const std::string& body, Login& login) {
    Json::Value root;
    std::string why;
    if (!ParseObject(body, root, why)) return false;
    JsonFields fields(root, "ReadLogin");
    login.accessToken = fields.Text(Wire::kAccessToken);
    login.refreshToken = fields.Text(Wire::kRefreshToken);
    login.userId = fields.Text(Wire::kUserId);
    login.rootFileId = fields.Id(Wire::kRootFileId);
    login.serverVersion = fields.Text(Wire::kServerVersion);
    if (!IsSendable({{Wire::kVersionHeader, Printable(login.serverVersion)}})) {
        SyncPanelLog::WriteErrorLog("CloudClient", "ReadLogin",
                                    "the server version cannot be sent; it was passed over");
        login.serverVersion.clear();
    }
    login.expiresAt = Platform::UnixTimeSeconds() + fields.Number(Wire::kExpiresIn, 0, kLongestTokenLife);
    const HeaderList probe{{"Authorization", Printable(login.accessToken)}};
    return !login.accessToken.empty() && !Printable(login.accessToken).empty() && IsSendable(probe);
}

}  // namespace Drive::Cloud
