#pragma once

#include <string>

namespace Drive::TransferService {

/// The two channels as the steps of an attempt use them. Texts are passed on unchanged.

/// Error line of module "UpLoadTaskManger", function "uploadTask".
void WriteTaskError(const std::string& text);

/// Statistic under "UpLoadTaskManger::uploadTask ", widened.
void WriteTaskStatistic(const std::string& text);

/// Both, with the same words.
void ReportTaskEnd(const std::string& text);

}  // namespace Drive::TransferService
