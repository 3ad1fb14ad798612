#include "interfaces/cloud/file_trans_request.h"

#include <array>
#include <random>
#include <utility>

#include "interfaces/common/encrypt_helper.h"

namespace Drive::Cloud {

FileTransRequest::FileTransRequest() = default;
FileTransRequest::FileTransRequest(const FileTransRequest& other) = default;
FileTransRequest& FileTransRequest::operator=(const FileTransRequest& other) = default;
FileTransRequest::~FileTransRequest() = default;

void FileTransRequest::receiveDownloadFileCallBackFun(Receiver receiver) { this->receiver = std::move(receiver); }

std::string FileTransRequest::GetBoundary() {
    std::array<unsigned char, 20> bytes{};
    if (!Common::EncryptHelper::GetSecureRandom(bytes.data(), bytes.size())) {
        std::random_device device;
        for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(device());
    }
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string boundary = "zelkor-";
    for (const unsigned char byte : bytes) {
        boundary += kDigits[byte >> 4];
        boundary += kDigits[byte & 0xF];
    }
    return boundary;
}

}  // namespace Drive::Cloud
