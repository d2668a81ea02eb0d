// LinuxChanges: what happened to the arrays between two looks, as records of a controller's log.
//
// Tasks are told by sync_action of both looks. How one ended is told by what it left behind:
//   a rebuild         complete when fewer members lack; failed when its drive or the array failed
//   a resync          complete when nothing is left to do (resync_start "none")
//   a check, repair   aborted when md kept the place where it was stopped (sync_min)
//   a reshape         complete when there is no position left (reshape_position "none")
// else aborted. A rebuild that began and ended between two looks is told by both of its records.
#ifndef STORLIB_SOURCES_LINUXCHANGES_H
#define STORLIB_SOURCES_LINUXCHANGES_H

#include <utility>
#include <vector>

#include "storlib/sources/ControllerEventLog.h"
#include "storlib/sources/LinuxLook.h"

class SysfsReader;

namespace LinuxChanges {

// Records with the controller that they belong to, oldest first.
using Records = std::vector<std::pair<unsigned int, ControllerEvent>>;

// `reader` reads the tree that `now` was taken from.
Records between(const LinuxLook& before, const LinuxLook& now, const LinuxPlaces& places,
                SysfsReader& reader);

}  // namespace LinuxChanges

#endif  // STORLIB_SOURCES_LINUXCHANGES_H
