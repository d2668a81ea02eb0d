#include "monitor/TextArguments.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace TextArguments {
namespace {

// Which argument a placeholder's number calls for, in 32 bits on every ABI. None for a large one.
std::uint32_t indexAt(const char* number) {
    const long value = std::strtol(number, nullptr, 10);
    return static_cast<std::uint32_t>(std::clamp<long>(value, INT32_MIN, INT32_MAX));
}

// `depth` arguments are being inserted into each other; more than there are means that one of them
// is in there twice.
bool ends(const List& args, const std::string& text, std::size_t depth) {
    if (depth > args.size()) return false;
    for (std::size_t at = text.find('{'); at != std::string::npos; at = text.find('{', at + 1)) {
        // What the number is read from: blanks, a sign, digits, and a character that ends them.
        if (text.find_first_not_of(" \t\n\v\f\r+-0123456789", at + 1) == std::string::npos) {
            return false;
        }
        const std::uint32_t index = indexAt(text.c_str() + at + 1);
        if (index < args.size() && !ends(args, args[index], depth + 1)) return false;
    }
    return true;
}

}  // namespace

bool end(const List& args) {
    return std::all_of(args.begin(), args.end(),
                       [&](const std::string& arg) { return ends(args, arg, 1); });
}

List inert(List args) {
    for (std::string& arg : args) std::replace(arg.begin(), arg.end(), '{', '_');
    return args;
}

}  // namespace TextArguments
