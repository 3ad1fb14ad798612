#pragma once

#include <openssl/evp.h>

#include <memory>
#include <new>

namespace Drive::Common {

/// A cipher context; freeing it cleanses the key schedule.
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

inline CipherContext NewCipherContext() {
    CipherContext context(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    if (!context) {
        throw std::bad_alloc();
    }
    return context;
}

}  // namespace Drive::Common
