// Fuzzes look-ups in a catalogue, with phrases and arguments, against the plain reading of its
// rules. The first line of the input is "key|argument 0|argument 1|...", the rest is the file.
// Parsed code: nls/NLSParser.cpp

#include <cctype>
#include <stdexcept>
#include <vector>

#include "fuzz/support/Fuzz.h"
#include "fuzz/support/PlainCatalogue.h"
#include "nls/NLSParser.h"
#include "nls/StringTokenizer.h"

namespace {

constexpr std::size_t kMostArguments = 10;
constexpr std::size_t kLongestArgument = 24;

// An argument that could come to stand in itself would never end: only "{n}" with n above the
// argument's own number may stay. Three of them at most, for they multiply.
std::string harmless(const std::string& argument, std::size_t number) {
    std::string kept;
    int placeholders = 0;
    for (std::size_t i = 0; i < argument.size(); ++i) {
        if (argument[i] == '{') {
            const bool whole = i + 2 < argument.size() && argument[i + 2] == '}' &&
                               std::isdigit(static_cast<unsigned char>(argument[i + 1])) != 0;
            const bool later = whole && static_cast<std::size_t>(argument[i + 1] - '0') > number;
            if (!later || ++placeholders > 2) continue;
        }
        kept += argument[i];
    }
    return kept;
}

std::vector<std::string> cut(const std::string& line) {
    std::vector<std::string> parts(1);
    for (const char c : line) {
        if (c == '|' && parts.size() <= kMostArguments) {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

// The text, or nothing when the look-up threw.
template <class LookUp>
PlainCatalogue::Text resultOf(LookUp lookUp) {
    try {
        return lookUp();
    } catch (const std::out_of_range&) {
        return std::nullopt;
    }
}

void compare(const PlainCatalogue& plain, NLSParser& parser, const std::string& key) {
    const PlainCatalogue::Text expected = plain.get(key);
    fuzz::must(resultOf([&] { return parser.get(key); }) == expected,
               "a look-up follows the rules of the file");
    if (!expected) return;
    std::string text = *expected;
    const PlainCatalogue::End end = plain.expandPhrases(text);
    if (end == PlainCatalogue::End::kEndless) return;
    const PlainCatalogue::Text seen = resultOf([&] {
        std::string value = *expected;
        parser.replacePhraseStrings(value);
        return value;
    });
    const bool threw = end == PlainCatalogue::End::kThrows;
    fuzz::must(threw ? !seen : seen && *seen == text, "phrases are expanded by the rules");
}

bool endsByItself(const PlainCatalogue& plain, const std::string& key) {
    PlainCatalogue::Text text = plain.get(key);
    return text && plain.expandPhrases(*text) != PlainCatalogue::End::kEndless;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input = fuzz::textOf(data, size);
    const std::size_t lineEnd = std::min(input.find('\n'), input.size());
    std::vector<std::string> arguments = cut(input.substr(0, lineEnd));
    const std::string key = arguments[0];
    const std::string text = lineEnd < input.size() ? input.substr(lineEnd + 1) : "";
    arguments.erase(arguments.begin());
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        arguments[i] = harmless(arguments[i].substr(0, kLongestArgument), i);
    }

    const std::string file = fuzz::inRoom("RaidNLS.properties");
    fuzz::put(file, text);
    NLSParser parser(file);
    const PlainCatalogue plain(text);
    compare(plain, parser, key);
    // Also the key of some line, since a key that is made up is seldom there.
    const std::string other = input.substr(input.size() - std::min<std::size_t>(input.size(), 9));
    compare(plain, parser, other.substr(0, other.find_first_of("= \t\n")));

    if (endsByItself(plain, key)) {
        (void)resultOf([&] { return parser.get(key, arguments); });
        (void)resultOf([&] { return parser.get(key, std::vector<int>{-1, 0, 2147483647}); });
    }
    StringTokenizer tokens(text.substr(0, 200), key);
    int count = tokens.countTokens();
    while (tokens.hasMoreTokens()) {
        fuzz::must(!tokens.nextToken().empty() && --count >= 0, "no token is empty");
    }
    return 0;
}
