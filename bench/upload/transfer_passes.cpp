// zelkor_transfer_passes PASS FILE [ARGUMENT]: runs one pass over a file and prints what it cost, as JSON.
//   sha256 FILE          reads the file and makes its SHA-256
//   sha256-md5 FILE      both digests in one reading
//   encrypt FILE         reads the file and encrypts it, object by object (AES-128-CBC)
//   digest-objects FILE  SHA-256 and MD5 of each object; FILE holds the objects one after the other
//   make-objects FILE OUT  not a pass: writes the objects to OUT and prints length and digests of each
//   decrypt FILE         decrypts the objects
//   write FILE OUT       writes the file to OUT block by block, each synced
//   send FILE REQUESTS   PUTs the objects
//   receive REQUESTS     GETs them
#include "bench/upload/passes.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>

namespace Drive::Bench {

double ProcessorSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::size_t kSlice = std::size_t{4} << 20;  // plain bytes an object, as the cloud's default is
constexpr std::size_t kStored = kSlice + 16;
constexpr std::size_t kReading = std::size_t{512} << 10;
constexpr std::size_t kPiece = std::size_t{256} << 10;
const unsigned char kKey[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};

void Require(bool good, const char* what) {
    if (!good) throw std::runtime_error(std::string(what) + " failed");
}

struct FreeContext {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using Digest = std::unique_ptr<EVP_MD_CTX, FreeContext>;
using Cipher = std::unique_ptr<EVP_CIPHER_CTX, FreeContext>;

Digest NewDigest(const EVP_MD* kind) {
    Digest digest(EVP_MD_CTX_new());
    Require(digest && EVP_DigestInit_ex(digest.get(), kind, nullptr) == 1, "digest");
    return digest;
}

std::string Hex(const Digest& digest) {
    unsigned char value[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    Require(EVP_DigestFinal_ex(digest.get(), value, &length) == 1, "digest");
    std::string text;
    for (unsigned index = 0; index < length; ++index) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", value[index]);
        text += digits;
    }
    return text;
}

class File {
public:
    File(const std::string& path, int flags) : descriptor(::open(path.c_str(), flags | O_CLOEXEC, 0600)) {
        Require(descriptor >= 0, "open");
    }
    ~File() { ::close(descriptor); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    /// Fills the block from the file; it is cut at the end of the file. False when nothing was left.
    bool Fill(Bytes& block, std::size_t size) {
        block.resize(size);
        std::size_t filled = 0;
        while (filled < size) {
            const ssize_t got = ::read(descriptor, block.data() + filled, size - filled);
            Require(got >= 0, "read");
            if (got == 0) break;
            filled += static_cast<std::size_t>(got);
        }
        block.resize(filled);
        return filled > 0;
    }

    void Write(const Bytes& block, bool synced) {
        Require(::write(descriptor, block.data(), block.size()) == static_cast<ssize_t>(block.size()), "write");
        Require(!synced || ::fdatasync(descriptor) == 0, "sync");
    }

private:
    const int descriptor;
};

/// One object of these plain bytes, encrypted or decrypted in pieces that stay in the processor's cache.
Bytes Transform(const Bytes& from, bool encrypt) {
    const Cipher cipher(EVP_CIPHER_CTX_new());
    Require(cipher && EVP_CipherInit_ex(cipher.get(), EVP_aes_128_cbc(), nullptr, kKey, kKey, encrypt ? 1 : 0) == 1,
            "cipher");
    Bytes to(from.size() + 16);
    int written = 0, produced = 0;
    for (std::size_t done = 0; done < from.size(); done += kPiece) {
        const auto step = static_cast<int>(std::min(kPiece, from.size() - done));
        Require(EVP_CipherUpdate(cipher.get(), to.data() + written, &produced, from.data() + done, step) == 1,
                "cipher");
        written += produced;
    }
    Require(EVP_CipherFinal_ex(cipher.get(), to.data() + written, &produced) == 1, "cipher");
    to.resize(static_cast<std::size_t>(written + produced));
    return to;
}

void DigestFile(const std::string& path, bool withMd5) {
    File file(path, O_RDONLY);
    const Digest sha256 = NewDigest(EVP_sha256()), md5 = NewDigest(EVP_md5());
    for (Bytes block; file.Fill(block, kReading);) {
        EVP_DigestUpdate(sha256.get(), block.data(), block.size());
        if (withMd5) EVP_DigestUpdate(md5.get(), block.data(), block.size());
    }
    Hex(sha256), Hex(md5);
}

/// Seconds of `work` on each block of the file; reading it is counted when asked for.
double ForBlocks(const std::string& path, std::size_t size, bool countReading,
                 const std::function<void(const Bytes&)>& work) {
    File file(path, O_RDONLY);
    double seconds = 0;
    Bytes block;
    for (;;) {
        double before = ProcessorSeconds();
        if (!file.Fill(block, size)) return seconds;
        if (!countReading) before = ProcessorSeconds();
        work(block);
        seconds += ProcessorSeconds() - before;
    }
}

void DigestObject(const Bytes& object) {
    const Digest sha256 = NewDigest(EVP_sha256()), md5 = NewDigest(EVP_md5());
    EVP_DigestUpdate(sha256.get(), object.data(), object.size());
    EVP_DigestUpdate(md5.get(), object.data(), object.size());
    Hex(sha256), Hex(md5);
}

void MakeObjects(const std::string& from, const std::string& to) {
    File out(to, O_WRONLY | O_CREAT | O_TRUNC);
    ForBlocks(from, kSlice, true, [&](const Bytes& plain) {
        const Bytes object = Transform(plain, true);
        const Digest sha256 = NewDigest(EVP_sha256()), md5 = NewDigest(EVP_md5());
        EVP_DigestUpdate(sha256.get(), object.data(), object.size());
        EVP_DigestUpdate(md5.get(), object.data(), object.size());
        out.Write(object, false);
        std::cout << object.size() << " " << Hex(sha256) << " " << Hex(md5) << "\n";
    });
}

double Timed(const std::function<void()>& work) {
    const double before = ProcessorSeconds();
    work();
    return ProcessorSeconds() - before;
}

double RunPass(const std::string& pass, const std::string& file, const std::string& other) {
    if (pass == "sha256") return Timed([&] { DigestFile(file, false); });
    if (pass == "sha256-md5") return Timed([&] { DigestFile(file, true); });
    if (pass == "encrypt") return ForBlocks(file, kSlice, true, [](const Bytes& plain) { Transform(plain, true); });
    if (pass == "digest-objects") return ForBlocks(file, kStored, false, DigestObject);
    if (pass == "decrypt")
        return ForBlocks(file, kStored, false, [](const Bytes& object) { Transform(object, false); });
    if (pass == "write") {
        File out(other, O_WRONLY | O_CREAT | O_TRUNC);
        return ForBlocks(file, kSlice, false, [&](const Bytes& plain) { out.Write(plain, true); });
    }
    if (pass == "send") return Send(file, ReadRequests(other));
    if (pass == "receive") return Receive(ReadRequests(file));
    throw std::runtime_error("there is no pass \"" + pass + "\"");
}

}  // namespace

}  // namespace Drive::Bench

int main(int count, char** arguments) try {
    if (count < 3) throw std::runtime_error("usage: zelkor_transfer_passes PASS FILE [ARGUMENT]");
    const std::string pass = arguments[1], file = arguments[2], other = count > 3 ? arguments[3] : "";
    if (pass == "make-objects") {
        Drive::Bench::MakeObjects(file, other);
    } else {
        std::printf("{\"pass\": \"%s\", \"cpu_s\": %.4f}\n", pass.c_str(), Drive::Bench::RunPass(pass, file, other));
    }
    return 0;
} catch (const std::exception& error) {
    std::cerr << "zelkor_transfer_passes: " << error.what() << std::endl;
    return 1;
}
