#include "collaborators/common/digest.h"

#include <new>

#include "collaborators/common/hex_text.h"
#include "interfaces/common/encrypt_helper.h"

namespace Drive::Common {

RunningDigest::RunningDigest(const EVP_MD* algorithm) : context(EVP_MD_CTX_new(), &EVP_MD_CTX_free), good(false) {
    if (!context) {
        throw std::bad_alloc();
    }
    good = EVP_DigestInit_ex(context.get(), algorithm, nullptr) == 1;
}

void RunningDigest::Add(const void* data, std::size_t length) {
    good = good && EVP_DigestUpdate(context.get(), data, length) == 1;
}

bool RunningDigest::Finish(unsigned char* result) {
    good = good && EVP_DigestFinal_ex(context.get(), result, nullptr) == 1;
    return good;
}

namespace {

template <typename Result>
std::string DigestText(const EVP_MD* algorithm, const Bytes& data) {
    Result result{};
    RunningDigest digest(algorithm);
    digest.Add(data.data(), data.size());
    return digest.Finish(result.data()) ? HexText<std::string>(result.data(), result.size()) : std::string();
}

}  // namespace

std::string EncryptHelper::MD5_Encode(const Bytes& data) { return DigestText<Md5Bytes>(EVP_md5(), data); }

std::string EncryptHelper::SHA256_Encode(const Bytes& data) { return DigestText<Sha256Bytes>(EVP_sha256(), data); }

}  // namespace Drive::Common
