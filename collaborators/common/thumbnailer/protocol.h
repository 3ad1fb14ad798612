#pragma once

/// What the library and its helper process agree on. The helper is started as
///     zelkor-thumbnailer KIND SIDE
/// with KIND "image" or "video" and SIDE the most pixels a side. It finds the foreign file open for reading and an
/// empty file to write the JPEG to. A helper that ends in any other way than with one of the codes below has met
/// something that cannot be decoded.
namespace Drive::Common::Thumbnailer {

inline constexpr char kProgram[] = "zelkor-thumbnailer";
inline constexpr char kImage[] = "image";
inline constexpr char kVideo[] = "video";

inline constexpr int kInput = 3;
inline constexpr int kOutput = 4;

inline constexpr int kDone = 0;
inline constexpr int kCannotDecode = 2;
inline constexpr int kCannotRead = 3;

}  // namespace Drive::Common::Thumbnailer
