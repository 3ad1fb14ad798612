#pragma once

#include <string>

/// Addresses: what may be sent to, and what may be written into the log of it.
namespace Drive::Cloud {

/// Percent-encodes everything but the unreserved characters, so that the text is one path segment or query value.
std::string PercentEncode(const std::string& text);

/// An address as the cloud gave it, made absolute with `baseUrl` when it begins with a single slash. Empty when it is
/// no http or https address, carries a user name, or holds a character that has no place in a request line.
std::string ResolveAddress(const std::string& address, const std::string& baseUrl);

/// Adds one query parameter, before a fragment if there is one.
std::string WithQuery(const std::string& address, const std::string& name, const std::string& value);

/// Host name in lower case, without port and brackets; empty when there is none.
std::string HostOf(const std::string& address);
bool IsHttps(const std::string& address);
bool IsLoopbackHost(const std::string& host);

/// Scheme, host and the first path segment: enough to find the place, without signatures, session names and the name
/// and password of a user.
std::string AddressForLog(const std::string& address);

}  // namespace Drive::Cloud
