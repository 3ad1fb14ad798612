// The download of one encrypted object.
#include <openssl/evp.h>

#include "interfaces/cloud/file_trans_request.h"
#include "interfaces/common/encrypt_helper.h"
#include "tests/contract/cloud/cloud_test.h"

namespace Drive::Testing {
namespace {

using Cloud::FileTransRequest;
using Bytes = std::vector<unsigned char>;

Bytes ToBytes(const std::string& text) { return {text.begin(), text.end()}; }
std::string ToText(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

const Bytes kKey = ToBytes("0123456789abcdef");
const Bytes kLongKey = ToBytes("0123456789abcdef0123456789abcdeX");
const Bytes kIv = ToBytes("fedcba9876543210");

std::string Encrypt256(const Bytes& key, const Bytes& iv, const std::string& plain) {
    std::string out(plain.size() + 32, '\0');
    EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
    int first = 0, second = 0;
    auto* data = reinterpret_cast<unsigned char*>(out.data());
    EVP_EncryptInit_ex(context, EVP_aes_256_cbc(), nullptr, key.data(), iv.data());
    EVP_EncryptUpdate(context, data, &first, reinterpret_cast<const unsigned char*>(plain.data()),
                      static_cast<int>(plain.size()));
    EVP_EncryptFinal_ex(context, data + first, &second);
    EVP_CIPHER_CTX_free(context);
    out.resize(static_cast<std::size_t>(first + second));
    return out;
}

class ObjectDownload : public CloudTest {
protected:
    bool Fetch(const Bytes& key, const Bytes& iv, const std::wstring& algorithm, std::int64_t length,
               const WMap& headers = {}) {
        received = ToBytes("left over from an earlier attempt");
        return FileTransRequest::DownloadDriveFileRequest(server.WideUrl("/store/b/o?signature=s"), headers, key, iv,
                                                          algorithm, length, received);
    }

    Reply Stored(const std::string& plain) {
        Reply reply;
        reply.body = Common::EncryptHelper::AES_128_CBC_Encrypt(kKey, kIv, ToBytes(plain));
        reply.headers = {{"X-Object-Sha256", Sha256(reply.body)}};
        return reply;
    }

    Bytes received;
};

class ObjectSizes : public ObjectDownload, public testing::WithParamInterface<std::size_t> {};

// CLOUD-STORE-06
TEST_P(ObjectSizes, TheInverseOfTheUploadsEncryption) {
    const std::string plain = Content(GetParam());
    const Reply reply = Stored(plain);
    server.AnswerAll(reply);
    EXPECT_TRUE(Fetch(kKey, kIv, L"AES_128", static_cast<std::int64_t>(reply.body.size())));
    EXPECT_TRUE(plain == ToText(received));
}

INSTANTIATE_TEST_SUITE_P(Sizes, ObjectSizes, testing::Values(0, 1, 15, 16, 17, 31, 32, 4096, 100'000, (4 << 20) + 3));

// CLOUD-STORE-06
TEST_F(ObjectDownload, TheBufferOfTheObjectBeforeIsUsedAgainAfterSuccessAndFailure) {
    const Reply reply = Stored(Content(100'000));
    server.AnswerAll(reply);
    const auto length = static_cast<std::int64_t>(reply.body.size());
    const auto again = [&] {
        return FileTransRequest::DownloadDriveFileRequest(server.WideUrl("/store/b/o"), {}, kKey, kIv, L"AES_128",
                                                          length, received);
    };
    EXPECT_TRUE(again());
    const unsigned char* const memory = received.data();
    EXPECT_TRUE(again());
    EXPECT_EQ(memory, received.data());
    Reply damaged = reply;
    damaged.body[5] ^= 1;
    server.AnswerAll(damaged);
    EXPECT_FALSE(again());
    EXPECT_TRUE(received.empty());
    server.AnswerAll(reply);
    EXPECT_TRUE(again());
    EXPECT_EQ(memory, received.data());
    EXPECT_EQ(Content(100'000), ToText(received));
}

// CLOUD-STORE-06
TEST_F(ObjectDownload, SendsExactlyTheHeadersOfTheAddressAndNoLogin) {
    server.AnswerAll(Stored("x"));
    Fetch(kKey, kIv, L"AES_128", 16, {{L"x-amz-date", L"20260101"}, {L"Authorization", L"Bearer of-the-store"}});
    EXPECT_EQ(
        "GET /store/b/o?signature=s HTTP/1.1\r\n"
        "Authorization: Bearer of-the-store\r\n"
        "x-amz-date: 20260101\r\n",
        HeadWithoutHost(server.Last()));
}

// CLOUD-STORE-07
TEST_F(ObjectDownload, TheLengthIsAnUpperBoundOnly) {
    server.AnswerAll(Stored("short"));
    EXPECT_TRUE(Fetch(kKey, kIv, L"AES_128", 5'000'000));
    EXPECT_EQ("short", ToText(received));
}

// CLOUD-STORE-07
TEST_F(ObjectDownload, WithoutALengthTheObjectIsTakenAllTheSame) {
    server.AnswerAll(Stored("short"));
    EXPECT_TRUE(Fetch(kKey, kIv, L"AES_128", 0));
    EXPECT_TRUE(Fetch(kKey, kIv, L"AES_128", -5));
}

// CLOUD-STORE-07
TEST_F(ObjectDownload, AnObjectLongerThanTheBoundIsRefused) {
    const Reply reply = Stored(Content(1000));
    server.AnswerAll(reply);
    EXPECT_FALSE(Fetch(kKey, kIv, L"AES_128", static_cast<std::int64_t>(reply.body.size()) - 1));
    EXPECT_TRUE(received.empty());
}

// CLOUD-STORE-07
TEST_F(ObjectDownload, AnEndlessObjectIsGivenUpAtTheBound) {
    Reply reply = Stored(Content(1 << 20));
    reply.headers.clear();
    reply.announcedLength = "";
    server.AnswerAll(reply);
    EXPECT_FALSE(Fetch(kKey, kIv, L"AES_128", 1000));
    EXPECT_TRUE(received.empty());
}

// CLOUD-STORE-07
TEST_F(ObjectDownload, ALengthThatNoObjectHasIsNotBelievedOfTheCloudNorOfTheStore) {
    Reply reply = Stored(Content(1 << 20));
    reply.announcedLength = "1099511627776";
    reply.pauseMilliseconds = 60'000;  // the verdict comes before the body does
    reply.writeSize = 1000;
    server.AnswerAll(reply);
    EXPECT_FALSE(Fetch(kKey, kIv, L"AES_128", std::int64_t{1} << 53));
    EXPECT_TRUE(received.empty());
    EXPECT_TRUE(LogHolds("longer than the 1073741840 bytes that it may have"));
}

// CLOUD-STORE-08
TEST_F(ObjectDownload, WithoutADigestOfTheStoreTheObjectIsAccepted) {
    Reply reply = Stored("content");
    reply.headers.clear();
    server.AnswerAll(reply);
    EXPECT_TRUE(Fetch(kKey, kIv, L"AES_128", 16));
    EXPECT_EQ("content", ToText(received));
}

// CLOUD-STORE-08
TEST_F(ObjectDownload, TheDigestMayStandInCapitals) {
    Reply reply = Stored("content");
    for (char& c : reply.headers[0].second) c = static_cast<char>(std::toupper(c));
    server.AnswerAll(reply);
    EXPECT_TRUE(Fetch(kKey, kIv, L"AES_128", 16));
}

// CLOUD-STORE-06
TEST_F(ObjectDownload, AES256TakesALongKeyAndTheFirstHalfOfTheVector) {
    const std::string plain = Content(1000);
    Reply reply;
    reply.body = Encrypt256(kLongKey, kIv, plain);
    server.AnswerAll(reply);
    Bytes longIv = kIv;
    longIv.resize(32, 0xAA);
    EXPECT_TRUE(Fetch(kLongKey, longIv, L"AES_256", 2000));
    EXPECT_EQ(plain, ToText(received));
}

struct Damage {
    const char* name;
    std::function<void(Reply&)> make;
};

class DamagedObject : public ObjectDownload, public testing::WithParamInterface<Damage> {};

// CLOUD-STORE-09
TEST_P(DamagedObject, GivesFalseAndLeavesNothing) {
    GiveUpEarly();
    Reply reply = Stored(Content(5000));
    GetParam().make(reply);
    server.AnswerAll(reply);
    EXPECT_FALSE(Fetch(kKey, kIv, L"AES_128", 6000));
    EXPECT_TRUE(received.empty());
    EXPECT_TRUE(LogHolds("DownloadDriveFileRequest"));
}

INSTANTIATE_TEST_SUITE_P(
    Damages, DamagedObject,
    testing::Values(
        Damage{"flipped_bit", [](Reply& reply) { reply.body[2000] = static_cast<char>(reply.body[2000] ^ 1); }},
        Damage{"wrong_digest",
               [](Reply& reply) {
                   reply.headers = {{"X-Object-Sha256", std::string(64, '0')}};
               }},
        Damage{"empty_digest",
               [](Reply& reply) {
                   reply.headers = {{"X-Object-Sha256", ""}};
               }},
        Damage{"digest_of_another_form",
               [](Reply& reply) {
                   reply.headers[0].second += " ";
                   reply.headers[0].second[0] = 'z';
               }},
        Damage{"second_digest_differs", [](Reply& reply) { reply.headers.emplace_back("X-Object-Sha256", "1234"); }},
        Damage{"no_multiple_of_a_block",
               [](Reply& reply) {
                   reply.body.pop_back();
                   reply.headers.clear();
               }},
        Damage{"wrong_padding",
               [](Reply& reply) {
                   reply.body[reply.body.size() - 17] = static_cast<char>(reply.body[reply.body.size() - 17] ^ 0x55);
                   reply.headers.clear();
               }},
        Damage{"empty",
               [](Reply& reply) {
                   reply.body.clear();
                   reply.headers.clear();
               }},
        Damage{"cut", [](Reply& reply) { reply.cutAfter = 4096; }},
        Damage{"reset",
               [](Reply& reply) {
                   reply.cutAfter = 4096;
                   reply.reset = true;
               }},
        Damage{"stall", [](Reply& reply) { reply.stallAfter = 4096; }},
        Damage{"partial", [](Reply& reply) { reply.status = 206; }},
        Damage{"created", [](Reply& reply) { reply.status = 201; }},
        Damage{"moved", [](Reply& reply) { reply.status = 302; }},
        Damage{"forbidden", [](Reply& reply) { reply.status = 403; }},
        Damage{"missing", [](Reply& reply) { reply.status = 404; }},
        Damage{"server_error", [](Reply& reply) { reply.status = 500; }},
        Damage{"compressed_unasked", [](Reply& reply) { reply.headers.emplace_back("Content-Encoding", "gzip"); }},
        Damage{"no_http", [](Reply& reply) { reply.raw = "hello"; }}),
    [](const auto& info) { return info.param.name; });

struct BadKey {
    const char* name;
    Bytes key;
    Bytes iv;
    const wchar_t* algorithm;
};

class UnusableKey : public ObjectDownload, public testing::WithParamInterface<BadKey> {};

// CLOUD-STORE-09
TEST_P(UnusableKey, IsRefusedBeforeAnythingIsFetched) {
    server.AnswerAll(Stored("content"));
    EXPECT_FALSE(Fetch(GetParam().key, GetParam().iv, GetParam().algorithm, 16));
    EXPECT_TRUE(received.empty());
    EXPECT_TRUE(server.Requests().empty());
    EXPECT_GT(LogLines(), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, UnusableKey,
    testing::Values(BadKey{"zero", Bytes(16, 0), kIv, L"AES_128"}, BadKey{"long_zero", Bytes(32, 0), kIv, L"AES_256"},
                    BadKey{"empty", {}, kIv, L"AES_128"}, BadKey{"short_key", Bytes(15, 1), kIv, L"AES_128"},
                    BadKey{"long_for_128", kLongKey, kIv, L"AES_128"}, BadKey{"short_for_256", kKey, kIv, L"AES_256"},
                    BadKey{"no_vector", kKey, {}, L"AES_128"}, BadKey{"long_vector", kKey, Bytes(32, 1), L"AES_128"},
                    BadKey{"short_vector", kLongKey, Bytes(15, 1), L"AES_256"},
                    BadKey{"unknown", kKey, kIv, L"AES_192"}, BadKey{"none", kKey, kIv, L""},
                    BadKey{"other_case", kKey, kIv, L"aes_128"}),
    [](const auto& info) { return info.param.name; });

// CLOUD-STORE-09
TEST_F(ObjectDownload, TheWrongKeyGivesNothing) {
    server.AnswerAll(Stored(Content(5000)));
    Bytes other = kKey;
    other[0] ^= 1;
    EXPECT_FALSE(Fetch(other, kIv, L"AES_128", 6000));
    EXPECT_TRUE(received.empty());
}

// CLOUD-STORE-09
TEST_F(ObjectDownload, AnAddressThatIsNoneGivesNothing) {
    received = ToBytes("old");
    EXPECT_FALSE(FileTransRequest::DownloadDriveFileRequest(L"gopher://x", {}, kKey, kIv, L"AES_128", 16, received));
    EXPECT_TRUE(received.empty());
}

}  // namespace
}  // namespace Drive::Testing
