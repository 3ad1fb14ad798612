#include "collaborators/common/log_text.h"

#include <exception>
#include <system_error>

#include "interfaces/logging/type_convert.h"

namespace Drive::Common::LogText {

std::string Name(const std::wstring& path) {
    try {
        return TypeConvert::UTF82Unicode(TypeConvert::WStringToString(path));
    } catch (const std::exception&) {
        return "(a name that cannot be written as text)";
    }
}

std::string Reason(int errorNumber) { return std::generic_category().message(errorNumber); }

}  // namespace Drive::Common::LogText
