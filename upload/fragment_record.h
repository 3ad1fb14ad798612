#pragma once

#include <string>

#include "interfaces/common/upload_plan.h"

namespace Drive::TransferService {

/// The resume record of a client upload as JSON text: everything of the plan but the resume URL, which this path has
/// no use for. Numbers are written as integers. plan_parser.h reads it back.
std::wstring WriteFragmentRecord(const Common::UploadStartInfo& info);

}  // namespace Drive::TransferService
