#include "server_upload/multipart_body.h"

namespace Drive::TransferService {

std::string BuildMultipartBody(const std::string& lineBreak, const std::string& boundary, const std::string& metadata,
                               const std::string& content) {
    std::string body;
    body.reserve(content.size() + metadata.size() + 3 * boundary.size() + 256);
    body += "--";
    body += boundary;
    body += lineBreak;
    body += "Content-Type: application/json; charset=UTF-8";
    body += lineBreak;
    body += metadata;
    body += lineBreak;
    body += "--";
    body += boundary;
    body += lineBreak;
    body += "Content-Type: application/octet-stream; charset=UTF-8";
    body += lineBreak;
    body += content;
    body += lineBreak;
    body += "--";
    body += boundary;
    body += "--";
    return body;
}

}  // namespace Drive::TransferService
