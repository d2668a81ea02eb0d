// ConfigJson: a configuration tree as one JSON document.
//
//   {"adapters": [{"type": "VantAdapter", "controllerID": 0, ..., "children": [...]}]}
//
// Every object has its class name, all its attributes (null where a number is not set) and, if it
// has any, its children. Pure; any thread.
#ifndef AGENT_CONFIGJSON_H
#define AGENT_CONFIGJSON_H

#include <string>

class System;

std::string configJson(const System& system);  // indented, without a final line end

#endif  // AGENT_CONFIGJSON_H
