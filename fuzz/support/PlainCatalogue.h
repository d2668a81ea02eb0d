// PlainCatalogue: the rules of a catalogue file, written down line by line without regard to speed,
// for comparison with NLSParser. Substitution gives up where it would not come to an end, which the
// parser itself leaves to the catalogue's author.
//
//   PlainCatalogue plain("a=1\nb=x %a%\n");
//   const auto found = plain.get("a");           // {"1", false}
#ifndef FUZZ_SUPPORT_PLAINCATALOGUE_H
#define FUZZ_SUPPORT_PLAINCATALOGUE_H

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

class PlainCatalogue {
public:
    // Of a look-up: nothing where the parser throws.
    using Text = std::optional<std::string>;

    explicit PlainCatalogue(std::string textIN) : text(std::move(textIN)) {}

    Text get(const std::string& key) const {
        for (std::size_t at = 0; at < text.size();) {
            std::size_t end = text.find('\n', at);
            if (end == std::string::npos) end = text.size();
            const std::string line = text.substr(at, end - at);
            at = end + 1;
            if (!line.empty() && line[0] == '#') continue;
            if (line.compare(0, key.size(), key) != 0) continue;
            if (line.size() == key.size()) return std::nullopt;
            const char next = line[key.size()];
            if (next != ' ' && next != '\t' && next != '=') continue;
            const std::size_t equals = line.find('=', key.size());
            return equals == std::string::npos ? "" : trimmed(line.substr(equals + 1));
        }
        return "";
    }

    enum class End { kDone, kThrows, kEndless };

    // Expands "%key%" as NLSParser::replacePhraseStrings() does.
    End expandPhrases(std::string& value) const {
        int steps = 0;
        for (std::size_t pos = 0; (pos = value.find('%', pos)) != std::string::npos;) {
            const bool inside = pos != 0 && pos + 1 != value.size();
            const bool opens = !inside || value[pos - 1] == ' ';
            const std::size_t close = opens ? value.find('%', pos + 1) : std::string::npos;
            if (close == std::string::npos) {
                ++pos;
                continue;
            }
            if (++steps > kMostSteps || value.size() > kLongest) return End::kEndless;
            const Text phrase = get(value.substr(pos + 1, close - pos - 1));
            if (!phrase) return End::kThrows;
            value = value.substr(0, pos) + *phrase + value.substr(close + 1);
        }
        return End::kDone;
    }

private:
    static constexpr int kMostSteps = 200;
    static constexpr std::size_t kLongest = 65536;

    static std::string trimmed(std::string line) {
        const auto isSpace = [](char c) { return c == ' ' || c == '\t'; };
        for (;;) {
            while (!line.empty() && line.back() == ' ') line.pop_back();
            while (!line.empty() && line.front() == ' ') line.erase(0, 1);
            while (!line.empty() && line.back() == '\t') line.pop_back();
            while (!line.empty() && line.front() == '\t') line.erase(0, 1);
            if (line.empty() || !isSpace(line.front())) return line;
        }
    }

    std::string text;
};

#endif  // FUZZ_SUPPORT_PLAINCATALOGUE_H
