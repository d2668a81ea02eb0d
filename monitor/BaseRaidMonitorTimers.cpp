// The four report timers, which keep slow reminders from being repeated at every poll.
#include "monitor/BaseRaidMonitor.h"

namespace {

// Whether a report is due, and if so that it is given now, whatever its reader makes of it.
//
// 0 stands for "never given", so a timer fires at its first call; one that fires in the second in
// which the run began stays at 0 and fires again at the next call. Intended: the family monitor
// waits a second and asks once, and whoever drives the engine without a family hears everything
// at once.
bool isTimeToReport(std::int64_t elapsed, std::int64_t interval, std::int64_t& lastReport) {
    if (lastReport != 0) {
        if (elapsed < interval) return false;
        if (elapsed - lastReport < interval) return false;
    }
    lastReport = elapsed;
    return true;
}

}  // namespace

bool BaseRaidMonitor::isTimeToReportUnsupportedDrives() {
    return isTimeToReport(elapsedSeconds(), unsupportedDrivesInterval, lastUnsupportedDrivesReport);
}

bool BaseRaidMonitor::isTimeToReportCriticalLogicalDrives() {
    return isTimeToReport(elapsedSeconds(), criticalLogicalDrivesInterval,
                          lastCriticalLogicalDrivesReport);
}

bool BaseRaidMonitor::isTimeToReportSASDriveMap() {
    return isTimeToReport(elapsedSeconds(), sasDriveMapInterval, lastSasDriveMapReport);
}

bool BaseRaidMonitor::isTimeToReportBadStripe() {
    return isTimeToReport(elapsedSeconds(), badStripeInterval, lastBadStripeReport);
}
