#include "collaborators/cloud/header_list.h"

#include <algorithm>

#include "collaborators/cloud/text.h"

namespace Drive::Cloud {

namespace {

constexpr std::size_t kLongestHeader = 64 * 1024;

bool IsTokenCharacter(char character) {
    static const std::string kOthers = "!#$%&'*+-.^_`|~";
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || kOthers.find(character) != std::string::npos;
}

bool IsValueCharacter(char character) {
    return character == '\t' || (static_cast<unsigned char>(character) >= 0x20 && character != 0x7F);
}

}  // namespace

bool IsSendable(const HeaderList& headers) {
    return std::all_of(headers.begin(), headers.end(), [](const auto& header) {
        return !header.first.empty() && header.first.size() + header.second.size() <= kLongestHeader &&
               std::all_of(header.first.begin(), header.first.end(), IsTokenCharacter) &&
               std::all_of(header.second.begin(), header.second.end(), IsValueCharacter);
    });
}

HeaderList NarrowHeaders(const WMap& headers) {
    HeaderList list;
    for (const auto& [name, value] : headers) list.emplace_back(Narrow(name), Narrow(value));
    return list;
}

WMap WideHeaders(const HeaderList& headers) {
    WMap map;
    for (const auto& [name, value] : headers) map[Widen(name)] = Widen(value);
    return map;
}

std::string* FindHeader(HeaderList& headers, const char* name) {
    for (auto& header : headers) {
        if (EqualsIgnoringCase(header.first, name)) return &header.second;
    }
    return nullptr;
}

const std::string* FindHeader(const HeaderList& headers, const char* name) {
    return FindHeader(const_cast<HeaderList&>(headers), name);
}

}  // namespace Drive::Cloud
