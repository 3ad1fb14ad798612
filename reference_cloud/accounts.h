#pragma once

#include <deque>
#include <map>
#include <mutex>
#include <string>

#include "reference_cloud/http_message.h"

namespace Drive::ReferenceCloud {

struct Cloud;
class Router;
class Rows;

/// Users, sign-in and tokens. Any thread.
class Accounts {
public:
    explicit Accounts(Cloud& cloud) : cloud_(cloud) {}

    /// Makes a user with a root folder and content keys. Throws std::runtime_error when the name is taken or empty.
    User Create(const std::string& name, const std::string& password, std::int64_t quota);

    /// Sets the request's user from its bearer token; refuses with 401.
    void Authorise(Request& request);

    /// Login, refresh, logout, space.
    void AddRoutes(Router& router);

private:
    Response Login(const Request& request, const Json::Value& body);
    Response Refresh(const Json::Value& body);
    Response Logout(const Request& request);
    Response Space(const Request& request);
    Json::Value NewPair(Rows& rows, const User& user, const std::string& family);
    void CheckPatience(const std::string& name);
    void NoteFailure(const std::string& name);

    Cloud& cloud_;
    std::mutex mutex_;
    std::map<std::string, std::deque<std::int64_t>> failures_;  // guarded by mutex_: times of failed sign-ins by name
};

}  // namespace Drive::ReferenceCloud
