#include <openssl/crypto.h>

#include <algorithm>

#include "collaborators/cloud/address.h"
#include "collaborators/cloud/file_counters.h"
#include "collaborators/cloud/guarded.h"
#include "collaborators/cloud/header_list.h"
#include "collaborators/cloud/object_cipher.h"
#include "collaborators/cloud/process_state.h"
#include "collaborators/cloud/repeats.h"
#include "collaborators/cloud/slice_bounds.h"
#include "collaborators/cloud/text.h"
#include "interfaces/cloud/file_trans_request.h"
#include "interfaces/cloud/wire/fields.h"

namespace Drive::Cloud {

namespace {

constexpr const char* kCall = "DownloadDriveFileRequest";
constexpr std::int64_t kReservedAtFirst = std::int64_t{64} << 20;

void Log(const std::string& text) { SyncPanelLog::WriteErrorLog("CloudClient", kCall, text); }

/// One stored object on its way into plain bytes. They leave this class only when everything about it was right.
class ObjectSink : public BodySink {
public:
    /// Works in the memory of `received`, which is empty meanwhile: a caller that fetches object after object hands
    /// over the same buffer each time, and its pages need not be asked of the system again.
    ObjectSink(ObjectCipher& cipher, std::int64_t bound, std::vector<unsigned char>& received)
        : cipher(cipher), bound(bound), received(received) {
        plain.swap(received);
        plain.clear();
    }

    /// Gives the memory back, without what may be in it.
    ~ObjectSink() override {
        if (concluded) return;
        OPENSSL_cleanse(plain.data(), plain.size());
        plain.clear();
        received.swap(plain);
    }
    ObjectSink(const ObjectSink&) = delete;
    ObjectSink& operator=(const ObjectSink&) = delete;

    bool Begin(const HttpAnswer& head) override {
        if (head.status != 200) return false;
        if (head.Header("Content-Encoding") != nullptr && *head.Header("Content-Encoding") != "identity") {
            why = "the store answered with a content encoding that was not asked for";
            return false;
        }
        for (const auto& [name, value] : head.headers) {
            if (EqualsIgnoringCase(name, Wire::kObjectDigestHeader)) toldDigests.push_back(value);
        }
        if (head.declaredLength > bound) {
            why = TooLong();
            return false;
        }
        plain.reserve(static_cast<std::size_t>(std::min(bound, kReservedAtFirst)) + 64);
        begun = true;
        return true;
    }

    bool Take(const unsigned char* data, std::size_t size) override {
        stored += static_cast<std::int64_t>(size);
        if (stored > bound) {
            why = TooLong();
            return false;
        }
        if (cipher.Take(data, size, plain)) return true;
        why = "the cipher failed";
        return false;
    }

    /// True: `received` has the plain bytes. Otherwise Why() tells the reason.
    bool Conclude(const HttpAnswer& answer);

    const std::string& Why() const { return why; }

private:
    bool DigestIsRight();
    std::string TooLong() const {
        return "the stored object is longer than the " + std::to_string(bound) + " bytes that it may have";
    }

    ObjectCipher& cipher;
    const std::int64_t bound;
    std::vector<unsigned char>& received;
    std::vector<unsigned char> plain;
    std::vector<std::string> toldDigests;
    std::int64_t stored = 0;
    bool begun = false;
    bool concluded = false;
    std::string why;
};

bool ObjectSink::DigestIsRight() {
    const std::string digest = cipher.StoredDigest();
    return !digest.empty() && std::all_of(toldDigests.begin(), toldDigests.end(),
                                          [&](const std::string& told) { return LowerCase(told) == digest; });
}

bool ObjectSink::Conclude(const HttpAnswer& answer) {
    if (!why.empty()) return false;
    if (answer.failure != HttpFailure::None) {
        why = answer.Told();
    } else if (!begun) {
        why = "the store answered with status " + std::to_string(answer.status);
    } else if (!DigestIsRight()) {
        why = "the digest of the stored object is not the one that the store tells; the object is damaged";
    } else if (!cipher.Finish(plain)) {
        why = "the padding of the decrypted object is wrong; key and object do not belong together";
    } else {
        received.swap(plain);
        concluded = true;
    }
    return concluded;
}

struct ObjectRequest {
    HttpRequest http;
    std::int64_t bound = 0;
};

bool Fetch(const ObjectRequest& request, const std::wstring& algorithm, const std::vector<unsigned char>& fek,
           const std::vector<unsigned char>& iv, std::vector<unsigned char>& received) {
    Repeats repeats = Repeats::OfDownload(CurrentLimits()->repeats);
    for (;;) {
        ObjectCipher cipher;
        std::string why;
        if (!cipher.Start(algorithm, fek, iv, why)) {
            Log(why + "; nothing was fetched");
            return false;
        }
        ObjectSink sink(cipher, request.bound, received);
        const HttpAnswer answer = Perform(request.http, &sink);
        if (repeats.Again(answer)) continue;
        if (sink.Conclude(answer)) return true;
        Log("GET " + AddressForLog(request.http.url) + ": " + sink.Why());
        return false;
    }
}

}  // namespace

bool FileTransRequest::DownloadDriveFileRequest(const std::wstring& url, WMap headers,
                                                const std::vector<unsigned char>& fek,
                                                const std::vector<unsigned char>& iv, const std::wstring& algorithm,
                                                std::int64_t length, std::vector<unsigned char>& received) {
    received.clear();
    const bool done = Guarded(kCall, false, [&] {
        ObjectRequest request;
        request.http.url = ResolveAddress(Narrow(url), CurrentLimits()->baseUrl);
        request.http.headers = NarrowHeaders(headers);
        request.http.download = true;
        request.http.file = CountAtAddress(url);
        request.bound = length > 0 ? std::min(length, kLargestObject) : kLargestObject;
        if (!request.http.url.empty()) return Fetch(request, algorithm, fek, iv, received);
        Log("the address of the object is no http or https address");
        return false;
    });
    if (!done) received.clear();
    return done;
}

}  // namespace Drive::Cloud
