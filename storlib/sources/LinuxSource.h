// LinuxSource: a Linux machine, read from /sys and /proc below a root folder.
//
//   std::string error;
//   auto source = LinuxSource::open("/", error);          // this machine
//   auto other = LinuxSource::open("/tmp/tree", error);   // a recorded tree
//
// It is read-only: it opens files for reading and sends no command to a drive. Drives' own
// predictions come from smartctl, where that is installed, and only on this machine.
//
// Polls     events() takes one cheap look per poll, when a controller is asked for the second
//           time since the last one, and records what changed. As long as the machine differs
//           from the last tree, every look records a "configuration changed" for the controllers
//           that differ, so that a failed drive is told at the next poll, and a tree that could
//           not be read is asked for again.
// Errors    fill() fails when neither /sys nor /proc/mdstat can be read below the root, or when
//           descriptors or memory ran out meanwhile: a part of a machine is never taken for the
//           whole. Then tasks() fails too, and a look that was not whole counts as not taken.
// Threads   One at a time.
#ifndef STORLIB_SOURCES_LINUXSOURCE_H
#define STORLIB_SOURCES_LINUXSOURCE_H

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "storlib/ConfigSource.h"
#include "storlib/sources/ControllerEventLog.h"
#include "storlib/sources/LinuxLook.h"
#include "storlib/sources/LinuxTree.h"
#include "storlib/sources/SesEnclosures.h"
#include "storlib/sources/SmartHealth.h"
#include "storlib/sources/SysfsReader.h"

class LinuxSource : public ConfigSource {
public:
    // `smartctl` is the program to ask for drives' predictions; "" asks nobody.
    explicit LinuxSource(const std::string& root, const std::string& smartctl = std::string());

    // As the registry opens it. Null with `error` set when `root` is no folder.
    static std::unique_ptr<ConfigSource> open(const std::string& root, std::string& error);

    Ret fill(System& system) override;
    Ret tasks(const Addr& address, ProgressCollection& found) override;
    Ret events(unsigned int controllerID, long first, std::string& listing) override;
    std::string lastError() const override { return error; }

    // Goes on with another tree: a later moment of the same machine.
    void setRoot(const std::string& root);
    // The next look records a change for every controller, whether or not there is one.
    void announceChange() { announced = true; }
    SysfsReader& getReader() { return reader; }

private:
    Ret failedForWant();
    void look();
    void record(const LinuxLook& now);
    void recordChangedControllers(const LinuxLook& now);
    void recordConfigurationChange(unsigned int controllerID);

    SysfsReader reader;
    SesEnclosures enclosures;
    LinuxTree tree;
    SmartHealth health;
    ControllerEventLog log;
    LinuxLook last;                             // the newest look, cheap or not
    std::map<unsigned int, std::string> shown;  // conditions() that the last tree was made from
    LinuxPlaces places;
    std::vector<LinuxDrive> drives;
    std::set<unsigned int> asked;  // controllers whose listing was read since the last look
    bool looked = false;           // `last` holds something
    bool announced = false;
    std::string error;
};

#endif  // STORLIB_SOURCES_LINUXSOURCE_H
