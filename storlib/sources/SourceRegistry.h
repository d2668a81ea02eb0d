// SourceRegistry: the kinds of source that can be named on a command line.
#ifndef STORLIB_SOURCES_SOURCEREGISTRY_H
#define STORLIB_SOURCES_SOURCEREGISTRY_H

#include <memory>
#include <string>
#include <vector>

class ConfigSource;

namespace SourceRegistry {

struct Kind {
    char const* name;      // what stands before the colon
    char const* argument;  // what stands after it, for people
    char const* purpose;   // one line
    // Null with `error` set (one line, names the cure) when the argument cannot be used.
    std::unique_ptr<ConfigSource> (*make)(const std::string& argument, std::string& error);
};

const std::vector<Kind>& kinds();

// Makes the source that `name` ("kind" or "kind:argument") asks for.
std::unique_ptr<ConfigSource> make(const std::string& name, std::string& error);

}  // namespace SourceRegistry

#endif  // STORLIB_SOURCES_SOURCEREGISTRY_H
