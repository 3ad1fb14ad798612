#pragma once

#include <string>
#include <vector>

namespace Drive::Testing {

using Bytes = std::vector<unsigned char>;

/// The cloud's side of the key agreement, written past the engine and its libraries.
class KeyServer {
public:
    KeyServer();
    ~KeyServer();
    KeyServer(const KeyServer&) = delete;
    KeyServer& operator=(const KeyServer&) = delete;

    /// Prefix (26 bytes) and own point (65 bytes).
    Bytes Blob() const;
    /// The answer to a request for the public key.
    std::string PublicKeyAnswer() const;

    /// What the client sent, taken apart.
    struct Sent {
        Bytes blob;
        Bytes cipher;
    };
    static Sent TakeApart(const std::string& text);

    /// The client's temporary key; empty when its cipher text cannot be opened with the secret that both sides share.
    Bytes TemporaryKey(const std::string& text) const;

    static std::string Base64(const Bytes& bytes);
    static Bytes FromBase64(const std::string& text);
    /// AES-GCM: nonce (12), cipher text, tag (16).
    static Bytes Seal(const Bytes& plain, const Bytes& key);
    static Bytes Open(const Bytes& sealed, const Bytes& key);

private:
    struct Key;
    Key* key;
};

}  // namespace Drive::Testing
