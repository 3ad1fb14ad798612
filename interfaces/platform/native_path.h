#pragma once

#include <string>

#include "interfaces/platform/export.h"

/// The one place where a path of the engine becomes a path of the operating system. Any thread, no state.
///
/// The engine, the database and the cloud use backslash as separator. Where a name of the system may itself hold a
/// backslash, that character is U+F05C in the engine. A name that really holds U+F05C is carried as its three
/// undecodable bytes (U+DCEF U+DC81 U+DC9C), so that both round-trip.
namespace Drive::Platform {

/// The native narrow path: backslash and slash become the native separator, U+F05C becomes a backslash, everything
/// else goes through NarrowText. Throws std::range_error as NarrowText does, and for a path that holds a NUL.
ZELKOR_API std::string NativePath(const std::wstring& path);

/// One native file name (no separator in it) as the engine writes it.
ZELKOR_API std::wstring EngineName(const std::string& nativeName);

/// A native path as the engine writes it: each component through EngineName, joined by backslash. A leading separator
/// and a trailing one are kept.
ZELKOR_API std::wstring EnginePath(const std::string& nativePath);

/// True when `name` may stand as one component: not empty, not "." or "..", without separator and NUL. On the home
/// platform also without what that system takes for something else: streams, patterns, devices, a point or blank at the
/// end.
ZELKOR_API bool IsSafeName(const std::wstring& name);

/// True when `relativePath` consists of safe names only (one trailing separator is allowed).
ZELKOR_API bool IsSafeRelativePath(const std::wstring& relativePath);

/// The user's local application data folder, without a closing separator; empty when none is known. It follows the XDG
/// rules (XDG_DATA_HOME, else below the home folder); on the home platform it is the system's known folder.
ZELKOR_API std::wstring LocalAppDataFolder();

}  // namespace Drive::Platform
