#include "collaborators/cloud/address.h"

#include <algorithm>
#include <cstddef>

#include "collaborators/cloud/text.h"

namespace Drive::Cloud {

namespace {

constexpr std::size_t kLongestAddress = 32 * 1024;

bool IsUnreserved(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '-' || character == '.' || character == '_' ||
           character == '~';
}

bool HasScheme(const std::string& address, const std::string& scheme) {
    return address.size() > scheme.size() && EqualsIgnoringCase(address.substr(0, scheme.size()), scheme);
}

std::size_t AuthorityBegin(const std::string& address) {
    const std::size_t mark = address.find("://");
    return mark == std::string::npos ? std::string::npos : mark + 3;
}

std::string Authority(const std::string& address) {
    const std::size_t begin = AuthorityBegin(address);
    if (begin == std::string::npos) return {};
    return address.substr(begin, address.find_first_of("/?#", begin) - begin);
}

}  // namespace

std::string PercentEncode(const std::string& text) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(text.size());
    for (const char character : text) {
        if (IsUnreserved(character)) {
            out += character;
        } else {
            const auto byte = static_cast<unsigned char>(character);
            out += '%';
            out += kDigits[byte >> 4];
            out += kDigits[byte & 0xF];
        }
    }
    return out;
}

std::string ResolveAddress(const std::string& address, const std::string& baseUrl) {
    const bool relative = !address.empty() && address[0] == '/' && !(address.size() > 1 && address[1] == '/');
    std::string whole = relative ? baseUrl + address : address;
    const bool clean = std::all_of(whole.begin(), whole.end(), [](char character) {
        return static_cast<unsigned char>(character) > 0x20 && character != 0x7F && character != '\\';
    });
    if (!clean || whole.size() > kLongestAddress) return {};
    if (!HasScheme(whole, "http://") && !HasScheme(whole, "https://")) return {};
    const std::string authority = Authority(whole);
    if (authority.empty() || authority.find('@') != std::string::npos || HostOf(whole).empty()) return {};
    return whole;
}

std::string WithQuery(const std::string& address, const std::string& name, const std::string& value) {
    const std::size_t fragment = address.find('#');
    std::string before = address.substr(0, fragment);
    const bool hasQuery = before.find('?') != std::string::npos;
    before += hasQuery ? (before.back() == '?' || before.back() == '&' ? "" : "&") : "?";
    return before + name + "=" + PercentEncode(value);
}

std::string HostOf(const std::string& address) {
    std::string host = LowerCase(Authority(address));
    if (!host.empty() && host[0] == '[') {
        const std::size_t end = host.find(']');
        return end == std::string::npos ? std::string() : host.substr(1, end - 1);
    }
    return host.substr(0, host.find(':'));
}

bool IsHttps(const std::string& address) { return HasScheme(address, "https://"); }

bool IsLoopbackHost(const std::string& host) {
    if (host == "localhost" || host == "::1") return true;
    const bool numeric = host.find_first_not_of("0123456789.") == std::string::npos;
    return numeric && host.rfind("127.", 0) == 0;
}

std::string AddressForLog(const std::string& address) {
    const std::size_t begin = AuthorityBegin(address);
    if (begin == std::string::npos) return "(no address)";
    const std::size_t path = address.find_first_of("/?#", begin);
    const bool hasPath = path != std::string::npos && address[path] == '/';
    const std::size_t end = hasPath ? address.find_first_of("/?#", path + 1) : path;
    const std::size_t user = address.substr(0, path).rfind('@');
    if (user == std::string::npos || user < begin) return address.substr(0, end);
    return address.substr(0, begin) + address.substr(user + 1, end == std::string::npos ? end : end - user - 1);
}

}  // namespace Drive::Cloud
