// EventListener: asks a source for a controller's events as a monitor does: only for those that are
// newer than the last one.
//
//   EventListener monitor(source);
//   EXPECT_EQ(Lines{"sense 1 code 10 qual 7 at /l0"}, monitor.ask(0));
//   EXPECT_EQ(1, monitor.announcements[0]);   // records that only say that something changed
#ifndef TESTS_SUPPORT_EVENTLISTENER_H
#define TESTS_SUPPORT_EVENTLISTENER_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "storlib/ConfigSource.h"

class EventListener {
public:
    explicit EventListener(ConfigSource& from) : source(from) {}

    // A line per record that says more than that something has changed; the others are counted in
    // `announcements`. Sequence numbers must grow.
    std::vector<std::string> ask(unsigned int controllerID) {
        std::string listing;
        EXPECT_EQ(Ret::kOk, source.events(controllerID, last[controllerID] + 1, listing).status);
        std::vector<std::string> lines;
        std::size_t at = 0;
        while ((at = listing.find("<Event Sequence=\"", at)) != std::string::npos) {
            const long sequence = std::atol(listing.c_str() + at + 17);
            EXPECT_GT(sequence, last[controllerID]);
            last[controllerID] = sequence;
            const std::string code = value(listing, "AdditionalSenseCode", at);
            at += 17;
            if (code == "0") {
                ++announcements[controllerID];
            } else {
                lines.push_back("sense " + value(listing, "SenseKey", at) + " code " + code +
                                " qual " + value(listing, "Qual", at) + " at " +
                                value(listing, "LDPath", at));
            }
        }
        return lines;
    }

    std::map<unsigned int, int> announcements;

private:
    static std::string value(const std::string& listing, const std::string& name, std::size_t at) {
        const std::size_t begin = listing.find(name + "=\"", at) + name.size() + 2;
        return listing.substr(begin, listing.find('"', begin) - begin);
    }

    ConfigSource& source;
    std::map<unsigned int, long> last;
};

#endif  // TESTS_SUPPORT_EVENTLISTENER_H
