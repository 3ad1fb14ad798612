#include <algorithm>

#include "collaborators/common/cipher.h"
#include "interfaces/common/encrypt_helper.h"
#include "interfaces/platform/file_calls.h"

namespace Drive::Common {

namespace {

constexpr std::size_t kBlock = 16;
// Small enough to stay in the processor's cache between the reading and the encryption.
constexpr std::size_t kStep = std::size_t{256} << 10;

std::size_t PaddedLength(std::size_t length) { return length / kBlock * kBlock + kBlock; }

bool Start(EVP_CIPHER_CTX* context, const Bytes& key, const Bytes& iv, bool encrypt) {
    return key.size() == kBlock && iv.size() == kBlock &&
           EVP_CipherInit_ex(context, EVP_aes_128_cbc(), nullptr, key.data(), iv.data(), encrypt ? 1 : 0) == 1;
}

/// Runs the whole of `from` through the context, in steps that fit an int. Answers the bytes written to `to`, or -1.
std::int64_t Transform(EVP_CIPHER_CTX* context, const unsigned char* from, std::size_t length, unsigned char* to) {
    std::size_t written = 0;
    for (std::size_t done = 0; done < length;) {
        const std::size_t step = std::min(kStep, length - done);
        int produced = 0;
        if (EVP_CipherUpdate(context, to + written, &produced, from + done, static_cast<int>(step)) != 1) {
            return -1;
        }
        written += static_cast<std::size_t>(produced);
        done += step;
    }
    int produced = 0;
    if (EVP_CipherFinal_ex(context, to + written, &produced) != 1) {
        return -1;
    }
    return static_cast<std::int64_t>(written) + produced;
}

/// True when the file is known to end before `offset` plus `length`: then nothing need be reserved for it.
bool EndsBefore(Platform::HANDLE handle, std::int64_t offset, std::int64_t length) {
    const std::int64_t size = Platform::SizeOf(handle);
    return size >= 0 && (offset > size || length > size - offset);
}

}  // namespace

Bytes EncryptHelper::AES_128_CBC_Encrypt_FileHandle(const Bytes& key, const Bytes& iv, Platform::HANDLE handle,
                                                    std::int64_t offset, std::int64_t length) {
    const CipherContext context = NewCipherContext();
    if (offset < 0 || length < 0 || !Platform::IsOpenHandle(handle) || !Start(context.get(), key, iv, true) ||
        EndsBefore(handle, offset, length)) {
        return {};
    }
    const auto total = static_cast<std::size_t>(length);
    Bytes result(PaddedLength(total));
    std::size_t written = 0;
    for (std::size_t done = 0; done < total;) {
        const std::size_t step = std::min(kStep, total - done);
        unsigned char* place = result.data() + done;
        int produced = 0;
        if (Platform::ReadAt(handle, offset + static_cast<std::int64_t>(done), place, step) !=
                static_cast<std::int64_t>(step) ||
            EVP_CipherUpdate(context.get(), result.data() + written, &produced, place, static_cast<int>(step)) != 1) {
            return {};
        }
        written += static_cast<std::size_t>(produced);
        done += step;
    }
    int produced = 0;
    if (EVP_CipherFinal_ex(context.get(), result.data() + written, &produced) != 1 ||
        written + static_cast<std::size_t>(produced) != result.size()) {
        return {};
    }
    return result;
}

std::string EncryptHelper::AES_128_CBC_Encrypt(const Bytes& key, const Bytes& iv, const Bytes& plain) {
    const CipherContext context = NewCipherContext();
    if (!Start(context.get(), key, iv, true)) {
        return {};
    }
    std::string result(PaddedLength(plain.size()), '\0');
    const std::int64_t written =
        Transform(context.get(), plain.data(), plain.size(), reinterpret_cast<unsigned char*>(result.data()));
    return written == static_cast<std::int64_t>(result.size()) ? result : std::string();
}

bool EncryptHelper::AES_128_CBC_Decrypt(const Bytes& key, const Bytes& iv, const Bytes& cipher, Bytes& plain) {
    plain.clear();
    const CipherContext context = NewCipherContext();
    if (cipher.empty() || cipher.size() % kBlock != 0 || !Start(context.get(), key, iv, false)) {
        return false;
    }
    Bytes result(cipher.size() + kBlock);
    const std::int64_t written = Transform(context.get(), cipher.data(), cipher.size(), result.data());
    if (written < 0) {
        return false;
    }
    result.resize(static_cast<std::size_t>(written));
    plain = std::move(result);
    return true;
}

}  // namespace Drive::Common
