#include "monitor/TextArguments.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace TextArguments {
namespace {

constexpr std::size_t kPlaceholder = 3;  // the length of "{0}"
constexpr int kMostSubstitutions = 1000;
constexpr std::size_t kLongestText = std::size_t{1024} * 1024;

// Which argument a placeholder's number calls for, in 32 bits on every ABI. None for a large one.
std::uint32_t indexAt(const char* number) {
    const long value = std::strtol(number, nullptr, 10);
    return static_cast<std::uint32_t>(std::clamp<long>(value, INT32_MIN, INT32_MAX));
}

bool hasPlaceholder(const std::string& arg) { return arg.find('{') != std::string::npos; }

}  // namespace

bool canFill(const std::string& unfilled, const List& args) {
    if (std::none_of(args.begin(), args.end(), hasPlaceholder)) return true;
    std::string text = unfilled;
    int done = 0;
    for (std::size_t at = 0; (at = text.find('{', at)) != std::string::npos;) {
        const bool isOpen = at + 1 == text.size();
        if (isOpen || ++done > kMostSubstitutions || text.size() > kLongestText) return false;
        const std::uint32_t index = indexAt(text.c_str() + at + 1);
        text.erase(at, kPlaceholder);
        if (index < args.size()) {
            text.insert(at, args[index]);
        } else {
            ++at;
        }
    }
    return true;
}

List inert(List args) {
    for (std::string& arg : args) std::replace(arg.begin(), arg.end(), '{', '_');
    return args;
}

}  // namespace TextArguments
