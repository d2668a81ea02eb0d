#include "agent/EventText.h"

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <vector>

#include "agent/EventNames.h"
#include "agent/SafeText.h"

namespace {

constexpr std::size_t kSeverityWidth = 8;
constexpr std::size_t kCodeWidth = 3;
constexpr std::size_t kObjectWidth = 15;
constexpr std::size_t kLeastTextWidth = 30;  // narrower columns would hold few words per line
constexpr std::size_t kNarrowIndent = 4;

constexpr char kBold[] = "\x1b[1m";
constexpr char kDim[] = "\x1b[2m";
constexpr char kRed[] = "\x1b[1;31m";
constexpr char kYellow[] = "\x1b[33m";
constexpr char kGreen[] = "\x1b[32m";
constexpr char kBlue[] = "\x1b[36m";
constexpr char kReset[] = "\x1b[0m";

const char* colourOf(int severity) {
    switch (severity) {
        case kEventError:
            return kRed;
        case kEventWarning:
            return kYellow;
        case kEventInformation:
            return kGreen;
        default:
            return kBlue;
    }
}

std::string localTime(std::int64_t when) {
    const auto seconds = static_cast<std::time_t>(when);
    std::tm parts{};
    if (localtime_r(&seconds, &parts) == nullptr) return "-";
    char text[40];
    return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts));
}

std::string padded(const std::string& text, std::size_t width) {
    const std::size_t length = textWidth(text);
    return length < width ? text + std::string(width - length, ' ') : text;
}

}  // namespace

std::string EventText::coloured(const char* colour, const std::string& text) const {
    return style.colours && !text.empty() ? colour + text + kReset : text;
}

std::string EventText::lines(const QELEvent& event) const {
    const std::string code =
        event.eventCode == QELEvent::kNotSet ? "-" : std::to_string(event.eventCode);
    const std::string time = localTime(event.timeStamp);
    const std::string word = padded(severityWord(event.severity), kSeverityWidth);
    const std::string rest =
        padded(code, kCodeWidth) + "  " + padded(objectPlace(event), kObjectWidth) + "  ";
    const std::size_t indent = textWidth(time) + 2 + textWidth(word) + 2 + textWidth(rest);

    // On a narrow terminal the text starts on a line of its own.
    const bool narrow = style.columns != 0 && style.columns < indent + kLeastTextWidth;
    const std::size_t margin = narrow ? kNarrowIndent : indent;
    const std::size_t room =
        style.columns == 0 ? 0 : std::max(style.columns, margin + kLeastTextWidth) - margin;
    const std::vector<std::string> parts = wrapText(safeText(event.text), room);

    const bool dim = isCompanion(event.eventCode);
    std::string result =
        coloured(kDim, time) + "  " + coloured(dim ? kDim : colourOf(event.severity), word) + "  ";
    std::string body = rest;
    if (narrow) body = body.substr(0, body.find_last_not_of(' ') + 1);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i != 0 || narrow) body += "\n" + std::string(margin, ' ');
        body += parts[i];
    }
    return result + (dim ? coloured(kDim, body) : body) + "\n";
}

std::string EventText::stepHeader(const std::string& step) const {
    return coloured(kBold, "== " + safeText(step)) + "\n";
}
