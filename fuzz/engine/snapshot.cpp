// Fuzzes the snapshot: what was read from any file and written is stable from then on.
// Parsed code: snapshot/ xml/

#include <fstream>
#include <iterator>

#include "fuzz/support/Fuzz.h"
#include "snapshot/QELConfigBuilder.h"
#include "snapshot/QELSystem.h"
#include "xml/SimpleXmlException.h"

namespace {

constexpr int kLevels = 5;  // System, Controller, Channel, SESEnclosureDevice, SESElement

std::string contentsOf(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Entities are not decoded by the reader, so a text with one grows at every round; such a value
// counts as "&" alone.
std::string withoutEntities(const std::string& xml) {
    std::string text;
    std::size_t at = 0;
    for (;;) {
        const std::size_t open = xml.find('"', at);
        const std::size_t close = open == std::string::npos ? open : xml.find('"', open + 1);
        if (close == std::string::npos) return text + xml.substr(at);
        const std::string value = xml.substr(open, close - open);
        text += xml.substr(at, open - at);
        text += value.find('&') == std::string::npos ? value : "\"&";
        text += '"';
        at = close + 1;
    }
}

// Reads what we wrote ourselves, which is never malformed, and writes it again.
std::string nextRound(const std::string& file) {
    QELConfigBuilder builder(file);
    builder.readXML();
    builder.writeXML();
    return contentsOf(file);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string file = fuzz::inRoom("QELConfig.xml");
    fuzz::put(file, fuzz::textOf(data, size));
    QELConfigBuilder first(file);
    try {
        first.readXML();
    } catch (const SimpleXmlException&) {
        // What was complete before it stays.
    }
    fuzz::must(first.getSystem() != nullptr, "there is a tree whatever was read");
    first.writeXML();
    // A number that was missing reads as 0, and what hangs below learns it only from the next file:
    // one round for each level of the tree.
    std::string before = nextRound(file);
    for (int level = 0; level < kLevels; ++level) {
        const std::string after = nextRound(file);
        if (withoutEntities(before) == withoutEntities(after)) return 0;
        before = after;
    }
    fuzz::must(false, "a snapshot read and written comes to rest:\n" + before);
    return 0;
}
