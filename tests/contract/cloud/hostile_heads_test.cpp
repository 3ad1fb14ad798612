// Heads and framings of every kind, floods of a hundred mebibytes included, on each road on which an answer is taken
// in: what comes is right or refused with a line in the log, and memory stays bounded.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <thread>

#include "interfaces/cloud/file_trans_request.h"
#include "interfaces/common/encrypt_helper.h"
#include "tests/contract/cloud/cloud_test.h"
#include "tests/contract/cloud/memory_count.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudFile;
using Cloud::DriveAccount;
using Cloud::FileTransRequest;

constexpr std::size_t kFlood = std::size_t{100} << 20;
constexpr std::size_t kMostHeld = std::size_t{16} << 20;

/// The bytes of an answer; a flood is never held whole.
struct Script {
    std::string begin;
    std::string flooding = "";  ///< again and again, a hundred mebibytes of it
    std::string end = "";
};

/// Says the same bytes to every request, then ends the connection.
class RawServer {
public:
    RawServer() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        const bool listens = bind(listener, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
                             listen(listener, 8) == 0 &&
                             getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) == 0;
        EXPECT_TRUE(listens);
        url = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
        thread = std::thread([this] { Serve(); });
    }
    ~RawServer() {
        stopping = true;
        thread.join();
        close(listener);
    }
    RawServer(const RawServer&) = delete;
    RawServer& operator=(const RawServer&) = delete;

    std::wstring Url(const std::string& path = "") const {
        const std::string whole = url + path;
        return {whole.begin(), whole.end()};
    }

    /// From the next answer on; one that nobody waits for any more may still be under way.
    void Answer(Script next) {
        const std::lock_guard lock(mutex);
        script = std::make_shared<const Script>(std::move(next));
    }

private:
    void Serve() {
        while (!stopping) {
            pollfd waiting{listener, POLLIN, 0};
            if (poll(&waiting, 1, 4) <= 0) continue;
            const int descriptor = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            const timeval limit{5, 0};
            setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
            setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
            ReadRequest(descriptor);
            Say(descriptor, *Current());
            close(descriptor);
        }
    }

    /// The bodies of this test are the one letter of an upload.
    static void ReadRequest(int descriptor) {
        std::string request;
        char buffer[4096];
        const auto whole = [&] {
            const std::size_t end = request.find("\r\n\r\n");
            return end != std::string::npos && (request[0] != 'P' || request.size() > end + 4);
        };
        while (!whole()) {
            const ssize_t count = recv(descriptor, buffer, sizeof buffer, 0);
            if (count <= 0) return;
            request.append(buffer, static_cast<std::size_t>(count));
        }
    }

    std::shared_ptr<const Script> Current() {
        const std::lock_guard lock(mutex);
        return script;
    }

    static void Say(int descriptor, const Script& script) {
        const auto say = [descriptor](const std::string& text) {
            return send(descriptor, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
        };
        if (!say(script.begin)) return;
        std::string block = script.flooding;
        while (!block.empty() && block.size() < 65536) block += block;
        for (std::size_t sent = 0; !block.empty() && sent < kFlood; sent += block.size()) {
            if (!say(block)) return;
        }
        say(script.end);
    }

    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::string url;  // constant after construction
    std::mutex mutex;
    std::shared_ptr<const Script> script = std::make_shared<const Script>();  // guarded by mutex
    std::atomic<bool> stopping{false};
    std::thread thread;
};

std::string Sized(const std::string& body) {
    return "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string Chunk(const std::string& body) {
    char length[16];
    std::snprintf(length, sizeof length, "%zx", body.size());
    return length + ("\r\n" + body + "\r\n");
}

std::string Chunked(const std::string& body) {
    return "Transfer-Encoding: chunked\r\n\r\n" + Chunk(body) + "0\r\n\r\n";
}

const std::string kOk = "HTTP/1.1 200 OK\r\n";

enum class Expected { Taken, Refused, Either };

struct Head {
    const char* name;
    Expected expected;
    std::function<Script(const std::string& body)> make;
};

Head Plain(const char* name, Expected expected, const std::string& head) {
    return {name, expected, [head](const std::string& body) { return Script{head + Sized(body)}; }};
}

