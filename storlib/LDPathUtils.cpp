#include "storlib/LDPathUtils.h"

#include <algorithm>
#include <cstring>

namespace LDPathUtils {

namespace {

std::string format(const _LDTree& path, int firstStep) {
    std::string text;
    for (int step = firstStep; step < std::min(path.depth, _LDTree::kSteps); ++step) {
        text += '/';
        text += path.steps[step].kind;
        text += std::to_string(path.steps[step].number);
    }
    return text;
}

}  // namespace

int sPrintPath(const _LDTree& path, char* buffer, int size) {
    if (buffer == nullptr || size < 1) return 0;
    const std::string text = format(path, 0);
    const std::size_t length = std::min(text.size(), static_cast<std::size_t>(size - 1));
    std::memcpy(buffer, text.data(), length);
    buffer[length] = 0;
    return static_cast<int>(length);
}

Ret makePath(const Addr& address, _LDTree& path) {
    path = _LDTree{};
    if (address.controllerID == Addr::kNotSet) return Ret{Ret::kBadAddress, 0};
    const auto add = [&path](char const* kind, unsigned int number) {
        if (number != Addr::kNotSet) path.steps[path.depth++] = {kind, number};
    };
    add("c", address.controllerID);
    if (address.logicalDriveID != Addr::kNotSet) {
        add("l", address.logicalDriveID);
        return Ret{};
    }
    add("a", address.arrayID);
    add("b", address.channelID);
    add("d", address.deviceID);
    return Ret{};
}

std::string textOf(const Addr& address) {
    _LDTree path;
    return makePath(address, path).status == Ret::kOk ? format(path, 0) : std::string();
}

std::string textBelowController(const Addr& address) {
    _LDTree path;
    return makePath(address, path).status == Ret::kOk ? format(path, 1) : std::string();
}

}  // namespace LDPathUtils
