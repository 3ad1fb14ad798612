#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "interfaces/platform/export.h"
#include "interfaces/platform/types.h"

namespace Drive::Common {

using Bytes = std::vector<unsigned char>;

/// Cryptography. All operations are static, thread-safe, without state, and throw only for memory. Key material is
/// cleansed from memory that an operation owned. Hexadecimal texts are lower-case.
class ZELKOR_API EncryptHelper {
public:
    /// AES-128-CBC with PKCS#7 padding over `length` plain bytes read at `offset` of an open file. The result has
    /// length rounded down to a multiple of 16, plus 16. Empty on failure, also when fewer bytes could be read and for
    /// a key or vector that is not 16 bytes.
    static Bytes AES_128_CBC_Encrypt_FileHandle(const Bytes& key, const Bytes& iv, Platform::HANDLE handle,
                                                std::int64_t offset, std::int64_t length);

    /// The same transform on memory; the encrypted bytes as a narrow string, empty on failure.
    static std::string AES_128_CBC_Encrypt(const Bytes& key, const Bytes& iv, const Bytes& plain);

    /// The inverse of the two above. False, with `plain` empty, for wrong lengths or a wrong padding.
    static bool AES_128_CBC_Decrypt(const Bytes& key, const Bytes& iv, const Bytes& cipher, Bytes& plain);

    /// Digest text of the bytes: 32 and 64 hexadecimal characters.
    static std::string MD5_Encode(const Bytes& data);
    static std::string SHA256_Encode(const Bytes& data);

    /// Wraps a file key text for a user key (16 or 32 bytes), authenticated; `iv` is the file's initialisation vector
    /// as text and is bound into the result. Empty for an all-zero or a too short user key. The result is Base64 of
    /// nonce (12), cipher text and tag (16).
    static std::string GetEfek(const std::string& fek, const Bytes& userKey, const std::string& iv);

    /// The inverse: the plain file key as hexadecimal text; empty when it cannot be unwrapped.
    static std::string GetFek(const std::string& efek, const Bytes& userKey);

    /// AES-GCM with a key of 16 or 32 bytes: nonce (12), cipher text, tag (16). The data comes first, the key second.
    /// A failed encryption is empty; a failed decryption is exactly one byte long.
    static Bytes AES_GCM_Encrypt(const Bytes& data, const Bytes& key);
    static Bytes AES_GCM_Decrypt(const Bytes& data, const Bytes& key);

    /// Base64 of RFC 4648 with padding. `singleLine` true gives one line without an end, false lines of 64 characters,
    /// each ended by a line feed.
    static std::string Base64Encode(const unsigned char* data, std::size_t length, bool singleLine);

    /// The bytes as a narrow string; line breaks are passed over. With `strict` any other foreign character, a wrong
    /// padding and left-over bits that are not zero give an empty result; without it decoding ends there and whole
    /// bytes are given.
    static std::string Base64Decode(const std::string& text, bool strict);

    /// Fills the buffer from the operating system's generator. False on failure; the buffer is then zero.
    static bool GetSecureRandom(unsigned char* buffer, std::size_t length);
};

}  // namespace Drive::Common