std::vector<Head> Heads() {
    return {
        Plain("sound", Expected::Taken, kOk),
        {"without_length", Expected::Taken, [](const std::string& body) { return Script{kOk + "\r\n" + body}; }},
        {"of_the_older_version", Expected::Taken,
         [](const std::string& body) { return Script{"HTTP/1.0 200 OK\r\n\r\n" + body}; }},
        {"in_chunks", Expected::Taken, [](const std::string& body) { return Script{kOk + Chunked(body)}; }},
        {"in_chunks_and_with_a_length", Expected::Taken,
         [](const std::string& body) { return Script{kOk + "Content-Length: 3\r\n" + Chunked(body)}; }},
        Plain("after_interim_answers", Expected::Taken,
              "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: <x>\r\n\r\n" + kOk),
        Plain("with_bytes_that_are_no_text", Expected::Taken,
              "HTTP/1.1 200 \xff\xfe\r\nX-\xff: \xfe\r\nETag: \xff\r\nSet-Cookie: a=b\r\nRetry-After: -1\r\n"),
        {"with_more_behind", Expected::Taken,
         [](const std::string& body) { return Script{kOk + Sized(body) + "junk"}; }},
        {"of_interim_answers_only", Expected::Refused,
         [](const std::string&) { return Script{"HTTP/1.1 100 Continue\r\n\r\n"}; }},
        {"flooded_with_interim_answers", Expected::Refused,
         [](const std::string& body) {
             return Script{"", "HTTP/1.1 100 Continue\r\n\r\n", kOk + Sized(body)};
         }},
        {"flooded_with_headers", Expected::Refused,
         [](const std::string& body) {
             return Script{kOk, "X-More: and more\r\n", Sized(body)};
         }},
        {"flooded_in_one_header", Expected::Refused,
         [](const std::string& body) {
             return Script{kOk + "X-More: ", "more", "\r\n" + Sized(body)};
         }},
        {"flooded_with_trailers", Expected::Refused,
         [](const std::string& body) {
             return Script{kOk + "Transfer-Encoding: chunked\r\n\r\n" + Chunk(body) + "0\r\n", "X-More: and more\r\n",
                           "\r\n"};
         }},
        {"flooded_in_a_chunk_extension", Expected::Either,
         [](const std::string& body) {
             const std::string chunk = Chunk(body);
             const std::size_t line = chunk.find('\r');
             return Script{kOk + "Transfer-Encoding: chunked\r\n\r\n" + chunk.substr(0, line) + ";", "more",
                           chunk.substr(line) + "0\r\n\r\n"};
         }},
        Plain("with_a_zero_byte", Expected::Refused, kOk + std::string("X-A: a\0b\r\n", 11)),
        {"length_with_a_sign", Expected::Refused,
         [](const std::string& body) {
             return Script{kOk + "Content-Length: +" + std::to_string(body.size()) + "\r\n\r\n" + body};
         }},
        {"length_as_a_list", Expected::Refused,
         [](const std::string& body) {
             const std::string length = std::to_string(body.size());
             return Script{kOk + "Content-Length: " + length + ", " + length + "\r\n\r\n" + body};
         }},
        Plain("two_lengths", Expected::Refused, kOk + "Content-Length: 5\r\n"),
        {"length_below_zero", Expected::Refused,
         [](const std::string& body) { return Script{kOk + "Content-Length: -5\r\n\r\n" + body}; }},
        {"length_beyond_all_numbers", Expected::Refused,
         [](const std::string& body) { return Script{kOk + "Content-Length: 99999999999999999999\r\n\r\n" + body}; }},
        {"length_on_the_next_line", Expected::Refused,
         [](const std::string& body) {
             return Script{kOk + "Content-Length:\r\n " + std::to_string(body.size()) + "\r\n\r\n" + body};
         }},
        {"length_beyond_the_body", Expected::Refused,
         [](const std::string& body) {
             return Script{kOk + "Content-Length: " + std::to_string(body.size() + 1) + "\r\n\r\n" + body};
         }},
        {"chunk_of_no_size", Expected::Refused,
         [](const std::string& body) {
             return Script{kOk + "Transfer-Encoding: chunked\r\n\r\nzz\r\n" + body + "\r\n0\r\n\r\n"};
         }},
        {"chunk_beyond_all_numbers", Expected::Refused,
         [](const std::string& body) {
             return Script{kOk + "Transfer-Encoding: chunked\r\n\r\nffffffffffffffffff\r\n" + body};
         }},
        {"chunks_without_end", Expected::Refused,
         [](const std::string& body) { return Script{kOk + "Transfer-Encoding: chunked\r\n\r\n" + Chunk(body)}; }},
        {"no_head", Expected::Refused, [](const std::string& body) { return Script{body}; }},
        {"nothing", Expected::Refused, [](const std::string&) { return Script{""}; }},
        {"half_a_head", Expected::Refused, [](const std::string&) { return Script{kOk + "Content-Le"}; }},
        Plain("of_a_version_that_nobody_knows", Expected::Refused, "HTTP/9.9 200 OK\r\n"),
        Plain("status_of_zeroes", Expected::Refused, "HTTP/1.1 000 OK\r\n"),
        Plain("status_of_two_digits", Expected::Refused, "HTTP/1.1 20 OK\r\n"),
        Plain("status_of_four_digits", Expected::Refused, "HTTP/1.1 2000 OK\r\n"),
        Plain("status_of_letters", Expected::Refused, "HTTP/1.1 OK\r\n"),
    };
}

