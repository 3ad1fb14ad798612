// Certificates: what is trusted and what is not.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

#include "interfaces/cloud/file_trans_request.h"
#include "tests/contract/cloud/cloud_test.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudFile;
using Cloud::DriveAccount;

/// A key with a certificate of its own for one name.
struct Certificate {
    /// Good from `from` to `to`, seconds from now.
    explicit Certificate(const std::string& names, long from = -3600, long to = 3600)
        : key(EVP_EC_gen("P-256")), x509(X509_new()) {
        X509_set_version(x509, 2);
        ASN1_INTEGER_set(X509_get_serialNumber(x509), 1);
        X509_gmtime_adj(X509_getm_notBefore(x509), from);
        X509_gmtime_adj(X509_getm_notAfter(x509), to);
        X509_set_pubkey(x509, key);
        X509_NAME* name = X509_get_subject_name(x509);
        X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("test"), -1, -1, 0);
        X509_set_issuer_name(x509, name);
        X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, names.c_str());
        X509_add_ext(x509, extension, -1);
        X509_EXTENSION_free(extension);
        X509_sign(x509, key, EVP_sha256());
    }
    ~Certificate() {
        X509_free(x509);
        EVP_PKEY_free(key);
    }
    void Write(const std::string& path) const {
        FILE* file = std::fopen(path.c_str(), "w");
        PEM_write_X509(file, x509);
        std::fclose(file);
    }
    EVP_PKEY* key;
    X509* x509;
};

/// Answers every connection with one entry.
class TlsServer {
public:
    explicit TlsServer(const Certificate& certificate) : context(SSL_CTX_new(TLS_server_method())) {
        SSL_CTX_use_certificate(context, certificate.x509);
        SSL_CTX_use_PrivateKey(context, certificate.key);
        listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address);
        listen(listener, 8);
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
        port = ntohs(address.sin_port);
        thread = std::thread([this] { Serve(); });
    }
    ~TlsServer() {
        stopping = true;
        thread.join();
        close(listener);
        SSL_CTX_free(context);
    }

    int port = 0;
    std::atomic<int> requests{0};

private:
    void Serve() {
        sigset_t pipe;  // of this thread only: the library under test has to manage without
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
        while (!stopping) {
            pollfd waiting{listener, POLLIN, 0};
            if (poll(&waiting, 1, 4) <= 0) continue;
            const int descriptor = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            const timeval limit{2, 0};
            setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
            SSL* ssl = SSL_new(context);
            SSL_set_fd(ssl, descriptor);
            char buffer[4096];
            if (SSL_accept(ssl) == 1 && SSL_read(ssl, buffer, sizeof buffer) > 0) {
                ++requests;
                const std::string answer =
                    "HTTP/1.1 200 OK\r\nContent-Length: 11\r\nConnection: close\r\n\r\n{\"id\":\"f1\"}";
                SSL_write(ssl, answer.data(), static_cast<int>(answer.size()));
                SSL_shutdown(ssl);
            }
            SSL_free(ssl);
            close(descriptor);
        }
    }

    SSL_CTX* context;
    int listener = -1;
    std::atomic<bool> stopping{false};
    std::thread thread;
};

class Tls : public CloudTest {
protected:
    Tls() : caPath(testing::TempDir() + "cloud-ca-" + std::to_string(getpid()) + ".pem") {}
    ~Tls() override { std::filesystem::remove(caPath); }

    Cloud::CallOutcome Call(const std::string& host, int port, bool trusted) {
        Cloud::CloudSettings settings = Settings();
        const std::string url = "https://" + host + ":" + std::to_string(port);
        settings.baseUrl = std::wstring(url.begin(), url.end());
        if (trusted) settings.caFile = std::wstring(caPath.begin(), caPath.end());
        Configure(settings);
        return DriveAccount::Get(L"f1", file);
    }

    std::string caPath;
    CloudFile file;
};

// CLOUD-NET-07
TEST_F(Tls, ACertificateOfTheGivenFileIsTrusted) {
    const Certificate certificate("IP:127.0.0.1,DNS:localhost");
    certificate.Write(caPath);
    TlsServer secure(certificate);
    const auto outcome = Call("127.0.0.1", secure.port, true);
    EXPECT_TRUE(outcome.ok) << outcome.message;
    EXPECT_EQ(L"f1", file.id);
    EXPECT_TRUE(Call("localhost", secure.port, true).ok);
}

// CLOUD-NET-07
TEST_F(Tls, AnUnknownCertificateIsRefusedBeforeAnythingIsSaid) {
    const Certificate certificate("IP:127.0.0.1");
    TlsServer secure(certificate);
    ConfigureRepeats(3);
    const auto outcome = Call("127.0.0.1", secure.port, false);
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(0, outcome.status);
    EXPECT_NE(std::string::npos, outcome.message.find("certificate")) << outcome.message;
    EXPECT_NE(std::string::npos, outcome.message.find("as ca_file")) << outcome.message;
    EXPECT_TRUE(LogHolds("as ca_file"));
    EXPECT_EQ(0, secure.requests);
}

// CLOUD-NET-07
TEST_F(Tls, ACertificateForAnotherNameOrAnotherTimeIsRefusedWithAnAdvice) {
    const auto refused = [&](const Certificate& certificate, const char* advice) {
        certificate.Write(caPath);
        TlsServer secure(certificate);
        const auto outcome = Call("127.0.0.1", secure.port, true);
        EXPECT_EQ(0, outcome.status);
        EXPECT_NE(std::string::npos, outcome.message.find(advice)) << outcome.message;
        EXPECT_EQ(0, secure.requests);
    };
    refused(Certificate("DNS:elsewhere.example"), "Use the name that the certificate is made out for");
    refused(Certificate("IP:127.0.0.1", -7200, -3600), "Have the certificate of that server renewed");
    refused(Certificate("IP:127.0.0.1", 3600, 7200), "the clock of this machine");
}

// CLOUD-NET-07
TEST_F(Tls, ACertificateFileThatIsMissingOrNoneRefusesEverythingAndIsNamed) {
    const Certificate certificate("IP:127.0.0.1");
    TlsServer secure(certificate);
    const auto refused = [&] {
        const auto outcome = Call("127.0.0.1", secure.port, true);
        EXPECT_EQ(0, outcome.status);
        EXPECT_NE(std::string::npos, outcome.message.find(caPath)) << outcome.message;
        EXPECT_NE(std::string::npos, outcome.message.find("in PEM form")) << outcome.message;
        EXPECT_EQ(0, secure.requests);
    };
    refused();
    std::ofstream(caPath) << "garbage";
    refused();
    std::ofstream(caPath, std::ios::trunc).flush();
    refused();
}

// CLOUD-NET-07
TEST_F(Tls, TransfersCheckCertificatesToo) {
    const Certificate certificate("IP:127.0.0.1");
    TlsServer secure(certificate);
    const std::wstring url = L"https://127.0.0.1:" + std::to_wstring(secure.port) + L"/x";
    Cloud::FileTransRequest request;
    request.receiveDownloadFileCallBackFun([](const unsigned char*, const std::int64_t&) { return true; });
    EXPECT_EQ(-1, Cloud::FileTransRequest::DownloadCloudFileRequest(url, {}, &request));
    WMap headers;
    std::string text;
    EXPECT_FALSE(Cloud::FileTransRequest::UploadRequest(url, {}, L"PUT", {1}, headers, text));
    EXPECT_EQ(0, secure.requests);
}

}  // namespace
}  // namespace Drive::Testing
