#pragma once

#include <string>

#include "interfaces/platform/export.h"

/// For the host, not for the engine: the mark that makes a file a placeholder. It is an extended attribute of the
/// file ("user.zelkor.placeholder"), never guessed from its blocks. Any thread.
namespace Drive::Common {

/// Marks an existing file. False when the file is absent or a folder, or the file system keeps no such attribute.
ZELKOR_API bool MarkPlaceholder(const std::wstring& path);

/// Takes the mark away, once the content is in; true also when there was none.
ZELKOR_API bool ClearPlaceholder(const std::wstring& path);

}  // namespace Drive::Common