class HostileHeads : public CloudTest, public testing::WithParamInterface<Head> {
protected:
    HostileHeads() {
        auto settings = Settings();
        settings.baseUrl = raw.Url();
        Configure(settings);
    }

    /// One road with its own kind of body; `take` tells whether the answer was taken, and checks what of it was.
    void Try(const char* road, const std::string& body, const std::function<bool()>& take) {
        raw.Answer(GetParam().make(body));
        const std::size_t lines = LogLines();
        const MemoryPeak peak;
        const bool taken = take();
        EXPECT_LT(peak.Bytes(), kMostHeld) << road;
        const Expected expected = GetParam().expected;
        EXPECT_TRUE(expected == Expected::Either || (expected == Expected::Taken) == taken) << road;
        EXPECT_TRUE(taken || LogLines() > lines) << road << " was refused without a line in the log";
    }

    RawServer raw;
};

// CLOUD-HOSTILE-05
TEST_P(HostileHeads, AreTakenRightOrRefusedOnEveryRoad) {
    const std::string entry = R"({"id":"f1"})";
    Try("a control call", entry, [&] {
        CloudFile file;
        const auto outcome = DriveAccount::Get(L"f1", file);
        EXPECT_EQ(outcome.ok, file.id == L"f1");
        EXPECT_EQ(outcome.ok, outcome.message.empty());
        return outcome.ok;
    });
    const std::string content = Content(1000);
    Try("a content", content, [&] {
        std::string got;
        FileTransRequest request;
        request.receiveDownloadFileCallBackFun([&](const unsigned char* data, const std::int64_t& length) {
            got.append(reinterpret_cast<const char*>(data), static_cast<std::size_t>(length));
            return true;
        });
        const bool taken = FileTransRequest::DownloadCloudFileRequest(raw.Url("/x"), {}, &request) == 200;
        EXPECT_EQ(content.substr(0, got.size()), got);
        EXPECT_TRUE(!taken || got == content);
        return taken;
    });
    const std::vector<unsigned char> key(16, 1), iv(16, 2), plain(1000, 7);
    const auto stored = Common::EncryptHelper::AES_128_CBC_Encrypt(key, iv, plain);
    Try("an object", std::string(stored.begin(), stored.end()), [&] {
        std::vector<unsigned char> received;
        const bool taken =
            FileTransRequest::DownloadDriveFileRequest(raw.Url("/o"), {}, key, iv, L"AES_128", 1 << 20, received);
        EXPECT_TRUE(taken ? received == plain : received.empty());
        return taken;
    });
    Try("an upload", "stored", [&] {
        WMap headers;
        std::string text;
        const bool taken = FileTransRequest::UploadRequest(raw.Url("/o"), {}, L"PUT", {1}, headers, text);
        EXPECT_TRUE(!taken || text == "stored");
        return taken;
    });
}

INSTANTIATE_TEST_SUITE_P(Kinds, HostileHeads, testing::ValuesIn(Heads()),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace Drive::Testing
