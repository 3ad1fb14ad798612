#pragma once

#include <string>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "tests/support/scripted_cloud.h"

/// What the double of the cloud library keeps of its contract, whatever a test tells the little cloud to answer.
namespace Drive::Testing {

/// The request reaches the cloud; what it says, `own` unless a test told something else.
CloudReply Ask(const char* operation, const CloudReply& own = {});

/// The result map of a reply: code, status and description, and the fields of an accepted one. True: accepted.
bool Conclude(const CloudReply& reply, WMap& result);

/// Sees to it that a completed file has an id; false, without a status of success, when nobody tells one.
bool EnsureId(const std::wstring& givenId, WMap& result);

/// The result of one request to the file proxy.
bool ConcludeProxy(HttpInterface::InterfaceName operation, const std::wstring& fileId, const WMap& headers,
                   std::size_t bytes, const CloudReply& reply, WMap& result);

/// True for the slice with which a file is complete, by its place and the total.
bool IsLastSlice(const WMap& headers, std::size_t bytes);

/// Decoded length of a Base64 text; 0 for one that is none.
std::size_t Base64Length(const std::string& text);

/// "{key: value, ...}", for the journal.
std::string ListOf(const WMap& map);

/// SHA-256, lower-case hexadecimal.
std::string DigestOf(const std::vector<unsigned char>& bytes);

}  // namespace Drive::Testing
