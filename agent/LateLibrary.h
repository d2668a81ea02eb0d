// LateLibrary: a shared library that is loaded when it is first needed, so that a daemon that never
// needs it holds none of its memory. It stays loaded until the program ends: such libraries keep
// threads and state of their own.
//
//   const LateLibrary library("libcurl.so.4", "libcurl4");
//   decltype(&curl_easy_init) easyInit = nullptr;
//   library.find("curl_easy_init", easyInit);
//
// Threads  Any number of objects; one thread per object.
// Errors   LateLibrary::Missing, one line that names the Debian package to install.
#ifndef AGENT_LATELIBRARY_H
#define AGENT_LATELIBRARY_H

#include <string>

#include "agent/Failure.h"

class LateLibrary {
public:
    class Missing : public Failure {
    public:
        explicit Missing(const std::string& line) : Failure(kFailed, line) {}
    };

    // `file` is the name that programs link to, with its version.
    LateLibrary(const std::string& file, const std::string& package);

    // The type comes from the library's own header, which the caller includes.
    template <typename Function>
    void find(const char* name, Function*& function) const {
        function = reinterpret_cast<Function*>(address(name));
    }

private:
    void* address(const char* name) const;

    std::string file;
    std::string package;
    void* handle;
};

#endif  // AGENT_LATELIBRARY_H
