// SteppedSource: a source whose machine lives through a fixed row of steps: a recording, or a
// scenario. By itself it goes on with the monitor's polls; a host that wants to decide calls
// setAutomatic(false) and advance().
#ifndef STORLIB_SOURCES_STEPPEDSOURCE_H
#define STORLIB_SOURCES_STEPPEDSOURCE_H

#include <cstddef>
#include <string>

#include "storlib/ConfigSource.h"

class SteppedSource : public ConfigSource {
public:
    // Whether polls make the source go on; true at first.
    virtual void setAutomatic(bool follows) = 0;
    virtual bool advance() = 0;      // to the next step; false, and nothing done, at the end
    virtual bool atEnd() const = 0;  // no step is left
    virtual std::string stepName() const = 0;  // of the step that the machine is in
    virtual std::size_t stepCount() const = 0;

    // For hosts whose clock is theirs to move: how much later the next step comes, and whether the
    // monitor is to be away while it happens.
    virtual int secondsToNextStep() const = 0;
    virtual bool restartsBeforeNextStep() const = 0;
};

#endif  // STORLIB_SOURCES_STEPPEDSOURCE_H
