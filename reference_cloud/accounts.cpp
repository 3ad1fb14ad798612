#include "reference_cloud/accounts.h"

#include <algorithm>
#include <chrono>
#include <semaphore>
#include <stdexcept>

#include "interfaces/cloud/wire/codes.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/cloud/wire/routes.h"
#include "reference_cloud/cloud.h"
#include "reference_cloud/crypto.h"
#include "reference_cloud/fields.h"
#include "reference_cloud/refusal.h"
#include "reference_cloud/router.h"

namespace Drive::ReferenceCloud {

namespace Wire = Drive::Cloud::Wire;

namespace {

constexpr std::int64_t kSecondChance = 120;  // seconds that a refreshed pair lives on, for a lost answer
constexpr std::size_t kFailures = 10;
constexpr std::int64_t kFailureWindow = 60;  // seconds

std::string ContentKey(std::size_t size) {
    std::string key = RandomBytes(size);
    while (key[0] == '\0') key[0] = RandomBytes(1)[0];  // a zero first byte would read as "no key yet"
    return key;
}

/// A check of a password takes 16 MiB and a good part of a second: few at a time, and nobody waits for long.
std::counting_semaphore<> g_passwordChecks(4);
constexpr auto kPasswordQueue = std::chrono::seconds(20);

bool PasswordIs(const std::string& password, const std::string& stored) {
    if (!g_passwordChecks.try_acquire_for(kPasswordQueue)) {
        Refusal busy(503, "", "too many sign-ins at once; try again in a moment");
        busy.retryAfter = 5;
        throw busy;
    }
    bool is = false;
    try {
        is = CheckPassword(password, stored);
    } catch (...) {
        g_passwordChecks.release();
        throw;
    }
    g_passwordChecks.release();
    return is;
}

std::string SignInOf(const std::string& family) { return family.substr(0, family.find('.')); }

[[noreturn]] void Unauthorised(const char* text) { throw Refusal(401, Wire::kUnauthorised, text); }

}  // namespace

User Accounts::Create(const std::string& name, const std::string& password, std::int64_t quota) {
    if (name.empty() || password.empty()) throw std::runtime_error("a user needs a name and a password");
    User user;
    user.id = RandomId(8);
    user.name = name;
    user.passwordHash = HashPassword(password);
    user.rootId = RandomId(12);
    user.bucket = "b" + user.id;
    user.sealedKey1 = cloud_.secrets.SealContentKey(ContentKey(16));
    user.sealedKey3 = cloud_.secrets.SealContentKey(ContentKey(32));
    user.keyUuid1 = RandomId(16);
    user.keyUuid3 = RandomId(16);
    user.quota = quota;
    FileRow root;
    root.id = user.rootId;
    root.userId = user.id;
    root.folder = true;
    root.category = "folder";
    root.created = root.edited = cloud_.now();
    cloud_.metadata->Change([&](Rows& rows) {
        if (rows.UserByName(name)) throw std::runtime_error("there is already a user named \"" + name + "\"");
        // Names are unique within a folder, and every root stands in the folder without an id.
        root.name = user.id;
        rows.PutUser(user);
        rows.PutFile(root);
    });
    return user;
}

void Accounts::Authorise(Request& request) {
    static const std::string scheme = "Bearer ";
    const std::string& header = request.Header("authorization");
    if (header.compare(0, scheme.size(), scheme) != 0) Unauthorised("sign in first");
    request.tokenHash = Sha256Hex(header.substr(scheme.size()));
    const std::int64_t now = cloud_.now();
    cloud_.metadata->Read([&](Rows& rows) {
        const auto token = rows.TokenByHash(request.tokenHash);
        if (!token || token->refresh || token->expires <= now) Unauthorised("the sign-in has ended; sign in again");
        const auto user = rows.UserById(token->userId);
        if (!user) Unauthorised("the user is not there any more");
        request.user = *user;
        if (const auto most = cloud_.quota()) request.user.quota = std::min(request.user.quota, *most);
        request.tokenFamily = token->family;
    });
}

void Accounts::CheckPatience(const std::string& name) {
    const std::int64_t now = cloud_.now();
    const std::lock_guard lock(mutex_);
    const auto found = failures_.find(name);
    if (found == failures_.end()) return;
    auto& times = found->second;
    while (!times.empty() && times.front() <= now - kFailureWindow) times.pop_front();
    if (times.empty()) {
        failures_.erase(found);
    } else if (times.size() >= kFailures) {
        Refusal refusal(429, Wire::kTooMany, "too many failed sign-ins; wait a minute");
        refusal.retryAfter = static_cast<int>(std::max<std::int64_t>(1, times.front() + kFailureWindow - now));
        throw refusal;
    }
}

void Accounts::NoteFailure(const std::string& name) {
    static constexpr std::size_t mostNames = 10000;
    const std::lock_guard lock(mutex_);
    if (failures_.size() >= mostNames) failures_.clear();
    failures_[name].push_back(cloud_.now());
}

Json::Value Accounts::NewPair(Rows& rows, const User& user, const std::string& family) {
    const std::int64_t now = cloud_.now();
    const std::string access = RandomId(32), refresh = RandomId(32);
    rows.DropExpiredTokens(now);
    rows.PutToken({Sha256Hex(access), family, user.id, false, now + cloud_.settings.accessSeconds});
    rows.PutToken({Sha256Hex(refresh), family, user.id, true, now + cloud_.settings.refreshSeconds});
    Json::Value answer(Json::objectValue);
    answer[Wire::kAccessToken] = access;
    answer[Wire::kRefreshToken] = refresh;
    answer[Wire::kExpiresIn] = Json::Int64(cloud_.settings.accessSeconds);
    answer[Wire::kUserId] = user.id;
    answer[Wire::kRootFileId] = user.rootId;
    answer[Wire::kServerVersion] = "1";
    return answer;
}

Response Accounts::Login(const Request&, const Json::Value& body) {
    const std::string name = NeededText(body, Wire::kUser);
    const std::string password = TextField(body, Wire::kPassword);
    CheckPatience(name);
    const auto user = cloud_.Read([&](Rows& rows) { return rows.UserByName(name); });
    // An unknown name takes as long as a wrong password.
    static const std::string nobody = HashPassword(RandomId(16));
    if (!PasswordIs(password, user ? user->passwordHash : nobody) || !user) {
        NoteFailure(name);
        Unauthorised("user or password is wrong");
    }
    return JsonResponse(cloud_.Change([&](Rows& rows) { return NewPair(rows, *user, RandomId(12)); }));
}

Response Accounts::Refresh(const Json::Value& body) {
    const std::string hash = Sha256Hex(NeededText(body, Wire::kRefreshToken));
    const std::int64_t now = cloud_.now();
    // One transaction: a server that ends in between would leave a pair that dies and none in its place.
    return JsonResponse(cloud_.Change([&](Rows& rows) {
        const auto token = rows.TokenByHash(hash);
        if (!token || !token->refresh || token->expires <= now) Unauthorised("the sign-in has ended; sign in again");
        const auto owner = rows.UserById(token->userId);
        if (!owner) Unauthorised("the user is not there any more");
        rows.LimitFamily(token->family, now + kSecondChance);
        return NewPair(rows, *owner, SignInOf(token->family) + "." + RandomId(6));
    }));
}

Response Accounts::Logout(const Request& request) {
    cloud_.metadata->Change([&](Rows& rows) {
        // Also what lives on for a lost answer: its refresh token would give a fresh pair after the sign-out.
        rows.LimitSignIn(SignInOf(request.tokenFamily), 0);
        rows.DropExpiredTokens(cloud_.now());
    });
    return JsonResponse(Json::Value(Json::objectValue));
}

Response Accounts::Space(const Request& request) {
    Json::Value answer(Json::objectValue);
    answer[Wire::kTotal] = Json::Int64(request.user.quota);
    answer[Wire::kUsed] = Json::Int64(request.user.used);
    answer[Wire::kRemaining] = Json::Int64(std::max<std::int64_t>(0, request.user.quota - request.user.used));
    return JsonResponse(answer);
}

void Accounts::AddRoutes(Router& router) {
    using Access = Router::Access;
    router.AddPlain("GET", Wire::kHealth, Access::open, [](const Request&) {
        Json::Value answer(Json::objectValue);
        answer[Wire::kStatus] = "ok";
        answer[Wire::kServerVersion] = "1";
        return JsonResponse(answer);
    });
    router.AddJson("POST", Wire::kLogin, Access::open,
                   [this](const Request& request, const Json::Value& body) { return Login(request, body); });
    router.AddJson("POST", Wire::kRefresh, Access::open,
                   [this](const Request&, const Json::Value& body) { return Refresh(body); });
    router.AddPlain("POST", Wire::kLogout, Access::token, [this](const Request& request) { return Logout(request); });
    router.AddPlain("GET", Wire::kSpace, Access::token, [this](const Request& request) { return Space(request); });
}

}  // namespace Drive::ReferenceCloud
