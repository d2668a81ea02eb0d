// Fuzzes the engine's settings file, as the monitor reads it before every poll.
// Parsed code: monitor/BaseRaidMonitorSettings.cpp nls/NLSParser.cpp util/Number.cpp

#include <cstdint>
#include <stdexcept>

#include "fuzz/support/Fuzz.h"
#include "fuzz/support/PlainCatalogue.h"
#include "tests/support/BareMonitor.h"

namespace {

class SettingsMonitor : public BareMonitor {
public:
    using BaseRaidMonitor::debugLevel;
    using BaseRaidMonitor::eventQueueSize;
};

struct Workplace {
    Workplace() {
        BaseRaidMonitor::useFolder(fuzz::room().folder());
        monitor = new SettingsMonitor;
    }
    SettingsMonitor* monitor;
};

// Leading white space, a sign, digits, stopped at 32 bits.
int numberOf(const std::string& whole) {
    const std::string text = whole.substr(0, whole.find('\0'));
    std::size_t at = text.find_first_not_of(" \t\n\v\f\r");
    if (at == std::string::npos) return 0;
    const bool negative = text[at] == '-';
    if (text[at] == '-' || text[at] == '+') ++at;
    const std::int64_t limit = negative ? 2147483648 : 2147483647;
    std::int64_t value = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
        value = std::min<std::int64_t>(value * 10 + (text[at] - '0'), limit);
    }
    return static_cast<int>(negative ? -value : value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Workplace workplace;
    SettingsMonitor& monitor = *workplace.monitor;
    const std::string text = fuzz::textOf(data, size);
    fuzz::put(fuzz::inRoom("QELConfig.conf"), text);
    bool threw = false;
    try {
        monitor.readConfig();
    } catch (const std::out_of_range&) {
        threw = true;
    }

    // The values in the order of reading, until a line that is nothing but the key ends it.
    const PlainCatalogue plain(text);
    const auto queueSize = plain.get("qel.eventQueueSize");
    fuzz::must(monitor.eventQueueSize == (queueSize ? numberOf(*queueSize) : 0), "queue size");
    if (!queueSize) return fuzz::must(threw, "a bare key throws"), 0;
    const auto mask = plain.get("qel.debugMask");
    fuzz::must(monitor.debugLevel == (mask ? numberOf(*mask) : 0), "debug mask");
    if (!mask) return fuzz::must(threw, "a bare key throws"), 0;
    const auto level = plain.get("agent.OSLoggingLevel");
    fuzz::must(monitor.getOSLoggingLevel() == (level ? numberOf(*level) : 3), "logging level");
    if (!level) return fuzz::must(threw, "a bare key throws"), 0;
    const auto alarm = plain.get("agent.alarm");
    const bool on = alarm && (*alarm == "on" || *alarm == "On" || *alarm == "ON");
    fuzz::must(monitor.isAlarmEnabled() == on, "alarm");
    fuzz::must(threw == !alarm, "only a bare key throws");
    return 0;
}
