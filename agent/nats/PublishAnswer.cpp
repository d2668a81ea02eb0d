#include "agent/nats/PublishAnswer.h"

#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::json;
using Kind = FleetLink::Answer::Kind;

const Json* memberOf(const Json& json, const char* name) {
    const auto found = json.find(name);
    return found == json.end() ? nullptr : &*found;
}

std::uint64_t numberOf(const Json& json, const char* name) {
    const Json* const member = memberOf(json, name);
    return member != nullptr && member->is_number_unsigned() ? member->get<std::uint64_t>() : 0;
}

std::string textOf(const Json& json, const char* name, const char* otherwise) {
    const Json* const member = memberOf(json, name);
    return member != nullptr && member->is_string() ? member->get<std::string>() : otherwise;
}

}  // namespace

FleetLink::Answer publishAnswer(const std::string& body) {
    const Json json = Json::parse(body, nullptr, false);
    if (!json.is_object()) return {Kind::kLater, 0, "the server gave an answer that is no JSON"};
    const Json* const error = memberOf(json, "error");
    if (error != nullptr) {
        const std::uint64_t code = error->is_object() ? numberOf(*error, "err_code") : 0;
        const std::string text =
            error->is_object() ? textOf(*error, "description", "refused") : "refused";
        return {code == kNatsTooLarge ? Kind::kNever : Kind::kLater, code,
                text + " (" + std::to_string(code) + ")"};
    }
    // A message counts as kept only when the server says where.
    const std::uint64_t position = numberOf(json, "seq");
    if (position == 0) return {Kind::kLater, 0, "the server does not say where it was stored"};
    const Json* const twice = memberOf(json, "duplicate");
    const bool isTwice = twice != nullptr && twice->is_boolean() && twice->get<bool>();
    return {isTwice ? Kind::kDuplicate : Kind::kStored, position, textOf(json, "stream", "")};
}
