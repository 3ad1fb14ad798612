#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// A small HTTP server on loopback that says exactly what a test wants, and remembers exactly what it was sent. One
/// thread a connection; connections are kept open.
namespace Drive::Testing {

struct SeenRequest {
    std::string method;
    std::string target;  ///< path and query as they came
    std::vector<std::pair<std::string, std::string>> headers;
    std::string head;  ///< the request line and all headers, byte by byte
    std::string body;
    int connection = 0;  ///< counts the connections from 1

    /// First value of the header, without regard to case; empty when there is none.
    std::string Header(const std::string& name) const;
    int CountHeader(const std::string& name) const;
};

/// One answer, with its faults.
struct Reply {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    /// So many letters "x" that the body has more, from the place `paddingAt` on; they are never held whole.
    std::size_t padding = 0;
    std::size_t paddingAt = 0;
    /// Value of Content-Length when it shall not be the body's; an empty text sends none and closes at the end.
    std::optional<std::string> announcedLength;
    bool chunked = false;
    /// After so many bytes of the body the connection ends.
    std::optional<std::size_t> cutAfter;
    bool reset = false;                     ///< it ends with a reset, not with an orderly close
    bool silent = false;                    ///< not even a head comes before it ends
    int delayMilliseconds = 0;              ///< before the head
    std::optional<std::size_t> stallAfter;  ///< after so many bytes of the body nothing more comes
    std::size_t writeSize = 0;              ///< bytes a write; 0: as much as possible
    int pauseMilliseconds = 0;              ///< between two writes
    std::optional<std::string> raw;         ///< instead of all this: these bytes, then the end
    bool closeAfter = false;

    static Reply Json(const std::string& body, int status = 200);
};

class HttpServer {
public:
    using Handler = std::function<Reply(const SeenRequest&)>;

    /// Throws std::system_error when this machine has no such address. `address`: "127.0.0.1" or "::1".
    explicit HttpServer(const std::string& address = "127.0.0.1");
    /// Ends all connections and joins all threads.
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// What answers from now on; called on the connection's thread.
    void Answer(Handler handler);
    /// The same answer to everything.
    void AnswerAll(const Reply& reply);
    /// One answer after another; the last one stays.
    void AnswerInTurn(std::vector<Reply> replies);

    /// From now on requests are read in steps of so many bytes, with a pause before each.
    void ReadSlowly(std::size_t step, int pauseMilliseconds);

    int Port() const;
    /// "http://ADDRESS:port" and the path.
    std::string Url(const std::string& path = "") const;
    std::wstring WideUrl(const std::string& path = "") const;

    std::vector<SeenRequest> Requests() const;
    /// The last one; a test failure when there is none.
    SeenRequest Last() const;
    int Connections() const;
    void Forget();

private:
    struct Body;
    std::unique_ptr<Body> body;
};

}  // namespace Drive::Testing
