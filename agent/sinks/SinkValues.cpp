#include "agent/sinks/SinkValues.h"

#include <algorithm>

namespace {

std::string joined(std::initializer_list<const char*> words) {
    std::string text;
    for (const char* word : words) text += (text.empty() ? "" : ", ") + std::string(word);
    return text;
}

}  // namespace

std::string SinkValues::text(const char* key, const char* otherwise) const {
    const auto found = settings.texts.find(key);
    return found == settings.texts.end() ? otherwise : found->second;
}

const std::string& SinkValues::require(const char* key) const {
    const auto found = settings.texts.find(key);
    if (found == settings.texts.end() || found->second.empty()) {
        throw wrong(key, "is missing; a sink of type " + settings.type + " needs it");
    }
    return found->second;
}

std::string SinkValues::oneOf(const char* key, const char* otherwise,
                              std::initializer_list<const char*> words) const {
    const std::string value = text(key, otherwise);
    const auto same = [&](const char* word) { return value == word; };
    if (std::none_of(words.begin(), words.end(), same)) {
        throw wrong(key, "\"" + value + "\" is none of " + joined(words));
    }
    return value;
}

std::int64_t SinkValues::number(const char* key, std::int64_t otherwise, std::int64_t least,
                                std::int64_t most) const {
    const auto found = settings.numbers.find(key);
    const std::int64_t value = found == settings.numbers.end() ? otherwise : found->second;
    if (value < least || value > most) {
        throw wrong(key, std::to_string(value) + " is not from " + std::to_string(least) + " to " +
                             std::to_string(most));
    }
    return value;
}

Failure SinkValues::wrong(const std::string& key, const std::string& what) const {
    const std::string place = settings.where.empty() ? "" : settings.where + ": ";
    return Failure(Failure::kBadUse,
                   place + "sink \"" + settings.name + "\": " + key + ": " + what);
}
