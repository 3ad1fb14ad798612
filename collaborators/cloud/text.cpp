#include "collaborators/cloud/text.h"

#include <algorithm>
#include <stdexcept>

#include "interfaces/cloud/wire/names.h"
#include "interfaces/logging/type_convert.h"

namespace Drive::Cloud {

namespace {

char Lower(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

}  // namespace

std::wstring Widen(const std::string& text) { return TypeConvert::StringToWString(text); }

std::string Narrow(const std::wstring& text) { return TypeConvert::WStringToString(text); }

std::string JsonText(const std::wstring& text) { return TypeConvert::UTF82Unicode(Narrow(text)); }

std::string WireName(const std::wstring& name) { return Narrow(Wire::EscapeName(name)); }

std::string Printable(const std::wstring& text) {
    try {
        return JsonText(text);
    } catch (const std::exception&) {
        return {};
    }
}

bool IsUtf8(const std::string& text) { return TypeConvert::UTF82Unicode(text) == text; }

std::string LowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), Lower);
    return text;
}

bool EqualsIgnoringCase(const std::string& left, const std::string& right) {
    return left.size() == right.size() &&
           std::equal(left.begin(), left.end(), right.begin(), [](char a, char b) { return Lower(a) == Lower(b); });
}

}  // namespace Drive::Cloud
