#include "agent/settings/SettingValue.h"

#include <algorithm>

#include "agent/settings/Quantity.h"

namespace {

bool isBareKey(const std::string& key) {
    return !key.empty() && std::all_of(key.begin(), key.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '-' || c == '_';
    });
}

std::string listText(const SettingValue& value) {
    std::string text;
    for (const SettingValue& item : value.items) {
        text += (text.empty() ? "" : ", ") + writtenText(item);
    }
    return "[" + text + "]";
}

std::string tableText(const SettingValue& value) {
    std::string text;
    for (const auto& [key, member] : value.members) {
        text += (text.empty() ? "" : ", ") + (isBareKey(key) ? key : quotedText(key)) + " = " +
                writtenText(member);
    }
    return text.empty() ? "{}" : "{ " + text + " }";
}

}  // namespace

std::string writtenText(const SettingValue& value) {
    switch (value.kind) {
        case SettingValue::Kind::kText:
            return quotedText(value.text);
        case SettingValue::Kind::kNumber:
            return std::to_string(value.number);
        case SettingValue::Kind::kFlag:
            return value.number != 0 ? "true" : "false";
        case SettingValue::Kind::kList:
            return listText(value);
        case SettingValue::Kind::kTable:
            return tableText(value);
        case SettingValue::Kind::kOther:
            break;
    }
    return value.text;
}
