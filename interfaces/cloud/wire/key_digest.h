#pragma once

/// What a start call tells of the key that the objects of an upload will be encrypted with, so that a cloud can keep
/// the objects of two keys apart: SHA-256, in lower-case hexadecimal, of this label followed by the key (32 lower-case
/// hexadecimal digits) and the initialisation vector (32 digits). The label keeps it apart from every other digest of
/// the same secret. The key is 128 bits that nobody can guess, so the digest leads nobody back to it; what it does tell
/// is whether two uploads of a user have one key, that is one content, which the content's own digest tells already.
namespace Drive::Cloud::Wire {

inline constexpr const char* kKeyDigestLabel = "zelkor upload key, form 1:";

}  // namespace Drive::Cloud::Wire
