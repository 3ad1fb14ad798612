// For libraries with interfaces/logging/log_settings.h: a sink in place of the files.
#include <mutex>

#include "interfaces/logging/log_settings.h"
#include "interfaces/logging/type_convert.h"
#include "tests/contract/logging/arrived.h"

namespace Drive::Testing {

namespace {

using Logging::Level;
using Logging::TextRecord;

std::mutex mutex;
std::vector<std::string> records;  // guarded by mutex

void Keep(const std::string& record) {
    const std::lock_guard guard(mutex);
    records.push_back(record);
}

std::string Describe(const TextRecord& record) {
    const std::string place = record.module + "|" + record.function + "|" + record.text;
    const std::string numbers = std::to_string(record.kind) + " " + std::to_string(record.code) + "|";
    if (record.step == TextRecord::Step::Begin) return "begin " + numbers + place;
    if (record.step == TextRecord::Step::End) return "end " + numbers + place;
    if (record.level == Level::Error) return "error " + place;
    return (record.level == Level::Debug ? "debug " : "trace ") + record.text;
}

}  // namespace

Arrived::Arrived() {
    records.clear();
    Logging::SetTextSink([](const TextRecord& record) { Keep(Describe(record)); });
    Logging::SetStatisticSink([](const Logging::StatisticRecord& record) {
        Keep("stat " + std::to_string(record.code) + "|" + TypeConvert::WStringToString(record.module) + "|" +
             TypeConvert::WStringToString(record.text));
    });
}

Arrived::~Arrived() {
    Logging::SetTextSink({});
    Logging::SetStatisticSink({});
}

std::vector<std::string> Arrived::Records() const {
    const std::lock_guard guard(mutex);
    return records;
}

}  // namespace Drive::Testing
