// PollRound: tells a source that plays a timeline when its next poll begins.
//
// A monitor asks each controller for its events once per poll, and reads the configuration after
// that if at all. So the next poll is opened by the first controller that is asked a second time,
// or, where every controller has been exchanged, by the first question after a reading. On a
// machine without controllers the configuration is all that is read, so a second reading without a
// question in between counts too. The first reading and the first questions are those of a monitor
// that is being constructed.
//
//   if (round.asked(controllerID)) advance();   // in events()
//   if (round.read()) advance();                // in fill()
#ifndef STORLIB_SOURCES_POLLROUND_H
#define STORLIB_SOURCES_POLLROUND_H

#include <set>

class PollRound {
public:
    // Call before answering; true when this question opens a new poll.
    bool asked(unsigned int controllerID) {
        const bool afterReading = readings != 0 && polling;
        readings = 0;
        if (controllers.insert(controllerID).second && !afterReading) return false;
        controllers = {controllerID};
        polling = true;
        return true;
    }

    // Call before reading; true when this reading opens a new poll.
    bool read() {
        if (++readings < 2) return false;
        readings = 1;
        controllers.clear();
        polling = true;
        return true;
    }

private:
    std::set<unsigned int> controllers;  // asked in this poll
    int readings = 0;                    // since the last question
    bool polling = false;                // the first poll has begun
};

#endif  // STORLIB_SOURCES_POLLROUND_H
