#pragma once

#include <string>

#include "collaborators/cloud/http_exchange.h"
#include "interfaces/cloud/drive_account.h"

/// The login that is in force. Any thread.
namespace Drive::Cloud {

/// The live access token; before any sign-in the one that stands in g_accessToken; may be empty.
std::string LiveToken();

/// Value of the "version" header; may be empty.
std::string ServerVersion();

void AdoptLogin(const Login& login);
void ForgetLogin();
Login CurrentLogin();
void SetRefreshListener(std::function<void(const Login&)> listener);

/// After a 401 on a request that carried `usedToken`: true when another token is in force now and the request may be
/// sent once more. One thread refreshes, the others wait for it and take what it got, a failure too. A refresh that was
/// refused is not tried again until the next sign-in.
bool RenewToken(const std::string& usedToken);

/// True when the login may travel there: over TLS, inside this machine, or to the cloud's own host when the cloud
/// itself is spoken to in clear. In clear it goes nowhere else, whatever address an answer holds.
bool MayCarryLogin(const std::string& url);

/// Puts the live login into the headers of a request to `url`, in place of any that is there.
void PutLogin(HeaderList& headers, const std::string& token);

/// Fills `login` from a login or refresh answer. False when there is no token in it.
bool ReadLogin(const std::string& body, Login& login);

}  // namespace Drive::Cloud
