// LDPathUtils: library paths as text.
//
//   /c0          controller 0
//   /c0/l5       logical drive 5 of it
//   /c0/b1/d3    the device at bus 1, number 3
//
// The same printing serves the paths in controller event listings, so that they can be compared
// as text.
#ifndef STORLIB_LDPATHUTILS_H
#define STORLIB_LDPATHUTILS_H

#include <string>

#include "storlib/Addr.h"
#include "storlib/LDTree.h"
#include "storlib/Ret.h"

namespace LDPathUtils {

// Prints at most size - 1 characters and always ends them with NUL; returns the number printed.
// A null buffer or a size below 1 prints nothing.
int sPrintPath(const _LDTree& path, char* buffer, int size);

// The way to `address`: kBadAddress when it names no controller or nothing that has a path. The
// chunk counts as not defined both as -1 and as Addr::kChunkNotSet.
Ret makePath(const Addr& address, _LDTree& path);

// Both at once, for whoever writes listings; "" for an address without a path.
std::string textOf(const Addr& address);
// The part of textOf(address) below the controller, for example "/l5".
std::string textBelowController(const Addr& address);

}  // namespace LDPathUtils

#endif  // STORLIB_LDPATHUTILS_H
