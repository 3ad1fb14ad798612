#include "host/put/local_id.h"

#include <openssl/rand.h>

#include <stdexcept>

namespace Drive::Host {

std::wstring NewLocalId() {
    unsigned char bytes[16] = {};
    if (RAND_bytes(bytes, sizeof bytes) != 1) {
        throw std::runtime_error("this system gives no random numbers for the id of a new file; try again");
    }
    std::wstring id = L"Local";
    for (const unsigned char byte : bytes) {
        constexpr const wchar_t* kDigits = L"0123456789abcdef";
        id += kDigits[byte >> 4];
        id += kDigits[byte & 15];
    }
    return id;
}

}  // namespace Drive::Host
